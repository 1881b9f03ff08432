// Photo information through load and save: made by Pillow and the exiv2 tool, carried by the
// codecs, and read back by Pillow (EXIF, ICC) and the exiv2 tool (XMP).

#include "codec_support.h"

#include <sstream>

#include "codecs/LImage.h"
#include "codecs/LImageMetadata.h"

using namespace codec_test;

namespace
{
// A 40x24 JPEG turned a quarter by its orientation, with a camera, a capture date, an ICC
// profile and an XMP title.
std::string MakeSource(const TempFolder& dir)
{
    const std::string path = dir / "source.jpg";
    if (!RunPython("from PIL import Image, ImageCms\n"
                   "im = Image.linear_gradient('L').resize((40, 24)).convert('RGB')\n"
                   "exif = Image.Exif()\nexif[0x0110] = 'Test Cam'\nexif[0x0112] = 6\n"
                   "icc = ImageCms.ImageCmsProfile(ImageCms.createProfile('sRGB')).tobytes()\n"
                   "im.save('" +
                       path + "', exif=exif.tobytes(), icc_profile=icc, quality=95)\n",
                   dir.szPath) ||
        !Shell("exiv2 -M'set Exif.Photo.DateTimeOriginal 2021:06:15 10:20:30' -M'set Xmp.dc.title Dune walk' "
               "-M'set Xmp.tiff.Orientation 6' '" +
               path + "'"))
        return {};
    return path;
}

// What Pillow finds: "model|orientation|date|pixel x|pixel y|ICC bytes".
std::string PillowSummary(const std::string& path)
{
    Bytes out;
    const std::string script =
        "import sys\nfrom PIL import Image\nim = Image.open(sys.argv[1])\ne = im.getexif()\n"
        "p = e.get_ifd(0x8769)\n"
        "print('%s|%s|%s|%s|%s|%d' % (e.get(0x110), e.get(0x112), p.get(0x9003), p.get(0xa002), "
        "p.get(0xa003), len(im.info.get('icc_profile') or b'')), end='')\n";
    const std::string file = path + ".py";
    std::ofstream(file) << script;
    return Shell("/usr/bin/python3 '" + file + "' '" + path + "'", &out) ? std::string(out.begin(), out.end())
                                                                         : "(unreadable)";
}

// The exiv2 tool's "key value" lines, spaces squeezed.
std::string ExivXmp(const std::string& path)
{
    Bytes out;
    Shell("exiv2 -K Xmp.dc.title -K Xmp.tiff.Orientation -Pkv '" + path + "' | tr -s ' ' | sort", &out);
    return std::string(out.begin(), out.end());
}

struct ConfigHome
{
    ConfigHome(const TempFolder& dir)
    {
        const char* old = getenv("XDG_CONFIG_HOME");
        szOld = old ? old : "";
        bHad = old != nullptr;
        setenv("XDG_CONFIG_HOME", (dir / "config").c_str(), 1);
    }
    ~ConfigHome() { bHad ? setenv("XDG_CONFIG_HOME", szOld.c_str(), 1) : unsetenv("XDG_CONFIG_HOME"); }
    std::string szOld;
    bool bHad;
};
} // namespace

TEST(PhotoInformation, KeptThroughEveryCarrierUprightAndResized)
{
    TempFolder dir;
    ConfigHome config(dir);
    const std::string source = MakeSource(dir);
    ASSERT_FALSE(source.empty());
    ASSERT_EQ(PillowSummary(source), "Test Cam|6|2021:06:15 10:20:30|None|None|588");

    LImageBuffer image;
    LImageMetadata metadata;
    RecordingProcess process;
    ASSERT_EQ(LImage::Load(process, image, metadata, source.c_str()), 24);
    ASSERT_EQ(image.GetWidth(), 24); // turned upright on load
    EXPECT_EQ(metadata.arIcc.size(), 588u);

    for (const char* ext : {"png", "tif", "webp", "jpg"})
    {
        SCOPED_TRACE(ext);
        const std::string out = dir / (std::string("out.") + ext);
        ASSERT_TRUE(LImage::Save(process, image, &metadata, out.c_str(), LImageEncodeSettings()));
        EXPECT_EQ(PillowSummary(out), "Test Cam|1|2021:06:15 10:20:30|24|40|588");
        EXPECT_EQ(ExivXmp(out), "Xmp.dc.title lang=\"x-default\" Dune walk\nXmp.tiff.Orientation 1\n");
        // And back through our own readers, ready to be written once more.
        LImageBuffer again;
        LImageMetadata back;
        ASSERT_GT(LImage::Load(process, again, back, out.c_str()), 0);
        EXPECT_EQ(back.arIcc, metadata.arIcc);
        std::string text;
        EXPECT_TRUE(LImageMetadataDescribe(back, text));
        EXPECT_NE(text.find("Exif.Photo.DateTimeOriginal = 2021:06:15 10:20:30\n"), std::string::npos)
            << text;
        EXPECT_NE(text.find("Exif.Image.Orientation = top, left\n"), std::string::npos) << text;
        EXPECT_NE(text.find("ICC.Profile = sRGB built-in, 588 bytes\n"), std::string::npos) << text;
    }

    // Formats without a place for it, and the user's choice, write the pixels alone.
    LImageMetadataSetKeep(false);
    const std::string off = dir / "off.png";
    ASSERT_TRUE(LImage::Save(process, image, &metadata, off.c_str(), LImageEncodeSettings()));
    LImageMetadataSetKeep(true);
    EXPECT_EQ(PillowSummary(off), "None|None|None|None|None|0");
    ASSERT_TRUE(LImage::Save(process, image, &metadata, (dir / "out.bmp").c_str(), LImageEncodeSettings()));
    LImageBuffer bmp;
    LImageMetadata none = metadata;
    ASSERT_GT(LImage::Load(process, bmp, none, (dir / "out.bmp").c_str()), 0);
    EXPECT_TRUE(none.IsEmpty());
}

TEST(PhotoInformation, DamagedBlocksNeverStopAPicture)
{
    TempFolder dir;
    const std::string source = MakeSource(dir);
    ASSERT_FALSE(source.empty());
    LImageBuffer image;
    LImageMetadata good;
    RecordingProcess process;
    ASSERT_GT(LImage::Load(process, image, good, source.c_str()), 0);
    ASSERT_FALSE(good.arExif.empty());

    // A JPEG whose EXIF directory points outside its block still loads, upright as far as the
    // orientation can be read, and its save leaves the block out rather than fail.
    Bytes file = ReadFile(source);
    const auto at = std::search(file.begin(), file.end(), good.arExif.begin(), good.arExif.begin() + 8);
    ASSERT_NE(at, file.end());
    at[4] = 0xF0; // the first directory's offset
    at[5] = 0xFF;
    ASSERT_TRUE(WriteFile(dir / "damaged.jpg", file));
    LImageMetadata damaged;
    ASSERT_GT(LImage::Load(process, image, damaged, (dir / "damaged.jpg").c_str()), 0);
    EXPECT_FALSE(damaged.arExif.empty());
    std::string text;
    EXPECT_FALSE(LImageMetadataDescribe(damaged, text));
    LImageMetadata prepared;
    LImageMetadataPrepareForSave(damaged, 5, 7, prepared);
    EXPECT_TRUE(prepared.arExif.empty());
    EXPECT_EQ(prepared.arIcc, damaged.arIcc);
    ASSERT_TRUE(LImage::Save(process, image, &damaged, (dir / "out.jpg").c_str(), LImageEncodeSettings()));

    // Random damage anywhere in each block: whatever comes out, nothing escapes or crashes.
    uint32_t seed = 99;
    auto next = [&seed] { return seed = seed * 1664525u + 1013904223u; };
    for (int i = 0; i < 300; ++i)
    {
        LImageMetadata m = good;
        for (auto* block : {&m.arExif, &m.arXmp, &m.arIcc})
            for (int k = 1 + int(next() % 6); k > 0 && !block->empty(); --k)
                (*block)[next() % block->size()] = uint8_t(next());
        if (i % 3 == 0)
            m.arExif.resize(next() % m.arExif.size());
        LImageMetadataPrepareForSave(m, 24, 40, prepared);
        LImageMetadataDescribe(m, text);
    }
    // Blocks that are no EXIF at all aren't kept.
    EXPECT_FALSE(prepared.SetExif(reinterpret_cast<const uint8_t*>("Exif\0\0XX"), 8));
    EXPECT_TRUE(prepared.arExif.empty());
}
