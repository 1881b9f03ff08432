#include <gtest/gtest.h>

#include <cmath>

#include "image/LImgPro.h"
#include "imgpro_test_util.h"

namespace
{
double RoundD(double v)
{
    return v < 0 ? std::ceil(v - 0.5) : std::floor(v + 0.5);
}

// Colours around the key, so that every zone of the key is met, with varied alpha.
void FillNearKey(LImageBuffer& b, LPixelColour key, int spread)
{
    LImageIterator it(b);
    for (int i = 0; !it.IsEnd(); it.Next(), ++i)
    {
        auto near = [&](int k, int m)
        { return uint8_t(std::clamp(k + (i * m % (2 * spread + 1)) - spread, 0, 255)); };
        it.Write(LPixelColour(near(key.b, 7), near(key.g, 13), near(key.r, 5), uint8_t(i * 37)));
    }
}

// The chroma key of one pixel, from the formulas; counts the zone it falls in.
LPixelColour ReferenceKey(LPixelColour c, LPixelColour key, int A, int B, bool luma, int* zones)
{
    double d;
    if (luma)
    {
        auto y = [](const LPixelColour& p)
        { return int(0.2567890625 * p.r + 16 + 0.50412890625 * p.g + 0.09790625 * p.b); };
        d = std::abs(std::clamp(y(c) - 16, 0, 219) + 16 - y(key));
    }
    else
    {
        auto cr = [](const LPixelColour& p)
        { return int(0.5 * p.r + 128 - 0.418688 * p.g - 0.081312 * p.b); };
        auto cb = [](const LPixelColour& p)
        { return int(-0.168736 * p.r + 128 - 0.331264 * p.g + 0.5 * p.b); };
        d = std::sqrt(double((cr(key) - cr(c)) * (cr(key) - cr(c)) + (cb(key) - cb(c)) * (cb(key) - cb(c))));
    }
    if (d < A)
        return ++zones[0], LPixelColour(0, 0, 0, 0);
    if (d >= B)
        return ++zones[2], c;
    ++zones[1];
    const double f = luma ? d / 219 : 1 - (d - A) / (B - A), a = c.a / 255.0;
    auto ch = [&](int v, int k) { return uint8_t(std::max(v - (luma ? v : k) * f, 0.0) * a); };
    const int alpha = luma ? int(255 - 255 * f) : int((1 - f) * 255);
    return LPixelColour(ch(c.b, key.b), ch(c.g, key.g), ch(c.r, key.r), uint8_t(std::min(alpha, int(c.a))));
}

// Grey from the integer weights.
int Grey(const LPixelColour& c)
{
    return (c.r * 76 + c.g * 155 + c.b * 25) >> 8;
}

LPixelColour ReadAt(const LImageBuffer& b, int x, int y)
{
    LImageConstIterator it(b);
    it.MoveTo(x, b.GetFormat().bUpsideDown ? b.GetHeight() - 1 - y : y);
    return it.Read();
}
} // namespace

TEST(LImgProChromaKey, ZonesInBothModesOverAllFormats)
{
    // The constructor's automatic mode judges the default green key: chroma. Picking a grey key
    // later doesn't revisit it.
    LImgProChromaKey automatic;
    EXPECT_FALSE(automatic.bLuma);
    automatic.SetPickedColor(128, 128, 128);
    EXPECT_FALSE(automatic.bLuma);
    EXPECT_TRUE(LImgProChromaKey(LImgProChromaKeyLuma).bLuma);

    TestProcess p;
    const struct
    {
        LImgProChromaKeyMode eMode;
        LPixelColour oKey;
        int iA, iB, iSpread;
    } cases[] = {{LImgProChromaKeyChroma, LPixelColour(10, 220, 30, 255), 15, 30, 40},
                 {LImgProChromaKeyChroma, LPixelColour(200, 40, 90, 255), 6, 35, 60},
                 {LImgProChromaKeyLuma, LPixelColour(120, 120, 120, 255), 10, 40, 60}};
    for (const auto& c : cases)
        for (pixelformat_t pf : kKernelFormats)
        {
            LImageBuffer img, ref;
            ASSERT_TRUE(img.AllocateNewBuffer(LImageFormat(pf, 45, 31)));
            ASSERT_TRUE(ref.AllocateNewBuffer(LImageFormat(pf, 45, 31)));
            FillNearKey(img, c.oKey, c.iSpread);
            FillNearKey(ref, c.oKey, c.iSpread);
            LImgProChromaKey key(c.eMode);
            key.SetPickedColor(c.oKey.r, c.oKey.g, c.oKey.b);
            key.byThresholdA = uint8_t(c.iA);
            key.byThresholdB = uint8_t(c.iB);
            ASSERT_TRUE(key.CalculateChromaKey());
            ASSERT_EQ(LApplyImageProcess(img, key, p), 0);
            int zones[3] = {0, 0, 0};
            MapByWidening(ref, [&](LPixelColour px)
                          { return ReferenceKey(px, c.oKey, c.iA, c.iB, c.eMode == 0, zones); });
            EXPECT_TRUE(SamePixels(img, ref)) << c.eMode << " " << pf;
            EXPECT_TRUE(pf != B8G8R8A8 || (zones[0] && zones[1] && zones[2]))
                << c.eMode << ": " << zones[0] << " " << zones[1] << " " << zones[2];
        }

    // Zero tolerance: A 0 and B 1 leave even the key itself alone, tables or not.
    LImageBuffer img, ref;
    ASSERT_TRUE(LCreateBlankImage(img, 3, 2, LPixelColour(0, 255, 0, 200)));
    ASSERT_TRUE(LCreateBlankImage(ref, 3, 2, LPixelColour(0, 255, 0, 200)));
    LImgProChromaKey zero;
    zero.byThresholdA = 0;
    zero.byThresholdB = 1;
    ASSERT_EQ(LApplyImageProcess(img, zero, p), 0);
    EXPECT_TRUE(SamePixels(img, ref));
    // Other thresholds need the tables first.
    LImgProChromaKey unready;
    EXPECT_EQ(LApplyImageProcess(img, unready, p), LProcessResultFailed);
}

TEST(LImgProGradientMap, TableEndsStepsAndFormats)
{
    LList<LGradientMarker> markers;
    markers.AddTail(new LGradientMarker(LPixelColour(0, 0, 0, 255), 0.0f));
    markers.AddTail(new LGradientMarker(LPixelColour(255, 255, 255, 255), 1.0f));
    LImgProGradientMap map(markers);
    // Entry i samples i/256, so the white end is reached only in the limit: 255 * 255/256 rounds
    // to 254. The middle is 127.5, rounded up.
    EXPECT_EQ(map.arColors[0].ToUInt32(), 0xFF000000u);
    EXPECT_EQ(map.arColors[255].ToUInt32(), 0xFFFEFEFEu);
    EXPECT_EQ(map.arColors[128].r, 128);

    // Markers given out of order, one in the middle: each entry mixes its pair in float.
    LList<LGradientMarker> three;
    three.AddTail(new LGradientMarker(LPixelColour(200, 10, 30, 9), 0.8f));
    three.AddTail(new LGradientMarker(LPixelColour(0, 0, 255, 255), 0.1f));
    three.AddTail(new LGradientMarker(LPixelColour(40, 250, 60, 255), 0.35f));
    map.FillColorArray(three);
    const LPixelColour c[3] = {LPixelColour(0, 0, 255, 255), LPixelColour(40, 250, 60, 255),
                               LPixelColour(200, 10, 30, 255)};
    const float pos[3] = {0.1f, 0.35f, 0.8f};
    for (int i = 0; i < 256; ++i)
    {
        const float p = i / 256.0f;
        const int k = p <= pos[1] ? 0 : 1;
        const float f = p > pos[2] ? 1 : std::max(0.0f, (p - pos[k]) / (pos[k + 1] - pos[k]));
        auto mix = [&](uint8_t a, uint8_t b) { return int(RoundD(a * (1 - f) + b * f)); };
        ASSERT_EQ(Bytes(&map.arColors[i].b, 4),
                  (std::vector<int>{mix(c[k].b, c[k + 1].b), mix(c[k].g, c[k + 1].g), mix(c[k].r, c[k + 1].r),
                                    255}))
            << i;
    }

    // One marker: every entry its colour. Two at one place: a hard step after 0.5.
    LList<LGradientMarker> one, step;
    one.AddTail(new LGradientMarker(LPixelColour(5, 6, 7, 255), 0.3f));
    map.FillColorArray(one);
    EXPECT_TRUE(map.arColors[0] == LPixelColour(5, 6, 7, 255) &&
                map.arColors[255] == LPixelColour(5, 6, 7, 255));
    step.AddTail(new LGradientMarker(LPixelColour(0, 0, 0, 255), 0.5f));
    step.AddTail(new LGradientMarker(LPixelColour(255, 255, 255, 255), 0.5f));
    map.FillColorArray(step);
    EXPECT_TRUE(map.arColors[128].r == 0 && map.arColors[129].r == 255);

    map.FillColorArray(three);
    TestProcess pr;
    for (pixelformat_t pf : kKernelFormats)
    {
        LImageBuffer img, ref;
        ASSERT_TRUE(MakeImage(img, 23, 17, pf, 3));
        ASSERT_TRUE(MakeImage(ref, 23, 17, pf, 3));
        ASSERT_EQ(LApplyImageProcess(img, map, pr), 0);
        MapByIterator(ref, [&](LPixelColour px) { return map.arColors[Grey(px)]; });
        EXPECT_TRUE(SamePixels(img, ref)) << pf;
    }
}

TEST(LImgProOilPainting, ModeOfTheWindowOverAllFormats)
{
    TestProcess p;
    for (pixelformat_t pf : kKernelFormats)
        for (auto [w, h, r] :
             {std::tuple{13, 11, 2}, std::tuple{1, 1, 3}, std::tuple{9, 4, 0}, std::tuple{6, 7, 5}})
        {
            LImageBuffer src, dst, ref;
            ASSERT_TRUE(MakeImage(src, w, h, pf, uint32_t(w * r + 1), pf == B8G8R8A8));
            // Few grey values, so that ties and large bins occur.
            MapByWidening(src, [](LPixelColour c)
                          { return LPixelColour(c.b & 0xC0, c.g & 0xE0, c.r & 0xC0, c.a); });
            ASSERT_TRUE(MakeImage(dst, w, h, pf, 1, pf == B8G8R8A8));
            ASSERT_TRUE(MakeImage(ref, w, h, pf, 1, pf == B8G8R8A8));
            LImgProOilPainting oil(r);
            ASSERT_EQ(LApplyImageProcess(dst, src, oil, p), 0);
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                {
                    int count[256] = {}, sum[256][3] = {};
                    for (int v = std::max(0, y - r); v <= std::min(h - 1, y + r); ++v)
                        for (int u = std::max(0, x - r); u <= std::min(w - 1, x + r); ++u)
                        {
                            const LPixelColour c = ReadAt(src, u, v);
                            const int g = Grey(c);
                            ++count[g];
                            sum[g][0] += c.b, sum[g][1] += c.g, sum[g][2] += c.r;
                        }
                    const int m = int(std::max_element(count, count + 256) - count); // first of the largest
                    const LPixelColour want(uint8_t(sum[m][0] / count[m]), uint8_t(sum[m][1] / count[m]),
                                            uint8_t(sum[m][2] / count[m]), ReadAt(src, x, y).a);
                    // Written back through the format's own narrowing.
                    LImageBuffer one;
                    ASSERT_TRUE(one.AllocateNewBuffer(LImageFormat(pf, 1, 1)));
                    MapByWidening(one, [&](LPixelColour) { return want; });
                    ASSERT_EQ(memcmp(Px(dst, x, y), one.GetData(), LGetPixelFormatBits(pf) / 8), 0)
                        << pf << " " << x << "," << y << " r" << r;
                }
        }
    LImageBuffer a, b;
    ASSERT_TRUE(MakeImage(a, 5, 5, B8G8R8A8, 1));
    ASSERT_TRUE(MakeImage(b, 5, 6, B8G8R8A8, 1));
    LImgProOilPainting oil(2);
    EXPECT_EQ(LApplyImageProcess(b, a, oil, p), LProcessResultFailed);
}

TEST(LImgProPixelateVignette, BlocksAndRing)
{
    TestProcess p;
    for (pixelformat_t pf : kKernelFormats)
    {
        LImageBuffer src, dst, ref;
        ASSERT_TRUE(MakeImage(src, 17, 13, pf, 4));
        ASSERT_TRUE(MakeImage(ref, 17, 13, pf, 4));
        ASSERT_TRUE(MakeImage(dst, 17, 13, pf, 1));
        LImgProPixelate pix(5);
        ASSERT_EQ(LApplyImageProcess(dst, src, pix, p), 0);
        // Blocks of 5, 2 at the edges: means of all four channels.
        MapByWidening(ref, [](LPixelColour c) { return c; });
        for (int by = 0; by < 13; by += 5)
            for (int bx = 0; bx < 17; bx += 5)
            {
                int sum[4] = {}, n = 0;
                for (int y = by; y < std::min(by + 5, 13); ++y)
                    for (int x = bx; x < std::min(bx + 5, 17); ++x, ++n)
                    {
                        const LPixelColour c = ReadAt(src, x, y);
                        sum[0] += c.b, sum[1] += c.g, sum[2] += c.r, sum[3] += c.a;
                    }
                LImageBuffer one;
                ASSERT_TRUE(one.AllocateNewBuffer(LImageFormat(pf, 1, 1)));
                MapByWidening(one,
                              [&](LPixelColour) {
                                  return LPixelColour(uint8_t(sum[0] / n), uint8_t(sum[1] / n),
                                                      uint8_t(sum[2] / n), uint8_t(sum[3] / n));
                              });
                for (int y = by; y < std::min(by + 5, 13); ++y)
                    for (int x = bx; x < std::min(bx + 5, 17); ++x)
                        ASSERT_EQ(memcmp(Px(dst, x, y), one.GetData(), LGetPixelFormatBits(pf) / 8), 0) << pf;
            }
        // A block of 1 copies, in place too.
        LImgProPixelate copy(1);
        ASSERT_EQ(LApplyImageProcess(ref, copy, p), 0);
        ASSERT_TRUE(MakeImage(src, 17, 13, pf, 4));
        MapByWidening(src, [](LPixelColour c) { return c; });
        EXPECT_TRUE(SamePixels(ref, src)) << pf;
    }

    // Vignette: q = (dx^2 + dy^2 - R0^2)/(R1^2 - R0^2), R0 = trunc(H*dSize), R1 = trunc(H*0.8).
    for (pixelformat_t pf : kKernelFormats)
    {
        const int w = 151, h = 100;
        LImageBuffer img, ref;
        ASSERT_TRUE(MakeImage(img, w, h, pf, 6));
        ASSERT_TRUE(MakeImage(ref, w, h, pf, 6));
        // The unused top bit of 1-5-5-5 doesn't survive the reference's narrowing.
        MapByWidening(img, [](LPixelColour c) { return c; });
        LImgProVignette v;
        v.dSize = 0.25;
        v.dStrength = 1.5;
        v.iRed = 0xC800, v.iGreen = 0x1400, v.iBlue = 0x3C00;
        ASSERT_EQ(LApplyImageProcess(img, v, p), 0);
        const float a = float(w) / h;
        int y = 0;
        MapByWidening(ref,
                      [&, x = 0](LPixelColour c) mutable
                      {
                          const int dx = int(float(x - w / 2) / a), dy = y - h / 2;
                          if (++x == w)
                              x = 0, ++y;
                          const float q = float(dx * dx + dy * dy - 25 * 25) / float(80 * 80 - 25 * 25);
                          if (q >= 1)
                              return LPixelColour(60, 20, 200, 255);
                          if (q <= 0)
                              return c;
                          const int t = std::min(255, int(q * 255 * 1.5));
                          return LPixelColour(uint8_t((60 * t + c.b * (255 - t)) / 255),
                                              uint8_t((20 * t + c.g * (255 - t)) / 255),
                                              uint8_t((200 * t + c.r * (255 - t)) / 255),
                                              uint8_t((255 * t + c.a * (255 - t)) / 255));
                      });
        EXPECT_TRUE(SamePixels(img, ref)) << pf;
    }
    // On the inner ring, q is exactly 0 and the pixel stays; a 1 x 1 image doesn't divide by zero.
    LImageBuffer img;
    ASSERT_TRUE(LCreateBlankImage(img, 100, 100, LPixelColour(1, 2, 3, 4)));
    LImgProVignette v;
    ASSERT_EQ(LApplyImageProcess(img, v, p), 0);
    EXPECT_EQ(Bytes(Px(img, 50, 75), 4), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_NE(Px(img, 50, 76)[3], 4);
    ASSERT_TRUE(LCreateBlankImage(img, 1, 1, LPixelColour(1, 2, 3, 4)));
    EXPECT_EQ(LApplyImageProcess(img, v, p), 0);
}

TEST(LImgProFisheye, RaysFromTheCentre)
{
    TestProcess p;
    // The reference: source point of each destination pixel, then four-pixel mix or nearest.
    auto reference = [](const LImageBuffer& src, LImageBuffer& dst, float power, float zoom, bool smooth)
    {
        const int w = src.GetWidth(), h = src.GetHeight();
        const float cx = float(w / 2), cy = float(h / 2), diag = std::sqrt(cx * cx + cy * cy);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
            {
                const float dx = x - cx, dy = y - cy, D = diag / power, rm = diag / D;
                float rho = std::sqrt((dx * dx + dy * dy) * 0.5f) / D, g;
                if (power < 0)
                {
                    rho = std::fabs(rho);
                    const float u = rho + (rm - std::sqrt(rm * rm - rho * rho)) * 0.5f;
                    g = u == 0 ? 1 : std::atan(u) / u;
                }
                else
                    g = rho == 0 ? 1 : std::atan(rho) / rho;
                const float sx = cx + dx * g * zoom, sy = cy + dy * g * zoom;
                const int bpp = LGetPixelFormatBits(src.GetPixelFormat()) / 8;
                if (!smooth)
                {
                    const float nx = std::round(sx), ny = std::round(sy);
                    if (nx >= 0 && ny >= 0 && nx < w && ny < h)
                        memcpy(Px(dst, x, y), Px(src, int(nx), int(ny)), bpp);
                    continue;
                }
                const float x0 = std::floor(sx), x1 = std::ceil(sx), y0 = std::floor(sy), y1 = std::ceil(sy);
                if (x0 < 0 || y0 < 0 || x1 > w - 1 || y1 > h - 1)
                    continue;
                const float ax = x0 == x1 ? 0.5f : x1 - sx, bx = x0 == x1 ? 0.5f : sx - x0;
                const float ay = y0 == y1 ? 0.5f : y1 - sy, by = y0 == y1 ? 0.5f : sy - y0;
                const uint8_t *p00 = Px(src, int(x0), int(y0)), *p10 = Px(src, int(x1), int(y0)),
                              *p01 = Px(src, int(x0), int(y1)), *p11 = Px(src, int(x1), int(y1));
                for (int c = 0; c < bpp; ++c)
                {
                    const float top = std::round(p00[c] * ax + p10[c] * bx),
                                bottom = std::round(p01[c] * ax + p11[c] * bx);
                    Px(dst, x, y)[c] = uint8_t(std::round(top * ay + bottom * by));
                }
            }
    };
    for (auto [power, zoom, smooth] : {std::tuple{2.5f, 1.0f, true}, std::tuple{-3.0f, 0.8f, true},
                                       std::tuple{6.0f, 1.3f, false}, std::tuple{-1.5f, 1.0f, false}})
        for (pixelformat_t pf : {B8G8R8A8, B8G8R8})
        {
            LImageBuffer src, dst, ref;
            ASSERT_TRUE(MakeImage(src, 33, 21, pf, 8));
            ASSERT_TRUE(LImage::New(dst, 33, 21, pf) && LImage::New(ref, 33, 21, pf));
            dst.Clear(LPixelColour(0, 0, 0, 255));
            ref.Clear(LPixelColour(0, 0, 0, 255));
            LImgProFisheye lens;
            lens.fPower = power, lens.fZoom = zoom, lens.bSmooth = smooth;
            ASSERT_EQ(LApplyImageProcess(dst, src, lens, p), 0);
            reference(src, ref, power, zoom, smooth);
            EXPECT_TRUE(SamePixels(dst, ref)) << power << " " << pf;
        }
    // No power at zoom 1 copies, on every format; a single pixel has no diagonal to divide by.
    for (pixelformat_t pf : kKernelFormats)
        for (int size : {1, 9})
        {
            LImageBuffer src, dst;
            ASSERT_TRUE(MakeImage(src, size, size + 2, pf, 2));
            ASSERT_TRUE(MakeImage(dst, size, size + 2, pf, 5));
            LImgProFisheye lens;
            lens.bSmooth = false;
            ASSERT_EQ(LApplyImageProcess(dst, src, lens, p), 0);
            EXPECT_TRUE(SamePixels(dst, src)) << pf;
        }
}

TEST(LImgProTiles, RaisedTilesInTheImagesColours)
{
    TestProcess p;
    // A uniform picture: the flat top of a tile keeps the colour, a joint is three eighths of it,
    // the bevel at the top left is lighter and at the bottom right darker. Alpha stays.
    LImageBuffer img;
    ASSERT_TRUE(LCreateBlankImage(img, 200, 100, LPixelColour(40, 100, 200, 77)));
    LImgProTiles tiles;
    tiles.fTileCount = 5;
    tiles.fPadding = 0.1f;
    ASSERT_EQ(LApplyImageProcess(img, tiles, p), 0);
    EXPECT_EQ(Bytes(Px(img, 10, 10), 4), (std::vector<int>{40, 100, 200, 77}));
    EXPECT_EQ(Bytes(Px(img, 0, 10), 4), (std::vector<int>{15, 37, 75, 77}));
    EXPECT_GT(Px(img, 10, 2)[1], 100);
    EXPECT_LT(Px(img, 10, 18)[1], 100);

    // No tiles: nothing changes. All formats and both shapes run.
    LImageBuffer a, ref;
    ASSERT_TRUE(MakeImage(a, 31, 19, B8G8R8, 3));
    ASSERT_TRUE(MakeImage(ref, 31, 19, B8G8R8, 3));
    tiles.fTileCount = 0;
    ASSERT_EQ(LApplyImageProcess(a, tiles, p), 0);
    EXPECT_TRUE(SamePixels(a, ref));
    for (pixelformat_t pf : kKernelFormats)
        for (bool hex : {false, true})
            for (int size : {1, 23})
            {
                ASSERT_TRUE(MakeImage(a, size, size + 4, pf, 3));
                LImgProTiles t;
                t.bHexagonal = hex;
                t.fTileCount = 3;
                EXPECT_EQ(LApplyImageProcess(a, t, p), 0) << pf;
            }
}

TEST(LImgProOverlay, SourceOverKeepsTransparency)
{
    TestProcess p;
    LImageBuffer over;
    ASSERT_TRUE(MakeImage(over, 9, 7, B8G8R8A8, 11));
    for (int i = 0; i < 9; ++i)
        Px(over, i, i % 7)[3] = i % 2 ? 0 : 255; // some clear, some opaque, the rest noise
    for (pixelformat_t pf : kKernelFormats)
        for (int opacity : {255, 170})
        {
            LImageBuffer img, ref;
            ASSERT_TRUE(MakeImage(img, 12, 10, pf, 4));
            ASSERT_TRUE(MakeImage(ref, 12, 10, pf, 4));
            if (pf == B8G8R8A8)
                for (int i = 0; i < 12; ++i)
                    Px(img, i, 3)[3] = Px(ref, i, 3)[3] = i % 3 ? 255 : 0;
            MapByWidening(img, [](LPixelColour c) { return c; });
            // Part of the overlay hangs over the left edge.
            LImgProOverlay o(over, -2, 4, opacity);
            ASSERT_EQ(LApplyImageProcess(img, o, p), 0);
            int y = 0;
            MapByWidening(ref,
                          [&, x = 0](LPixelColour L) mutable
                          {
                              const int ox = x + 2, oy = y - 4;
                              if (++x == 12)
                                  x = 0, ++y;
                              if (ox >= 9 || oy < 0 || oy >= 7)
                                  return L;
                              const uint8_t* S = Px(over, ox, oy);
                              const int a = S[3], e = a * opacity / 255, d = L.a;
                              if (a == 0)
                                  return L;
                              if (d == 0)
                                  return LPixelColour(S[0], S[1], S[2], uint8_t(e));
                              const int o = e + d - e * d / 255;
                              auto ch = [&](int s, int l)
                              { return uint8_t((e * s * 255 - e * d * l + d * l * 255) / (o * 255)); };
                              return LPixelColour(ch(S[0], L.b), ch(S[1], L.g), ch(S[2], L.r), uint8_t(o));
                          });
            EXPECT_TRUE(SamePixels(img, ref)) << pf << " " << opacity;
        }
    // An overlay without alpha is opaque; wholly outside, it draws nothing.
    LImageBuffer rgb, img;
    ASSERT_TRUE(LImage::New(rgb, 2, 2, B8G8R8));
    rgb.Clear(LPixelColour(9, 8, 7, 0));
    ASSERT_TRUE(LCreateBlankImage(img, 4, 4, LPixelColour(100, 100, 100, 255)));
    LImgProOverlay o(rgb, 1, 1, 255);
    ASSERT_EQ(LApplyImageProcess(img, o, p), 0);
    EXPECT_EQ(Bytes(Px(img, 2, 2), 4), (std::vector<int>{9, 8, 7, 255}));
    EXPECT_EQ(Bytes(Px(img, 3, 3), 4), (std::vector<int>{100, 100, 100, 255}));
    o.iX = 4;
    EXPECT_EQ(LApplyImageProcess(img, o, p), 0);
}

TEST(LImgProSobelEdgeDetector, GradientsOnInteriorPixels)
{
    TestProcess p;
    for (pixelformat_t spf : {B8G8R8A8, B8G8R8})
        for (pixelformat_t dpf : {B8G8R8, B8G8R8A8})
        {
            LImageBuffer src, dst;
            ASSERT_TRUE(MakeImage(src, 14, 9, spf, 3));
            ASSERT_TRUE(LImage::New(dst, 14, 9, dpf));
            dst.Clear(LPixelColour(1, 1, 1, 1));
            LImgProSobelEdgeDetector sobel;
            ASSERT_EQ(sobel.Process(p, dst, src), 0);
            const int sb = spf == B8G8R8A8 ? 4 : 3, db = dpf == B8G8R8A8 ? 4 : 3;
            for (int y = 0; y < 9; ++y)
                for (int x = 0; x < 14; ++x)
                    for (int c = 0; c < db; ++c)
                    {
                        int want = 1;
                        if (x > 0 && y > 0 && x < 13 && y < 8)
                        {
                            auto at = [&](int u, int v) { return int(Px(src, x + u, y + v)[c]); };
                            const int gx =
                                at(1, -1) + at(1, 1) - at(-1, -1) - at(-1, 1) + 2 * (at(1, 0) - at(-1, 0));
                            const int gy =
                                at(-1, 1) + at(1, 1) - at(-1, -1) - at(1, -1) + 2 * (at(0, 1) - at(0, -1));
                            want = c == 3 ? (sb == 4 ? at(0, 0) : 255)
                                          : std::min(255, std::abs(gx) + std::abs(gy));
                        }
                        ASSERT_EQ(Px(dst, x, y)[c], want) << x << "," << y << " " << c;
                    }
        }
    // A flat picture has no edges; a new destination is a black 24-bit image.
    LImageBuffer flat, edges;
    ASSERT_TRUE(LCreateBlankImage(flat, 6, 5, LPixelColour(80, 90, 100, 255)));
    ASSERT_EQ(LImgProSobelEdgeDetector().Process(p, edges, flat), 0);
    ASSERT_EQ(edges.GetPixelFormat(), B8G8R8);
    for (int y = 0; y < 5; ++y)
        EXPECT_EQ(Bytes(edges.GetRow(y), 18), std::vector<int>(18, 0));
}

// Odd sizes, so that the bands differ in height and the last one is short.
TEST(LImgProStylise, BandsMatchOneThread)
{
    TestProcess p;
    auto src = [](LImageBuffer& b, int w, int h, pixelformat_t pf = B8G8R8A8)
    { ASSERT_TRUE(MakeImage(b, w, h, pf, uint32_t(w * h), true)); };
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            LImageBuffer in;
            src(in, 53, 71);
            src(out, 53, 71);
            LImgProOilPainting oil(4);
            ASSERT_EQ(LApplyImageProcess(out, in, oil, p), 0);
        }))
        << "oil painting";
    for (bool hex : {false, true})
        EXPECT_TRUE(ThreadedEqualsPlain(
            [&](LImageBuffer& out)
            {
                src(out, 97, 89, B8G8R8);
                LImgProTiles t;
                t.bHexagonal = hex;
                t.fTileCount = 7;
                ASSERT_EQ(LApplyImageProcess(out, t, p), 0);
            }))
            << "tiles " << hex;
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            src(out, 41, 67);
            LImgProChromaKey key;
            key.SetPickedColor(120, 60, 200);
            key.byThresholdB = 200;
            ASSERT_TRUE(key.CalculateChromaKey());
            ASSERT_EQ(LApplyImageProcess(out, key, p), 0);
        }))
        << "chroma key";
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            LImageBuffer in;
            src(in, 45, 91);
            src(out, 45, 91);
            LImgProPixelate pix(4);
            ASSERT_EQ(LApplyImageProcess(out, in, pix, p), 0);
        }))
        << "pixelate";
}
