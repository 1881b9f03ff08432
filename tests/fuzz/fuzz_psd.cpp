// PSD documents: the merged picture of every accepted mode, raw or PackBits.

#include "codecs/LCodecPSD.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return FuzzDecode<LProcessPSDLoad>(data, size);
}
