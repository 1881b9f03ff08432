#include "codecs/LCodecTGA.h"
#include "formats_support.h"

using namespace formats_test;

namespace
{

Bytes TgaHeader(int idLength, int mapType, int type, int first, int mapLength, int mapBits, int w, int h,
                int depth, int descriptor)
{
    return Bytes{uint8_t(idLength),
                 uint8_t(mapType),
                 uint8_t(type),
                 uint8_t(first),
                 uint8_t(first >> 8),
                 uint8_t(mapLength),
                 uint8_t(mapLength >> 8),
                 uint8_t(mapBits),
                 0,
                 0,
                 0,
                 0,
                 uint8_t(w),
                 uint8_t(w >> 8),
                 uint8_t(h),
                 uint8_t(h >> 8),
                 uint8_t(depth),
                 uint8_t(descriptor)};
}

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

uint32_t Px(const Picture& p, int x, int y)
{
    const uint8_t* q = p.At(x, y);
    return uint32_t(q[0]) << 24 | uint32_t(q[1]) << 16 | uint32_t(q[2]) << 8 | q[3];
}

} // namespace

TEST(TGARead, FilesWrittenByOtherTools)
{
    TempFolder dir;
    const Picture colour = PhotoLike(37, 23, true);
    struct Case
    {
        const char* options;
        bool alpha;
    } cases[] = {
        {"", true},              // 32 bits with alpha, bottom-up
        {"-compress RLE", true}, // the same as packets
        {"-alpha off", false},   // 24 bits
        {"-alpha off -compress RLE", false},
        {"-alpha off -colorspace Gray", false}, // grey
        {"-alpha off -colorspace Gray -compress RLE", false},
        {"-alpha off -colors 50 -type Palette", false}, // colour mapped
        {"-alpha off -colors 50 -type Palette -compress RLE", false},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.options);
        const std::string path = dir / "magick.tga";
        ASSERT_TRUE(MagickEncode(dir, colour, c.options, path));
        const Picture ours = DecodePicture<LProcessTGALoad>(ReadFile(path));
        // ImageMagick keeps a bottom-up file's rows in file order, so Pillow is the reference.
        const Picture reference = PillowDecode(path);
        EXPECT_TRUE(SamePicture(ours, c.alpha ? reference : Opaque(reference)));
    }

    // Pillow writes both origins; netpbm writes its own mapped, grey and true colour forms.
    const std::string png = dir / "source.png";
    ASSERT_TRUE(MagickEncode(dir, colour, "", png));
    for (const char* options :
         {"rle=True", "rle=False", "rle=True, orientation=1", "rle=False, orientation=1"})
    {
        SCOPED_TRACE(options);
        const std::string path = dir / "pillow.tga";
        ASSERT_TRUE(Shell("/usr/bin/python3 -c \"from PIL import Image; Image.open('" + png + "').save('" +
                          path + "', " + options + ")\""));
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessTGALoad>(ReadFile(path)), PillowDecode(path)));
    }
    const std::string ppm = dir / "source.ppm";
    ASSERT_TRUE(MagickEncode(dir, colour, "-alpha off -colors 40", ppm));
    for (const char* options : {"-cmap", "-mono", "-rgb", "-cmap -norle", "-rgb -norle", "-mono -norle"})
    {
        SCOPED_TRACE(options);
        const std::string path = dir / "netpbm.tga";
        ASSERT_TRUE(
            Shell(std::string("pamtotga ") + options + " '" + ppm + "' > '" + path + "' 2>/dev/null"));
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessTGALoad>(ReadFile(path)), Opaque(PillowDecode(path))));
    }
}

TEST(TGARead, HandMadeVariants)
{
    int depth = 0;
    // 15 and 16 bits: 5-5-5 channels widened, bit 15 ignored, no alpha.
    const uint16_t word = uint16_t(1 << 15 | 1 << 10 | 2 << 5 | 3);
    for (int bits : {15, 16})
    {
        const Picture p = DecodePicture<LProcessTGALoad>(
            TgaHeader(0, 0, 2, 0, 0, 0, 1, 1, bits, 0x20) + Bytes{uint8_t(word), uint8_t(word >> 8)}, &depth);
        EXPECT_EQ(Px(p, 0, 0), 0x081018FFu);
        EXPECT_EQ(depth, bits);
    }
    // 16-bit grey: a value then alpha, which is kept.
    LImageBuffer grey;
    ASSERT_EQ(Decode<LProcessTGALoad>(TgaHeader(0, 0, 3, 0, 0, 0, 1, 1, 16, 0x20) + Bytes{77, 130}, grey),
              LProcessResultSuccess);
    EXPECT_EQ(grey.GetPixelFormat(), B8G8R8A8);
    EXPECT_EQ(Px(FromBuffer(grey), 0, 0), 0x4D4D4D82u);
    // An id field is skipped, and so is a colour map in a true-colour file.
    EXPECT_EQ(Px(DecodePicture<LProcessTGALoad>(TgaHeader(3, 1, 2, 0, 2, 24, 1, 1, 24, 0) + Bytes{9, 9, 9} +
                                                Bytes{1, 2, 3, 4, 5, 6} + Bytes{10, 20, 30}),
                 0, 0),
              0x1E140AFFu);
    // 32 bits with a descriptor nibble of 0 drop alpha; 8 keep it.
    EXPECT_EQ(Px(DecodePicture<LProcessTGALoad>(TgaHeader(0, 0, 2, 0, 0, 0, 1, 1, 32, 0) + Bytes{1, 2, 3, 4}),
                 0, 0),
              0x030201FFu);
    EXPECT_EQ(Px(DecodePicture<LProcessTGALoad>(TgaHeader(0, 0, 2, 0, 0, 0, 1, 1, 32, 8) + Bytes{1, 2, 3, 4}),
                 0, 0),
              0x03020104u);

    // A map whose first entry is 2: indices address the entries as stored after the skip.
    const Bytes map = Bytes{0, 0, 0, 0, 0, 0} + Bytes{10, 20, 30, 40, 50, 60};
    const Picture mapped = DecodePicture<LProcessTGALoad>(
        TgaHeader(0, 1, 1, 2, 4, 24, 2, 1, 8, 0x20) + map + Bytes{1, 0}, &depth);
    EXPECT_EQ(Px(mapped, 0, 0), 0x3C3228FFu);
    EXPECT_EQ(Px(mapped, 1, 0), 0x1E140AFFu);
    EXPECT_EQ(depth, 8);
    LImageBuffer none;
    EXPECT_EQ(Decode<LProcessTGALoad>(TgaHeader(0, 1, 1, 2, 4, 24, 2, 1, 8, 0x20) + map + Bytes{1, 2}, none),
              LProcessResultFailed);
    // 32-bit entries bring alpha; 16-bit ones are 5-5-5.
    LImageBuffer withAlpha;
    ASSERT_EQ(
        Decode<LProcessTGALoad>(TgaHeader(0, 1, 1, 0, 1, 32, 1, 1, 8, 0) + Bytes{1, 2, 3, 4, 0}, withAlpha),
        LProcessResultSuccess);
    EXPECT_EQ(withAlpha.GetPixelFormat(), B8G8R8A8);
    EXPECT_EQ(Px(DecodePicture<LProcessTGALoad>(TgaHeader(0, 1, 1, 0, 1, 16, 1, 1, 8, 0) +
                                                Bytes{uint8_t(word), uint8_t(word >> 8), 0}),
                 0, 0),
              0x081018FFu);

    // Mapped and run-length, with a repeat packet running from the first row into the second.
    const Bytes packets = {0x83, 1, 0x01, 0, 1};
    const Picture runs = DecodePicture<LProcessTGALoad>(TgaHeader(0, 1, 9, 0, 2, 24, 3, 2, 8, 0x20) +
                                                        Bytes{0, 0, 255, 0, 255, 0} + packets);
    ASSERT_EQ(runs.w, 3);
    const uint32_t red = 0xFF0000FF, green = 0x00FF00FF;
    EXPECT_EQ((std::vector<uint32_t>{Px(runs, 0, 0), Px(runs, 1, 0), Px(runs, 2, 0), Px(runs, 0, 1),
                                     Px(runs, 1, 1), Px(runs, 2, 1)}),
              (std::vector<uint32_t>{green, green, green, green, red, green}));

    // The four origins: file pixels A B / C D.
    const Bytes quad = {1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4};
    const struct
    {
        int descriptor;
        uint8_t topLeft, topRight, bottomLeft, bottomRight;
    } origins[] = {{0x00, 3, 4, 1, 2}, {0x20, 1, 2, 3, 4}, {0x10, 4, 3, 2, 1}, {0x30, 2, 1, 4, 3}};
    for (const auto& o : origins)
    {
        const Picture p =
            DecodePicture<LProcessTGALoad>(TgaHeader(0, 0, 2, 0, 0, 0, 2, 2, 24, o.descriptor) + quad);
        ASSERT_EQ(p.w, 2);
        EXPECT_EQ((std::vector<uint8_t>{p.At(0, 0)[0], p.At(1, 0)[0], p.At(0, 1)[0], p.At(1, 1)[0]}),
                  (std::vector<uint8_t>{o.topLeft, o.topRight, o.bottomLeft, o.bottomRight}))
            << "descriptor " << o.descriptor;
    }
}

TEST(TGARead, RefusedHeaders)
{
    const Bytes pixel(8, 0x40);
    const Bytes refused[] = {
        TgaHeader(0, 0, 18, 0, 0, 0, 1, 1, 24, 0) + pixel,      // type 16 and above
        TgaHeader(0, 0, 2, 0, 0, 0, 0, 1, 24, 0) + pixel,       // no width
        TgaHeader(0, 0, 2, 0, 0, 0, 1, 0, 24, 0) + pixel,       // no height
        TgaHeader(0, 0, 2, 0, 0, 0, 1, 1, 32, 4) + pixel,       // alpha nibble 4
        TgaHeader(0, 0, 2, 0, 0, 0, 1, 1, 8, 0) + pixel,        // true colour of 8 bits
        TgaHeader(0, 0, 3, 0, 0, 0, 1, 1, 24, 0) + pixel,       // grey of 24 bits
        TgaHeader(0, 0, 1, 0, 0, 0, 1, 1, 8, 0) + pixel,        // mapped without a map
        TgaHeader(0, 1, 1, 0, 1, 8, 1, 1, 8, 0) + pixel,        // map entries of 8 bits
        TgaHeader(0, 2, 2, 0, 0, 0, 1, 1, 24, 0) + pixel,       // map type 2
        TgaHeader(0, 0, 2, 0, 1, 24, 1, 1, 24, 0) + pixel,      // a length without a map
        TgaHeader(0, 0, 0, 0, 0, 0, 1, 1, 24, 0) + pixel,       // no image data
        TgaHeader(0, 0, 4, 0, 0, 0, 1, 1, 24, 0) + pixel,       // unknown kind
        TgaHeader(0, 0, 2, 0, 0, 0, 1000, 1000, 24, 0) + pixel, // far too short
    };
    for (const Bytes& file : refused)
    {
        LImageBuffer image;
        EXPECT_EQ(Decode<LProcessTGALoad>(file, image), LProcessResultFailed) << "type " << int(file[2]);
    }
}

namespace
{

struct TgaWritten
{
    Bytes file;
    int mapType, type, mapLength, mapBits, depth, descriptor;
};

TgaWritten WriteTga(const Picture& p, pixelformat_t pf = B8G8R8A8)
{
    LImageBuffer image;
    ToBuffer(p, image, pf);
    TgaWritten w{Encode<LProcessTGASave>(image), 0, 0, 0, 0, 0, 0};
    if (w.file.size() >= 18)
        w.mapType = w.file[1], w.type = w.file[2], w.mapLength = w.file[5] | w.file[6] << 8,
        w.mapBits = w.file[7], w.depth = w.file[16], w.descriptor = w.file[17];
    return w;
}

} // namespace

TEST(TGAWrite, ChoosesTheSmallestLayoutAndOthersReadIt)
{
    TempFolder dir;
    const struct Case
    {
        const char* name;
        Picture picture;
        int kind, depth, mapLength, mapBits, descriptor;
    } cases[] = {
        {"grey ramp", MakePicture(256, 3, [](int x, int) { return uint32_t(x) * 0x01010100u | 0xFF; }), 3, 8,
         0, 0, 32},
        {"300 grey values with alpha",
         MakePicture(300, 2,
                     [](int x, int) { return uint32_t(x % 150) * 0x01010100u | (x < 150 ? 0xFF : 0x80); }),
         3, 16, 0, 0, 40},
        {"200 colours, wider than 200",
         MakePicture(256, 4, [](int x, int y) { return uint32_t((x + y) % 200) * 0x01030700u | 0xFF; }), 1, 8,
         200, 24, 32},
        {"four colours with alpha",
         MakePicture(9, 9,
                     [](int x, int y)
                     { return ((x + y) % 4) * 0x40300000u | uint32_t(40 + (x + y) % 4 * 30); }),
         1, 8, 4, 32, 40},
        {"photo", PhotoLike(123, 45), 2, 24, 0, 0, 32},
        {"photo with alpha", PhotoLike(123, 45, true), 2, 32, 0, 0, 40},
        {"one pixel", MakePicture(1, 1, [](int, int) { return 0x102030FFu; }), 2, 24, 0, 0, 32},
        {"two pixels of one colour", MakePicture(2, 1, [](int, int) { return 0x102030FFu; }), 1, 8, 1, 24,
         32},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        const TgaWritten w = WriteTga(c.picture);
        ASSERT_FALSE(w.file.empty());
        EXPECT_EQ(w.type & 7, c.kind);
        EXPECT_EQ(w.depth, c.depth);
        EXPECT_EQ(w.mapType, c.kind == 1 ? 1 : 0);
        EXPECT_EQ(w.mapLength, c.mapLength);
        EXPECT_EQ(w.mapBits, c.mapBits);
        EXPECT_EQ(w.descriptor, c.descriptor);
        const std::string path = dir / "ours.tga";
        WriteFile(path, w.file);
        // ImageMagick takes grey with alpha for 5-5-5 colour; Pillow has no 32-bit colour maps.
        if (c.kind != 3 || c.depth != 16)
        {
            EXPECT_TRUE(SamePicture(MagickDecode(path), c.picture));
        }
        if (c.mapBits != 32)
        {
            EXPECT_TRUE(SamePicture(PillowDecode(path), c.picture));
        }
    }
}

TEST(TGAWrite, RunLengthPacketsNeverCrossARow)
{
    const Picture p = PhotoLike(300, 40);
    const TgaWritten w = WriteTga(p);
    ASSERT_EQ(w.type, 10);
    // Walk the packets: every one lies inside a row and together they cover the picture.
    size_t at = 18, pixel = 0;
    const size_t total = size_t(p.w) * p.h;
    while (pixel < total)
    {
        ASSERT_LT(at, w.file.size());
        const uint8_t code = w.file[at++];
        const size_t count = (code & 127) + 1u;
        ASSERT_LE(pixel % p.w + count, size_t(p.w)) << "packet at pixel " << pixel;
        at += (code & 128) ? 3 : 3 * count;
        pixel += count;
    }
    EXPECT_EQ(at, w.file.size());

    // A row of 130 equal pixels (one map entry): a repeat of 127, since a run's last pixel opens
    // the next packet, a repeat of 2, then one raw pixel.
    const TgaWritten flat = WriteTga(MakePicture(130, 1, [](int, int) { return 0x123456FFu; }));
    EXPECT_EQ(flat.type, 9);
    EXPECT_EQ(Bytes(flat.file.begin() + 21, flat.file.end()), (Bytes{0xFE, 0, 0x81, 0, 0x00, 0}));

    // Noise doesn't pack into less than its plain size, so it is written plain.
    const Picture noise = MakePicture(
        64, 64, [](int x, int y) { return (uint32_t(x * 7919 + y * 104729) * 2654435761u) | 0xFF; });
    const TgaWritten plain = WriteTga(noise);
    EXPECT_EQ(plain.type, 2);
    EXPECT_EQ(plain.file.size(), 18u + 64 * 64 * 3);
    EXPECT_TRUE(SamePicture(DecodePicture<LProcessTGALoad>(plain.file), noise));
}

TEST(TGAWrite, SixteenBitSources)
{
    TempFolder dir;
    // 5-6-5 words whose channels widen to round(v * 255 / max).
    LImageBuffer image;
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(B5G6R5, 33, 2)));
    Picture expected{33, 2, Bytes(33 * 2 * 4)};
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 33; ++x)
        {
            const unsigned r = x % 32, g = (x * 2 + y) % 64, b = 31 - x % 32;
            const uint16_t v = uint16_t(r << 11 | g << 5 | b);
            image.GetRow(y)[2 * x] = uint8_t(v), image.GetRow(y)[2 * x + 1] = uint8_t(v >> 8);
            uint8_t* e = expected.At(x, y);
            e[0] = uint8_t((r * 255 + 15) / 31), e[1] = uint8_t((g * 255 + 31) / 63),
            e[2] = uint8_t((b * 255 + 15) / 31), e[3] = 255;
        }
    const std::string path = dir / "ours.tga";
    WriteFile(path, Encode<LProcessTGASave>(image));
    EXPECT_TRUE(SamePicture(MagickDecode(path), expected));
}

TEST(TGA, DamagedFilesFailCleanly)
{
    TempFolder dir;
    const Picture p = PhotoLike(40, 30, true);
    LImageBuffer image;
    ToBuffer(p, image);
    const Bytes packed = Encode<LProcessTGASave>(image);
    ASSERT_EQ(packed[2], 10);
    ExpectCutsFail<LProcessTGALoad>(packed);
    SurviveDamage<LProcessTGALoad>(packed);
    const std::string path = dir / "mapped.tga";
    ASSERT_TRUE(MagickEncode(dir, p, "-alpha off -colors 30 -type Palette -compress RLE", path));
    const Bytes mapped = ReadFile(path);
    ExpectCutsFail<LProcessTGALoad>(mapped);
    SurviveDamage<LProcessTGALoad>(mapped);
    ExpectProgressAndStop<LProcessTGALoad>(packed);

    // The file reader gives what the memory reader gives.
    WriteFile(dir / "ours.tga", packed);
    LImageBuffer fromFile;
    ASSERT_EQ(DecodeFile<LProcessTGALoad>(dir / "ours.tga", fromFile), LProcessResultSuccess);
    EXPECT_TRUE(SamePicture(FromBuffer(fromFile), p));
}
