#pragma once
// HEIC and HEIF files through libheif, both ways (writing needs its HEVC encoder). Failure is
// result 2 with no message of its own; the registry words it.

#include "codecs/LCodecMetadataBlocks.h"
#include "codecs/LImageEncodeSettings.h"

template <class Base>
struct LProcessHEICLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0;                          // of the file, set on success
    LImageMetadata* lpMetadata = nullptr; // filled when given
};

// Decodes the primary image to B8G8R8A8 with its rotation, mirror and crop applied, alpha kept.
LProcessResult LCodecHEICDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth, LImageMetadata* metadata);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessHEICLoad<Base>& data)
{
    if (!data.lpStream || !data.lpImage)
        return LProcessResultFailed;
    LCodecReaderOf<Base> input(*data.lpStream);
    return LCodecHEICDecode(process, input, *data.lpImage, data.iBitDepth, data.lpMetadata);
}

template <class Base>
struct LProcessHEICSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
    LCODEC_HEIC_EncodeSettings settings;
    const LImageMetadata* lpMetadata = nullptr; // written when given
};

// Writes one 8-bit HEVC image at the quality, with alpha when any pixel needs it.
LProcessResult LCodecHEICEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                                const LCODEC_HEIC_EncodeSettings& settings,
                                const LImageMetadata* metadata);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessHEICSave<Base>& data)
{
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid())
        return LProcessResultFailed;
    LCodecWriterOf<Base> output(*data.lpStream);
    return LCodecHEICEncode(process, output, *data.lpImage, data.settings, data.lpMetadata);
}
