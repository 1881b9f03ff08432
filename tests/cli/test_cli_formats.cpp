// quendrel-cli convert through the small formats and PSD: a picture goes out and comes back
// unchanged where the format keeps it, and the PNM options choose the variant.

#include "cli_support.h"
#include "codecs/codec_support.h"

using namespace codec_test;

namespace
{

bool Convert(const std::string& from, const std::string& to, const std::string& options = "")
{
    return cli_test::RunCli("convert '" + from + "' '" + to + "' " + options).iStatus == 0;
}

} // namespace

TEST(QuendrelCliFormats, RoundTrips)
{
    TempFolder dir;
    const Picture colour = PhotoLike(61, 17), alpha = PhotoLike(61, 17, true);
    ASSERT_TRUE(MagickEncode(dir, colour, "", dir / "colour.png") &&
                MagickEncode(dir, alpha, "", dir / "alpha.png"));
    const struct
    {
        const char* name;
        bool keepsAlpha;
    } lossless[] = {
        {"out.tga", true}, {"out.pcx", false}, {"out.ras", false}, {"out.ppm", false}, {"out.psd", true}};
    for (const auto& f : lossless)
    {
        SCOPED_TRACE(f.name);
        for (const Picture* p : {&colour, &alpha})
        {
            ASSERT_TRUE(Convert(dir / (p == &colour ? "colour.png" : "alpha.png"), dir / f.name));
            ASSERT_TRUE(Convert(dir / f.name, dir / "back.png"));
            EXPECT_TRUE(SamePicture(PillowDecode(dir / "back.png"), f.keepsAlpha ? *p : Opaque(*p)));
        }
    }
    // The PNM variants: plain RGB, grey, and monochrome at a threshold (light pixels written as 1,
    // so they come back black).
    ASSERT_TRUE(Convert(dir / "colour.png", dir / "plain.pnm", "--pnm-type 2"));
    EXPECT_EQ(ReadFile(dir / "plain.pnm")[1], '3');
    EXPECT_TRUE(SamePicture(MagickDecode(dir / "plain.pnm"), colour));
    ASSERT_TRUE(Convert(dir / "colour.png", dir / "grey.pgm", "--pnm-type 4"));
    EXPECT_EQ(ReadFile(dir / "grey.pgm")[1], '5');
    ASSERT_TRUE(Convert(dir / "colour.png", dir / "mono.pbm", "--pnm-type 3 --pnm-threshold 128"));
    const Picture mono = MagickDecode(dir / "mono.pbm");
    ASSERT_EQ(mono.w, 61);
    for (size_t i = 0; i < mono.rgba.size(); i += 4)
    {
        const int luma = (colour.rgba[i] * 76 + colour.rgba[i + 1] * 155 + colour.rgba[i + 2] * 25) >> 8;
        ASSERT_EQ(mono.rgba[i], luma >= 128 ? 0 : 255) << "pixel " << i / 4;
    }
    // WBMP keeps the size; a file of the wrong kind under a known extension fails.
    ASSERT_TRUE(Convert(dir / "colour.png", dir / "out.wbmp"));
    ASSERT_TRUE(Convert(dir / "out.wbmp", dir / "back.png"));
    EXPECT_EQ(PillowDecode(dir / "back.png").w, 61);
    ASSERT_TRUE(Shell("cp '" + dir / "colour.png" + "' '" + dir / "fake.tga" + "'"));
    EXPECT_FALSE(Convert(dir / "fake.tga", dir / "back.png"));
    // GIF keeps a picture of few colours as it is, holes included.
    const Picture few = MakePicture(
        23, 9,
        [](int x, int y) { return x % 4 == 1 ? 0u : uint32_t(x * 10) << 24 | uint32_t(y * 20) << 8 | 255; });
    ASSERT_TRUE(MagickEncode(dir, few, "", dir / "few.png"));
    ASSERT_TRUE(Convert(dir / "few.png", dir / "few.gif"));
    ASSERT_TRUE(Convert(dir / "few.gif", dir / "back.png"));
    EXPECT_TRUE(SamePicture(PillowDecode(dir / "back.png"), few));
}
