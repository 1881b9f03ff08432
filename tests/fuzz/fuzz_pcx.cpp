// PCX files: one-bit, palette and three-plane pictures, run-length coded or not.

#include "codecs/LCodecPCX.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return FuzzDecode<LProcessPCXLoad>(data, size);
}
