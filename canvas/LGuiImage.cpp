#include "canvas/LGuiImage.h"

#include <algorithm>
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
    Changed();
    buffer.Assign(source);
    Premultiply();
    return true;
}

void LGuiImage::Clear()
{
    buffer.Destroy();
    bOpaque = true;
    Changed();
}

void LGuiImage::Changed()
{
    vReduced.clear();
    bufSource.Destroy();
    bPending = false;
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

namespace
{
// Bilinear enlargement of in (premultiplied, top-down) into rows first..first+count of out.
void StretchInto(LImageBuffer& out, const LImageBuffer& in, int first, int count)
{
    const int width = out.GetWidth(), height = out.GetHeight();
    std::vector<int> x0, y0;
    std::vector<uint16_t> wx, wy;
    MakeTaps(width, in.GetWidth(), x0, wx);
    MakeTaps(height, in.GetHeight(), y0, wy);
    const int sw = in.GetWidth();
    // Each band widens the source rows it needs once, keeping the last two, and blends them.
    LProcessInterfaceVoid process;
    LImgProBandRunner runner(count, 32);
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
                   for (int y = first + band.iFirst; y < first + band.iFirst + band.iCount; ++y)
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
}
} // namespace

bool LGuiImage::SetStretched(const LImageBuffer& source, int width, int height)
{
    LGuiImage small;
    if (width <= 0 || height <= 0 || !small.SetFromImageBuffer(source))
    {
        Clear();
        return false;
    }
    vReduced.clear();
    // Memory of the same size is kept for the stretch; other memory is given back now.
    if (buffer.GetWidth() != width || buffer.GetHeight() != height)
        buffer.Destroy();
    bufSource.Assign(small.buffer);
    bOpaque = small.bOpaque;
    bPending = true;
    iPendingWidth = width;
    iPendingHeight = height;
    vStripDone.assign(size_t((height + kStripRows - 1) / kStripRows), 0);
    return true;
}

bool LGuiImage::Materialize(int y0, int y1) const
{
    if (!bPending)
        return true;
    if (!buffer.IsValid() && !LImage::New(buffer, iPendingWidth, iPendingHeight, B8G8R8A8))
    {
        bPending = false;
        return false;
    }
    // Strips not yet made in the range, a run of them at a time.
    const int last = int(vStripDone.size());
    int s = std::max(0, y0 / kStripRows);
    const int e = std::min(last, (std::max(y0, y1) + kStripRows - 1) / kStripRows);
    while (s < e)
    {
        if (vStripDone[size_t(s)])
        {
            ++s;
            continue;
        }
        int t = s;
        while (t < e && !vStripDone[size_t(t)])
            vStripDone[size_t(t++)] = 1;
        const int first = s * kStripRows;
        StretchInto(buffer, bufSource, first, std::min(t * kStripRows, iPendingHeight) - first);
        s = t;
    }
    if (std::all_of(vStripDone.begin(), vStripDone.end(), [](uint8_t d) { return d != 0; }))
        bPending = false;
    return true;
}

bool LGuiImage::Materialize() const
{
    return Materialize(0, iPendingHeight);
}

const LImageBuffer& LGuiImage::GetBuffer() const
{
    Materialize();
    return buffer;
}

const LImageBuffer& LGuiImage::GetBufferRows(int y0, int y1) const
{
    Materialize(y0, y1);
    return buffer;
}

bool LGuiImage::MakeReduced(const LImageBuffer& in, int factor, bool bSourceOpaque)
{
    const int iw = in.GetWidth(), ih = in.GetHeight();
    const int w = (iw + factor - 1) / factor, h = (ih + factor - 1) / factor;
    if (!LImage::New(buffer, w, h, B8G8R8A8))
        return false;
    bOpaque = bSourceOpaque;
    LProcessInterfaceVoid process;
    LImgProBandRunner runner(h, 8);
    runner.Run(process,
               [&](const LImgProBand& band, LImgProBandRunner&)
               {
                   std::vector<uint32_t> sums(size_t(w) * 4);
                   for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                   {
                       std::fill(sums.begin(), sums.end(), 0u);
                       const int y0 = y * factor, y1 = std::min(y0 + factor, ih);
                       for (int sy = y0; sy < y1; ++sy)
                       {
                           const uint8_t* r = in.GetScanLine(sy);
                           for (int x = 0; x < w; ++x)
                           {
                               uint32_t* acc = &sums[size_t(x) * 4];
                               const int x1 = std::min((x + 1) * factor, iw);
                               for (int sx = x * factor; sx < x1; ++sx)
                               {
                                   const uint8_t* p = r + 4 * sx;
                                   acc[0] += p[0], acc[1] += p[1], acc[2] += p[2], acc[3] += p[3];
                               }
                           }
                       }
                       uint8_t* o = buffer.GetScanLine(y);
                       for (int x = 0; x < w; ++x)
                       {
                           const uint32_t n =
                               uint32_t((std::min((x + 1) * factor, iw) - x * factor) * (y1 - y0));
                           for (int c = 0; c < 4; ++c)
                               o[4 * x + c] = uint8_t((sums[size_t(x) * 4 + c] + n / 2) / n);
                       }
                   }
                   return true;
               });
    return true;
}

const LGuiImage& LGuiImage::GetReducedFor(int width) const
{
    // The level halves the picture k times: at most twice as wide as asked.
    const int full = GetWidth(), fullHeight = GetHeight();
    int k = 0;
    auto levelWidth = [](int size, int k) { return (size + (1 << k) - 1) >> k; };
    while (levelWidth(full, k) > 2 * width && levelWidth(full, k) > 1)
        ++k;
    if (k == 0)
        return *this;
    for (const auto& level : vReduced)
        if (level.first == k)
            return *level.second;
    const int factor = 1 << k;
    const int w = (full + factor - 1) / factor, h = (fullHeight + factor - 1) / factor;
    auto made = std::make_unique<LGuiImage>();
    bool ok;
    if (bufSource.IsValid())
    {
        // From the small picture this one is stretched from: enlarged to the level, or, when the
        // level is smaller still, reduced from it.
        int j = 0;
        while (levelWidth(bufSource.GetWidth(), j) > 2 * width && levelWidth(bufSource.GetWidth(), j) > 1)
            ++j;
        if (j > 0)
            ok = made->MakeReduced(bufSource, 1 << j, bOpaque);
        else if (bufSource.GetWidth() <= w)
        {
            ok = made->SetStretched(bufSource, w, h) && made->Materialize();
            made->bufSource.Destroy();
        }
        else
            ok = made->SetFromImageBuffer(bufSource);
    }
    else
        ok = made->MakeReduced(GetBuffer(), factor, bOpaque);
    if (!ok)
        return *this;
    vReduced.emplace_back(k, std::move(made));
    return *vReduced.back().second;
}
