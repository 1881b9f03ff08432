#pragma once
// GIF reading through giflib; the first frame only, on the logical screen.
// Failure is result 2 with no message of its own; the registry words it.

#include "codecs/LCodecCommon.h"

template <class Base>
struct LProcessGIFLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0; // of the file, set on success
};

// Decodes the first frame to B8G8R8A8; the transparent index and the area outside the frame are clear.
LProcessResult LCodecGIFDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                               int& bitDepth);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessGIFLoad<Base>& data)
{
    if (!data.lpStream || !data.lpImage)
        return LProcessResultFailed;
    LCodecReaderOf<Base> input(*data.lpStream);
    return LCodecGIFDecode(process, input, *data.lpImage, data.iBitDepth);
}
