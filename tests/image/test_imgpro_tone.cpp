#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <utility>

#include "image/LImgPro.h"
#include "imgpro_test_util.h"

namespace
{
using Points = std::vector<std::pair<int, int>>;
using Table = std::array<int, 256>;

float RoundF(float v)
{
    return v < 0 ? std::ceil(v - 0.5f) : std::floor(v + 0.5f);
}

// The curve table straight from the description: phantom ends, windows of four, knots by the
// fourth root of the squared gaps, the Barry-Goldman recurrence in float, the averaging rules,
// then the flat ends. Starts from the table given.
Table ReferenceCurve(const Points& in, Table t)
{
    Points p = in;
    const size_t n = in.size();
    p.insert(p.begin(), {2 * in[0].first - in[1].first, 2 * in[0].second - in[1].second});
    p.push_back({2 * in[n - 1].first - in[n - 2].first, 2 * in[n - 1].second - in[n - 2].second});
    for (size_t k = 0; k + 3 < p.size(); ++k)
    {
        float xs[4], ys[4], kt[4] = {0, 0, 0, 0};
        for (int j = 0; j < 4; ++j)
            xs[j] = float(p[k + j].first), ys[j] = float(p[k + j].second);
        for (int j = 1; j < 4; ++j)
        {
            const float dx = xs[j] - xs[j - 1], dy = ys[j] - ys[j - 1];
            kt[j] = kt[j - 1] + std::pow(dx * dx + dy * dy, 0.25f);
        }
        auto bg = [&](const float* q, float u)
        {
            const float* s = kt;
            const float a1 = ((s[1] - u) * q[0] + (u - s[0]) * q[1]) / (s[1] - s[0]);
            const float a2 = ((s[2] - u) * q[1] + (u - s[1]) * q[2]) / (s[2] - s[1]);
            const float a3 = ((s[3] - u) * q[2] + (u - s[2]) * q[3]) / (s[3] - s[2]);
            const float b1 = ((s[2] - u) * a1 + (u - s[0]) * a2) / (s[2] - s[0]);
            const float b2 = ((s[3] - u) * a2 + (u - s[1]) * a3) / (s[3] - s[1]);
            return ((s[2] - u) * b1 + (u - s[1]) * b2) / (s[2] - s[1]);
        };
        const int steps = int(xs[2] - xs[1]);
        int prev = int(xs[1]);
        for (int i = 0; i <= steps; ++i)
        {
            const float u = i * (kt[2] - kt[1]) / steps + kt[1];
            const int x = int(std::clamp(RoundF(bg(xs, u)), 0.0f, 255.0f));
            const int y = int(std::clamp(RoundF(bg(ys, u)), 0.0f, 255.0f));
            if (x == prev)
                t[x] = (t[x] + y) >> 1;
            else
            {
                t[x] = y;
                for (int j = prev + 1; j < x; ++j)
                    t[j] = (t[prev] + t[x]) >> 1;
            }
            prev = x;
        }
    }
    for (int i = 0; i < in.front().first; ++i)
        t[i] = std::clamp(in.front().second, 0, 255);
    for (int i = in.back().first; in.back().first < 255 && i < 256; ++i)
        t[i] = std::clamp(in.back().second, 0, 255);
    return t;
}

Table Identity()
{
    Table t;
    for (int i = 0; i < 256; ++i)
        t[i] = i;
    return t;
}

LCurveSettings MakeCurve(const Points& p)
{
    LCurveSettings c;
    c.RemoveAllPoints();
    for (auto [x, y] : p)
        c.AddPoint(x, y);
    c.UpdateCurveValues();
    return c;
}

Table Values(const LCurveSettings& c)
{
    Table t;
    for (int i = 0; i < 256; ++i)
        t[i] = c.arValues[i];
    return t;
}

// Levels straight from the description.
Table ReferenceLevels(const LColorLevelSettings& s)
{
    Table t;
    const double g = std::pow(double(2.2f), (double(s.fMidtone) - 0.5) * 6);
    for (int i = 0; i < 256; ++i)
    {
        if (i <= s.byInputLow)
            t[i] = s.byOutputLow;
        else if (i >= s.byInputHigh)
            t[i] = s.byOutputHigh;
        else
        {
            const double f = std::pow(double(i - s.byInputLow) / (s.byInputHigh - s.byInputLow), g);
            const double v = s.byOutputHigh * f + (1 - f) * s.byOutputLow;
            t[i] = int(v < 0 ? std::ceil(v - 0.5) : std::floor(v + 0.5));
        }
    }
    return t;
}

// Each channel through its table, then all three through the RGB table.
LPixelColour Chain(LPixelColour c, const Table& rgb, const Table& r, const Table& g, const Table& b)
{
    return LPixelColour(uint8_t(rgb[b[c.b]]), uint8_t(rgb[g[c.g]]), uint8_t(rgb[r[c.r]]), c.a);
}

LColorLevelSettings Levels(int inLow, int inHigh, float mid, int outLow = 0, int outHigh = 255)
{
    LColorLevelSettings s;
    s.byInputLow = uint8_t(inLow);
    s.byInputHigh = uint8_t(inHigh);
    s.fMidtone = mid;
    s.byOutputLow = uint8_t(outLow);
    s.byOutputHigh = uint8_t(outHigh);
    return s;
}
} // namespace

TEST(LCurveSettings, TablesFollowTheSpline)
{
    // A new curve is the identity and stays so.
    LCurveSettings c;
    c.UpdateCurveValues();
    EXPECT_EQ(Values(c), Identity());
    EXPECT_TRUE(c.IsIdentity());

    // The curves the effects build: brightness at both ends, contrast, and a filter's channels
    // with flat ends.
    const Points curves[] = {
        {{0, 0}, {128, 254}, {255, 255}},
        {{0, 0}, {254, 128}, {255, 255}},
        {{0, 0}, {80, 48}, {176, 208}, {255, 255}},
        {{0, 43}, {53, 134}, {107, 198}, {255, 255}},
        {{0, 27}, {56, 87}, {214, 219}, {255, 219}},
        {{0, 85}, {49, 85}, {122, 100}, {201, 167}, {255, 167}},
        {{30, 10}, {200, 100}},
        {{0, 0}, {100, 100}, {255, 255}},
    };
    for (const Points& p : curves)
    {
        const LCurveSettings made = MakeCurve(p);
        EXPECT_EQ(Values(made), ReferenceCurve(p, Identity())) << p[1].first << "," << p[1].second;
        // Every interior point is met, to the averaging of samples that share an input.
        for (size_t i = 1; i + 1 < p.size(); ++i)
            EXPECT_NEAR(made.arValues[p[i].first], p[i].second, 1);
    }
    // Collinear points keep the straight line.
    EXPECT_EQ(Values(MakeCurve(curves[7])), Identity());
    // Outside the points the ends hold.
    const LCurveSettings ends = MakeCurve(curves[6]);
    EXPECT_TRUE(ends.arValues[0] == 10 && ends.arValues[29] == 10 && ends.arValues[200] == 100 &&
                ends.arValues[255] == 100);

    // Equality is by points only, and copies carry table and points.
    LCurveSettings d = MakeCurve(curves[0]), e;
    EXPECT_FALSE(d == e);
    e.AddPoint(128, 254);
    EXPECT_TRUE(d == e);
    LCurveSettings f(d);
    EXPECT_TRUE(f == d && Values(f) == Values(d));
    // Points stay ordered by x.
    LCurveSettings g;
    g.AddPoint(200, 1);
    g.AddPoint(10, 2);
    std::vector<int> xs;
    for (const LCurvePoint* q = g.listPoints.GetFirst(); q; q = q->GetNextItem())
        xs.push_back(q->iX);
    EXPECT_EQ(xs, (std::vector<int>{0, 10, 200, 255}));

    // Two points at one x don't break the table: it stays monotonic around the step.
    const LCurveSettings step = MakeCurve({{0, 0}, {100, 20}, {100, 200}, {255, 255}});
    for (int i = 1; i < 256; ++i)
        EXPECT_GE(step.arValues[i] + 1, step.arValues[i - 1]) << i;
}

TEST(LImgProCurves, AllFormatsThroughTheChannelThenRGBCurves)
{
    const LCurveSettings rgb = MakeCurve({{0, 0}, {80, 48}, {176, 208}, {255, 255}});
    const LCurveSettings red = MakeCurve({{0, 43}, {53, 134}, {107, 198}, {255, 255}});
    const LCurveSettings blue = MakeCurve({{0, 85}, {49, 85}, {122, 100}, {201, 167}, {255, 167}});
    const LCurveSettings id;
    TestProcess p;
    for (pixelformat_t pf : kKernelFormats)
        for (auto [w, h] : {std::pair{1, 1}, std::pair{37, 23}})
        {
            LImageBuffer img, ref;
            ASSERT_TRUE(MakeImage(img, w, h, pf, 5, pf == B8G8R8));
            ASSERT_TRUE(MakeImage(ref, w, h, pf, 5, pf == B8G8R8));
            LImgProCurves curves(rgb, red, id, blue);
            ASSERT_EQ(LApplyImageProcess(img, curves, p), 0);
            MapByIterator(ref, [&](LPixelColour c)
                          { return Chain(c, Values(rgb), Values(red), Identity(), Values(blue)); });
            EXPECT_TRUE(SamePixels(img, ref)) << pf << " " << w;

            // Identity curves leave every format as it was, 1-5-5-5 included.
            LImgProCurves none;
            ASSERT_EQ(LApplyImageProcess(img, none, p), 0);
            EXPECT_TRUE(SamePixels(img, ref)) << pf;
        }

    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            ASSERT_TRUE(MakeImage(out, 41, 67, B8G8R8A8, 9));
            LImgProCurves k(rgb, red, red, blue);
            ASSERT_EQ(k.Process(p, out), 0);
            // The workers are kept: a second run on the same kernel object gives the same.
            LImageBuffer again;
            ASSERT_TRUE(MakeImage(again, 41, 67, B8G8R8A8, 9));
            ASSERT_EQ(k.Process(p, again), 0);
            EXPECT_TRUE(SamePixels(out, again));
        }));

    // A stop after the first band's wait stops the workers and gives 1; the kernel still runs
    // afterwards.
    ThreadCount three(3);
    LImgProCurves k(rgb);
    LImageBuffer img;
    ASSERT_TRUE(MakeImage(img, 30, 300, B8G8R8A8, 4));
    TestProcess stop(0);
    EXPECT_EQ(k.Process(stop, img), LProcessResultCancelled);
    EXPECT_EQ(k.Process(p, img), 0);
    LImageBuffer bad;
    EXPECT_EQ(k.Process(p, bad), LProcessResultFailed);
}

TEST(LImgProColorLevels, TablesAndAllFormats)
{
    uint8_t t[256];
    // The straight stretch rounds half away: 75/150 of 255 is 127.5.
    LImgProColorLevels::MapValues(t, Levels(50, 200, 0.5f));
    EXPECT_TRUE(t[50] == 0 && t[125] == 128 && t[200] == 255 && t[49] == 0 && t[255] == 255);
    // Midtone 1 is the exponent 2.2^3 with 2.2 as a float: 10.648...
    LImgProColorLevels::MapValues(t, Levels(0, 255, 1.0f));
    EXPECT_TRUE(t[200] == 19 && t[128] == 0 && t[230] == 85 && t[250] == 207);
    // Low at or above high is a step at the low input.
    LImgProColorLevels::MapValues(t, Levels(100, 90, 0.5f, 10, 240));
    EXPECT_TRUE(t[100] == 10 && t[101] == 240 && t[0] == 10);
    for (const LColorLevelSettings& s :
         {Levels(0, 255, 0.0f), Levels(20, 235, 0.3f, 5, 250), Levels(0, 255, 0.5f, 255, 0)})
    {
        LImgProColorLevels::MapValues(t, s);
        const Table ref = ReferenceLevels(s);
        EXPECT_TRUE(std::equal(ref.begin(), ref.end(), t)) << s.fMidtone;
    }

    const LColorLevelSettings rgb = Levels(20, 235, 0.6f, 0, 250), green = Levels(0, 225, 0.45f);
    TestProcess p;
    for (pixelformat_t pf : kKernelFormats)
    {
        LImageBuffer img, ref;
        ASSERT_TRUE(MakeImage(img, 19, 7, pf, 8));
        ASSERT_TRUE(MakeImage(ref, 19, 7, pf, 8));
        LImgProColorLevels levels(rgb, LColorLevelSettings(), green, LColorLevelSettings());
        ASSERT_EQ(LApplyImageProcess(img, levels, p), 0);
        MapByIterator(
            ref, [&](LPixelColour c)
            { return Chain(c, ReferenceLevels(rgb), Identity(), ReferenceLevels(green), Identity()); });
        EXPECT_TRUE(SamePixels(img, ref)) << pf;
        // Default settings change nothing at all.
        LImgProColorLevels none;
        ASSERT_EQ(LApplyImageProcess(img, none, p), 0);
        EXPECT_TRUE(SamePixels(img, ref)) << pf;
    }
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            ASSERT_TRUE(MakeImage(out, 301, 211, B8G8R8A8, 3));
            ASSERT_EQ(LImgProColorLevels(rgb).Process(p, out), 0);
        }));
    LImageBuffer bad;
    EXPECT_EQ(LImgProColorLevels(rgb).Process(p, bad), LProcessResultFailed);
    // The stop is asked once, at the end.
    LImageBuffer img;
    ASSERT_TRUE(MakeImage(img, 5, 40, B8G8R8, 1));
    TestProcess stop(0);
    EXPECT_EQ(LImgProColorLevels(rgb).Process(stop, img), LProcessResultCancelled);
    EXPECT_EQ(stop.iStopCalls, 1);
}

TEST(LImgProExposureTemperature, TablesMatricesAndFormats)
{
    // (1 - exp(k ln(1 - i/256))) * 256 + 0.5, worked by hand for k = 2, 0.1 and 10.
    LImgProExposure e(2.0);
    EXPECT_TRUE(e.arTable[1] == 2 && e.arTable[64] == 112 && e.arTable[128] == 192 && e.arTable[255] == 255);
    e.SetExposure(0.1);
    EXPECT_TRUE(e.arTable[64] == 7 && e.arTable[200] == 36 && e.arTable[255] == 109);
    e.SetExposure(10);
    EXPECT_TRUE(e.arTable[1] == 10 && e.arTable[64] == 242);
    e.SetExposure(1.0);
    const Table id = Identity();
    EXPECT_EQ(Bytes(e.arTable, 256), std::vector<int>(id.begin(), id.end()));

    // The matrices at both ends of the slider and at -1.
    LImgProTemperature cool(-64), warm(64), slight(-1);
    EXPECT_EQ(Bytes(&cool.m0, 9), (std::vector<int>{177, 38, 38, 0, 230, 25, 0, 0, 255}));
    EXPECT_EQ(Bytes(&warm.m0, 9), (std::vector<int>{255, 0, 0, 25, 230, 0, 38, 38, 178}));
    EXPECT_TRUE(slight.m0 == 253 && slight.m4 == 254 && slight.m1 == 0);

    TestProcess p;
    for (pixelformat_t pf : {B8G8R8A8, B8G8R8})
    {
        const int bpp = pf == B8G8R8A8 ? 4 : 3;
        LImageBuffer img;
        ASSERT_TRUE(img.AllocateNewBuffer(LImageFormat(pf, 2, 1)));
        const uint8_t px[2][4] = {{50, 100, 200, 7}, {255, 255, 255, 9}};
        memcpy(Px(img, 0, 0), px[0], bpp);
        memcpy(Px(img, 1, 0), px[1], bpp);
        ASSERT_EQ(LApplyImageProcess(img, warm, p), 0);
        // (255*200 + 25*100 + 38*50) >> 8 = 216 and so on; white overflows and is capped.
        EXPECT_EQ(Bytes(Px(img, 0, 0), 3), (std::vector<int>{34, 97, 216}));
        EXPECT_EQ(Px(img, 1, 0)[2], 255);
        memcpy(Px(img, 0, 0), px[0], bpp);
        ASSERT_EQ(LApplyImageProcess(img, cool, p), 0);
        EXPECT_EQ(Bytes(Px(img, 0, 0), 3), (std::vector<int>{89, 119, 138}));
        EXPECT_TRUE(bpp == 3 || (Px(img, 0, 0)[3] == 7 && Px(img, 1, 0)[3] == 9));

        // Exposure on odd sizes against its own table, alpha untouched.
        LImageBuffer a, ref;
        ASSERT_TRUE(MakeImage(a, 13, 9, pf, 2));
        ASSERT_TRUE(MakeImage(ref, 13, 9, pf, 2));
        LImgProExposure bright(3.0);
        ASSERT_EQ(LApplyImageProcess(a, bright, p), 0);
        MapByWidening(
            ref, [&](LPixelColour c)
            { return LPixelColour(bright.arTable[c.b], bright.arTable[c.g], bright.arTable[c.r], c.a); });
        EXPECT_TRUE(SamePixels(a, ref));
        // Exposure 1 and temperature 0 leave the image alone; the latter only reports completion.
        LImgProExposure one(1.0);
        LImgProTemperature zero(0);
        TestProcess q;
        ASSERT_EQ(LApplyImageProcess(a, one, q), 0);
        ASSERT_EQ(LApplyImageProcess(a, zero, q), 0);
        EXPECT_TRUE(SamePixels(a, ref));
        EXPECT_EQ(q.arProgress.back(), 1.0);
    }
    // Both ends of the slider on wider images, against the matrix product with its cap.
    for (const LImgProTemperature& t : {cool, warm, LImgProTemperature(17)})
        for (pixelformat_t pf : {B8G8R8A8, B8G8R8})
        {
            LImageBuffer a, ref;
            ASSERT_TRUE(MakeImage(a, 37, 5, pf, 12));
            ASSERT_TRUE(MakeImage(ref, 37, 5, pf, 12));
            ASSERT_EQ(LApplyImageProcess(a, t, p), 0);
            MapByWidening(ref,
                          [&](LPixelColour c)
                          {
                              auto ch = [&](int wr, int wg, int wb)
                              { return uint8_t(std::min((wr * c.r + wg * c.g + wb * c.b) >> 8, 255)); };
                              return LPixelColour(ch(t.m2, t.m5, t.m8), ch(t.m1, t.m4, t.m7),
                                                  ch(t.m0, t.m3, t.m6), c.a);
                          });
            EXPECT_TRUE(SamePixels(a, ref)) << t.iTemperature << " " << pf;
        }
    // Their loops have no 16-bit form, and don't walk such a buffer with the wrong pixel size.
    LImageBuffer s16;
    ASSERT_TRUE(MakeImage(s16, 5, 5, B5G6R5, 1));
    EXPECT_EQ(LApplyImageProcess(s16, warm, p), LProcessResultFailed);
    EXPECT_EQ(LApplyImageProcess(s16, e, p), LProcessResultFailed);
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            ASSERT_TRUE(MakeImage(out, 57, 131, B8G8R8, 6));
            ASSERT_EQ(LImgProTemperature(-40).Process(p, out), 0);
        }));
    // A stop is seen after the row it interrupts.
    LImageBuffer img;
    ASSERT_TRUE(MakeImage(img, 4, 20, B8G8R8A8, 1));
    TestProcess stop(0);
    EXPECT_EQ(warm.Process(stop, img), LProcessResultCancelled);
}

TEST(LImgProAutoLevels, ClipsAPercentAtEachEnd)
{
    TestProcess p;
    // A constant image: lo == hi in every channel, which maps that value to 128.
    LImageBuffer flat, out;
    ASSERT_TRUE(LCreateBlankImage(flat, 20, 10, LPixelColour(30, 90, 200, 60)));
    ASSERT_EQ(LImgProAutoLevels().Process(p, out, flat), 0);
    EXPECT_EQ(Bytes(Px(out, 7, 3), 3), (std::vector<int>{128, 128, 128}));

    // Under 99 pixels the threshold is 0: lo 0, hi 255, the identity.
    LImageBuffer small, ref;
    ASSERT_TRUE(MakeImage(small, 7, 7, B8G8R8, 2));
    ASSERT_TRUE(MakeImage(ref, 7, 7, B8G8R8, 2));
    ASSERT_EQ(LImgProAutoLevels().Process(p, small, small), 0);
    EXPECT_TRUE(SamePixels(small, ref));

    // 200 pixels, threshold 2: red runs 10, 11, ... so two pixels clip at each end.
    LImageBuffer ramp;
    ASSERT_TRUE(ramp.AllocateNewBuffer(LImageFormat(B8G8R8A8, 20, 10)));
    for (int i = 0; i < 200; ++i)
    {
        uint8_t* q = Px(ramp, i % 20, i / 20);
        q[2] = uint8_t(10 + i);
        q[1] = uint8_t(i % 2 ? 250 : 5); // two values: 5 -> 0, 250 -> 255
        q[0] = 77;
        q[3] = uint8_t(i);
    }
    LImageBuffer dst;
    ASSERT_TRUE(dst.AllocateNewBuffer(LImageFormat(B8G8R8A8, 20, 10)));
    dst.Clear(LPixelColour(0, 0, 0, 3));
    TestProcess q;
    ASSERT_EQ(LImgProAutoLevels().Process(q, dst, ramp), 0);
    for (int i = 0; i < 200; ++i)
    {
        const int v = 10 + i, lo = 11, hi = 208;
        const int red = v <= lo ? 0 : v >= hi ? 255 : ((v - lo) << 8) / (hi - lo + 1);
        const uint8_t* d = Px(dst, i % 20, i / 20);
        ASSERT_EQ(Bytes(d, 4), (std::vector<int>{128, i % 2 ? 255 : 0, red, 3})) << i; // alpha untouched
    }
    EXPECT_DOUBLE_EQ(q.arProgress.back(), 1.0);

    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& o)
        {
            LImageBuffer in;
            ASSERT_TRUE(MakeImage(in, 61, 203, B8G8R8, 7));
            ASSERT_EQ(LImgProAutoLevels().Process(p, o, in), 0);
        }));
    LImageBuffer s16;
    ASSERT_TRUE(MakeImage(s16, 3, 3, B5G5R5X1, 1));
    EXPECT_EQ(LImgProAutoLevels().Process(p, s16, s16), LProcessResultFailed);
}
