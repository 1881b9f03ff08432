#include "codecs/LCodecPCX.h"
#include "codec_support.h"

using namespace codec_test;

namespace
{

Bytes PcxHeader(int w, int h, int planes, int bits = 8, int version = 5, int encoding = 1,
                int bytesPerLine = -1, int xmin = 0)
{
    Bytes b(128, 0);
    const int xmax = xmin + w - 1, line = bytesPerLine >= 0 ? bytesPerLine : bits == 1 ? (w + 7) / 8 : w;
    b[1] = uint8_t(version), b[2] = uint8_t(encoding), b[3] = uint8_t(bits), b[4] = uint8_t(xmin);
    b[5] = uint8_t(xmin >> 8), b[8] = uint8_t(xmax), b[9] = uint8_t(xmax >> 8), b[10] = uint8_t(h - 1);
    b[12] = 72, b[14] = 150, b[65] = uint8_t(planes), b[66] = uint8_t(line), b[67] = uint8_t(line >> 8);
    return b;
}

} // namespace

TEST(PCXRead, FilesWrittenByOtherTools)
{
    TempFolder dir;
    const Picture colour = PhotoLike(41, 19);
    const std::string png = dir / "source.png", ppm = dir / "source.ppm", path = dir / "other.pcx",
                      four = dir / "4.ppm";
    ASSERT_TRUE(MagickEncode(dir, colour, "", png) && MagickEncode(dir, colour, "-colors 200", ppm) &&
                MagickEncode(dir, colour, "-colors 4", four));
    const std::pair<std::string, int> writers[] = {
        {"convert '" + png + "' -alpha off '" + path + "'", 24},
        {"convert '" + png + "' -alpha off -colors 60 -type Palette '" + path + "'", 8},
        {"ppmtopcx -24bit '" + ppm + "' > '" + path + "'", 24},
        {"ppmtopcx -8bit '" + ppm + "' > '" + path + "'", 8},
        {"/usr/bin/python3 -c \"from PIL import Image; Image.open('" + png + "').convert('L').save('" + path +
             "')\"",
         8},
        {"/usr/bin/python3 -c \"from PIL import Image; Image.open('" + png + "').convert('1').save('" + path +
             "')\"",
         1},
        {"ppmtopcx -packed '" + four + "' > '" + path + "'", 0}, // 2 bits packed: not read
        {"convert '" + png + "' '" + path + "'", 0},             // four planes with alpha: not read
    };
    for (const auto& [command, depth] : writers)
    {
        SCOPED_TRACE(command);
        ASSERT_TRUE(Shell(command + " 2>/dev/null"));
        int got = 0;
        const Picture ours = DecodePicture<LProcessPCXLoad>(ReadFile(path), &got);
        EXPECT_EQ(got, depth);
        EXPECT_TRUE(depth == 0 ? ours.rgba.empty() : SamePicture(ours, PillowDecode(path)));
    }
}

TEST(PCXRead, HandMadeFiles)
{
    int depth = 0;
    LImageBuffer image;
    // A run of six covers both samples of all three planes; a seventh left over fails.
    ASSERT_EQ(Decode<LProcessPCXLoad>(PcxHeader(2, 1, 3) + Bytes{0xC6, 9}, image, &depth),
              LProcessResultSuccess);
    EXPECT_EQ(FromBuffer(image).rgba, (Bytes{9, 9, 9, 255, 9, 9, 9, 255}));
    EXPECT_EQ(depth, 24);
    EXPECT_EQ(image.imf.HorizontalResolution, 2834u); // 72 and 150 dots an inch, a metre
    EXPECT_EQ(image.imf.VerticalResolution, 5905u);
    EXPECT_EQ(Decode<LProcessPCXLoad>(PcxHeader(2, 1, 3) + Bytes{0xC7, 9}, image), LProcessResultFailed);
    // Runs go on across rows, a count of 0 gives nothing, and unencoded bytes above 191 are samples.
    EXPECT_EQ(DecodePicture<LProcessPCXLoad>(PcxHeader(1, 2, 3) + Bytes{0xC0, 7, 0xC4, 1, 0xC2, 200}).rgba,
              (Bytes{1, 1, 1, 255, 1, 200, 200, 255}));
    EXPECT_EQ(DecodePicture<LProcessPCXLoad>(PcxHeader(1, 1, 3, 8, 0, 0) + Bytes{0xC1, 0xD0, 0xFF}).rgba,
              (Bytes{0xC1, 0xD0, 0xFF, 255}));
    // Samples past the width are skipped; the width counts from xmin.
    EXPECT_EQ(
        DecodePicture<LProcessPCXLoad>(PcxHeader(1, 1, 3, 8, 5, 1, 2, 300) + Bytes{1, 2, 3, 4, 5, 6}).rgba,
        (Bytes{1, 3, 5, 255}));
    // One plane of 8 bits: indices into the palette that follows the byte 12 behind the pixels.
    Bytes palette{12};
    for (int i = 0; i < 256; ++i)
        palette.insert(palette.end(), {uint8_t(i), uint8_t(255 - i), uint8_t(i / 2)});
    const Bytes indexed = PcxHeader(3, 1, 1) + Bytes{0, 10, 0xC1, 255};
    EXPECT_EQ(DecodePicture<LProcessPCXLoad>(indexed + palette).rgba,
              (Bytes{0, 255, 0, 255, 10, 245, 5, 255, 255, 0, 127, 255}));
    palette[0] = 11;
    EXPECT_EQ(Decode<LProcessPCXLoad>(indexed + palette, image), LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessPCXLoad>(indexed, image), LProcessResultFailed);
    // One bit: set is white, high bit first.
    EXPECT_EQ(DecodePicture<LProcessPCXLoad>(PcxHeader(3, 1, 1, 1) + Bytes{0xA0}).rgba,
              (Bytes{255, 255, 255, 255, 0, 0, 0, 255, 255, 255, 255, 255}));

    const Bytes refused[] = {
        PcxHeader(2, 1, 3, 8, 1),       PcxHeader(2, 1, 3, 8, 6),       // versions 1 and 6
        PcxHeader(2, 1, 3, 1),          PcxHeader(2, 1, 2),             // 1 bit in 3 planes; 2 planes
        PcxHeader(2, 1, 1, 4),          PcxHeader(2, 1, 3, 8, 5, 1, 1), // 4 bits; short lines
        PcxHeader(9, 1, 1, 1, 5, 1, 1), PcxHeader(2, 1, 3, 8, 5, 1, -1, 0xFFFF)}; // xmin > xmax
    for (const Bytes& header : refused)
        EXPECT_EQ(Decode<LProcessPCXLoad>(header + Bytes(6, 1), image), LProcessResultFailed);
}

TEST(PCXWrite, OthersReadWhatItWrites)
{
    TempFolder dir;
    for (int width : {1, 2, 37, 301})
    {
        SCOPED_TRACE(width);
        const Picture p = PhotoLike(width, 13, true);
        LImageBuffer image;
        ToBuffer(p, image, width % 2 ? B8G8R8 : B8G8R8A8);
        image.imf.HorizontalResolution = 11811, image.imf.VerticalResolution = 3937; // 300 and 100 dpi
        const Bytes file = Encode<LProcessPCXSave>(image);
        ASSERT_GT(file.size(), 128u);
        const int line = (width + 1) & ~1;
        EXPECT_EQ(Bytes(file.begin(), file.begin() + 16),
                  (Bytes{10, 5, 1, 8, 0, 0, 0, 0, uint8_t(width - 1), uint8_t((width - 1) >> 8), 12, 0, 43, 1,
                         99, 0}));
        EXPECT_EQ((Bytes{file[65], file[66], file[67], file[68]}),
                  (Bytes{3, uint8_t(line), uint8_t(line >> 8), 1}));
        WriteFile(dir / "ours.pcx", file);
        EXPECT_TRUE(SamePicture(MagickDecode(dir / "ours.pcx"), Opaque(p)));
        EXPECT_TRUE(width == 1 ||
                    SamePicture(PillowDecode(dir / "ours.pcx"), Opaque(p))); // Pillow misreads width 1
    }
    // A run ends at 63 or at a change; a single value below 192 stands for itself.
    const uint8_t values[] = {5, 5, 5, 200, 7, 192, 9, 9};
    uint8_t out[200];
    EXPECT_EQ(Bytes(out, out + LPCXRLEEncoder::Encode(values, 8, out)),
              (Bytes{0xC3, 5, 0xC1, 200, 7, 0xC1, 192, 0xC2, 9}));
    const Bytes flat(100, 3);
    EXPECT_EQ(Bytes(out, out + LPCXRLEEncoder::Encode(flat.data(), 100, out)), (Bytes{0xFF, 3, 0xE5, 3}));
}

TEST(PCX, DamagedFilesFailCleanly)
{
    TempFolder dir;
    const Picture p = PhotoLike(33, 21);
    LImageBuffer image;
    ToBuffer(p, image);
    ExpectRobust<LProcessPCXLoad>(Encode<LProcessPCXSave>(image));
    ASSERT_TRUE(MagickEncode(dir, p, "-colors 60 -type Palette", dir / "palette.pcx"));
    ExpectRobust<LProcessPCXLoad>(ReadFile(dir / "palette.pcx"));
}
