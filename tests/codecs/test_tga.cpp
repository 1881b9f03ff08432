#include "codecs/LCodecTGA.h"
#include "codec_support.h"

using namespace codec_test;

namespace
{

Bytes TgaHeader(int mapType, int type, int first, int mapLength, int mapBits, int w, int h, int depth,
                int descriptor, int idLength = 0)
{
    Bytes b(18, 0);
    b[0] = uint8_t(idLength), b[1] = uint8_t(mapType), b[2] = uint8_t(type), b[7] = uint8_t(mapBits);
    b[16] = uint8_t(depth), b[17] = uint8_t(descriptor);
    for (const auto& [at, v] : {std::pair{3, first}, {5, mapLength}, {12, w}, {14, h}})
        b[at] = uint8_t(v), b[at + 1] = uint8_t(v >> 8);
    return b;
}

Bytes FirstPixel(const Bytes& file)
{
    const Picture p = DecodePicture<LProcessTGALoad>(file);
    return p.rgba.empty() ? Bytes{} : p.Pixel(0, 0);
}

} // namespace

// ImageMagick keeps a bottom-up file's rows in file order, so Pillow is the reference here.
TEST(TGARead, FilesWrittenByOtherTools)
{
    TempFolder dir;
    const Picture colour = PhotoLike(37, 23, true);
    const std::string path = dir / "other.tga", png = dir / "source.png", ppm = dir / "source.ppm";
    for (const char* options :
         {"", "-compress RLE", "-alpha off", "-alpha off -colorspace Gray -compress RLE",
          "-alpha off -colors 50 -type Palette", "-alpha off -colors 50 -type Palette -compress RLE"})
    {
        SCOPED_TRACE(options);
        ASSERT_TRUE(MagickEncode(dir, colour, options, path));
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessTGALoad>(ReadFile(path)), PillowDecode(path)));
    }
    // Pillow writes both origins, netpbm its own mapped, grey and true-colour forms.
    ASSERT_TRUE(MagickEncode(dir, colour, "", png) &&
                MagickEncode(dir, colour, "-alpha off -colors 40", ppm));
    const std::string pillow =
        "/usr/bin/python3 -c \"from PIL import Image; Image.open('" + png + "').save('" + path;
    const std::string netpbm = " '" + ppm + "' > '" + path + "'";
    const std::string writers[] = {pillow + "', rle=True)\"",       pillow + "', orientation=1)\"",
                                   "pamtotga -cmap" + netpbm,       "pamtotga -mono" + netpbm,
                                   "pamtotga -rgb -norle" + netpbm, "pamtotga -cmap -norle" + netpbm};
    for (const std::string& command : writers)
    {
        SCOPED_TRACE(command);
        ASSERT_TRUE(Shell(command + " 2>/dev/null"));
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessTGALoad>(ReadFile(path)), PillowDecode(path)));
    }
}

TEST(TGARead, HandMadeVariants)
{
    int depth = 0;
    // 15 and 16 bits: 5-5-5 widened by repeating top bits, bit 15 ignored.
    const Bytes word = {3 | 2 << 5, 1 << 2 | 0x80}; // red 1, green 2, blue 3
    EXPECT_EQ(FirstPixel(TgaHeader(0, 2, 0, 0, 0, 1, 1, 15, 0x20) + word), (Bytes{8, 16, 24, 255}));
    EXPECT_EQ(
        DecodePicture<LProcessTGALoad>(TgaHeader(0, 2, 0, 0, 0, 1, 1, 16, 0) + word, &depth).Pixel(0, 0),
        (Bytes{8, 16, 24, 255}));
    EXPECT_EQ(depth, 16);
    // Grey of 16 bits is a value then alpha; 32 bits keep alpha only with a descriptor nibble of 8.
    EXPECT_EQ(FirstPixel(TgaHeader(0, 3, 0, 0, 0, 1, 1, 16, 0) + Bytes{77, 130}), (Bytes{77, 77, 77, 130}));
    EXPECT_EQ(FirstPixel(TgaHeader(0, 2, 0, 0, 0, 1, 1, 32, 0) + Bytes{1, 2, 3, 4}), (Bytes{3, 2, 1, 255}));
    EXPECT_EQ(FirstPixel(TgaHeader(0, 2, 0, 0, 0, 1, 1, 32, 8) + Bytes{1, 2, 3, 4}), (Bytes{3, 2, 1, 4}));
    // The id field is skipped, and a map in a true-colour file too.
    EXPECT_EQ(FirstPixel(TgaHeader(1, 2, 0, 2, 24, 1, 1, 24, 0, 3) + Bytes(9, 9) + Bytes{10, 20, 30}),
              (Bytes{30, 20, 10, 255}));
    // A map whose first entry is 2: indices address what is stored after the skipped entries.
    const Bytes map = Bytes(6, 0) + Bytes{10, 20, 30, 40, 50, 60};
    EXPECT_EQ(FirstPixel(TgaHeader(1, 1, 2, 4, 24, 1, 1, 8, 0) + map + Bytes{1}), (Bytes{60, 50, 40, 255}));
    EXPECT_TRUE(FirstPixel(TgaHeader(1, 1, 2, 4, 24, 1, 1, 8, 0) + map + Bytes{2}).empty());
    EXPECT_EQ(FirstPixel(TgaHeader(1, 1, 0, 1, 32, 1, 1, 8, 0) + Bytes{1, 2, 3, 4, 0}), (Bytes{3, 2, 1, 4}));

    // Mapped and run-length, a repeat packet running on from the first row into the second.
    const Picture runs = DecodePicture<LProcessTGALoad>(
        TgaHeader(1, 9, 0, 2, 24, 3, 2, 8, 0x20) + Bytes{0, 0, 255, 0, 255, 0} + Bytes{0x83, 1, 0x01, 0, 1});
    const Bytes red = {255, 0, 0, 255}, green = {0, 255, 0, 255};
    EXPECT_EQ(runs.rgba, green + green + green + green + red + green);

    // Origins by descriptor bits 4 and 5, for file pixels 1 2 / 3 4.
    const Bytes quad = {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4};
    const std::pair<int, Bytes> origins[] = {
        {0x00, {3, 4, 1, 2}}, {0x20, {1, 2, 3, 4}}, {0x10, {4, 3, 2, 1}}, {0x30, {2, 1, 4, 3}}};
    for (const auto& [descriptor, order] : origins)
    {
        const Picture p =
            DecodePicture<LProcessTGALoad>(TgaHeader(0, 2, 0, 0, 0, 2, 2, 24, descriptor) + quad);
        EXPECT_EQ((Bytes{p.At(0, 0)[0], p.At(1, 0)[0], p.At(0, 1)[0], p.At(1, 1)[0]}), order) << descriptor;
    }

    // Type 16 and up; no width; nibble 4 with 32 bits; 8-bit colour; 24-bit grey; mapped without a
    // map; 8-bit entries; map type 2; a map length without a map; kind 4; far too short.
    // clang-format off
    const Bytes refused[] = {TgaHeader(0, 18, 0, 0, 0, 1, 1, 24, 0), TgaHeader(0, 2, 0, 0, 0, 0, 1, 24, 0),
        TgaHeader(0, 2, 0, 0, 0, 1, 1, 32, 4), TgaHeader(0, 2, 0, 0, 0, 1, 1, 8, 0), TgaHeader(0, 3, 0, 0, 0, 1, 1, 24, 0),
        TgaHeader(0, 1, 0, 0, 0, 1, 1, 8, 0), TgaHeader(1, 1, 0, 1, 8, 1, 1, 8, 0), TgaHeader(2, 2, 0, 0, 0, 1, 1, 24, 0),
        TgaHeader(0, 2, 0, 1, 24, 1, 1, 24, 0), TgaHeader(0, 4, 0, 0, 0, 1, 1, 24, 0),
        TgaHeader(0, 2, 0, 0, 0, 999, 999, 24, 0)};
    // clang-format on
    LImageBuffer image;
    for (const Bytes& header : refused)
        EXPECT_EQ(Decode<LProcessTGALoad>(header + Bytes(8, 0x40), image), LProcessResultFailed)
            << int(header[2]);
}

TEST(TGAWrite, ChoosesTheSmallestLayoutAndOthersReadIt)
{
    TempFolder dir;
    const struct
    {
        const char* name;
        Picture picture;
        Bytes fields; // map type, image type (packets add 8), map length, entry bits, depth, descriptor
    } cases[] = {
        {"grey ramp",
         MakePicture(256, 3, [](int x, int) { return x * 0x01010100u | 0xFF; }),
         {0, 3, 0, 0, 8, 32}},
        {"300 grey values with alpha",
         MakePicture(300, 2, [](int x, int) { return x % 150 * 0x01010100u | (x < 150 ? 255 : 128); }),
         {0, 3, 0, 0, 16, 40}},
        {"200 colours on 256 columns",
         MakePicture(256, 4, [](int x, int y) { return (x + y) % 200 * 0x01030700u | 0xFF; }),
         {1, 1, 200, 24, 8, 32}},
        {"four colours with alpha",
         MakePicture(9, 9, [](int x, int y) { return (x + y) % 4 * 0x40300000u | ((x + y) % 4 * 30 + 40); }),
         {1, 1, 4, 32, 8, 40}},
        {"photo", PhotoLike(123, 45), {0, 10, 0, 0, 24, 32}},
        {"photo with alpha", PhotoLike(123, 45, true), {0, 10, 0, 0, 32, 40}},
        {"noise",
         MakePicture(64, 8,
                     [](int x, int y) { return uint32_t(x * 7919 + y * 104729) * 2654435761u | 0xFF; }),
         {0, 2, 0, 0, 24, 32}},
        {"one pixel", MakePicture(1, 1, [](int, int) { return 0x102030FFu; }), {0, 2, 0, 0, 24, 32}},
        {"two pixels of one colour",
         MakePicture(2, 1, [](int, int) { return 0x102030FFu; }),
         {1, 1, 1, 24, 8, 32}},
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.name);
        LImageBuffer image;
        ToBuffer(c.picture, image);
        const Bytes file = Encode<LProcessTGASave>(image);
        ASSERT_GE(file.size(), 18u);
        EXPECT_EQ((Bytes{file[1], file[2], file[5], file[7], file[16], file[17]}), c.fields);
        WriteFile(dir / "ours.tga", file);
        // ImageMagick takes grey with alpha for 5-5-5 colour; Pillow has no 32-bit maps.
        EXPECT_TRUE(c.fields[4] == 16 || SamePicture(MagickDecode(dir / "ours.tga"), c.picture));
        EXPECT_TRUE(c.fields[3] == 32 || SamePicture(PillowDecode(dir / "ours.tga"), c.picture));
    }
}

TEST(TGAWrite, PacketsStayInTheirRow)
{
    LImageBuffer image;
    ToBuffer(PhotoLike(300, 40), image);
    const Bytes file = Encode<LProcessTGASave>(image);
    ASSERT_EQ(file[2], 10);
    size_t at = 18, pixel = 0;
    while (pixel < 300 * 40)
    {
        ASSERT_LT(at, file.size());
        const size_t count = (file[at] & 127) + 1u;
        ASSERT_LE(pixel % 300 + count, 300u) << "packet at pixel " << pixel;
        at += 1 + ((file[at] & 128) ? 3 : 3 * count);
        pixel += count;
    }
    EXPECT_EQ(at, file.size());
    // 130 equal pixels, one map entry: a repeat of 127 (a run's last pixel opens the next packet),
    // a repeat of 2, then one raw pixel.
    ToBuffer(MakePicture(130, 1, [](int, int) { return 0x123456FFu; }), image);
    const Bytes expected =
        TgaHeader(1, 9, 0, 1, 24, 130, 1, 8, 32) + Bytes{0x56, 0x34, 0x12, 0xFE, 0, 0x81, 0, 0, 0};
    EXPECT_EQ(Encode<LProcessTGASave>(image), expected);
}

TEST(TGAWrite, SixteenBitSource)
{
    // 5-6-5 words read back as round(v * 255 / max) by another tool.
    LImageBuffer image;
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(B5G6R5, 64, 1)));
    for (int x = 0; x < 64; ++x)
        reinterpret_cast<uint16_t*>(image.GetRow(0))[x] = uint16_t(x % 32 << 11 | x << 5 | (31 - x % 32));
    TempFolder dir;
    WriteFile(dir / "ours.tga", Encode<LProcessTGASave>(image));
    const Picture expected = MakePicture(64, 1,
                                         [](int x, int)
                                         {
                                             return uint32_t(x % 32 * 255 + 15) / 31 << 24 |
                                                    (x * 255 + 31) / 63 << 16 |
                                                    ((31 - x % 32) * 255u + 15) / 31 << 8 | 0xFF;
                                         });
    EXPECT_TRUE(SamePicture(MagickDecode(dir / "ours.tga"), expected));
}

TEST(TGA, DamagedFilesFailCleanly)
{
    TempFolder dir;
    const Picture p = PhotoLike(40, 30, true);
    LImageBuffer image;
    ToBuffer(p, image);
    const Bytes packed = Encode<LProcessTGASave>(image);
    ExpectRobust<LProcessTGALoad>(packed);
    ASSERT_TRUE(
        MagickEncode(dir, p, "-alpha off -colors 30 -type Palette -compress RLE", dir / "mapped.tga"));
    ExpectRobust<LProcessTGALoad>(ReadFile(dir / "mapped.tga"));
}
