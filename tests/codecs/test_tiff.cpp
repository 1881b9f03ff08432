// TIFF variants written by libtiff's own writer (sample sizes, kinds, photometrics, alpha,
// orientations, tiles, subsampled YCbCr, old-style JPEG) and read against ImageMagick and Pillow.

#include "codec_support.h"

#include <cmath>
#include <tiffio.h>

#include "codecs/LImage.h"
#include "codecs/LImageProcess.h"

using namespace codec_test;

namespace
{
// The tags of a file to write; anything left 0 is not written.
struct TiffTags
{
    uint32_t w = 1, h = 1;
    uint16_t bps = 8, spp = 1, photometric = PHOTOMETRIC_MINISBLACK, format = SAMPLEFORMAT_UINT;
    uint16_t planar = PLANARCONFIG_CONTIG, compression = COMPRESSION_NONE, orientation = 0;
    std::vector<uint16_t> extra; // extra sample kinds
    std::vector<uint16_t> map;   // colour map: red, green, blue runs of 1 << bps
    uint32_t rowsPerStrip = 0;   // 0: one strip
    uint32_t tileW = 0, tileH = 0;
    uint16_t subH = 0, subV = 0; // YCbCr subsampling
    bool bigEndian = false;
};

// blocks: the stored bytes of each strip or tile in file order (planes one after the other).
bool WriteTIFF(const std::string& path, const TiffTags& f, const std::vector<Bytes>& blocks)
{
    TIFF* t = TIFFOpen(path.c_str(), f.bigEndian ? "wb" : "wl");
    if (!t)
        return false;
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, f.w);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, f.h);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, f.bps);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, f.spp);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, f.photometric);
    TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, f.format);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, f.planar);
    TIFFSetField(t, TIFFTAG_COMPRESSION, f.compression);
    if (f.orientation)
        TIFFSetField(t, TIFFTAG_ORIENTATION, f.orientation);
    if (!f.extra.empty())
        TIFFSetField(t, TIFFTAG_EXTRASAMPLES, uint16_t(f.extra.size()), f.extra.data());
    if (!f.map.empty())
    {
        const size_t n = size_t(1) << f.bps;
        TIFFSetField(t, TIFFTAG_COLORMAP, f.map.data(), f.map.data() + n, f.map.data() + 2 * n);
    }
    if (f.subH)
        TIFFSetField(t, TIFFTAG_YCBCRSUBSAMPLING, f.subH, f.subV);
    if (f.tileW)
    {
        TIFFSetField(t, TIFFTAG_TILEWIDTH, f.tileW);
        TIFFSetField(t, TIFFTAG_TILELENGTH, f.tileH);
    }
    else
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, f.rowsPerStrip ? f.rowsPerStrip : f.h);
    bool ok = true;
    for (size_t i = 0; i < blocks.size() && ok; ++i)
    {
        Bytes b = blocks[i]; // the writer may swap bytes in place
        ok = (f.tileW ? TIFFWriteEncodedTile(t, uint32_t(i), b.data(), tmsize_t(b.size()))
                      : TIFFWriteEncodedStrip(t, uint32_t(i), b.data(), tmsize_t(b.size()))) >= 0;
    }
    TIFFClose(t);
    return ok;
}

// Packs samples of bits each high bit first, every row starting on a byte; sizes of whole bytes
// go in this machine's order, as libtiff's writer expects them.
Bytes PackRows(const std::vector<uint64_t>& samples, size_t perRow, int bits)
{
    Bytes out;
    const size_t rows = samples.size() / perRow;
    for (size_t r = 0; r < rows; ++r)
    {
        if (bits % 8 == 0)
        {
            for (size_t i = 0; i < perRow; ++i)
            {
                const uint64_t v = samples[r * perRow + i];
                for (int b = 0; b < bits / 8; ++b)
                    out.push_back(uint8_t(v >> (8 * b)));
            }
            continue;
        }
        uint64_t acc = 0;
        int have = 0;
        for (size_t i = 0; i < perRow; ++i)
        {
            acc = acc << bits | (samples[r * perRow + i] & ((uint64_t(1) << bits) - 1));
            have += bits;
            while (have >= 8)
                out.push_back(uint8_t(acc >> (have - 8))), have -= 8;
        }
        if (have)
            out.push_back(uint8_t(acc << (8 - have)));
    }
    return out;
}

// Samples of a smooth picture with some detail: value c of pixel (x, y) scaled to max.
std::vector<uint64_t> Samples(const TiffTags& f, uint64_t max, int perPixel)
{
    std::vector<uint64_t> s;
    for (uint32_t y = 0; y < f.h; ++y)
        for (uint32_t x = 0; x < f.w; ++x)
            for (int c = 0; c < perPixel; ++c)
            {
                const double v =
                    0.5 + 0.45 * std::sin(x * 0.37 + y * 0.23 + c * 1.9) * std::cos(y * 0.11 - c);
                s.push_back(uint64_t(v * double(max) + 0.5));
            }
    return s;
}

template <class T>
Bytes Raw(const std::vector<T>& v)
{
    Bytes b(v.size() * sizeof(T));
    memcpy(b.data(), v.data(), b.size());
    return b;
}

// The picture after ImageMagick turns it upright.
Picture MagickUpright(const std::string& path)
{
    Bytes out;
    return Shell("convert '" + path + "[0]' -auto-orient -format '%w %h\\n' info:- && convert '" + path +
                     "[0]' -auto-orient -depth 8 rgba:-",
                 &out)
               ? ParseDump(out)
               : Picture{};
}

LProcessResult Load(const std::string& path, LImageBuffer& image, RecordingProcess* process = nullptr)
{
    RecordingProcess local;
    RecordingProcess& p = process ? *process : local;
    return LImage::Load(p, image, path.c_str()) > 0 ? LProcessResultSuccess : LProcessResultFailed;
}

class TIFFRead : public ::testing::Test
{
protected:
    TempFolder dir;
};
} // namespace

TEST_F(TIFFRead, SampleSizesKindsAndColoursReadLikeImageMagick)
{
    // ImageMagick reads inverted grey of 4 bits as if not inverted, and 24-bit samples wrongly;
    // those go to Pillow, and what neither reads to the samples' own scale.
    enum Reference
    {
        Magick,
        Pillow,
        Scale,
    };
    struct Case
    {
        const char* szName;
        TiffTags tags;
        int iTolerance;
        Reference reference = Magick;
    };
    auto tags = [](uint16_t bps, uint16_t spp, uint16_t photometric, uint16_t format = SAMPLEFORMAT_UINT)
    {
        TiffTags f;
        f.w = 23, f.h = 9, f.bps = bps, f.spp = spp, f.photometric = photometric, f.format = format;
        return f;
    };
    std::vector<Case> cases = {
        {"grey2", tags(2, 1, PHOTOMETRIC_MINISBLACK), 0},
        {"grey4white", tags(4, 1, PHOTOMETRIC_MINISWHITE), 0, Pillow},
        {"grey12", tags(12, 1, PHOTOMETRIC_MINISBLACK), 1},
        {"rgb12", tags(12, 3, PHOTOMETRIC_RGB), 1},
        {"rgb10", tags(10, 3, PHOTOMETRIC_RGB), 1},
        {"grey24", tags(24, 1, PHOTOMETRIC_MINISBLACK), 0, Scale},
        {"grey32", tags(32, 1, PHOTOMETRIC_MINISBLACK), 1},
        {"rgb16be", tags(16, 3, PHOTOMETRIC_RGB), 1},
        {"signed16", tags(16, 1, PHOTOMETRIC_MINISBLACK, SAMPLEFORMAT_INT), 1},
        {"float32", tags(32, 3, PHOTOMETRIC_RGB, SAMPLEFORMAT_IEEEFP), 1},
        {"float16", tags(16, 1, PHOTOMETRIC_MINISBLACK, SAMPLEFORMAT_IEEEFP), 1},
        {"float64", tags(64, 1, PHOTOMETRIC_MINISBLACK, SAMPLEFORMAT_IEEEFP), 1},
        {"cmyk16", tags(16, 4, PHOTOMETRIC_SEPARATED), 2},
        {"planes16", tags(16, 3, PHOTOMETRIC_RGB), 1},
        {"palette16", tags(16, 1, PHOTOMETRIC_PALETTE), 1},
    };
    cases[7].tags.bigEndian = true;
    cases[13].tags.planar = PLANARCONFIG_SEPARATE;
    cases[13].tags.rowsPerStrip = 4;
    for (int k = 0; k < 3; ++k)
        for (uint32_t i = 0; i < 65536; ++i)
            cases[14].tags.map.push_back(uint16_t(k == 0 ? i : k == 1 ? 65535 - i : (i * 40503u) & 0xFFFF));
    for (Case& c : cases)
    {
        SCOPED_TRACE(c.szName);
        TiffTags& f = c.tags;
        const int bits = f.bps;
        std::vector<Bytes> blocks;
        if (f.format == SAMPLEFORMAT_IEEEFP)
        {
            // Just outside 0 to 1 at the extremes, to show the clamp.
            std::vector<uint64_t> s = Samples(f, 1000, f.spp);
            if (bits == 32)
            {
                std::vector<float> v;
                for (uint64_t x : s)
                    v.push_back(float(x) / 900.0f - 0.05f);
                blocks.push_back(Raw(v));
            }
            else if (bits == 64)
            {
                std::vector<double> v;
                for (uint64_t x : s)
                    v.push_back(double(x) / 1000.0);
                blocks.push_back(Raw(v));
            }
            else
            {
                // Halves from 0.5 up to just under 1.
                std::vector<uint16_t> v;
                for (uint64_t x : s)
                    v.push_back(uint16_t(0x3800 + x)); // 0.5 + x / 2048
                blocks.push_back(Raw(v));
            }
        }
        else
        {
            const uint64_t max = bits == 32 ? 0xFFFFFFFFull : (uint64_t(1) << bits) - 1;
            std::vector<uint64_t> s = Samples(f, max, f.spp);
            if (f.format == SAMPLEFORMAT_INT)
                for (uint64_t& v : s)
                    v = uint64_t(int64_t(v) - (int64_t(1) << (bits - 1))) & max; // two's complement
            if (f.planar == PLANARCONFIG_SEPARATE)
            {
                for (int p = 0; p < f.spp; ++p)
                    for (uint32_t y = 0; y < f.h; y += f.rowsPerStrip)
                    {
                        std::vector<uint64_t> plane;
                        for (uint32_t r = y; r < std::min(f.h, y + f.rowsPerStrip); ++r)
                            for (uint32_t x = 0; x < f.w; ++x)
                                plane.push_back(s[(size_t(r) * f.w + x) * f.spp + size_t(p)]);
                        blocks.push_back(PackRows(plane, f.w, bits));
                    }
            }
            else
                blocks.push_back(PackRows(s, size_t(f.w) * f.spp, bits));
        }
        const std::string path = dir.Path(std::string(c.szName) + ".tif");
        ASSERT_TRUE(WriteTIFF(path, f, blocks));
        LImageBuffer image;
        RecordingProcess process;
        ASSERT_EQ(Load(path, image, &process), LProcessResultSuccess);
        EXPECT_TRUE(process.Said("Decoding TIFF image"));
        Picture ref;
        if (c.reference == Scale)
        {
            const std::vector<uint64_t> s = Samples(f, (uint64_t(1) << bits) - 1, 1);
            ref = MakePicture(int(f.w), int(f.h),
                              [&](int x, int y)
                              {
                                  const uint32_t g =
                                      uint32_t(std::lround(double(s[size_t(y) * f.w + size_t(x)]) * 255.0 /
                                                           double((uint64_t(1) << bits) - 1)));
                                  return g << 24 | g << 16 | g << 8 | 255;
                              });
        }
        else
            ref = c.reference == Pillow ? PillowDecode(path) : MagickDecode(path);
        EXPECT_TRUE(Matches(image, ref, c.iTolerance));
    }
}

TEST_F(TIFFRead, AlphaBesideGreyPaletteAndCMYK)
{
    // Unassociated alpha beside grey stays as stored (libtiff never multiplies it in); beside a
    // palette and CMYK it is kept; associated alpha comes out straight.
    struct Case
    {
        const char* szName;
        uint16_t photometric, spp, bps, extra;
        int iTolerance;
    } cases[] = {
        {"grey_unassoc", PHOTOMETRIC_MINISBLACK, 2, 8, EXTRASAMPLE_UNASSALPHA, 0},
        {"grey16_unassoc", PHOTOMETRIC_MINISBLACK, 2, 16, EXTRASAMPLE_UNASSALPHA, 1},
        {"palette_alpha", PHOTOMETRIC_PALETTE, 2, 8, EXTRASAMPLE_UNASSALPHA, 0},
        {"cmyk_alpha", PHOTOMETRIC_SEPARATED, 5, 8, EXTRASAMPLE_UNASSALPHA, 1},
        {"rgb_assoc", PHOTOMETRIC_RGB, 4, 8, EXTRASAMPLE_ASSOCALPHA, 255},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.szName);
        TiffTags f;
        f.w = 19, f.h = 7, f.bps = c.bps, f.spp = c.spp, f.photometric = c.photometric;
        f.extra = {c.extra};
        const uint64_t max = (uint64_t(1) << c.bps) - 1;
        std::vector<uint64_t> s = Samples(f, max, c.spp);
        for (size_t i = size_t(c.spp) - 1; i < s.size(); i += c.spp)
            s[i] = (i / c.spp) % 5 == 0 ? 0 : s[i]; // some fully transparent pixels
        if (c.extra == EXTRASAMPLE_ASSOCALPHA)
            for (size_t i = 0; i < s.size(); i += c.spp)
                for (int k = 0; k < 3; ++k)
                    s[i + size_t(k)] = s[i + size_t(k)] * s[i + 3] / max;
        if (c.photometric == PHOTOMETRIC_PALETTE)
            for (int i = 0; i < 256; ++i)
                f.map.push_back(uint16_t(i * 257)), f.map.push_back(uint16_t((255 - i) * 257)),
                    f.map.push_back(uint16_t((i * 7 % 256) * 257));
        if (!f.map.empty())
        {
            // Interleaved above for brevity; the tag wants the three runs.
            std::vector<uint16_t> runs;
            for (int k = 0; k < 3; ++k)
                for (int i = 0; i < 256; ++i)
                    runs.push_back(f.map[size_t(i) * 3 + size_t(k)]);
            f.map = runs;
        }
        const std::string path = dir.Path(std::string(c.szName) + ".tif");
        ASSERT_TRUE(WriteTIFF(path, f, {PackRows(s, size_t(f.w) * c.spp, c.bps)}));
        LImageBuffer image;
        ASSERT_EQ(Load(path, image), LProcessResultSuccess);
        const Picture ref = MagickDecode(path);
        ASSERT_TRUE(ref.IsValid());
        bool anyClear = false;
        for (size_t i = 3; i < ref.rgba.size(); i += 4)
            anyClear |= ref.rgba[i] == 0;
        EXPECT_TRUE(anyClear);
        if (c.extra == EXTRASAMPLE_ASSOCALPHA)
            ExpectStraightAlpha(image, ref);
        else
            EXPECT_TRUE(Matches(image, ref, c.iTolerance));
    }
}

TEST_F(TIFFRead, EveryOrientationTurnsUpright)
{
    // 5 to 8 swap the sides: mirrored would be the wrong answer, not a turn.
    TiffTags f;
    f.w = 11, f.h = 6, f.spp = 3, f.photometric = PHOTOMETRIC_RGB;
    const Bytes pixels = PackRows(Samples(f, 255, 3), size_t(f.w) * 3, 8);
    for (uint16_t o = 1; o <= 8; ++o)
    {
        SCOPED_TRACE(o);
        f.orientation = o;
        const std::string path = dir.Path("o" + std::to_string(o) + ".tif");
        ASSERT_TRUE(WriteTIFF(path, f, {pixels}));
        LImageBuffer image;
        ASSERT_EQ(Load(path, image), LProcessResultSuccess);
        EXPECT_EQ(image.GetWidth(), o >= 5 ? 6 : 11);
        EXPECT_TRUE(Matches(image, MagickUpright(path), 0));
    }
}

namespace
{
// Data units of 2x2-subsampled YCbCr from a picture: four luma samples, then blue and red chroma
// of their mean, in rows of units; width and height are padded to whole units.
Bytes YCbCrUnits(const Picture& p, int x0, int y0, int w, int h)
{
    Bytes out;
    auto px = [&](int x, int y) { return p.At(std::min(x, p.w - 1), std::min(y, p.h - 1)); };
    for (int y = y0; y < y0 + h; y += 2)
        for (int x = x0; x < x0 + w; x += 2)
        {
            double cb = 0, cr = 0;
            for (int j = 0; j < 2; ++j)
                for (int i = 0; i < 2; ++i)
                {
                    const uint8_t* q = px(x + i, y + j);
                    const double luma = 0.299 * q[0] + 0.587 * q[1] + 0.114 * q[2];
                    out.push_back(uint8_t(std::lround(luma)));
                    cb += (q[2] - luma) / 1.772 / 4, cr += (q[0] - luma) / 1.402 / 4;
                }
            out.push_back(uint8_t(std::clamp(std::lround(128 + cb), 0L, 255L)));
            out.push_back(uint8_t(std::clamp(std::lround(128 + cr), 0L, 255L)));
        }
    return out;
}
} // namespace

TEST_F(TIFFRead, SubsampledYCbCrInTilesAndStrips)
{
    // Taller than a band of 64 rows, in tiles of 48 that neither the bands nor the picture's
    // edges line up with, and in strips; each compressed and plain. Pillow reads the compressed
    // ones through libtiff; uncompressed, neither reference tool reads them right, so those must
    // give what the same data gave compressed.
    const int w = 100, h = 150;
    const Picture src = PhotoLike(w, h);
    Picture compressed[2];
    for (uint16_t compression : {COMPRESSION_LZW, COMPRESSION_ADOBE_DEFLATE, COMPRESSION_NONE})
        for (bool tiled : {true, false})
        {
            SCOPED_TRACE(std::to_string(compression) + (tiled ? " tiles" : " strips"));
            TiffTags f;
            f.w = w, f.h = h, f.spp = 3, f.photometric = PHOTOMETRIC_YCBCR, f.compression = compression;
            f.subH = f.subV = 2;
            std::vector<Bytes> blocks;
            if (tiled)
            {
                f.tileW = f.tileH = 48;
                for (int y = 0; y < h; y += 48)
                    for (int x = 0; x < w; x += 48)
                        blocks.push_back(YCbCrUnits(src, x, y, 48, 48));
            }
            else
            {
                f.rowsPerStrip = 38;
                for (int y = 0; y < h; y += 38)
                    blocks.push_back(YCbCrUnits(src, 0, y, w, std::min(38, h - y)));
            }
            const std::string path = dir.Path("ycc.tif");
            ASSERT_TRUE(WriteTIFF(path, f, blocks));
            LImageBuffer image;
            ASSERT_EQ(Load(path, image), LProcessResultSuccess);
            if (compression == COMPRESSION_NONE)
                EXPECT_TRUE(SamePicture(FromBuffer(image), compressed[tiled]));
            else
                EXPECT_TRUE(Matches(image, PillowDecode(path), 1));
            compressed[tiled] = FromBuffer(image);
        }
}

namespace
{
// An old-style JPEG TIFF as such files were written: one strip that is a whole JPEG stream, pointed
// at both by the strip and by the interchange-format tags.
Bytes OldStyleJPEGTIFF(const Bytes& jpeg, uint32_t w, uint32_t h)
{
    Bytes out = {'I', 'I', 42, 0};
    auto u16 = [&](uint32_t v) { out.push_back(uint8_t(v)), out.push_back(uint8_t(v >> 8)); };
    auto u32 = [&](uint32_t v) { u16(v & 0xFFFF), u16(v >> 16); };
    const uint32_t data = 8, bits = data + uint32_t(jpeg.size()), ifd = bits + 6;
    u32(ifd);
    out.insert(out.end(), jpeg.begin(), jpeg.end());
    u16(8), u16(8), u16(8);
    const uint32_t entries[][4] = {
        {256, 4, 1, w},           {257, 4, 1, h},    {258, 3, 3, bits},
        {259, 3, 1, 6},           {262, 3, 1, 6},    {273, 4, 1, data},
        {277, 3, 1, 3},           {278, 4, 1, h},    {279, 4, 1, uint32_t(jpeg.size())},
        {284, 3, 1, 1},           {513, 4, 1, data}, {514, 4, 1, uint32_t(jpeg.size())},
        {530, 3, 2, 2 | 2 << 16},
    };
    u16(uint32_t(std::size(entries)));
    for (const auto& e : entries)
    {
        u16(e[0]), u16(e[1]), u32(e[2]);
        if (e[1] == 3 && e[2] == 1)
            u16(e[3]), u16(0);
        else
            u32(e[3]);
    }
    u32(0);
    return out;
}
} // namespace

TEST_F(TIFFRead, OldStyleJPEGInOneStripTallerThanABand)
{
    const Picture src = PhotoLike(96, 150);
    ASSERT_TRUE(MagickEncode(dir, src, "-quality 92 -sampling-factor 2x2", dir / "strip.jpg"));
    const Bytes jpeg = ReadFile(dir / "strip.jpg");
    const std::string path = dir.Path("ojpeg.tif");
    ASSERT_TRUE(WriteFile(path, OldStyleJPEGTIFF(jpeg, 96, 150)));
    LImageBuffer image;
    ASSERT_EQ(Load(path, image), LProcessResultSuccess);
    // The rows below the first 64 are where banded reading went wrong. Pillow reads the file
    // through libtiff too, but whole; chroma is replicated, not interpolated as JPEG viewers do.
    EXPECT_TRUE(Matches(image, PillowDecode(path), 1));
    // Damaged JPEG data inside fails cleanly.
    Bytes bad = OldStyleJPEGTIFF(jpeg, 96, 150);
    for (size_t i = 8 + jpeg.size() / 2; i < 8 + jpeg.size() / 2 + 40; ++i)
        bad[i] = 0xFF;
    ASSERT_TRUE(WriteFile(path, bad));
    RecordingProcess process;
    const LProcessResult r = Load(path, image, &process);
    EXPECT_TRUE(r == LProcessResultFailed ? !process.arErrors.empty() : image.IsValid());
}

TEST_F(TIFFRead, JPEGTheLibraryCannotDecodeFailsWithTheMessage)
{
    // Twelve-bit JPEG, bare and inside a TIFF, which this libjpeg doesn't decode.
    const Bytes jpeg12 = {0xFF, 0xD8, 0xFF, 0xC1, 0, 11, 12, 0, 8, 0, 8, 1, 1, 0x11, 0, 0xFF, 0xD9};
    const std::string bare = dir.Path("twelve.jpg");
    ASSERT_TRUE(WriteFile(bare, jpeg12));
    Bytes tiff = OldStyleJPEGTIFF(jpeg12, 8, 8);
    // The same layout serves, as new-style JPEG of 12 bits.
    for (size_t k = 0; k < 3; ++k)
        tiff[8 + jpeg12.size() + 2 * k] = 12;
    const std::string wrapped = dir.Path("twelve.tif");
    for (size_t i = 0; i + 12 <= tiff.size(); ++i)
        if (tiff[i] == 3 && tiff[i + 1] == 1 && tiff[i + 2] == 3 && tiff[i + 3] == 0) // compression
            tiff[i + 8] = 7;
    ASSERT_TRUE(WriteFile(wrapped, tiff));
    for (const std::string& path : {bare, wrapped})
    {
        SCOPED_TRACE(path);
        LImageBuffer image;
        RecordingProcess process;
        EXPECT_EQ(Load(path, image, &process), LProcessResultFailed);
        ASSERT_EQ(process.arErrors.size(), 1u);
        EXPECT_EQ(process.arErrors[0], "The image could not be loaded.");
    }
}
