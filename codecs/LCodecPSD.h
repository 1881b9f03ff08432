#pragma once
// PSD reader and writer, as processes over the stream classes. Failure is result 2 with no message
// of its own; the registry words it. The reader takes only the merged picture (for LInputStreamFile
// and LInputStreamBuffer); the writer (for LOutputStreamFile, and LOutputStreamByteArray so that
// a stream-generic caller links) stores one layer holding the whole picture when it has alpha,
// and the merged picture always.

#include <cstdint>

#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

// The 26-byte file header; all integers big-endian.
struct LCODEC_PSD_Header
{
    static constexpr int kSize = 26;

    char arSignature[4] = {'8', 'B', 'P', 'S'};
    uint16_t iVersion = 1;
    uint8_t arReserved[6] = {};
    uint16_t iChannels = 3;
    uint32_t iRows = 0;
    uint32_t iColumns = 0;
    uint16_t iDepth = 8;
    uint16_t iColourMode = 3;

    void Parse(const uint8_t* p);
    void Format(uint8_t* p) const;
};

template <class Base>
struct LProcessPSDLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0; // of the file, set on success
};

template <class Base>
struct LProcessPSDSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;

    // PackBits over rows of width bytes into target: a table of 16-bit row lengths, then the
    // data. Gives up (gaveUp set, no error) when the result wouldn't be smaller than the source;
    // resultSize 0 means the channel is stored raw. Fails only when a run meets an exhausted
    // budget, and returns 1 when stopped.
    static LProcessResult CompressChannel(LProcessInterface& process, const uint8_t* source, int width,
                                          int rows, uint8_t* target, uint64_t& resultSize, bool& gaveUp);
};

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPSDLoad<Base>& data);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPSDSave<Base>& data);
