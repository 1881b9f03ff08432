#include "canvas/LGuiImage.h"

#include <atomic>
#include <cstring>
#include <vector>

#include "image/LImgProBands.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace
{
// (a × (256 − w) + b × w) ÷ 256 on each byte of two pixels, two channels per multiply.
inline uint32_t LerpPixel(uint32_t a, uint32_t b, uint32_t w)
{
    const uint32_t rb = (((a & 0x00FF00FFu) * (256 - w) + (b & 0x00FF00FFu) * w) >> 8) & 0x00FF00FFu;
    const uint32_t ag = (((a >> 8) & 0x00FF00FFu) * (256 - w) + ((b >> 8) & 0x00FF00FFu) * w) & 0xFF00FF00u;
    return rb | ag;
}

// The same on two whole rows of bytes.
void LerpRows(uint8_t* out, const uint8_t* a, const uint8_t* b, size_t n, unsigned w)
{
    size_t i = 0;
#if defined(__SSE2__)
    const __m128i wa = _mm_set1_epi16(short(256 - w)), wb = _mm_set1_epi16(short(w)),
                  zero = _mm_setzero_si128();
    for (; i + 16 <= n; i += 16)
    {
        const __m128i va = _mm_loadu_si128(reinterpret_cast<const __m128i*>(a + i));
        const __m128i vb = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
        const __m128i lo = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(va, zero), wa),
                                                        _mm_mullo_epi16(_mm_unpacklo_epi8(vb, zero), wb)),
                                          8);
        const __m128i hi = _mm_srli_epi16(_mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(va, zero), wa),
                                                        _mm_mullo_epi16(_mm_unpackhi_epi8(vb, zero), wb)),
                                          8);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(lo, hi));
    }
#endif
    for (; i < n; ++i)
        out[i] = uint8_t((a[i] * (256 - w) + b[i] * w) >> 8);
}

// Source position and weight of each output column or row, centres aligned.
void MakeTaps(int outSize, int inSize, std::vector<int>& first, std::vector<uint16_t>& weight)
{
    first.resize(size_t(outSize));
    weight.resize(size_t(outSize));
    const double step = double(inSize) / outSize;
    for (int i = 0; i < outSize; ++i)
    {
        double f = (i + 0.5) * step - 0.5;
        if (f < 0)
            f = 0;
        int i0 = int(f);
        if (i0 >= inSize - 1)
        {
            first[size_t(i)] = inSize - 1;
            weight[size_t(i)] = 0;
            continue;
        }
        first[size_t(i)] = i0;
        weight[size_t(i)] = uint16_t((f - i0) * 256 + 0.5);
    }
}

// A top-down B8G8R8A8 copy of any buffer; false when memory runs out.
bool CopyTopDown(LImageBuffer& out, const LImageBuffer& in)
{
    if (!LImage::New(out, in.GetWidth(), in.GetHeight(), B8G8R8A8))
        return false;
    if (in.GetPixelFormat() == B8G8R8A8)
    {
        const size_t bytes = size_t(in.GetWidth()) * 4;
        for (int y = 0; y < in.GetHeight(); ++y)
            memcpy(out.GetRow(y), in.GetRow(y), bytes);
        return true;
    }
    out.imf.bUpsideDown = in.imf.bUpsideDown;
    LConvertPixelFormat(out, in);
    if (!out.imf.bUpsideDown)
        return true;
    // Flip the rows in place so that row 0 is at the top.
    const size_t stride = out.GetWidthBytes();
    std::vector<uint8_t> tmp(stride);
    for (int a = 0, b = out.GetHeight() - 1; a < b; ++a, --b)
    {
        memcpy(tmp.data(), out.GetScanLine(a), stride);
        memcpy(out.GetScanLine(a), out.GetScanLine(b), stride);
        memcpy(out.GetScanLine(b), tmp.data(), stride);
    }
    out.imf.bUpsideDown = 0;
    return true;
}
} // namespace

bool LGuiImage::SetFromImageBuffer(const LImageBuffer& source)
{
    Clear();
    if (!source.IsValid())
        return false;
    if (!CopyTopDown(buffer, source))
    {
        buffer.Destroy();
        return false;
    }
    Premultiply();
    return true;
}

bool LGuiImage::TakeImageBuffer(LImageBuffer& source)
{
    if (!source.IsValid() || source.GetPixelFormat() != B8G8R8A8 || source.imf.bUpsideDown)
    {
        bool ok = SetFromImageBuffer(source);
        source.Destroy();
        return ok;
    }
    buffer.Assign(source);
    Premultiply();
    return true;
}

void LGuiImage::TakeImageBufferKnownOpaque(LImageBuffer& source)
{
    if (!source.IsValid() || source.GetPixelFormat() != B8G8R8A8 || source.imf.bUpsideDown)
    {
        TakeImageBuffer(source);
        return;
    }
    buffer.Assign(source);
    bOpaque = true;
}

void LGuiImage::ReleaseInto(LImageBuffer& out)
{
    out.Assign(buffer);
    bOpaque = true;
}

void LGuiImage::Clear()
{
    buffer.Destroy();
    bOpaque = true;
}

void LGuiImage::Premultiply()
{
    const int w = buffer.GetWidth();
    std::atomic<bool> transparent{false};
    LProcessInterfaceVoid process;
    LImgProBandRunner runner(buffer.GetHeight(), 64);
    runner.Run(process,
               [&](const LImgProBand& band, LImgProBandRunner&)
               {
                   bool seen = false;
                   for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                   {
                       uint8_t* p = buffer.GetScanLine(y);
                       for (int x = 0; x < w; ++x, p += 4)
                       {
                           const unsigned a = p[3];
                           if (a == 255)
                               continue;
                           seen = true;
                           p[0] = uint8_t((p[0] * a + 127) / 255);
                           p[1] = uint8_t((p[1] * a + 127) / 255);
                           p[2] = uint8_t((p[2] * a + 127) / 255);
                       }
                   }
                   if (seen)
                       transparent = true;
                   return true;
               });
    bOpaque = !transparent;
}

bool LGuiImage::IsBufferOpaque(const LImageBuffer& source)
{
    if (source.GetPixelFormat() != B8G8R8A8)
        return false;
    for (int y = 0; y < source.GetHeight(); ++y)
    {
        const uint8_t* p = source.GetScanLine(y);
        for (int x = 0; x < source.GetWidth(); ++x)
            if (p[4 * x + 3] != 255)
                return false;
    }
    return true;
}

bool LGuiImage::SetStretched(const LImageBuffer& source, int width, int height)
{
    LGuiImage small;
    if (width <= 0 || height <= 0 || !small.SetFromImageBuffer(source))
    {
        Clear();
        return false;
    }
    const LImageBuffer& in = small.buffer;
    LImageBuffer out;
    if (buffer.IsValid() && buffer.GetWidth() == width && buffer.GetHeight() == height &&
        !buffer.imf.bUpsideDown)
        out.Assign(buffer);
    else
    {
        buffer.Destroy();
        if (!LImage::New(out, width, height, B8G8R8A8))
            return false;
    }
    std::vector<int> x0, y0;
    std::vector<uint16_t> wx, wy;
    MakeTaps(width, in.GetWidth(), x0, wx);
    MakeTaps(height, in.GetHeight(), y0, wy);
    const int sw = in.GetWidth();
    // Each band widens the source rows it needs once, keeping the last two, and blends them.
    LProcessInterfaceVoid process;
    LImgProBandRunner runner(height, 32);
    runner.Run(process,
               [&](const LImgProBand& band, LImgProBandRunner&)
               {
                   std::vector<uint32_t> rowA(static_cast<size_t>(width)), rowB(static_cast<size_t>(width));
                   int haveA = -1, haveB = -1;
                   auto widen = [&](int sy, std::vector<uint32_t>& row)
                   {
                       const uint32_t* s = reinterpret_cast<const uint32_t*>(in.GetScanLine(sy));
                       for (int x = 0; x < width; ++x)
                       {
                           const int i = x0[size_t(x)];
                           row[size_t(x)] = LerpPixel(s[i], s[std::min(i + 1, sw - 1)], wx[size_t(x)]);
                       }
                   };
                   for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                   {
                       const int a = y0[size_t(y)], b = std::min(a + 1, in.GetHeight() - 1);
                       if (haveA != a)
                       {
                           if (haveB == a)
                           {
                               rowA.swap(rowB);
                               std::swap(haveA, haveB);
                           }
                           else
                           {
                               widen(a, rowA);
                               haveA = a;
                           }
                       }
                       uint8_t* o = out.GetScanLine(y);
                       const unsigned w = wy[size_t(y)];
                       if (w == 0 || a == b)
                       {
                           memcpy(o, rowA.data(), size_t(width) * 4);
                           continue;
                       }
                       if (haveB != b)
                       {
                           widen(b, rowB);
                           haveB = b;
                       }
                       LerpRows(o, reinterpret_cast<const uint8_t*>(rowA.data()),
                                reinterpret_cast<const uint8_t*>(rowB.data()), size_t(width) * 4, w);
                   }
                   return true;
               });
    buffer.Assign(out);
    bOpaque = small.bOpaque;
    return true;
}
