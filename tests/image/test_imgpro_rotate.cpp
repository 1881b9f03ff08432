#include <gtest/gtest.h>

#include <cmath>

#include "image/LImgPro.h"
#include "imgpro_test_util.h"

namespace
{
// Where destination pixel (X, Y) comes from when the source turns clockwise and the clip is a
// rectangle of the turned image; false outside the source.
bool Source(int angle, int sw, int sh, const LRectangle& c, int X, int Y, int& x, int& y)
{
    const int u = c.left + X, v = c.top + Y;
    x = angle == 0 ? u : angle == 90 ? v : sw - 1 - (angle == 180 ? u : v);
    y = angle == 0 ? v : angle == 270 ? u : sh - 1 - (angle == 180 ? v : u);
    return x >= 0 && y >= 0 && x < sw && y < sh;
}
} // namespace

TEST(LImgProRotoClip, QuarterTurnsWithClipsOverFormats)
{
    // The last clips make 32-bit destination rows of whole cache lines, where the vector path
    // lines its blocks up with them.
    const LRectangle clips[] = {
        {0, 0, 0, 0}, {-3, 2, 9, 30}, {5, -4, 40, 11}, {-7, 1, 41, 60}, {0, -2, 48, 40}};
    for (int threads : {1, 2})
        for (pixelformat_t pf : {B8G8R8A8, B8G8R8, B5G6R5, B5G5R5A1})
            for (int angle : {0, 90, 180, -90})
                for (LRectangle clip : clips)
                {
                    ThreadCount tc(threads);
                    LImageBuffer src, dst;
                    const int sw = 37, sh = 21;
                    ASSERT_TRUE(MakeImage(src, sw, sh, pf, 12, angle == 180));
                    const int a = LImgProNormaliseAngle(angle);
                    if (clip.right == 0)
                        clip = a % 180 ? LRectangle{0, 0, sh, sw} : LRectangle{0, 0, sw, sh};
                    const int dw = clip.right - clip.left, dh = clip.bottom - clip.top;
                    ASSERT_TRUE(MakeImage(dst, dw, dh, pf, 99));
                    LImgProRotoClip k(angle, clip);
                    ASSERT_EQ(k.iAngle, a);
                    ASSERT_EQ(LApplyImageProcess(dst, src, k), 0);
                    const int bpp = LGetPixelFormatBits(pf) / 8;
                    const uint8_t zero[4] = {0, 0, 0, 0};
                    for (int Y = 0; Y < dh; ++Y)
                        for (int X = 0; X < dw; ++X)
                        {
                            int x, y;
                            const uint8_t* want = Source(a, sw, sh, clip, X, Y, x, y) ? Px(src, x, y) : zero;
                            ASSERT_EQ(memcmp(Px(dst, X, Y), want, bpp), 0)
                                << pf << " angle " << angle << " at " << X << "," << Y;
                        }
                }
}

TEST(LImgProRotoClip, WhollyOutsideIsBlankNotAnError)
{
    LImageBuffer src, dst;
    ASSERT_TRUE(MakeImage(src, 10, 8, B8G8R8A8, 1));
    ASSERT_TRUE(MakeImage(dst, 4, 3, B8G8R8A8, 2));
    LRectangle left{-20, 0, -10, 3};
    int angle = -90;
    ASSERT_EQ(RotateClipBuffer(dst, src, angle, 4, left), 0);
    EXPECT_EQ(angle, 270);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(Bytes(Px(dst, i % 4, i / 4), 4), (std::vector<int>{0, 0, 0, 255})) << i;
    // Corners given in any order are put in order.
    LImgProRotoClip k(450, LRectangle{5, 6, 1, 2});
    EXPECT_EQ(k.iAngle, 90);
    EXPECT_EQ(k.oClip.left, 1);
    EXPECT_EQ(k.oClip.bottom, 6);
    LImageBuffer x5;
    ASSERT_TRUE(MakeImage(x5, 4, 4, B5G5R5X1, 1));
    EXPECT_EQ(LApplyImageProcess(x5, x5, k), LProcessResultFailed);
}

TEST(LImgProRotoClip, PlanarVideoFillsOutsideWithBlack)
{
    LImageBuffer src, dst;
    ASSERT_TRUE(src.AllocateNewBuffer(LImageFormat(YUV420P, 6, 4)));
    ASSERT_TRUE(dst.AllocateNewBuffer(LImageFormat(YUV420P, 4, 8)));
    const size_t size = src.GetFormat().CalculateBufferSize64();
    for (size_t i = 0; i < size; ++i)
        src.GetData()[i] = uint8_t(i + 30);
    LImgProRotoClipYUV420P k(90, LRectangle{0, 0, 4, 8});
    LProcessInterfaceVoid v;
    ASSERT_EQ(k.Process(v, dst, src), 0);
    for (int Y = 0; Y < 8; ++Y)
        for (int X = 0; X < 4; ++X)
        {
            int x, y;
            const bool in = Source(90, 6, 4, LRectangle{0, 0, 4, 8}, X, Y, x, y);
            EXPECT_EQ(dst.GetData()[Y * 4 + X], in ? src.GetData()[y * 6 + x] : 16);
        }
    // The chroma planes, 3x2 turned into 2x4 of which the first column lies in the image.
    for (int Y = 0; Y < 4; ++Y)
    {
        EXPECT_EQ(dst.GetFirstScanLineU()[Y * 2 + 0], Y < 3 ? src.GetFirstScanLineU()[3 + Y] : 128);
        EXPECT_EQ(dst.GetFirstScanLineV()[Y * 2 + 1], Y < 3 ? src.GetFirstScanLineV()[Y] : 128);
    }
}

TEST(LImageRotate, QuarterTurnsRoundTripAndAnyAngleHasTransparentCorners)
{
    LImageBuffer src, a, b;
    ASSERT_TRUE(MakeImage(src, 31, 17, B8G8R8, 5));
    LProcessInterfaceVoid v;
    ASSERT_EQ(LImage::Rotate(v, src, a, 0.25), 0);
    EXPECT_TRUE(a.GetWidth() == 17 && a.GetHeight() == 31);
    // The left column of the source becomes the top row, read upwards.
    EXPECT_EQ(memcmp(Px(a, 0, 0), Px(src, 0, 16), 3), 0);
    ASSERT_EQ(LImage::Rotate(v, a, b, 0.75), 0);
    EXPECT_TRUE(SamePixels(src, b));
    ASSERT_EQ(LImage::Rotate(v, src, a, 0.5), 0);
    ASSERT_EQ(LImage::Rotate(v, a, b, 0.5), 0);
    EXPECT_TRUE(SamePixels(src, b));
    EXPECT_EQ(LImage::Rotate(v, src, a, 0.1), LProcessResultFailed);

    ASSERT_TRUE(src.AllocateNewBuffer(LImageFormat(B8G8R8A8, 60, 40)));
    src.Clear(LPixelColour(10, 20, 30, 255));
    ASSERT_EQ(LImage::Rotate(v, src, a, 30.0 / 360), 0);
    const double t = 30 * M_PI / 180;
    EXPECT_EQ(a.GetWidth(), int(std::ceil(60 * std::cos(t) + 40 * std::sin(t))));
    EXPECT_EQ(a.GetHeight(), int(std::ceil(60 * std::sin(t) + 40 * std::cos(t))));
    EXPECT_EQ(*reinterpret_cast<uint32_t*>(Px(a, 0, 0)), 0u);
    EXPECT_EQ(*reinterpret_cast<uint32_t*>(Px(a, a.GetWidth() - 1, a.GetHeight() - 1)), 0u);
    // Inside, a uniform image stays uniform, and edges fade in alpha only.
    int edge = 0;
    for (int y = 0; y < a.GetHeight(); ++y)
        for (int x = 0; x < a.GetWidth(); ++x)
        {
            const uint8_t* p = Px(a, x, y);
            EXPECT_TRUE(p[3] == 0 || (p[0] == 10 && p[1] == 20 && p[2] == 30)) << x << "," << y;
            edge += p[3] && p[3] < 255;
        }
    EXPECT_GT(edge, 0);
    // Clockwise: the top-left corner of the source moves right, so the left middle is empty.
    EXPECT_EQ(Px(a, 2, 2)[3], 0);
    ASSERT_EQ(LImage::Rotate(v, src, b, -30.0 / 360), 0);
    EXPECT_EQ(b.GetWidth(), a.GetWidth());
}

TEST(LImageCopy, ClipsToBothBuffers)
{
    LImageBuffer src, dst;
    ASSERT_TRUE(MakeImage(src, 8, 6, B8G8R8A8, 3));
    ASSERT_TRUE(LCreateBlankImage(dst, 5, 5, LPixelColour(0, 0, 0, 0)));
    ASSERT_TRUE(LImage::Copy(src, dst, -1, 2, 3, 1, 10, 10));
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 5; ++x)
        {
            // Destination x from 0 takes source x from 4; rows 2..4 take source rows 1..3.
            const bool in = y >= 2 && x + 4 < 8;
            EXPECT_EQ(Bytes(Px(dst, x, y), 4), in ? Bytes(Px(src, x + 4, y - 1), 4) : std::vector<int>(4));
        }
    LImageBuffer other;
    ASSERT_TRUE(MakeImage(other, 5, 5, B8G8R8, 1));
    EXPECT_FALSE(LImage::Copy(src, other, 0, 0, 0, 0, 2, 2));
}
