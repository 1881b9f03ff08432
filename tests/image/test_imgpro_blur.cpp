#include <gtest/gtest.h>

#include <cmath>

#include "image/LImgPro.h"
#include "imgpro_test_util.h"

namespace
{
// Clipped window means along rows (or columns), in place.
void ReferenceBox(LImageBuffer& b, bool horizontal, int radius)
{
    const int w = b.GetWidth(), h = b.GetHeight();
    const int n = horizontal ? w : h, lines = horizontal ? h : w;
    const int r = std::min(radius, (n - 1) / 2);
    for (int l = 0; l < lines; ++l)
    {
        std::vector<uint8_t> in(size_t(n) * 4);
        for (int k = 0; k < n; ++k)
            memcpy(&in[k * 4], horizontal ? Px(b, k, l) : Px(b, l, k), 4);
        for (int k = 0; k < n; ++k)
            for (int c = 0; c < 4; ++c)
            {
                int sum = 0, count = 0;
                for (int j = std::max(0, k - r); j <= std::min(n - 1, k + r); ++j)
                    sum += in[j * 4 + c], ++count;
                (horizontal ? Px(b, k, l) : Px(b, l, k))[c] = uint8_t(sum / count);
            }
    }
}
} // namespace

TEST(LImageBoxBlur, LinesAndThreadedPassesMatchClippedMeans)
{
    LImageBuffer img, ref;
    ASSERT_TRUE(MakeImage(img, 23, 9, B8G8R8A8, 3));
    ASSERT_TRUE(MakeImage(ref, 23, 9, B8G8R8A8, 3));
    TestProcess p;
    // Only lines 2 to 5 change; a radius past the line is capped at (length - 1) / 2.
    ASSERT_EQ(LImageBoxBlur(p, img, false, 2, 4, 50), 0);
    LImageBuffer part;
    ASSERT_TRUE(MakeImage(part, 23, 9, B8G8R8A8, 3));
    ReferenceBox(part, false, 50);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 23; ++x)
            ASSERT_EQ(memcmp(Px(img, x, y), Px(x >= 2 && x < 6 ? part : ref, x, y), 4), 0) << x << "," << y;

    for (int threads : {1, 3})
    {
        LImageBuffer a;
        ASSERT_TRUE(MakeImage(a, 41, 29, B8G8R8A8, 8, threads == 3));
        ASSERT_TRUE(MakeImage(ref, 41, 29, B8G8R8A8, 8, threads == 3));
        LImageBlurSettings s;
        s.lpImage = &a;
        s.iRadius = 4;
        s.iThreads = threads;
        s.iPasses = 2;
        ASSERT_EQ(Process(p, s), 0);
        for (bool horizontal : {true, true, false, false})
            ReferenceBox(ref, horizontal, 4);
        EXPECT_TRUE(SamePixels(a, ref)) << threads;
    }
    TestProcess stop(0);
    LImageBlurSettings s;
    s.lpImage = &img;
    s.iRadius = 2;
    s.iPasses = 3;
    EXPECT_EQ(Process(stop, s), LProcessResultCancelled);
}

TEST(LImgProMotionBlur, WorkedLinesCentreAndZeroRadius)
{
    // One row: the half of the smaller side is 0, so every pixel gets the full length.
    LImageBuffer row;
    ASSERT_TRUE(row.AllocateNewBuffer(LImageFormat(B8G8R8A8, 6, 1)));
    const int v[6] = {0, 30, 60, 90, 120, 250};
    for (int x = 0; x < 6; ++x)
    {
        memset(Px(row, x, 0), v[x], 3);
        Px(row, x, 0)[3] = 7;
    }
    TestProcess p;
    // Zoom from the left end runs along the row: means of three, two at the far end.
    ASSERT_EQ(LImgProMotionBlur(p, row, 1.0, 0, 0, false), 0);
    const int want[6] = {0, 30, 60, 90, (90 + 120 + 250) / 3, (120 + 250) / 2};
    EXPECT_EQ(Px(row, 0, 0)[3], 7); // the centre is kept, alpha and all
    for (int x = 0; x < 6; ++x)
        for (int c = 0; c < 3; ++c)
            EXPECT_EQ(Px(row, x, 0)[c], want[x]) << x;
    EXPECT_EQ(Px(row, 5, 0)[3], 255);

    // Spin on one row goes across it: only the pixel itself is inside.
    LImageBuffer a, b;
    ASSERT_TRUE(MakeImage(a, 9, 1, B8G8R8, 4));
    ASSERT_TRUE(MakeImage(b, 9, 1, B8G8R8, 4));
    ASSERT_EQ(LImgProMotionBlur(p, a, 3.0, 0, 0, true), 0);
    EXPECT_TRUE(SamePixels(a, b));

    // Radius 0 keeps colours and makes alpha opaque.
    ASSERT_TRUE(MakeImage(a, 7, 5, B8G8R8A8, 2));
    ASSERT_TRUE(MakeImage(b, 7, 5, B8G8R8A8, 2));
    ASSERT_EQ(LImgProMotionBlur(p, a, 0.0, 3, 2, true), 0);
    for (int i = 0; i < 35; ++i)
    {
        const uint8_t *q = Px(a, i % 7, i / 7), *o = Px(b, i % 7, i / 7);
        EXPECT_TRUE(!memcmp(q, o, 3) && q[3] == (i == 17 ? o[3] : 255)) << i;
    }
}

namespace
{
// Non-local means with direct patch sums, one band over the whole image.
void ReferenceNoise(LImageBuffer& img, const LImgProNoiseSettings& s)
{
    const int w = img.GetWidth(), h = img.GetHeight(), P = s.iPatchRadius, S = s.iSearchRadius;
    std::vector<double> in(size_t(w) * h * 3), sum(size_t(w) * h * 4, 0.0);
    for (int i = 0; i < w * h; ++i)
        for (int k = 0; k < 3; ++k)
            in[i * 3 + k] = Px(img, i % w, i / w)[2 - k] / 255.0;
    auto col = [&](int x, int y, int k) { return in[(size_t(y) * w + x) * 3 + k]; };
    auto D = [&](int x, int y, int dx, int dy)
    {
        double d = 0;
        for (int k = 0; k < 3 && x + dx < w && y + dy < h; ++k)
            d += std::pow(col(x, y, k) - col(x + dx, y + dy, k), 2);
        return d;
    };
    const double c = -2.0 * s.fNoise * s.fNoise,
                 hh = std::max(std::pow(s.fNoise * s.fSmoothing, 2.0), 0.0001);
    for (int dy = 0; dy <= S; ++dy)
        for (int dx = 0; dx <= S; ++dx)
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                {
                    if ((dx == 0 && dy == 0) || x + dx >= w || y + dy >= h)
                        continue;
                    double patch = 0;
                    for (int j = std::max(0, y - P); j <= std::min(h - 1, y + P); ++j)
                        for (int i = std::max(0, x - P); i <= std::min(w - 1, x + P); ++i)
                            patch += D(i, j, dx, dy);
                    const double wt = std::exp(-std::max(patch + c, 0.0) / hh);
                    const size_t a = (size_t(y) * w + x) * 4, b = (size_t(y + dy) * w + x + dx) * 4;
                    for (int k = 0; k < 3; ++k)
                    {
                        sum[b + k] += wt * col(x, y, k);
                        sum[a + k] += wt * col(x + dx, y + dy, k);
                    }
                    sum[a + 3] += wt;
                    sum[b + 3] += wt;
                }
    for (int i = 0; i < w * h; ++i)
        for (int k = 0; k < 3; ++k)
            Px(img, i % w, i / w)[2 - k] = uint8_t(
                std::clamp((sum[i * 4 + k] + in[i * 3 + k]) * 255 / (sum[i * 4 + 3] + 1), 0.0, 255.0));
}
} // namespace

TEST(LImgProNoise, MatchesDirectPatchSumsAndStops)
{
    LImgProNoiseSettings s;
    s.fNoise = 0.3f;
    s.fSmoothing = 0.8f;
    s.iPatchRadius = 1;
    s.iSearchRadius = 2;
    LImageBuffer a, ref;
    ASSERT_TRUE(MakeImage(a, 13, 11, B8G8R8A8, 17));
    ASSERT_TRUE(MakeImage(ref, 13, 11, B8G8R8A8, 17));
    TestProcess p;
    {
        ThreadCount one(1);
        ASSERT_EQ(LImgProNoiseReduction(p, a, s), 0);
    }
    ReferenceNoise(ref, s);
    // Rounding of the sums may differ by one; alpha is untouched.
    for (int i = 0; i < 13 * 11 * 4; ++i)
        ASSERT_NEAR(a.GetData()[i], ref.GetData()[i], i % 4 == 3 ? 0 : 1) << i;

    TestProcess stop(0);
    EXPECT_EQ(LImgProNoiseReduction(stop, a, s), LProcessResultCancelled);
}
