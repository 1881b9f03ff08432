#include "image/LImgProOilPainting.h"

#include <immintrin.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <new>

#include "image/LImgProRowLoop.h"
#include "image/LImgProSimple.h"

namespace
{
bool HasAVX2()
{
    static const bool b = __builtin_cpu_supports("avx2");
    return b;
}

struct Histograms
{
    int32_t arCount[256];
    int32_t arRed[256];
    int32_t arGreen[256];
    int32_t arBlue[256];
};

// The first bin with the largest count.
int ModePlain(const int32_t* c)
{
    int best = 0;
    for (int i = 1; i < 256; ++i)
        if (c[i] > c[best])
            best = i;
    return best;
}

__attribute__((target("avx2"))) int ModeAVX2(const int32_t* c)
{
    __m256i m = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c));
    for (int i = 8; i < 256; i += 8)
        m = _mm256_max_epi32(m, _mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + i)));
    __m128i h = _mm_max_epi32(_mm256_castsi256_si128(m), _mm256_extracti128_si256(m, 1));
    h = _mm_max_epi32(h, _mm_shuffle_epi32(h, 0x4E));
    h = _mm_max_epi32(h, _mm_shuffle_epi32(h, 0xB1));
    const __m256i top = _mm256_broadcastd_epi32(h);
    for (int i = 0; i < 256; i += 8)
    {
        const __m256i eq =
            _mm256_cmpeq_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(c + i)), top);
        const int mask = _mm256_movemask_ps(_mm256_castsi256_ps(eq));
        if (mask)
            return i + __builtin_ctz(unsigned(mask));
    }
    return 0;
}

template <class F>
struct OilImage
{
    const LImageBuffer& oSource;
    const uint8_t* lpGrey;
    int iWidth, iHeight;

    // Adds (sign 1) or takes out (sign -1) the pixels of the rectangle, clipped to the image.
    void Update(Histograms& hist, int x0, int x1, int y0, int y1, int sign) const
    {
        x0 = std::max(x0, 0);
        y0 = std::max(y0, 0);
        x1 = std::min(x1, iWidth - 1);
        y1 = std::min(y1, iHeight - 1);
        for (int y = y0; y <= y1; ++y)
        {
            const F* row = reinterpret_cast<const F*>(oSource.GetRow(y));
            const uint8_t* grey = lpGrey + size_t(y) * iWidth;
            for (int x = x0; x <= x1; ++x)
            {
                const LPixelColour c = LImgProReadWide(row[x]);
                const int g = grey[x];
                hist.arCount[g] += sign;
                hist.arRed[g] += sign * c.r;
                hist.arGreen[g] += sign * c.g;
                hist.arBlue[g] += sign * c.b;
            }
        }
    }
};
} // namespace

template <class F>
int LImgProOilPainting::ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest,
                                     const LImageBuffer& oSource) const
{
    if (!oSource.IsValid() || !oDest.IsValid() || oDest.GetWidth() != oSource.GetWidth() ||
        oDest.GetHeight() != oSource.GetHeight() || &oDest == &oSource)
        return LProcessResultFailed;
    const int w = oSource.GetWidth(), h = oSource.GetHeight(), r = std::max(iRadius, 0);
    std::unique_ptr<uint8_t[]> grey(new (std::nothrow) uint8_t[size_t(w) * h]);
    if (!grey)
        return LProcessResultFailed;
    for (int y = 0; y < h; ++y)
    {
        const F* row = reinterpret_cast<const F*>(oSource.GetRow(y));
        for (int x = 0; x < w; ++x)
        {
            const LPixelColour c = LImgProReadWide(row[x]);
            grey[size_t(y) * w + x] = LImageProcessBlackAndWhite::Luma(c.r, c.g, c.b);
        }
    }
    const OilImage<F> img{oSource, grey.get(), w, h};
    const bool avx2 = HasAVX2();
    const int tenth = h > 10 ? h / 10 : 0;
    oProcess.SetProgress(0.0);
    std::atomic<int> done{0};
    // The histograms depend only on the window, not on the path that led there, so every band
    // starts a path of its own and the output is that of one thread.
    LImgProBandRunner runner(h, 8);
    const int stopped =
        runner.Run(oProcess,
                   [&](const LImgProBand& band, LImgProBandRunner& run)
                   {
                       Histograms hist;
                       memset(&hist, 0, sizeof(hist));
                       const int y0 = band.iFirst;
                       int x = (y0 & 1) ? w - 1 : 0;
                       img.Update(hist, x - r, x + r, y0 - r, y0 + r, 1);
                       for (int y = y0; y < y0 + band.iCount; ++y)
                       {
                           if (run.IsToStop(band))
                               return false;
                           if (y > y0)
                           {
                               img.Update(hist, x - r, x + r, y - 1 - r, y - 1 - r, -1);
                               img.Update(hist, x - r, x + r, y + r, y + r, 1);
                           }
                           const int dir = (y & 1) ? -1 : 1;
                           const F* in = reinterpret_cast<const F*>(oSource.GetRow(y));
                           F* out = reinterpret_cast<F*>(oDest.GetRow(y));
                           for (int k = 0; k < w; ++k)
                           {
                               if (k > 0)
                               {
                                   if (dir > 0)
                                   {
                                       img.Update(hist, x - r, x - r, y - r, y + r, -1);
                                       img.Update(hist, x + 1 + r, x + 1 + r, y - r, y + r, 1);
                                   }
                                   else
                                   {
                                       img.Update(hist, x + r, x + r, y - r, y + r, -1);
                                       img.Update(hist, x - 1 - r, x - 1 - r, y - r, y + r, 1);
                                   }
                                   x += dir;
                               }
                               const int m = avx2 ? ModeAVX2(hist.arCount) : ModePlain(hist.arCount);
                               const int n = hist.arCount[m];
                               const LPixelColour src = LImgProReadWide(in[x]);
                               LImgProWriteWide(out[x], LPixelColour(uint8_t(hist.arBlue[m] / n),
                                                                     uint8_t(hist.arGreen[m] / n),
                                                                     uint8_t(hist.arRed[m] / n), src.a));
                           }
                           const int rows = ++done;
                           if (tenth && rows % tenth == 0)
                               run.SetProgress(band, double(rows) / h);
                       }
                       return true;
                   });
    return stopped ? LProcessResultCancelled : LProcessResultSuccess;
}

template int LImgProOilPainting::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&,
                                                           const LImageBuffer&) const;
template int LImgProOilPainting::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&,
                                                         const LImageBuffer&) const;
template int LImgProOilPainting::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&,
                                                         const LImageBuffer&) const;
template int LImgProOilPainting::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&,
                                                           const LImageBuffer&) const;
template int LImgProOilPainting::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&,
                                                           const LImageBuffer&) const;
