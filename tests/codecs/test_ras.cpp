#include "codecs/LCodecRAS.h"
#include "formats_support.h"

using namespace formats_test;

namespace
{

Bytes RasHeader(uint32_t w, uint32_t h, uint32_t depth, uint32_t type, uint32_t mapType, uint32_t mapLength,
                uint32_t magic = 0x59A66A95)
{
    Bytes b;
    for (uint32_t v : {magic, w, h, depth, 0u, type, mapType, mapLength})
        b.insert(b.end(), {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)});
    return b;
}

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Red and blue exchanged: what the reader gives for files whose bytes are in RGB order.
Picture SwapRedBlue(Picture p)
{
    for (size_t i = 0; i < p.rgba.size(); i += 4)
        std::swap(p.rgba[i], p.rgba[i + 2]);
    return p;
}

} // namespace

TEST(RASRead, FilesWrittenByOtherTools)
{
    TempFolder dir;
    const Picture colour = PhotoLike(48, 17);
    const std::string ppm = dir / "source.ppm", few = dir / "few.ppm", pbm = dir / "source.pbm";
    ASSERT_TRUE(MagickEncode(dir, colour, "", ppm));
    ASSERT_TRUE(MagickEncode(dir, colour, "-colors 30", few));
    ASSERT_TRUE(MagickEncode(dir, colour, "-monochrome", pbm));
    const std::string path = dir / "netpbm.ras";
    // Standard 24-bit rows in blue, green, red order, plain and run-length.
    for (const char* options : {"-standard", "-rle"})
    {
        SCOPED_TRACE(options);
        ASSERT_TRUE(
            Shell(std::string("pnmtorast ") + options + " '" + ppm + "' > '" + path + "' 2>/dev/null"));
        int depth = 0;
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessRASLoad>(ReadFile(path), &depth), MagickDecode(path)));
        EXPECT_EQ(depth, 24);
    }
    // Colour maps of 8 bits: the map's first plane goes to blue, its third to red. (Pillow
    // loses its place when a run carries over a row end, so ImageMagick is the reference.)
    for (const char* options : {"-standard", "-rle"})
    {
        SCOPED_TRACE(options);
        ASSERT_TRUE(
            Shell(std::string("pnmtorast ") + options + " '" + few + "' > '" + path + "' 2>/dev/null"));
        ASSERT_EQ(ReadFile(path)[15], 8);
        EXPECT_TRUE(
            SamePicture(DecodePicture<LProcessRASLoad>(ReadFile(path)), SwapRedBlue(MagickDecode(path))));
    }
    // One bit without a map: set is black. (ImageMagick refuses these files.)
    ASSERT_TRUE(Shell("pnmtorast '" + pbm + "' > '" + path + "' 2>/dev/null"));
    ASSERT_EQ(ReadFile(path)[15], 1);
    EXPECT_TRUE(SamePicture(DecodePicture<LProcessRASLoad>(ReadFile(path)), PillowDecode(path)));
    // ImageMagick's 24-bit files are of type 3, red first; the bytes are taken as they stand.
    const std::string magick = dir / "magick.ras";
    ASSERT_TRUE(MagickEncode(dir, colour, "-alpha off", magick));
    ASSERT_EQ(ReadFile(magick)[23], 3);
    EXPECT_TRUE(
        SamePicture(DecodePicture<LProcessRASLoad>(ReadFile(magick)), SwapRedBlue(MagickDecode(magick))));
}

TEST(RASRead, HandMadeFiles)
{
    int depth = 0;
    // Grey of 8 bits, rows padded to even length.
    EXPECT_EQ(DecodePicture<LProcessRASLoad>(RasHeader(3, 1, 8, 1, 0, 0) + Bytes{0, 100, 255, 9}).rgba,
              (Bytes{0, 0, 0, 255, 100, 100, 100, 255, 255, 255, 255, 255}));
    // Run-length: 128 0 is a literal 128; 128 c v repeats v c + 1 times and carries into the
    // next row.
    const Picture runs =
        DecodePicture<LProcessRASLoad>(RasHeader(3, 2, 8, 2, 0, 0) + Bytes{128, 0, 128, 4, 7, 128, 0, 5, 6});
    // Row 0 ends with a 7 in its padding; the run's last two go to row 1.
    EXPECT_EQ(runs.rgba, (Bytes{128, 128, 128, 255, 7, 7, 7, 255, 7,   7,   7,   255,
                                7,   7,   7,   255, 7, 7, 7, 255, 128, 128, 128, 255}));
    // 32 bits keep their four bytes in a 32-bit image.
    LImageBuffer image;
    ASSERT_EQ(Decode<LProcessRASLoad>(RasHeader(1, 1, 32, 1, 0, 0) + Bytes{1, 2, 3, 4}, image, &depth),
              LProcessResultSuccess);
    EXPECT_EQ(image.GetPixelFormat(), B8G8R8A8);
    EXPECT_EQ(FromBuffer(image).rgba, (Bytes{3, 2, 1, 4}));
    EXPECT_EQ(depth, 24);
    // A map for 1 bit: the bit indexes it; the row length truncates, so pixel 16 of 17 is lost.
    const Bytes map = {10, 20, 30, 40, 50, 60};
    const Picture bits =
        DecodePicture<LProcessRASLoad>(RasHeader(17, 1, 1, 1, 1, 6) + map + Bytes{0x80, 0x01});
    ASSERT_EQ(bits.w, 17);
    EXPECT_EQ(Bytes(bits.At(0, 0), bits.At(0, 0) + 4), (Bytes{60, 40, 20, 255}));
    EXPECT_EQ(Bytes(bits.At(1, 0), bits.At(1, 0) + 4), (Bytes{50, 30, 10, 255}));
    EXPECT_EQ(Bytes(bits.At(15, 0), bits.At(15, 0) + 4), (Bytes{60, 40, 20, 255}));
    EXPECT_EQ(Bytes(bits.At(16, 0), bits.At(16, 0) + 4), (Bytes{0, 0, 0, 255}));
    // Other depths are read through and give a picture that is left blank.
    EXPECT_EQ(Decode<LProcessRASLoad>(RasHeader(4, 1, 4, 1, 0, 0) + Bytes{1, 2}, image, &depth),
              LProcessResultSuccess);
    EXPECT_EQ(depth, 24);

    const Bytes refused[] = {
        RasHeader(1, 1, 24, 1, 0, 0, 0x59A66A96) + Bytes(4, 1), // magic
        RasHeader(1, 1, 24, 4, 0, 0) + Bytes(4, 1),             // type above 3
        RasHeader(1, 1, 24, 1, 1, 0) + Bytes(4, 1),             // 24 bits with a map
        RasHeader(1, 1, 32, 1, 2, 0) + Bytes(4, 1),             // 32 bits with a map
        RasHeader(1, 1, 8, 1, 2, 0) + Bytes(4, 1),              // 8 bits with a raw map
        RasHeader(1, 1, 8, 1, 1, 768) + Bytes(4, 1),            // map longer than the file
        RasHeader(0, 1, 24, 1, 0, 0) + Bytes(4, 1),             // no width
        RasHeader(5000, 5000, 24, 1, 0, 0) + Bytes(4, 1),       // far too short
    };
    for (const Bytes& file : refused)
        EXPECT_EQ(Decode<LProcessRASLoad>(file, image), LProcessResultFailed);
}

TEST(RASWrite, OthersReadWhatItWrites)
{
    TempFolder dir;
    for (int width : {1, 3, 64, 99})
    {
        SCOPED_TRACE(width);
        const Picture p = PhotoLike(width, 11, true);
        LImageBuffer image;
        ToBuffer(p, image, width % 2 ? B8G8R8A8 : B8G8R8);
        const Bytes file = Encode<LProcessRASSave>(image);
        ASSERT_EQ(file.size(), 32 + size_t((width * 3 + 1) & ~1) * 11);
        EXPECT_EQ(Bytes(file.begin(), file.begin() + 32), RasHeader(uint32_t(width), 11, 24, 1, 0, 0));
        const std::string path = dir / "ours.ras";
        WriteFile(path, file);
        // ImageMagick refuses the length 0 that this writer puts in the header.
        EXPECT_TRUE(SamePicture(PillowDecode(path), Opaque(p)));
    }
}

TEST(RAS, DamagedFilesFailCleanly)
{
    TempFolder dir;
    const Picture p = PhotoLike(30, 20);
    LImageBuffer image;
    ToBuffer(p, image);
    const Bytes ours = Encode<LProcessRASSave>(image);
    ExpectCutsFail<LProcessRASLoad>(ours);
    SurviveDamage<LProcessRASLoad>(ours);
    ExpectProgressAndStop<LProcessRASLoad>(ours);
    const std::string ppm = dir / "few.ppm", path = dir / "rle.ras";
    ASSERT_TRUE(MagickEncode(dir, p, "-colors 20", ppm));
    ASSERT_TRUE(Shell("pnmtorast -rle '" + ppm + "' > '" + path + "' 2>/dev/null"));
    const Bytes rle = ReadFile(path);
    ExpectCutsFail<LProcessRASLoad>(rle);
    SurviveDamage<LProcessRASLoad>(rle);
}
