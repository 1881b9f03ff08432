// The save dialog's work: the projected size is the size of the file written, byte for byte, in
// every format; what the preview shows of transparency and of the fast GIF conversion; and a
// failed save that leaves the old file alone.

#include "codec_support.h"

#include "codecs/LImageMemoryCodec.h"
#include "codecs/QDSaveDialogProcess.h"

using namespace codec_test;

namespace
{
void Photo(LImageBuffer& image, int w, int h, bool alpha)
{
    LImage::New(image, w, h, B8G8R8A8);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            uint8_t* p = image.GetRow(y) + 4 * x;
            p[0] = uint8_t(x * 255 / w);
            p[1] = uint8_t((y * 200 / h) ^ ((x / 3) & 7) * 6);
            p[2] = uint8_t(255 - (x + y) * 255 / (w + h));
            p[3] = alpha ? uint8_t(x * 255 / w) : 255;
        }
}

QDSaveFormat Format(LImageCodecID codec, int quality = 90)
{
    QDSaveFormat f;
    f.codec = LImageCodec(codec);
    f.settings.jpeg.SetQuality(quality);
    f.settings.webp.iQuality = quality;
    return f;
}

LProcessResult Save(const LImageBuffer& image, LImageBuffer& flattened, const QDSaveFormat& format,
                    const std::vector<uint8_t>* file, const std::string& path)
{
    QDSaveDialogProcessSave save;
    save.lpImage = &image;
    save.lpFlattened = &flattened;
    save.format = format;
    save.lpFile = file;
    snprintf(save.szFilePath, sizeof(save.szFilePath), "%s", path.c_str());
    RecordingProcess process;
    const LProcessResult r = Process(process, save);
    EXPECT_TRUE(process.arErrors.empty());
    return r;
}
} // namespace

TEST(SaveDialogProjection, TheProjectedSizeIsTheWrittenFile)
{
    TempFolder dir;
    for (bool alpha : {false, true})
    {
        LImageBuffer image, flattened;
        Photo(image, 203, 151, alpha);
        struct Case
        {
            const char* szName;
            QDSaveFormat format;
        };
        std::vector<Case> cases = {
            {"q10.jpg", Format(LImageCodecJPEG, 10)},
            {"q50.jpg", Format(LImageCodecJPEG, 50)},
            {"q90.jpg", Format(LImageCodecJPEG, 90)},
            {"q100.jpg", Format(LImageCodecJPEG, 100)},
            {"a.png", Format(LImageCodecPNG)},
            {"a.bmp", Format(LImageCodecBMP)},
            {"a.tif", Format(LImageCodecTIFF)},
            {"a.tga", Format(LImageCodecTGA)},
            {"q80.webp", Format(LImageCodecWEBP, 80)},
            {"lossy.jp2", Format(LImageCodecJPEG2000)},
            {"lossless.jp2", Format(LImageCodecJPEG2000)},
        };
        cases.back().format.settings.jpeg2000.iMode = 0;
        for (bool fast : {false, true})
            for (bool dither : {false, true})
            {
                QDSaveFormat gif = Format(LImageCodecGIF);
                gif.bFastGif = fast;
                gif.bDither = dither;
                cases.push_back({fast ? (dither ? "fd.gif" : "f.gif") : (dither ? "d.gif" : "n.gif"), gif});
            }
        for (const Case& c : cases)
        {
            SCOPED_TRACE(std::string(c.szName) + (alpha ? " with alpha" : ""));
            QDSaveDialogProcessPreview preview;
            preview.lpImage = &image;
            preview.lpFlattened = &flattened;
            preview.format = c.format;
            RecordingProcess process;
            ASSERT_EQ(Process(process, preview), LProcessResultSuccess);
            ASSERT_FALSE(preview.vFile.empty());
            // Saved with the preview's bytes, and encoded anew: the same file either way.
            const std::string kept = dir / (std::string("kept-") + c.szName);
            const std::string fresh = dir / (std::string("fresh-") + c.szName);
            ASSERT_EQ(Save(image, flattened, c.format, &preview.vFile, kept), LProcessResultSuccess);
            ASSERT_EQ(Save(image, flattened, c.format, nullptr, fresh), LProcessResultSuccess);
            EXPECT_EQ(ReadFile(kept), preview.vFile);
            EXPECT_EQ(ReadFile(fresh), preview.vFile);
            // A reference decoder reads what was written, whole.
            Picture ref = MagickDecode(kept);
            if (!ref.IsValid())
                ref = PillowDecode(kept);
            EXPECT_EQ(ref.w, 203);
            EXPECT_EQ(ref.h, 151);
        }
    }
}

TEST(SaveDialogProjection, TransparentPixelsShowOverWhiteInJPEGAndGIF)
{
    // Red at half cover: over white, green and blue are (255 * 127 + 127) / 255 = 127.
    LImageBuffer image, flattened;
    LImage::New(image, 48, 32, B8G8R8A8);
    image.Clear(LPixelColour(0, 0, 255, 128));
    for (LImageCodecID codec : {LImageCodecJPEG, LImageCodecGIF})
    {
        QDSaveDialogProcessPreview preview;
        preview.lpImage = &image;
        preview.lpFlattened = &flattened;
        preview.format = Format(codec, 100);
        preview.format.bFastGif = false;
        RecordingProcess process;
        ASSERT_EQ(Process(process, preview), LProcessResultSuccess);
        ASSERT_TRUE(preview.bDecoded);
        const uint8_t* p = preview.preview.GetRow(16) + 4 * 24;
        EXPECT_NEAR(p[0], 127, 2);
        EXPECT_NEAR(p[1], 127, 2);
        EXPECT_NEAR(p[2], 255, 2);
        EXPECT_EQ(p[3], 255);
    }
    // PNG keeps the transparency and shows the picture itself.
    QDSaveDialogProcessPreview png;
    png.lpImage = &image;
    png.format = Format(LImageCodecPNG);
    RecordingProcess process;
    ASSERT_EQ(Process(process, png), LProcessResultSuccess);
    EXPECT_FALSE(png.bDecoded);
    EXPECT_STREQ(png.szCaption, "PNG Preview");
    TempFolder dir;
    WriteFile(dir / "a.png", png.vFile);
    const Picture ref = MagickDecode(dir / "a.png");
    ASSERT_TRUE(ref.IsValid());
    EXPECT_EQ(ref.Pixel(3, 3), (Bytes{255, 0, 0, 128}));
}

TEST(SaveDialogProjection, TheFastGifPreviewDithersWhenTheFileDoesNot)
{
    // 600 colours across, every row alike: mapped to 256 without dithering the rows stay alike,
    // while error diffusion carries into the next row.
    LImageBuffer image, flattened;
    LImage::New(image, 600, 6, B8G8R8A8);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 600; ++x)
        {
            uint8_t* p = image.GetRow(y) + 4 * x;
            p[0] = uint8_t(x * 7 % 256);
            p[1] = uint8_t(x * 3 % 256);
            p[2] = uint8_t(x * 255 / 599);
            p[3] = 255;
        }
    auto rowsAlike = [](const Picture& p)
    {
        for (int y = 1; y < p.h; ++y)
            if (!std::equal(p.At(0, y), p.At(0, y) + 4 * p.w, p.At(0, 0)))
                return false;
        return true;
    };
    TempFolder dir;
    for (bool dither : {false, true})
    {
        SCOPED_TRACE(dither);
        QDSaveDialogProcessPreview preview;
        preview.lpImage = &image;
        preview.lpFlattened = &flattened;
        preview.format = Format(LImageCodecGIF);
        preview.format.bFastGif = true;
        preview.format.bDither = dither;
        RecordingProcess process;
        ASSERT_EQ(Process(process, preview), LProcessResultSuccess);
        WriteFile(dir / "file.gif", preview.vFile);
        const Picture file = MagickDecode(dir / "file.gif");
        ASSERT_TRUE(file.IsValid());
        EXPECT_EQ(rowsAlike(file), !dither);
        // The preview is the fast conversion's, dithered either way.
        Picture shown;
        shown.w = 600, shown.h = 6;
        for (int y = 0; y < 6; ++y)
            for (int x = 0; x < 600; ++x)
            {
                const uint8_t* p = preview.preview.GetRow(y) + 4 * x;
                shown.rgba.insert(shown.rgba.end(), {p[2], p[1], p[0], p[3]});
            }
        EXPECT_FALSE(rowsAlike(shown));
    }
}

TEST(SaveDialogProjection, FailuresSayNothingAndKeepTheOldFile)
{
    // A GIF can't be 65536 pixels wide.
    LImageBuffer wide, flattened;
    Photo(wide, 65536, 1, false);
    QDSaveDialogProcessPreview preview;
    preview.lpImage = &wide;
    preview.format = Format(LImageCodecGIF);
    RecordingProcess process;
    EXPECT_EQ(Process(process, preview), LProcessResultFailed);
    EXPECT_TRUE(process.arErrors.empty());
    EXPECT_TRUE(preview.vFile.empty());
    TempFolder dir;
    const Bytes old = {'k', 'e', 'e', 'p'};
    WriteFile(dir / "old.gif", old);
    EXPECT_EQ(Save(wide, flattened, Format(LImageCodecGIF), nullptr, dir / "old.gif"), LProcessResultFailed);
    EXPECT_EQ(ReadFile(dir / "old.gif"), old);
    LImageBuffer small;
    Photo(small, 8, 8, false);
    EXPECT_EQ(Save(small, flattened, Format(LImageCodecPNG), nullptr, dir / "missing/a.png"),
              LProcessResultFailed);
}

TEST(SaveDialogProjection, FlatteningOverWhiteByHand)
{
    LImageBuffer image, out;
    LImage::New(image, 3, 1, B8G8R8A8);
    const uint8_t pixels[] = {10, 200, 255, 64, 1, 2, 3, 0, 9, 8, 7, 255};
    memcpy(image.GetRow(0), pixels, sizeof(pixels));
    LProcessInterfaceVoid process;
    EXPECT_FALSE(LImageIsOpaque(process, image));
    ASSERT_EQ(LImageFlattenOnWhite(process, image, out), LProcessResultSuccess);
    // (c * a + 255 * (255 - a) + 127) / 255 per channel: 49472 / 255, 61632 / 255, 65152 / 255.
    const uint8_t expected[] = {194, 241, 255, 255, 255, 255, 255, 255, 9, 8, 7, 255};
    EXPECT_EQ(Bytes(out.GetRow(0), out.GetRow(0) + 12), Bytes(expected, expected + 12));
    // An opaque picture needs no copy: it is used as it is.
    image.GetRow(0)[3] = image.GetRow(0)[7] = 255;
    EXPECT_TRUE(LImageIsOpaque(process, image));
    LImageBuffer cache;
    const LImageBuffer* source = nullptr;
    ASSERT_EQ(QDSaveGetSourceImage(process, LImageCodec(LImageCodecJPEG), image, cache, source),
              LProcessResultSuccess);
    EXPECT_EQ(source, &image);
    EXPECT_FALSE(cache.IsValid());
}
