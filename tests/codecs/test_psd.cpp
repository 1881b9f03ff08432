#include "codecs/LCodecPSD.h"
#include "formats_support.h"

using namespace formats_test;

namespace
{

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes BE16(unsigned v)
{
    return Bytes{uint8_t(v >> 8), uint8_t(v)};
}

Bytes BE32(uint32_t v)
{
    return Bytes{uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)};
}

// Header and empty sections up to the compression code, for hand-made files.
Bytes PsdStart(unsigned channels, uint32_t rows, uint32_t columns, unsigned depth, unsigned mode,
               const Bytes& colourData = {})
{
    return Bytes{'8', 'B', 'P', 'S'} + BE16(1) + Bytes(6, 0) + BE16(channels) + BE32(rows) + BE32(columns) +
           BE16(depth) + BE16(mode) + BE32(uint32_t(colourData.size())) + colourData + BE32(0) + BE32(0);
}

// Channels within tolerance, for colour models that other tools round differently.
::testing::AssertionResult Near(const Picture& a, const Picture& b, int tolerance)
{
    if (a.rgba.empty() || a.w != b.w || a.h != b.h || a.rgba.size() != b.rgba.size())
        return ::testing::AssertionFailure()
               << "size " << a.w << "x" << a.h << " against " << b.w << "x" << b.h;
    for (size_t i = 0; i < a.rgba.size(); ++i)
        if (std::abs(a.rgba[i] - b.rgba[i]) > tolerance)
            return ::testing::AssertionFailure()
                   << "byte " << i << ": " << int(a.rgba[i]) << " against " << int(b.rgba[i]);
    return ::testing::AssertionSuccess();
}

LProcessResult SavePsd(const LImageBuffer& image, const std::string& path)
{
    LOutputStream<LOutputStreamFile> stream;
    if (!stream.Open(path.c_str()))
        return LProcessResultFailed;
    LProcessPSDSave<LOutputStreamFile> data;
    data.lpStream = &stream;
    data.lpImage = &image;
    Recorder silent;
    const LProcessResult result = Process(silent, data);
    return stream.Close() ? result : LProcessResultFailed;
}

Bytes SavePicture(const TempFolder& dir, const Picture& p, pixelformat_t pf, uint8_t pad = 0,
                  LProcessResult* result = nullptr)
{
    LImageBuffer image;
    ToBuffer(p, image, pf, pad);
    const LProcessResult r = SavePsd(image, dir / "ours.psd");
    if (result)
        *result = r;
    return r == LProcessResultSuccess ? ReadFile(dir / "ours.psd") : Bytes{};
}

// Offset of the merged picture's compression code: past the header, the three sections.
size_t MergedCodeOffset(const Bytes& f)
{
    size_t at = 26;
    for (int section = 0; section < 3; ++section)
        at += 4 + (size_t(f[at]) << 24 | size_t(f[at + 1]) << 16 | size_t(f[at + 2]) << 8 | f[at + 3]);
    return at;
}

} // namespace

TEST(PSDRead, FilesWrittenByImageMagick)
{
    TempFolder dir;
    const Picture colour = PhotoLike(37, 21, true);
    const struct Case
    {
        const char* options;
        int depth;
        bool alpha;
        int tolerance;
    } cases[] = {
        {"-alpha off", 24, false, 0},
        {"-alpha off -compress none", 24, false, 0},
        {"", 32, true, 0},
        {"-compress none", 32, true, 0},
        {"-alpha off -depth 16", 48, false, 0},
        {"-depth 16 -compress none", 64, true, 0},
        {"-alpha off -colorspace Gray", 8, false, 0},
        {"-colorspace Gray", 16, true, 0},
        {"-alpha off -colorspace Gray -depth 16", 16, false, 1}, // high byte against rounding
        {"-alpha off -colorspace CMYK", 32, false, 1},
        {"-colorspace CMYK", 40, true, 1},
    };
    // ImageMagick misreads alpha in the merged picture, so the colours come from its reading of
    // the same file without alpha, and alpha from the source.
    const std::string path = dir / "magick.psd", opaque = dir / "opaque.psd";
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.options);
        ASSERT_TRUE(MagickEncode(dir, colour, c.options, path));
        ASSERT_TRUE(MagickEncode(dir, colour, std::string(c.options) + " -alpha off", opaque));
        int depth = 0;
        LImageBuffer image;
        ASSERT_EQ(Decode<LProcessPSDLoad>(ReadFile(path), image, &depth), LProcessResultSuccess);
        EXPECT_EQ(depth, c.depth);
        EXPECT_EQ(image.GetPixelFormat(), c.alpha ? B8G8R8A8 : B8G8R8);
        Picture reference = MagickDecode(opaque);
        for (size_t i = 3; c.alpha && i < reference.rgba.size(); i += 4)
            reference.rgba[i] = colour.rgba[i];
        EXPECT_TRUE(Near(FromBuffer(image), reference, c.tolerance));
    }
    // Indexed colour, which only Pillow reads back.
    ASSERT_TRUE(MagickEncode(dir, colour, "-alpha off -colors 40 -type Palette", path));
    ASSERT_EQ(ReadFile(path)[25], 2);
    EXPECT_TRUE(SamePicture(DecodePicture<LProcessPSDLoad>(ReadFile(path)), PillowDecode(path)));
}

TEST(PSDRead, TakesTheMergedPictureNotALayer)
{
    TempFolder dir;
    const Picture merged = PhotoLike(30, 12, true);
    Picture layer = PhotoLike(30, 12, true);
    std::reverse(layer.rgba.begin(), layer.rgba.end());
    const std::string m = dir / "merged.png", l1 = dir / "layer1.png", l2 = dir / "layer2.png",
                      psd = dir / "layers.psd";
    ASSERT_TRUE(MagickEncode(dir, merged, "", m));
    ASSERT_TRUE(MagickEncode(dir, layer, "", l1));
    Picture second = layer; // layers all with alpha: mixed ones don't read back in ImageMagick
    for (size_t i = 0; i < second.rgba.size(); ++i)
        second.rgba[i] = i % 4 == 3 ? second.rgba[i] : uint8_t(~second.rgba[i]);
    ASSERT_TRUE(MagickEncode(dir, second, "", l2));
    ASSERT_TRUE(Shell("convert '" + m + "' '" + l1 + "' '" + l2 + "' '" + psd + "'"));
    Bytes frames;
    ASSERT_TRUE(Shell("identify '" + psd + "' | wc -l", &frames));
    ASSERT_EQ(std::stoi(Text(frames)), 3); // the merged picture and two layers
    // The file reader and the memory reader agree.
    LImageBuffer image;
    ASSERT_EQ(DecodeFile<LProcessPSDLoad>(psd, image), LProcessResultSuccess);
    EXPECT_TRUE(SamePicture(FromBuffer(image), merged));
    EXPECT_TRUE(SamePicture(DecodePicture<LProcessPSDLoad>(ReadFile(psd)), merged));
}

TEST(PSDRead, HandMadeFiles)
{
    int depth = 0;
    LImageBuffer image;
    // PackBits: -128 does nothing, 0 is a run of one, a positive code a literal stretch.
    const Bytes packBits = Bytes{0x80, 0x00, 9, 0x01, 4, 5, 0xFE, 6} + Bytes(3, 0);
    const Picture grey =
        DecodePicture<LProcessPSDLoad>(PsdStart(1, 1, 6, 8, 1) + BE16(1) + BE16(0) + packBits, &depth);
    EXPECT_EQ(grey.rgba,
              (Bytes{9, 9, 9, 255, 4, 4, 4, 255, 5, 5, 5, 255, 6, 6, 6, 255, 6, 6, 6, 255, 6, 6, 6, 255}));
    EXPECT_EQ(depth, 8);
    // Two grey channels: the second is alpha.
    ASSERT_EQ(
        Decode<LProcessPSDLoad>(PsdStart(2, 1, 2, 8, 1) + BE16(0) + Bytes{10, 20, 30, 40}, image, &depth),
        LProcessResultSuccess);
    EXPECT_EQ(image.GetPixelFormat(), B8G8R8A8);
    EXPECT_EQ(FromBuffer(image).rgba, (Bytes{10, 10, 10, 30, 20, 20, 20, 40}));
    EXPECT_EQ(depth, 16);
    // 16 bits: the high bytes.
    EXPECT_EQ(DecodePicture<LProcessPSDLoad>(PsdStart(3, 1, 1, 16, 3) + BE16(0) + Bytes{1, 99, 2, 99, 3, 99},
                                             &depth)
                  .rgba,
              (Bytes{1, 2, 3, 255}));
    EXPECT_EQ(depth, 48);
    // Indexed: 256 red, then green, then blue bytes.
    Bytes palette(768, 0);
    palette[7] = 70, palette[256 + 7] = 80, palette[512 + 7] = 90;
    EXPECT_EQ(DecodePicture<LProcessPSDLoad>(PsdStart(1, 1, 1, 8, 2, palette) + BE16(0) + Bytes{7}).rgba,
              (Bytes{70, 80, 90, 255}));
    // CMYK: stored inks scaled by black.
    EXPECT_EQ(
        DecodePicture<LProcessPSDLoad>(PsdStart(4, 1, 1, 8, 4) + BE16(0) + Bytes{255, 128, 0, 128}).rgba,
        (Bytes{128, 64, 0, 255}));
    // A file cut in its pixel data gives zeros for what is missing.
    EXPECT_EQ(DecodePicture<LProcessPSDLoad>(PsdStart(3, 1, 2, 8, 3) + BE16(0) + Bytes{1, 2, 3}).rgba,
              (Bytes{1, 3, 0, 255, 2, 0, 0, 255}));
    // 30000 rows pass the header.
    EXPECT_EQ(Decode<LProcessPSDLoad>(PsdStart(1, 30000, 1, 8, 1) + BE16(0) + Bytes(30000, 1), image),
              LProcessResultSuccess);

    Bytes wrongSignature = PsdStart(3, 1, 1, 8, 3) + BE16(0) + Bytes(3, 0);
    wrongSignature[3] = 'T';
    Bytes reserved = PsdStart(3, 1, 1, 8, 3) + BE16(0) + Bytes(3, 0);
    reserved[9] = 1;
    Bytes version = PsdStart(3, 1, 1, 8, 3) + BE16(0) + Bytes(3, 0);
    version[5] = 2;
    const Bytes refused[] = {
        wrongSignature,
        reserved,
        version,
        PsdStart(1, 30001, 1, 8, 1) + BE16(0) + Bytes(30001, 1),        // too many rows
        PsdStart(1, 1, 30001, 8, 1) + BE16(0) + Bytes(30001, 1),        // too many columns
        PsdStart(0, 1, 1, 8, 1) + BE16(0) + Bytes(1, 1),                // no channels
        PsdStart(25, 1, 1, 8, 3) + BE16(0) + Bytes(25, 1),              // too many
        PsdStart(1, 1, 8, 1, 0) + BE16(0) + Bytes(1, 1),                // a bitmap of 1 bit
        PsdStart(3, 1, 8, 1, 3) + BE16(0) + Bytes(3, 1),                // RGB of 1 bit
        PsdStart(3, 1, 1, 32, 3) + BE16(0) + Bytes(12, 1),              // 32 bits
        PsdStart(2, 1, 1, 8, 2, palette) + BE16(0) + Bytes(2, 1),       // indexed with two channels
        PsdStart(1, 1, 1, 8, 2, Bytes(767, 0)) + BE16(0) + Bytes(1, 1), // a short palette
        PsdStart(2, 1, 1, 8, 3) + BE16(0) + Bytes(2, 1),                // RGB of two channels
        PsdStart(3, 1, 1, 8, 4) + BE16(0) + Bytes(3, 1),                // CMYK of three
        PsdStart(3, 1, 1, 8, 9) + BE16(0) + Bytes(3, 1),                // Lab
        PsdStart(1, 1, 1, 8, 8) + BE16(0) + Bytes(1, 1),                // duotone
        PsdStart(3, 1, 1, 8, 7) + BE16(0) + Bytes(3, 1),                // multichannel
        PsdStart(3, 1, 1, 8, 3) + BE16(2) + Bytes(3, 1),                // compression 2
        PsdStart(3, 1, 1, 8, 3) + BE16(1),                              // no room for the row table
    };
    for (const Bytes& file : refused)
        EXPECT_EQ(Decode<LProcessPSDLoad>(file, image), LProcessResultFailed);
}

TEST(PSDWrite, OthersReadWhatItWrites)
{
    TempFolder dir;
    const std::string path = dir / "ours.psd";
    const struct Case
    {
        const char* name;
        Picture picture;
        pixelformat_t pf;
        int mergedCode;
    } cases[] = {
        {"photo", PhotoLike(64, 20), B8G8R8, 1},
        {"photo with alpha", PhotoLike(64, 20, true), B8G8R8A8, 1},
        {"noise",
         MakePicture(40, 10, [](int x, int y) { return uint32_t(x * 2654435761u ^ y * 40503u) | 0xFF; }),
         B8G8R8, 0},
        {"narrow", PhotoLike(4, 30, true), B8G8R8A8, 0},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const Bytes file = SavePicture(dir, c.picture, c.pf);
        ASSERT_GT(file.size(), 26u);
        EXPECT_EQ(file[13], c.pf == B8G8R8A8 ? 4 : 3);
        const size_t code = MergedCodeOffset(file);
        EXPECT_EQ(file[code] << 8 | file[code + 1], c.mergedCode);
        const Picture want = c.pf == B8G8R8A8 ? c.picture : Opaque(c.picture);
        if (c.pf != B8G8R8A8) // ImageMagick misreads alpha in the merged picture
        {
            EXPECT_TRUE(SamePicture(MagickDecode(path), want));
        }
        EXPECT_TRUE(SamePicture(PillowDecode(path), want));
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessPSDLoad>(file), want));
        if (c.pf == B8G8R8A8)
        {
            // One layer of four channels holding the same picture.
            Bytes frames;
            ASSERT_TRUE(Shell("identify '" + path + "' | wc -l", &frames));
            EXPECT_EQ(std::stoi(Text(frames)), 2);
            EXPECT_EQ(BE16(1), Bytes(file.begin() + 42, file.begin() + 44));
        }
    }
}

TEST(PSDWrite, SourceFormatsAndBudget)
{
    TempFolder dir;
    // 24 bits with row padding: the last pixel of each row is taken after the padding.
    const Picture p = PhotoLike(5, 3);
    const Picture back = DecodePicture<LProcessPSDLoad>(SavePicture(dir, p, B8G8R8, 77));
    ASSERT_EQ(back.w, 5);
    for (int y = 0; y < 3; ++y)
    {
        EXPECT_TRUE(std::equal(back.At(0, y), back.At(4, y), p.At(0, y)));
        EXPECT_EQ(Bytes(back.At(4, y), back.At(4, y) + 4), (Bytes{77, p.At(4, y)[0], p.At(4, y)[1], 255}));
    }

    // 16-bit sources.
    LImageBuffer image;
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(B5G6R5, 2, 1)));
    const uint16_t words[2] = {0x0841, 0xFFFF}; // red 1, green 2, blue 1; white
    memcpy(image.GetRow(0), words, 4);
    ASSERT_EQ(SavePsd(image, dir / "565.psd"), LProcessResultSuccess);
    EXPECT_EQ(DecodePicture<LProcessPSDLoad>(ReadFile(dir / "565.psd")).rgba,
              (Bytes{8, 8, 8, 255, 255, 255, 255, 255}));
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(B5G5R5A1, 2, 1)));
    const uint16_t alphaWords[2] = {0x7C00, 0x83E0}; // red without alpha; green with it
    memcpy(image.GetRow(0), alphaWords, 4);
    ASSERT_EQ(SavePsd(image, dir / "5551.psd"), LProcessResultSuccess);
    EXPECT_EQ(DecodePicture<LProcessPSDLoad>(ReadFile(dir / "5551.psd")).rgba,
              (Bytes{255, 0, 0, 0, 7, 255, 0, 255}));
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(R8G8B8A8, 2, 1)));
    EXPECT_EQ(SavePsd(image, dir / "refused.psd"), LProcessResultFailed);

    // A literal stretch that uses up the budget, followed by a run, fails the save.
    LProcessResult result;
    const Picture tight =
        MakePicture(5, 1, [](int x, int) { return uint32_t(x < 2 ? x + 1 : 7) << 24 | 0xFF; });
    SavePicture(dir, tight, B8G8R8A8, 0, &result);
    EXPECT_EQ(result, LProcessResultFailed);
}

TEST(PSD, DamagedFilesFailCleanly)
{
    TempFolder dir;
    for (bool alpha : {false, true})
    {
        const Bytes file = SavePicture(dir, PhotoLike(33, 19, alpha), alpha ? B8G8R8A8 : B8G8R8);
        // Cuts before the pixel data fail; cuts inside it read as zeros.
        ExpectCutsFail<LProcessPSDLoad>(file, 0, file.size() - MergedCodeOffset(file) - 2);
        SurviveDamage<LProcessPSDLoad>(file);
        ExpectProgressAndStop<LProcessPSDLoad>(file);
    }
}
