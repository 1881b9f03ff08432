#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "image/LImgPro.h"
#include "imgpro_test_util.h"

namespace
{
// The staircase of boxes written the slow, plain way: one running window per level, slid by one pixel,
// clipped at the ends with the weight scaled to the true window.
std::vector<uint8_t> ReferenceLine(const LImgProSS& ss, const std::vector<uint8_t>& in, int fade,
                                   bool sharpen)
{
    const int n = int(in.size());
    std::vector<uint8_t> out(n);
    for (int x = 0; x < n; ++x)
    {
        long total = 0;
        for (int i = 0; i < ss.iLevels; ++i)
        {
            const int r = ss.arRadius[i];
            long sum = 0;
            int width = 0;
            for (int k = x - r; k <= x + r; ++k)
                if (k >= 0 && k < n)
                    sum += in[k], ++width;
            total += long(ss.arWeight[i]) * (2 * r + 1) / width * sum;
        }
        int f = int(total >> 16);
        if (sharpen)
            f = std::clamp(2 * in[x] - f, 0, 255);
        if (fade <= 256)
            f = in[x] + (((f - in[x]) * fade) >> 8);
        out[x] = uint8_t(f);
    }
    return out;
}

// Rows, then columns, each channel on its own.
void ReferenceImage(const LImgProSS& ss, const LImageBuffer& src, LImageBuffer& dst)
{
    ASSERT_TRUE(dst.AllocateNewBuffer(src.GetFormat()));
    LImageBufferCopy(dst, src);
    const int bpp = LGetPixelFormatBits(src.GetPixelFormat()) / 8;
    if (!ss.iLevels)
        return;
    for (bool rows : {true, false})
    {
        const int n = rows ? src.GetWidth() : src.GetHeight(),
                  lines = rows ? src.GetHeight() : src.GetWidth();
        for (int l = 0; l < lines; ++l)
            for (int c = 0; c < bpp; ++c)
            {
                auto at = [&](int k) -> uint8_t& { return (rows ? Px(dst, k, l) : Px(dst, l, k))[c]; };
                std::vector<uint8_t> line(n);
                for (int k = 0; k < n; ++k)
                    line[k] = at(k);
                line = ReferenceLine(ss, line, ss.GetFade(), ss.dRadius > 0);
                for (int k = 0; k < n; ++k)
                    at(k) = line[k];
            }
    }
}
} // namespace

TEST(LImgProSS, RadiiWeightsAndFade)
{
    LImgProSS ss;
    // Radius 2 never gets two distinct box radii, so one 5-wide box carries the whole weight.
    ss.SetRadius(-2, false);
    ASSERT_EQ(ss.iLevels, 1);
    EXPECT_EQ(ss.arRadius[0], 2);
    EXPECT_EQ(ss.arWeight[0], 65535 / 5);
    EXPECT_EQ(ss.GetFade(), int(2 * 256 / 6.0 + 0.5));

    for (double r : {-20.0, 7.5, -63.0, 140.0})
        for (bool maxLevels : {false, true})
        {
            ss.SetRadius(r, maxLevels);
            ASSERT_GE(ss.iLevels, 1);
            ASSERT_LE(ss.iLevels, 50);
            EXPECT_EQ(ss.GetTopRadius(), int(std::ceil(std::fabs(r))));
            long mass = 0;
            for (int i = 0; i < ss.iLevels; ++i)
            {
                EXPECT_TRUE(ss.arWeight[i] >= 0 && (!i || ss.arRadius[i] > ss.arRadius[i - 1])) << i;
                mass += long(ss.arWeight[i]) * (2 * ss.arRadius[i] + 1);
            }
            // The boxes sum to unity in 16-bit fixed point, less what the integer division drops.
            EXPECT_LE(mass, 65535);
            EXPECT_GT(mass, 65535 - 2 * ss.iLevels * (2 * ss.GetTopRadius() + 1));
        }
    ss.SetRadius(6, true);
    EXPECT_EQ(ss.GetFade(), 257);
    ss.SetRadius(0, true);
    EXPECT_EQ(ss.iLevels, 0);
}

TEST(LImgProSS, MatchesStaircaseOfBoxesOnOddImages)
{
    ThreadCount one(1);
    struct Case
    {
        double r;
        bool maxLevels;
        int w, h;
        pixelformat_t pf;
    } cases[] = {
        {-20, true, 61, 47, B8G8R8A8},   // middle and both ends of every line
        {20, true, 37, 53, B8G8R8},      // sharpen, 24-bit
        {-3.5, false, 23, 19, B8G8R8A8}, // faded
        {1, true, 9, 7, B8G8R8},         // one-pixel sharpen at 1/6 strength
        {-30, true, 13, 11, B8G8R8A8},   // lines shorter than the radius: clipped windows only
        {-120, false, 151, 9, B8G8R8A8}, // past the kernel path's radius, no middle
        {-100, false, 230, 5, B8G8R8A8}, // wide boxes with a middle, along rows
        {97, true, 5, 215, B8G8R8},      // and down columns
        {-9, true, 1, 1, B8G8R8A8},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(testing::Message() << "r=" << c.r << " size " << c.w << "x" << c.h);
        LImageBuffer src, dst, ref;
        ASSERT_TRUE(MakeImage(src, c.w, c.h, c.pf, uint32_t(c.w * 7 + c.h)));
        LImgProSS ss;
        ss.SetRadius(c.r, c.maxLevels);
        EXPECT_EQ(LApplyImageProcess(dst, src, ss), LProcessResultSuccess);
        ReferenceImage(ss, src, ref);
        EXPECT_TRUE(SamePixels(dst, ref));
    }
}

TEST(LImgProSS, InPlaceEqualsTwoBuffers)
{
    LImageBuffer src, dst;
    ASSERT_TRUE(MakeImage(src, 101, 71, B8G8R8A8, 5, true));
    LImgProSS ss;
    ss.SetRadius(-14, true);
    ASSERT_EQ(LApplyImageProcess(dst, src, ss), LProcessResultSuccess);
    ASSERT_EQ(LApplyImageProcess(src, ss), LProcessResultSuccess);
    EXPECT_TRUE(SamePixels(src, dst));
}

TEST(LImgProSS, UniformStaysUniformRadiusZeroCopiesAndStops)
{
    LImageBuffer src, dst;
    ASSERT_TRUE(src.AllocateNewBuffer(LImageFormat(B8G8R8A8, 40, 30)));
    src.Clear(LPixelColour(200, 100, 7, 255));
    LImgProSS ss;
    ss.SetRadius(-25, true);
    ASSERT_EQ(LApplyImageProcess(dst, src, ss), LProcessResultSuccess);
    // Truncation and the integer weights lose at most one level per pass, never gain.
    const int want[4] = {200, 100, 7, 255};
    for (int i = 0; i < 40 * 30 * 4; ++i)
        ASSERT_TRUE(dst.GetData()[i] <= want[i % 4] && dst.GetData()[i] >= want[i % 4] - 2) << i;

    FillNoise(src, 9);
    ss.SetRadius(0, true);
    ASSERT_EQ(LApplyImageProcess(dst, src, ss), LProcessResultSuccess);
    EXPECT_TRUE(SamePixels(dst, src));

    LImageBuffer wrong;
    ASSERT_TRUE(wrong.AllocateNewBuffer(LImageFormat(B5G6R5, 4, 4)));
    EXPECT_EQ(LApplyImageProcess(wrong, ss), LProcessResultFailed);

    TestProcess stop(0);
    ss.SetRadius(-3, true);
    EXPECT_EQ(ss.Process(stop, dst, src), LProcessResultCancelled);
}

TEST(LImgProSS, RowFiltersWithoutFade)
{
    // A row of 3-byte pixels whose channels differ; BlurRow and SharpRow filter each alike and
    // never fade, even at a small radius.
    LImgProSS ss;
    ss.SetRadius(-4, true);
    const int n = 29;
    std::vector<uint8_t> row(n * 3), out(n * 3);
    for (int i = 0; i < n * 3; ++i)
        row[i] = uint8_t(i % 3 == 0 ? (i / 3 < 14 ? 20 : 230) : i * 37);
    LImgProSS::Scratch sc;
    for (bool sharpen : {false, true})
    {
        if (sharpen)
            ss.SharpRow(row.data(), n, 3, out.data(), sc);
        else
            ss.BlurRow(row.data(), n, 3, out.data(), sc);
        for (int c = 0; c < 3; ++c)
        {
            std::vector<uint8_t> line(n);
            for (int x = 0; x < n; ++x)
                line[x] = row[x * 3 + c];
            const std::vector<uint8_t> want = ReferenceLine(ss, line, 257, sharpen);
            for (int x = 0; x < n; ++x)
                EXPECT_EQ(out[x * 3 + c], want[x]) << sharpen << " " << x << " " << c;
        }
    }
}
