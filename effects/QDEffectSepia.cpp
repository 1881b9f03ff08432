#include "effects/QDEffectSepia.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectPixels.h"
#include "effects/QDEffectVector.h"

#include <immintrin.h>

namespace
{
constexpr int kCommandId = 6020;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(double, 5, 1.0, 0.0, 1.0, "strength", "Strength")
        .Slider("Original", "Sepia", 0, 100, QDScaleHundredth),
};
// min(255, wr*R + wg*G + wb*B), summed left to right.
QD_AVX2 inline __m256d Tone(__m256d r, __m256d g, __m256d b, double wr, double wg, double wb)
{
    const __m256d sum = _mm256_add_pd(
        _mm256_add_pd(_mm256_mul_pd(_mm256_set1_pd(wr), r), _mm256_mul_pd(_mm256_set1_pd(wg), g)),
        _mm256_mul_pd(_mm256_set1_pd(wb), b));
    return _mm256_min_pd(sum, _mm256_set1_pd(255.0));
}

// trunc(c + (t - c) * s).
QD_AVX2 inline __m128i Mix(__m256d c, __m256d t, __m256d s)
{
    return _mm256_cvttpd_epi32(_mm256_add_pd(c, _mm256_mul_pd(_mm256_sub_pd(t, c), s)));
}

// Pixel's arithmetic on four pixels at a time; returns the pixels done.
QD_AVX2 int SepiaRowAVX2(uint32_t* q, int n, double strength)
{
    const __m128i byte = _mm_set1_epi32(0xFF);
    const __m256d s = _mm256_set1_pd(strength);
    int x = 0;
    for (; x + 4 <= n; x += 4)
    {
        const __m128i px = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q + x));
        const __m256d b = _mm256_cvtepi32_pd(_mm_and_si128(px, byte));
        const __m256d g = _mm256_cvtepi32_pd(_mm_and_si128(_mm_srli_epi32(px, 8), byte));
        const __m256d r = _mm256_cvtepi32_pd(_mm_and_si128(_mm_srli_epi32(px, 16), byte));
        const __m128i outR = Mix(r, Tone(r, g, b, 0.393, 0.769, 0.189), s);
        const __m128i outG = Mix(g, Tone(r, g, b, 0.349, 0.686, 0.168), s);
        const __m128i outB = Mix(b, Tone(r, g, b, 0.272, 0.534, 0.131), s);
        const __m128i alpha = _mm_andnot_si128(_mm_set1_epi32(0x00FFFFFF), px);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(q + x),
                         _mm_or_si128(_mm_or_si128(alpha, _mm_slli_epi32(outR, 16)),
                                      _mm_or_si128(_mm_slli_epi32(outG, 8), outB)));
    }
    return x;
}
} // namespace

QDEffectSepia::QDEffectSepia() : QDImagePipelineElementWithDoubleProperties(kTable) {}

const char* QDEffectSepia::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectSepia::GetName() const
{
    return QDEffectElementName(kCommandId);
}

void QDEffectSepia::Render(LImageIterator& iterator) const
{
    QDMapPixels(iterator, oPixel);
}

LProcessResult QDEffectSepia::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    oPixel.dStrength = GetPropertiesSnapshot();
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (pf == B8G8R8A8 && QDUseVectorPaths())
    {
        const int w = buffer.GetWidth();
        const Pixel pixel = oPixel;
        if (LImgProForEachRow(process, buffer.GetHeight(),
                              [&](int y)
                              {
                                  uint32_t* q = reinterpret_cast<uint32_t*>(buffer.GetScanLine(y));
                                  for (int x = SepiaRowAVX2(q, w, pixel.dStrength); x < w; ++x)
                                      q[x] = pixel(LPixelColour::FromUInt32(q[x])).ToUInt32();
                              }) == LProcessResultCancelled)
            return LProcessResultCancelled;
    }
    else if (pf == B8G8R8A8 || pf == B8G8R8)
    {
        if (QDMapPixels(process, buffer, oPixel) == LProcessResultCancelled)
            return LProcessResultCancelled;
    }
    else
        RenderMultiThreaded(buffer);
    return FinishRender(process, buffer);
}
