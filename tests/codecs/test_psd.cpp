#include "codecs/LCodecPSD.h"
#include "codec_support.h"

using namespace codec_test;

namespace
{

Bytes BE(uint32_t v, int bytes)
{
    Bytes b;
    for (int i = bytes - 1; i >= 0; --i)
        b.push_back(uint8_t(v >> (8 * i)));
    return b;
}

// Header, colour data and empty sections up to the compression code.
Bytes PsdStart(unsigned channels, uint32_t rows, uint32_t columns, unsigned depth, unsigned mode,
               const Bytes& colours = {})
{
    return Bytes{'8', 'B', 'P', 'S', 0, 1} + Bytes(6, 0) + BE(channels, 2) + BE(rows, 4) + BE(columns, 4) +
           BE(depth, 2) + BE(mode, 2) + BE(uint32_t(colours.size()), 4) + colours + BE(0, 4) + BE(0, 4);
}

// Written to memory; the tools read it from ours.psd.
Bytes SavePicture(const TempFolder& dir, const Picture& p, pixelformat_t pf, uint8_t pad = 0,
                  LProcessResult* result = nullptr)
{
    LImageBuffer image;
    ToBuffer(p, image, pf, pad);
    const Bytes file = Encode<LProcessPSDSave>(image, nullptr, result);
    WriteFile(dir / "ours.psd", file);
    return file;
}

// Offset of the merged picture's compression code: past the header and the three sections.
size_t MergedCodeOffset(const Bytes& f)
{
    size_t at = 26;
    for (int section = 0; section < 3; ++section)
        at += 4 + (size_t(f[at]) << 24 | size_t(f[at + 1]) << 16 | size_t(f[at + 2]) << 8 | f[at + 3]);
    return at;
}

} // namespace

// ImageMagick misreads alpha in a merged picture, so the colours come from its reading of the same
// file written without alpha, and alpha from the source.
TEST(PSDRead, FilesWrittenByImageMagick)
{
    TempFolder dir;
    const Picture colour = PhotoLike(37, 21, true);
    const struct
    {
        const char* options;
        int depth;
        int tolerance; // for colour models converted by ImageMagick and 16-bit grey rounded there
    } cases[] = {      // clang-format off
        {"-alpha off", 24, 0}, {"-alpha off -compress none", 24, 0}, {"", 32, 0}, {"-compress none", 32, 0},
        {"-alpha off -depth 16", 48, 0}, {"-depth 16 -compress none", 64, 0}, {"-alpha off -colorspace Gray", 8, 0},
        {"-colorspace Gray", 16, 0}, {"-alpha off -colorspace Gray -depth 16", 16, 1},
        {"-alpha off -colorspace CMYK", 32, 1}, {"-colorspace CMYK", 40, 1}};
    // clang-format on
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.options);
        const bool alpha = std::string(c.options).find("-alpha off") == std::string::npos;
        ASSERT_TRUE(MagickEncode(dir, colour, c.options, dir / "magick.psd"));
        ASSERT_TRUE(MagickEncode(dir, colour, std::string(c.options) + " -alpha off", dir / "opaque.psd"));
        int depth = 0;
        LImageBuffer image;
        ASSERT_EQ(Decode<LProcessPSDLoad>(ReadFile(dir / "magick.psd"), image, &depth),
                  LProcessResultSuccess);
        EXPECT_EQ(depth, c.depth);
        EXPECT_EQ(image.GetPixelFormat(), alpha ? B8G8R8A8 : B8G8R8);
        Picture reference = MagickDecode(dir / "opaque.psd");
        for (size_t i = 3; alpha && i < reference.rgba.size(); i += 4)
            reference.rgba[i] = colour.rgba[i];
        EXPECT_TRUE(SamePicture(FromBuffer(image), reference, c.tolerance));
    }
    // Indexed colour, which only Pillow reads back.
    ASSERT_TRUE(MagickEncode(dir, colour, "-alpha off -colors 40 -type Palette", dir / "indexed.psd"));
    ASSERT_EQ(ReadFile(dir / "indexed.psd")[25], 2);
    EXPECT_TRUE(SamePicture(DecodePicture<LProcessPSDLoad>(ReadFile(dir / "indexed.psd")),
                            PillowDecode(dir / "indexed.psd")));

    // Layers whose pictures differ from the merged one, which is what is read.
    const Picture merged = PhotoLike(30, 12, true);
    Picture layer = merged, second = merged;
    std::reverse(layer.rgba.begin(), layer.rgba.end());
    for (size_t i = 0; i < second.rgba.size();
         ++i) // layers all with alpha: mixed ones ImageMagick can't read back
        second.rgba[i] = i % 4 == 3 ? layer.rgba[i] : uint8_t(~layer.rgba[i]);
    ASSERT_TRUE(MagickEncode(dir, merged, "", dir / "m.png") &&
                MagickEncode(dir, layer, "", dir / "l1.png") &&
                MagickEncode(dir, second, "", dir / "l2.png"));
    Bytes frames;
    ASSERT_TRUE(Shell("cd '" + dir / "" +
                          "' && convert m.png l1.png l2.png layers.psd && identify layers.psd | wc -l",
                      &frames));
    ASSERT_EQ(std::stoi(std::string(frames.begin(), frames.end())), 3);
    EXPECT_TRUE(SamePicture(DecodePicture<LProcessPSDLoad>(ReadFile(dir / "layers.psd")), merged));
}

TEST(PSDRead, HandMadeFiles)
{
    int depth = 0;
    LImageBuffer image;
    // PackBits: -128 does nothing, 0 is a run of one, a positive code a literal stretch.
    const Bytes packBits = Bytes{0x80, 0x00, 9, 0x01, 4, 5, 0xFE, 6} + Bytes(3, 0);
    const Bytes six = {6, 6, 6, 255};
    EXPECT_EQ(
        DecodePicture<LProcessPSDLoad>(PsdStart(1, 1, 6, 8, 1) + BE(1, 2) + BE(0, 2) + packBits, &depth).rgba,
        (Bytes{9, 9, 9, 255, 4, 4, 4, 255, 5, 5, 5, 255}) + six + six + six);
    EXPECT_EQ(depth, 8);
    // Two grey channels: the second is alpha.
    ASSERT_EQ(
        Decode<LProcessPSDLoad>(PsdStart(2, 1, 2, 8, 1) + BE(0, 2) + Bytes{10, 20, 30, 40}, image, &depth),
        LProcessResultSuccess);
    EXPECT_EQ(FromBuffer(image).rgba, (Bytes{10, 10, 10, 30, 20, 20, 20, 40}));
    EXPECT_EQ(depth, 16);
    // 16 bits: the high bytes.
    EXPECT_EQ(
        DecodePicture<LProcessPSDLoad>(PsdStart(3, 1, 1, 16, 3) + BE(0, 2) + Bytes{1, 99, 2, 99, 3, 99}).rgba,
        (Bytes{1, 2, 3, 255}));
    // Indexed: 256 red, 256 green, then 256 blue bytes.
    Bytes palette(768, 0);
    palette[7] = 70, palette[256 + 7] = 80, palette[512 + 7] = 90;
    EXPECT_EQ(DecodePicture<LProcessPSDLoad>(PsdStart(1, 1, 1, 8, 2, palette) + BE(0, 2) + Bytes{7}).rgba,
              (Bytes{70, 80, 90, 255}));
    // CMYK: the stored inks scaled by black.
    EXPECT_EQ(
        DecodePicture<LProcessPSDLoad>(PsdStart(4, 1, 1, 8, 4) + BE(0, 2) + Bytes{255, 128, 0, 128}).rgba,
        (Bytes{128, 64, 0, 255}));
    // Pixel data cut short reads as zeros; 30000 rows pass the header.
    EXPECT_EQ(DecodePicture<LProcessPSDLoad>(PsdStart(3, 1, 2, 8, 3) + BE(0, 2) + Bytes{1, 2, 3}).rgba,
              (Bytes{1, 3, 0, 255, 2, 0, 0, 255}));
    EXPECT_EQ(Decode<LProcessPSDLoad>(PsdStart(1, 30000, 1, 8, 1) + BE(0, 2) + Bytes(30000, 1), image),
              LProcessResultSuccess);

    Bytes signature = PsdStart(3, 1, 1, 8, 3), reserved = signature, version = signature;
    signature[3] = 'T', reserved[9] = 1, version[5] = 2;
    // Signature, reserved bytes, version; 30001 rows or columns; 0 or 25 channels; 1 and 32 bits;
    // indexed with 2 channels or a short map; RGB of 2, CMYK of 3; Lab, duotone, multichannel.
    // clang-format off
    const Bytes refused[] = {signature, reserved, version, PsdStart(1, 30001, 1, 8, 1), PsdStart(1, 1, 30001, 8, 1),
        PsdStart(0, 1, 1, 8, 1), PsdStart(25, 1, 1, 8, 3), PsdStart(1, 1, 8, 1, 0), PsdStart(3, 1, 8, 1, 3),
        PsdStart(3, 1, 1, 32, 3), PsdStart(2, 1, 1, 8, 2, palette), PsdStart(1, 1, 1, 8, 2, Bytes(767, 0)),
        PsdStart(2, 1, 1, 8, 3), PsdStart(3, 1, 1, 8, 4), PsdStart(3, 1, 1, 8, 9), PsdStart(1, 1, 1, 8, 8),
        PsdStart(3, 1, 1, 8, 7)};
    // clang-format on
    for (const Bytes& start : refused)
        EXPECT_EQ(Decode<LProcessPSDLoad>(start + BE(0, 2) + Bytes(40, 1), image), LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessPSDLoad>(PsdStart(3, 1, 1, 8, 3) + BE(2, 2) + Bytes(3, 1), image),
              LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessPSDLoad>(PsdStart(3, 1, 1, 8, 3) + BE(1, 2), image), LProcessResultFailed);
}

TEST(PSDWrite, OthersReadWhatItWrites)
{
    TempFolder dir;
    const struct
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
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        const Bytes file = SavePicture(dir, c.picture, c.pf);
        ASSERT_GT(file.size(), 26u);
        const bool alpha = c.pf == B8G8R8A8;
        EXPECT_EQ(file[13], alpha ? 4 : 3);
        const size_t code = MergedCodeOffset(file);
        EXPECT_EQ(file[code] << 8 | file[code + 1], c.mergedCode);
        const Picture want = alpha ? c.picture : Opaque(c.picture);
        EXPECT_TRUE(alpha || SamePicture(MagickDecode(dir / "ours.psd"), want)); // it misreads merged alpha
        EXPECT_TRUE(SamePicture(PillowDecode(dir / "ours.psd"), want));
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessPSDLoad>(file), want));
        Bytes frames; // with alpha, one layer holding the picture
        ASSERT_TRUE(Shell("identify '" + dir / "ours.psd" + "' | wc -l", &frames));
        EXPECT_EQ(std::stoi(std::string(frames.begin(), frames.end())), alpha ? 2 : 1);
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
        EXPECT_EQ(back.Pixel(4, y), (Bytes{77, p.At(4, y)[0], p.At(4, y)[1], 255}));
    }
    // 16-bit sources; other formats are refused.
    const std::pair<pixelformat_t, Bytes> sources[] = {
        {B5G6R5, {8, 8, 8, 255, 255, 255, 255, 255}}, // red 1, green 2, blue 1; white
        {B5G5R5A1, {255, 0, 0, 0, 7, 255, 0, 255}},   // red without alpha; green with it
        {R8G8B8A8, {}}};
    const uint16_t words[3][2] = {{0x0841, 0xFFFF}, {0x7C00, 0x83E0}, {0, 0}};
    for (int i = 0; i < 3; ++i)
    {
        LImageBuffer image;
        ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(sources[i].first, 2, 1)));
        memcpy(image.GetRow(0), words[i], 4);
        LProcessResult result;
        const Bytes file = Encode<LProcessPSDSave>(image, nullptr, &result);
        EXPECT_EQ(result, sources[i].second.empty() ? LProcessResultFailed : LProcessResultSuccess);
        EXPECT_EQ(DecodePicture<LProcessPSDLoad>(file).rgba, sources[i].second);
    }
    // A literal stretch that uses up the budget, then a run, fails the save.
    LProcessResult result;
    SavePicture(dir, MakePicture(5, 1, [](int x, int) { return uint32_t(x < 2 ? x + 1 : 7) << 24 | 0xFF; }),
                B8G8R8A8, 0, &result);
    EXPECT_EQ(result, LProcessResultFailed);
}

TEST(PSD, DamagedFilesFailCleanly)
{
    TempFolder dir;
    for (bool alpha : {false, true}) // cuts inside the pixel data read as zeros
    {
        const Bytes file = SavePicture(dir, PhotoLike(33, 19, alpha), alpha ? B8G8R8A8 : B8G8R8);
        ExpectRobust<LProcessPSDLoad>(file, file.size() - MergedCodeOffset(file) - 2);
    }
}
