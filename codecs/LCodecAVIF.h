#pragma once
// AVIF files through libavif, both ways. Failure is result 2 with no message of its own; the
// registry words it.

#include "codecs/LCodecMetadataBlocks.h"
#include "codecs/LImageEncodeSettings.h"

template <class Base>
struct LProcessAVIFLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0;                          // of the file, set on success
    LImageMetadata* lpMetadata = nullptr; // filled when given
};

// Decodes the primary image of any depth and subsampling to B8G8R8A8, alpha kept, turned upright
// by the file's rotation and mirror.
LProcessResult LCodecAVIFDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth, LImageMetadata* metadata);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessAVIFLoad<Base>& data)
{
    if (!data.lpStream || !data.lpImage)
        return LProcessResultFailed;
    LCodecReaderOf<Base> input(*data.lpStream);
    return LCodecAVIFDecode(process, input, *data.lpImage, data.iBitDepth, data.lpMetadata);
}

template <class Base>
struct LProcessAVIFSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
    LCODEC_AVIF_EncodeSettings settings;
    const LImageMetadata* lpMetadata = nullptr; // written when given
};

// Writes 8-bit 4:4:4 (lossless at quality 100), with alpha, losslessly coded, when any pixel needs it.
LProcessResult LCodecAVIFEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                                const LCODEC_AVIF_EncodeSettings& settings,
                                const LImageMetadata* metadata);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessAVIFSave<Base>& data)
{
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid())
        return LProcessResultFailed;
    LCodecWriterOf<Base> output(*data.lpStream);
    return LCodecAVIFEncode(process, output, *data.lpImage, data.settings, data.lpMetadata);
}
