// The HLS adjustments against the colour model's own conversions: the vector path must give every
// colour exactly what LColourHLS and LColourRGB give, whatever the parameter.

#include <gtest/gtest.h>

#include "image/LImgProHLSAdjust.h"
#include "imgpro_test_util.h"

namespace
{
// Every red and green with a spread of blues that covers the ties (b equal to r, to g, to both),
// in both pixel formats, alpha varying.
void MakeColourCube(LImageBuffer& b, pixelformat_t pf)
{
    ASSERT_TRUE(b.AllocateNewBuffer(LImageFormat(pf, 256, 256 * 8, false)));
    const int bpp = pf == B8G8R8A8 ? 4 : 3;
    for (int y = 0; y < 256 * 8; ++y)
        for (int x = 0; x < 256; ++x)
        {
            const int g = y / 8, k = y % 8;
            const int blues[8] = {0, 255, x, g, (x + g) / 2, 37 * k + 11, 128, 127};
            uint8_t* p = b.GetRow(y) + x * bpp;
            p[0] = uint8_t(blues[k]);
            p[1] = uint8_t(g);
            p[2] = uint8_t(x);
            if (bpp == 4)
                p[3] = uint8_t(x ^ y);
        }
}

// Each pixel through the plain conversions.
void Reference(const LImgProHLSAdjust& k, LImageBuffer& b)
{
    const int bpp = b.GetPixelFormat() == B8G8R8A8 ? 4 : 3;
    for (int y = 0; y < b.GetHeight(); ++y)
        for (int x = 0; x < b.GetWidth(); ++x)
        {
            uint8_t* p = b.GetRow(y) + x * bpp;
            LColourHLS hls;
            hls = LColourRGB(p[2], p[1], p[0]);
            if (k.eMode == LImgProHLSAdjust::TurnHue)
                hls.dHue += k.dTurn;
            else if (k.eMode == LImgProHLSAdjust::OffsetSaturation)
                hls.dSaturation = std::clamp(hls.dSaturation + k.dOffset, 0.0, 1.0);
            else
                hls.dLightness = k.dAmount * k.arLightness[int(hls.dLightness * 255)] +
                                 (1 - k.dAmount) * hls.dLightness;
            LColourRGB rgb;
            rgb = hls;
            p[0] = rgb.b;
            p[1] = rgb.g;
            p[2] = rgb.r;
        }
}

void ExpectSameAsReference(const LImgProHLSAdjust& k)
{
    for (pixelformat_t pf : {B8G8R8A8, B8G8R8})
    {
        LImageBuffer fast, plain;
        MakeColourCube(fast, pf);
        MakeColourCube(plain, pf);
        TestProcess process;
        ASSERT_EQ(k.Process(process, fast), 0);
        Reference(k, plain);
        ASSERT_TRUE(SamePixels(fast, plain)) << "mode " << k.eMode << " format " << pf;
    }
}
} // namespace

TEST(LImgProHLSAdjust, EveryColourAsTheColourModelGivesIt)
{
    LImgProHLSAdjust k;
    k.eMode = LImgProHLSAdjust::TurnHue;
    for (double turn : {0.0, 0.25, 0.5, 0.913, -0.1})
    {
        k.dTurn = turn;
        ExpectSameAsReference(k);
    }
    k.eMode = LImgProHLSAdjust::OffsetSaturation;
    for (double offset : {0.0, 0.5, -0.5, 0.137, -1.0})
    {
        k.dOffset = offset;
        ExpectSameAsReference(k);
    }
    k.eMode = LImgProHLSAdjust::RemapLightness;
    for (int i = 0; i < 256; ++i)
        k.arLightness[i] = std::floor(255.0f * (i / 300.0f)) / 255.0;
    for (double amount : {0.0, 0.4, 1.0})
    {
        k.dAmount = amount;
        ExpectSameAsReference(k);
    }
}

TEST(LImgProHLSAdjust, IdentitiesAndOtherFormats)
{
    // No turn and no offset give every colour back: the conversions are exact on 8 bits.
    LImgProHLSAdjust k;
    LImageBuffer cube, copy;
    MakeColourCube(cube, B8G8R8A8);
    MakeColourCube(copy, B8G8R8A8);
    TestProcess process;
    for (auto mode : {LImgProHLSAdjust::TurnHue, LImgProHLSAdjust::OffsetSaturation})
    {
        k.eMode = mode;
        ASSERT_EQ(k.Process(process, cube), 0);
        EXPECT_TRUE(SamePixels(cube, copy));
    }
    // Whole turns are no turn.
    k.eMode = LImgProHLSAdjust::TurnHue;
    k.dTurn = 3;
    ASSERT_EQ(k.Process(process, cube), 0);
    EXPECT_TRUE(SamePixels(cube, copy));

    LImageBuffer s16;
    ASSERT_TRUE(MakeImage(s16, 5, 5, B5G6R5, 3));
    EXPECT_EQ(k.Process(process, s16), 2);
    TestProcess stop(0);
    EXPECT_EQ(k.Process(stop, cube), 1);
}
