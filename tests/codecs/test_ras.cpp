#include "codecs/LCodecRAS.h"
#include "codec_support.h"

using namespace codec_test;

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

// What the reader gives for files whose bytes or map planes are in red-first order.
Picture SwapRedBlue(Picture p)
{
    for (size_t i = 0; i < p.rgba.size(); i += 4)
        std::swap(p.rgba[i], p.rgba[i + 2]);
    return p;
}

} // namespace

// Pillow loses its place when a run carries over a row end, so ImageMagick is the reference but
// for netpbm's 1-bit files, which only Pillow reads.
TEST(RASRead, FilesWrittenByOtherTools)
{
    TempFolder dir;
    const Picture colour = PhotoLike(48, 17);
    const std::string ppm = dir / "source.ppm", few = dir / "few.ppm", pbm = dir / "source.pbm",
                      path = dir / "o.ras";
    ASSERT_TRUE(MagickEncode(dir, colour, "", ppm) && MagickEncode(dir, colour, "-colors 30", few) &&
                MagickEncode(dir, colour, "-monochrome", pbm));
    const struct
    {
        std::string command;
        int depth;
        bool swapped;
    } cases[] = {
        {"pnmtorast -standard '" + ppm + "'", 24, false}, // blue, green, red
        {"pnmtorast -standard '" + few + "'", 8, true},   // the map's first plane goes to blue
        {"pnmtorast -rle '" + few + "'", 8, true},
        {"pnmtorast '" + pbm + "'", 1, false},     // set bits black
        {"convert '" + ppm + "' sun:-", 24, true}, // type 3, red first: taken as the bytes stand
    };
    for (const auto& c : cases)
    {
        SCOPED_TRACE(c.command);
        ASSERT_TRUE(Shell(c.command + " > '" + path + "' 2>/dev/null"));
        ASSERT_EQ(ReadFile(path)[15], c.depth);
        int depth = 0;
        const Picture reference = c.depth == 1 ? PillowDecode(path) : MagickDecode(path);
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessRASLoad>(ReadFile(path), &depth),
                                c.swapped ? SwapRedBlue(reference) : reference));
        EXPECT_EQ(depth, 24);
    }
}

TEST(RASRead, HandMadeFiles)
{
    const Bytes grey = {0, 0, 0, 255}, light = {100, 100, 100, 255}, white = {255, 255, 255, 255};
    EXPECT_EQ(DecodePicture<LProcessRASLoad>(RasHeader(3, 1, 8, 1, 0, 0) + Bytes{0, 100, 255, 9}).rgba,
              grey + light + white);
    // Run-length: 128 0 is a literal 128; 128 4 7 gives five 7s, one in row 0's padding and the
    // last two in row 1.
    const Bytes b128 = {128, 128, 128, 255}, seven = {7, 7, 7, 255};
    EXPECT_EQ(
        DecodePicture<LProcessRASLoad>(RasHeader(3, 2, 8, 2, 0, 0) + Bytes{128, 0, 128, 4, 7, 128, 0, 5})
            .rgba,
        b128 + seven + seven + seven + seven + b128);
    // 32 bits keep their four bytes in a 32-bit image.
    LImageBuffer image;
    ASSERT_EQ(Decode<LProcessRASLoad>(RasHeader(1, 1, 32, 1, 0, 0) + Bytes{1, 2, 3, 4}, image),
              LProcessResultSuccess);
    EXPECT_EQ(FromBuffer(image).rgba, (Bytes{3, 2, 1, 4}));
    // A map for 1 bit: the bit indexes it; the row length truncates, so pixel 16 of 17 stays black.
    const Picture bits = DecodePicture<LProcessRASLoad>(RasHeader(17, 1, 1, 1, 1, 6) +
                                                        Bytes{10, 20, 30, 40, 50, 60} + Bytes{0x80, 0x01});
    ASSERT_EQ(bits.w, 17);
    EXPECT_EQ(bits.Pixel(0, 0) + bits.Pixel(1, 0) + bits.Pixel(15, 0) + bits.Pixel(16, 0),
              (Bytes{60, 40, 20, 255, 50, 30, 10, 255, 60, 40, 20, 255, 0, 0, 0, 255}));
    // Other depths have no picture to give.
    EXPECT_FALSE(DecodePicture<LProcessRASLoad>(RasHeader(4, 1, 4, 1, 0, 0) + Bytes{1, 2}).IsValid());

    // Magic; type 4; maps with 24 and 32 bits; a raw map with 8; a map past the end; no width; too short.
    // clang-format off
    const Bytes refused[] = {RasHeader(1, 1, 24, 1, 0, 0, 0x59A66A96), RasHeader(1, 1, 24, 4, 0, 0),
        RasHeader(1, 1, 24, 1, 1, 0), RasHeader(1, 1, 32, 1, 2, 0), RasHeader(1, 1, 8, 1, 2, 0),
        RasHeader(1, 1, 8, 1, 1, 768), RasHeader(0, 1, 24, 1, 0, 0), RasHeader(5000, 5000, 24, 1, 0, 0)};
    // clang-format on
    for (const Bytes& header : refused)
        EXPECT_EQ(Decode<LProcessRASLoad>(header + Bytes(4, 1), image), LProcessResultFailed);
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
        WriteFile(dir / "ours.ras", file); // ImageMagick refuses the length 0 of this header
        EXPECT_TRUE(SamePicture(PillowDecode(dir / "ours.ras"), Opaque(p)));
    }
}

TEST(RAS, DamagedFilesFailCleanly)
{
    TempFolder dir;
    const Picture p = PhotoLike(30, 20);
    LImageBuffer image;
    ToBuffer(p, image);
    ExpectRobust<LProcessRASLoad>(Encode<LProcessRASSave>(image));
    ASSERT_TRUE(MagickEncode(dir, p, "-colors 20", dir / "few.ppm"));
    ASSERT_TRUE(Shell("pnmtorast -rle '" + dir / "few.ppm" + "' > '" + dir / "rle.ras" + "' 2>/dev/null"));
    ExpectRobust<LProcessRASLoad>(ReadFile(dir / "rle.ras"));
}
