#pragma once
// TIFF files through libtiff; only the first image of a file is read.
// Failure is result 2 with no message of its own; the registry words it.

#include "codecs/LCodecCommon.h"
#include "codecs/LImageMetadata.h"

template <class Base>
struct LProcessTIFFLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0;                    // of the file, set on success
    LImageMetadata* lpMetadata = nullptr; // receives the photo information when given
};

// Decodes the first image to B8G8R8A8 (straight alpha), upright by its orientation. The photo
// information is read from inputs in memory or in a file that can be mapped.
LProcessResult LCodecTIFFDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth, LImageMetadata* metadata = nullptr);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessTIFFLoad<Base>& data)
{
    if (!data.lpStream || !data.lpImage)
        return LProcessResultFailed;
    LCodecReaderOf<Base> input(*data.lpStream);
    return LCodecTIFFDecode(process, input, *data.lpImage, data.iBitDepth, data.lpMetadata);
}

template <class Base>
struct LProcessTIFFSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
    const LImageMetadata* lpMetadata = nullptr; // blocks to embed, ready for writing
};

// Writes 8-bit RGB or RGBA (unassociated alpha), LZW with the horizontal predictor.
LProcessResult LCodecTIFFEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                                const LImageMetadata* metadata = nullptr);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessTIFFSave<Base>& data)
{
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid())
        return LProcessResultFailed;
    LCodecWriterOf<Base> output(*data.lpStream);
    return LCodecTIFFEncode(process, output, *data.lpImage, data.lpMetadata);
}
