#pragma once
// JPEG files through libjpeg-turbo, streamed through custom source and destination managers.
// Failure is result 2 with no message of its own; the registry words it.

#include "codecs/LCodecCommon.h"
#include "codecs/LImageMetadata.h"

template <class Base>
struct LProcessJPEGLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0;                    // of the file, set on success
    LImageMetadata* lpMetadata = nullptr; // receives the EXIF, XMP and ICC blocks when given
};

// Decodes to B8G8R8A8, turned upright by the EXIF orientation; CMYK (Adobe-inverted or not) is converted.
LProcessResult LCodecJPEGDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth, LImageMetadata* metadata = nullptr);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessJPEGLoad<Base>& data)
{
    if (!data.lpStream || !data.lpImage)
        return LProcessResultFailed;
    LCodecReaderOf<Base> input(*data.lpStream);
    return LCodecJPEGDecode(process, input, *data.lpImage, data.iBitDepth, data.lpMetadata);
}

template <class Base>
struct LProcessJPEGSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
    int iQuality = 100;
    const LImageMetadata* lpMetadata = nullptr; // blocks to embed, ready for writing
};

// Writes the image without alpha at the given quality (0 to 100), with metadata in APP1 and
// APP2 markers (an EXIF or XMP block too large for one marker is left out).
LProcessResult LCodecJPEGEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                                int quality, const LImageMetadata* metadata = nullptr);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessJPEGSave<Base>& data)
{
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid())
        return LProcessResultFailed;
    LCodecWriterOf<Base> output(*data.lpStream);
    return LCodecJPEGEncode(process, output, *data.lpImage, data.iQuality, data.lpMetadata);
}
