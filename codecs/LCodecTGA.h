#pragma once
// TGA reader and writer, as processes over the stream classes. Failure is result 2 with no message
// of its own; the registry words it. Defined for LInputStreamFile and LInputStreamBuffer on reading,
// LOutputStreamFile and LOutputStreamByteArray on writing.

#include <cstdint>

#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

// The 18-byte file header, little-endian words.
struct LCODEC_TGA_Header
{
    uint8_t iIdLength = 0;
    uint8_t iColourMapType = 0;
    uint8_t iImageType = 0;
    uint16_t iFirstMapEntry = 0;
    uint16_t iMapLength = 0;
    uint8_t iMapEntryBits = 0;
    uint16_t iXOrigin = 0;
    uint16_t iYOrigin = 0;
    uint16_t iWidth = 0;
    uint16_t iHeight = 0;
    uint8_t iDepth = 0;
    uint8_t iDescriptor = 0;

    static constexpr int kSize = 18;
    void Parse(const uint8_t* p);
    void Format(uint8_t* p) const;
};

template <class Base>
struct LProcessTGALoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0; // of the file, set on success
};

template <class Base>
struct LProcessTGASave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
};

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessTGALoad<Base>& data);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessTGASave<Base>& data);
