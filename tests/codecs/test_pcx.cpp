#include "codecs/LCodecPCX.h"
#include "formats_support.h"

using namespace formats_test;

namespace
{

// A header for hand-made files: 8 bits a sample unless told otherwise.
Bytes PcxHeader(int w, int h, int planes, int bits = 8, int version = 5, int encoding = 1,
                int bytesPerLine = -1, int xmin = 0)
{
    Bytes b(128, 0);
    const int xmax = xmin + w - 1, ymax = h - 1;
    if (bytesPerLine < 0)
        bytesPerLine = bits == 1 ? (w + 7) / 8 : w;
    b[0] = 10, b[1] = uint8_t(version), b[2] = uint8_t(encoding), b[3] = uint8_t(bits);
    b[4] = uint8_t(xmin), b[5] = uint8_t(xmin >> 8), b[8] = uint8_t(xmax), b[9] = uint8_t(xmax >> 8);
    b[10] = uint8_t(ymax), b[11] = uint8_t(ymax >> 8);
    b[12] = 72, b[14] = 150;
    b[65] = uint8_t(planes);
    b[66] = uint8_t(bytesPerLine), b[67] = uint8_t(bytesPerLine >> 8);
    return b;
}

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes GreyPalette(uint8_t marker = 12)
{
    Bytes p{marker};
    for (int i = 0; i < 256; ++i)
        p.insert(p.end(), {uint8_t(i), uint8_t(255 - i), uint8_t(i / 2)});
    return p;
}

} // namespace

TEST(PCXRead, FilesWrittenByOtherTools)
{
    TempFolder dir;
    const Picture colour = PhotoLike(41, 19);
    const std::string png = dir / "source.png";
    ASSERT_TRUE(MagickEncode(dir, colour, "", png));
    // Pillow: three planes, one plane with a palette, grey with a palette, one bit.
    for (const char* mode : {"RGB", "P", "L", "1"})
    {
        SCOPED_TRACE(mode);
        const std::string path = dir / "pillow.pcx";
        ASSERT_TRUE(Shell(std::string("/usr/bin/python3 -c \"from PIL import Image; Image.open('") + png +
                          "').convert('" + mode + "').save('" + path + "')\""));
        int depth = 0;
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessPCXLoad>(ReadFile(path), &depth), PillowDecode(path)));
        EXPECT_EQ(depth, mode[0] == 'R' ? 24 : mode[0] == '1' ? 1 : 8);
    }
    // netpbm and ImageMagick, in their three-plane and palette forms.
    const std::string ppm = dir / "source.ppm";
    ASSERT_TRUE(MagickEncode(dir, colour, "-colors 200", ppm));
    for (const char* options : {"-24bit", "-8bit"})
    {
        SCOPED_TRACE(options);
        const std::string path = dir / "netpbm.pcx";
        ASSERT_TRUE(
            Shell(std::string("ppmtopcx ") + options + " '" + ppm + "' > '" + path + "' 2>/dev/null"));
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessPCXLoad>(ReadFile(path)), MagickDecode(ppm)));
    }
    for (const char* options : {"-alpha off", "-alpha off -colors 60 -type Palette"})
    {
        SCOPED_TRACE(options);
        const std::string path = dir / "magick.pcx";
        ASSERT_TRUE(MagickEncode(dir, colour, options, path));
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessPCXLoad>(ReadFile(path)), PillowDecode(path)));
    }
    // Packed forms of 2 and 4 bits, and four planes with alpha, are not read.
    const std::string packed = dir / "packed.pcx", alpha = dir / "alpha.pcx";
    ASSERT_TRUE(MagickEncode(dir, colour, "-colors 4", ppm));
    ASSERT_TRUE(Shell("ppmtopcx -packed '" + ppm + "' > '" + packed + "' 2>/dev/null"));
    ASSERT_TRUE(MagickEncode(dir, PhotoLike(41, 19, true), "", alpha));
    for (const std::string& path : {packed, alpha})
    {
        LImageBuffer image;
        const Bytes file = ReadFile(path);
        ASSERT_GT(file.size(), 128u);
        EXPECT_EQ(Decode<LProcessPCXLoad>(file, image), LProcessResultFailed);
    }
}

TEST(PCXRead, HandMadeFiles)
{
    // A run of six covers both samples of all three planes; one more is left over and fails.
    int depth = 0;
    LImageBuffer image;
    ASSERT_EQ(Decode<LProcessPCXLoad>(PcxHeader(2, 1, 3) + Bytes{0xC6, 9}, image, &depth),
              LProcessResultSuccess);
    EXPECT_EQ(depth, 24);
    EXPECT_EQ(FromBuffer(image).rgba, (Bytes{9, 9, 9, 255, 9, 9, 9, 255}));
    EXPECT_EQ(image.imf.HorizontalResolution, 2834u); // 72 dpi
    EXPECT_EQ(image.imf.VerticalResolution, 5905u);   // 150 dpi
    EXPECT_EQ(Decode<LProcessPCXLoad>(PcxHeader(2, 1, 3) + Bytes{0xC7, 9}, image), LProcessResultFailed);
    // Runs go on across rows; a count of 0 gives nothing.
    const Picture rows =
        DecodePicture<LProcessPCXLoad>(PcxHeader(1, 2, 3) + Bytes{0xC0, 7, 0xC4, 1, 0xC2, 200});
    EXPECT_EQ(rows.rgba, (Bytes{1, 1, 1, 255, 1, 200, 200, 255}));
    // Without encoding, bytes of 192 and above are samples.
    EXPECT_EQ(DecodePicture<LProcessPCXLoad>(PcxHeader(1, 1, 3, 8, 5, 0) + Bytes{0xC1, 0xD0, 0xFF}).rgba,
              (Bytes{0xC1, 0xD0, 0xFF, 255}));
    // Samples past the width are skipped; the width counts from xmin.
    EXPECT_EQ(
        DecodePicture<LProcessPCXLoad>(PcxHeader(1, 1, 3, 8, 5, 1, 2, 300) + Bytes{1, 2, 3, 4, 5, 6}).rgba,
        (Bytes{1, 3, 5, 255}));

    // One plane of 8 bits: indices into the palette behind the pixels, after the byte 12.
    const Bytes indexed = PcxHeader(3, 1, 1) + Bytes{0, 10, 0xC1, 255};
    ASSERT_EQ(Decode<LProcessPCXLoad>(indexed + GreyPalette(), image, &depth), LProcessResultSuccess);
    EXPECT_EQ(depth, 8);
    EXPECT_EQ(FromBuffer(image).rgba, (Bytes{0, 255, 0, 255, 10, 245, 5, 255, 255, 0, 127, 255}));
    EXPECT_EQ(Decode<LProcessPCXLoad>(indexed + GreyPalette(11), image), LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessPCXLoad>(indexed, image), LProcessResultFailed);

    // One bit: set is white, high bit first.
    EXPECT_EQ(DecodePicture<LProcessPCXLoad>(PcxHeader(3, 1, 1, 1) + Bytes{0xA0}, &depth).rgba,
              (Bytes{255, 255, 255, 255, 0, 0, 0, 255, 255, 255, 255, 255}));
    EXPECT_EQ(depth, 1);

    const Bytes refused[] = {
        PcxHeader(2, 1, 3, 8, 1) + Bytes(6, 1),       // version 1
        PcxHeader(2, 1, 3, 8, 6) + Bytes(6, 1),       // version above 5
        PcxHeader(2, 1, 3, 1) + Bytes(6, 1),          // one bit in three planes
        PcxHeader(2, 1, 2) + Bytes(6, 1),             // two planes
        PcxHeader(2, 1, 1, 4) + Bytes(6, 1),          // four bits
        PcxHeader(2, 1, 3, 8, 5, 1, 1) + Bytes(6, 1), // lines shorter than the width
        PcxHeader(9, 1, 1, 1, 5, 1, 1) + Bytes(6, 1), // nine bits in one byte
    };
    for (const Bytes& file : refused)
        EXPECT_EQ(Decode<LProcessPCXLoad>(file, image), LProcessResultFailed);
    Bytes backwards = PcxHeader(2, 1, 3) + Bytes(6, 1);
    backwards[4] = 5; // xmin past xmax
    EXPECT_EQ(Decode<LProcessPCXLoad>(backwards, image), LProcessResultFailed);
    // Version 0 is read.
    EXPECT_EQ(Decode<LProcessPCXLoad>(PcxHeader(2, 1, 3, 8, 0) + Bytes(6, 1), image), LProcessResultSuccess);
}

TEST(PCXWrite, OthersReadWhatItWrites)
{
    TempFolder dir;
    for (int width : {1, 2, 37, 64, 301})
    {
        SCOPED_TRACE(width);
        const Picture p = PhotoLike(width, 13, true);
        LImageBuffer image;
        ToBuffer(p, image, width % 2 ? B8G8R8 : B8G8R8A8);
        image.imf.HorizontalResolution = 11811; // 300 dpi
        image.imf.VerticalResolution = 3937;    // 100 dpi
        const Bytes file = Encode<LProcessPCXSave>(image);
        ASSERT_GT(file.size(), 128u);
        EXPECT_EQ((Bytes{file[0], file[1], file[2], file[3], file[65], file[66], file[67], file[68]}),
                  (Bytes{10, 5, 1, 8, 3, uint8_t((width + 1) & ~1), uint8_t(((width + 1) & ~1) >> 8), 1}));
        EXPECT_EQ(file[12] | file[13] << 8, 299); // 11811 * 0.0254 truncated
        EXPECT_EQ(file[14] | file[15] << 8, 99);
        const std::string path = dir / "ours.pcx";
        WriteFile(path, file);
        if (width > 1) // Pillow misreads the padded lines of a one-pixel width
        {
            EXPECT_TRUE(SamePicture(PillowDecode(path), Opaque(p)));
        }
        EXPECT_TRUE(SamePicture(MagickDecode(path), Opaque(p)));
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessPCXLoad>(file), Opaque(p)));
    }
}

TEST(PCXWrite, RunsOfOneLine)
{
    // A run ends at 63 or at a change; a single value below 192 stands for itself.
    const uint8_t values[] = {5, 5, 5, 200, 7, 192, 9, 9};
    uint8_t out[32];
    const size_t n = LPCXRLEEncoder::Encode(values, 8, out);
    EXPECT_EQ(Bytes(out, out + n), (Bytes{0xC3, 5, 0xC1, 200, 7, 0xC1, 192, 0xC2, 9}));
    const Bytes flat(100, 3);
    uint8_t longOut[16];
    const size_t m = LPCXRLEEncoder::Encode(flat.data(), 100, longOut);
    EXPECT_EQ(Bytes(longOut, longOut + m), (Bytes{0xFF, 3, 0xE5, 3}));
}

TEST(PCX, DamagedFilesFailCleanly)
{
    TempFolder dir;
    const Picture p = PhotoLike(33, 21);
    LImageBuffer image;
    ToBuffer(p, image);
    const Bytes ours = Encode<LProcessPCXSave>(image);
    ExpectCutsFail<LProcessPCXLoad>(ours);
    SurviveDamage<LProcessPCXLoad>(ours);
    ExpectProgressAndStop<LProcessPCXLoad>(ours);
    const std::string path = dir / "palette.pcx";
    ASSERT_TRUE(MagickEncode(dir, p, "-colors 60 -type Palette", path));
    const Bytes palette = ReadFile(path);
    ExpectCutsFail<LProcessPCXLoad>(palette);
    SurviveDamage<LProcessPCXLoad>(palette);
}
