#pragma once
// Sun raster reader and writer, as processes over the stream classes. Failure is result 2 with no
// message of its own; the registry words it. Defined for LInputStreamFile and LInputStreamBuffer on
// reading, LOutputStreamFile and LOutputStreamByteArray on writing.

#include <cstdint>

#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

// The 32-byte file header: eight big-endian words.
struct LCODEC_RAS_Header
{
    static constexpr uint32_t kMagic = 1504078485;
    static constexpr int kSize = 32;

    uint32_t iMagic = kMagic;
    uint32_t iWidth = 0;
    uint32_t iHeight = 0;
    uint32_t iDepth = 0;
    uint32_t iLength = 0;
    uint32_t iType = 0;
    uint32_t iMapType = 0;
    uint32_t iMapLength = 0;

    void Parse(const uint8_t* p);
    void Format(uint8_t* p) const;
};

template <class Base>
struct LProcessRASLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0; // of the file, set on success
};

template <class Base>
struct LProcessRASSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
};

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessRASLoad<Base>& data);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessRASSave<Base>& data);
