// The tone and colour effects against references written from their formulas, pixel by pixel in
// plain scalar code, on pictures whose every pixel differs. The effects' own fast paths (tables,
// bands, vector code) must give the same bytes; so must the plain paths the vector ones stand in
// for, which each test also runs.

#include <algorithm>
#include <cmath>
#include <functional>

#include "effects/QDEffectAutoFix.h"
#include "effects/QDEffectAutoLevels.h"
#include "effects/QDEffectBalance.h"
#include "effects/QDEffectBrightness.h"
#include "effects/QDEffectContrast.h"
#include "effects/QDEffectCurves.h"
#include "effects/QDEffectExposure.h"
#include "effects/QDEffectGradient.h"
#include "effects/QDEffectGreyScale.h"
#include "effects/QDEffectHue.h"
#include "effects/QDEffectLevels.h"
#include "effects/QDEffectNegative.h"
#include "effects/QDEffectSaturation.h"
#include "effects/QDEffectSepia.h"
#include "effects/QDEffectTemperature.h"
#include "effects/QDEffectTint.h"
#include "effects/QDEffectVector.h"
#include "effects_test_support.h"
#include "image/LImageTransform.h"
#include "image/LImgProAutoLevels.h"
#include "image/LImgProCurves.h"
#include "image/LImgProSS.h"
#include "image/LImgProTemperature.h"

namespace
{
using PixelFn = std::function<void(uint8_t& b, uint8_t& g, uint8_t& r, uint8_t& a)>;

// The reference: fn on every pixel of a copy.
void Reference(LImageBuffer& out, const LImageBuffer& in, const PixelFn& fn)
{
    CopyPicture(out, in);
    const int bpp = in.GetPixelFormat() == B8G8R8A8 ? 4 : 3;
    for (int y = 0; y < in.GetHeight(); ++y)
        for (int x = 0; x < in.GetWidth(); ++x)
        {
            uint8_t* p = out.GetRow(y) + x * bpp;
            uint8_t a = bpp == 4 ? p[3] : 255;
            fn(p[0], p[1], p[2], a);
            if (bpp == 4)
                p[3] = a;
        }
}

LProcessResult Render(QDImagePipelineElement& e, LImageBuffer& b)
{
    RecordingProcess process;
    e.SetDimensions(LBoundingBox2T<double>(0, 0, b.GetWidth(), b.GetHeight()));
    return e.RenderHighResImage(process, b);
}

// The effect equals the reference in both formats, with and without the vector paths, at a width
// that leaves a tail behind every vector step.
void ExpectMatches(QDImagePipelineElement& e, const PixelFn& fn, int w = 29, int h = 11)
{
    for (pixelformat_t pf : {B8G8R8A8, B8G8R8})
        for (bool vector : {true, false})
        {
            SCOPED_TRACE(testing::Message() << "format " << pf << (vector ? " vector" : " plain"));
            QDSetVectorPaths(vector);
            LImageBuffer in, out, expected;
            MakeTestPicture(in, w, h, pf);
            CopyPicture(out, in);
            ASSERT_EQ(Render(e, out), 0);
            Reference(expected, in, fn);
            EXPECT_TRUE(SamePixels(out, expected));
        }
    QDSetVectorPaths(true);
}

uint8_t Blend(uint8_t first, uint8_t second, float amount)
{
    if (std::fabs(amount) <= 1.1920929e-7f)
        return first;
    return uint8_t(int(second * amount + first * (1 - amount)) & 0xFF);
}

void ThroughHLS(uint8_t& b, uint8_t& g, uint8_t& r, const std::function<void(LColourHLS&)>& change)
{
    LColourHLS hls;
    hls = LColourRGB(r, g, b);
    change(hls);
    LColourRGB rgb;
    rgb = hls;
    r = rgb.r, g = rgb.g, b = rgb.b;
}

// The table of a new curve with these points added, drawn by the kernel (its spline has tests of
// its own).
std::vector<uint8_t> CurveTable(std::initializer_list<std::pair<int, int>> points)
{
    LCurveSettings c;
    for (auto [x, y] : points)
        c.AddPoint(x, y);
    c.UpdateCurveValues();
    return std::vector<uint8_t>(c.arValues, c.arValues + 256);
}
} // namespace

TEST(QDToneEffects, BrightnessAndContrastBendTheCurve)
{
    int x, y;
    EXPECT_FALSE(QDEffectBrightness::CurvePoint(0.0, x, y));
    ASSERT_TRUE(QDEffectBrightness::CurvePoint(1.0, x, y));
    EXPECT_EQ(std::pair(x, y), std::pair(128, 254));
    ASSERT_TRUE(QDEffectBrightness::CurvePoint(-1.0, x, y));
    EXPECT_EQ(std::pair(x, y), std::pair(254, 128));
    // (1 - 0.3)*128 + 0.3*254 = 165.8 in float.
    ASSERT_TRUE(QDEffectBrightness::CurvePoint(0.3, x, y));
    EXPECT_EQ(std::pair(x, y), std::pair(128, 165));
    EXPECT_EQ(QDEffectContrast::PointOffset(1.0), 16);
    EXPECT_EQ(QDEffectContrast::PointOffset(-1.0), -16);
    EXPECT_EQ(QDEffectContrast::PointOffset(0.53), 8); // 8.48 rounds down

    QDEffectBrightness brightness;
    brightness.InitProperties(-0.4);
    const auto dark = CurveTable({{178, 128}}); // (0.6*128 + 0.4*254) = 178.4
    ExpectMatches(brightness, [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&)
                  { b = dark[b], g = dark[g], r = dark[r]; });
    QDEffectContrast contrast;
    contrast.InitProperties(1.0);
    const auto s = CurveTable({{80, 48}, {176, 208}});
    ExpectMatches(contrast,
                  [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&) { b = s[b], g = s[g], r = s[r]; });
}

TEST(QDToneEffects, ExposureTemperatureAndNegative)
{
    QDEffectExposure exposure;
    exposure.InitProperties(0.5);
    uint8_t table[256];
    const double k = std::pow(10.0, 0.5);
    for (int i = 0; i < 256; ++i)
        table[i] = uint8_t(std::clamp((1 - std::exp(k * std::log(1 - i / 256.0))) * 256 + 0.5, 0.0, 255.0));
    EXPECT_EQ(table[128], 227); // (1 - 0.5^3.1623) * 256 + 0.5 = 227.9
    ExpectMatches(exposure, [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&)
                  { b = table[b], g = table[g], r = table[r]; });

    // The slider's ratio end, 0.5, is the matrix's 64.
    QDEffectTemperature temperature;
    temperature.InitProperties(0.5);
    const LImgProTemperature m(64);
    EXPECT_EQ(m.m3, 25);
    ExpectMatches(temperature,
                  [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&)
                  {
                      const int R = r, G = g, B = b;
                      r = uint8_t(std::min(255, (m.m0 * R + m.m3 * G + m.m6 * B) >> 8));
                      g = uint8_t(std::min(255, (m.m1 * R + m.m4 * G + m.m7 * B) >> 8));
                      b = uint8_t(std::min(255, (m.m2 * R + m.m5 * G + m.m8 * B) >> 8));
                  });

    QDEffectNegative negative;
    ExpectMatches(negative, [](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&)
                  { b = uint8_t(255 - b), g = uint8_t(255 - g), r = uint8_t(255 - r); });
}

TEST(QDToneEffects, HueAndSaturationGoThroughHLS)
{
    QDEffectHue hue;
    for (double rotation : {0.25, 1.25, -0.4})
    {
        hue.InitProperties(rotation);
        const double turn = rotation - std::floor(rotation);
        ExpectMatches(hue, [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&)
                      { ThroughHLS(b, g, r, [&](LColourHLS& h) { h.dHue += turn; }); });
    }
    // A whole turn and a quarter acts as a quarter.
    LImageBuffer a, b;
    MakeTestPicture(a, 9, 4);
    CopyPicture(b, a);
    hue.InitProperties(1.25);
    ASSERT_EQ(Render(hue, a), 0);
    hue.InitProperties(0.25);
    ASSERT_EQ(Render(hue, b), 0);
    EXPECT_TRUE(SamePixels(a, b));

    QDEffectSaturation saturation;
    // The slider's end is the ratio 0.5: half a unit of saturation, not a whole one.
    const QDPropertyDesc& row = saturation.GetPropertyTable()[0];
    EXPECT_EQ(row.SliderToValue(100), 0.5);
    for (double offset : {0.5, -0.3, 1.0})
    {
        saturation.InitProperties(offset);
        ExpectMatches(saturation,
                      [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&)
                      {
                          ThroughHLS(b, g, r,
                                     [&](LColourHLS& h)
                                     { h.dSaturation = std::clamp(h.dSaturation + offset, 0.0, 1.0); });
                      });
    }
}

TEST(QDToneEffects, SepiaGreyScaleAndTint)
{
    QDEffectSepia sepia;
    for (double s : {1.0, 0.35})
    {
        sepia.InitProperties(s);
        ExpectMatches(sepia,
                      [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&)
                      {
                          const double R = r, G = g, B = b;
                          const double tr = std::min(255.0, 0.393 * R + 0.769 * G + 0.189 * B);
                          const double tg = std::min(255.0, 0.349 * R + 0.686 * G + 0.168 * B);
                          const double tb = std::min(255.0, 0.272 * R + 0.534 * G + 0.131 * B);
                          r = uint8_t(int(R + (tr - R) * s));
                          g = uint8_t(int(G + (tg - G) * s));
                          b = uint8_t(int(B + (tb - B) * s));
                      });
    }

    QDEffectGreyScale grey;
    const double weights[4][3] = {{0.2126, 0.7152, 0.0722}, {1, 0, 0}, {0, 2.0 / 3.0, 1.0 / 3.0}, {0, 0, 1}};
    for (int filter = 0; filter < 4; ++filter)
        for (float strength : {1.0f, 0.6f})
        {
            SCOPED_TRACE(testing::Message() << "filter " << filter << " strength " << strength);
            grey.InitProperties({strength, filter});
            const double* w = weights[filter];
            ExpectMatches(grey,
                          [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&)
                          {
                              const uint8_t y = uint8_t(int(r * w[0] + g * w[1] + b * w[2]));
                              b = Blend(b, y, strength), g = Blend(g, y, strength), r = Blend(r, y, strength);
                          });
        }
    double wr, wg, wb;
    QDEffectGreyScale::GetFilter(7, wr, wg, wb);
    EXPECT_EQ(wr, 1.0 / 3.0);
    EXPECT_EQ(wg, 1.0 / 3.0);

    QDEffectTint tint;
    tint.InitProperties({0.3, 0.08, 0.6, 0.9});
    LColourRGB t;
    t = LColourHLS(0.08, 0.9, 0.6);
    ExpectMatches(tint,
                  [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&)
                  {
                      r = uint8_t(int((t.r - r) * 0.3 + r));
                      g = uint8_t(int((t.g - g) * 0.3 + g));
                      b = uint8_t(int((t.b - b) * 0.3 + b));
                  });
}

TEST(QDToneEffects, ColorBalanceWeighsThreeGroupsOfGains)
{
    QDEffectBalanceProperties p;
    for (int group = 0; group < 3; ++group)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(QDEffectBalance::Gain(p, group, c), 1.0f) << "the defaults are no change";
    p.arBalance[2][0] = 1; // highlights toward red: 2*(1 - (0 - 0.5)) = 3, capped at 2
    p.arBalance[1][1] = -0.5f;
    p.arBalance[0][2] = 0.25f;
    p.arBalance[0][0] = -0.8f;
    // The gains, worked out from the formulas by hand: [group][red, green, blue].
    const float gains[3][3] = {
        {0.0f, 0.5f, 1.0f},      // shadows: 2*(-0.8 - (0.25 - 0.5)) < 0; 2*(0 - (0.25 - 0.5)); 1.5 capped
        {1.125f, 0.75f, 1.125f}, // midtones: (0 - (-0.25 - 1))*0.5 + 0.5; (-0.5 + 1)*0.5 + 0.5
        {2.0f, 1.0f, 1.0f},      // highlights: 2*(1 + 0.5) = 3 capped at 2; the others only 1
    };
    for (int group = 0; group < 3; ++group)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(QDEffectBalance::Gain(p, group, c), gains[group][c]) << group << " " << c;
    QDEffectBalance balance;
    balance.InitProperties(p);
    ExpectMatches(
        balance,
        [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&)
        {
            const int avg = (r + g + b) / 3, d = 128 - avg;
            const float ws = std::max(0.0f, d / 128.0f), wh = std::max(0.0f, -d / 128.0f);
            const float wm = 1 - std::abs(d) / 128.0f;
            uint8_t* c[3] = {&r, &g, &b};
            for (int k = 0; k < 3; ++k)
            {
                const float f = gains[0][k] * ws + gains[1][k] * wm + gains[2][k] * wh;
                *c[k] = uint8_t(int(std::clamp(*c[k] * f, 0.0f, 255.0f)));
            }
        },
        37, 9);
}

TEST(QDToneEffects, LevelsAndCurvesAreTheirKernelsAndCountTheirInput)
{
    QDEffectLevels levels;
    QDEffectLevelsProperties lp;
    lp.arLevels[0] = {20, 230, 0.62f, 0, 255};
    lp.arLevels[1] = {0, 200, 0.5f, 0, 255};
    lp.arLevels[3] = {40, 255, 0.3f, 0, 255};
    levels.InitProperties(lp);
    QDEffectCurves curves;
    QDEffectCurvesProperties cp;
    cp.arCurves[0].AddPoint(90, 60);
    cp.arCurves[2].AddPoint(128, 170);
    curves.InitProperties(cp);
    // Without a listening panel nothing is counted; with one, every full render counts.
    struct Listener : QDHistogramNotifyee
    {
        void EvHistogramsChanged(const QDHistograms&) override {}
    } listener;
    for (pixelformat_t pf : {B8G8R8A8, B8G8R8})
    {
        LImageBuffer in, out, expected;
        MakeTestPicture(in, 23, 13, pf);
        for (bool wanted : {false, true})
        {
            SCOPED_TRACE(testing::Message() << "format " << pf << (wanted ? " counting" : ""));
            if (wanted)
            {
                levels.AddHistogramNotifyee(&listener);
                curves.AddHistogramNotifyee(&listener);
            }
            CopyPicture(out, in);
            CopyPicture(expected, in);
            ASSERT_EQ(Render(levels, out), 0);
            LImgProColorLevels k(lp.arLevels[0], lp.arLevels[1], lp.arLevels[2], lp.arLevels[3]);
            ASSERT_EQ(LApplyImageProcess(expected, k), 0);
            EXPECT_TRUE(SamePixels(out, expected));

            CopyPicture(out, in);
            CopyPicture(expected, in);
            ASSERT_EQ(Render(curves, out), 0);
            QDEffectCurvesProperties drawn = cp;
            for (LCurveSettings& c : drawn.arCurves)
                c.UpdateCurveValues();
            LImgProCurves kc(drawn.arCurves[0], drawn.arCurves[1], drawn.arCurves[2], drawn.arCurves[3]);
            ASSERT_EQ(LApplyImageProcess(expected, kc), 0);
            EXPECT_TRUE(SamePixels(out, expected));
        }
        // The counts, as the panel gets them, against a count of the input.
        QDHistograms h, reference = {};
        LProcessInterfaceVoid silent;
        ASSERT_EQ(QDCountHistograms(silent, in, h), 0);
        const int bpp = pf == B8G8R8A8 ? 4 : 3;
        for (int y = 0; y < in.GetHeight(); ++y)
            for (int x = 0; x < in.GetWidth(); ++x)
            {
                const uint8_t* p = in.GetRow(y) + x * bpp;
                ++reference.arCounts[0][(p[0] + p[1] + p[2]) / 3];
                ++reference.arCounts[1][p[2]];
                ++reference.arCounts[2][p[1]];
                ++reference.arCounts[3][p[0]];
            }
        EXPECT_EQ(memcmp(&h, &reference, sizeof h), 0);
        LImageBuffer mapped;
        CopyPicture(mapped, in);
        LImgProChannelMap identity;
        QDHistograms fused;
        ASSERT_EQ(QDMapChannelsCounting(silent, mapped, identity, &fused), 0);
        EXPECT_EQ(memcmp(&fused, &reference, sizeof h), 0);
    }
}

TEST(QDToneEffects, AutoLevelsStretchesEachChannelByItsHistogram)
{
    LImageBuffer in;
    MakeTestPicture(in, 40, 30);
    // The plain algorithm: 1% clipped at each end of each channel, then the stretch.
    int lo[3], hi[3];
    const int bpp = 4;
    for (int c = 0; c < 3; ++c)
    {
        uint64_t hist[256] = {};
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x)
                ++hist[in.GetRow(y)[x * bpp + 2 - c]];
        const uint64_t t = 40 * 30 / 99;
        uint64_t sum = 0;
        for (lo[c] = 0; lo[c] < 255 && (sum += hist[lo[c]]) < t; ++lo[c])
        {
        }
        sum = 0;
        for (hi[c] = 255; hi[c] > 0 && (sum += hist[hi[c]]) < t; --hi[c])
        {
        }
    }
    auto stretch = [&](int v, int c)
    {
        const int span = hi[c] - lo[c] + 1;
        return uint8_t(v <= lo[c] ? 0 : v >= hi[c] ? 255 : ((v - lo[c]) << 8) / span);
    };
    QDEffectAutoLevels autoLevels;
    for (double strength : {1.0, 0.45})
    {
        autoLevels.InitProperties(strength);
        LImageBuffer out, expected;
        CopyPicture(out, in);
        ASSERT_EQ(Render(autoLevels, out), 0);
        Reference(expected, in,
                  [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t&)
                  {
                      r = Blend(r, stretch(r, 0), float(strength));
                      g = Blend(g, stretch(g, 1), float(strength));
                      b = Blend(b, stretch(b, 2), float(strength));
                  });
        EXPECT_TRUE(SamePixels(out, expected)) << strength;
    }
    // A flat channel sends its one value to the middle (from 99 pixels on: below, nothing clips).
    LImageBuffer flat;
    LCreateBlankImage(flat, 10, 10, LPixelColour(10, 200, 90, 77));
    autoLevels.InitProperties(1.0);
    ASSERT_EQ(Render(autoLevels, flat), 0);
    EXPECT_EQ(LPixelColour::FromUInt32(*reinterpret_cast<uint32_t*>(flat.GetRow(2))),
              LPixelColour(128, 128, 128, 77));
}

TEST(QDToneEffects, AutoFixIsLevelsEqualisationAndSharpening)
{
    LImageBuffer in;
    MakeTestPicture(in, 31, 17);
    LProcessInterfaceVoid silent;
    for (double strength : {1.0, 0.5})
    {
        SCOPED_TRACE(strength);
        // The plain chain: levels blended two thirds in, lightness equalised 0.4 of the way, a
        // sharpening of radius 1 (the alpha kept), and the strength blend.
        LImageBuffer image, scratch, expected;
        CopyPicture(image, in);
        ASSERT_EQ(LImgProAutoLevels().Process(silent, scratch, image), 0);
        for (int y = 0; y < 17; ++y)
            for (int x = 0; x < 31; ++x)
            {
                uint32_t* p = reinterpret_cast<uint32_t*>(image.GetRow(y)) + x;
                const uint32_t* s = reinterpret_cast<const uint32_t*>(scratch.GetRow(y)) + x;
                *p = ColorBlend(LPixelColour::FromUInt32(*p), LPixelColour::FromUInt32(*s), 0.67f).ToUInt32();
            }
        uint64_t hist[256] = {};
        for (int y = 0; y < 17; ++y)
            for (int x = 0; x < 31; ++x)
            {
                const uint8_t* p = image.GetRow(y) + 4 * x;
                LColourHLS h;
                h = LColourRGB(p[2], p[1], p[0]);
                ++hist[int(Round(h.dLightness * 255))];
            }
        float lut[256], sum = 0;
        for (int i = 0; i < 256; ++i)
        {
            lut[i] = std::floor(255.0f * sum);
            sum += float(hist[i]) / float(31 * 17);
        }
        for (int y = 0; y < 17; ++y)
            for (int x = 0; x < 31; ++x)
            {
                uint8_t* p = image.GetRow(y) + 4 * x;
                ThroughHLS(p[0], p[1], p[2],
                           [&](LColourHLS& h)
                           {
                               const int i = int(h.dLightness * 255);
                               // The amount is the float 0.4, taken to double.
                               const double amount = 0.4f;
                               h.dLightness = amount * (lut[i] / 255.0) + (1 - amount) * h.dLightness;
                           });
            }
        LImgProSS ss;
        ss.SetRadius(1.0, true);
        LImageBuffer sharpened;
        ASSERT_EQ(ss.Process(silent, sharpened, image), 0);
        CopyPicture(expected, sharpened);
        for (int y = 0; y < 17; ++y)
            for (int x = 0; x < 31; ++x)
            {
                uint8_t* e = expected.GetRow(y) + 4 * x;
                const uint8_t* o = in.GetRow(y) + 4 * x;
                e[3] = o[3];
                for (int c = 0; c < 3; ++c)
                    e[c] = Blend(o[c], e[c], strength < 1 ? float(strength) : 1.0f);
            }
        QDEffectAutoFix fix;
        fix.InitProperties(strength);
        LImageBuffer out;
        CopyPicture(out, in);
        ASSERT_EQ(Render(fix, out), 0);
        EXPECT_TRUE(SamePixels(out, expected));
    }
}

TEST(QDToneEffects, GradientMapMixesOverlaysAndMakesOpaque)
{
    QDEffectGradient gradient;
    QDEffectGradientProperties p;
    p.RemoveAllMarkers();
    p.AddMarker(LPixelColour(120, 20, 40, 255), 0.1f);
    p.AddMarker(LPixelColour(30, 210, 250, 9), 0.8f); // alpha of a marker never counts
    p.AddMarker(LPixelColour(200, 160, 20, 255), 0.45f);
    LList<LGradientMarker> list;
    p.ToList(list);
    const LImgProGradientMap map(list);
    for (bool overlay : {false, true})
        for (float s : {1.0f, 0.3f})
        {
            SCOPED_TRACE(testing::Message() << (overlay ? "overlay " : "mix ") << s);
            p.bOverlay = overlay;
            p.fStrength = s;
            gradient.InitProperties(p);
            ExpectMatches(gradient,
                          [&](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t& a)
                          {
                              const LPixelColour m = map.arColors[(r * 76 + g * 155 + b * 25) >> 8];
                              auto one = [&](uint8_t orig, uint8_t mapped)
                              {
                                  if (overlay)
                                  {
                                      const double x = orig / 255.0, y = mapped / 255.0;
                                      mapped = uint8_t(x < 0.5 ? Round(y * 2 * x * 255)
                                                               : Round((1 - 2 * (1 - x) * (1 - y)) * 255));
                                  }
                                  return uint8_t(int(float(mapped) * s + Round(float(orig) * (1 - s))));
                              };
                              b = one(b, m.b), g = one(g, m.g), r = one(r, m.r), a = 255;
                          });
        }
    // One marker maps every pixel to its colour.
    p.RemoveAllMarkers();
    p.AddMarker(LPixelColour(5, 6, 7, 255), 0.3f);
    p.bOverlay = false;
    p.fStrength = 1;
    gradient.InitProperties(p);
    ExpectMatches(gradient,
                  [](uint8_t& b, uint8_t& g, uint8_t& r, uint8_t& a) { b = 5, g = 6, r = 7, a = 255; });
    EXPECT_FALSE(p.DeleteMarker(0)) << "a gradient keeps one colour";
}
