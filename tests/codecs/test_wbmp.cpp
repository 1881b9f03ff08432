#include "codecs/LCodecWBMP.h"
#include "formats_support.h"

using namespace formats_test;

namespace
{

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

double WhiteShare(const Picture& p)
{
    size_t white = 0;
    for (size_t i = 0; i < p.rgba.size(); i += 4)
        white += p.rgba[i] == 255;
    return double(white) / double(p.rgba.size() / 4);
}

Bytes WriteWbmp(const Picture& p)
{
    LImageBuffer image;
    ToBuffer(p, image, B8G8R8);
    return Encode<LProcessWBMPSave>(image);
}

} // namespace

TEST(WBMPRead, FilesAndHeaders)
{
    TempFolder dir;
    const std::string pbm = dir / "source.pbm", path = dir / "netpbm.wbmp";
    ASSERT_TRUE(MagickEncode(dir, PhotoLike(203, 7), "-monochrome", pbm));
    ASSERT_TRUE(Shell("pbmtowbmp '" + pbm + "' > '" + path + "'"));
    int depth = 0;
    const Bytes file = ReadFile(path);
    EXPECT_TRUE(SamePicture(DecodePicture<LProcessWBMPLoad>(file, &depth), MagickDecode(path)));
    EXPECT_EQ(depth, 2);

    // A set bit is white; a width of 9 needs two bytes a row.
    EXPECT_EQ(DecodePicture<LProcessWBMPLoad>(Bytes{0, 0, 9, 1, 0x80, 0x80}).rgba,
              (Bytes{255, 255, 255, 255, 0, 0,   0, 255, 0, 0,   0, 255, 0, 0,   0,   255, 0,   0,
                     0,   255, 0,   0,   0, 255, 0, 0,   0, 255, 0, 0,   0, 255, 255, 255, 255, 255}));
    // Multi-byte sizes, also with needless leading groups.
    const Picture wide = DecodePicture<LProcessWBMPLoad>(Bytes{0, 0, 0x80, 0x81, 0x08, 1} + Bytes(17, 0));
    EXPECT_EQ(wide.w, 136);

    const Bytes refused[] = {
        Bytes{1, 0, 1, 1, 0},                         // type 1
        Bytes{0, 0x80, 1, 1, 0},                      // extension headers
        Bytes{0, 0, 0, 1, 0},                         // no width
        Bytes{0, 0, 1, 0, 0},                         // no height
        Bytes{0, 0, 0x81, 0x81, 0x81, 0x81, 0x81, 1}, // a size that never ends
        Bytes{0, 0, 9, 2, 0, 0, 0},                   // a byte short
    };
    LImageBuffer image;
    for (const Bytes& f : refused)
        EXPECT_EQ(Decode<LProcessWBMPLoad>(f, image), LProcessResultFailed);
    ExpectCutsFail<LProcessWBMPLoad>(file);
    SurviveDamage<LProcessWBMPLoad>(file);
    ExpectProgressAndStop<LProcessWBMPLoad>(file);
}

TEST(WBMPWrite, MultiByteIntegers)
{
    const struct
    {
        uint32_t value;
        Bytes bytes;
    } cases[] = {{0, {0}},
                 {127, {0x7F}},
                 {128, {0x81, 0x00}},
                 {200, {0x81, 0x48}},
                 {16384, {0x81, 0x80, 0x00}},
                 {(1u << 28) - 1, {0xFF, 0xFF, 0xFF, 0x7F}}};
    for (const auto& c : cases)
    {
        uint8_t out[8];
        const int n = LWBMPEncodeMultiByte(c.value, out);
        EXPECT_EQ(Bytes(out, out + n), c.bytes) << c.value;
    }
    uint8_t out[8];
    EXPECT_EQ(LWBMPEncodeMultiByte(1u << 28, out), 0);
}

TEST(WBMPWrite, LightDarkAndMixed)
{
    TempFolder dir;
    const auto flat = [](uint32_t rgba) { return MakePicture(200, 130, [=](int, int) { return rgba; }); };
    const std::string path = dir / "ours.wbmp";
    // White and black come out plain; the size needs two bytes each.
    for (uint32_t rgba : {0xFFFFFFFFu, 0xF0F0F0FFu, 0x000000FFu, 0x101010FFu})
    {
        const Bytes file = WriteWbmp(flat(rgba));
        ASSERT_EQ(Bytes(file.begin(), file.begin() + 6), (Bytes{0, 0, 0x81, 0x48, 0x81, 0x02}));
        WriteFile(path, file);
        const Picture back = MagickDecode(path);
        ASSERT_EQ(back.w, 200);
        EXPECT_EQ(WhiteShare(back), rgba > 0x80000000u ? 1.0 : 0.0) << std::hex << rgba;
    }
    // Mid-grey comes out about half white, a little darker grey a little less.
    const double mid = WhiteShare(DecodePicture<LProcessWBMPLoad>(WriteWbmp(flat(0x808080FFu))));
    EXPECT_GT(mid, 0.4);
    EXPECT_LT(mid, 0.6);
    const double dark = WhiteShare(DecodePicture<LProcessWBMPLoad>(WriteWbmp(flat(0x404040FFu))));
    EXPECT_GT(dark, 0.1);
    EXPECT_LT(dark, mid);
}
