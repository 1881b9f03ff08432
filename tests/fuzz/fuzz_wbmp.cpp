// WBMP files: multi-byte sizes and rows of bits.

#include "codecs/LCodecWBMP.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return FuzzDecode<LProcessWBMPLoad>(data, size);
}
