#include <gtest/gtest.h>

#include "image/LImgPro.h"

namespace
{
LColourHLS Hls(int r, int g, int b)
{
    LColourHLS h;
    h = LColourRGB(uint8_t(r), uint8_t(g), uint8_t(b));
    return h;
}

LColourRGB Rgb(double h, double s, double l)
{
    LColourRGB c;
    c = LColourHLS(h, s, l);
    return c;
}
} // namespace

TEST(LColourHLS, HueTiesAndWorkedValues)
{
    // Pure red: hue 0, full saturation, half lightness.
    const LColourHLS red = Hls(255, 0, 0);
    EXPECT_TRUE(red.dHue == 0 && red.dSaturation == 1 && red.dLightness == 0.5);
    // Two channels tie for largest: red and green take the green formula, red and blue the red
    // one (negative and left so), green and blue the blue one.
    EXPECT_NEAR(Hls(200, 200, 50).dHue, 1.0 / 6, 1e-12);
    EXPECT_NEAR(Hls(200, 50, 200).dHue, -1.0 / 6, 1e-12);
    EXPECT_NEAR(Hls(50, 200, 200).dHue, 0.5, 1e-12);
    // Dark colours use 510*l, light ones 510 - 510*l.
    EXPECT_NEAR(Hls(100, 50, 50).dSaturation, 50.0 / 150, 1e-12);
    EXPECT_NEAR(Hls(250, 200, 200).dSaturation, 50.0 / (510 - 450), 1e-12);
}

TEST(LColourHLS, GreysAndColoursComeBack)
{
    for (int v = 0; v < 256; ++v)
    {
        const LColourHLS g = Hls(v, v, v);
        EXPECT_TRUE(g.dHue == 0 && g.dSaturation == 0) << v;
        LColourRGB back;
        back = g;
        EXPECT_EQ(back, LColourRGB(uint8_t(v), uint8_t(v), uint8_t(v)));
    }
    int worst = 0;
    for (int r = 0; r < 256; r += 15)
        for (int g = 0; g < 256; g += 17)
            for (int b = 0; b < 256; b += 13)
            {
                LColourRGB back;
                back = Hls(r, g, b);
                worst = std::max({worst, std::abs(back.r - r), std::abs(back.g - g), std::abs(back.b - b)});
            }
    EXPECT_LE(worst, 1);
    EXPECT_EQ(Rgb(0, 1, 0.5), LColourRGB(255, 0, 0));
    EXPECT_EQ(Rgb(1.0 / 3, 1, 0.5), LColourRGB(0, 255, 0));
    EXPECT_EQ(Rgb(0.5, 1, 0.25), LColourRGB(0, 128, 128));
}

TEST(LColourHLS, HueIsPeriodic)
{
    for (double s : {0.2, 0.7, 1.0})
        for (double l : {0.1, 0.5, 0.8})
        {
            EXPECT_EQ(Rgb(-0.1, s, l), Rgb(0.9, s, l));
            EXPECT_EQ(Rgb(1.25, s, l), Rgb(0.25, s, l));
            EXPECT_EQ(Rgb(-3.6, s, l), Rgb(0.4, s, l));
        }
}

TEST(ColorBlend, EndsAndMiddle)
{
    const LPixelColour a(10, 20, 30, 40), b(110, 121, 131, 250);
    EXPECT_EQ(ColorBlend(a, b, 0.0f).ToUInt32(), a.ToUInt32());
    EXPECT_EQ(ColorBlend(a, b, 1e-7f).ToUInt32(), a.ToUInt32());
    EXPECT_EQ(ColorBlend(a, b, -1e-7f).ToUInt32(), a.ToUInt32());
    EXPECT_EQ(ColorBlend(a, b, 1.0f).ToUInt32(), LPixelColour(110, 121, 131, 40).ToUInt32());
    // Halves are truncated: 70.5 and 80.5 go down.
    EXPECT_EQ(ColorBlend(a, b, 0.5f).ToUInt32(), LPixelColour(60, 70, 80, 40).ToUInt32());
}

TEST(Round, HalvesAwayFromZero)
{
    for (auto [v, want] : {std::pair{2.5, 3}, {-2.5, -3}, {2.49, 2}, {-0.5, -1}, {-0.49, 0}})
        EXPECT_EQ(Round(v), want) << v;
    EXPECT_EQ(Round(1.5f), 2.0f);
    EXPECT_EQ(Round(-1.5f), -2.0f);
}
