#pragma once
// PNG files through libpng, row by row with read and write callbacks on the stream.
// Failure is result 2 with no message of its own; the registry words it.

#include "codecs/LCodecCommon.h"
#include "codecs/LImageMetadata.h"

template <class Base>
struct LProcessPNGLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0;                    // of the file, set on success
    LImageMetadata* lpMetadata = nullptr; // receives eXIf, iCCP and the XMP iTXt when given
};

// Decodes any PNG (palette, tRNS, grey with alpha, 16 bits, interlaced) to B8G8R8A8.
LProcessResult LCodecPNGDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                               int& bitDepth, LImageMetadata* metadata = nullptr);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPNGLoad<Base>& data)
{
    if (!data.lpStream || !data.lpImage)
        return LProcessResultFailed;
    LCodecReaderOf<Base> input(*data.lpStream);
    return LCodecPNGDecode(process, input, *data.lpImage, data.iBitDepth, data.lpMetadata);
}

template <class Base>
struct LProcessPNGSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
    // zlib's 0 to 9; -1 is the writer's default. 1 trades some size for speed.
    int iCompressionLevel = -1;
    const LImageMetadata* lpMetadata = nullptr; // blocks to embed, ready for writing
};

// Writes 8-bit RGB, or RGBA when any pixel is not opaque, deflating row bands on all cores.
// metadata goes into iCCP, eXIf and iTXt chunks as given.
LProcessResult LCodecPNGEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                               int compressionLevel = -1, const LImageMetadata* metadata = nullptr);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPNGSave<Base>& data)
{
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid())
        return LProcessResultFailed;
    LCodecWriterOf<Base> output(*data.lpStream);
    return LCodecPNGEncode(process, output, *data.lpImage, data.iCompressionLevel, data.lpMetadata);
}
