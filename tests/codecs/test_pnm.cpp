#include "codecs/LCodecPNM.h"
#include "codec_support.h"

using namespace codec_test;

namespace
{

Bytes Of(const std::string& text, const Bytes& tail = {})
{
    return Bytes(text.begin(), text.end()) + tail;
}

Bytes WritePnm(const Picture& p, int type, int threshold = 32, LProcessResult* result = nullptr)
{
    LImageBuffer image;
    ToBuffer(p, image);
    return Encode<LProcessPNMSave>(
        image, [=](auto& data) { data.settings.iType = type, data.settings.iBinThreshold = threshold; },
        result);
}

// What the grey and monochrome forms write: the black-and-white conversion, mapped.
Picture Grey(const Picture& p, const std::function<int(int)>& map)
{
    return MakePicture(p.w, p.h,
                       [&](int x, int y)
                       {
                           const uint8_t* c = p.At(x, y);
                           return uint32_t(map((c[0] * 76 + c[1] * 155 + c[2] * 25) >> 8)) * 0x01010100u |
                                  0xFF;
                       });
}

} // namespace

TEST(PNMRead, FilesWrittenByNetpbm)
{
    TempFolder dir;
    const Picture colour = PhotoLike(29, 13);
    const std::string ppm = dir / "source.ppm", pgm = dir / "source.pgm", pbm = dir / "source.pbm";
    ASSERT_TRUE(MagickEncode(dir, colour, "", ppm) && MagickEncode(dir, colour, "-colorspace Gray", pgm) &&
                MagickEncode(dir, colour, "-monochrome", pbm));
    const std::pair<std::string, int> cases[] = {{"cat '" + ppm + "'", 24},
                                                 {"cat '" + pgm + "'", 8},
                                                 {"cat '" + pbm + "'", 1},
                                                 {"pnmtoplainpnm '" + ppm + "'", 24},
                                                 {"pnmtoplainpnm '" + pgm + "'", 8},
                                                 {"pnmtoplainpnm '" + pbm + "'", 1},
                                                 {"pamdepth 65535 '" + ppm + "'", 48},
                                                 {"pamdepth 65535 '" + pgm + "' | pnmtoplainpnm", 16}};
    for (const auto& [command, depth] : cases)
    {
        SCOPED_TRACE(command);
        ASSERT_TRUE(Shell(command + " > '" + dir / "netpbm.pnm" + "'"));
        int got = 0;
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessPNMLoad>(ReadFile(dir / "netpbm.pnm"), &got),
                                MagickDecode(dir / "netpbm.pnm")));
        EXPECT_EQ(got, depth);
    }
}

TEST(PNMRead, MaximaCommentsAndRefusals)
{
    int depth = 0;
    // Maximum 1000: two bytes a sample, value * 255 / 1000 truncated.
    const Bytes p5 = Of("P5\n5 1\n1000\n", Bytes{0, 0, 0, 1, 3, 231, 3, 232, 1, 244});
    EXPECT_EQ(
        DecodePicture<LProcessPNMLoad>(p5, &depth).rgba,
        (Bytes{0, 0, 0, 255, 0, 0, 0, 255, 254, 254, 254, 255, 255, 255, 255, 255, 127, 127, 127, 255}));
    EXPECT_EQ(depth, 16);
    // Maximum 15 in the plain form, with comments wherever blanks may stand.
    EXPECT_EQ(
        DecodePicture<LProcessPNMLoad>(Of("P3#a\n# line\n2#w\n 1 # h\n15\n15 0 7# data\n\n1\t2 3\n"), &depth)
            .rgba,
        (Bytes{255, 0, 119, 255, 17, 34, 51, 255}));
    EXPECT_EQ(depth, 24);
    // P1 digits need no blanks between them and 1 is black; P4 rows are whole bytes, a set bit black.
    const Bytes black{0, 0, 0, 255}, white{255, 255, 255, 255};
    EXPECT_EQ(DecodePicture<LProcessPNMLoad>(Of("P1\n3 1\n#c\n10\n1"), &depth).rgba, black + white + black);
    EXPECT_EQ(depth, 1);
    EXPECT_EQ(DecodePicture<LProcessPNMLoad>(Of("P4 3 2\n", Bytes{0x5F, 0xA0})).rgba,
              white + black + white + black + white + black);
    DecodePicture<LProcessPNMLoad>(Of("P2 1 1 256 256"), &depth);
    EXPECT_EQ(depth, 16);
    // A plain reader ends with the progress at 1.
    RecordingProcess watch;
    LImageBuffer image;
    ASSERT_EQ(Decode<LProcessPNMLoad>(Of("P2 2 1 255 1 2"), image, nullptr, &watch), LProcessResultSuccess);
    EXPECT_EQ(watch.arProgress.back(), 1.0);

    for (const char* file :
         {"P7\n1 1\n255\n...", "P0\n1 1\n255\n...", "Q6\n1 1\n255\n...", "P6\n1 1\n0\n...",
          "P6\n1 1\n65536\n...", "P6\n0 1\n255\n...", "P6\n1 1\n255#\n...", "P6\n1 1\n255\n..",
          "P1\n2 1\n0 2\n", "P2\n2 1\n255\n9", "P3\n1 1\n255\n1 -2 3", "P5\n99999 99999\n255\n"})
        EXPECT_EQ(Decode<LProcessPNMLoad>(Of(file), image), LProcessResultFailed) << file;
}

TEST(PNMWrite, EveryVariantReadsBackElsewhere)
{
    TempFolder dir;
    const Picture p = PhotoLike(27, 9, true);
    // The monochrome forms write 1 for light pixels, which readers, this one too, take as black.
    const Picture mono = Grey(p, [](int l) { return l >= 100 ? 0 : 255; }),
                  grey = Grey(p, [](int l) { return l; });
    const Picture* expected[6] = {&mono, &grey, nullptr, &mono, &grey, nullptr};
    const char* headers[6] = {"P1\n27 9\n", "P2\n27 9\n255\n", "P3\n27 9\n255\n",
                              "P4\n27 9\n", "P5\n27 9\n255\n", "P6\n27 9\n255\n"};
    for (int type = 0; type < 6; ++type)
    {
        SCOPED_TRACE(type);
        const Bytes file = WritePnm(p, type, 100);
        ASSERT_GT(file.size(), strlen(headers[type]));
        EXPECT_EQ(std::string(file.begin(), file.begin() + ptrdiff_t(strlen(headers[type]))), headers[type]);
        WriteFile(dir / "ours.pnm", file);
        const Picture want = expected[type] ? *expected[type] : Opaque(p);
        EXPECT_TRUE(SamePicture(MagickDecode(dir / "ours.pnm"), want));
        EXPECT_TRUE(SamePicture(PillowDecode(dir / "ours.pnm"), want));
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessPNMLoad>(file), want));
    }
    LProcessResult result;
    WritePnm(p, 6, 32, &result);
    EXPECT_EQ(result, LProcessResultFailed);

    // Plain forms: a row a line, values parted by one blank. Black written in P1 is 0, read back white.
    const Picture corner = MakePicture(3, 2, [](int x, int y) { return x + y ? 0xFFFFFFFFu : 0x000000FFu; });
    const Bytes p1 = WritePnm(corner, 0, 128);
    EXPECT_EQ(std::string(p1.begin(), p1.end()), "P1\n3 2\n0 1 1\n1 1 1\n");
    EXPECT_EQ(DecodePicture<LProcessPNMLoad>(p1).rgba[0], 255);
    const Picture two = MakePicture(2, 1, [](int x, int) { return x ? 0x0A6400FFu : 0xFF0102FFu; });
    EXPECT_EQ(WritePnm(two, 2), Of("P3\n2 1\n255\n255 1 2 10 100 0\n"));
    EXPECT_EQ(WritePnm(two, 1), Of("P2\n2 1\n255\n76 63\n"));
}

TEST(PNM, DamagedFilesFailCleanly)
{
    const Picture p = PhotoLike(31, 17);
    for (int type : {3, 4, 5})
        ExpectRobust<LProcessPNMLoad>(WritePnm(p, type), 0, 100);
    for (int type : {0, 1, 2}) // a plain file cut inside its last value still holds every sample
        ExpectRobust<LProcessPNMLoad>(WritePnm(p, type), 4, 100);
}
