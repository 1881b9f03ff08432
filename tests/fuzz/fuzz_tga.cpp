// TGA files: all image types, colour maps, origins and run-length packets.

#include "codecs/LCodecTGA.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return FuzzDecode<LProcessTGALoad>(data, size);
}
