#pragma once
// JPEG 2000 files (JP2 boxes or a bare codestream) through OpenJPEG.
// Failure is result 2 with no message of its own; the registry words it.

#include "codecs/LCodecCommon.h"
#include "codecs/LImageEncodeSettings.h"
#include "codecs/LImageEncodeSettings.h"

template <class Base>
struct LProcessJPEG2000Load
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0; // of the file, set on success
};

// Decodes grey, grey with alpha, RGB(A) and sYCC at any precision and subsampling to B8G8R8A8.
LProcessResult LCodecJPEG2000Decode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                    int& bitDepth);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessJPEG2000Load<Base>& data)
{
    if (!data.lpStream || !data.lpImage)
        return LProcessResultFailed;
    LCodecReaderOf<Base> input(*data.lpStream);
    return LCodecJPEG2000Decode(process, input, *data.lpImage, data.iBitDepth);
}

template <class Base>
struct LProcessJPEG2000Save
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
    LCODEC_JPEG2000_EncodeSettings settings;
};

// Writes a JP2 file, reversibly when lossless, else at a compression ratio taken from the quality.
LProcessResult LCodecJPEG2000Encode(LProcessInterface& process, LCodecWriter& output,
                                    const LImageBuffer& image,
                                    const LCODEC_JPEG2000_EncodeSettings& settings);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessJPEG2000Save<Base>& data)
{
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid())
        return LProcessResultFailed;
    LCodecWriterOf<Base> output(*data.lpStream);
    return LCodecJPEG2000Encode(process, output, *data.lpImage, data.settings);
}
