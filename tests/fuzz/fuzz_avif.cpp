// AVIF files: boxes, item properties, AV1 payloads, alpha items, rotation and mirror.

#include "codecs/LCodecAVIF.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return FuzzDecode<LProcessAVIFLoad>(data, size);
}
