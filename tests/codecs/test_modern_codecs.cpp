// AVIF, JPEG XL and HEIC: round trips, files made by the reference tools read as those tools read
// them, deep samples, rotation, metadata blocks, and damage.

#include "codec_support.h"

#include <cmath>
#include <cstring>

#include <libheif/heif.h>

#include "codecs/LCodecAVIF.h"
#include "codecs/LCodecHEIC.h"
#include "codecs/LCodecJXL.h"
#include "codecs/LImage.h"

using namespace codec_test;

namespace
{
double PSNR(const Picture& a, const Picture& b)
{
    if (!a.IsValid() || a.w != b.w || a.h != b.h)
        return 0;
    double sum = 0;
    for (size_t i = 0; i < a.rgba.size(); ++i)
        if (i % 4 != 3)
            sum += double(a.rgba[i] - b.rgba[i]) * (a.rgba[i] - b.rgba[i]);
    const double mse = sum / (double(a.w) * a.h * 3);
    return mse == 0 ? 99 : 10 * std::log10(255.0 * 255.0 / mse);
}

int MaxAlphaError(const Picture& a, const Picture& b)
{
    int m = 0;
    for (size_t i = 3; i < a.rgba.size() && i < b.rgba.size(); i += 4)
        m = std::max(m, std::abs(a.rgba[i] - b.rgba[i]));
    return m;
}

// A little-endian EXIF block: camera model and orientation 6.
Bytes ExifBlock()
{
    Bytes b = {'I', 'I', 42, 0, 8, 0, 0, 0, 2, 0};
    const char model[] = "Quendrel Test Cam";
    auto entry = [&](uint16_t tag, uint16_t type, uint32_t count, uint32_t value)
    {
        const uint8_t e[12] = {uint8_t(tag),         uint8_t(tag >> 8),    uint8_t(type),
                               uint8_t(type >> 8),   uint8_t(count),       uint8_t(count >> 8),
                               uint8_t(count >> 16), uint8_t(count >> 24), uint8_t(value),
                               uint8_t(value >> 8),  uint8_t(value >> 16), uint8_t(value >> 24)};
        b.insert(b.end(), e, e + 12);
    };
    entry(0x0110, 2, sizeof(model), 38);
    entry(0x0112, 3, 1, 6);
    b.insert(b.end(), 4, 0);
    b.insert(b.end(), model, model + sizeof(model));
    return b;
}

// Sets the width and height of every 'ispe' box, for a file that claims far more than it holds.
Bytes ClaimSize(Bytes file, uint32_t side)
{
    for (size_t i = 0; i + 16 <= file.size(); ++i)
        if (memcmp(&file[i], "ispe", 4) == 0)
            for (int k = 0; k < 8; ++k)
                file[i + 8 + k] = uint8_t(side >> (24 - 8 * (k % 4)));
    return file;
}

class ModernCodecs : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_FALSE(dir.szPath.empty());
        photo = dir / "photo.png";
        ASSERT_TRUE(Shell("convert -seed 7 -size 61x43 plasma:fractal -blur 0x1 -depth 8 '" + photo + "'"));
        source = PillowDecode(photo);
        ASSERT_TRUE(source.IsValid());
    }
    Picture Reference(const std::string& command, const std::string& png)
    {
        return Shell(command) ? PillowDecode(png) : Picture{};
    }
    TempFolder dir;
    std::string photo;
    Picture source;
};
} // namespace

TEST_F(ModernCodecs, RoundTripsMatchTheReferenceDecoders)
{
    const Picture alpha = PhotoLike(61, 43, true);
    LImageBuffer translucent, opaque;
    ToBuffer(alpha, translucent);
    ToBuffer(source, opaque);

    // Lossless modes come back exactly, alpha included.
    Picture back = DecodePicture<LProcessAVIFLoad>(
        Encode<LProcessAVIFSave>(translucent, [](auto& d) { d.settings.iQuality = 100; }));
    EXPECT_TRUE(SamePicture(back, alpha));
    back = DecodePicture<LProcessJXLLoad>(
        Encode<LProcessJXLSave>(translucent, [](auto& d) { d.settings.iMode = 0; }));
    EXPECT_TRUE(SamePicture(back, alpha));

    // Lossy modes stay close, keep alpha, and read as the reference decoders read them.
    struct Case
    {
        const char* szExt;
        std::function<Bytes(const LImageBuffer&)> encode;
        std::function<Picture(const Bytes&)> decode;
        const char* szReference;
        double dMinPSNR;
        int iAlphaTolerance;
    } cases[] = {
        {"avif", [](const LImageBuffer& i) { return Encode<LProcessAVIFSave>(i); },
         [](const Bytes& f) { return DecodePicture<LProcessAVIFLoad>(f); }, "avifdec", 32, 0},
        {"jxl", [](const LImageBuffer& i) { return Encode<LProcessJXLSave>(i); },
         [](const Bytes& f) { return DecodePicture<LProcessJXLLoad>(f); }, "djxl", 33, 8},
        {"heic",
         [](const LImageBuffer& i)
         { return Encode<LProcessHEICSave>(i, [](auto& d) { d.settings.iQuality = 90; }); },
         [](const Bytes& f) { return DecodePicture<LProcessHEICLoad>(f); }, "heif-convert", 32, 12},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.szExt);
        const Bytes file = c.encode(opaque);
        ASSERT_FALSE(file.empty());
        const Picture ours = c.decode(file);
        EXPECT_GE(PSNR(ours, source), c.dMinPSNR);
        const std::string path = dir / (std::string("o.") + c.szExt),
                          png = dir / (std::string("o_") + c.szExt + ".png");
        ASSERT_TRUE(WriteFile(path, file));
        EXPECT_TRUE(SamePicture(
            ours, Reference(std::string(c.szReference) + " '" + path + "' '" + png + "'", png), 1));

        const Picture withAlpha = c.decode(c.encode(translucent));
        EXPECT_LE(MaxAlphaError(withAlpha, alpha), c.iAlphaTolerance);
        EXPECT_GE(PSNR(withAlpha, alpha), 28);
    }
}

TEST_F(ModernCodecs, StatusTextsAndStops)
{
    LImageBuffer image;
    ToBuffer(source, image);
    const std::pair<const char*, std::string> files[] = {
        {"AVIF", dir / "a.avif"}, {"JPEG XL", dir / "a.jxl"}, {"HEIC", dir / "a.heic"}};
    for (const auto& [name, path] : files)
    {
        SCOPED_TRACE(name);
        RecordingProcess save, load, stop;
        ASSERT_TRUE(LImage::Save(save, image, path.c_str(), LImageEncodeSettings()));
        EXPECT_TRUE(save.Said(std::string("Encoding ") + name + " image"));
        LImageBuffer back;
        EXPECT_EQ(LImage::Load(load, back, path.c_str()), 24);
        EXPECT_TRUE(load.Said(std::string("Decoding ") + name + " image"));
        stop.iStopAfter = 0;
        EXPECT_FALSE(LImage::Save(stop, image,
                                  (path + ".stopped." + path.substr(path.rfind('.') + 1)).c_str(),
                                  LImageEncodeSettings()));
        EXPECT_TRUE(stop.arErrors.empty()); // a stop is no failure
    }
}

TEST_F(ModernCodecs, DeepSamplesRead)
{
    const std::string deep = dir / "deep.png";
    // Blurred after widening, so the samples use all 16 bits and the file stays 16-bit.
    ASSERT_TRUE(Shell("convert '" + photo +
                      "' -alpha set -channel A -fx 'i/w' +channel -depth 16 -blur 0x0.7 "
                      "-define png:bit-depth=16 '" +
                      deep + "'"));
    const Picture expected = PillowDecode(deep); // Pillow keeps the high bytes of 16-bit samples
    for (int bits : {10, 12})
    {
        SCOPED_TRACE(bits);
        const std::string avif = dir / ("d" + std::to_string(bits) + ".avif");
        ASSERT_TRUE(Shell("avifenc -d " + std::to_string(bits) + " -y 444 --min 0 --max 0 '" + deep + "' '" +
                          avif + "'"));
        int depth = 0;
        const Picture ours = DecodePicture<LProcessAVIFLoad>(ReadFile(avif), &depth);
        EXPECT_EQ(depth, 4 * bits);
        EXPECT_TRUE(
            SamePicture(ours, Reference("avifdec -d 8 '" + avif + "' '" + avif + ".png'", avif + ".png"), 1));
        EXPECT_TRUE(SamePicture(ours, expected, 3));
    }
    const std::string jxl = dir / "d.jxl";
    ASSERT_TRUE(Shell("cjxl -d 0 '" + deep + "' '" + jxl + "'"));
    int depth = 0;
    EXPECT_TRUE(SamePicture(DecodePicture<LProcessJXLLoad>(ReadFile(jxl), &depth), expected, 1));
    EXPECT_EQ(depth, 64);
}

TEST_F(ModernCodecs, RotationAndMirrorReadUpright)
{
    // Lossless files, so the comparison with the turned source is exact.
    const std::pair<std::string, std::string> avif[] = {
        {"--irot 1", "-rotate 270"}, {"--irot 3 --imir 1", "-rotate 90 -flop"}, {"--imir 0", "-flip"}};
    for (const auto& [property, turn] : avif)
    {
        SCOPED_TRACE(property);
        const std::string path = dir / "r.avif", png = dir / "r.png";
        ASSERT_TRUE(Shell("avifenc -l " + property + " '" + photo + "' '" + path + "'"));
        ASSERT_TRUE(Shell("convert '" + photo + "' " + turn + " '" + png + "'"));
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessAVIFLoad>(ReadFile(path)), PillowDecode(png)));
    }

    // A HEIC as a phone writes it: stored sideways with a rotation property.
    heif_context* ctx = heif_context_alloc();
    heif_encoder* enc = nullptr;
    heif_image* img = nullptr;
    ASSERT_EQ(heif_context_get_encoder_for_format(ctx, heif_compression_HEVC, &enc).code, heif_error_Ok);
    heif_encoder_set_lossy_quality(enc, 95);
    heif_image_create(source.w, source.h, heif_colorspace_RGB, heif_chroma_interleaved_RGB, &img);
    heif_image_add_plane(img, heif_channel_interleaved, source.w, source.h, 8);
    int stride = 0;
    uint8_t* plane = heif_image_get_plane(img, heif_channel_interleaved, &stride);
    for (int y = 0; y < source.h; ++y)
        for (int x = 0; x < source.w; ++x)
            memcpy(plane + y * stride + x * 3, source.At(x, y), 3);
    heif_encoding_options* options = heif_encoding_options_alloc();
    options->image_orientation = heif_orientation_rotate_90_cw;
    const std::string heic = dir / "phone.heic";
    EXPECT_EQ(heif_context_encode_image(ctx, img, enc, options, nullptr).code, heif_error_Ok);
    EXPECT_EQ(heif_context_write_to_file(ctx, heic.c_str()).code, heif_error_Ok);
    heif_encoding_options_free(options);
    heif_image_release(img);
    heif_encoder_release(enc);
    heif_context_free(ctx);
    const std::string turned = dir / "turned.png";
    ASSERT_TRUE(Shell("convert '" + photo + "' -rotate 90 '" + turned + "'"));
    const Picture upright = DecodePicture<LProcessHEICLoad>(ReadFile(heic));
    ASSERT_EQ(upright.w, source.h);
    EXPECT_GE(PSNR(upright, PillowDecode(turned)), 32);
}

TEST_F(ModernCodecs, MetadataBlocksAreFoundAndWritten)
{
    const Bytes exif = ExifBlock();
    // A JPEG carrying the block, for the tools that take EXIF from their input.
    const std::string jpeg = dir / "exif.jpg";
    ASSERT_TRUE(Shell("convert '" + photo + "' -quality 90 '" + jpeg + "'"));
    Bytes jpg = ReadFile(jpeg);
    const uint16_t length = uint16_t(2 + 6 + exif.size());
    Bytes app1 = {0xFF, 0xE1, uint8_t(length >> 8), uint8_t(length), 'E', 'x', 'i', 'f', 0, 0};
    jpg.insert(jpg.begin() + 2, app1.begin(), app1.end());
    jpg.insert(jpg.begin() + 2 + ptrdiff_t(app1.size()), exif.begin(), exif.end());
    ASSERT_TRUE(WriteFile(jpeg, jpg));
    ASSERT_TRUE(WriteFile(dir / "exif.bin", exif));

    auto found = [](auto load, const Bytes& file)
    {
        LInputStream<LInputStreamBuffer> stream(file.data(), file.size());
        LImageBuffer image;
        LImageMetadata blocks;
        load.lpStream = &stream;
        load.lpImage = &image;
        load.lpMetadata = &blocks;
        LProcessInterfaceVoid process;
        EXPECT_EQ(Process(process, load), LProcessResultSuccess);
        return blocks;
    };
    ASSERT_TRUE(Shell("avifenc --exif '" + dir / "exif.bin" + "' '" + photo + "' '" + dir / "m.avif" + "'"));
    ASSERT_TRUE(Shell("cjxl '" + jpeg + "' '" + dir / "m.jxl" + "'"));
    ASSERT_TRUE(Shell("heif-enc '" + jpeg + "' -o '" + dir / "m.heic" + "'"));
    EXPECT_EQ(found(LProcessAVIFLoad<LInputStreamBuffer>(), ReadFile(dir / "m.avif")).arExif, exif);
    EXPECT_EQ(found(LProcessJXLLoad<LInputStreamBuffer>(), ReadFile(dir / "m.jxl")).arExif, exif);
    EXPECT_EQ(found(LProcessHEICLoad<LInputStreamBuffer>(), ReadFile(dir / "m.heic")).arExif, exif);

    // What the writers are given comes back; a real profile where the system has one, since the
    // JPEG XL writer checks it.
    LImageMetadata blocks;
    blocks.arExif = exif;
    const std::string xmp = "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF/></x:xmpmeta>";
    blocks.arXmp.assign(xmp.begin(), xmp.end());
    blocks.arIcc = ReadFile("/usr/share/color/icc/ghostscript/srgb.icc");
    LImageBuffer image;
    ToBuffer(source, image);
    const LImageMetadata avif =
        found(LProcessAVIFLoad<LInputStreamBuffer>(),
              Encode<LProcessAVIFSave>(image, [&](auto& d) { d.lpMetadata = &blocks; }));
    const LImageMetadata jxl =
        found(LProcessJXLLoad<LInputStreamBuffer>(),
              Encode<LProcessJXLSave>(image, [&](auto& d) { d.lpMetadata = &blocks; }));
    const LImageMetadata heic =
        found(LProcessHEICLoad<LInputStreamBuffer>(),
              Encode<LProcessHEICSave>(image, [&](auto& d) { d.lpMetadata = &blocks; }));
    for (const LImageMetadata* b : {&avif, &jxl, &heic})
    {
        EXPECT_EQ(b->arExif, blocks.arExif);
        EXPECT_EQ(b->arXmp, blocks.arXmp);
        // JPEG XL keeps a profile it understands as a colour description and makes it anew.
        if (!blocks.arIcc.empty() && b != &jxl)
        {
            EXPECT_EQ(b->arIcc, blocks.arIcc);
        }
        EXPECT_EQ(b->arIcc.empty(), blocks.arIcc.empty());
    }
    // An EXIF block without a TIFF header is no EXIF block.
    std::vector<uint8_t> kept;
    const uint8_t junk[] = {0, 0, 0, 0, 'x', 'y', 'z', 'w', 1, 2, 3, 4};
    LCodecSetExif(kept, junk, sizeof(junk));
    EXPECT_TRUE(kept.empty());
}

TEST_F(ModernCodecs, DamagedAndOversizedFilesFail)
{
    LImageBuffer image;
    ToBuffer(PhotoLike(37, 21, true), image);
    const Bytes avif = Encode<LProcessAVIFSave>(image);
    const Bytes jxl = Encode<LProcessJXLSave>(image);
    const Bytes heic = Encode<LProcessHEICSave>(image);
    {
        SCOPED_TRACE("avif");
        ExpectRobust<LProcessAVIFLoad>(avif, 0, 100);
    }
    {
        SCOPED_TRACE("jxl");
        ExpectRobust<LProcessJXLLoad>(jxl, 0, 100);
    }
    {
        SCOPED_TRACE("heic");
        ExpectRobust<LProcessHEICLoad>(heic, 0, 100);
    }
    // A few hundred bytes claiming 60000 x 60000 are refused before anything that size is made.
    EXPECT_EQ(Decode<LProcessAVIFLoad>(ClaimSize(avif, 60000), image), LProcessResultFailed);
    EXPECT_EQ(Decode<LProcessHEICLoad>(ClaimSize(heic, 60000), image), LProcessResultFailed);
    // Through the door, damage has the registry's words.
    const std::string path = dir / "broken.heic";
    ASSERT_TRUE(WriteFile(path, Bytes(heic.begin(), heic.begin() + ptrdiff_t(heic.size() / 2))));
    RecordingProcess process;
    EXPECT_EQ(LImage::Load(process, image, path.c_str()), 0);
    ASSERT_EQ(process.arErrors.size(), 1u);
    EXPECT_EQ(process.arErrors[0], "The image could not be loaded.");
}
