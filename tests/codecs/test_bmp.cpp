// BMP and DIB against files written by ImageMagick and Pillow, hand-made files for the corners
// no tool writes, and the writer read back by Pillow.

#include "codec_support.h"

#include <cstring>

#include "codecs/LCodecBMP.h"
#include "codecs/LImage.h"

using namespace codec_test;

namespace
{
void Put16(std::vector<uint8_t>& v, uint32_t x)
{
    v.push_back(uint8_t(x)), v.push_back(uint8_t(x >> 8));
}
void Put32(std::vector<uint8_t>& v, uint32_t x)
{
    Put16(v, x & 0xFFFF), Put16(v, x >> 16);
}

// A file with a 40-byte header (or 124 with masks), palette and pixel bytes as given.
std::vector<uint8_t> MakeBMP(int32_t w, int32_t h, uint16_t bits, uint32_t compression,
                             const std::vector<uint32_t>& palette, const std::vector<uint8_t>& pixels,
                             uint32_t headerSize = 40, const uint32_t* masks = nullptr, uint32_t clrUsed = 0,
                             int32_t extraOffset = 0)
{
    std::vector<uint8_t> v;
    const uint32_t off = 14 + headerSize + 4 * uint32_t(palette.size()) + uint32_t(extraOffset);
    Put16(v, 19778), Put32(v, off + uint32_t(pixels.size())), Put32(v, 0), Put32(v, off);
    Put32(v, headerSize), Put32(v, uint32_t(w)), Put32(v, uint32_t(h)), Put16(v, 1), Put16(v, bits);
    Put32(v, compression), Put32(v, uint32_t(pixels.size())), Put32(v, 2835), Put32(v, 2835);
    Put32(v, clrUsed), Put32(v, 0);
    for (uint32_t i = 40; i < headerSize; i += 4)
        Put32(v, masks && i < 56 ? masks[(i - 40) / 4] : 0);
    for (uint32_t c : palette)
        Put32(v, c);
    v.insert(v.end(), pixels.begin(), pixels.end());
    return v;
}

uint32_t Pixel(const LImageBuffer& image, int x, int y)
{
    const uint8_t* p = image.GetRow(y) + x * (image.GetPixelFormat() == B8G8R8 ? 3 : 4);
    return image.GetPixelFormat() == B8G8R8
               ? (uint32_t(p[0]) | p[1] << 8 | p[2] << 16 | 0xFF000000u)
               : (uint32_t(p[0]) | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24);
}
} // namespace

TEST(BMP, EveryVariantMatchesTheReferenceDecoder)
{
    TempFolder dir;
    ASSERT_TRUE(
        Shell("convert -size 37x19 gradient:red-blue -fill '#20c040' -draw 'circle 10,9 16,9' -colors 200 '" +
              dir.Path("src.png") + "'"));
    ASSERT_TRUE(Shell("convert -size 37x19 gradient:'#ff000080'-'#0000ffff' -alpha on '" +
                      dir.Path("alpha.png") + "'"));
    struct Case
    {
        const char* szName;
        const char* szMake; // ImageMagick options and format, or a Pillow mode
        int iDepth;
    } cases[] = {
        {"im1.bmp", "-monochrome BMP3:", 1},
        {"im1v4.bmp", "-monochrome BMP:", 1},
        {"im4.bmp", "-colors 16 -type palette -compress none BMP3:", 4},
        {"im8.bmp", "-type palette -compress none BMP3:", 8},
        {"imrle8.bmp", "-type palette -compress RLE BMP3:", 8},
        {"im24.bmp", "-type truecolor BMP3:", 24},
        {"im24v5.bmp", "-type truecolor BMP:", 24},
        {"im565.bmp", "-define bmp:subtype=RGB565 BMP:", 16},
        {"im555.bmp", "-define bmp:subtype=RGB555 BMP:", 16},
        {"im32.bmp", "BMP:", 32},
        {"os2.bmp", "-type truecolor BMP2:", 24},
        {"pil1.bmp", "PIL 1", 1},
        {"pil8.bmp", "PIL P", 8},
        {"pilL.bmp", "PIL L", 8},
        {"pil24.bmp", "PIL RGB", 24},
        {"pil32.bmp", "PIL RGBA", 32},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.szName);
        const std::string out = dir / c.szName, make = c.szMake;
        if (make.rfind("PIL ", 0) == 0)
            ASSERT_TRUE(RunPython("from PIL import Image\nImage.open(DIR + '/src.png').convert('" +
                                      make.substr(4) + "').save('" + out + "')\n",
                                  dir.szPath));
        else // the 32-bit file from the picture with alpha
            ASSERT_TRUE(Shell("convert '" + dir / (c.iDepth == 32 ? "alpha.png" : "src.png") + "' " + make +
                              "'" + out + "'"));
        LImageBuffer image;
        ASSERT_EQ(LImage::Load(image, out.c_str()), c.iDepth);
        ASSERT_EQ(image.GetPixelFormat(), c.iDepth == 32 ? B8G8R8A8 : B8G8R8);
        // Pillow widens 5- and 6-bit channels by repeating bits, this decoder rounds: one step apart.
        EXPECT_TRUE(Matches(image, PillowDecode(out), c.iDepth == 16 ? 1 : 0));
    }
}

TEST(BMP, HandMadeCornersNoToolWrites)
{
    const uint32_t pal[4] = {0x000000FF, 0x0000FF00, 0x00FF0000, 0x00FFFFFF}; // blue, green, red, white
    std::vector<uint32_t> palette(pal, pal + 4);
    LImageBuffer image;
    int depth = 0;

    // Top-down 24 bits loads upright: the first stored row is the top one.
    std::vector<uint8_t> px = {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0};
    ASSERT_EQ(Decode<LProcessBMPLoad>(MakeBMP(2, -2, 24, 0, {}, px), image, &depth), LProcessResultSuccess);
    EXPECT_EQ(Pixel(image, 0, 0), 0xFF030201u);
    EXPECT_EQ(Pixel(image, 1, 1), 0xFF0C0B0Au);
    EXPECT_EQ(image.imf.HorizontalResolution, 2835u);
    ASSERT_EQ(Decode<LProcessBMPLoad>(MakeBMP(2, 2, 24, 0, {}, px), image), LProcessResultSuccess);
    EXPECT_EQ(Pixel(image, 0, 1), 0xFF030201u);

    // RLE4, with an odd literal run, a run and end codes, bottom row first.
    // Row 0 (bottom): literal 3 pixels 0,1,2 (2 data bytes, no pad), then run of 2 of index 3.
    // Row 1 (top): run of 5 alternating 1 and 2.
    std::vector<uint8_t> rle4 = {0, 3, 0x01, 0x20, 2, 0x33, 0, 0, 5, 0x12, 0, 0, 0, 1};
    ASSERT_EQ(Decode<LProcessBMPLoad>(MakeBMP(5, 2, 4, 2, palette, rle4, 40, nullptr, 4), image, &depth),
              LProcessResultSuccess);
    EXPECT_EQ(depth, 4);
    EXPECT_EQ(Pixel(image, 0, 1), 0xFF0000FFu);
    EXPECT_EQ(Pixel(image, 2, 1), 0xFFFF0000u);
    EXPECT_EQ(Pixel(image, 4, 1), 0xFFFFFFFFu);
    EXPECT_EQ(Pixel(image, 0, 0), 0xFF00FF00u);
    EXPECT_EQ(Pixel(image, 1, 0), 0xFFFF0000u);
    // A literal run of two pixels is one byte, padded to a word.
    std::vector<uint8_t> padded = {0, 4, 0x01, 0x23, 1, 0x00, 0, 0, 0, 5, 0x32, 0x10, 0x30, 0, 0, 0, 0, 1};
    EXPECT_EQ(Decode<LProcessBMPLoad>(MakeBMP(5, 2, 4, 2, palette, padded, 40, nullptr, 4), image),
              LProcessResultSuccess);
    EXPECT_EQ(Pixel(image, 4, 0), 0xFFFFFFFFu);

    // RLE failures: top-down, a line shorter than the width, rows missing at the end, a delta.
    const std::vector<uint8_t> full8 = {2, 1, 0, 0, 2, 2, 0, 0, 0, 1};
    ASSERT_EQ(Decode<LProcessBMPLoad>(MakeBMP(2, 2, 8, 1, palette, full8, 40, nullptr, 4), image),
              LProcessResultSuccess);
    EXPECT_EQ(Decode<LProcessBMPLoad>(MakeBMP(2, -2, 8, 1, palette, full8, 40, nullptr, 4), image),
              LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessBMPLoad>(
                  MakeBMP(2, 2, 8, 1, palette, {1, 1, 0, 0, 2, 2, 0, 0, 0, 1}, 40, nullptr, 4), image),
              LProcessResultFailed);
    EXPECT_EQ(
        Decode<LProcessBMPLoad>(MakeBMP(2, 2, 8, 1, palette, {2, 1, 0, 0, 0, 1}, 40, nullptr, 4), image),
        LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessBMPLoad>(
                  MakeBMP(2, 2, 8, 1, palette, {2, 1, 0, 0, 0, 2, 0, 0, 0, 1}, 40, nullptr, 4), image),
              LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessBMPLoad>(MakeBMP(2, 2, 8, 1, palette, {2, 1, 0, 0, 2, 2, 0, 0}, 40, nullptr, 4),
                                      image),
              LProcessResultFailed); // no end of bitmap
    EXPECT_EQ(Decode<LProcessBMPLoad>(
                  MakeBMP(2, 2, 8, 1, palette, {2, 7, 0, 0, 2, 2, 0, 0, 0, 1}, 40, nullptr, 4), image),
              LProcessResultFailed); // index past the palette

    // A 1-bit file with biClrUsed 0 gets two colours; index 1 with biClrUsed 1 fails.
    const std::vector<uint8_t> bits1 = {0x40, 0, 0, 0};
    ASSERT_EQ(Decode<LProcessBMPLoad>(MakeBMP(2, 1, 1, 0, {pal[0], pal[3]}, bits1), image),
              LProcessResultSuccess);
    EXPECT_EQ(Pixel(image, 1, 0), 0xFFFFFFFFu);
    EXPECT_EQ(Decode<LProcessBMPLoad>(MakeBMP(2, 1, 1, 0, {pal[0]}, bits1, 40, nullptr, 1), image),
              LProcessResultFailed);

    // 32 bits: all alpha zero loads opaque; one nonzero alpha keeps alpha as stored.
    std::vector<uint8_t> p32 = {10, 20, 30, 0, 40, 50, 60, 0};
    ASSERT_EQ(Decode<LProcessBMPLoad>(MakeBMP(2, 1, 32, 0, {}, p32), image, &depth), LProcessResultSuccess);
    EXPECT_EQ(Pixel(image, 0, 0), 0xFF1E140Au);
    p32[7] = 9;
    ASSERT_EQ(Decode<LProcessBMPLoad>(MakeBMP(2, 1, 32, 0, {}, p32), image), LProcessResultSuccess);
    EXPECT_EQ(Pixel(image, 0, 0), 0x001E140Au);
    EXPECT_EQ(Pixel(image, 1, 0), 0x093C3228u);

    // Bit fields in a 124-byte header: 4-4-4-4 with a hole-free alpha; all-zero masks give black.
    const uint32_t m4444[4] = {0x0F00, 0x00F0, 0x000F, 0xF000};
    ASSERT_EQ(Decode<LProcessBMPLoad>(MakeBMP(1, 1, 16, 3, {}, {0x21, 0xF3, 0, 0}, 124, m4444), image),
              LProcessResultSuccess);
    EXPECT_EQ(Pixel(image, 0, 0), 0xFF332211u); // 24 bits: alpha is not kept at depth 16
    const uint32_t m32[4] = {0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000};
    ASSERT_EQ(Decode<LProcessBMPLoad>(MakeBMP(1, 1, 32, 3, {}, {1, 2, 3, 0x80}, 124, m32), image),
              LProcessResultSuccess);
    EXPECT_EQ(Pixel(image, 0, 0), 0x80030201u);
    const uint32_t zero[4] = {0, 0, 0, 0};
    ASSERT_EQ(Decode<LProcessBMPLoad>(MakeBMP(1, 1, 32, 3, {}, {1, 2, 3, 4}, 124, zero), image),
              LProcessResultSuccess);
    EXPECT_EQ(Pixel(image, 0, 0), 0xFF000000u);
    // A mask with a hole: bits 0 and 2 make a 2-bit value.
    const uint32_t holes[4] = {0x5, 0, 0, 0};
    ASSERT_EQ(Decode<LProcessBMPLoad>(MakeBMP(1, 1, 16, 3, {}, {0x4, 0, 0, 0}, 124, holes), image),
              LProcessResultSuccess);
    EXPECT_EQ(Pixel(image, 0, 0) >> 16 & 0xFF, 170u);
    // Overlapping masks, and at depth 16 a mask past 16 bits, are refused.
    const uint32_t overlap[4] = {0xFF00, 0x0FF0, 0x000F, 0};
    EXPECT_EQ(Decode<LProcessBMPLoad>(MakeBMP(1, 1, 16, 3, {}, {0, 0, 0, 0}, 124, overlap), image),
              LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessBMPLoad>(MakeBMP(1, 1, 16, 3, {}, {0, 0, 0, 0}, 124, m32), image),
              LProcessResultFailed);
    // A 40-byte header whose masks follow it fails the pixel offset test.
    std::vector<uint8_t> after = MakeBMP(1, 1, 16, 3, {}, {0x1F, 0, 0, 0}, 40, nullptr, 0, 12);
    after.insert(after.begin() + 54, {0, 0x7C, 0, 0, 0xE0, 3, 0, 0, 0x1F, 0, 0, 0});
    EXPECT_EQ(Decode<LProcessBMPLoad>(after, image), LProcessResultFailed);

    // Header checks.
    EXPECT_EQ(Decode<LProcessBMPLoad>(MakeBMP(1, 1, 24, 4, {}, {0, 0, 0, 0}), image), LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessBMPLoad>(MakeBMP(1, 1, 7, 0, {}, {0, 0, 0, 0}), image), LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessBMPLoad>(MakeBMP(1, 1, 24, 1, {}, {0, 0, 0, 0}), image), LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessBMPLoad>(MakeBMP(1, 1, 8, 0, {}, {0, 0, 0, 0}, 40, nullptr, 300), image),
              LProcessResultFailed);
    std::vector<uint8_t> notBM = MakeBMP(1, 1, 24, 0, {}, {0, 0, 0, 0});
    notBM[1] = 'A';
    EXPECT_EQ(Decode<LProcessBMPLoad>(notBM, image), LProcessResultFailed);
}

TEST(BMP, WriterIsReadBackExactly)
{
    TempFolder dir;
    LImageBuffer src;
    FillPattern(src, 13, 7, true);
    // A half-transparent white pixel on the white background comes out as 254.
    uint8_t* p = src.GetRow(0);
    p[0] = p[1] = p[2] = 255, p[3] = 128;
    src.imf.HorizontalResolution = 3780, src.imf.VerticalResolution = 2835;

    LImageEncodeSettings settings;
    const std::string path24 = dir.Path("out24.bmp"), path32 = dir.Path("out32.bmp");
    ASSERT_TRUE(LImage::Save(src, path24.c_str(), settings, 3000));
    settings.bmp.SetPixelFormat(1);
    ASSERT_TRUE(LImage::Save(src, path32.c_str(), settings, 3000));

    const std::vector<uint8_t> f24 = ReadFile(path24);
    ASSERT_GE(f24.size(), 54u);
    auto u32 = [](const std::vector<uint8_t>& f, size_t o) {
        return uint32_t(f[o]) | uint32_t(f[o + 1]) << 8 | uint32_t(f[o + 2]) << 16 | uint32_t(f[o + 3]) << 24;
    };
    EXPECT_EQ(u32(f24, 2), f24.size());
    EXPECT_EQ(u32(f24, 10), 54u);
    EXPECT_EQ(u32(f24, 34), 7u * 40u); // 13 * 3 = 39 bytes padded to 40
    EXPECT_EQ(u32(f24, 38), 3780u);

    const Picture ref24 = PillowDecode(path24);
    ASSERT_TRUE(ref24.IsValid());
    EXPECT_EQ(ref24.rgba[0], 254);
    EXPECT_EQ(ref24.rgba[3], 255);
    // Every other pixel blended by hand.
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 13; ++x)
        {
            if (x == 0 && y == 0)
                continue;
            const uint8_t* s = src.GetRow(y) + 4 * x;
            const uint8_t* r = ref24.At(x, y);
            const unsigned a = s[3];
            auto blend = [a](unsigned c) { return a < 255 ? (c * a + 255 * (255 - a)) >> 8 : c; };
            ASSERT_EQ(r[0], blend(s[2])) << x << "," << y;
            ASSERT_EQ(r[2], blend(s[0])) << x << "," << y;
        }
    // 32 bits keeps alpha; Pillow reads it back as stored.
    LImageBuffer back;
    ASSERT_EQ(LImage::Load(back, path32.c_str()), 32);
    for (int y = 0; y < 7; ++y)
        ASSERT_EQ(memcmp(back.GetRow(y), src.GetRow(y), 13 * 4), 0);
    EXPECT_EQ(back.imf.VerticalResolution, 2835u);
}

TEST(BMP, DIBOnMemoryStreams)
{
    LImageBuffer src;
    FillPattern(src, 5, 3, false);
    LOutputStream<LOutputStreamByteArray> out;
    LProcessDIBSave<LOutputStreamByteArray> save;
    save.lpStream = &out;
    save.lpImage = &src;
    RecordingProcess process;
    ASSERT_EQ(Process(process, save), LProcessResultSuccess);
    EXPECT_EQ(out.GetSize(), 40u + 3u * 20u);
    ASSERT_FALSE(process.arProgress.empty());
    EXPECT_DOUBLE_EQ(process.arProgress.back(), 1.0);

    LInputStream<LInputStreamBuffer> in(out.GetData(), out.GetSize());
    LImageBuffer back;
    LProcessDIBLoad<LInputStreamBuffer> load;
    load.lpStream = &in;
    load.lpImage = &back;
    ASSERT_EQ(Process(process, load), LProcessResultSuccess);
    EXPECT_EQ(load.iBitDepth, 32);
    for (int y = 0; y < 3; ++y)
        EXPECT_EQ(memcmp(back.GetRow(y), src.GetRow(y), 5 * 4), 0);

    // A stop request is honoured by reader and writer.
    RecordingProcess stopping;
    stopping.iStopAfter = 0;
    LInputStream<LInputStreamBuffer> in2(out.GetData(), out.GetSize());
    load.lpStream = &in2;
    EXPECT_EQ(Process(stopping, load), LProcessResultCancelled);
    LOutputStream<LOutputStreamByteArray> out2;
    save.lpStream = &out2;
    EXPECT_EQ(Process(stopping, save), LProcessResultCancelled);
}

TEST(BMP, DamagedFilesFailCleanly)
{
    TempFolder dir;
    ASSERT_TRUE(Shell("convert -seed 4 -size 23x9 plasma:fractal '" + dir / "s.png" + "'"));
    for (const char* make :
         {"-type palette -compress RLE BMP3:", "-colors 16 -type palette -compress none BMP3:",
          "-monochrome BMP3:", "-type truecolor BMP3:", "-type truecolor BMP:",
          "-define bmp:subtype=RGB565 BMP:", "-alpha on BMP:", "-type truecolor BMP2:"})
    {
        SCOPED_TRACE(make);
        ASSERT_TRUE(Shell("convert '" + dir / "s.png" + "' " + make + "'" + dir / "m.bmp" + "'"));
        // A cut inside the last row's padding still holds every pixel.
        ExpectRobust<LProcessBMPLoad>(ReadFile(dir / "m.bmp"), 3, 400);
    }
}
