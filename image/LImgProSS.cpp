#include "image/LImgProSS.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "image/LImgProBands.h"
#include "image/LImgProSimple.h"

namespace
{
// Above this top radius the kernel's taps outnumber what the per-level prefix sums cost, and
// the 16-bit taps of the vector path are no longer guaranteed.
constexpr int kConvMaxRadius = 96;
// Pixels per column strip: a strip of a tall image still fits the second-level cache.
constexpr int kStripPixels = 32;

double Gauss(double d, double sigma)
{
    return std::exp(d * d / (-2 * sigma * sigma)) / (sigma * 2.5066282746310002);
}

// total = K[0]*in[j] + sum_k K[k]*(in[j+k*ts] + in[j-k*ts]), value = total >> 16, for j in
// [j0, j1). The plain form; the vector form must agree with it to the bit.
void ConvPlain(const uint8_t* in, int ts, int j0, int j1, const int16_t* K, int R, uint8_t* val)
{
    for (int j = j0; j < j1; ++j)
    {
        int32_t t = K[0] * in[j];
        for (int k = 1; k <= R; ++k)
            t += K[k] * (in[j + k * ts] + in[j - k * ts]);
        val[j] = uint8_t(t >> 16);
    }
}

__attribute__((target("avx2"))) void ConvAVX2(const uint8_t* in, int ts, int j0, int j1, const int16_t* K,
                                              int R, uint8_t* val)
{
    int j = j0;
    __m256i w[kConvMaxRadius / 2 + 1];
    for (int k = 0, p = 0; k <= R; k += 2, ++p)
    {
        const uint16_t a = uint16_t(K[k]), b = k + 1 <= R ? uint16_t(K[k + 1]) : 0;
        w[p] = _mm256_set1_epi32(int32_t(uint32_t(a) | uint32_t(b) << 16));
    }
    for (; j + 16 <= j1; j += 16)
    {
        __m256i accLo = _mm256_setzero_si256(), accHi = _mm256_setzero_si256();
        for (int k = 0, p = 0; k <= R; k += 2, ++p)
        {
            __m256i sa, sb;
            if (k == 0)
                sa = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + j)));
            else
                sa = _mm256_add_epi16(
                    _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + j + k * ts))),
                    _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + j - k * ts))));
            if (k + 1 <= R)
                sb = _mm256_add_epi16(_mm256_cvtepu8_epi16(_mm_loadu_si128(
                                          reinterpret_cast<const __m128i*>(in + j + (k + 1) * ts))),
                                      _mm256_cvtepu8_epi16(_mm_loadu_si128(
                                          reinterpret_cast<const __m128i*>(in + j - (k + 1) * ts))));
            else
                sb = _mm256_setzero_si256();
            accLo = _mm256_add_epi32(accLo, _mm256_madd_epi16(_mm256_unpacklo_epi16(sa, sb), w[p]));
            accHi = _mm256_add_epi32(accHi, _mm256_madd_epi16(_mm256_unpackhi_epi16(sa, sb), w[p]));
        }
        accLo = _mm256_srli_epi32(accLo, 16);
        accHi = _mm256_srli_epi32(accHi, 16);
        const __m256i w16 = _mm256_packs_epi32(accLo, accHi);
        const __m256i b8 = _mm256_permute4x64_epi64(_mm256_packus_epi16(w16, w16), 0x08);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(val + j), _mm256_castsi256_si128(b8));
    }
    ConvPlain(in, ts, j, j1, K, R, val);
}

// The last step of a line: blur keeps the filtered value, sharpen takes 2*pixel minus it, and
// either is faded against the input when fade <= 256. Over a run of contiguous bytes.
void FinishPlain(const uint8_t* in, const uint8_t* val, uint8_t* out, int bytes, bool sharpen, int fade)
{
    for (int b = 0; b < bytes; ++b)
    {
        int f = val[b];
        if (sharpen)
            f = std::clamp(2 * in[b] - f, 0, 255);
        if (fade <= 256)
            f = in[b] + (((f - in[b]) * fade) >> 8);
        out[b] = uint8_t(f);
    }
}

__attribute__((target("avx2"))) void FinishAVX2(const uint8_t* in, const uint8_t* val, uint8_t* out,
                                                int bytes, bool sharpen, int fade)
{
    int b = 0;
    const __m256i zero = _mm256_setzero_si256(), max = _mm256_set1_epi16(255),
                  f16 = _mm256_set1_epi16(int16_t(fade));
    for (; b + 16 <= bytes; b += 16)
    {
        const __m256i p = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(in + b)));
        __m256i f = _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(val + b)));
        if (sharpen)
            f = _mm256_min_epi16(_mm256_max_epi16(_mm256_sub_epi16(_mm256_add_epi16(p, p), f), zero), max);
        if (fade <= 256)
        {
            // (d*fade) >> 8 needs 17 bits before the shift: put it together from both halves of
            // the product; the result fits 16 bits again.
            const __m256i d = _mm256_sub_epi16(f, p);
            const __m256i lo = _mm256_mullo_epi16(d, f16), hi = _mm256_mulhi_epi16(d, f16);
            f = _mm256_add_epi16(p, _mm256_or_si256(_mm256_slli_epi16(hi, 8), _mm256_srli_epi16(lo, 8)));
        }
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(f, f), 0x08);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + b), _mm256_castsi256_si128(packed));
    }
    FinishPlain(in + b, val + b, out + b, bytes - b, sharpen, fade);
}

bool HasAVX2()
{
    static const bool b = __builtin_cpu_supports("avx2");
    return b;
}

// Wide boxes: Q holds running sums along the line with one sample of zeros in front, so the box
// of radius r around byte j sums to Q[j + (r+1)*ts] - Q[j - r*ts]. Every box is whole here.
void BoxesPlain(const int32_t* Q, int ts, int j0, int j1, const int* radius, const int* weight, int levels,
                uint8_t* val)
{
    for (int j = j0; j < j1; ++j)
    {
        int32_t t = 0;
        for (int i = 0; i < levels; ++i)
            t += weight[i] * (Q[j + (radius[i] + 1) * ts] - Q[j - radius[i] * ts]);
        val[j] = uint8_t(t >> 16);
    }
}

__attribute__((target("avx2"))) void BoxesAVX2(const int32_t* Q, int ts, int j0, int j1, const int* radius,
                                               const int* weight, int levels, uint8_t* val)
{
    int j = j0;
    for (; j + 8 <= j1; j += 8)
    {
        __m256i acc = _mm256_setzero_si256();
        for (int i = 0; i < levels; ++i)
        {
            const __m256i hi =
                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(Q + j + (radius[i] + 1) * ts));
            const __m256i lo = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(Q + j - radius[i] * ts));
            acc = _mm256_add_epi32(
                acc, _mm256_mullo_epi32(_mm256_sub_epi32(hi, lo), _mm256_set1_epi32(weight[i])));
        }
        acc = _mm256_srli_epi32(acc, 16);
        const __m128i w16 = _mm_packs_epi32(_mm256_castsi256_si128(acc), _mm256_extracti128_si256(acc, 1));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(val + j), _mm_packus_epi16(w16, w16));
    }
    BoxesPlain(Q, ts, j, j1, radius, weight, levels, val);
}
} // namespace

void LImgProSS::SetRadius(double r, bool bMaxLevels)
{
    dRadius = r;
    iLevels = 0;
    if (r == 0)
        return;
    const double a = std::fabs(r);
    const double sigma = a / 3;
    int levels = bMaxLevels ? kMaxLevels : std::max(int(std::ceil(std::pow(a, 0.4))), 4);
    levels = std::min(levels, kMaxLevels);
    // Fewer boxes until neighbouring radii differ; a single box always qualifies.
    for (; levels > 1; --levels)
    {
        const double q = std::pow(a, 1.0 / levels);
        double real = a;
        arRadius[levels - 1] = int(std::ceil(a));
        bool distinct = true;
        for (int i = levels - 2; i >= 0 && distinct; --i)
        {
            real /= q;
            arRadius[i] = int(std::ceil(real));
            distinct = arRadius[i] != arRadius[i + 1];
        }
        if (distinct)
            break;
    }
    if (levels == 1)
        arRadius[0] = int(std::ceil(a));
    iLevels = levels;

    double w[kMaxLevels];
    for (int i = levels - 1; i > 0; --i)
    {
        double sum = 0;
        for (int d = arRadius[i]; d > arRadius[i - 1]; --d)
            sum += Gauss(d, sigma);
        w[i] = sum / (arRadius[i] - arRadius[i - 1]);
    }
    {
        double sum = 0;
        for (int d = arRadius[0]; d >= 1; --d)
            sum += Gauss(d, sigma);
        w[0] = (sum + Gauss(0, sigma) * 0.5) / (arRadius[0] + 0.5);
    }
    const double w0 = w[0];
    for (int i = 0; i < levels - 1; ++i)
        w[i] -= w[i + 1];
    int W[kMaxLevels];
    long total = 0;
    for (int i = 0; i < levels; ++i)
    {
        W[i] = int(w[i] / w0 * 65535 + 0.5);
        total += W[i];
    }
    if (total > 65535)
        *std::max_element(W, W + levels) -= int(total - 65535);
    for (int i = 0; i < levels; ++i)
        arWeight[i] = W[i] / (2 * arRadius[i] + 1);
}

int LImgProSS::GetFade() const
{
    const double a = std::fabs(dRadius);
    return a >= 6 ? 257 : int(a * 256 / 6 + 0.5);
}

LImgProSS::Scratch::~Scratch()
{
    free(lpValues);
    free(lpPrefix);
    free(lpTotals);
}

bool LImgProSS::Scratch::Reserve(size_t values, size_t prefix, size_t totals)
{
    if (totals > nTotals)
    {
        free(lpTotals);
        lpTotals = static_cast<int32_t*>(malloc(totals * sizeof(int32_t)));
        nTotals = lpTotals ? totals : 0;
    }
    if (values > nValues)
    {
        free(lpValues);
        lpValues = static_cast<uint8_t*>(malloc(values));
        nValues = lpValues ? values : 0;
    }
    if (prefix > nPrefix)
    {
        free(lpPrefix);
        lpPrefix = static_cast<int32_t*>(malloc(prefix * sizeof(int32_t)));
        nPrefix = lpPrefix ? prefix : 0;
    }
    return nValues >= values && nPrefix >= prefix && nTotals >= totals;
}

void LImgProSS::FilterLine(const uint8_t* in, int n, int ts, int nch, uint8_t* out, int os, Scratch& sc,
                           bool sharpen, int fade) const
{
    if (n <= 0 || iLevels <= 0)
        return;
    const int R = GetTopRadius();
    // A middle exists where every box is whole; there a fixed kernel (narrow boxes) or one
    // subtraction per box (wide ones) does all channels at once.
    const bool middle = n > 2 * R, conv = middle && R <= kConvMaxRadius;
    const size_t zoneSize = size_t(2 * R + 2) * nch;
    const size_t prefixSize = !middle ? size_t(n + 1) * nch : conv ? zoneSize : zoneSize + size_t(n + 1) * ts;
    if (!sc.Reserve(size_t(n) * ts, prefixSize, nch))
        return;
    uint8_t* val = sc.lpValues;

    // Positions near an end, where boxes are clipped and their weights scaled up: by prefix
    // sums, one subtraction per box. With a middle they cover only the two end zones.
    int32_t* t = sc.lpTotals;
    auto clipped = [&](int x, const int32_t* P, int base)
    {
        for (int c = 0; c < nch; ++c)
            t[c] = 0;
        for (int i = 0; i < iLevels; ++i)
        {
            const int r = arRadius[i];
            const int lo = std::max(0, x - r), hi = std::min(n - 1, x + r);
            const int full = 2 * r + 1, width = hi - lo + 1;
            const int32_t sw = width == full ? arWeight[i] : arWeight[i] * full / width;
            const int32_t* a = P + (hi + 1 - base) * nch;
            const int32_t* b = P + (lo - base) * nch;
            for (int c = 0; c < nch; ++c)
                t[c] += sw * (a[c] - b[c]);
        }
        for (int c = 0; c < nch; ++c)
            val[x * ts + c] = uint8_t(t[c] >> 16);
    };
    auto prefix = [&](int32_t* P, int from, int to)
    {
        for (int c = 0; c < nch; ++c)
            P[c] = 0;
        for (int x = from; x < to; ++x)
            for (int c = 0; c < nch; ++c)
                P[(x + 1 - from) * nch + c] = P[(x - from) * nch + c] + in[x * ts + c];
    };

    if (!middle)
    {
        prefix(sc.lpPrefix, 0, n);
        for (int x = 0; x < n; ++x)
            clipped(x, sc.lpPrefix, 0);
    }
    else
    {
        // Each end zone of R positions reads at most 2R samples.
        const int zone = 2 * R + 1;
        int32_t* P = sc.lpPrefix;
        prefix(P, 0, zone);
        for (int x = 0; x < R; ++x)
            clipped(x, P, 0);
        prefix(P, n - zone, n);
        for (int x = n - R; x < n; ++x)
            clipped(x, P, n - zone);
        // Bytes of the middle run contiguously whatever the channel layout, so a 1-D filter with
        // a tap distance of one sample does every channel at once.
        const int j0 = R * ts, j1 = (n - R - 1) * ts + nch;
        if (conv)
        {
            int16_t K[kConvMaxRadius + 1];
            for (int k = 0; k <= R; ++k)
            {
                int sum = 0;
                for (int i = 0; i < iLevels; ++i)
                    if (arRadius[i] >= k)
                        sum += arWeight[i];
                K[k] = int16_t(sum);
            }
            if (HasAVX2())
                ConvAVX2(in, ts, j0, j1, K, R, val);
            else
                ConvPlain(in, ts, j0, j1, K, R, val);
        }
        else
        {
            int32_t* Q = sc.lpPrefix + zoneSize;
            memset(Q, 0, sizeof(int32_t) * ts);
            for (int j = 0; j < n * ts; ++j)
                Q[j + ts] = Q[j] + in[j];
            if (HasAVX2())
                BoxesAVX2(Q, ts, j0, j1, arRadius, arWeight, iLevels, val);
            else
                BoxesPlain(Q, ts, j0, j1, arRadius, arWeight, iLevels, val);
        }
    }

    auto finish = HasAVX2() ? FinishAVX2 : FinishPlain;
    if (ts == nch && os == nch)
        finish(in, val, out, n * nch, sharpen, fade);
    else
        for (int x = 0; x < n; ++x)
            finish(in + size_t(x) * ts, val + size_t(x) * ts, out + size_t(x) * os, nch, sharpen, fade);
}

LProcessResult LImgProSS::Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                                  const LImageBuffer& oSource) const
{
    const pixelformat_t pf = oSource.GetPixelFormat();
    if (pf != B8G8R8A8 && pf != B8G8R8)
        return LProcessResultFailed;
    if (&oDest != &oSource && !LImgProPrepareDest(oDest, oSource))
        return LProcessResultFailed;
    const int w = oSource.GetWidth(), h = oSource.GetHeight();
    const int bpp = pf == B8G8R8A8 ? 4 : 3;
    const size_t rowBytes = size_t(w) * bpp;
    const bool sharpen = dRadius > 0;
    const int fade = GetFade();
    oProcess.SetProgress(0.0);

    // Rows. The filter is symmetric, so memory order serves either orientation.
    LImgProBandRunner rows(h, 16);
    rows.iStopEvery = 64;
    std::atomic<int> done{0};
    if (rows.Run(oProcess,
                 [&](const LImgProBand& band, LImgProBandRunner& run)
                 {
                     Scratch sc;
                     for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                     {
                         if (run.IsToStop(band))
                             return false;
                         const uint8_t* s = oSource.GetScanLine(y);
                         uint8_t* d = oDest.GetScanLine(y);
                         if (iLevels == 0)
                         {
                             if (d != s)
                                 memcpy(d, s, rowBytes);
                         }
                         else
                             FilterLine(s, w, bpp, bpp, d, bpp, sc, sharpen, fade);
                         run.SetProgress(band, 0.5 * ++done / h);
                     }
                     return true;
                 }))
        return LProcessResultCancelled;
    if (iLevels == 0)
        return LProcessResultSuccess;

    // Columns, a strip at a time: the strip is gathered once, filtered down every byte column
    // together and scattered straight back.
    const int stripBytes = kStripPixels * bpp;
    const int strips = (w + kStripPixels - 1) / kStripPixels;
    LImgProBandRunner cols(strips, 1);
    cols.iStopEvery = 2;
    done = 0;
    bool failed = false;
    if (cols.Run(oProcess,
                 [&](const LImgProBand& band, LImgProBandRunner& run)
                 {
                     Scratch sc;
                     // Zeroed: a last strip narrower than the rest leaves the tail of each row
                     // unwritten, and the filter runs over whole rows of the strip.
                     uint8_t* strip = static_cast<uint8_t*>(calloc(size_t(h), stripBytes));
                     if (!strip)
                     {
                         failed = true;
                         return false;
                     }
                     bool ok = true;
                     for (int s = band.iFirst; s < band.iFirst + band.iCount; ++s)
                     {
                         if (run.IsToStop(band))
                         {
                             ok = false;
                             break;
                         }
                         const size_t x0 = size_t(s) * stripBytes;
                         const int bytes = int(std::min<size_t>(stripBytes, rowBytes - x0));
                         for (int y = 0; y < h; ++y)
                             memcpy(strip + size_t(y) * stripBytes, oDest.GetScanLine(y) + x0, bytes);
                         FilterLine(strip, h, stripBytes, bytes, oDest.GetScanLine(0) + x0,
                                    int(oDest.GetWidthBytes()), sc, sharpen, fade);
                         run.SetProgress(band, 0.5 + 0.5 * ++done / strips);
                     }
                     free(strip);
                     return ok;
                 }))
        return failed ? LProcessResultFailed : LProcessResultCancelled;
    return LProcessResultSuccess;
}
