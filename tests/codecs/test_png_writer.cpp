// The band-parallel PNG writer, read back by libpng (through the decoder and ImageMagick) and by
// Pillow's own inflate, for the shapes and source formats where band edges and packing go wrong.

#include "codec_support.h"

#include "codecs/LCodecPNG.h"
#include "image/LImgProBands.h"

using namespace codec_test;

namespace
{
// The source as its own iterator reads it, in the order the reference decoders dump.
Picture Expected(const LImageBuffer& image)
{
    return MakePicture(image.GetWidth(), image.GetHeight(),
                       [&](int x, int y)
                       {
                           LImageConstIterator it(image);
                           it.MoveTo(x, image.imf.bUpsideDown ? image.GetHeight() - 1 - y : y);
                           const uint32_t v = it.Read().ToUInt32(); // 0xAARRGGBB
                           return (v & 0xFFFFFF) << 8 | v >> 24;
                       });
}

void FillFormat(LImageBuffer& image, pixelformat_t pf, int w, int h, bool alpha)
{
    LImageBuffer pattern;
    FillPattern(pattern, w, h, alpha);
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(pf, w, h)));
    LImageConstIterator in(pattern);
    LImageIterator out(image);
    for (int y = 0; y < h; ++y)
    {
        in.MoveTo(0, y);
        out.MoveTo(0, y);
        for (int x = 0; x < w; ++x, in.Next(), out.Next())
            out.Write(in.Read());
    }
}

struct ThreadCount
{
    explicit ThreadCount(int n) { LImgProSetThreadCount(n); }
    ~ThreadCount() { LImgProSetThreadCount(0); }
};
} // namespace

TEST(PNGWriter, ShapesFormatsAndBandCountsReadBackExactly)
{
    struct Case
    {
        int w, h;
        pixelformat_t pf;
        bool alpha;
    };
    // I8 reads with alpha 0. 613 by 1000 splits into several bands of unequal length; the others are single
    // bands.
    const Case cases[] = {
        {1, 1, B8G8R8A8, false},    {1, 1, B8G8R8A8, true},  {1, 517, B8G8R8, false},
        {517, 1, B8G8R8A8, true},   {37, 29, B8G8R8, false}, {613, 1000, B8G8R8A8, true},
        {613, 1000, B8G8R8, false}, {45, 31, B5G6R5, false}, {33, 17, I8, true},
    };
    TempFolder dir;
    for (const Case& c : cases)
        for (int threads : {1, 5})
        {
            SCOPED_TRACE(std::to_string(c.w) + "x" + std::to_string(c.h) + " format " + std::to_string(c.pf) +
                         " threads " + std::to_string(threads));
            ThreadCount count(threads);
            LImageBuffer src;
            FillFormat(src, c.pf, c.w, c.h, c.alpha);
            const Picture want = Expected(src);
            const Bytes png = Encode<LProcessPNGSave>(src);
            ASSERT_FALSE(png.empty());
            int depth = 0;
            EXPECT_TRUE(SamePicture(DecodePicture<LProcessPNGLoad>(png, &depth), want));
            EXPECT_EQ(depth, c.alpha ? 32 : 24);
            ASSERT_TRUE(WriteFile(dir / "out.png", png));
            EXPECT_TRUE(SamePicture(PillowDecode(dir / "out.png"), want));
            if (c.w * c.h > 100000)
            {
                EXPECT_TRUE(SamePicture(MagickDecode(dir / "out.png"), want));
            }
        }
}

TEST(PNGWriter, EveryLevelIsValidAndTheDefaultBeatsUnfilteredDeflateOnAPhoto)
{
    TempFolder dir;
    // A real photograph, and vips' default PNG of it (zlib's level 6 over unfiltered rows).
    const char* source = "/usr/share/backgrounds/mate/nature/RainDrops.jpg";
    if (access(source, R_OK) != 0)
        GTEST_SKIP() << "no photograph installed";
    ASSERT_TRUE(Shell(std::string("vips crop ") + source + " '" + dir / "ref.png' 200 100 640 480"));
    const Picture photo = MagickDecode(dir / "ref.png");
    LImageBuffer src;
    ToBuffer(photo, src, B8G8R8);
    for (int level = -1; level <= 9; ++level)
    {
        const Bytes png = Encode<LProcessPNGSave>(src, [&](auto& d) { d.iCompressionLevel = level; });
        EXPECT_TRUE(SamePicture(DecodePicture<LProcessPNGLoad>(png), photo)) << "level " << level;
        if (level == -1)
        {
            EXPECT_LE(png.size(), ReadFile(dir / "ref.png").size());
        }
    }
}

TEST(PNGWriter, StopsWhenAskedAndReportsProgress)
{
    ThreadCount count(2);
    LImageBuffer src;
    FillPattern(src, 700, 900, false);
    for (int stopAfter : {0, 40})
    {
        LOutputStream<LOutputStreamByteArray> stream;
        LProcessPNGSave<LOutputStreamByteArray> save;
        save.lpStream = &stream;
        save.lpImage = &src;
        RecordingProcess process;
        process.iStopAfter = stopAfter;
        EXPECT_EQ(Process(process, save), LProcessResultCancelled);
        EXPECT_TRUE(stream.GetArray().empty()); // nothing half-written
    }
    LOutputStream<LOutputStreamByteArray> stream;
    LProcessPNGSave<LOutputStreamByteArray> save;
    save.lpStream = &stream;
    save.lpImage = &src;
    RecordingProcess process;
    ASSERT_EQ(Process(process, save), LProcessResultSuccess);
    EXPECT_TRUE(process.Said("Encoding PNG image"));
    ASSERT_GT(process.arProgress.size(), 10u);
    EXPECT_GT(process.arProgress.back(), 0.98);
    EXPECT_TRUE(std::is_sorted(process.arProgress.begin(), process.arProgress.end()));
}
