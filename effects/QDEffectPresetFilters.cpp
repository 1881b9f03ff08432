#include "effects/QDEffectPresetFilters.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include "effects/QDEffectPixels.h"
#include "effects/QDEffectVector.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProCurves.h"
#include "image/LImgProSimple.h"

namespace
{
// Levels shorthands: input low and high, midtone, output low and high.
constexpr LColorLevelSettings L(int lo, int hi, float mid, int outLo = 0, int outHi = 255)
{
    return {uint8_t(lo), uint8_t(hi), mid, uint8_t(outLo), uint8_t(outHi)};
}
constexpr LColorLevelSettings K = L(0, 255, 0.5f);
constexpr QDPresetCurve kNoCurve = {0, {}, {}};

// The looks, one row each: command id; levels at the midtone first; levels (RGB, red, green,
// blue); curves (red, green, blue); levels after; overlay colour 0xRRGGBB and amount; the stage and
// its amount; the vignette's second look and its inner and outer squared radius.
// clang-format off
const QDPresetRecipe kRecipes[] = {
    // Color Boost: a slight stretch, then every channel pushed away from the pixel's grey.
    {6052, true,  {L(6, 249, 0.5f), K, K, K}, {kNoCurve, kNoCurve, kNoCurve}, {K, K, K, K},
     0, 0, QDPresetChromaOverlay, 1.0f, {K, K, K, K}, 0, 1},
    // Electric: every channel stretched, blue the most and lifted in the midtones.
    {6053, false, {K, L(10, 248, 0.5f), L(10, 246, 0.5f), L(24, 226, 0.46f)}, {kNoCurve, kNoCurve, kNoCurve},
     {L(4, 251, 0.49f), K, K, K},
     0, 0, QDPresetTablesOnly, 0, {K, K, K, K}, 0, 1},
    // Aqua: blue-green shadows, yellow highlights.
    {6054, false, {K, L(0, 255, 0.5f, 0, 245), L(0, 255, 0.5f, 30, 255), L(0, 255, 0.5f, 80, 185)},
     {kNoCurve, kNoCurve, kNoCurve}, {L(8, 255, 0.5f), K, K, K},
     0, 0, QDPresetTablesOnly, 0, {K, K, K, K}, 0, 1},
    // Redwood: a warm orange overlaid: maroon shadows, yellow highlights.
    {6055, false, {K, K, K, K}, {kNoCurve, kNoCurve, kNoCurve}, {K, K, K, K},
     0xC0602A, 0.37f, QDPresetTablesOnly, 0, {K, K, K, K}, 0, 1},
    // Sunglow: lighter and warmer, the corners darker and warmer still.
    {6056, false, {L(0, 255, 0.45f), L(0, 236, 0.46f, 14, 255), L(0, 250, 0.5f, 4, 255), L(0, 255, 0.52f, 0, 212)},
     {kNoCurve, kNoCurve, kNoCurve}, {K, K, K, K},
     0, 0, QDPresetVignette, 0, {L(0, 255, 0.6f, 0, 200), K, K, L(0, 255, 0.5f, 0, 225)}, 0.2f, 1.0f},
    // Amber: purple shadows, orange highlights.
    {6057, true,  {K, K, K, K},
     {{4, {0, 53, 107, 255}, {43, 134, 198, 255}},
      {4, {0, 56, 214, 255}, {27, 87, 219, 219}},
      {5, {0, 49, 122, 201, 255}, {85, 85, 100, 167, 167}}},
     {L(0, 255, 0.5130f, 0, 250), L(0, 225, 0.4920f), K, K},
     0, 0, QDPresetTablesOnly, 0, {K, K, K, K}, 0, 1},
    // Orchid Light: a light orange centre, fading to purple at the edges.
    {6058, false, {L(0, 250, 0.45f), L(0, 225, 0.42f), L(0, 250, 0.5f), L(0, 255, 0.56f, 0, 215)},
     {kNoCurve, kNoCurve, kNoCurve}, {K, K, K, K},
     0, 0, QDPresetVignette, 0,
     {L(0, 255, 0.55f), L(0, 255, 0.5f, 20, 225), L(0, 255, 0.6f, 0, 175), L(0, 255, 0.45f, 45, 255)}, 0.1f, 0.9f},
    // Nocturnal: dark, every channel squeezed toward a lifted blue.
    {6059, true,  {L(0, 255, 0.6f, 0, 210), L(0, 255, 0.57f, 22, 132), L(0, 255, 0.55f, 26, 142),
                   L(0, 255, 0.5f, 46, 192)},
     {kNoCurve, kNoCurve, kNoCurve}, {K, K, K, K},
     0, 0, QDPresetTablesOnly, 0, {K, K, K, K}, 0, 1},
};
// clang-format on

// Levels as LImgProColorLevels applies them, channel table then RGB table, after what map holds.
void ThenLevels(LImgProChannelMap& map, const LColorLevelSettings* s)
{
    uint8_t t[4][256];
    const uint8_t* id = LImgProChannelMap::IdentityTable();
    const uint8_t* use[4];
    for (int c = 0; c < 4; ++c)
    {
        use[c] = id;
        if (!s[c].IsIdentity())
        {
            LImgProColorLevels::MapValues(t[c], s[c]);
            use[c] = t[c];
        }
    }
    map.Then(use[1], use[2], use[3]);
    map.Then(use[0], use[0], use[0]);
}

} // namespace

const QDPresetRecipe* QDFindPresetRecipe(int commandId)
{
    for (const QDPresetRecipe& r : kRecipes)
        if (r.iCommandId == commandId)
            return &r;
    return nullptr;
}

void QDMakePresetMap(const QDPresetRecipe& recipe, float fMidtoneLevel, LImgProChannelMap& map)
{
    map.SetIdentity();
    if (recipe.bMidtoneLevels)
    {
        const LColorLevelSettings midtone[4] = {L(0, 255, 1 - fMidtoneLevel), K, K, K};
        ThenLevels(map, midtone);
    }
    ThenLevels(map, recipe.arLevels);
    // Curves as LImgProCurves applies them: each channel's curve; the RGB curve is the default.
    uint8_t curves[3][256];
    for (int c = 0; c < 3; ++c)
    {
        const QDPresetCurve& pc = recipe.arCurves[c];
        LCurveSettings curve;
        if (pc.nPoints >= 2)
        {
            curve.RemoveAllPoints();
            for (int i = 0; i < pc.nPoints; ++i)
                curve.AddPoint(pc.arX[i], pc.arY[i]);
            curve.UpdateCurveValues();
        }
        std::copy(curve.arValues, curve.arValues + 256, curves[c]);
    }
    map.Then(curves[0], curves[1], curves[2]);
    ThenLevels(map, recipe.arLevelsAfter);
    if (recipe.fOverlayAmount != 0)
    {
        const LPixelColour colour = LPixelColour::FromUInt32(recipe.iOverlayColour);
        uint8_t t[3][256];
        for (int v = 0; v < 256; ++v)
        {
            const LPixelColour o = ColorOverlay(LPixelColour(uint8_t(v), uint8_t(v), uint8_t(v), 255), colour,
                                                recipe.fOverlayAmount);
            t[0][v] = o.r;
            t[1][v] = o.g;
            t[2][v] = o.b;
        }
        map.Then(t[0], t[1], t[2]);
    }
}

namespace
{
// What the per-pixel stages read, laid out for both the plain and the vector loop.
struct StageTables
{
    int32_t arMap[3][256];  // blue, green, red: the recipe's tables
    int32_t arEdge[3][256]; // the vignette's second look over them
    int32_t arBoost[511];   // a channel's distance from the grey, + 255, to the overlay's index
    const uint8_t* lpOverlay = nullptr;
    const uint8_t* lpStrength = nullptr; // null at full strength
    const float* lpDx2 = nullptr;        // the vignette's squared distance across, per column
    float fInner = 0, fSpan = 1;

    void SetMaps(const LImgProChannelMap& map, const LImgProChannelMap& edge)
    {
        for (int v = 0; v < 256; ++v)
        {
            arMap[0][v] = map.arBlue[v], arMap[1][v] = map.arGreen[v], arMap[2][v] = map.arRed[v];
            arEdge[0][v] = edge.arBlue[v], arEdge[1][v] = edge.arGreen[v], arEdge[2][v] = edge.arRed[v];
        }
    }
    int Strength(int original, int result) const
    {
        return lpStrength ? lpStrength[result << 8 | original] : result;
    }
    // The pixel's channels (blue, green, red) pushed away from its grey.
    void Boost(uint8_t* q) const
    {
        const int c[3] = {arMap[0][q[0]], arMap[1][q[1]], arMap[2][q[2]]};
        const int grey =
            int(LImageProcessBlackAndWhite::Luma(unsigned(c[2]), unsigned(c[1]), unsigned(c[0])));
        for (int k = 0; k < 3; ++k)
            q[k] = uint8_t(Strength(q[k], lpOverlay[c[k] << 8 | arBoost[c[k] - grey + 255]]));
    }
    // The weight of the second look in 256ths, eased at both ends so the ring shows no edge.
    int Weight(float dx2, float dy2) const
    {
        const float t = std::clamp((dx2 + dy2 - fInner) / fSpan, 0.0f, 1.0f);
        return int(t * t * (3 - 2 * t) * 256);
    }
    void Vignette(uint8_t* q, int wgt) const
    {
        for (int k = 0; k < 3; ++k)
            q[k] = uint8_t(Strength(q[k], (arMap[k][q[k]] * (256 - wgt) + arEdge[k][q[k]] * wgt + 128) >> 8));
    }
};

QD_AVX2 inline __m256i Strength8(const StageTables& t, __m256i original, __m256i result)
{
    return t.lpStrength
               ? QDLookupBytes8(t.lpStrength, _mm256_or_si256(_mm256_slli_epi32(result, 8), original))
               : result;
}

QD_AVX2 int BoostRowAVX2(const StageTables& t, uint32_t* q, int n)
{
    int x = 0;
    for (; x + 8 <= n; x += 8)
    {
        __m256i* at = reinterpret_cast<__m256i*>(q + x);
        const __m256i px = _mm256_loadu_si256(at);
        __m256i p[3];
        QDSplit8(px, p[0], p[1], p[2]);
        __m256i c[3];
        for (int k = 0; k < 3; ++k)
            c[k] = QDLookup8(t.arMap[k], p[k]);
        const __m256i grey = _mm256_srli_epi32(
            _mm256_add_epi32(_mm256_add_epi32(_mm256_mullo_epi32(c[2], _mm256_set1_epi32(76)),
                                              _mm256_mullo_epi32(c[1], _mm256_set1_epi32(155))),
                             _mm256_mullo_epi32(c[0], _mm256_set1_epi32(25))),
            8);
        const __m256i offset = _mm256_sub_epi32(_mm256_set1_epi32(255), grey);
        __m256i o[3];
        for (int k = 0; k < 3; ++k)
        {
            const __m256i index = QDLookup8(t.arBoost, _mm256_add_epi32(c[k], offset));
            o[k] = Strength8(t, p[k],
                             QDLookupBytes8(t.lpOverlay, _mm256_or_si256(_mm256_slli_epi32(c[k], 8), index)));
        }
        _mm256_storeu_si256(at, QDJoin8(px, o[0], o[1], o[2]));
    }
    return x;
}

QD_AVX2 int VignetteRowAVX2(const StageTables& t, uint32_t* q, int n, float dy2)
{
    const __m256 vdy2 = _mm256_set1_ps(dy2), inner = _mm256_set1_ps(t.fInner), span = _mm256_set1_ps(t.fSpan);
    const __m256 zero = _mm256_setzero_ps(), one = _mm256_set1_ps(1.0f);
    int x = 0;
    for (; x + 8 <= n; x += 8)
    {
        __m256 u =
            _mm256_div_ps(_mm256_sub_ps(_mm256_add_ps(_mm256_loadu_ps(t.lpDx2 + x), vdy2), inner), span);
        u = _mm256_min_ps(_mm256_max_ps(u, zero), one);
        const __m256 eased = _mm256_mul_ps(
            _mm256_mul_ps(_mm256_mul_ps(u, u), _mm256_sub_ps(_mm256_set1_ps(3.0f), _mm256_add_ps(u, u))),
            _mm256_set1_ps(256.0f));
        const __m256i wgt = _mm256_cvttps_epi32(eased);
        const __m256i keep = _mm256_sub_epi32(_mm256_set1_epi32(256), wgt);
        __m256i* at = reinterpret_cast<__m256i*>(q + x);
        const __m256i px = _mm256_loadu_si256(at);
        __m256i p[3];
        QDSplit8(px, p[0], p[1], p[2]);
        __m256i o[3];
        for (int k = 0; k < 3; ++k)
        {
            const __m256i mixed = _mm256_srli_epi32(
                _mm256_add_epi32(_mm256_add_epi32(_mm256_mullo_epi32(QDLookup8(t.arMap[k], p[k]), keep),
                                                  _mm256_mullo_epi32(QDLookup8(t.arEdge[k], p[k]), wgt)),
                                 _mm256_set1_epi32(128)),
                8);
            o[k] = Strength8(t, p[k], mixed);
        }
        _mm256_storeu_si256(at, QDJoin8(px, o[0], o[1], o[2]));
    }
    return x;
}
} // namespace

LProcessResult QDRenderPresetFilter(LProcessInterface& process, LImageBuffer& buffer,
                                    const QDPresetRecipe& recipe, float fMidtoneLevel, float fStrength)
{
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (!buffer.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    LImgProChannelMap map;
    QDMakePresetMap(recipe, fMidtoneLevel, map);
    LProcessResult r;
    if (recipe.eStage == QDPresetTablesOnly)
    {
        // The whole recipe, strength included, is one table per channel.
        QDBlendChannelMap(map, fStrength);
        r = LImgProMapChannels(process, buffer, map);
    }
    else
    {
        // At full strength the blend gives the recipe's result itself.
        const QDBlendTable strength(fStrength < 1 ? fStrength : 0.0f);
        std::unique_ptr<StageTables> t(new (std::nothrow) StageTables);
        if (!strength.IsValid() || !t)
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
        LImgProChannelMap edge = map;
        ThenLevels(edge, recipe.arEdge);
        t->SetMaps(map, edge);
        t->lpStrength = fStrength < 1 ? strength.Data() : nullptr;
        t->lpOverlay = OverlayValuesTable()[0];
        for (int d = -255; d <= 255; ++d)
            t->arBoost[d + 255] = std::clamp(128 + int(float(d) * recipe.fStageAmount), 0, 255);
        // Squared distance from the centre in shares of the half sizes, the corners at 1, so the
        // ring has the picture's proportions and the preview's is the same.
        const int w = buffer.GetWidth(), h = buffer.GetHeight();
        std::vector<float> dx2(static_cast<size_t>(w));
        for (int x = 0; x < w; ++x)
        {
            const float d = (x + 0.5f) / w * 2 - 1;
            dx2[size_t(x)] = d * d * 0.5f;
        }
        t->lpDx2 = dx2.data();
        t->fInner = recipe.fInner;
        t->fSpan = std::max(recipe.fOuter - recipe.fInner, 1e-6f);
        const bool vector = pf == B8G8R8A8 && QDUseVectorPaths();
        const bool boost = recipe.eStage == QDPresetChromaOverlay;
        const int bpp = pf == B8G8R8A8 ? 4 : 3;
        r = LImgProForEachRow(process, h,
                              [&](int y)
                              {
                                  const float d = (y + 0.5f) / h * 2 - 1;
                                  const float dy2 = d * d * 0.5f;
                                  uint8_t* q = buffer.GetRow(y);
                                  uint32_t* words = reinterpret_cast<uint32_t*>(q);
                                  int x = 0;
                                  if (vector)
                                      x = boost ? BoostRowAVX2(*t, words, w)
                                                : VignetteRowAVX2(*t, words, w, dy2);
                                  for (q += x * bpp; x < w; ++x, q += bpp)
                                      if (boost)
                                          t->Boost(q);
                                      else
                                          t->Vignette(q, t->Weight(dx2[size_t(x)], dy2));
                              });
    }
    if (r == LProcessResultCancelled)
        return r;
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}

namespace
{
constexpr QDPropertyDesc kAmberTable[] = {
    QD_PROPERTY(QDEffectPresetProperties, fMidtoneLevel, 137, 0.5, 0.0, 1.0, "midtone", "Midtones")
        .Slider("Dark", "Bright", 25, 75, QDScaleHundredth),
    QD_PROPERTY(QDEffectPresetProperties, fStrength, 138, 1.0, 0.0, 1.0, "strength", "Strength")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
};
constexpr QDPropertyDesc kColorBoostTable[] = {
    QD_PROPERTY(QDEffectPresetProperties, fMidtoneLevel, 137, 0.5, 0.0, 1.0, "midtone", "Midtones")
        .Slider("Dark", "Bright", 40, 75, QDScaleHundredth),
    QD_PROPERTY(QDEffectPresetProperties, fStrength, 138, 1.0, 0.0, 1.0, "strength", "Strength")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
};
constexpr QDPropertyDesc kNocturnalTable[] = {
    QD_PROPERTY(QDEffectPresetProperties, fMidtoneLevel, 137, 0.5, 0.0, 1.0, "midtone", "Midtones")
        .Slider("Dark", "Bright", 0, 100, QDScaleHundredth),
    QD_PROPERTY(QDEffectPresetProperties, fStrength, 138, 1.0, 0.0, 1.0, "strength", "Strength")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
};
// Aqua's tint is strong at full strength, so it starts at half.
constexpr QDPropertyDesc kAquaTable[] = {
    QD_PROPERTY_VALUE(double, 5, 0.5, 0.0, 1.0, "strength", "Strength")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
};
constexpr QDPropertyDesc kStrengthTable[] = {
    QD_PROPERTY_VALUE(double, 5, 1.0, 0.0, 1.0, "strength", "Strength")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
};
} // namespace

QDEffectAmber::QDEffectAmber() : QDEffectPresetFilter(kAmberTable, 6057) {}
QDEffectColorBoost::QDEffectColorBoost() : QDEffectPresetFilter(kColorBoostTable, 6052) {}
QDEffectNocturnal::QDEffectNocturnal() : QDEffectPresetFilter(kNocturnalTable, 6059) {}
QDEffectAqua::QDEffectAqua() : QDEffectPresetFilter(kAquaTable, 6054) {}
QDEffectBlueify::QDEffectBlueify() : QDEffectPresetFilter(kStrengthTable, 6053) {}
QDEffectRedwood::QDEffectRedwood() : QDEffectPresetFilter(kStrengthTable, 6055) {}
QDEffectSunglow::QDEffectSunglow() : QDEffectPresetFilter(kStrengthTable, 6056) {}
QDEffectOrchid::QDEffectOrchid() : QDEffectPresetFilter(kStrengthTable, 6058) {}
