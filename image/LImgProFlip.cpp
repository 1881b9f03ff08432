#include "image/LImgProFlip.h"

#include <immintrin.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "image/LImgProBands.h"

namespace
{
bool HasAVX2()
{
    static const bool b = __builtin_cpu_supports("avx2");
    return b;
}

__attribute__((target("avx2"))) int Reverse32AVX2(uint32_t* d, const uint32_t* s, int w)
{
    const __m256i rev = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
    int i = 0;
    for (; i + 8 <= w; i += 8)
    {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(s + w - 8 - i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(d + i), _mm256_permutevar8x32_epi32(v, rev));
    }
    return i;
}

__attribute__((target("avx2"))) int Swap32AVX2(uint32_t* p, int w)
{
    // Both ends at once, 8 pixels each, until they would meet.
    const __m256i rev = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
    int i = 0;
    for (; i + 8 <= w - 8 - i; i += 8)
    {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + i));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + w - 8 - i));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p + i), _mm256_permutevar8x32_epi32(b, rev));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(p + w - 8 - i), _mm256_permutevar8x32_epi32(a, rev));
    }
    return i;
}

// d = reversed s; d and s don't overlap.
void ReverseCopy(uint8_t* d, const uint8_t* s, int w, int bpp)
{
    int i = 0;
    if (bpp == 4 && HasAVX2())
        i = Reverse32AVX2(reinterpret_cast<uint32_t*>(d), reinterpret_cast<const uint32_t*>(s), w);
    for (; i < w; ++i)
        memcpy(d + size_t(i) * bpp, s + size_t(w - 1 - i) * bpp, bpp);
}

// Swaps pixels from both ends: w >> 1 swaps, so an odd middle stays.
void ReverseInPlace(uint8_t* p, int w, int bpp)
{
    int i = 0;
    if (bpp == 4 && HasAVX2())
        i = Swap32AVX2(reinterpret_cast<uint32_t*>(p), w);
    for (; i < (w >> 1); ++i)
    {
        uint8_t t[4];
        uint8_t* a = p + size_t(i) * bpp;
        uint8_t* b = p + size_t(w - 1 - i) * bpp;
        memcpy(t, a, bpp);
        memcpy(a, b, bpp);
        memcpy(b, t, bpp);
    }
}
} // namespace

LProcessResult LImgProFlipPlane(LProcessInterface& oProcess, int iFlip, uint8_t* dst, ptrdiff_t ds,
                                const uint8_t* src, ptrdiff_t ss, int w, int h, int bpp)
{
    const bool horizontal = iFlip & 1, vertical = iFlip & 2;
    const size_t bytes = size_t(w) * bpp;
    const bool inPlace = dst == src;
    // In place with a vertical part, line y takes rows y and h-1-y together.
    const int lines = inPlace && vertical ? (h + 1) / 2 : h;
    LImgProBandRunner runner(lines, 32);
    const int r = runner.Run(oProcess,
                             [&](const LImgProBand& band, LImgProBandRunner& run)
                             {
                                 std::vector<uint8_t> tmp(inPlace && vertical ? bytes : 0);
                                 for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                                 {
                                     if (run.IsToStop(band))
                                         return false;
                                     uint8_t* d = dst + y * ds;
                                     const uint8_t* s = src + y * ss;
                                     if (!inPlace)
                                     {
                                         const uint8_t* from = vertical ? src + (h - 1 - y) * ss : s;
                                         if (horizontal)
                                             ReverseCopy(d, from, w, bpp);
                                         else
                                             memcpy(d, from, bytes);
                                     }
                                     else if (!vertical)
                                         ReverseInPlace(d, w, bpp);
                                     else
                                     {
                                         uint8_t* e = dst + (h - 1 - y) * ds;
                                         if (e == d)
                                         {
                                             if (horizontal)
                                                 ReverseInPlace(d, w, bpp);
                                             continue;
                                         }
                                         if (horizontal)
                                         {
                                             ReverseCopy(tmp.data(), d, w, bpp);
                                             ReverseCopy(d, e, w, bpp);
                                             memcpy(e, tmp.data(), bytes);
                                         }
                                         else
                                         {
                                             memcpy(tmp.data(), d, bytes);
                                             memcpy(d, e, bytes);
                                             memcpy(e, tmp.data(), bytes);
                                         }
                                     }
                                 }
                                 return true;
                             });
    return r ? LProcessResultCancelled : LProcessResultSuccess;
}

static ptrdiff_t StrideOf(const LImageBuffer& b, uint32_t rowBytes)
{
    return b.GetFormat().bUpsideDown ? -ptrdiff_t(rowBytes) : ptrdiff_t(rowBytes);
}

LProcessResult LImgProFlip::Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                                    const LImageBuffer& oSource, int bpp) const
{
    if (!oSource.IsValid() || !oDest.IsValid() || oDest.GetWidth() != oSource.GetWidth() ||
        oDest.GetHeight() != oSource.GetHeight())
        return LProcessResultFailed;
    if ((iFlip & 3) == None)
    {
        if (&oDest != &oSource)
            for (int y = 0; y < oSource.GetHeight(); ++y)
                memcpy(oDest.GetRow(y), oSource.GetRow(y), size_t(oSource.GetWidth()) * bpp);
        return LProcessResultSuccess;
    }
    return LImgProFlipPlane(oProcess, iFlip & 3, oDest.GetRow(0), StrideOf(oDest, oDest.GetWidthBytes()),
                            oSource.GetRow(0), StrideOf(oSource, oSource.GetWidthBytes()), oSource.GetWidth(),
                            oSource.GetHeight(), bpp);
}

LProcessResult LImgProFlip::ProcessYUV420P(LProcessInterface& oProcess, LImageBuffer& oDest,
                                           const LImageBuffer& oSource) const
{
    const pixelformat_t pf = oSource.GetPixelFormat();
    if ((pf != YUV420P && pf != YUVJ420P) || oDest.GetPixelFormat() != pf || !oDest.IsValid() ||
        !oSource.IsValid() || oDest.GetWidth() != oSource.GetWidth() ||
        oDest.GetHeight() != oSource.GetHeight())
        return LProcessResultFailed;
    const int w = oSource.GetWidth(), h = oSource.GetHeight();
    const int cw = (w + 1) >> 1, ch = (h + 1) >> 1;
    const LImageFormat &df = oDest.GetFormat(), &sf = oSource.GetFormat();
    const int flip = iFlip & 3;
    if (flip == None && &oDest == &oSource)
        return LProcessResultSuccess;
    LProcessResult r = LImgProFlipPlane(oProcess, flip, oDest.GetData(), df.nWidthBytes, oSource.GetData(),
                                        sf.nWidthBytes, w, h, 1);
    if (!r)
        r = LImgProFlipPlane(oProcess, flip, oDest.GetFirstScanLineU(), df.nWidthBytesPlanarU,
                             oSource.GetFirstScanLineU(), sf.nWidthBytesPlanarU, cw, ch, 1);
    if (!r)
        r = LImgProFlipPlane(oProcess, flip, oDest.GetFirstScanLineV(), df.nWidthBytesPlanarV,
                             oSource.GetFirstScanLineV(), sf.nWidthBytesPlanarV, cw, ch, 1);
    return r;
}
