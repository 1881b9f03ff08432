#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "image/LConvertPixelFormat.h"
#include "imgpro_test_util.h"

namespace
{
// Two colours whose channels (0, 8, 16, 255) survive every packed format exactly, written out by
// hand in each format's bytes.
//   c1: blue 255, green 8, red 16, opaque.   c2: blue 0, green 16, red 255, opaque.
// 5-6-5: c1 = 31 | 2 << 5 | 2 << 11 = 0x105F, c2 = 4 << 5 | 31 << 11 = 0xF880.
// 5-5-5: c1 = 31 | 1 << 5 | 2 << 10 = 0x083F, c2 = 2 << 5 | 31 << 10 = 0x7C40 (+0x8000 with alpha).
struct PackedBytes
{
    pixelformat_t pf;
    int size;
    uint8_t c1[4], c2[4];
};
const PackedBytes kPacked[] = {
    {B8G8R8A8, 4, {0xFF, 0x08, 0x10, 0xFF}, {0x00, 0x10, 0xFF, 0xFF}},
    {B8G8R8, 3, {0xFF, 0x08, 0x10}, {0x00, 0x10, 0xFF}},
    {B5G6R5, 2, {0x5F, 0x10}, {0x80, 0xF8}},
    {B5G5R5A1, 2, {0x3F, 0x88}, {0x40, 0xFC}},
    {B5G5R5X1, 2, {0x3F, 0x08}, {0x40, 0x7C}},
    {R8G8B8A8, 4, {0x10, 0x08, 0xFF, 0xFF}, {0xFF, 0x10, 0x00, 0xFF}},
};

// The bytes of pixel i of a 3 × 2 image: c1 c2 c1 / c2 c1 c2.
const uint8_t* PixelBytes(const PackedBytes& p, int i)
{
    return (i % 3 + i / 3) % 2 ? p.c2 : p.c1;
}

// BT.601 in floating point, from the published equations.
struct RGB
{
    double r, g, b;
};
RGB FullRangeToRGB(double y, double u, double v)
{
    return {y + 1.402 * (v - 128), y - 0.344136 * (u - 128) - 0.714136 * (v - 128), y + 1.772 * (u - 128)};
}
RGB VideoRangeToRGB(double y, double u, double v)
{
    const double l = 1.164383 * (y - 16);
    return {l + 1.596027 * (v - 128), l - 0.391762 * (u - 128) - 0.812968 * (v - 128),
            l + 2.017232 * (u - 128)};
}
int Clamp(double v)
{
    return int(std::lround(std::min(255.0, std::max(0.0, v))));
}

// Fixed point lands within one step of the float result.
void ExpectNear(const LPixelColour& got, const RGB& want, const char* what)
{
    EXPECT_NEAR(got.r, Clamp(want.r), 1) << what;
    EXPECT_NEAR(got.g, Clamp(want.g), 1) << what;
    EXPECT_NEAR(got.b, Clamp(want.b), 1) << what;
    EXPECT_EQ(got.a, 255) << what;
}

LPixelColour PixelAt(const LImageBuffer& b, int x, int y)
{
    const uint8_t* p = b.GetRow(y) + x * 4;
    return LPixelColour(p[0], p[1], p[2], p[3]);
}

// Samples with strong chroma so that clamping is exercised at both ends.
const uint8_t kY[4][4] = {{16, 235, 128, 0}, {255, 81, 145, 41}, {200, 60, 100, 180}, {30, 90, 150, 210}};
const uint8_t kU[2][2] = {{90, 240}, {16, 128}};
const uint8_t kV[2][2] = {{240, 54}, {34, 255}};
} // namespace

TEST(LConvertPixelFormat, EveryPackedPairAgainstHandWrittenPixels)
{
    for (const PackedBytes& from : kPacked)
        for (const PackedBytes& to : kPacked)
        {
            LImageBuffer src, dst;
            ASSERT_TRUE(MakeImage(src, 3, 2, from.pf, 1));
            ASSERT_TRUE(MakeImage(dst, 3, 2, to.pf, 2));
            for (int i = 0; i < 6; ++i)
                std::memcpy(Px(src, i % 3, i / 3), PixelBytes(from, i), from.size);
            LConvertPixelFormat(dst, src);
            for (int i = 0; i < 6; ++i)
                EXPECT_EQ(Bytes(Px(dst, i % 3, i / 3), to.size), Bytes(PixelBytes(to, i), to.size))
                    << "format " << from.pf << " to " << to.pf << " pixel " << i;
        }
}

TEST(LConvertPixelFormat, AlphaAndRoundingRules)
{
    LImageBuffer rgba, a1, x1;
    ASSERT_TRUE(LImage::New(rgba, 4, 1));
    ASSERT_TRUE(LImage::New(a1, 4, 1, B5G5R5A1));
    ASSERT_TRUE(LImage::New(x1, 4, 1, B5G5R5X1));
    const uint8_t px[16] = {7, 7, 7, 0x80, 7, 7, 7, 0x7F, 255, 255, 255, 0, 0, 0, 0, 255};
    std::memcpy(rgba.GetData(), px, 16);

    // Only alpha's top bit survives, at bit 15; 7 keeps 0 in five bits.
    LConvertPixelFormat(a1, rgba);
    const uint16_t* w = reinterpret_cast<const uint16_t*>(a1.GetData());
    EXPECT_EQ(std::vector<int>(w, w + 4), (std::vector<int>{0x8000, 0, 0x7FFF, 0x8000}));

    // Back to 32 bits: alpha is 0 or 255.
    LConvertPixelFormat(rgba, a1);
    EXPECT_EQ(Bytes(rgba.GetData(), 12), (std::vector<int>{0, 0, 0, 255, 0, 0, 0, 0, 255, 255, 255, 0}));

    // X1 drops the bit.
    LConvertPixelFormat(x1, a1);
    EXPECT_EQ(reinterpret_cast<const uint16_t*>(x1.GetData())[0], 0);
}

TEST(LConvertPixelFormat, RGBToRGBAOnWideRowsAndLargeImages)
{
    // Widths around the groups of 4 and 16 pixels, and an image large enough to bypass the
    // cache, whose destination is stored bottom row first.
    for (int width : {7, 15, 16, 17, 33, 1203})
    {
        const int height = width == 1203 ? 900 : 3;
        LImageBuffer src, dst;
        ASSERT_TRUE(LImage::New(src, width, height, B8G8R8));
        ASSERT_TRUE(dst.AllocateNewBuffer(LImageFormat(B8G8R8A8, width, height, width == 1203)));
        for (int y = 0; y < height; ++y)
            for (int i = 0; i < width * 3; ++i)
                src.GetRow(y)[i] = uint8_t(i * 7 + y);
        std::memset(dst.GetData(), 0, dst.imf.CalculateBufferSize());
        LConvertPixelFormat(dst, src);
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
            {
                const uint8_t* s = Px(src, x, y);
                ASSERT_EQ(PixelAt(dst, x, y), LPixelColour(s[0], s[1], s[2], 255))
                    << width << ": " << x << "," << y;
            }
    }
}

TEST(LConvertPixelFormat, UnsupportedPairsLeaveTheDestination)
{
    LImageBuffer i8, rgba, other;
    ASSERT_TRUE(LImage::New(i8, 2, 2, I8));
    ASSERT_TRUE(LImage::New(rgba, 2, 2));
    ASSERT_TRUE(LImage::New(other, 3, 2, B8G8R8));
    std::memset(i8.GetData(), 0x33, 8);
    std::memset(rgba.GetData(), 0x44, 16);
    LConvertPixelFormat(rgba, i8);    // no entry from I8 at all
    LConvertPixelFormat(i8, rgba);    // the second half of the way through B8G8R8A8 is missing
    LConvertPixelFormat(rgba, other); // size differs
    EXPECT_EQ(rgba.GetData()[0], 0x44);
    EXPECT_EQ(i8.GetData()[0], 0x33);
}

TEST(LConvertYUV, PlanarToRGBMatchesBT601)
{
    for (pixelformat_t pf : {YUV420P, YUVJ420P})
    {
        LImageBuffer yuv, rgb;
        ASSERT_TRUE(LImage::New(yuv, 4, 4, pf));
        ASSERT_TRUE(LImage::New(rgb, 4, 4));
        for (int y = 0; y < 4; ++y)
        {
            std::memcpy(yuv.GetScanLine(y), kY[y], 4);
            if (y < 2)
            {
                std::memcpy(yuv.GetFirstScanLineU() + y * 2, kU[y], 2);
                std::memcpy(yuv.GetFirstScanLineV() + y * 2, kV[y], 2);
            }
        }
        LConvertPixelFormat(rgb, yuv);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x)
            {
                const double Y = kY[y][x], U = kU[y / 2][x / 2], V = kV[y / 2][x / 2];
                const RGB want = pf == YUV420P ? VideoRangeToRGB(Y, U, V) : FullRangeToRGB(Y, U, V);
                std::string what =
                    "format " + std::to_string(pf) + " at " + std::to_string(x) + "," + std::to_string(y);
                ExpectNear(PixelAt(rgb, x, y), want, what.c_str());
            }
    }
}

TEST(LConvertYUV, PackedToRGBMatchesBT601)
{
    // Three pixels: odd width, so the last group's second half lies in the padding.
    LImageBuffer yuyv, rgb;
    ASSERT_TRUE(LImage::New(yuyv, 3, 1, YUYV422));
    const uint8_t bytes[8] = {100, 200, 150, 60, 235, 16, 0xEE, 240};
    std::memcpy(yuyv.GetData(), bytes, 8);
    ASSERT_TRUE(LImage::New(rgb, 3, 1, B8G8R8));
    LConvertPixelFormat(rgb, yuyv);
    const RGB want[3] = {VideoRangeToRGB(100, 200, 60), VideoRangeToRGB(150, 200, 60),
                         VideoRangeToRGB(235, 16, 240)};
    for (int x = 0; x < 3; ++x)
    {
        const uint8_t* p = rgb.GetData() + 3 * x;
        ExpectNear(LPixelColour(p[0], p[1], p[2], 255), want[x], "YUYV422 to B8G8R8");
    }
}

TEST(LConvertYUV, RGBToYUVMatchesBT601)
{
    // 3 × 3: odd in both directions, so the last chroma samples cover 2, 2 and 1 pixels.
    LImageBuffer rgb;
    ASSERT_TRUE(LImage::New(rgb, 3, 3));
    const uint8_t colours[9][3] = {{255, 0, 0},   {0, 255, 0},     {0, 0, 255},    {255, 255, 255}, {0, 0, 0},
                                   {12, 200, 99}, {128, 128, 128}, {250, 10, 240}, {33, 66, 99}};
    for (int i = 0; i < 9; ++i)
    {
        uint8_t* p = rgb.GetRow(i / 3) + (i % 3) * 4;
        p[2] = colours[i][0], p[1] = colours[i][1], p[0] = colours[i][2], p[3] = 255;
    }
    for (pixelformat_t pf : {YUV420P, YUVJ420P})
    {
        const bool video = pf == YUV420P;
        LImageBuffer yuv;
        ASSERT_TRUE(LImage::New(yuv, 3, 3, pf));
        LConvertPixelFormat(yuv, rgb);
        auto luma = [&](int i)
        {
            const double r = colours[i][0], g = colours[i][1], b = colours[i][2];
            return video ? 16 + 0.256788 * r + 0.504129 * g + 0.097906 * b
                         : 0.299 * r + 0.587 * g + 0.114 * b;
        };
        for (int i = 0; i < 9; ++i)
            EXPECT_NEAR(yuv.GetScanLine(i / 3)[i % 3], Clamp(luma(i)), 1) << pf << " pixel " << i;
        // Chroma of the mean colour of each block.
        const std::vector<std::vector<int>> blocks = {{0, 1, 3, 4}, {2, 5}, {6, 7}, {8}};
        for (int k = 0; k < 4; ++k)
        {
            double r = 0, g = 0, b = 0;
            for (int i : blocks[k])
                r += colours[i][0], g += colours[i][1], b += colours[i][2];
            const double n = double(blocks[k].size());
            r /= n, g /= n, b /= n;
            const double u = video ? 128 - 0.148223 * r - 0.290993 * g + 0.439216 * b
                                   : 128 - 0.168736 * r - 0.331264 * g + 0.5 * b;
            const double v = video ? 128 + 0.439216 * r - 0.367788 * g - 0.071427 * b
                                   : 128 + 0.5 * r - 0.418688 * g - 0.081312 * b;
            // Chroma rows are 2 bytes, so block k is at byte k.
            EXPECT_NEAR(yuv.GetFirstScanLineU()[k], Clamp(u), 1) << pf << " block " << k;
            EXPECT_NEAR(yuv.GetFirstScanLineV()[k], Clamp(v), 1) << pf << " block " << k;
        }
    }

    // Packed: pairs along the row; the lone last pixel repeats its luma.
    LImageBuffer yuyv;
    ASSERT_TRUE(LImage::New(yuyv, 3, 3, YUYV422));
    LConvertPixelFormat(yuyv, rgb);
    const uint8_t* row = yuyv.GetScanLine(0);
    EXPECT_NEAR(row[0], 81, 1);  // red: 16 + 0.256788 * 255
    EXPECT_NEAR(row[2], 145, 1); // green: 16 + 0.504129 * 255
    EXPECT_NEAR(row[1], 128 + std::lround(-0.148223 * 127.5 - 0.290993 * 127.5), 1);
    EXPECT_NEAR(row[4], 41, 1); // blue: 16 + 0.097906 * 255
    EXPECT_EQ(row[6], row[4]);
    EXPECT_NEAR(row[7], 128 + std::lround(-0.071427 * 255), 1);
}

TEST(LConvertYUV, RangeRescalingAndLayoutChanges)
{
    LImageBuffer full, video, back;
    ASSERT_TRUE(LImage::New(full, 4, 2, YUVJ420P));
    ASSERT_TRUE(LImage::New(video, 4, 2, YUV420P));
    ASSERT_TRUE(LImage::New(back, 4, 2, YUVJ420P));
    const uint8_t y[4] = {0, 255, 128, 64}, u[2] = {0, 2}, v[2] = {255, 100};
    // The second row is converted too, so it must hold something.
    std::memset(full.GetData(), 0, full.imf.CalculateBufferSize());
    std::memcpy(full.GetData(), y, 4);
    std::memcpy(full.GetFirstScanLineU(), u, 2);
    std::memcpy(full.GetFirstScanLineV(), v, 2);
    LConvertPixelFormat(video, full);
    // 16 + Y * 219 / 255 and 128 + (C - 128) * 224 / 255, rounded.
    EXPECT_EQ(Bytes(video.GetData(), 4), (std::vector<int>{16, 235, 126, 71}));
    EXPECT_EQ(Bytes(video.GetFirstScanLineU(), 2), (std::vector<int>{16, 17}));
    EXPECT_EQ(Bytes(video.GetFirstScanLineV(), 2), (std::vector<int>{240, 103}));
    // Back again; chroma 16 maps to 0.5, which may round either way.
    LConvertPixelFormat(back, video);
    EXPECT_EQ(Bytes(back.GetData(), 4), Bytes(y, 4));
    EXPECT_LE(back.GetFirstScanLineU()[0], 1);
    EXPECT_EQ(back.GetFirstScanLineU()[1], 2);
    EXPECT_EQ(Bytes(back.GetFirstScanLineV(), 2), Bytes(v, 2));

    // Packed to planar averages chroma of the two rows; planar to packed repeats it.
    LImageBuffer yuyv, planar, again;
    ASSERT_TRUE(LImage::New(yuyv, 2, 3, YUYV422));
    const uint8_t rows[3][4] = {{10, 100, 20, 200}, {30, 111, 40, 150}, {50, 7, 60, 9}};
    for (int r = 0; r < 3; ++r)
        std::memcpy(yuyv.GetScanLine(r), rows[r], 4);
    ASSERT_TRUE(LImage::New(planar, 2, 3, YUV420P));
    LConvertPixelFormat(planar, yuyv);
    EXPECT_EQ(Bytes(planar.GetData(), 6), (std::vector<int>{10, 20, 30, 40, 50, 60}));
    EXPECT_EQ(Bytes(planar.GetFirstScanLineU(), 2), (std::vector<int>{106, 7})); // (100 + 111 + 1) / 2
    EXPECT_EQ(Bytes(planar.GetFirstScanLineV(), 2), (std::vector<int>{175, 9}));
    ASSERT_TRUE(LImage::New(again, 2, 3, YUYV422));
    LConvertPixelFormat(again, planar);
    EXPECT_EQ(Bytes(again.GetScanLine(0), 4), (std::vector<int>{10, 106, 20, 175}));
    EXPECT_EQ(Bytes(again.GetScanLine(1), 4), (std::vector<int>{30, 106, 40, 175}));
    EXPECT_EQ(Bytes(again.GetScanLine(2), 4), (std::vector<int>{50, 7, 60, 9}));
}
