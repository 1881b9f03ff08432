#pragma once
// WebP files through libwebp, in process both ways.
// Failure is result 2 with no message of its own; the registry words it.

#include "codecs/LCodecCommon.h"
#include "codecs/LImageEncodeSettings.h"
#include "codecs/LImageMetadata.h"

template <class Base>
struct LProcessWEBPLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0;                    // of the file, set on success
    LImageMetadata* lpMetadata = nullptr; // receives the ICCP, EXIF and XMP chunks when given
};

// Decodes a still picture incrementally, or the first frame of an animation, to B8G8R8A8.
LProcessResult LCodecWEBPDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth, LImageMetadata* metadata = nullptr);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessWEBPLoad<Base>& data)
{
    if (!data.lpStream || !data.lpImage)
        return LProcessResultFailed;
    LCodecReaderOf<Base> input(*data.lpStream);
    return LCodecWEBPDecode(process, input, *data.lpImage, data.iBitDepth, data.lpMetadata);
}

template <class Base>
struct LProcessWEBPSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
    LCODEC_WebP_EncodeSettings settings;
    const LImageMetadata* lpMetadata = nullptr; // blocks to embed, ready for writing
};

// Writes a lossy picture at the quality (clamped to 1 to 100), with alpha when any pixel needs it,
// and the photo information in ICCP, EXIF and XMP chunks.
LProcessResult LCodecWEBPEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                                const LCODEC_WebP_EncodeSettings& settings,
                                const LImageMetadata* metadata = nullptr);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessWEBPSave<Base>& data)
{
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid())
        return LProcessResultFailed;
    LCodecWriterOf<Base> output(*data.lpStream);
    return LCodecWEBPEncode(process, output, *data.lpImage, data.settings, data.lpMetadata);
}
