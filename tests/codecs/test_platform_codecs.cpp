// The library codecs against pictures made and decoded by ImageMagick and Pillow, their writers
// read back by those tools, and damaged files of every format.

#include "codec_support.h"

#include <cmath>
#include <cstring>
#include <unistd.h>

#include "codecs/LImage.h"
#include "codecs/LImageProcess.h"

using namespace codec_test;

namespace
{
int LoadPath(const std::string& path, LImageBuffer& image, RecordingProcess* process = nullptr)
{
    RecordingProcess local;
    return LImage::Load(process ? *process : local, image, path.c_str());
}

LProcessResult LoadBytes(const std::vector<uint8_t>& bytes, LImageCodecID codec, LImageBuffer& image,
                         LProcessInterface& process)
{
    LInputStream<LInputStreamBuffer> stream(bytes.data(), bytes.size());
    LProcessImageLoad<LInputStreamBuffer> load;
    load.lpStream = &stream;
    load.codec = LImageCodec(codec);
    load.lpImage = &image;
    return Process(process, load);
}

// Mean absolute channel difference over all pixels.
double MeanError(const LImageBuffer& image, const Picture& ref)
{
    if (!ref.IsValid() || image.GetWidth() != ref.w || image.GetHeight() != ref.h)
        return 1e9;
    double sum = 0;
    for (int y = 0; y < ref.h; ++y)
    {
        const uint8_t* p = image.GetRow(y);
        for (int x = 0; x < ref.w; ++x, p += 4)
        {
            const uint8_t* q = ref.At(x, y);
            sum += abs(p[2] - q[0]) + abs(p[1] - q[1]) + abs(p[0] - q[2]);
        }
    }
    return sum / (3.0 * ref.w * ref.h);
}

class PlatformCodecs : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(dir.szPath.empty());
        photo = dir.Path("photo.png");
        ASSERT_TRUE(Shell("convert -seed 7 -size 61x43 plasma:fractal -blur 0x1 -depth 8 '" + photo + "'"));
    }
    TempFolder dir;
    std::string photo;
};
} // namespace

TEST_F(PlatformCodecs, JPEGReadsLikeTheReferenceDecoder)
{
    struct Case
    {
        const char* szName;
        const char* szOptions;
        int iDepth;
    } cases[] = {
        {"base.jpg", "-quality 85", 24},
        {"prog.jpg", "-quality 70 -interlace JPEG", 24},
        {"grey.jpg", "-colorspace Gray -quality 90", 8},
        {"s444.jpg", "-sampling-factor 1x1 -quality 95", 24},
        {"cmyk.jpg", "-colorspace CMYK -quality 95", 32},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.szName);
        const std::string path = dir.Path(c.szName);
        ASSERT_TRUE(Shell("convert '" + photo + "' " + c.szOptions + " '" + path + "'"));
        RecordingProcess process;
        LImageBuffer image;
        ASSERT_EQ(LoadPath(path, image, &process), c.iDepth);
        EXPECT_TRUE(process.Said("Decoding JPEG image"));
        ASSERT_EQ(image.GetPixelFormat(), B8G8R8A8);
        EXPECT_TRUE(Matches(image, MagickDecode(path), 3));
    }
}

TEST_F(PlatformCodecs, JPEGIsTurnedUprightByItsOrientation)
{
    // Orientations 3, 6 and 8 cover a half turn and both quarter turns; 2 and 5 mirror.
    for (int o : {2, 3, 5, 6, 8})
    {
        SCOPED_TRACE(o);
        const std::string path = dir.Path("o" + std::to_string(o) + ".jpg");
        ASSERT_TRUE(RunPython("from PIL import Image\nim = Image.open('" + photo +
                                  "').convert('RGB')\nex = Image.Exif()\nex[0x0112] = " + std::to_string(o) +
                                  "\nim.save('" + path + "', quality=95, subsampling=0, exif=ex.tobytes())\n",
                              dir.szPath));
        LImageBuffer image;
        ASSERT_EQ(LoadPath(path, image), 24);
        EXPECT_TRUE(Matches(image, PillowDecode(path, "im = ImageOps.exif_transpose(im)"), 3));
    }
}

TEST_F(PlatformCodecs, JPEGWriterHonoursQualityAndDropsAlpha)
{
    LImageBuffer src;
    FillPattern(src, 64, 40, true);
    LImageEncodeSettings settings;
    long sizes[2];
    int i = 0;
    for (int q : {20, 95})
    {
        const std::string path = dir.Path("q" + std::to_string(q) + ".jpg");
        settings.jpeg.SetQuality(q);
        ASSERT_TRUE(LImage::Save(src, path.c_str(), settings, 3000));
        sizes[i++] = long(ReadFile(path).size());
        // ImageMagick estimates the quality from the quantisation tables.
        ASSERT_TRUE(Shell("identify -format '%Q' '" + path + "' > '" + dir.Path("q.txt") + "'"));
        const std::vector<uint8_t> text = ReadFile(dir.Path("q.txt"));
        EXPECT_NEAR(atoi(std::string(text.begin(), text.end()).c_str()), q, 2);
        const Picture ref = PillowDecode(path);
        ASSERT_TRUE(ref.IsValid());
        for (size_t p = 3; p < ref.rgba.size(); p += 4)
            ASSERT_EQ(ref.rgba[p], 255);
    }
    EXPECT_LT(sizes[0], sizes[1]);
    // The top quality keeps colour at full resolution, so it stays close to the source.
    settings.jpeg.SetQuality(100);
    FillPattern(src, 64, 40, false);
    const std::string best = dir.Path("q100.jpg");
    ASSERT_TRUE(LImage::Save(src, best.c_str(), settings, 3000));
    EXPECT_LT(MeanError(src, PillowDecode(best)), 1.5);
}

TEST_F(PlatformCodecs, PNGVariantsReadLikeTheReferenceDecoder)
{
    struct Case
    {
        const char* szName;
        std::string szMake; // ImageMagick options and format, or a Pillow script saving im to out
        int iDepth;
    } cases[] = {
        {"rgb16.png", "-depth 16 PNG48:", 48},
        {"rgba16.png", "-alpha set -channel A -fx 'i/w' +channel -depth 16 PNG64:", 64},
        {"inter.png", "-interlace PNG PNG24:", 24},
        {"grey1.png", "-monochrome PNG:", 1},
        {"pal.png", "PIL im.convert('P', palette=Image.ADAPTIVE, colors=16).save(out, transparency=3)", 8},
        {"la.png", "PIL im = im.convert('L')\nImage.merge('LA', (im, im.point(lambda v: 255 - v))).save(out)",
         16},
        {"grey16.png", "-colorspace gray -depth 16 PNG:", 16},
        {"rgbtrns.png", "PIL im = im.convert('RGB')\nim.save(out, transparency=im.getpixel((5, 5)))", 24},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.szName);
        const std::string path = dir.Path(c.szName);
        const bool pillow = c.szMake.rfind("PIL ", 0) == 0;
        if (pillow)
            ASSERT_TRUE(RunPython("from PIL import Image\nim = Image.open('" + photo + "')\nout = '" + path +
                                      "'\n" + c.szMake.substr(4) + "\n",
                                  dir.szPath));
        else
            ASSERT_TRUE(Shell("convert '" + photo + "' " + c.szMake + "'" + path + "'"));
        RecordingProcess process;
        LImageBuffer image;
        ASSERT_EQ(LoadPath(path, image, &process), c.iDepth);
        EXPECT_TRUE(process.Said("Decoding PNG image"));
        // Pillow narrows 16-bit grey by clipping, so those go to ImageMagick.
        const Picture ref = pillow ? PillowDecode(path) : MagickDecode(path);
        EXPECT_TRUE(Matches(image, ref, c.iDepth >= 48 || c.iDepth == 16 ? 1 : 0));
    }
}

TEST_F(PlatformCodecs, LosslessWritersAreReadBackExactly)
{
    // PNG, TIFF, lossless JPEG 2000 and WebP at quality 100 in lossless form are checked by
    // another decoder; an opaque picture is written without alpha.
    for (bool alpha : {false, true})
    {
        LImageBuffer src;
        FillPattern(src, 29, 17, alpha);
        src.imf.HorizontalResolution = src.imf.VerticalResolution = 3937;
        LImageEncodeSettings settings;
        settings.jpeg2000.iMode = 0;
        for (const char* ext : {".png", ".tif", ".jp2"})
        {
            SCOPED_TRACE(std::string(ext) + (alpha ? " alpha" : " opaque"));
            const std::string path = dir.Path(std::string("out") + ext);
            RecordingProcess process;
            ASSERT_TRUE(LImage::Save(process, src, path.c_str(), settings));
            EXPECT_TRUE(process.arErrors.empty());
            const Picture ref = std::string(ext) == ".jp2" ? MagickDecode(path) : PillowDecode(path);
            EXPECT_TRUE(Matches(src, ref, 0));
            LImageBuffer back;
            const int depth = LoadPath(path, back);
            EXPECT_EQ(depth, alpha ? 32 : 24);
            // TIFF hands over alpha multiplied in, so faint pixels lose colour precision.
            if (std::string(ext) == ".tif" && alpha)
                ExpectStraightAlpha(back, ref);
            else
                EXPECT_TRUE(Matches(back, ref, 0));
        }
        ASSERT_TRUE(RunPython("from PIL import Image\nim = Image.open('" + dir.Path("out.png") +
                                  "')\nassert im.mode == '" + (alpha ? "RGBA" : "RGB") +
                                  "', im.mode\nassert round(im.info['dpi'][0]) == 100\n",
                              dir.szPath));
    }
}

TEST_F(PlatformCodecs, TIFFTakesTheFirstImageAndStraightAlpha)
{
    const std::string multi = dir.Path("multi.tif");
    ASSERT_TRUE(Shell("convert '" + photo + "' \\( -size 20x10 xc:red \\) '" + multi + "'"));
    LImageBuffer image;
    RecordingProcess process;
    ASSERT_EQ(LoadPath(multi, image, &process), 24);
    EXPECT_TRUE(process.Said("Decoding TIFF image"));
    EXPECT_TRUE(Matches(image, PillowDecode(multi), 0));

    // Unassociated alpha comes back as stored where it is opaque enough to carry the colour.
    const std::string rgba = dir.Path("rgba.tif");
    ASSERT_TRUE(RunPython("from PIL import Image\nim = Image.open('" + photo +
                              "').convert('RGBA')\nim.putalpha(Image.linear_gradient('L').resize(im.size))\n"
                              "im.save('" +
                              rgba + "', compression='tiff_deflate')\n",
                          dir.szPath));
    ASSERT_EQ(LoadPath(rgba, image), 32);
    ExpectStraightAlpha(image, PillowDecode(rgba));
    const std::string t16 = dir.Path("t16.tif");
    ASSERT_TRUE(Shell("convert '" + photo + "' -depth 16 -compress lzw '" + t16 + "'"));
    ASSERT_EQ(LoadPath(t16, image), 48);
    EXPECT_TRUE(Matches(image, MagickDecode(t16), 1));
}

TEST_F(PlatformCodecs, GIFTakesTheFirstFrameWithTransparency)
{
    const std::string anim = dir.Path("anim.gif");
    ASSERT_TRUE(Shell("convert -delay 10 '" + photo + "' -size 61x43 xc:blue -loop 0 '" + anim + "'"));
    LImageBuffer image;
    RecordingProcess process;
    ASSERT_EQ(LoadPath(anim, image, &process), 8);
    EXPECT_TRUE(process.Said("Decoding GIF image"));
    EXPECT_TRUE(Matches(image, PillowDecode(anim), 0));

    const std::string clear = dir.Path("clear.gif");
    ASSERT_TRUE(RunPython("from PIL import Image\nim = Image.open('" + photo +
                              "').convert('P', palette=Image.ADAPTIVE, colors=32)\nim.save('" + clear +
                              "', transparency=2, interlace=1)\n",
                          dir.szPath));
    ASSERT_EQ(LoadPath(clear, image), 5); // a 32-colour table
    EXPECT_TRUE(Matches(image, PillowDecode(clear), 0));
}

TEST_F(PlatformCodecs, JPEG2000AndWebPBothWays)
{
    const std::string jp2 = dir.Path("im.jp2");
    ASSERT_TRUE(Shell("convert '" + photo + "' -quality 0 '" + jp2 + "'")); // lossless
    LImageBuffer image;
    RecordingProcess process;
    ASSERT_EQ(LoadPath(jp2, image, &process), 24);
    EXPECT_TRUE(process.Said("Decoding JPEG 2000 image"));
    EXPECT_TRUE(Matches(image, PillowDecode(photo), 0));
    const std::string j2k = dir.Path("bare.j2k"), bareJp2 = dir.Path("bare.jp2");
    ASSERT_TRUE(Shell("convert '" + photo + "' -quality 0 '" + j2k + "'"));
    ASSERT_TRUE(Shell("cp '" + j2k + "' '" + bareJp2 + "'"));
    ASSERT_EQ(LoadPath(bareJp2, image), 24);
    EXPECT_TRUE(Matches(image, PillowDecode(photo), 0));

    // Lossy: a lower quality gives a smaller file that is still recognisably the picture.
    LImageBuffer src;
    ASSERT_GT(LoadPath(photo, src), 0);
    LImageEncodeSettings settings;
    long sizes[2];
    double errors[2];
    int i = 0;
    for (int q : {30, 90})
    {
        settings.jpeg2000.iQuality = q;
        const std::string path = dir.Path("lossy" + std::to_string(q) + ".jp2");
        ASSERT_TRUE(LImage::Save(src, path.c_str(), settings, 3000));
        sizes[i++] = long(ReadFile(path).size());
        errors[i - 1] = MeanError(src, MagickDecode(path));
    }
    EXPECT_LT(sizes[0], sizes[1]);
    EXPECT_LT(errors[1], 2.0);
    EXPECT_GT(errors[0], errors[1]);

    // WebP made by Pillow, lossless with alpha, and animated.
    const std::string webp = dir.Path("a.webp"), anim = dir.Path("anim.webp");
    ASSERT_TRUE(
        RunPython("from PIL import Image\nim = Image.open('" + photo +
                      "').convert('RGBA')\nim.putalpha(Image.linear_gradient('L').resize(im.size))\n"
                      "im.save('" +
                      webp +
                      "', lossless=True, exact=True)\nb = Image.new('RGBA', im.size, (0, 0, 255, 255))\n"
                      "im.save('" +
                      anim + "', save_all=True, append_images=[b], lossless=True, exact=True)\n",
                  dir.szPath));
    ASSERT_EQ(LoadPath(webp, image, &process), 32);
    EXPECT_TRUE(process.Said("Decoding WebP image"));
    EXPECT_TRUE(Matches(image, PillowDecode(webp), 0));
    ASSERT_EQ(LoadPath(anim, image), 32);
    EXPECT_TRUE(Matches(image, PillowDecode(webp), 0));

    FillPattern(src, 40, 30, true);
    for (int q : {10, 95})
    {
        settings.webp.iQuality = q;
        const std::string path = dir.Path("w" + std::to_string(q) + ".webp");
        RecordingProcess save;
        ASSERT_TRUE(LImage::Save(save, src, path.c_str(), settings));
        EXPECT_TRUE(save.Said("Encoding WebP image"));
        const Picture ref = PillowDecode(path);
        ASSERT_TRUE(ref.IsValid());
        // Alpha is kept without loss; colour within the lossy budget.
        for (int y = 0; y < 30; ++y)
            for (int x = 0; x < 40; ++x)
                ASSERT_EQ(ref.rgba[(size_t(y) * 40 + x) * 4 + 3], src.GetRow(y)[4 * x + 3]);
    }
    EXPECT_LT(ReadFile(dir.Path("w10.webp")).size(), ReadFile(dir.Path("w95.webp")).size());
}

TEST_F(PlatformCodecs, DamagedFilesOfEveryFormatFail)
{
    struct Case
    {
        const char* szExt;
        LImageCodecID codec;
        const char* szMake; // ImageMagick options, and the format where the extension is not it
    } cases[] = {
        {".jpg", LImageCodecJPEG, "-quality 90 "},
        {".jpg", LImageCodecJPEG, "-quality 90 -interlace JPEG "},
        {".png", LImageCodecPNG, ""},
        {".tif", LImageCodecTIFF, "-compress lzw "},
        {".tif", LImageCodecTIFF, "-compress none "},
        {".tif", LImageCodecTIFF, "-depth 16 -compress zip "},
        {".gif", LImageCodecGIF, ""},
        {".jp2", LImageCodecJPEG2000, "-quality 0 "},
        {".webp", LImageCodecWEBP, "-quality 80 "},
        {".dng", LImageCodecDNG, "-compress none TIFF:"},
        {".nef", LImageCodecRawNikon, "-quality 90 JPEG:"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(std::string(c.szMake) + c.szExt);
        const std::string path = dir.Path(std::string("d") + c.szExt);
        ASSERT_TRUE(Shell("convert '" + photo + "' " + c.szMake + "'" + path + "'"));
        const std::vector<uint8_t> whole = ReadFile(path);
        LImageBuffer image;
        LProcessInterfaceVoid process;
        const bool raw = c.codec == LImageCodecDNG || c.codec == LImageCodecRawNikon;
        if (!raw)
        {
            ASSERT_EQ(LoadBytes(whole, c.codec, image, process), LProcessResultSuccess);
        }
        for (size_t cut :
             {size_t(0), size_t(8), size_t(40), whole.size() / 3, whole.size() * 2 / 3, whole.size() - 20})
        {
            // The tail of a TIFF holds optional directory values; losing them loses no pixel.
            if (c.codec == LImageCodecTIFF && cut == whole.size() - 20)
                continue;
            std::vector<uint8_t> part(whole.begin(), whole.begin() + long(cut));
            EXPECT_EQ(LoadBytes(part, c.codec, image, process), LProcessResultFailed) << "cut at " << cut;
            EXPECT_FALSE(image.IsValid());
        }
        // Flipped bits in the header and in the middle must fail or decode, never crash.
        for (size_t at = 2; at < whole.size(); at += at < 64 ? 5 : whole.size() / 7)
        {
            std::vector<uint8_t> bad = whole;
            for (size_t k = at; k < std::min(bad.size(), at + 4); ++k)
                bad[k] ^= 0xA5;
            const LProcessResult r = LoadBytes(bad, c.codec, image, process);
            EXPECT_TRUE(r == LProcessResultSuccess ? image.IsValid() : !image.IsValid());
        }
    }
}

TEST_F(PlatformCodecs, StopRequestsAreHonoured)
{
    LImageBuffer src;
    FillPattern(src, 300, 200, false);
    for (const char* ext : {".jpg", ".png", ".tif", ".bmp", ".webp", ".jp2"})
    {
        SCOPED_TRACE(ext);
        const std::string path = dir.Path(std::string("s") + ext);
        RecordingProcess stopSave;
        stopSave.iStopAfter = 1;
        EXPECT_FALSE(LImage::Save(stopSave, src, path.c_str(), LImageEncodeSettings()));
        EXPECT_TRUE(stopSave.arErrors.empty()); // a stop is not a failure
        EXPECT_NE(access(path.c_str(), F_OK), 0);
        ASSERT_TRUE(LImage::Save(src, path.c_str()));
        RecordingProcess stopLoad;
        stopLoad.iStopAfter = 1;
        LImageBuffer image;
        EXPECT_EQ(LImage::Load(stopLoad, image, path.c_str()), 0);
        EXPECT_TRUE(stopLoad.arErrors.empty());
    }
}

TEST_F(PlatformCodecs, CameraRawThroughLibRaw)
{
    const std::string dng = dir.Path("t.dng");
    ASSERT_TRUE(
        Shell("/usr/bin/python3 '" QUENDREL_SOURCE_DIR "/tests/data/codecs/make_dng.py' '" + dng + "'"));
    LImageBuffer image;
    RecordingProcess process;
    ASSERT_EQ(LoadPath(dng, image, &process), 48);
    EXPECT_TRUE(process.Said("Decoding DNG image"));
    ASSERT_EQ(image.GetWidth(), 64);
    ASSERT_EQ(image.GetHeight(), 48);
    // Developed colour: red dominates the left half, blue the right.
    const uint8_t* left = image.GetRow(24) + 4 * 8;
    const uint8_t* right = image.GetRow(24) + 4 * 56;
    EXPECT_GT(left[2], left[0] + 100);
    EXPECT_GT(right[0], right[2] + 100);
    EXPECT_EQ(left[3], 255);
    // The same file named as a camera family goes through the same decoder.
    const std::string nef = dir.Path("t.nef");
    ASSERT_TRUE(Shell("cp '" + dng + "' '" + nef + "'"));
    RecordingProcess nikon;
    EXPECT_EQ(LoadPath(nef, image, &nikon), 48);
    EXPECT_TRUE(nikon.Said("Decoding Raw Nikon image"));
    // Cut short, it fails.
    std::vector<uint8_t> bytes = ReadFile(dng);
    bytes.resize(bytes.size() / 2);
    LProcessInterfaceVoid quiet;
    EXPECT_EQ(LoadBytes(bytes, LImageCodecDNG, image, quiet), LProcessResultFailed);
}

TEST_F(PlatformCodecs, LosslessWebPWithoutAlphaInItsHeaderIsOpaque)
{
    // A lossless stream carries a fourth channel whatever its header says; the header decides.
    const std::string path = dir.Path("a.webp");
    ASSERT_TRUE(RunPython("from PIL import Image\nim = Image.open('" + photo +
                              "').convert('RGBA')\nim.putalpha(Image.linear_gradient('L').resize(im.size))\n"
                              "im.save('" +
                              path + "', lossless=True, exact=True)\n",
                          dir.szPath));
    std::vector<uint8_t> file = ReadFile(path);
    ASSERT_EQ(std::string(file.begin() + 12, file.begin() + 16), "VP8L");
    file[21 + 3] &= ~0x10; // the header's alpha-is-used bit, bit 28 after the signature byte
    const std::string opaque = dir.Path("opaque.webp");
    ASSERT_TRUE(WriteFile(opaque, file));
    LImageBuffer image;
    ASSERT_EQ(LoadPath(opaque, image), 24);
    EXPECT_TRUE(Matches(image, Opaque(PillowDecode(path)), 0));
}
