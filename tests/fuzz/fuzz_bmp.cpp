// BMP files, and bare device-independent bitmaps (the form images take through the clipboard) for
// inputs that don't start with the file header's "BM".

#include "codecs/LCodecBMP.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size >= 2 && data[0] == 'B' && data[1] == 'M')
        return FuzzDecode<LProcessBMPLoad>(data, size);
    return FuzzDecode<LProcessDIBLoad>(data, size);
}
