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
    TestProcess stop;
    stop.iStopAfter = 0;
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
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x)
        {
            EXPECT_EQ(memcmp(Px(a, x, y), Px(b, x, y), 3), 0);
            EXPECT_EQ(Px(a, x, y)[3], x == 3 && y == 2 ? Px(b, x, y)[3] : 255);
        }
}

TEST(LImgProMotionBlur, ThreadedEqualsPlain)
{
    LImageBuffer a, b;
    ASSERT_TRUE(MakeImage(a, 31, 27, B8G8R8A8, 6));
    ASSERT_TRUE(MakeImage(b, 31, 27, B8G8R8A8, 6));
    TestProcess p;
    {
        SingleThreaded one;
        ASSERT_EQ(LImgProMotionBlur(p, a, 6.0, 10, 12, true), 0);
    }
    LImgProSetThreadCount(3);
    ASSERT_EQ(LImgProMotionBlur(p, b, 6.0, 10, 12, true), 0);
    LImgProSetThreadCount(0);
    EXPECT_TRUE(SamePixels(a, b));
}

namespace
{
// Non-local means with direct patch sums, one band over the whole image.
void ReferenceNoise(LImageBuffer& img, const LImgProNoiseSettings& s)
{
    const int w = img.GetWidth(), h = img.GetHeight(), P = s.iPatchRadius, S = s.iSearchRadius;
    auto col = [&](int x, int y, int k) { return Px(img, x, y)[2 - k] / 255.0; };
    auto D = [&](int x, int y, int dx, int dy)
    {
        if (x + dx >= w || y + dy >= h)
            return 0.0;
        double d = 0;
        for (int k = 0; k < 3; ++k)
            d += (col(x, y, k) - col(x + dx, y + dy, k)) * (col(x, y, k) - col(x + dx, y + dy, k));
        return d;
    };
    const double c = -2.0 * s.fNoise * s.fNoise,
                 hh = std::max(std::pow(s.fNoise * s.fSmoothing, 2.0), 0.0001);
    std::vector<double> sum(size_t(w) * h * 4, 0.0);
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
    std::vector<uint8_t> out(size_t(w) * h * 3);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            double* q = &sum[(size_t(y) * w + x) * 4];
            for (int k = 0; k < 3; ++k)
                out[(size_t(y) * w + x) * 3 + k] =
                    uint8_t(std::clamp((q[k] + col(x, y, k)) * 255 / (q[3] + 1), 0.0, 255.0));
        }
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int k = 0; k < 3; ++k)
                Px(img, x, y)[2 - k] = out[(size_t(y) * w + x) * 3 + k];
}
} // namespace

TEST(LImgProNoise, MatchesDirectPatchSumsAndSmoothsNoise)
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
        SingleThreaded one;
        ASSERT_EQ(LImgProNoiseReduction(p, a, s), 0);
    }
    ReferenceNoise(ref, s);
    for (int y = 0; y < 11; ++y)
        for (int x = 0; x < 13; ++x)
        {
            for (int c = 0; c < 3; ++c)
                ASSERT_NEAR(Px(a, x, y)[c], Px(ref, x, y)[c], 1) << x << "," << y;
            ASSERT_EQ(Px(a, x, y)[3], Px(ref, x, y)[3]); // alpha untouched
        }

    // A flat grey with a little noise comes out flatter; bands make the same picture every time.
    LImageBuffer flat, again;
    for (LImageBuffer* b : {&flat, &again})
    {
        ASSERT_TRUE(b->AllocateNewBuffer(LImageFormat(B8G8R8, 40, 30)));
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x)
                memset(Px(*b, x, y), 120 + (x * 7 + y * 13) % 9 - 4, 3);
    }
    LImgProSetThreadCount(2);
    LImgProNoiseSettings d;
    d.iSearchRadius = 4;
    ASSERT_EQ(LImgProNoiseReduction(p, flat, d), 0);
    ASSERT_EQ(LImgProNoiseReduction(p, again, d), 0);
    LImgProSetThreadCount(0);
    EXPECT_TRUE(SamePixels(flat, again));
    int spread = 0;
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x)
            spread = std::max(spread, std::abs(Px(flat, x, y)[0] - 120));
    EXPECT_LE(spread, 2);

    TestProcess stop;
    stop.iStopAfter = 0;
    EXPECT_EQ(LImgProNoiseReduction(stop, flat, d), LProcessResultCancelled);
}
