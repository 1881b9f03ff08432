#include "image/LImgProHLSAdjust.h"

#include <immintrin.h>

#include <atomic>

#include "image/LImgProRowLoop.h"

namespace
{
std::atomic<bool> gVector{true};

bool HasAVX2()
{
    static const bool b = __builtin_cpu_supports("avx2");
    return b;
}

#define QD_AVX2 __attribute__((target("avx2")))

QD_AVX2 inline __m256d Wide(__m128i mask)
{
    return _mm256_castsi256_pd(_mm256_cvtepi32_epi64(mask));
}

QD_AVX2 inline __m256d Cap(__m256d v)
{
    return _mm256_min_pd(v, _mm256_set1_pd(1.0));
}

// One channel of LColourRGB's conversion: cs = c*2*s + 1 - s, then by the lightness.
QD_AVX2 inline __m128i Channel(__m256d c, __m256d s, __m256d l, __m256d lDark, __m256d oneMinusL,
                               __m256d twoL)
{
    const __m256d one = _mm256_set1_pd(1.0), two = _mm256_set1_pd(2.0), c255 = _mm256_set1_pd(255.0),
                  half = _mm256_set1_pd(0.5);
    const __m256d cs = _mm256_sub_pd(_mm256_add_pd(_mm256_mul_pd(_mm256_mul_pd(c, two), s), one), s);
    const __m256d vd = _mm256_add_pd(_mm256_mul_pd(_mm256_mul_pd(cs, l), c255), half);
    const __m256d vl = _mm256_add_pd(
        _mm256_mul_pd(_mm256_sub_pd(_mm256_add_pd(_mm256_mul_pd(cs, oneMinusL), twoL), one), c255), half);
    return _mm_and_si128(_mm256_cvttpd_epi32(_mm256_blendv_pd(vl, vd, lDark)), _mm_set1_epi32(0xFF));
}

// Four pixels (blue in the low byte of each word). No fused multiply-add: each product and sum
// rounds as in the scalar code.
QD_AVX2 __m128i Four(const LImgProHLSAdjust& k, __m128i px)
{
    const __m128i byte = _mm_set1_epi32(0xFF);
    const __m128i bi = _mm_and_si128(px, byte);
    const __m128i gi = _mm_and_si128(_mm_srli_epi32(px, 8), byte);
    const __m128i ri = _mm_and_si128(_mm_srli_epi32(px, 16), byte);
    const __m128i maxi = _mm_max_epi32(ri, _mm_max_epi32(gi, bi));
    const __m128i mini = _mm_min_epi32(ri, _mm_min_epi32(gi, bi));
    const __m256d half = _mm256_set1_pd(0.5), one = _mm256_set1_pd(1.0), zero = _mm256_setzero_pd();
    const __m256d c510 = _mm256_set1_pd(510.0), c255 = _mm256_set1_pd(255.0);

    __m256d l = _mm256_div_pd(_mm256_cvtepi32_pd(_mm_add_epi32(maxi, mini)), c510);
    const __m256d grey = Wide(_mm_cmpeq_epi32(maxi, mini));
    const __m256d delta = _mm256_cvtepi32_pd(_mm_sub_epi32(maxi, mini));
    const __m256d dark = _mm256_cmp_pd(l, half, _CMP_LT_OQ);
    const __m256d l510 = _mm256_mul_pd(c510, l);
    const __m256d denom = _mm256_blendv_pd(_mm256_sub_pd(c510, l510), l510, dark);
    __m256d s = _mm256_andnot_pd(grey, _mm256_div_pd(delta, denom));
    const __m256d six = _mm256_mul_pd(_mm256_set1_pd(6.0), delta);
    const __m256d hr = _mm256_div_pd(_mm256_cvtepi32_pd(_mm_sub_epi32(gi, bi)), six);
    const __m256d hg = _mm256_add_pd(_mm256_div_pd(_mm256_cvtepi32_pd(_mm_sub_epi32(bi, ri)), six),
                                     _mm256_set1_pd(1.0 / 3.0));
    const __m256d hb = _mm256_add_pd(_mm256_div_pd(_mm256_cvtepi32_pd(_mm_sub_epi32(ri, gi)), six),
                                     _mm256_set1_pd(2.0 / 3.0));
    const __m128i isR = _mm_andnot_si128(_mm_cmpeq_epi32(ri, gi), _mm_cmpeq_epi32(ri, maxi));
    const __m128i isG =
        _mm_andnot_si128(isR, _mm_andnot_si128(_mm_cmpeq_epi32(gi, bi), _mm_cmpeq_epi32(gi, maxi)));
    __m256d h = _mm256_blendv_pd(_mm256_blendv_pd(hb, hg, Wide(isG)), hr, Wide(isR));
    h = _mm256_andnot_pd(grey, h);

    if (k.eMode == LImgProHLSAdjust::TurnHue)
        h = _mm256_add_pd(h, _mm256_set1_pd(k.dTurn));
    else if (k.eMode == LImgProHLSAdjust::OffsetSaturation)
    {
        const __m256d t = _mm256_add_pd(s, _mm256_set1_pd(k.dOffset));
        s = _mm256_blendv_pd(t, one, _mm256_cmp_pd(t, one, _CMP_GT_OQ));
        s = _mm256_blendv_pd(s, zero, _mm256_cmp_pd(t, zero, _CMP_LT_OQ));
    }
    else
    {
        const __m128i i = _mm256_cvttpd_epi32(_mm256_mul_pd(l, c255));
        const __m256d lut = _mm256_mask_i32gather_pd(_mm256_setzero_pd(), k.arLightness, i,
                                                     _mm256_castsi256_pd(_mm256_set1_epi64x(-1)), 8);
        const __m256d a = _mm256_set1_pd(k.dAmount);
        l = _mm256_add_pd(_mm256_mul_pd(a, lut), _mm256_mul_pd(_mm256_sub_pd(one, a), l));
    }

    const __m256d x = _mm256_mul_pd(_mm256_sub_pd(h, _mm256_floor_pd(h)), _mm256_set1_pd(6.0));
    const __m256d two = _mm256_set1_pd(2.0), four = _mm256_set1_pd(4.0), six6 = _mm256_set1_pd(6.0);
    const __m256d s0 = _mm256_cmp_pd(x, two, _CMP_LT_OQ);
    const __m256d s01 = _mm256_cmp_pd(x, four, _CMP_LT_OQ);
    // Sector 0 (x < 2), 1 (x < 4), 2 (the rest).
    const __m256d cr = _mm256_blendv_pd(_mm256_blendv_pd(Cap(_mm256_sub_pd(x, four)), zero, s01),
                                        Cap(_mm256_sub_pd(two, x)), s0);
    const __m256d cg = _mm256_blendv_pd(_mm256_blendv_pd(zero, Cap(_mm256_sub_pd(four, x)), s01), Cap(x), s0);
    const __m256d cb = _mm256_blendv_pd(
        _mm256_blendv_pd(Cap(_mm256_sub_pd(six6, x)), Cap(_mm256_sub_pd(x, two)), s01), zero, s0);
    const __m256d lDark = _mm256_cmp_pd(l, half, _CMP_LT_OQ);
    const __m256d oneMinusL = _mm256_sub_pd(one, l), twoL = _mm256_mul_pd(two, l);
    const __m128i alpha = _mm_andnot_si128(_mm_set1_epi32(0x00FFFFFF), px);
    return _mm_or_si128(_mm_or_si128(alpha, _mm_slli_epi32(Channel(cr, s, l, lDark, oneMinusL, twoL), 16)),
                        _mm_or_si128(_mm_slli_epi32(Channel(cg, s, l, lDark, oneMinusL, twoL), 8),
                                     Channel(cb, s, l, lDark, oneMinusL, twoL)));
}

QD_AVX2 int RowAVX2(const LImgProHLSAdjust& k, uint8_t* p, int n, int bpp)
{
    int x = 0;
    if (bpp == 4)
        for (; x + 4 <= n; x += 4)
        {
            __m128i* q = reinterpret_cast<__m128i*>(p + 4 * x);
            _mm_storeu_si128(q, Four(k, _mm_loadu_si128(q)));
        }
    else
        for (; x + 4 <= n; x += 4)
        {
            uint8_t* q = p + 3 * x;
            alignas(16) uint32_t w[4];
            for (int i = 0; i < 4; ++i)
                w[i] = uint32_t(q[3 * i]) | uint32_t(q[3 * i + 1]) << 8 | uint32_t(q[3 * i + 2]) << 16 |
                       0xFF000000u;
            _mm_store_si128(reinterpret_cast<__m128i*>(w),
                            Four(k, _mm_load_si128(reinterpret_cast<__m128i*>(w))));
            for (int i = 0; i < 4; ++i)
            {
                q[3 * i] = uint8_t(w[i]);
                q[3 * i + 1] = uint8_t(w[i] >> 8);
                q[3 * i + 2] = uint8_t(w[i] >> 16);
            }
        }
    return x;
}
} // namespace

void LImgProHLSAdjust::SetVectorPath(bool bEnabled)
{
    gVector = bEnabled;
}

void LImgProHLSAdjust::ApplyRow(uint8_t* p, int n, pixelformat_t pf) const
{
    const int bpp = pf == B8G8R8A8 ? 4 : 3;
    const int done = gVector && HasAVX2() ? RowAVX2(*this, p, n, bpp) : 0;
    p += done * bpp;
    for (int x = done; x < n; ++x, p += bpp)
    {
        const LPixelColour c = Apply(LPixelColour(p[0], p[1], p[2], bpp == 4 ? p[3] : 255));
        p[0] = c.b;
        p[1] = c.g;
        p[2] = c.r;
    }
}

LProcessResult LImgProHLSAdjust::Process(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    const pixelformat_t pf = oImage.GetPixelFormat();
    if (!oImage.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return LProcessResultFailed;
    const int w = oImage.GetWidth();
    return LImgProForEachRow(
        oProcess, oImage.GetHeight(), [&](int y) { ApplyRow(oImage.GetScanLine(y), w, pf); },
        LImgProStopBeforeRow, 16);
}
