#include "effects/QDEffectPresetFilters.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "effects/QDEffectPixels.h"
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

inline uint8_t Luma(const LPixelColour& c)
{
    return LImgProGreyScale::Luma(c.r, c.g, c.b);
}

// ColorBlend's arithmetic on one channel, inline for the per-pixel stages.
inline uint8_t BlendChannel(uint8_t first, uint8_t second, float amount)
{
    if (amount >= -1.1920929e-7f && amount <= 1.1920929e-7f)
        return first;
    return uint8_t(int(second * amount + first * (1 - amount)) & 0xFF);
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
        const QDBlendTable strength(fStrength);
        if (!strength.IsValid())
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
        if (recipe.eStage == QDPresetChromaOverlay)
        {
            const uint8_t(*overlay)[256] = OverlayValuesTable();
            const float k = recipe.fStageAmount;
            auto boost = [&](uint8_t c, int grey)
            { return overlay[c][std::clamp(128 + int(float(c - grey) * k), 0, 255)]; };
            r = QDMapPixels(process, buffer,
                            [&](LPixelColour p)
                            {
                                const LPixelColour c(map.arBlue[p.b], map.arGreen[p.g], map.arRed[p.r], p.a);
                                const int grey = Luma(c);
                                return LPixelColour(strength.Get(p.b, boost(c.b, grey)),
                                                    strength.Get(p.g, boost(c.g, grey)),
                                                    strength.Get(p.r, boost(c.r, grey)), p.a);
                            });
        }
        else
        {
            // The second look over the first, straight from the original's channels.
            LImgProChannelMap edge = map;
            ThenLevels(edge, recipe.arEdge);
            // Squared distance from the centre in shares of the half sizes, the corners at 1, so
            // the ring has the picture's proportions and the preview's is the same.
            const int w = buffer.GetWidth(), h = buffer.GetHeight();
            std::vector<float> dx2(static_cast<size_t>(w));
            for (int x = 0; x < w; ++x)
            {
                const float d = (x + 0.5f) / w * 2 - 1;
                dx2[size_t(x)] = d * d * 0.5f;
            }
            const float inner = recipe.fInner, span = std::max(recipe.fOuter - recipe.fInner, 1e-6f);
            const int bpp = pf == B8G8R8A8 ? 4 : 3;
            r = LImgProForEachRow(
                process, h,
                [&](int y)
                {
                    const float d = (y + 0.5f) / h * 2 - 1;
                    const float dy2 = d * d * 0.5f;
                    uint8_t* q = buffer.GetRow(y);
                    for (int x = 0; x < w; ++x, q += bpp)
                    {
                        const float t = std::clamp((dx2[size_t(x)] + dy2 - inner) / span, 0.0f, 1.0f);
                        // Eased at both ends, so the ring shows no edge.
                        const float wgt = t * t * (3 - 2 * t);
                        for (int c = 0; c < 3; ++c)
                        {
                            const uint8_t* centre = c == 0 ? map.arBlue : c == 1 ? map.arGreen : map.arRed;
                            const uint8_t* outer = c == 0 ? edge.arBlue : c == 1 ? edge.arGreen : edge.arRed;
                            q[c] = strength.Get(q[c], BlendChannel(centre[q[c]], outer[q[c]], wgt));
                        }
                    }
                });
        }
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
