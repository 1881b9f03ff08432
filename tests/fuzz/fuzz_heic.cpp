// HEIC files: boxes, item references, HEVC payloads, alpha, grids and transformations.

#include "codecs/LCodecHEIC.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return FuzzDecode<LProcessHEICLoad>(data, size);
}
