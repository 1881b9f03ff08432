// Sun raster files: every depth and type, colour maps and run-length rows.

#include "codecs/LCodecRAS.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return FuzzDecode<LProcessRASLoad>(data, size);
}
