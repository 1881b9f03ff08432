#pragma once
// PCX reader and writer, as processes over the stream classes. Failure is result 2 with no message
// of its own; the registry words it. Defined for LInputStreamFile and LInputStreamBuffer on reading,
// LOutputStreamFile and LOutputStreamByteArray on writing.

#include <cstdint>

#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

// The 128-byte file header, little-endian words.
struct LCODEC_PCX_Header
{
    uint8_t iManufacturer = 10;
    uint8_t iVersion = 5;
    uint8_t iEncoding = 1;
    uint8_t iBitsPerPixel = 8;
    uint16_t iXMin = 0, iYMin = 0, iXMax = 0, iYMax = 0;
    uint16_t iHorizontalDpi = 0, iVerticalDpi = 0;
    uint8_t arColourMap[49] = {}; // 48 bytes of map and the reserved byte
    uint8_t iPlanes = 3;
    uint16_t iBytesPerLine = 0;
    uint16_t iPaletteInfo = 1;

    static constexpr int kSize = 128;
    void Parse(const uint8_t* p);
    void Format(uint8_t* p) const; // the 58 filler bytes are zero
};

// Run-length packing of one plane line: a run ends at 63 values or at a change; a single value
// below 192 stands for itself, anything else is 192 | count followed by the value.
struct LPCXRLEEncoder
{
    // Writes at most 2 * count bytes to out and returns how many.
    static size_t Encode(const uint8_t* values, int count, uint8_t* out);
};

template <class Base>
struct LProcessPCXLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0; // of the file, set on success
};

template <class Base>
struct LProcessPCXSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
};

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPCXLoad<Base>& data);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPCXSave<Base>& data);
