// JPEG XL files: bare codestreams and boxed files, metadata boxes, all sample depths.

#include "codecs/LCodecJXL.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return FuzzDecode<LProcessJXLLoad>(data, size);
}
