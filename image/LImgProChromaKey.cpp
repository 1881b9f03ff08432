#include "image/LImgProChromaKey.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <new>

LImgProChromaKey::LImgProChromaKey(LImgProChromaKeyMode mode) : eMode(mode)
{
    if (mode == LImgProChromaKeyAutomatic)
    {
        const int hi = std::max({byKeyRed, byKeyGreen, byKeyBlue});
        const int lo = std::min({byKeyRed, byKeyGreen, byKeyBlue});
        bLuma = hi - lo < 5;
    }
    else
        bLuma = mode == LImgProChromaKeyLuma;
}

void LImgProChromaKey::SetPickedColor(uint8_t r, uint8_t g, uint8_t b)
{
    byKeyRed = r;
    byKeyGreen = g;
    byKeyBlue = b;
}

bool LImgProChromaKey::CalculateChromaKey()
{
    if (!arTerms)
        arTerms.reset(new (std::nothrow) double[9 * 256]);
    if (!arTerms)
        return false;
    for (int v = 0; v < 256; ++v)
    {
        double* t = arTerms.get() + v;
        t[0] = 0.5 * v + 128;
        t[256] = 0.418688 * v;
        t[512] = 0.081312 * v;
        t[768] = -0.168736 * v + 128;
        t[1024] = 0.331264 * v;
        t[1280] = 0.5 * v;
        t[1536] = 0.2567890625 * v + 16;
        t[1792] = 0.50412890625 * v;
        t[2048] = 0.09790625 * v;
    }
    if (!arDistance)
        arDistance.reset(new (std::nothrow) double[65536]);
    if (!arFactor)
        arFactor.reset(new (std::nothrow) double[65536]);
    if (!arDistance || !arFactor)
        return false;
    if (bLuma)
    {
        const int y0 = LImgProChromaLuma(byKeyRed, byKeyGreen, byKeyBlue);
        for (int i = 0; i < 220; ++i)
            arDistance[i] = std::abs(i + 16 - y0);
        return true;
    }
    const int cr0 = LImgProChromaCr(byKeyRed, byKeyGreen, byKeyBlue);
    const int cb0 = LImgProChromaCb(byKeyRed, byKeyGreen, byKeyBlue);
    const double a = byThresholdA, b = byThresholdB;
    for (int cb = 0; cb < 256; ++cb)
        for (int cr = 0; cr < 256; ++cr)
        {
            const double d = std::sqrt(double((cr0 - cr) * (cr0 - cr) + (cb0 - cb) * (cb0 - cb)));
            arDistance[cb * 256 + cr] = d;
            // Only read between the thresholds, so A >= B needs no factor.
            arFactor[cb * 256 + cr] = b > a ? 1 - (d - a) / (b - a) : 0;
        }
    return true;
}

inline void LImgProChromaKey::Apply(uint8_t* c, uint8_t& alpha) const
{
    const int b = c[0], g = c[1], r = c[2];
    const double* t = arTerms.get();
    double d, f;
    int idx = 0;
    if (bLuma)
    {
        const int y = int((t[1536 + r] + t[1792 + g]) + t[2048 + b]);
        d = arDistance[std::clamp(y - 16, 0, 219)];
    }
    else
    {
        const int cr = int((t[r] - t[256 + g]) - t[512 + b]);
        const int cb = int((t[768 + r] - t[1024 + g]) + t[1280 + b]);
        idx = cb * 256 + cr;
        d = arDistance[idx];
    }
    if (d < byThresholdA)
    {
        c[0] = c[1] = c[2] = 0;
        alpha = 0;
        return;
    }
    if (d >= byThresholdB)
        return;
    const double a = alpha / 255.0;
    if (bLuma)
    {
        f = d / 219;
        for (int k = 0; k < 3; ++k)
            c[k] = uint8_t(std::max(c[k] - c[k] * f, 0.0) * a);
        alpha = uint8_t(std::min(int(255 - 255 * f), int(alpha)));
        return;
    }
    f = arFactor[idx];
    const uint8_t key[3] = {byKeyBlue, byKeyGreen, byKeyRed};
    for (int k = 0; k < 3; ++k)
        c[k] = uint8_t(std::max(c[k] - key[k] * f, 0.0) * a);
    alpha = uint8_t(std::min(int((1 - f) * 255), int(alpha)));
}

void LImgProChromaKey::LPixApplyEffect(const LPFB8G8R8A8& oIn, LPFB8G8R8A8& oOut) const
{
    uint8_t c[3] = {oIn.b, oIn.g, oIn.r}, alpha = oIn.a;
    Apply(c, alpha);
    oOut = LPFB8G8R8A8(c[0], c[1], c[2], alpha);
}

void LImgProChromaKey::LPixApplyEffect(const LPFB8G8R8& oIn, LPFB8G8R8& oOut) const
{
    uint8_t c[3] = {oIn.b, oIn.g, oIn.r}, alpha = 255;
    Apply(c, alpha);
    oOut.b = c[0];
    oOut.g = c[1];
    oOut.r = c[2];
}

namespace
{
bool HasAVX2()
{
    static const bool b = __builtin_cpu_supports("avx2");
    return b;
}

// Cr or Cb of four pixels, with the same double operations in the same order as the scalar
// expressions (no fused multiply-add), so the truncated results agree to the bit.
__attribute__((target("avx2"))) inline __m128i Chroma4(__m256d r, __m256d g, __m256d b, double wr, double wg,
                                                       double wb, bool addBlue)
{
    __m256d v = _mm256_add_pd(_mm256_mul_pd(_mm256_set1_pd(wr), r), _mm256_set1_pd(128.0));
    v = _mm256_sub_pd(v, _mm256_mul_pd(_mm256_set1_pd(wg), g));
    const __m256d tb = _mm256_mul_pd(_mm256_set1_pd(wb), b);
    return _mm256_cvttpd_epi32(addBlue ? _mm256_add_pd(v, tb) : _mm256_sub_pd(v, tb));
}

// Eight 32-bit pixels at a time: a byte of flags per eight, set for the pixels nearer the key
// than limit. A tabulated distance is the square root of a whole number n, and for a whole limit
// below 256, sqrt(n) < limit exactly when n < limit^2, so no table is read. Returns the pixels
// looked at.
__attribute__((target("avx2"))) int NearPixelsAVX2(const uint32_t* q, int n, int cr0, int cb0, int limit,
                                                   uint8_t* near)
{
    const __m256i byte = _mm256_set1_epi32(255);
    const __m128i key = _mm_unpacklo_epi32(_mm_set1_epi32(cr0), _mm_set1_epi32(cb0));
    const __m128i lim = _mm_set1_epi32(limit * limit);
    int x = 0;
    for (; x + 8 <= n; x += 8)
    {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(q + x));
        const __m256i bi = _mm256_and_si256(v, byte), gi = _mm256_and_si256(_mm256_srli_epi32(v, 8), byte),
                      ri = _mm256_and_si256(_mm256_srli_epi32(v, 16), byte);
        int mask = 0;
        for (int half = 0; half < 2; ++half)
        {
            const __m128i b4 = half ? _mm256_extracti128_si256(bi, 1) : _mm256_castsi256_si128(bi);
            const __m128i g4 = half ? _mm256_extracti128_si256(gi, 1) : _mm256_castsi256_si128(gi);
            const __m128i r4 = half ? _mm256_extracti128_si256(ri, 1) : _mm256_castsi256_si128(ri);
            const __m256d b = _mm256_cvtepi32_pd(b4), g = _mm256_cvtepi32_pd(g4), r = _mm256_cvtepi32_pd(r4);
            const __m128i dcr =
                _mm_sub_epi32(_mm_shuffle_epi32(key, 0x00), Chroma4(r, g, b, 0.5, 0.418688, 0.081312, false));
            const __m128i dcb =
                _mm_sub_epi32(_mm_shuffle_epi32(key, 0x55), Chroma4(r, g, b, -0.168736, 0.331264, 0.5, true));
            const __m128i d2 = _mm_add_epi32(_mm_mullo_epi32(dcr, dcr), _mm_mullo_epi32(dcb, dcb));
            mask |= _mm_movemask_ps(_mm_castsi128_ps(_mm_cmplt_epi32(d2, lim))) << (4 * half);
        }
        near[x >> 3] = uint8_t(mask);
    }
    return x;
}
} // namespace

void LImgProChromaKey::ApplyRow(uint8_t* p, int n, int bpp) const
{
    if (bpp == 4 && !bLuma && HasAVX2())
    {
        // Most of a photo is far from the key: the vector pass finds the groups that aren't.
        const int limit = std::max(byThresholdA, byThresholdB);
        const int cr0 = LImgProChromaCr(byKeyRed, byKeyGreen, byKeyBlue);
        const int cb0 = LImgProChromaCb(byKeyRed, byKeyGreen, byKeyBlue);
        uint8_t near[64];
        for (int x = 0; x < n; x += 512)
        {
            const int chunk = std::min(n - x, 512);
            uint8_t* q = p + 4 * x;
            const int done =
                NearPixelsAVX2(reinterpret_cast<const uint32_t*>(q), chunk, cr0, cb0, limit, near);
            for (int k = 0; k < done; k += 8)
                for (unsigned m = near[k >> 3]; m; m &= m - 1)
                {
                    const int i = k + __builtin_ctz(m);
                    Apply(q + 4 * i, q[4 * i + 3]);
                }
            for (int k = done; k < chunk; ++k)
                Apply(q + 4 * k, q[4 * k + 3]);
        }
        return;
    }
    if (bpp == 4)
        for (int x = 0; x < n; ++x, p += 4)
            Apply(p, p[3]);
    else
        for (int x = 0; x < n; ++x, p += 3)
        {
            uint8_t alpha = 255;
            Apply(p, alpha);
        }
}
