#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "image/LImageBuffer.h"
#include "imgpro_test_util.h"

TEST(LPixelFormats, ExpansionIsTheRoundedIdeal)
{
    EXPECT_EQ(LExpand5(3), 25);
    EXPECT_EQ(LExpand5(24), 197);
    EXPECT_EQ(LExpand6(11), 45);
    EXPECT_EQ(LExpand6(48), 194);
    for (unsigned v = 0; v < 32; ++v)
        EXPECT_EQ(LExpand5(v), int(std::lround(v * 255.0 / 31.0))) << v;
    for (unsigned v = 0; v < 64; ++v)
        EXPECT_EQ(LExpand6(v), int(std::lround(v * 255.0 / 63.0))) << v;
}

TEST(LPixelFormats, GreenBetweenFiveAndSixBitsGoesThroughTheWidenedValue)
{
    // 6-bit 11 is 45, whose top
    // five bits are 5; 5-bit 17 is 140, whose top six bits are 35 (a plain shift would give 34).
    LPFB5G6R5 g6{uint16_t(11 << 5)};
    LPFB5G5R5X1 x;
    x.Set(g6);
    EXPECT_EQ(x.w, 5 << 5);
    LPFB5G5R5A1 g5{uint16_t(17 << 5)};
    g6.Set(g5);
    EXPECT_EQ(g6.w, 35 << 5);
}

TEST(LImageIterator, ReadsEveryFormat)
{
    struct Case
    {
        pixelformat_t pf;
        uint8_t bytes[4];
        LPixelColour expected;
    };
    const Case cases[] = {
        {B8G8R8A8, {1, 2, 3, 4}, LPixelColour(1, 2, 3, 4)},
        {R8G8B8A8, {1, 2, 3, 4}, LPixelColour(3, 2, 1, 4)},
        {B8G8R8, {1, 2, 3, 0}, LPixelColour(1, 2, 3, 255)},
        // 0xE4C6: blue 6, green 38, red 28.
        {B5G6R5, {0xC6, 0xE4}, LPixelColour(49, 154, 230, 255)},
        // 0x8C63: alpha set, red 3, green 3, blue 3; the 24 of a widened 3 becomes 25.
        {B5G5R5A1, {0x63, 0x8C}, LPixelColour(25, 25, 25, 255)},
        {B5G5R5A1, {0x63, 0x0C}, LPixelColour(25, 25, 25, 0)},
        // 0x631F: red 24, green 24, blue 31.
        {B5G5R5X1, {0x1F, 0x63}, LPixelColour(255, 197, 197, 255)},
        {I8, {77}, LPixelColour(77, 0, 0, 0)},
        {YUYV422, {1, 2, 3, 4}, LPixelColour(255, 0, 255, 255)},
        {YUV420P, {1, 2, 3, 4}, LPixelColour(255, 0, 255, 255)},
        {YUVJ420P, {1, 2, 3, 4}, LPixelColour(255, 0, 255, 255)},
    };
    for (const Case& c : cases)
    {
        LImageBuffer b;
        ASSERT_TRUE(LImage::New(b, 2, 2, c.pf));
        std::memset(b.GetData(), 0, b.imf.CalculateBufferSize());
        std::memcpy(b.GetData(), c.bytes, 4);
        LImageConstIterator it(b);
        EXPECT_EQ(it.Read().ToUInt32(), c.expected.ToUInt32()) << "format " << c.pf;
    }
}

TEST(LImageIterator, WritesEveryFormatIncludingTheMisplacedAlphaBit)
{
    const LPixelColour c(55, 155, 230, 0x80);
    struct Case
    {
        pixelformat_t pf;
        uint8_t bytes[4];
    };
    const Case cases[] = {
        {B8G8R8A8, {55, 155, 230, 0x80}},
        {R8G8B8A8, {230, 155, 55, 0x80}},
        {B8G8R8, {55, 155, 230, 0xEE}},
        {B5G6R5, {0xC6, 0xE4, 0xEE, 0xEE}},
        // blue 6, green 19 (0b10011) with bit 7 forced on, red 28: 0x7266 | 0x80.
        {B5G5R5A1, {0xE6, 0x72, 0xEE, 0xEE}},
        {B5G5R5X1, {0xE6, 0x72, 0xEE, 0xEE}},
        {I8, {55, 0xEE, 0xEE, 0xEE}},
        {YUYV422, {0xEE, 0xEE, 0xEE, 0xEE}},
        {YUV420P, {0xEE, 0xEE, 0xEE, 0xEE}},
    };
    for (const Case& k : cases)
    {
        LImageBuffer b;
        ASSERT_TRUE(LImage::New(b, 2, 2, k.pf));
        std::memset(b.GetData(), 0xEE, b.imf.CalculateBufferSize());
        LImageIterator it(b);
        it.Write(c);
        EXPECT_EQ(std::memcmp(b.GetData(), k.bytes, 4), 0) << "format " << k.pf;
    }

    // Opaque black written and read back: bit 7 shows up as green, and alpha reads 0.
    LImageBuffer b;
    ASSERT_TRUE(LImage::New(b, 1, 1, B5G5R5A1));
    LImageIterator it(b);
    it.Write(LPixelColour(0, 0, 0, 255));
    EXPECT_EQ(Bytes(b.GetData(), 2), (std::vector<int>{0x80, 0}));
    EXPECT_EQ(it.Read(), LPixelColour(0, 33, 0, 0));
}

TEST(LImageIterator, WalksRowsInMemoryOrderSkippingPadding)
{
    LImageBuffer b;
    ASSERT_TRUE(LImage::New(b, 3, 2, B8G8R8));
    std::memset(b.GetData(), 0xEE, 24);
    int n = 0;
    for (LImageIterator it(b); !it.IsEnd(); it.Next(), ++n)
        it.Write(LPixelColour(uint8_t(n), uint8_t(n), uint8_t(n), 255));
    EXPECT_EQ(n, 6);
    const int E = 0xEE; // padding
    EXPECT_EQ(Bytes(b.GetData(), 24),
              (std::vector<int>{0, 0, 0, 1, 1, 1, 2, 2, 2, E, E, E, 3, 3, 3, 4, 4, 4, 5, 5, 5, E, E, E}));

    LImageConstIterator r(b);
    r.MoveTo(1, 1);
    EXPECT_EQ(r.Read(), LPixelColour(4, 4, 4, 255));
    r.Next();
    r.Next();
    EXPECT_TRUE(r.IsEnd());

    LImageBuffer invalid;
    EXPECT_TRUE(LImageConstIterator(invalid).IsEnd());
}
