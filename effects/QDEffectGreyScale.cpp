#include "effects/QDEffectGreyScale.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectVector.h"

#include <immintrin.h>

namespace
{
constexpr int kCommandId = 6021;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectGreyScaleProperties, fStrength, 5, 1.0, 0.0, 1.0, "strength", "Strength")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
    QD_PROPERTY(QDEffectGreyScaleProperties, iFilter, 6, 0, 0, 3, "filter", "Color Filter:")
        .Choices("Default|Red Filter|Green Filter|Blue Filter"),
};
// ColorBlend(c, y, amount) on one channel of four pixels, in float: trunc(y*amount + c*keep).
QD_AVX2 inline __m128i Blend(__m128i c, __m128 y, __m128 amount, __m128 keep)
{
    const __m128 v = _mm_add_ps(_mm_mul_ps(y, amount), _mm_mul_ps(_mm_cvtepi32_ps(c), keep));
    return _mm_and_si128(_mm_cvttps_epi32(v), _mm_set1_epi32(0xFF));
}

// Pixel's arithmetic on four pixels at a time; returns the pixels done.
QD_AVX2 int GreyRowAVX2(uint32_t* q, int n, double wr, double wg, double wb, bool blend, float amount)
{
    const __m128i byte = _mm_set1_epi32(0xFF);
    const __m256d vr = _mm256_set1_pd(wr), vg = _mm256_set1_pd(wg), vb = _mm256_set1_pd(wb);
    const __m128 a = _mm_set1_ps(amount), keep = _mm_set1_ps(1 - amount);
    int x = 0;
    for (; x + 4 <= n; x += 4)
    {
        const __m128i px = _mm_loadu_si128(reinterpret_cast<const __m128i*>(q + x));
        const __m128i bi = _mm_and_si128(px, byte);
        const __m128i gi = _mm_and_si128(_mm_srli_epi32(px, 8), byte);
        const __m128i ri = _mm_and_si128(_mm_srli_epi32(px, 16), byte);
        const __m256d sum = _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(_mm256_cvtepi32_pd(ri), vr),
                                                        _mm256_mul_pd(_mm256_cvtepi32_pd(gi), vg)),
                                          _mm256_mul_pd(_mm256_cvtepi32_pd(bi), vb));
        const __m128i y = _mm_and_si128(_mm256_cvttpd_epi32(sum), byte);
        __m128i r = y, g = y, b = y;
        if (blend)
        {
            const __m128 yf = _mm_cvtepi32_ps(y);
            r = Blend(ri, yf, a, keep);
            g = Blend(gi, yf, a, keep);
            b = Blend(bi, yf, a, keep);
        }
        const __m128i alpha = _mm_andnot_si128(_mm_set1_epi32(0x00FFFFFF), px);
        _mm_storeu_si128(
            reinterpret_cast<__m128i*>(q + x),
            _mm_or_si128(_mm_or_si128(alpha, _mm_slli_epi32(r, 16)), _mm_or_si128(_mm_slli_epi32(g, 8), b)));
    }
    return x;
}
} // namespace

QDEffectGreyScale::QDEffectGreyScale() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectGreyScale::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectGreyScale::GetName() const
{
    return QDEffectElementName(kCommandId);
}

void QDEffectGreyScale::GetFilter(int32_t filter, double& wr, double& wg, double& wb)
{
    switch (filter)
    {
    case Default:
        wr = 0.2126, wg = 0.7152, wb = 0.0722;
        break;
    case RedFilter:
        wr = 1, wg = 0, wb = 0;
        break;
    // Blue carries a third of it: the program's own green filter.
    case GreenFilter:
        wr = 0, wg = 2.0 / 3.0, wb = 1.0 / 3.0;
        break;
    case BlueFilter:
        wr = 0, wg = 0, wb = 1;
        break;
    default:
        wr = wg = wb = 1.0 / 3.0;
        break;
    }
}

void QDEffectGreyScale::Render(LImageIterator& iterator) const
{
    QDMapPixels(iterator, oPixel);
}

LProcessResult QDEffectGreyScale::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectGreyScaleProperties p = GetPropertiesSnapshot();
    GetFilter(p.iFilter, oPixel.wr, oPixel.wg, oPixel.wb);
    // ColorBlend at no strength returns the original.
    if (p.fStrength >= -1.1920929e-7f && p.fStrength <= 1.1920929e-7f)
        return FinishRender(process, buffer);
    // Below full strength the grey is blended back over the original in the same pass, which
    // spares the copy of the picture.
    std::unique_ptr<QDBlendTable> blend;
    oPixel.lpBlend = nullptr;
    if (p.fStrength < 1)
    {
        blend.reset(new QDBlendTable(p.fStrength));
        if (!blend->IsValid())
            return LProcessResultFailed;
        oPixel.lpBlend = blend.get();
    }
    const pixelformat_t pf = buffer.GetPixelFormat();
    LProcessResult r = LProcessResultSuccess;
    if (pf == B8G8R8A8 && QDUseVectorPaths())
    {
        const int w = buffer.GetWidth();
        const Pixel pixel = oPixel;
        const bool mix = p.fStrength < 1;
        r = LImgProForEachRow(
            process, buffer.GetHeight(),
            [&](int y)
            {
                uint32_t* q = reinterpret_cast<uint32_t*>(buffer.GetScanLine(y));
                for (int x = GreyRowAVX2(q, w, pixel.wr, pixel.wg, pixel.wb, mix, p.fStrength); x < w; ++x)
                    q[x] = pixel(LPixelColour::FromUInt32(q[x])).ToUInt32();
            });
    }
    else if (pf == B8G8R8A8 || pf == B8G8R8)
        r = QDMapPixels(process, buffer, oPixel);
    else
        RenderMultiThreaded(buffer);
    oPixel.lpBlend = nullptr;
    if (r == LProcessResultCancelled)
        return r;
    return FinishRender(process, buffer);
}
