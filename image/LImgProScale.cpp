#include "image/LImgProScale.h"

#include <immintrin.h>

#include <cmath>
#include <cstdlib>
#include <vector>

#include "image/LImgProBands.h"

namespace
{
struct DivTable
{
    uint8_t v[256];
    constexpr DivTable() : v()
    {
        for (int n = 1; n < 256; ++n)
            v[n] = uint8_t(255 / n);
    }
};
constexpr DivTable kDivTable;
} // namespace

const uint8_t arScaleBiHelperDivTable[256] = {
#define T(n) kDivTable.v[n]
#define T8(n) T(n), T(n + 1), T(n + 2), T(n + 3), T(n + 4), T(n + 5), T(n + 6), T(n + 7)
#define T64(n) T8(n), T8(n + 8), T8(n + 16), T8(n + 24), T8(n + 32), T8(n + 40), T8(n + 48), T8(n + 56)
    T64(0), T64(64), T64(128), T64(192)
#undef T64
#undef T8
#undef T
};

LProcessResult LImgProScaleBi::ProcessYUV420P(LProcessInterface& oProcess, LImageBuffer& oDest,
                                              const LImageBuffer& oSource) const
{
    const pixelformat_t pf = oSource.GetPixelFormat();
    if ((pf != YUV420P && pf != YUVJ420P) || oDest.GetPixelFormat() != pf || !oDest.IsValid() ||
        !oSource.IsValid())
        return LProcessResultFailed;
    const int sw = oSource.GetWidth(), sh = oSource.GetHeight(), dw = oDest.GetWidth(),
              dh = oDest.GetHeight();
    const int csw = (sw + 1) >> 1, csh = (sh + 1) >> 1, cdw = (dw + 1) >> 1, cdh = (dh + 1) >> 1;
    if (std::min({sw, sh, dw, dh, csw, csh, cdw, cdh}) < 2)
        return LProcessResultFailed;
    using namespace LScaleBiDetail;
    int r = ScalePlane<uint8_t>(oProcess, oDest.GetData(), oDest.GetWidthBytes(), dw, dh, oSource.GetData(),
                                oSource.GetWidthBytes(), sw, sh, arTable);
    if (!r)
        r = ScalePlane<uint8_t>(oProcess, oDest.GetFirstScanLineU(), oDest.GetFormat().nWidthBytesPlanarU,
                                cdw, cdh, oSource.GetFirstScanLineU(), oSource.GetFormat().nWidthBytesPlanarU,
                                csw, csh, arTable);
    if (!r)
        r = ScalePlane<uint8_t>(oProcess, oDest.GetFirstScanLineV(), oDest.GetFormat().nWidthBytesPlanarV,
                                cdw, cdh, oSource.GetFirstScanLineV(), oSource.GetFormat().nWidthBytesPlanarV,
                                csw, csh, arTable);
    return LProcessResult(r);
}

// ---- Separable bilinear ------------------------------------------------------------------------

namespace
{
constexpr int kWeightBits = 14;

// Taps of one output position: consecutive source indices from iFirst, weights summing to
// 1 << kWeightBits exactly.
struct Taps
{
    std::vector<int> arFirst, arCount;
    std::vector<int16_t> arWeight; // iMax per position, zero-padded
    int iMax = 0;
};

Taps MakeTaps(int dstLen, int srcLen)
{
    Taps t;
    const double scale = double(dstLen) / srcLen;
    const double support = std::max(1.0, 1.0 / scale);
    t.iMax = int(std::ceil(support)) * 2 + 2;
    t.arFirst.resize(dstLen);
    t.arCount.resize(dstLen);
    t.arWeight.assign(size_t(dstLen) * t.iMax, 0);
    std::vector<double> w(t.iMax);
    for (int i = 0; i < dstLen; ++i)
    {
        const double centre = (i + 0.5) / scale - 0.5;
        int lo = int(std::floor(centre - support)) + 1, hi = int(std::ceil(centre + support)) - 1;
        lo = std::max(lo, 0);
        hi = std::min(hi, srcLen - 1);
        if (hi < lo)
            hi = lo = std::clamp(int(std::floor(centre + 0.5)), 0, srcLen - 1);
        hi = std::min(hi, lo + t.iMax - 1);
        double sum = 0;
        for (int j = lo; j <= hi; ++j)
            sum += w[j - lo] = std::max(0.0, 1 - std::fabs(j - centre) / support);
        if (sum <= 0)
        {
            // A centre outside the source leans on the nearest pixel.
            for (int j = lo; j <= hi; ++j)
                w[j - lo] = 0;
            const int near = std::clamp(int(std::floor(centre + 0.5)), lo, hi);
            w[near - lo] = sum = 1;
        }
        int16_t* iw = &t.arWeight[size_t(i) * t.iMax];
        int total = 0, big = 0;
        for (int j = lo; j <= hi; ++j)
        {
            iw[j - lo] = int16_t(std::lround(w[j - lo] / sum * (1 << kWeightBits)));
            total += iw[j - lo];
            if (iw[j - lo] > iw[big])
                big = j - lo;
        }
        iw[big] = int16_t(iw[big] + (1 << kWeightBits) - total);
        // Leading and trailing zero weights are dropped, so identity is a single tap.
        int first = 0, last = hi - lo;
        while (first < last && iw[first] == 0)
            ++first;
        while (last > first && iw[last] == 0)
            --last;
        if (first)
            memmove(iw, iw + first, sizeof(int16_t) * (last - first + 1));
        for (int k = last - first + 1; k < t.iMax; ++k)
            iw[k] = 0;
        t.arFirst[i] = lo + first;
        t.arCount[i] = last - first + 1;
    }
    return t;
}

// tmp[b] = (sum_k w[k]*row_k[b] + 128) >> 8: source bytes to 16-bit with six extra bits.
void VerticalPlain(const uint8_t* const* rows, const int16_t* w, int n, int bytes, int16_t* tmp)
{
    for (int b = 0; b < bytes; ++b)
    {
        int32_t acc = 0;
        for (int k = 0; k < n; ++k)
            acc += w[k] * rows[k][b];
        tmp[b] = int16_t((acc + 128) >> 8);
    }
}

__attribute__((target("avx2"))) void VerticalAVX2(const uint8_t* const* rows, const int16_t* w, int n,
                                                  int bytes, int16_t* tmp)
{
    int b = 0;
    const __m256i round = _mm256_set1_epi32(128);
    for (; b + 16 <= bytes; b += 16)
    {
        __m256i lo = round, hi = round;
        for (int k = 0; k < n; k += 2)
        {
            const __m256i a =
                _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[k] + b)));
            const __m256i c =
                k + 1 < n
                    ? _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[k + 1] + b)))
                    : _mm256_setzero_si256();
            const uint16_t w1 = k + 1 < n ? uint16_t(w[k + 1]) : 0;
            const __m256i ww = _mm256_set1_epi32(int32_t(uint32_t(uint16_t(w[k])) | uint32_t(w1) << 16));
            lo = _mm256_add_epi32(lo, _mm256_madd_epi16(_mm256_unpacklo_epi16(a, c), ww));
            hi = _mm256_add_epi32(hi, _mm256_madd_epi16(_mm256_unpackhi_epi16(a, c), ww));
        }
        const __m256i r = _mm256_packs_epi32(_mm256_srai_epi32(lo, 8), _mm256_srai_epi32(hi, 8));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(tmp + b), r);
    }
    for (; b < bytes; ++b)
    {
        int32_t acc = 128;
        for (int k = 0; k < n; ++k)
            acc += w[k] * rows[k][b];
        tmp[b] = int16_t(acc >> 8);
    }
}

// out pixel i, channel c = (sum_k w[k]*tmp[(first+k)*4+c] + 2^19) >> 20.
void HorizontalPlain(const int16_t* tmp, const Taps& t, int dstW, uint8_t* out)
{
    for (int i = 0; i < dstW; ++i)
    {
        const int16_t* w = &t.arWeight[size_t(i) * t.iMax];
        const int16_t* p = tmp + size_t(t.arFirst[i]) * 4;
        for (int c = 0; c < 4; ++c)
        {
            int32_t acc = 1 << 19;
            for (int k = 0; k < t.arCount[i]; ++k)
                acc += w[k] * p[k * 4 + c];
            out[i * 4 + c] = uint8_t(std::clamp(acc >> 20, 0, 255));
        }
    }
}

__attribute__((target("avx2"))) void HorizontalAVX2(const int16_t* tmp, const Taps& t, int dstW, uint8_t* out)
{
    // Two neighbouring pixels' channels interleaved, so one multiply-add takes two taps.
    const __m128i pairs = _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
    const __m128i round = _mm_set1_epi32(1 << 19);
    for (int i = 0; i < dstW; ++i)
    {
        const int16_t* w = &t.arWeight[size_t(i) * t.iMax];
        const int16_t* p = tmp + size_t(t.arFirst[i]) * 4;
        const int n = t.arCount[i];
        __m128i acc = round;
        int k = 0;
        for (; k + 2 <= n; k += 2)
        {
            const __m128i v =
                _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + k * 4)), pairs);
            const __m128i ww =
                _mm_set1_epi32(int32_t(uint32_t(uint16_t(w[k])) | uint32_t(uint16_t(w[k + 1])) << 16));
            acc = _mm_add_epi32(acc, _mm_madd_epi16(v, ww));
        }
        if (k < n)
        {
            const __m128i v =
                _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p + k * 4)));
            acc = _mm_add_epi32(acc, _mm_mullo_epi32(v, _mm_set1_epi32(w[k])));
        }
        acc = _mm_srai_epi32(acc, 20);
        const __m128i b = _mm_packus_epi16(_mm_packs_epi32(acc, acc), acc);
        const int32_t v = _mm_cvtsi128_si32(b);
        memcpy(out + i * 4, &v, 4);
    }
}

bool HasAVX2()
{
    static const bool b = __builtin_cpu_supports("avx2");
    return b;
}
} // namespace

LProcessResult LImgProScaleLinear(LProcessInterface& oProcess, LImageBuffer& oDest,
                                  const LImageBuffer& oSource)
{
    if (!oSource.IsValid() || !oDest.IsValid() || oSource.GetPixelFormat() != B8G8R8A8 ||
        oDest.GetPixelFormat() != B8G8R8A8)
        return LProcessResultFailed;
    const int sw = oSource.GetWidth(), sh = oSource.GetHeight(), dw = oDest.GetWidth(),
              dh = oDest.GetHeight();
    const Taps tx = MakeTaps(dw, sw), ty = MakeTaps(dh, sh);
    const bool avx2 = HasAVX2();
    oProcess.SetProgress(0.0);
    LImgProBandRunner runner(dh, 8);
    std::atomic<int> done{0};
    bool failed = false;
    const int r = runner.Run(oProcess,
                             [&](const LImgProBand& band, LImgProBandRunner& run)
                             {
                                 int16_t* tmp =
                                     static_cast<int16_t*>(malloc(size_t(sw) * 4 * sizeof(int16_t)));
                                 std::vector<const uint8_t*> rows(ty.iMax);
                                 if (!tmp)
                                 {
                                     failed = true;
                                     return false;
                                 }
                                 bool ok = true;
                                 for (int y = band.iFirst; y < band.iFirst + band.iCount && ok; ++y)
                                 {
                                     if (run.IsToStop(band))
                                     {
                                         ok = false;
                                         break;
                                     }
                                     const int n = ty.arCount[y];
                                     for (int k = 0; k < n; ++k)
                                         rows[k] = oSource.GetRow(ty.arFirst[y] + k);
                                     const int16_t* w = &ty.arWeight[size_t(y) * ty.iMax];
                                     if (avx2)
                                     {
                                         VerticalAVX2(rows.data(), w, n, sw * 4, tmp);
                                         HorizontalAVX2(tmp, tx, dw, oDest.GetRow(y));
                                     }
                                     else
                                     {
                                         VerticalPlain(rows.data(), w, n, sw * 4, tmp);
                                         HorizontalPlain(tmp, tx, dw, oDest.GetRow(y));
                                     }
                                     run.SetProgress(band, double(++done) / dh);
                                 }
                                 free(tmp);
                                 return ok;
                             });
    if (failed)
        return LProcessResultFailed;
    return r ? LProcessResultCancelled : LProcessResultSuccess;
}
