// The border outlines: distances worked out by hand for the rounded rectangle and the oval, and
// what drawing along them does to the pixels on either side.

#include <gtest/gtest.h>

#include <cmath>

#include "image/LImageTransform.h"
#include "image/LImgProBorder.h"
#include "imgpro_test_util.h"

TEST(LImgProBorder, DistancesToTheOutline)
{
    // 101 x 51 pulled in by a tenth of the shorter side: 5.1 on every side.
    const LFrameShape box = LFrameShape::Bounds(101, 51, 0.1);
    EXPECT_DOUBLE_EQ(box.dLeft, 5.1);
    EXPECT_DOUBLE_EQ(box.dBottom, 50 - 5.1);
    const LFrameShape rect = box.Path(false, 0.0, 0.0);
    EXPECT_NEAR(rect.Distance(50, 25), -(25 - 5.1), 1e-9) << "the centre, nearest the top and bottom";
    EXPECT_NEAR(rect.Distance(0, 25), 5.1, 1e-9);
    EXPECT_NEAR(rect.Distance(0, 0), std::hypot(5.1, 5.1), 1e-9) << "beyond a sharp corner";

    // Round corners: half the shorter half side as the radius.
    const LFrameShape round = box.Path(false, 0.5, 0.0);
    const double r = 0.5 * (44.9 - 5.1) / 2;
    EXPECT_NEAR(round.dCornerRadius, r, 1e-9);
    EXPECT_NEAR(round.Distance(5.1 + r, 5.1 + r), -r, 1e-9) << "the corner circle's centre";
    EXPECT_NEAR(round.Distance(5.1, 5.1), r * std::sqrt(2.0) - r, 1e-9);

    // The oval fills the box; a wide aspect lowers it, a tall one narrows it.
    const LFrameShape oval = box.Path(true, 0.0, 0.0);
    EXPECT_NEAR(oval.Distance(50 + 44.9, 25), 0, 1e-9);
    EXPECT_NEAR(oval.Distance(50, 25 - 19.9), 0, 1e-9);
    EXPECT_NEAR(oval.Distance(50 + 54.9, 25), 10, 0.5);
    EXPECT_NEAR(box.Path(true, 0, 1.0).Distance(50, 25 - 9.95), 0, 1e-9);
    EXPECT_NEAR(box.Path(true, 0, -1.0).Distance(50 + 22.45, 25), 0, 1e-9);
}

TEST(LImgProBorder, TheColourLiesOutsideAndTheShadowInside)
{
    for (pixelformat_t pf : {B8G8R8A8, B8G8R8})
    {
        LImageBuffer image;
        image.AllocateNewBuffer(LImageFormat(pf, 40, 30, false));
        image.Clear(LPixelColour(200, 200, 200, 100));
        const int bpp = pf == B8G8R8A8 ? 4 : 3;
        auto px = [&](int x, int y) { return image.GetRow(y) + x * bpp; };
        // A box 5 pixels in: the outline passes through the centres of row 5 and column 5.
        LFrameShape shape = LFrameShape::Bounds(40, 30, 5.0 / 30).Path(false, 0, 0);
        TestProcess process;
        ASSERT_EQ(LImgProDrawFrameShadow(process, image, shape, 4, 255), 0);
        // Falling off with the square: full at the outline, (1 - 2/4)^2 two pixels in.
        EXPECT_EQ(px(20, 5)[0], 0);
        EXPECT_EQ(px(20, 7)[0], (200 * (256 - int(0.25 * 256))) >> 8);
        EXPECT_EQ(px(20, 9)[0], 200);
        EXPECT_EQ(px(20, 4)[0], 200) << "outside has no shadow";

        image.Clear(LPixelColour(200, 200, 200, 100));
        ASSERT_EQ(LImgProDrawFrame(process, image, shape, LPixelColour(10, 20, 30, 255)), 0);
        EXPECT_EQ(px(0, 0)[0], 10);
        EXPECT_EQ(px(0, 0)[2], 30);
        EXPECT_EQ(px(20, 4)[1], 20);
        // On the outline half of each.
        EXPECT_EQ(px(20, 5)[0], (10 * 128 + 200 * 128) >> 8);
        EXPECT_EQ(px(20, 6)[0], 200);
        if (bpp == 4)
        {
            EXPECT_EQ(px(0, 0)[3], 255) << "the border is opaque";
            EXPECT_EQ(px(20, 15)[3], 100);
        }
    }
    LImageBuffer small;
    small.AllocateNewBuffer(LImageFormat(B5G6R5, 4, 4, false));
    TestProcess process;
    EXPECT_EQ(LImgProDrawFrame(process, small, LFrameShape(), LPixelColour(0, 0, 0, 255)), 2);
}
