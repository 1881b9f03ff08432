// Palettes from images and the mapping of pixels to them, checked against a brute-force nearest
// search and a plain reference of the error diffusion written here.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <tuple>

#include "image/LImgProQuantise.h"
#include "imgpro_test_util.h"

namespace
{
using Colour = std::tuple<int, int, int>; // red, green, blue

LPalette<LPFB8G8R8> MakePalette(const std::vector<Colour>& colours, int transparent = -1)
{
    LPalette<LPFB8G8R8> p;
    for (auto [r, g, b] : colours)
        p.Add(LPFB8G8R8{uint8_t(b), uint8_t(g), uint8_t(r)});
    p.iTransparentIndex = transparent;
    return p;
}

std::set<Colour> ColoursOf(const LPalette<LPFB8G8R8>& p, bool withTransparent = false)
{
    std::set<Colour> out;
    for (int i = 0; i < p.GetCount(); ++i)
        if (withTransparent || i != p.iTransparentIndex)
            out.insert({p[i].r, p[i].g, p[i].b});
    return out;
}

// The nearest entry by the definition: smallest squared distance, lowest index on ties.
int BruteForce(const LPalette<LPFB8G8R8>& p, int r, int g, int b)
{
    int best = -1;
    long bestDistance = 0;
    for (int i = 0; i < p.GetCount(); ++i)
    {
        if (i == p.iTransparentIndex)
            continue;
        const long d = long(r - p[i].r) * (r - p[i].r) + long(g - p[i].g) * (g - p[i].g) +
                       long(b - p[i].b) * (b - p[i].b);
        if (best < 0 || d < bestDistance)
            best = i, bestDistance = d;
    }
    return best;
}

uint32_t Next(uint32_t& s)
{
    return s = s * 1664525u + 1013904223u;
}

// An image whose pixels cycle through the colours; alpha 0 where transparent(x, y).
void Paint(LImageBuffer& image, pixelformat_t pf, int w, int h, const std::vector<Colour>& colours,
           bool (*transparent)(int, int) = nullptr)
{
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(pf, w, h)));
    const int step = pf == B8G8R8A8 ? 4 : 3;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            auto [r, g, b] = colours[size_t(y * w + x) % colours.size()];
            uint8_t* p = image.GetRow(y) + x * step;
            p[0] = uint8_t(b), p[1] = uint8_t(g), p[2] = uint8_t(r);
            if (step == 4)
                p[3] = transparent && transparent(x, y) ? 0 : 255;
        }
}

LProcessResult Generate(const LImageBuffer& image, int count, int method, LPalette<LPFB8G8R8>& palette,
                        bool dither = false)
{
    TestProcess process;
    LProcessGeneratePaletteFromImage data;
    data.lpImage = &image;
    data.iColorCount = count;
    data.iMethod = method;
    data.bDither = dither;
    const LProcessResult r = Process(process, data);
    palette = data.palette;
    return r;
}

constexpr int kOctree = 0;
} // namespace

TEST(Palette, NearestEntryByDefinition)
{
    EXPECT_EQ(LPalette<LPFB8G8R8>().GetIndexOfClosestMatch(LPFB8G8R8{1, 2, 3}), -1);
    // Entries 1 and 2 are equally far from (10, 10, 10): the first wins. The transparent entry is
    // never chosen, even when it matches exactly; a palette of it alone has no answer.
    const LPalette<LPFB8G8R8> p = MakePalette({{0, 0, 0}, {10, 10, 12}, {10, 10, 8}, {10, 10, 10}}, 3);
    EXPECT_EQ(p.GetIndexOfClosestMatch(LPFB8G8R8{10, 10, 10}), 1);
    EXPECT_EQ(p.GetIndexOfClosestMatch(LPFB8G8R8{1, 1, 1}), 0);
    EXPECT_EQ(MakePalette({{5, 5, 5}}, 0).GetIndexOfClosestMatch(LPFB8G8R8{5, 5, 5}), -1);
    // Duplicates: the first of them.
    EXPECT_EQ(MakePalette({{9, 9, 9}, {7, 7, 7}, {7, 7, 7}}).GetIndexOfClosestMatch(LPFB8G8R8{7, 7, 7}), 1);
}

TEST(Palette, CacheTableAgreesWithTheSearchEverywhere)
{
    uint32_t s = 7;
    std::vector<LPalette<LPFB8G8R8>> palettes;
    // Random palettes of several sizes, with duplicates and a transparent entry; a clustered one
    // where many entries tie; one entry; a grey ramp.
    for (int count : {1, 2, 17, 255, 256})
    {
        std::vector<Colour> c;
        for (int i = 0; i < count; ++i)
            c.push_back({int(Next(s) >> 24), int(Next(s) >> 24), int(Next(s) >> 24)});
        if (count > 2)
            c[size_t(count / 2)] = c[0];
        palettes.push_back(MakePalette(c, count > 2 ? count - 1 : -1));
    }
    std::vector<Colour> clustered, ramp;
    for (int i = 0; i < 64; ++i)
        clustered.push_back({100 + (i & 3) * 2, 100 + (i >> 2 & 3) * 2, 100 + (i >> 4) * 2});
    for (int i = 0; i < 256; i += 5)
        ramp.push_back({i, i, i});
    palettes.push_back(MakePalette(clustered));
    palettes.push_back(MakePalette(ramp));

    for (const LPalette<LPFB8G8R8>& p : palettes)
    {
        SCOPED_TRACE(p.GetCount());
        LColorMapCacheTable table(p);
        ASSERT_TRUE(table.IsValid());
        // A lattice through the whole cube (block edges included), then random colours, each asked
        // twice so the remembered answers are checked too.
        for (int pass = 0; pass < 2; ++pass)
        {
            for (int r = 0; r < 256; r += 15)
                for (int g = 0; g < 256; g += 15)
                    for (int b = 0; b < 256; b += 15)
                        ASSERT_EQ(table.GetIndex(r, g, b), BruteForce(p, r, g, b))
                            << r << " " << g << " " << b;
            uint32_t t = 99;
            for (int i = 0; i < 5000; ++i)
            {
                const int r = Next(t) >> 24, g = Next(t) >> 24, b = Next(t) >> 24;
                ASSERT_EQ(table.GetIndex(r, g, b), BruteForce(p, r, g, b)) << r << " " << g << " " << b;
            }
        }
    }
    // Two entries as far from the block corner (31, 31, 31) as each other, one inside the block
    // and one outside it: the tie there goes to the lower index, whichever that is.
    for (const LPalette<LPFB8G8R8>& p :
         {MakePalette({{45, 45, 45}, {17, 17, 17}}), MakePalette({{17, 17, 17}, {45, 45, 45}})})
    {
        LColorMapCacheTable table(p);
        for (int r = 16; r < 48; ++r)
            for (int g = 16; g < 48; ++g)
                for (int b = 16; b < 48; ++b)
                    ASSERT_EQ(table.GetIndex(r, g, b), BruteForce(p, r, g, b)) << r << " " << g << " " << b;
    }
    EXPECT_FALSE(LColorMapCacheTable(LPalette<LPFB8G8R8>()).IsValid());
    EXPECT_FALSE(LColorMapCacheTable(MakePalette({{1, 2, 3}}, 0)).IsValid());
}

TEST(Palette, FewColoursComeBackExactly)
{
    // Two pairs share a bin of the 6-bit histogram, so a palette made from bins alone would merge
    // them.
    const std::vector<Colour> colours = {{0, 0, 0},       {1, 1, 1},     {200, 201, 202},
                                         {203, 200, 201}, {255, 0, 128}, {7, 130, 255}};
    for (int method : {kLPaletteMethodMedianCut, kOctree})
        for (pixelformat_t pf : {B8G8R8, B8G8R8A8})
        {
            SCOPED_TRACE(testing::Message() << "method " << method << " format " << pf);
            LImageBuffer image;
            Paint(image, pf, 37, 11, colours);
            LPalette<LPFB8G8R8> p;
            ASSERT_EQ(Generate(image, 256, method, p), LProcessResultSuccess);
            EXPECT_EQ(p.GetCount(), 6);
            EXPECT_EQ(p.iTransparentIndex, -1); // an opaque 32-bit image keeps its slot free
            EXPECT_EQ(ColoursOf(p), std::set<Colour>(colours.begin(), colours.end()));
            // One colour, one entry.
            Paint(image, pf, 5, 3, {{12, 34, 56}});
            ASSERT_EQ(Generate(image, 256, method, p), LProcessResultSuccess);
            EXPECT_EQ(ColoursOf(p), (std::set<Colour>{{12, 34, 56}}));
        }
    // Without counting, every pixel is a point of its own; the result is the same.
    LImageBuffer image;
    Paint(image, B8G8R8, 37, 11, colours);
    LMedianCutColor cut(image, 256, false, false);
    LPalette<LPFB8G8R8> p;
    TestProcess process;
    ASSERT_EQ(cut.GetOptimizedPalette(process, p), LProcessResultSuccess);
    EXPECT_EQ(ColoursOf(p), std::set<Colour>(colours.begin(), colours.end()));
}

TEST(Palette, TransparentPixelsGetAnEntryOfTheirOwn)
{
    // The transparent pixels' colours average to (20, 40, 60); a 32-bit image with none has one
    // entry fewer than asked for, and the dither mode ignores alpha altogether.
    std::vector<Colour> colours;
    for (int i = 0; i < 300; ++i)
        colours.push_back({i % 256, (i * 7) % 256, (i * 13) % 256});
    auto everyFifth = [](int x, int) { return x % 5 == 0; };
    for (int method : {kLPaletteMethodMedianCut, kOctree})
    {
        SCOPED_TRACE(method);
        LImageBuffer image;
        Paint(image, B8G8R8A8, 30, 10, colours, everyFifth);
        for (int y = 0; y < 10; ++y)
            for (int x = 0; x < 30; x += 5)
            {
                uint8_t* px = image.GetRow(y) + x * 4;
                px[2] = x % 10 ? 30 : 10, px[1] = 40, px[0] = 60;
            }
        LPalette<LPFB8G8R8> p;
        ASSERT_EQ(Generate(image, 16, method, p), LProcessResultSuccess);
        ASSERT_EQ(p.GetCount(), 16);
        ASSERT_EQ(p.iTransparentIndex, 15);
        EXPECT_EQ(std::tie(p[15].r, p[15].g, p[15].b),
                  std::make_tuple(uint8_t(20), uint8_t(40), uint8_t(60)));

        Paint(image, B8G8R8A8, 30, 10, colours);
        ASSERT_EQ(Generate(image, 16, method, p), LProcessResultSuccess);
        EXPECT_EQ(p.GetCount(), 15);
        EXPECT_EQ(p.iTransparentIndex, -1);
        Paint(image, B8G8R8A8, 30, 10, colours, everyFifth);
        ASSERT_EQ(Generate(image, 16, method, p, true), LProcessResultSuccess);
        EXPECT_EQ(p.GetCount(), 16);
        EXPECT_EQ(p.iTransparentIndex, -1);
    }
}

TEST(Palette, ManyColoursFollowWhereThePixelsAre)
{
    // Nine tenths of the pixels are one colour, the rest a spread of thousands: the big area gets
    // an entry of its own that matches it, by both methods, and the palette is full and distinct.
    LImageBuffer image;
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(B8G8R8, 400, 300)));
    uint32_t s = 3;
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 400; ++x)
        {
            uint8_t* p = image.GetRow(y) + x * 3;
            const bool flat = y < 270;
            p[0] = flat ? 40 : uint8_t(Next(s) >> 24);
            p[1] = flat ? 90 : uint8_t(Next(s) >> 24);
            p[2] = flat ? 170 : uint8_t(Next(s) >> 24);
        }
    for (int method : {kLPaletteMethodMedianCut, kOctree})
    {
        SCOPED_TRACE(method);
        LPalette<LPFB8G8R8> p;
        ASSERT_EQ(Generate(image, 64, method, p), LProcessResultSuccess);
        EXPECT_EQ(p.GetCount(), 64);
        EXPECT_EQ(ColoursOf(p).size(), 64u);
        const int i = BruteForce(p, 170, 90, 40);
        EXPECT_LE(std::abs(p[i].r - 170) + std::abs(p[i].g - 90) + std::abs(p[i].b - 40), 2);
    }
    // More distinct colours than the octree keeps while it grows.
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(B8G8R8A8, 512, 512)));
    for (int y = 0; y < 512; ++y)
        for (int x = 0; x < 512; ++x)
        {
            uint8_t* px = image.GetRow(y) + x * 4;
            px[0] = uint8_t(x), px[1] = uint8_t(y), px[2] = uint8_t((x >> 8) + (y >> 8) * 2), px[3] = 255;
        }
    LPalette<LPFB8G8R8> p;
    ASSERT_EQ(Generate(image, 256, kOctree, p), LProcessResultSuccess);
    EXPECT_EQ(p.GetCount(), 255);
}

TEST(Palette, FailuresAndStops)
{
    LImageBuffer image, grey;
    Paint(image, B8G8R8A8, 64, 64, {{1, 2, 3}, {4, 5, 6}, {200, 100, 0}});
    ASSERT_TRUE(grey.AllocateNewBuffer(LImageFormat(I8, 4, 4)));
    for (const LImageBuffer* source :
         {static_cast<const LImageBuffer*>(&grey), static_cast<const LImageBuffer*>(nullptr)})
    {
        struct Errors : TestProcess
        {
            void SetError(const char* text) override { arErrors.push_back(text); }
            std::vector<std::string> arErrors;
        } process;
        LProcessGeneratePaletteFromImage data;
        data.lpImage = source;
        EXPECT_EQ(Process(process, data), LProcessResultFailed);
        LProcessConvertImageToIndexed<LPFB8G8R8> convert;
        const LPalette<LPFB8G8R8> p = MakePalette({{0, 0, 0}});
        convert.lpSource = source;
        convert.lpPalette = &p;
        EXPECT_EQ(Process(process, convert), LProcessResultFailed);
        EXPECT_EQ(process.arErrors,
                  (std::vector<std::string>{"Invalid source image", "Invalid source image"}));
    }
    for (int method : {kLPaletteMethodMedianCut, kOctree})
    {
        TestProcess stopper(0);
        LProcessGeneratePaletteFromImage data;
        data.lpImage = &image;
        data.iMethod = method;
        EXPECT_EQ(Process(stopper, data), LProcessResultCancelled);
        TestProcess watch;
        ASSERT_EQ(Process(watch, data), LProcessResultSuccess);
        ASSERT_FALSE(watch.arProgress.empty());
        EXPECT_TRUE(std::is_sorted(watch.arProgress.begin(), watch.arProgress.end()));
        EXPECT_EQ(watch.arProgress.back(), 1.0);
    }
    // Conversion needs a palette of 1 to 256 entries with one that can be chosen.
    LProcessConvertImageToIndexed<LPFB8G8R8> convert;
    convert.lpSource = &image;
    TestProcess process;
    for (const LPalette<LPFB8G8R8>& p : {LPalette<LPFB8G8R8>(), MakePalette({{0, 0, 0}}, 0),
                                         MakePalette(std::vector<Colour>(257, {1, 1, 1}))})
    {
        convert.lpPalette = &p;
        EXPECT_EQ(Process(process, convert), LProcessResultFailed);
    }
    const LPalette<LPFB8G8R8> p = MakePalette({{0, 0, 0}, {255, 255, 255}});
    convert.lpPalette = &p;
    for (bool dither : {false, true})
    {
        convert.bDither = dither;
        TestProcess stopper(3);
        EXPECT_EQ(Process(stopper, convert), LProcessResultCancelled);
    }
}

TEST(IndexedConversion, NearestEntryForEveryPixel)
{
    LImageBuffer image;
    uint32_t s = 11;
    std::vector<Colour> colours;
    for (int i = 0; i < 5000; ++i)
        colours.push_back({int(Next(s) >> 24), int(Next(s) >> 24), int(Next(s) >> 24)});
    const LPalette<LPFB8G8R8> plain = MakePalette({{0, 0, 0},
                                                   {255, 0, 0},
                                                   {0, 255, 0},
                                                   {0, 0, 255},
                                                   {128, 128, 128},
                                                   {255, 255, 255},
                                                   {128, 128, 128}});
    const LPalette<LPFB8G8R8> holed = MakePalette({{0, 0, 0}, {90, 90, 90}, {250, 250, 250}}, 1);
    for (pixelformat_t pf : {B8G8R8, B8G8R8A8})
        for (bool upsideDown : {false, true})
            for (const LPalette<LPFB8G8R8>* p : {&plain, &holed})
            {
                SCOPED_TRACE(testing::Message() << pf << " " << upsideDown << " " << p->GetCount());
                Paint(image, pf, 71, 23, colours, [](int x, int y) { return (x + y) % 7 == 0; });
                image.imf.bUpsideDown = upsideDown;
                LProcessConvertImageToIndexed<LPFB8G8R8> convert;
                convert.lpSource = &image;
                convert.lpPalette = p;
                convert.bDither = false;
                TestProcess process;
                ASSERT_EQ(Process(process, convert), LProcessResultSuccess);
                const LImageBuffer& out = convert.imageIndexed;
                ASSERT_EQ(out.GetPixelFormat(), I8);
                for (int y = 0; y < 23; ++y)
                    for (int x = 0; x < 71; ++x)
                    {
                        const uint8_t* px = image.GetRow(y) + x * (pf == B8G8R8A8 ? 4 : 3);
                        const bool hole = pf == B8G8R8A8 && px[3] == 0 && p->iTransparentIndex >= 0;
                        ASSERT_EQ(out.GetRow(y)[x], hole ? 1 : BruteForce(*p, px[2], px[1], px[0]))
                            << x << ", " << y;
                    }
            }
}

TEST(IndexedConversion, FloydSteinbergAgainstAPlainReference)
{
    // Worked by hand: a row of 100 greys over black and white. The first pixel goes black and
    // leaves 100; its right neighbour gets 100 * 7 >> 4 = 43 and becomes 143, white, leaving -112,
    // whose share -49 makes the third 51, black; and so on.
    LImageBuffer image;
    Paint(image, B8G8R8, 4, 1, {{100, 100, 100}});
    const LPalette<LPFB8G8R8> bw = MakePalette({{0, 0, 0}, {255, 255, 255}});
    LProcessConvertImageToIndexed<LPFB8G8R8> convert;
    convert.lpSource = &image;
    convert.lpPalette = &bw;
    TestProcess process;
    ASSERT_EQ(convert.ConvertWithFloydSteinbergDithering(process), LProcessResultSuccess);
    EXPECT_EQ(Bytes(convert.imageIndexed.GetRow(0), 4), (std::vector<int>{0, 1, 0, 0}));

    // A photo-like image over a small palette, with holes, against a reference that keeps the
    // whole error image and floors the shares in floating point.
    const int w = 53, h = 29;
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(B8G8R8A8, w, h)));
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            uint8_t* p = image.GetRow(y) + x * 4;
            p[0] = uint8_t(x * 4), p[1] = uint8_t(y * 8 + x), p[2] = uint8_t(255 - x * 3);
            p[3] = (x * y) % 11 == 5 ? 0 : 255;
        }
    const LPalette<LPFB8G8R8> p = MakePalette(
        {{0, 0, 0}, {255, 255, 255}, {255, 0, 0}, {40, 200, 90}, {10, 10, 10}, {128, 64, 200}, {250, 250, 0}},
        4);
    convert.lpSource = &image;
    convert.lpPalette = &p;
    ASSERT_EQ(convert.ConvertWithFloydSteinbergDithering(process), LProcessResultSuccess);
    std::vector<double> error(size_t(w + 2) * (h + 1) * 3, 0.0);
    auto err = [&](int x, int y, int c) -> double& { return error[(size_t(y) * (w + 2) + x + 1) * 3 + c]; };
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            const uint8_t* px = image.GetRow(y) + x * 4;
            if (px[3] == 0)
            {
                ASSERT_EQ(convert.imageIndexed.GetRow(y)[x], 4);
                continue;
            }
            int v[3];
            for (int c = 0; c < 3; ++c)
                v[c] = std::clamp(int(px[2 - c] + err(x, y, c)), 0, 255);
            const int i = BruteForce(p, v[0], v[1], v[2]);
            ASSERT_EQ(convert.imageIndexed.GetRow(y)[x], i) << x << ", " << y;
            const int entry[3] = {p[i].r, p[i].g, p[i].b};
            for (int c = 0; c < 3; ++c)
            {
                const double e = v[c] - entry[c];
                err(x + 1, y, c) += std::floor(e * 7 / 16);
                err(x - 1, y + 1, c) += std::floor(e * 3 / 16);
                err(x, y + 1, c) += std::floor(e * 5 / 16);
                err(x + 1, y + 1, c) += std::floor(e / 16);
            }
        }

    // Flat mid-grey over black and white comes out about half white: the error is carried, not lost.
    Paint(image, B8G8R8, 64, 64, {{128, 128, 128}});
    convert.lpSource = &image;
    convert.lpPalette = &bw;
    ASSERT_EQ(convert.ConvertWithFloydSteinbergDithering(process), LProcessResultSuccess);
    int white = 0;
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x)
            white += convert.imageIndexed.GetRow(y)[x];
    EXPECT_NEAR(white, 64 * 64 / 2, 64 * 64 / 50);
}
