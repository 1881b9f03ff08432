#include "codecs/LCodecWBMP.h"
#include "codec_support.h"

using namespace codec_test;

namespace
{

double WhiteShare(const Picture& p)
{
    size_t white = 0;
    for (size_t i = 0; i < p.rgba.size(); i += 4)
        white += p.rgba[i] == 255;
    return p.rgba.empty() ? -1 : double(white) / double(p.rgba.size() / 4);
}

Bytes WriteWbmp(uint32_t rgba)
{
    LImageBuffer image;
    ToBuffer(MakePicture(200, 130, [=](int, int) { return rgba; }), image, B8G8R8);
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
    // A set bit is white; sizes may carry needless leading groups.
    const Picture p =
        DecodePicture<LProcessWBMPLoad>(Bytes{0, 0, 0x80, 0x81, 0x08, 1} + Bytes{0x80} + Bytes(16, 0));
    ASSERT_EQ(p.w, 136);
    EXPECT_EQ(p.Pixel(0, 0) + p.Pixel(1, 0), (Bytes{255, 255, 255, 255, 0, 0, 0, 255}));

    LImageBuffer image;
    for (const Bytes& bad :
         {Bytes{1, 0, 1, 1, 0}, Bytes{0, 0x80, 1, 1, 0}, Bytes{0, 0, 0, 1, 0}, Bytes{0, 0, 1, 0, 0},
          Bytes{0, 0, 0x81, 0x81, 0x81, 0x81, 0x81, 1}, Bytes{0, 0, 9, 2, 0, 0, 0}})
        EXPECT_EQ(Decode<LProcessWBMPLoad>(bad, image), LProcessResultFailed); // type, extension, sizes, data
    ExpectRobust<LProcessWBMPLoad>(file);
}

TEST(WBMPWrite, SizesLightDarkAndMixed)
{
    const std::pair<uint32_t, Bytes> integers[] = {{0, {0}},
                                                   {127, {0x7F}},
                                                   {128, {0x81, 0}},
                                                   {16384, {0x81, 0x80, 0}},
                                                   {(1u << 28) - 1, {0xFF, 0xFF, 0xFF, 0x7F}}};
    uint8_t out[8];
    for (const auto& [value, bytes] : integers)
        EXPECT_EQ(Bytes(out, out + LWBMPEncodeMultiByte(value, out)), bytes) << value;
    EXPECT_EQ(LWBMPEncodeMultiByte(1u << 28, out), 0);

    TempFolder dir;
    for (uint32_t rgba : {0xFFFFFFFFu, 0xF0F0F0FFu, 0x000000FFu, 0x101010FFu})
    {
        const Bytes file = WriteWbmp(rgba);
        ASSERT_EQ(Bytes(file.begin(), file.begin() + 6), (Bytes{0, 0, 0x81, 0x48, 0x81, 0x02}));
        WriteFile(dir / "ours.wbmp", file);
        EXPECT_EQ(WhiteShare(MagickDecode(dir / "ours.wbmp")), rgba > 0x80000000u ? 1.0 : 0.0)
            << std::hex << rgba;
    }
    // Mid-grey comes out about half white, a darker grey less.
    const double mid = WhiteShare(DecodePicture<LProcessWBMPLoad>(WriteWbmp(0x808080FFu)));
    const double dark = WhiteShare(DecodePicture<LProcessWBMPLoad>(WriteWbmp(0x404040FFu)));
    EXPECT_GT(mid, 0.4);
    EXPECT_LT(mid, 0.6);
    EXPECT_GT(dark, 0.1);
    EXPECT_LT(dark, mid);
}
