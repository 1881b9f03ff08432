#include <gtest/gtest.h>

#include "image/LImgPro.h"
#include "imgpro_test_util.h"

// Odd sizes, so that the bands differ in height and the last one is short.
TEST(ThreadedKernels, BandsMatchOneThreadOnOddSizes)
{
    TestProcess p;
    auto src = [](LImageBuffer& b, int w, int h, pixelformat_t pf = B8G8R8A8)
    { ASSERT_TRUE(MakeImage(b, w, h, pf, uint32_t(w + h), true)); };

    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            src(out, 31, 27);
            ASSERT_EQ(LImgProMotionBlur(p, out, 6.0, 10, 12, true), 0);
        }))
        << "motion blur";
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            LImgProNoiseSettings s;
            s.iSearchRadius = 4;
            src(out, 41, 29, B8G8R8);
            ASSERT_EQ(LImgProNoiseReduction(p, out, s), 0);
        }))
        << "noise reduction";
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            LImageBuffer in;
            src(in, 301, 211);
            LImgProSS ss;
            ss.SetRadius(-14, true);
            ASSERT_EQ(ss.Process(p, out, in), 0);
        }))
        << "staircase blur";
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            LImageBuffer in;
            src(in, 37, 301);
            ASSERT_EQ(LImgProGreyScale().Process(p, out, in), 0);
        }))
        << "grey scale";
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            LImageBuffer in;
            src(in, 95, 67);
            ASSERT_TRUE(out.AllocateNewBuffer(LImageFormat(B8G8R8A8, 33, 29)));
            ASSERT_EQ(LImgProScaleLinear(p, out, in), 0);
        }))
        << "linear scaling";
}
