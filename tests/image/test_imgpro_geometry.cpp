#include <gtest/gtest.h>

#include <cmath>

#include "image/LImgPro.h"
#include "imgpro_test_util.h"

namespace
{
uint8_t L(int a, int b, int t)
{
    return uint8_t(((a << 8) + (b - a) * t) >> 8);
}

// A one-row 24-bit image whose blue channel holds the values.
void Row24(LImageBuffer& b, const std::vector<int>& v, int h = 2)
{
    ASSERT_TRUE(b.AllocateNewBuffer(LImageFormat(B8G8R8, int(v.size()), h)));
    for (int y = 0; y < h; ++y)
    {
        int x = 0;
        for (int c : v)
        {
            uint8_t* p = Px(b, x++, y);
            p[0] = p[1] = p[2] = uint8_t(c);
        }
    }
}

std::vector<int> Blue(const LImageBuffer& b, int y = 0)
{
    std::vector<int> v;
    for (int x = 0; x < b.GetWidth(); ++x)
        v.push_back(Px(b, x, y)[0]);
    return v;
}

int ScaleTo(LImageBuffer& dst, const LImageBuffer& src, int w, int h)
{
    if (!dst.AllocateNewBuffer(LImageFormat(src.GetPixelFormat(), w, h)))
        return -1;
    LImgProScaleBi bi;
    return LApplyImageProcess(dst, src, bi);
}
} // namespace

TEST(LImgProScaleBi, WorkedLines)
{
    // Enlarging interpolates in steps of 1/255; shrinking 5 to 3 by the error term puts the
    // second pixel on b and the third between c and d.
    const std::vector<int> cases[][2] = {
        {{10, 200}, {10, L(10, 200, 127), 200}},
        {{0, 255}, {0, 126, 255, 255}},
        {{0, 100, 200}, {0, L(0, 100, 127), 100, L(100, 200, 127), 200}},
        {{10, 20, 30, 40, 50}, {10, 20, L(30, 40, 127)}},
    };
    for (const auto& c : cases)
    {
        LImageBuffer src, dst;
        Row24(src, c[0]);
        ASSERT_EQ(ScaleTo(dst, src, int(c[1].size()), 2), 0);
        EXPECT_EQ(Blue(dst), c[1]);
    }
}

TEST(LImgProScaleBi, RowsSameSizeAndFailures)
{
    // 2x2 to 3x3: the centre is the mean of the means.
    LImageBuffer src, dst;
    ASSERT_TRUE(src.AllocateNewBuffer(LImageFormat(B8G8R8A8, 2, 2)));
    const uint8_t v[4] = {0, 100, 50, 250};
    for (int i = 0; i < 4; ++i)
        memset(Px(src, i & 1, i >> 1), v[i], 4);
    ASSERT_EQ(ScaleTo(dst, src, 3, 3), 0);
    const int top = L(0, 100, 127), bottom = L(50, 250, 127);
    EXPECT_EQ(Px(dst, 1, 0)[2], top);
    EXPECT_EQ(Px(dst, 1, 2)[2], bottom);
    EXPECT_EQ(Px(dst, 1, 1)[3], L(top, bottom, 127));
    EXPECT_EQ(Px(dst, 0, 1)[0], L(0, 50, 127));

    for (pixelformat_t pf : {B8G8R8A8, B8G8R8, B5G6R5, B5G5R5A1})
    {
        LImageBuffer a, b;
        ASSERT_TRUE(MakeImage(a, 13, 7, pf, 3));
        ASSERT_EQ(ScaleTo(b, a, 13, 7), 0);
        EXPECT_TRUE(SamePixels(a, b)) << pf;
    }

    // The stepper can't take a side of one pixel; Resize reports it.
    LImageBuffer thin, out;
    ASSERT_TRUE(MakeImage(thin, 1, 9, B8G8R8, 1));
    LProcessInterfaceVoid v0;
    EXPECT_EQ(LImage::Resize(v0, thin, out, 4, 4, false, LImage::ResizeBilinear), LProcessResultFailed);
    EXPECT_EQ(ScaleTo(out, thin, 4, 4), LProcessResultFailed);
    EXPECT_EQ(LImage::Resize(v0, thin, out, 4, 4, false, LImage::ResizeFilter(2)), LProcessResultSuccess);
    EXPECT_FALSE(out.IsValid());
}

TEST(LImgProScaleBi, EnlargingAndShrinkingKeepUniformAndOrder)
{
    // Blue rises to the right, green downwards, to top (right, bottom).
    auto ramp = [](LImageBuffer& b, int w, int h, int right, int bottom)
    {
        ASSERT_TRUE(b.AllocateNewBuffer(LImageFormat(B8G8R8A8, w, h)));
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
            {
                const uint8_t p[4] = {uint8_t(x * right / (w - 1)), uint8_t(y * bottom / (h - 1)), 77, 255};
                memcpy(Px(b, x, y), p, 4);
            }
    };
    auto check = [](const LImageBuffer& src, int w, int h)
    {
        LImageBuffer dst;
        ASSERT_EQ(ScaleTo(dst, src, w, h), 0);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
            {
                const uint8_t* p = Px(dst, x, y);
                ASSERT_TRUE(p[2] == 77 && p[3] == 255);
                ASSERT_TRUE(!x || p[0] >= Px(dst, x - 1, y)[0]) << x << "," << y;
                ASSERT_TRUE(!y || p[1] >= Px(dst, x, y - 1)[1]) << x << "," << y;
            }
        // Corners map to corners.
        EXPECT_EQ(Px(dst, 0, 0)[0], 0);
        EXPECT_EQ(Px(dst, w - 1, h - 1)[1], Px(src, src.GetWidth() - 1, src.GetHeight() - 1)[1]);
    };
    LImageBuffer src;
    ramp(src, 37, 23, 36 * 7, 22 * 11);
    for (auto [w, h] : {std::pair{80, 51}, std::pair{11, 9}, std::pair{36, 22}, std::pair{2, 2}})
        check(src, w, h);
    // Past 255 times, a run of steps outgrows the table of fractions.
    ramp(src, 2, 2, 250, 250);
    check(src, 700, 600);
    ramp(src, 700, 600, 250, 250);
    check(src, 2, 2);
}

TEST(LImgProScaleNe, PicksCentresOfTheRectangle)
{
    LImageBuffer src, dst;
    Row24(src, {0, 10, 20, 30, 40, 50, 60, 70}, 4);
    ASSERT_TRUE(dst.AllocateNewBuffer(LImageFormat(B8G8R8, 4, 2)));
    LImgProScaleNe ne;
    ASSERT_EQ(LApplyImageProcess(dst, src, ne), 0);
    EXPECT_EQ(Blue(dst), (std::vector<int>{10, 30, 50, 70}));
    ne.dLeft = 2;
    ne.dWidth = 4;
    ASSERT_EQ(LApplyImageProcess(dst, src, ne), 0);
    EXPECT_EQ(Blue(dst, 1), (std::vector<int>{20, 30, 40, 50}));
    // A rectangle reaching past the source is clipped to it.
    ne.dLeft = 6;
    ne.dWidth = 100;
    ASSERT_EQ(LApplyImageProcess(dst, src, ne), 0);
    EXPECT_EQ(Blue(dst), (std::vector<int>{60, 60, 70, 70}));
}

TEST(LImgProScaleLinear, IdentityExactAndShrinkIsATriangleFilter)
{
    LImageBuffer src, dst;
    ASSERT_TRUE(MakeImage(src, 45, 31, B8G8R8A8, 8));
    ASSERT_TRUE(dst.AllocateNewBuffer(src.GetFormat()));
    LProcessInterfaceVoid v;
    ASSERT_EQ(LImgProScaleLinear(v, dst, src), 0);
    EXPECT_TRUE(SamePixels(src, dst));

    // Against a triangle filter in doubles, widened by the scale.
    ASSERT_TRUE(MakeImage(src, 50, 30, B8G8R8A8, 2));
    ASSERT_TRUE(dst.AllocateNewBuffer(LImageFormat(B8G8R8A8, 17, 12)));
    ASSERT_EQ(LImgProScaleLinear(v, dst, src), 0);
    auto weights = [](int i, int dl, int sl)
    {
        const double s = double(dl) / sl, sup = std::max(1.0, 1 / s), c = (i + 0.5) / s - 0.5;
        std::vector<double> w(sl);
        double sum = 0;
        for (int j = 0; j < sl; ++j)
            sum += w[j] = std::max(0.0, 1 - std::fabs(j - c) / sup);
        for (double& x : w)
            x /= sum;
        return w;
    };
    for (int y = 0; y < 12; ++y)
        for (int x = 0; x < 17; ++x)
        {
            const auto wx = weights(x, 17, 50), wy = weights(y, 12, 30);
            for (int c = 0; c < 4; ++c)
            {
                double acc = 0;
                for (int j = 0; j < 30; ++j)
                    for (int i = 0; i < 50; ++i)
                        acc += wx[i] * wy[j] * Px(src, i, j)[c];
                EXPECT_NEAR(Px(dst, x, y)[c], acc, 1.0);
            }
        }
}

TEST(LImgProFlip, AllModesFormatsAndThreads)
{
    for (int threads : {1, 3})
        for (pixelformat_t pf : {B8G8R8A8, B8G8R8, B5G6R5, B5G5R5A1, B5G5R5X1})
            for (int mode : {1, 2, 3})
            {
                SCOPED_TRACE(testing::Message()
                             << "format " << pf << " mode " << mode << " threads " << threads);
                ThreadCount tc(threads);
                LImageBuffer src, inplace, two;
                ASSERT_TRUE(MakeImage(src, 67, 41, pf, 4));
                ASSERT_TRUE(MakeImage(inplace, 67, 41, pf, 4));
                ASSERT_TRUE(two.AllocateNewBuffer(src.GetFormat()));
                LImgProFlip flip(mode);
                const int bpp = LGetPixelFormatBits(pf) / 8;
                EXPECT_EQ(LApplyImageProcess(two, src, flip), 0);
                const int r = LApplyImageProcess(inplace, flip);
                EXPECT_EQ(r, pf == B5G5R5X1 ? 2 : 0);
                for (int y = 0; y < 41; ++y)
                    for (int x = 0; x < 67; ++x)
                    {
                        const int sx = mode & 1 ? 66 - x : x, sy = mode & 2 ? 40 - y : y;
                        ASSERT_EQ(memcmp(Px(two, x, y), Px(src, sx, sy), bpp), 0);
                        ASSERT_TRUE(r || memcmp(Px(inplace, x, y), Px(src, sx, sy), bpp) == 0);
                    }
            }

    // Odd width: the middle column stays; flip 0 changes nothing.
    LImageBuffer a, b;
    ASSERT_TRUE(MakeImage(a, 5, 3, B8G8R8, 6));
    ASSERT_TRUE(MakeImage(b, 5, 3, B8G8R8, 6));
    LImgProFlip h(1), none(0);
    ASSERT_EQ(LApplyImageProcess(b, none), 0);
    EXPECT_TRUE(SamePixels(a, b));
    ASSERT_EQ(LApplyImageProcess(a, h), 0);
    for (int y = 0; y < 3; ++y)
        EXPECT_EQ(memcmp(Px(a, 2, y), Px(b, 2, y), 3), 0);
}

TEST(LImgProFlip, PlanarVideoFlipsEachPlane)
{
    LImageBuffer src, dst;
    ASSERT_TRUE(src.AllocateNewBuffer(LImageFormat(YUV420P, 5, 3)));
    ASSERT_TRUE(dst.AllocateNewBuffer(LImageFormat(YUV420P, 5, 3)));
    const size_t size = src.GetFormat().CalculateBufferSize64();
    for (size_t i = 0; i < size; ++i)
        src.GetData()[i] = uint8_t(i * 7 + 1);
    LImgProFlip both(3);
    LProcessInterfaceVoid v;
    ASSERT_EQ(both.ProcessYUV420P(v, dst, src), 0);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            EXPECT_EQ(dst.GetData()[y * 5 + x], src.GetData()[(2 - y) * 5 + 4 - x]);
    for (int i = 0; i < 6; ++i)
    {
        EXPECT_EQ(dst.GetFirstScanLineU()[i], src.GetFirstScanLineU()[5 - i]);
        EXPECT_EQ(dst.GetFirstScanLineV()[i], src.GetFirstScanLineV()[5 - i]);
    }
    // In place twice is the identity.
    LImageBuffer copy;
    ASSERT_TRUE(copy.AllocateNewBuffer(src.GetFormat()));
    memcpy(copy.GetData(), src.GetData(), size);
    ASSERT_EQ(both.ProcessYUV420P(v, copy, copy), 0);
    ASSERT_EQ(both.ProcessYUV420P(v, copy, copy), 0);
    EXPECT_EQ(memcmp(copy.GetData(), src.GetData(), size), 0);
}
