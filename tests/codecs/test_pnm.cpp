#include "codecs/LCodecPNM.h"
#include "formats_support.h"

using namespace formats_test;

namespace
{

Bytes Of(const std::string& text, const Bytes& tail = {})
{
    Bytes b(text.begin(), text.end());
    b.insert(b.end(), tail.begin(), tail.end());
    return b;
}

Bytes WritePnm(const Picture& p, int type, int threshold = 32, LProcessResult* result = nullptr)
{
    LImageBuffer image;
    ToBuffer(p, image);
    return Encode<LProcessPNMSave>(
        image,
        [=](LProcessPNMSave<LOutputStreamByteArray>& data)
        {
            data.settings.iType = type;
            data.settings.iBinThreshold = threshold;
        },
        result);
}

// The black-and-white grey of a pixel, which the grey and monochrome forms write.
int Luma(const uint8_t* rgba)
{
    return (rgba[0] * 76 + rgba[1] * 155 + rgba[2] * 25) >> 8;
}

Picture Grey(const Picture& p, const std::function<int(int)>& map)
{
    Picture g = p;
    for (size_t i = 0; i < g.rgba.size(); i += 4)
    {
        const uint8_t v = uint8_t(map(Luma(&p.rgba[i])));
        g.rgba[i] = g.rgba[i + 1] = g.rgba[i + 2] = v, g.rgba[i + 3] = 255;
    }
    return g;
}

} // namespace

TEST(PNMRead, FilesWrittenByNetpbm)
{
    TempFolder dir;
    const Picture colour = PhotoLike(29, 13);
    const std::string ppm = dir / "source.ppm", pgm = dir / "source.pgm", pbm = dir / "source.pbm";
    ASSERT_TRUE(MagickEncode(dir, colour, "", ppm));
    ASSERT_TRUE(MagickEncode(dir, colour, "-colorspace Gray", pgm));
    ASSERT_TRUE(MagickEncode(dir, colour, "-monochrome", pbm));
    const struct Case
    {
        std::string command;
        int depth;
    } cases[] = {
        {"cat '" + ppm + "'", 24},
        {"cat '" + pgm + "'", 8},
        {"cat '" + pbm + "'", 1},
        {"pnmtoplainpnm '" + ppm + "'", 24},
        {"pnmtoplainpnm '" + pgm + "'", 8},
        {"pnmtoplainpnm '" + pbm + "'", 1},
        {"pamdepth 65535 '" + ppm + "'", 48}, // two bytes a sample, v * 257
        {"pamdepth 65535 '" + pgm + "' | pnmtoplainpnm", 16},
    };
    const std::string path = dir / "netpbm.pnm";
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.command);
        ASSERT_TRUE(Shell(c.command + " > '" + path + "'"));
        int depth = 0;
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessPNMLoad>(ReadFile(path), &depth), MagickDecode(path)));
        EXPECT_EQ(depth, c.depth);
    }
}

TEST(PNMRead, MaximaAndComments)
{
    int depth = 0;
    // Maximum 1000: two bytes a sample, scaled by 255 / 1000 with the division truncating.
    const Picture p5 = DecodePicture<LProcessPNMLoad>(
        Of("P5\n5 1\n1000\n", Bytes{0, 0, 0, 1, 3, 231, 3, 232, 1, 244}), &depth);
    EXPECT_EQ(depth, 16);
    EXPECT_EQ(p5.rgba, (Bytes{0,   0,   0,   255, 0,   0,   0,   255, 254, 254,
                              254, 255, 255, 255, 255, 255, 127, 127, 127, 255}));
    // Maximum 15 in the plain form, with comments everywhere blanks may stand.
    const Picture p3 = DecodePicture<LProcessPNMLoad>(
        Of("P3#first\n# a whole line\n2#w\n 1 # h\n15\n15 0 7# in the data\n\n1\t2 3\n"), &depth);
    EXPECT_EQ(depth, 24);
    EXPECT_EQ(p3.rgba, (Bytes{255, 0, 119, 255, 17, 34, 51, 255}));
    // P1 digits need no blanks between them; 1 is black.
    EXPECT_EQ(DecodePicture<LProcessPNMLoad>(Of("P1\n3 1\n#c\n10\n1"), &depth).rgba,
              (Bytes{0, 0, 0, 255, 255, 255, 255, 255, 0, 0, 0, 255}));
    EXPECT_EQ(depth, 1);
    // P4: rows of whole bytes, a set bit black.
    EXPECT_EQ(DecodePicture<LProcessPNMLoad>(Of("P4 3 2\n", Bytes{0x5F, 0xA0})).rgba,
              (Bytes{255, 255, 255, 255, 0,   0,   0,   255, 255, 255, 255, 255,
                     0,   0,   0,   255, 255, 255, 255, 255, 0,   0,   0,   255}));
    // Maximum 256 makes 16-bit plain grey; 255 stays 8.
    DecodePicture<LProcessPNMLoad>(Of("P2 1 1 256 256"), &depth);
    EXPECT_EQ(depth, 16);
    DecodePicture<LProcessPNMLoad>(Of("P6 1 1 255\n", Bytes{1, 2, 3}), &depth);
    EXPECT_EQ(depth, 24);
    // A plain reader ends with the progress at 1.
    Recorder watch;
    LImageBuffer image;
    ASSERT_EQ(Decode<LProcessPNMLoad>(Of("P2 2 1 255 1 2"), image, nullptr, &watch), LProcessResultSuccess);
    EXPECT_EQ(watch.arProgress.back(), 1.0);

    const std::string refused[] = {
        "P7\n1 1\n255\n...",      // not a kind
        "P0\n1 1\n255\n...",      //
        "Q6\n1 1\n255\n...",      // not PNM at all
        "P6\n1 1\n0\n...",        // maximum 0
        "P6\n1 1\n65536\n...",    // maximum past 16 bits
        "P6\n0 1\n255\n...",      // no width
        "P6\n1 1\n255#\n...",     // no blank after the header
        "P6\n1 1\n255\n..",       // a byte short
        "P1\n2 1\n0 2\n",         // P1 takes only 0 and 1
        "P2\n2 1\n255\n9",        // a sample short
        "P3\n1 1\n255\n1 -2 3",   // not a number
        "P6\n-1 1\n255\n...",     //
        "P5\n99999 99999\n255\n", // far too short
    };
    for (const std::string& file : refused)
        EXPECT_EQ(Decode<LProcessPNMLoad>(Of(file), image), LProcessResultFailed) << file;
}

TEST(PNMWrite, EveryVariantReadsBackElsewhere)
{
    TempFolder dir;
    const Picture p = PhotoLike(27, 9, true);
    const int threshold = 100;
    // The monochrome forms write 1 for light pixels, which other readers take as black.
    const Picture mono = Grey(p, [](int l) { return l >= threshold ? 0 : 255; });
    const Picture grey = Grey(p, [](int l) { return l; });
    const Picture* expected[6] = {&mono, &grey, nullptr, &mono, &grey, nullptr};
    static const char* headers[6] = {"P1\n27 9\n", "P2\n27 9\n255\n", "P3\n27 9\n255\n",
                                     "P4\n27 9\n", "P5\n27 9\n255\n", "P6\n27 9\n255\n"};
    for (int type = 0; type < 6; ++type)
    {
        SCOPED_TRACE(type);
        const Bytes file = WritePnm(p, type, threshold);
        ASSERT_GT(file.size(), strlen(headers[type]));
        EXPECT_EQ(std::string(file.begin(), file.begin() + ptrdiff_t(strlen(headers[type]))), headers[type]);
        const std::string path = dir / "ours.pnm";
        WriteFile(path, file);
        const Picture want = expected[type] ? *expected[type] : Opaque(p);
        EXPECT_TRUE(SamePicture(MagickDecode(path), want));
        EXPECT_TRUE(SamePicture(PillowDecode(path), want));
        // Reading it back here inverts the monochrome forms the same way.
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessPNMLoad>(file), want));
    }
    LProcessResult result;
    WritePnm(p, 6, 32, &result);
    EXPECT_EQ(result, LProcessResultFailed);
}

TEST(PNMWrite, PlainLayout)
{
    // One row a line, values separated by one blank; black is below any threshold above 0.
    const Picture p =
        MakePicture(3, 2, [](int x, int y) { return x == 0 && y == 0 ? 0x000000FFu : 0xFFFFFFFFu; });
    const Bytes p1 = WritePnm(p, 0, 128);
    EXPECT_EQ(std::string(p1.begin(), p1.end()), "P1\n3 2\n0 1 1\n1 1 1\n");
    const Picture colour = MakePicture(2, 1, [](int x, int) { return x ? 0x0A6400FFu : 0xFF0102FFu; });
    const Bytes p3 = WritePnm(colour, 2);
    EXPECT_EQ(std::string(p3.begin(), p3.end()), "P3\n2 1\n255\n255 1 2 10 100 0\n");
    const Bytes p2 = WritePnm(colour, 1);
    EXPECT_EQ(std::string(p2.begin(), p2.end()), "P2\n2 1\n255\n76 63\n");
    // Writing black in P1 gives 0, and reading that file gives white.
    EXPECT_EQ(DecodePicture<LProcessPNMLoad>(p1).rgba[0], 255);
}

TEST(PNM, DamagedFilesFailCleanly)
{
    const Picture p = PhotoLike(31, 17);
    for (int type : {3, 4, 5})
    {
        const Bytes file = WritePnm(p, type);
        ExpectCutsFail<LProcessPNMLoad>(file);
        SurviveDamage<LProcessPNMLoad>(file, 100);
    }
    // A plain file cut inside its last value still holds every sample.
    for (int type : {0, 1, 2})
    {
        const Bytes file = WritePnm(p, type);
        ExpectCutsFail<LProcessPNMLoad>(file, 0, 4);
        SurviveDamage<LProcessPNMLoad>(file, 100);
    }
    ExpectProgressAndStop<LProcessPNMLoad>(WritePnm(p, 5));
    ExpectProgressAndStop<LProcessPNMLoad>(WritePnm(p, 2));
}
