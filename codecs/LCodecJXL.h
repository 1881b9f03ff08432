#pragma once
// JPEG XL files through libjxl, both ways. Failure is result 2 with no message of its own; the
// registry words it.

#include "codecs/LCodecMetadataBlocks.h"
#include "codecs/LImageEncodeSettings.h"

template <class Base>
struct LProcessJXLLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0;                          // of the file, set on success
    LImageMetadata* lpMetadata = nullptr; // filled when given
};

// Decodes the first frame, of any sample depth, to B8G8R8A8 upright, alpha kept; pictures coded in
// the format's own colour space come out as sRGB.
LProcessResult LCodecJXLDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                               int& bitDepth, LImageMetadata* metadata);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessJXLLoad<Base>& data)
{
    if (!data.lpStream || !data.lpImage)
        return LProcessResultFailed;
    LCodecReaderOf<Base> input(*data.lpStream);
    return LCodecJXLDecode(process, input, *data.lpImage, data.iBitDepth, data.lpMetadata);
}

template <class Base>
struct LProcessJXLSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
    LCODEC_JXL_EncodeSettings settings;
    const LImageMetadata* lpMetadata = nullptr; // written when given
};

// Writes 8-bit sRGB, lossless or at the distance of the quality, with alpha when any pixel needs it.
LProcessResult LCodecJXLEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                               const LCODEC_JXL_EncodeSettings& settings,
                               const LImageMetadata* metadata);

// The distance that a quality of 0 to 99 stands for: 90 is 1.0, visually lossless.
float LCodecJXLDistance(int quality);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessJXLSave<Base>& data)
{
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid())
        return LProcessResultFailed;
    LCodecWriterOf<Base> output(*data.lpStream);
    return LCodecJXLEncode(process, output, *data.lpImage, data.settings, data.lpMetadata);
}
