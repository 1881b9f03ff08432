#pragma once
// PNM reader and writer, as processes over the stream classes. Failure is result 2 with no message
// of its own; the registry words it. Defined for LInputStreamFile and LInputStreamBuffer on reading,
// LOutputStreamFile and LOutputStreamByteArray on writing.
//
// The writer's variant comes from settings.iType (0 to 5 write "P1" to "P6"). The monochrome
// variants write 1 for a light pixel, while the reader takes 1 as black: a monochrome file
// written here reads back inverted, and that stays so.

#include "codecs/LImageEncodeSettings.h"
#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

template <class Base>
struct LProcessPNMLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0; // of the file, set on success
};

template <class Base>
struct LProcessPNMSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
    LCODEC_PNM_EncodeSettings settings;
};

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPNMLoad<Base>& data);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPNMSave<Base>& data);
