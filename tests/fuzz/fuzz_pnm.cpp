// PNM files: the plain and binary forms of all six kinds, comments and 16-bit samples.

#include "codecs/LCodecPNM.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return FuzzDecode<LProcessPNMLoad>(data, size);
}
