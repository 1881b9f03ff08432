#include <gtest/gtest.h>

#include "image/LImgPro.h"
#include "imgpro_test_util.h"

TEST(LApplyImageProcess, UnknownFormatsFailUntouched)
{
    LImageBuffer img, copy;
    ASSERT_TRUE(MakeImage(img, 5, 4, R8G8B8A8, 1));
    ASSERT_TRUE(MakeImage(copy, 5, 4, R8G8B8A8, 1));
    LImgProNegative neg;
    EXPECT_EQ(LApplyImageProcess(img, neg), LProcessResultFailed);
    EXPECT_TRUE(SamePixels(img, copy));
    LImageBuffer yuv;
    ASSERT_TRUE(yuv.AllocateNewBuffer(LImageFormat(YUV420P, 4, 4)));
    LImageProcessBlackAndWhite bw;
    EXPECT_EQ(LApplyImageProcess(yuv, bw), LProcessResultFailed);
    // Negative has no 16-bit form.
    LImageBuffer s16;
    ASSERT_TRUE(MakeImage(s16, 3, 3, B5G6R5, 1));
    EXPECT_EQ(LApplyImageProcess(s16, neg), LProcessResultFailed);
}

TEST(ProcessImagePixelEffect, ProgressEveryRowOnShortImagesAndStops)
{
    LImageBuffer img;
    ASSERT_TRUE(MakeImage(img, 3, 7, B8G8R8A8, 2));
    TestProcess p;
    LImgProNegative neg;
    ASSERT_EQ(LApplyImageProcess(img, neg, p), 0);
    ASSERT_EQ(p.arProgress.size(), 8u);
    EXPECT_EQ(p.arProgress[0], 0.0);
    for (int i = 1; i <= 7; ++i)
        EXPECT_DOUBLE_EQ(p.arProgress[i], i / 7.0);

    // Taller images report about every tenth.
    ASSERT_TRUE(MakeImage(img, 3, 95, B8G8R8, 2));
    TestProcess tall;
    ASSERT_EQ(LApplyImageProcess(img, neg, tall), 0);
    EXPECT_TRUE(tall.arProgress.size() >= 10u && tall.arProgress.size() <= 12u);

    // A stop before the third row leaves rows 2 and later alone.
    LImageBuffer a, orig;
    ASSERT_TRUE(MakeImage(a, 4, 6, B8G8R8A8, 3));
    ASSERT_TRUE(MakeImage(orig, 4, 6, B8G8R8A8, 3));
    TestProcess stop(2);
    EXPECT_EQ(LApplyImageProcess(a, neg, stop), LProcessResultCancelled);
    for (int i = 0; i < 24; ++i)
    {
        const uint8_t *q = Px(a, i % 4, i / 4), *o = Px(orig, i % 4, i / 4);
        EXPECT_TRUE(q[0] == (i < 8 ? uint8_t(~o[0]) : o[0]) && q[3] == o[3]) << i; // alpha copied
    }
}

TEST(SimpleKernels, WorkedPixelsOverFormats)
{
    // Black and white on a short format widens, computes in 8 bits and narrows: full red is
    // 255*76 >> 8 = 75, which keeps 9, 18 and 9 in the 5-6-5 word.
    LImageBuffer s16;
    ASSERT_TRUE(s16.AllocateNewBuffer(LImageFormat(B5G6R5, 1, 1)));
    *reinterpret_cast<uint16_t*>(s16.GetData()) = 31 << 11;
    LImageProcessBlackAndWhite bw;
    ASSERT_EQ(LApplyImageProcess(s16, bw), 0);
    EXPECT_EQ(*reinterpret_cast<uint16_t*>(s16.GetData()), 9 | 18 << 5 | 9 << 11);
    // The alpha flag of 1-5-5-5 survives.
    ASSERT_TRUE(s16.AllocateNewBuffer(LImageFormat(B5G5R5A1, 1, 1)));
    *reinterpret_cast<uint16_t*>(s16.GetData()) = 0x8000 | 31 << 5;
    ASSERT_EQ(LApplyImageProcess(s16, bw), 0);
    const int y = (255 * 155) >> 8;
    EXPECT_EQ(*reinterpret_cast<uint16_t*>(s16.GetData()),
              0x8000 | (y >> 3) | (y >> 3) << 5 | (y >> 3) << 10);

    LImageBuffer img, grey;
    ASSERT_TRUE(img.AllocateNewBuffer(LImageFormat(B8G8R8A8, 2, 1)));
    memcpy(Px(img, 0, 0), (const uint8_t[]){0, 0, 255, 9}, 4);
    memcpy(Px(img, 1, 0), (const uint8_t[]){30, 200, 10, 77}, 4);
    TestProcess p;
    ASSERT_EQ(LImgProGreyScale().Process(p, grey, img), 0);
    // trunc(0.2126*255) = 54; trunc(0.2126*10 + 0.7152*200 + 0.0722*30) = 147.
    EXPECT_EQ(memcmp(Px(grey, 0, 0), (const uint8_t[]){54, 54, 54, 9}, 4), 0);
    EXPECT_EQ(memcmp(Px(grey, 1, 0), (const uint8_t[]){147, 147, 147, 77}, 4), 0);
    ASSERT_EQ(p.arProgress.size(), 2u); // 0 and after the one row

    LImageBuffer rgb;
    ASSERT_TRUE(rgb.AllocateNewBuffer(LImageFormat(B8G8R8, 2, 1)));
    memcpy(Px(rgb, 0, 0), (const uint8_t[]){30, 200, 10, 1, 2, 3}, 6);
    ASSERT_EQ(LApplyImageProcess(rgb, bw), 0);
    EXPECT_EQ(Px(rgb, 0, 0)[1], (10 * 76 + 200 * 155 + 30 * 25) >> 8);
    LImgProNegative neg;
    ASSERT_EQ(LApplyImageProcess(rgb, neg), 0);
    EXPECT_EQ(Px(rgb, 1, 0)[2], uint8_t(~((3 * 76 + 2 * 155 + 1 * 25) >> 8)));
    ASSERT_EQ(LImgProGreyScale().Process(p, rgb), 0);
    EXPECT_EQ(Px(rgb, 1, 0)[0], Px(rgb, 1, 0)[2]);
}
