// The own GIF decoder on arbitrary bytes: every frame the file lists is decoded. Sizes are capped
// by the decoder itself against what the data can fill, so no cap is added here.

#include <cstddef>
#include <cstdint>

#include "codecs/LGIFDecoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    LInputStream<LInputStreamBuffer> stream(data, size);
    LGIFDecoder<LInputStreamBuffer> decoder(stream);
    LProcessInterfaceVoid process;
    if (decoder.Open(process) != LProcessResultSuccess)
        return 0;
    // Each frame is composed from its run of predecessors, so a long animation costs its square;
    // the first few frames show every path.
    for (int i = 0; i < decoder.GetFrameCount() && i < 8; ++i)
    {
        LImageBuffer image;
        int bits = 0;
        decoder.GetFrame(process, image, bits, i);
    }
    return 0;
}
