#include "codecs/LCodecTIFFSamples.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include <tiffio.h>

namespace
{
// Samples whose size is not a whole number of bytes are packed high bit first, in any byte
// order; bits is at most 32.
inline uint32_t LoadBits(const uint8_t* p, uint64_t bit, int bits)
{
    const uint8_t* b = p + (bit >> 3);
    const int shift = int(bit & 7);
    const int bytes = (shift + bits + 7) >> 3;
    uint64_t v = 0;
    for (int i = 0; i < bytes; ++i)
        v = v << 8 | b[i];
    v >>= bytes * 8 - shift - bits;
    return uint32_t(v & ((uint64_t(1) << bits) - 1));
}

// Whole-byte samples are in this machine's byte order: libtiff swaps them as it decodes.
inline uint32_t LoadSample(const uint8_t* p, uint64_t index, int bits)
{
    switch (bits)
    {
    case 8:
        return p[index];
    case 16:
    {
        uint16_t v;
        memcpy(&v, p + index * 2, 2);
        return v;
    }
    case 24:
    {
        const uint8_t* b = p + index * 3;
        return uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16;
    }
    case 32:
    {
        uint32_t v;
        memcpy(&v, p + index * 4, 4);
        return v;
    }
    default:
        return LoadBits(p, index * uint64_t(bits), bits);
    }
}

double HalfToDouble(uint32_t h)
{
    const int exponent = int(h >> 10 & 31);
    const double mantissa = double(h & 1023);
    double v;
    if (exponent == 0)
        v = std::ldexp(mantissa, -24);
    else if (exponent == 31)
        v = mantissa == 0 ? INFINITY : NAN;
    else
        v = std::ldexp(mantissa + 1024, exponent - 25);
    return h & 0x8000 ? -v : v;
}

// The 24-bit format: a sign, 7 bits of exponent (bias 63) and 16 of mantissa.
double Float24ToDouble(uint32_t f)
{
    const int exponent = int(f >> 16 & 127);
    const double mantissa = double(f & 0xFFFF);
    double v;
    if (exponent == 0)
        v = std::ldexp(mantissa, -62 - 16);
    else if (exponent == 127)
        v = mantissa == 0 ? INFINITY : NAN;
    else
        v = std::ldexp(mantissa + 65536, exponent - 63 - 16);
    return f & 0x800000 ? -v : v;
}

double LoadFloat(const uint8_t* p, uint64_t index, int bits)
{
    switch (bits)
    {
    case 16:
        return HalfToDouble(LoadSample(p, index, 16));
    case 24:
        return Float24ToDouble(LoadSample(p, index, 24));
    case 32:
    {
        float v;
        memcpy(&v, p + index * 4, 4);
        return v;
    }
    default:
    {
        double v;
        memcpy(&v, p + index * 8, 8);
        return v;
    }
    }
}

// One sample of every pixel of a row, scaled to 8 bits: the whole range of the sample size maps
// onto 0 to 255, signed samples from their lowest value up, floating point from the file's range.
void Extract(const LTIFFSamples& s, const uint8_t* const* planes, int sample, uint32_t count, uint8_t* out)
{
    const uint8_t* p = s.bSeparate ? planes[sample] : planes[0];
    const uint64_t stride = s.bSeparate ? 1 : uint64_t(s.iSamples);
    const uint64_t first = s.bSeparate ? 0 : uint64_t(sample);
    const int bits = s.iBits;
    if (s.kind == LTIFFSampleFloat)
    {
        const double scale = 255.0 / (s.dMax - s.dMin);
        for (uint32_t x = 0; x < count; ++x)
        {
            const double v = (LoadFloat(p, x * stride + first, bits) - s.dMin) * scale;
            out[x] = v >= 255.0 ? 255 : v > 0 ? uint8_t(v + 0.5) : 0; // NaN gives 0
        }
        return;
    }
    // Flipping the sign bit turns a signed sample into the unsigned one of the same order.
    const uint32_t flip = s.kind == LTIFFSampleSigned ? uint32_t(1) << (bits - 1) : 0;
    switch (bits)
    {
    case 8:
        for (uint32_t x = 0; x < count; ++x)
            out[x] = uint8_t(p[x * stride + first] ^ flip);
        return;
    case 16:
        for (uint32_t x = 0; x < count; ++x)
            out[x] = uint8_t(((LoadSample(p, x * stride + first, 16) ^ flip) + 128) / 257);
        return;
    default:
    {
        const uint64_t max = (uint64_t(1) << bits) - 1;
        for (uint32_t x = 0; x < count; ++x)
            out[x] =
                uint8_t(((LoadSample(p, x * stride + first, bits) ^ flip) * uint64_t(255) + max / 2) / max);
        return;
    }
    }
}

inline uint8_t Unmultiply(unsigned c, unsigned a)
{
    return a == 0 ? 0 : uint8_t(std::min(255u, (c * 255 + a / 2) / a));
}
} // namespace

uint64_t LTIFFSamples::RowBytes(uint64_t width) const
{
    const uint64_t bitsPerPixel = uint64_t(iBits) * (bSeparate ? 1 : uint64_t(iSamples));
    return (width * bitsPerPixel + 7) / 8;
}

bool LTIFFInitYCbCr(LTIFFSamples& s, const float* luma, const float* referenceBlackWhite)
{
    // The tables are built in fixed point: coefficients far from any real ones would overflow it.
    for (int i = 0; i < 3; ++i)
        if (!(luma[i] >= 0.0f && luma[i] <= 1.0f))
            return false;
    if (luma[1] < 0.1f)
        return false;
    for (int i = 0; i < 6; ++i)
        if (!std::isfinite(referenceBlackWhite[i]) || std::fabs(referenceBlackWhite[i]) > 1e6f)
            return false;
    // The layout libtiff's own image reader uses: the structure, then its tables.
    const size_t head = (sizeof(TIFFYCbCrToRGB) + sizeof(long) - 1) / sizeof(long) * sizeof(long);
    const size_t size =
        head + 4 * 256 * sizeof(TIFFRGBValue) + 2 * 256 * sizeof(int) + 3 * 256 * sizeof(int32_t);
    s.lpYCbCr.reset(new (std::nothrow) uint8_t[size]());
    if (!s.lpYCbCr)
        return false;
    float l[3] = {luma[0], luma[1], luma[2]};
    float r[6];
    memcpy(r, referenceBlackWhite, sizeof(r));
    return TIFFYCbCrToRGBInit(reinterpret_cast<TIFFYCbCrToRGB*>(s.lpYCbCr.get()), l, r) >= 0;
}

void LTIFFConvertRow(const LTIFFSamples& s, const uint8_t* const* planes, uint32_t count, uint8_t* out,
                     LTIFFRowScratch& scratch)
{
    // Most files: 8-bit RGB, with or without straight alpha, samples side by side.
    if (s.colour == LTIFFColourRGB && s.kind == LTIFFSampleUnsigned && s.iBits == 8 && !s.bSeparate &&
        (s.iAlpha < 0 || (s.iAlpha == 3 && !s.bAssociated)))
    {
        const uint8_t* p = planes[0];
        const int step = s.iSamples;
        for (uint32_t x = 0; x < count; ++x, p += step, out += 4)
            out[0] = p[2], out[1] = p[1], out[2] = p[0], out[3] = s.iAlpha < 0 ? 255 : p[3];
        return;
    }
    if (scratch.arChannels.size() < size_t(count) * 5)
        scratch.arChannels.resize(size_t(count) * 5);
    uint8_t* c0 = scratch.arChannels.data();
    uint8_t *c1 = c0 + count, *c2 = c1 + count, *c3 = c2 + count, *alpha = c3 + count;
    switch (s.colour)
    {
    case LTIFFColourGrey:
        Extract(s, planes, 0, count, c0);
        for (uint32_t x = 0; x < count; ++x)
        {
            const uint8_t g = s.bMinIsWhite ? uint8_t(255 - c0[x]) : c0[x];
            out[4 * x] = out[4 * x + 1] = out[4 * x + 2] = g;
        }
        break;
    case LTIFFColourPalette:
    {
        const uint8_t* p = planes[0];
        const uint64_t stride = s.bSeparate ? 1 : uint64_t(s.iSamples);
        const uint32_t last = uint32_t(s.arRed.size() - 1);
        for (uint32_t x = 0; x < count; ++x)
        {
            const uint32_t i = std::min(LoadSample(p, x * stride, s.iBits), last);
            out[4 * x] = s.arBlue[i], out[4 * x + 1] = s.arGreen[i], out[4 * x + 2] = s.arRed[i];
        }
        break;
    }
    case LTIFFColourRGB:
        Extract(s, planes, 0, count, c0);
        Extract(s, planes, 1, count, c1);
        Extract(s, planes, 2, count, c2);
        for (uint32_t x = 0; x < count; ++x)
            out[4 * x] = c2[x], out[4 * x + 1] = c1[x], out[4 * x + 2] = c0[x];
        break;
    case LTIFFColourCMYK:
        Extract(s, planes, 0, count, c0);
        Extract(s, planes, 1, count, c1);
        Extract(s, planes, 2, count, c2);
        Extract(s, planes, 3, count, c3);
        for (uint32_t x = 0; x < count; ++x)
        {
            const unsigned k = 255u - c3[x];
            out[4 * x] = uint8_t(((255u - c2[x]) * k + 127) / 255);
            out[4 * x + 1] = uint8_t(((255u - c1[x]) * k + 127) / 255);
            out[4 * x + 2] = uint8_t(((255u - c0[x]) * k + 127) / 255);
        }
        break;
    case LTIFFColourYCbCr:
        break; // read as data units, never as rows of samples
    }
    if (s.iAlpha < 0)
    {
        for (uint32_t x = 0; x < count; ++x)
            out[4 * x + 3] = 255;
        return;
    }
    Extract(s, planes, s.iAlpha, count, alpha);
    for (uint32_t x = 0; x < count; ++x)
    {
        uint8_t* p = out + 4 * x;
        p[3] = alpha[x];
        if (s.bAssociated && alpha[x] != 255)
            p[0] = Unmultiply(p[0], alpha[x]), p[1] = Unmultiply(p[1], alpha[x]),
            p[2] = Unmultiply(p[2], alpha[x]);
    }
}

uint64_t LTIFFYCbCrUnitRowBytes(const LTIFFSamples& s, uint64_t width)
{
    const uint64_t units = (width + uint64_t(s.iSubH) - 1) / uint64_t(s.iSubH);
    return units * uint64_t(s.iSubH * s.iSubV + 2);
}

void LTIFFConvertYCbCrUnits(const LTIFFSamples& s, const uint8_t* units, uint32_t width, int rows,
                            uint8_t* const* out)
{
    TIFFYCbCrToRGB* table = reinterpret_cast<TIFFYCbCrToRGB*>(s.lpYCbCr.get());
    const int h = s.iSubH, v = s.iSubV, unitBytes = h * v + 2;
    for (uint32_t x0 = 0; x0 < width; x0 += uint32_t(h), units += unitBytes)
    {
        const int32_t cb = units[h * v], cr = units[h * v + 1];
        for (int j = 0; j < rows; ++j)
            for (int i = 0; i < h && x0 + uint32_t(i) < width; ++i)
            {
                uint32_t r, g, b;
                TIFFYCbCrtoRGB(table, units[j * h + i], cb, cr, &r, &g, &b);
                uint8_t* p = out[j] + 4 * size_t(x0 + uint32_t(i));
                p[0] = uint8_t(b), p[1] = uint8_t(g), p[2] = uint8_t(r), p[3] = 255;
            }
    }
}
