#pragma once
// How the TIFF reader turns stored samples into B8G8R8A8 rows: every sample size libtiff hands
// over (1 to 32 bits, unsigned or signed, and 16, 24, 32 or 64-bit floating point), grey, palette,
// RGB, CMYK and subsampled YCbCr, with straight or associated alpha. Only LCodecTIFF.cpp uses it;
// the conversions know nothing of libtiff but YCbCr's tables.

#include <cstdint>
#include <memory>
#include <vector>

enum LTIFFColour : int
{
    LTIFFColourGrey,
    LTIFFColourPalette,
    LTIFFColourRGB,
    LTIFFColourCMYK,
    LTIFFColourYCbCr,
};

enum LTIFFSampleKind : int
{
    LTIFFSampleUnsigned,
    LTIFFSampleSigned,
    LTIFFSampleFloat,
};

struct LTIFFSamples
{
    LTIFFColour colour = LTIFFColourGrey;
    LTIFFSampleKind kind = LTIFFSampleUnsigned;
    int iBits = 8;             // per sample
    int iSamples = 1;          // per pixel, extra samples included
    bool bSeparate = false;    // one plane for each sample
    bool bMinIsWhite = false;  // grey stored inverted
    int iAlpha = -1;           // the sample that holds alpha, -1 for none
    bool bAssociated = false;  // alpha multiplied into the colour
    double dMin = 0, dMax = 1; // the range of floating-point samples
    // Palette: one 8-bit entry per index the sample size allows.
    std::vector<uint8_t> arRed, arGreen, arBlue;
    // YCbCr: the subsampling of the chroma (1, 2 or 4 each way) and libtiff's conversion tables.
    int iSubH = 1, iSubV = 1;
    std::unique_ptr<uint8_t[]> lpYCbCr;

    // Bytes of one stored row of width pixels in a plane (all samples when contiguous).
    uint64_t RowBytes(uint64_t width) const;
};

// Builds the YCbCr conversion from the file's coefficients and reference range; false when they
// are unusable (a zero green coefficient, values out of range).
bool LTIFFInitYCbCr(LTIFFSamples& s, const float* luma, const float* referenceBlackWhite);

// Per-row working memory, kept across rows so that the loops allocate nothing.
struct LTIFFRowScratch
{
    std::vector<uint8_t> arChannels; // up to five channels of 8-bit values
    std::vector<uint32_t> arIndices; // palette indices
};

// Converts count pixels of a stored row into out (B, G, R, A each). planes holds the row's data:
// one pointer for contiguous samples, one for each sample when separate.
void LTIFFConvertRow(const LTIFFSamples& s, const uint8_t* const* planes, uint32_t count, uint8_t* out,
                     LTIFFRowScratch& scratch);

// Converts one row of YCbCr data units (iSubH × iSubV luma samples, then blue and red chroma; 8
// bits each) that covers rows picture rows (1 to iSubV) of width pixels; out[r] receives row r.
void LTIFFConvertYCbCrUnits(const LTIFFSamples& s, const uint8_t* units, uint32_t width, int rows,
                            uint8_t* const* out);

// Bytes of one row of YCbCr data units covering width pixels.
uint64_t LTIFFYCbCrUnitRowBytes(const LTIFFSamples& s, uint64_t width);
