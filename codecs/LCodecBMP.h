#pragma once
// Bitmap files in two layers, as in the format: the device-independent bitmap (information header,
// palette, pixels) and the 14-byte file header around it. The DIB layer also serves alone on memory
// streams. Failure is result 2 with no message of its own; the registry words it.

#include <cstdint>

#include "codecs/LCodecCommon.h"
#include "codecs/LImageEncodeSettings.h"

struct LCODEC_BMP_Header
{
    uint16_t bfType = 0; // 19778, "BM"
    uint32_t bfSize = 0;
    uint32_t bfOffBits = 0;
};

struct LCODEC_DIB_Header
{
    uint32_t biSize = 0;
    int32_t biWidth = 0;
    int32_t biHeight = 0;
    uint16_t biPlanes = 0;
    uint16_t biBitCount = 0;
    uint32_t biCompression = 0;
    uint32_t biSizeImage = 0;
    int32_t biXPelsPerMeter = 0;
    int32_t biYPelsPerMeter = 0;
    uint32_t biClrUsed = 0;
    uint32_t biClrImportant = 0;
    uint32_t uRedMask = 0, uGreenMask = 0, uBlueMask = 0, uAlphaMask = 0;
};

// One colour mask of a bit-field file. Bits of the mask are gathered low to high into a compact
// value (holes closed) and widened to 8 bits with rounding.
struct LCODEC_DIB_MaskCode
{
    uint32_t uMask = 0;
    int iLow = 33; // lowest set bit, 33 when none
    int iHigh = 0; // highest set bit, 0 when none
    int nBits = 0;
    bool bContiguous = true;

    void Init(uint32_t mask)
    {
        *this = LCODEC_DIB_MaskCode();
        uMask = mask;
        for (int b = 0; b < 32; ++b)
            if (mask >> b & 1)
            {
                if (iLow == 33)
                    iLow = b;
                iHigh = b;
                ++nBits;
            }
        bContiguous = nBits == 0 || nBits == iHigh - iLow + 1;
    }
    uint8_t Read(uint32_t pixel) const
    {
        uint64_t v;
        if (bContiguous)
            v = (pixel & uMask) >> iLow;
        else
        {
            v = 0;
            int n = 0;
            for (int b = iLow; b <= iHigh; ++b)
                if (uMask >> b & 1)
                    v |= uint64_t(pixel >> b & 1) << n++;
        }
        const uint64_t max = (uint64_t(1) << nBits) - 1;
        return uint8_t((v * 255 + max / 2) / max);
    }
};

template <class Base>
struct LProcessDIBLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0;                // of the file, set on success
    int64_t iExpectedPixelOffset = 0; // when nonzero, the pixels must start exactly here
    bool bSetStatus = true;           // the file layer announces itself instead
};

template <class Base>
struct LProcessBMPLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0;
};

// The image must be 24 or 32 bits unless settings are given; with settings the image may be of any
// packed format and is written in the format they choose, transparent pixels blended on the
// background for 24 bits.
template <class Base>
struct LProcessDIBSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
    const LCODEC_BMP_EncodeSettings* lpSettings = nullptr;
    bool bSetStatus = true;
};

template <class Base>
struct LProcessBMPSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
    LCODEC_BMP_EncodeSettings settings;
};

// Defined in LCodecBMP.cpp for the file and memory streams (LInputStreamFile, LInputStreamBuffer,
// LOutputStreamFile, LOutputStreamByteArray).
template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessDIBLoad<Base>& d);
template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessBMPLoad<Base>& d);
template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessDIBSave<Base>& d);
template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessBMPSave<Base>& d);
