#pragma once
// DNG and the camera raw families through LibRaw. The codec id travels with the data so that the
// status names the family; LibRaw itself recognises the camera from the content.
// Failure is result 2 with no message of its own; the registry words it.

#include "codecs/LCodecCommon.h"
#include "codecs/LImageCodec.h"

template <class Base>
struct LProcessCamRAWLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageCodecID codec = LImageCodecRAW;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0; // of the file, set on success
};

// Develops the raw data with the camera's white balance into sRGB, upright, as B8G8R8A8.
LProcessResult LCodecCamRAWDecode(LProcessInterface& process, LCodecReader& input, LImageCodecID codec,
                                  LImageBuffer& image, int& bitDepth);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessCamRAWLoad<Base>& data)
{
    if (!data.lpStream || !data.lpImage)
        return LProcessResultFailed;
    LCodecReaderOf<Base> input(*data.lpStream);
    return LCodecCamRAWDecode(process, input, data.codec, *data.lpImage, data.iBitDepth);
}
