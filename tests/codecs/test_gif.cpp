// GIF writing and the own GIF reader: codes worked out by hand and read back by rules written
// here, files checked by Pillow, ImageMagick and giflib, and damaged files.

#include <dirent.h>

#include "codec_support.h"
#include "codecs/LCodecGIF.h"
#include "codecs/LCodecGIFEncode.h"
#include "codecs/LGIFDecoder.h"

using namespace codec_test;

namespace
{
// Opens with the own decoder and takes frame 0, in the shape the shared decoder checks expect.
template <class Base>
struct OwnGIFLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0;
};

template <class Base>
LProcessResult Process(LProcessInterface& process, OwnGIFLoad<Base>& data)
{
    LGIFDecoder<Base> decoder(*data.lpStream);
    const LProcessResult r = decoder.Open(process);
    return r != LProcessResultSuccess ? r : decoder.GetFrame(process, *data.lpImage, data.iBitDepth, 0);
}

// Equal where visible: alpha everywhere, colour where alpha isn't 0.
testing::AssertionResult SameVisible(const Picture& a, const Picture& b)
{
    if (!a.IsValid() || a.w != b.w || a.h != b.h)
        return testing::AssertionFailure()
               << "size " << a.w << "x" << a.h << " against " << b.w << "x" << b.h;
    for (size_t i = 0; i < a.rgba.size(); i += 4)
        if (a.rgba[i + 3] != b.rgba[i + 3] ||
            (a.rgba[i + 3] && !std::equal(&a.rgba[i], &a.rgba[i + 3], &b.rgba[i])))
            return testing::AssertionFailure() << "pixel " << i / 4 % a.w << ", " << i / 4 / a.w;
    return testing::AssertionSuccess();
}

// The blocks of a file by the format's own layout: (introducer or label, offset of what follows).
std::vector<std::pair<int, size_t>> Blocks(const Bytes& f)
{
    std::vector<std::pair<int, size_t>> out;
    size_t at = 13 + (f[10] & 0x80 ? size_t(3) << ((f[10] & 7) + 1) : 0);
    auto skipSubblocks = [&f](size_t p)
    {
        while (f.at(p))
            p += f[p] + 1;
        return p + 1;
    };
    while (f.at(at) != ';')
        if (f[at] == '!')
            out.push_back({f[at + 1], at + 2}), at = skipSubblocks(at + 2);
        else
        {
            out.push_back({',', at + 1});
            const size_t table = f[at + 9] & 0x80 ? size_t(3) << ((f[at + 9] & 7) + 1) : 0;
            at = skipSubblocks(at + 10 + table + 1);
        }
    return out;
}

Bytes SaveGIF(const LImageBuffer& image, LProcessResult* result = nullptr)
{
    return Encode<LProcessGIFSave>(image, nullptr, result);
}

// Codes read by the decoder's rules: the width grows once the next free code reaches its limit.
struct CodeRead
{
    unsigned code, width;
};
std::vector<CodeRead> ReadCodes(const Bytes& data, int minCodeSize)
{
    std::vector<CodeRead> out;
    const unsigned clear = 1u << minCodeSize;
    unsigned width = minCodeSize + 1, next = clear + 2, bit = 0;
    bool first = true;
    while (bit + width <= data.size() * 8)
    {
        unsigned code = 0;
        for (unsigned k = 0; k < width; ++k, ++bit)
            code |= ((data[bit / 8] >> (bit % 8)) & 1u) << k;
        out.push_back({code, width});
        if (code == clear + 1)
            break;
        if (code == clear)
            width = minCodeSize + 1, next = clear + 2, first = true;
        else if (first)
            first = false; // the first code after a clear adds nothing
        else if (next < 4096 && ++next == (1u << width) && width < 12)
            ++width;
    }
    return out;
}
} // namespace

TEST(GIFCodes, WorkedByHandAndReadBack)
{
    // Code size 2: clear 4 at 3 bits, 1, 6 for "1 1", 1; the table reaches 9 entries and the width
    // 4 bits for 2 and the end code 5.
    const uint8_t values[] = {1, 1, 1, 1, 2};
    Bytes codes;
    RecordingProcess process;
    ASSERT_EQ(LLZWCodec::Encode(process, values, 5, 2, codes), LProcessResultSuccess);
    EXPECT_EQ(codes, (Bytes{0x8C, 0x23, 0x05}));
    uint8_t back[5];
    EXPECT_EQ(LLZWCodec::Decode(codes.data(), codes.size(), 2, back, 5), 5u);
    EXPECT_EQ(Bytes(back, back + 5), Bytes(values, values + 5));

    // Varied values fill the table: every 3837 codes the clear code goes out at 12 bits and the
    // next code is a value at 9 bits; the widths in between grow one at a time.
    Bytes many(60000);
    uint32_t s = 1;
    for (uint8_t& v : many)
        v = uint8_t((s = s * 1103515245u + 12345u) >> 24);
    codes.clear();
    ASSERT_EQ(LLZWCodec::Encode(process, many.data(), many.size(), 8, codes), LProcessResultSuccess);
    const std::vector<CodeRead> read = ReadCodes(codes, 8);
    ASSERT_EQ(read.back().code, 257u);
    std::vector<size_t> clears;
    for (size_t i = 0; i < read.size(); ++i)
        if (read[i].code == 256)
            clears.push_back(i);
    ASSERT_GE(clears.size(), 3u);
    for (size_t k = 1; k < clears.size(); ++k)
    {
        EXPECT_EQ(clears[k] - clears[k - 1], 3838u);
        EXPECT_EQ(read[clears[k]].width, 12u);
        EXPECT_EQ(read[clears[k] + 1].width, 9u);
        EXPECT_LT(read[clears[k] + 1].code, 256u);
        EXPECT_EQ(read[clears[k - 1] + 255].width, 9u);
        EXPECT_EQ(read[clears[k - 1] + 256].width, 10u);
    }
    Bytes decoded(many.size());
    EXPECT_EQ(LLZWCodec::Decode(codes.data(), codes.size(), 8, decoded.data(), decoded.size()), many.size());
    EXPECT_EQ(decoded, many);
    // Nothing to code, or values beyond the code size, fail.
    EXPECT_EQ(LLZWCodec::Encode(process, values, 0, 2, codes), LProcessResultFailed);
    const uint8_t big[] = {0, 4};
    EXPECT_EQ(LLZWCodec::Encode(process, big, 2, 2, codes), LProcessResultFailed);
}

TEST(GIFBlocks, LaidOutAsTheFormatWantsThem)
{
    const std::pair<int, int> bits[] = {{0, 0}, {1, 1}, {2, 1}, {3, 2}, {4, 2}, {5, 3}, {129, 8}, {256, 8}};
    for (auto [count, expected] : bits)
        EXPECT_EQ(LGIFColorTable::GetBits(count), expected) << count;
    auto bytes = [](const auto& block)
    {
        LGIFBytes out;
        block.Append(out);
        return out;
    };
    EXPECT_EQ(bytes(LGIFExtensionGraphicControl(105, -1, LGIFDisposalNone)),
              (Bytes{'!', 249, 4, 0, 10, 0, 0, 0}));
    EXPECT_EQ(bytes(LGIFExtensionGraphicControl(2560, 7, LGIFDisposalRestoreBackground)),
              (Bytes{'!', 249, 4, 9, 0, 1, 7, 0}));
    EXPECT_EQ(bytes(LGIFExtensionApplicationNetscape(258)),
              (Bytes{'!', 255, 11, 'N', 'E', 'T', 'S', 'C', 'A', 'P', 'E', '2', '.', '0', 3, 1, 2, 1, 0}));
    EXPECT_EQ(bytes(LGIFLogicalScreenDescriptor(300, 2, 5)), (Bytes{44, 1, 2, 0, 0xA2, 0, 0}));
    EXPECT_EQ(bytes(LGIFLogicalScreenDescriptor(70000, 2, 0)), (Bytes{0x70, 0x11, 2, 0, 0, 0, 0}));
    LPalette<LPFB8G8R8> p;
    p.Add({1, 2, 3}), p.Add({4, 5, 6}), p.Add({7, 8, 9});
    EXPECT_EQ(bytes(LGIFColorTable(p)), (Bytes{3, 2, 1, 6, 5, 4, 9, 8, 7, 0, 0, 0}));
    EXPECT_EQ(bytes(LGIFExtensionComment(std::string(300, 'x'))).size(), 2u + 1 + 255 + 1 + 45 + 1);
    LGIFHeader header;
    EXPECT_TRUE(header.Parse(reinterpret_cast<const uint8_t*>("gIf87a")));
    EXPECT_EQ(header.iVersion, 1);
    EXPECT_EQ(bytes(header), (Bytes{'G', 'I', 'F', '8', '7', 'a'}));
    EXPECT_FALSE(header.Parse(reinterpret_cast<const uint8_t*>("GIF88a")));
}

TEST(GIFWrite, OtherDecodersSeeThePicture)
{
    TempFolder dir;
    struct Case
    {
        const char* name;
        Picture picture;
        pixelformat_t pf;
        bool lossless;
    } cases[] = {
        {"256 colours",
         MakePicture(32, 8,
                     [](int x, int y) {
                         return uint32_t(x * 8) << 24 | uint32_t(y * 32) << 16 | uint32_t(x + y * 32) << 8 |
                                255;
                     }),
         B8G8R8, true},
        {"2 colours",
         MakePicture(17, 5, [](int x, int y) { return (x + y) % 3 ? 0xFF0000FFu : 0x00FF80FFu; }), B8G8R8A8,
         true},
        {"1x1", MakePicture(1, 1, [](int, int) { return 0x123456FFu; }), B8G8R8A8, true},
        {"4000 wide", PhotoLike(4000, 3), B8G8R8, false},
        {"holes",
         MakePicture(40, 30,
                     [](int x, int y) {
                         return x % 7 == 3 ? 0u
                                           : uint32_t(x % 5 * 50) << 24 | uint32_t(y % 10 * 25) << 8 | 255;
                     }),
         B8G8R8A8, true},
        {"photo with holes", PhotoLike(97, 61, true), B8G8R8A8, false},
    };
    for (Case& c : cases)
    {
        SCOPED_TRACE(c.name);
        // Alpha is all or nothing in a GIF.
        for (size_t i = 3; i < c.picture.rgba.size(); i += 4)
            c.picture.rgba[i] = c.picture.rgba[i] < 128 ? 0 : 255;
        LImageBuffer image;
        ToBuffer(c.picture, image, c.pf);
        const Bytes file = SaveGIF(image);
        ASSERT_FALSE(file.empty());
        const std::string path = dir / "out.gif";
        WriteFile(path, file);
        const Picture own = DecodePicture<OwnGIFLoad>(file), giflib = DecodePicture<LProcessGIFLoad>(file);
        EXPECT_TRUE(SameVisible(own, PillowDecode(path)));
        EXPECT_TRUE(SameVisible(own, MagickDecode(path)));
        EXPECT_TRUE(SameVisible(own, giflib));
        if (c.lossless)
            EXPECT_TRUE(SameVisible(own, c.picture));
        else
            EXPECT_TRUE(Matches(image, own, 160)); // dithered: near, and transparent where it was
    }
}

TEST(GIFWrite, WhatTheFileSays)
{
    // A 24-bit picture has no transparent entry; an opaque 32-bit one keeps a slot free (so 255
    // colours at most) and still has none; alpha 0 pixels get the last entry. One colour: a
    // table of two entries, the second zero, and code size 2. The delay is 100 ms.
    LImageBuffer image;
    for (pixelformat_t pf : {B8G8R8, B8G8R8A8})
    {
        ToBuffer(PhotoLike(64, 64), image, pf);
        const Bytes f = SaveGIF(image);
        const auto blocks = Blocks(f);
        ASSERT_EQ(blocks.size(), 2u);
        EXPECT_EQ(Bytes(f.begin() + ptrdiff_t(blocks[0].second), f.begin() + ptrdiff_t(blocks[0].second) + 5),
                  (Bytes{4, 0, 10, 0, 0}));
        // The last of 256 table entries is a colour, or the padding behind 255.
        const uint8_t* last = &f[blocks[1].second + 9 + 255 * 3];
        EXPECT_EQ(last[0] == 0 && last[1] == 0 && last[2] == 0, pf == B8G8R8A8);
    }
    image.GetRow(5)[3] = 0;
    Bytes f = SaveGIF(image);
    auto blocks = Blocks(f);
    EXPECT_EQ(f[blocks[0].second + 1], 1); // transparent flag
    const uint8_t hole = f[blocks[0].second + 4];
    EXPECT_EQ(hole, 255);

    ToBuffer(MakePicture(6, 2, [](int, int) { return 0x204060FFu; }), image);
    f = SaveGIF(image);
    blocks = Blocks(f);
    const size_t d = blocks[1].second;
    EXPECT_EQ(f[d + 8], 0x80);
    EXPECT_EQ(Bytes(f.begin() + ptrdiff_t(d) + 9, f.begin() + ptrdiff_t(d) + 16),
              (Bytes{0x20, 0x40, 0x60, 0, 0, 0, 2}));
}

TEST(GIFWrite, AnimationsWithDelaysAndLoops)
{
    TempFolder dir;
    const Picture a = PhotoLike(20, 10),
                  b = MakePicture(10, 5, [](int x, int) { return x < 5 ? 0u : 0x00FF00FFu; });
    LImageBuffer first, second;
    ToBuffer(a, first);
    ToBuffer(b, second);
    for (int loops : {0, 3})
    {
        LOutputStream<LOutputStreamByteArray> out;
        {
            // A screen of 0 by 0 grows to hold the frames.
            LGIFEncoder<LOutputStreamByteArray> encoder(out, 0, 0, loops);
            encoder.iDisposal = LGIFDisposalDoNotDispose;
            RecordingProcess process;
            ASSERT_EQ(encoder.AddFrame(process, first, 0, 0, 100, false, 256), LProcessResultSuccess);
            ASSERT_TRUE(encoder.AddExtension(LGIFExtensionComment("made here")));
            ASSERT_EQ(encoder.AddFrame(process, second, 15, 8, 250, false, 16), LProcessResultSuccess);
            ASSERT_EQ(encoder.AddFrame(process, first, 0, 0, 105, false, 2), LProcessResultSuccess);
        }
        WriteFile(dir / "anim.gif", out.GetArray());
        ASSERT_TRUE(RunPython("from PIL import Image\n"
                              "im = Image.open(DIR + '/anim.gif')\n"
                              "d = []\n"
                              "for i in range(im.n_frames):\n"
                              "    im.seek(i); d.append(im.info['duration'])\n"
                              "assert im.size == (25, 13), im.size\n"
                              "assert d == [100, 250, 100], d\n"
                              "assert im.info['loop'] == " +
                                  std::to_string(loops) + ", im.info\n",
                              dir.szPath));

        // The own decoder: the second frame is drawn over the first, which it doesn't dispose of;
        // its transparent left half shows the first frame through, and the screen outside its
        // own rectangle is transparent white.
        LInputStream<LInputStreamBuffer> in(out.GetData(), out.GetSize());
        LGIFDecoder<LInputStreamBuffer> decoder(in);
        RecordingProcess process;
        ASSERT_EQ(decoder.Open(process), LProcessResultSuccess);
        ASSERT_EQ(decoder.GetFrameCount(), 3);
        EXPECT_EQ(decoder.GetGraphicControl(2)->GetDelayMs(), 100);
        LImageBuffer shown;
        int bits = 0;
        ASSERT_EQ(decoder.GetFrame(process, shown, bits, 1), LProcessResultSuccess);
        EXPECT_EQ(bits, 1); // green and the transparent entry
        const Picture p = FromBuffer(shown);
        ASSERT_EQ(p.w, 25);
        EXPECT_EQ(p.Pixel(16, 9), a.Pixel(16, 9));
        EXPECT_EQ(p.Pixel(20, 9), Bytes({0, 255, 0, 255}));
        EXPECT_EQ(p.Pixel(2, 2), Bytes({255, 255, 255, 0}));
    }
    // A global palette serves frames that ask for it; the frames then carry no table.
    LOutputStream<LOutputStreamByteArray> out;
    {
        LGIFEncoder<LOutputStreamByteArray> encoder(out, 20, 10, -1);
        LPalette<LPFB8G8R8> palette;
        palette.Add({0, 0, 0}), palette.Add({255, 255, 255}), palette.Add({0, 255, 0});
        encoder.SetGlobalPalette(palette);
        RecordingProcess process;
        ASSERT_EQ(encoder.AddFrame(process, first, 0, 0, 40, true, 0), LProcessResultSuccess);
        ASSERT_EQ(encoder.AddFrame(process, second, 5, 5, 40, true, 0), LProcessResultSuccess);
    }
    WriteFile(dir / "global.gif", out.GetArray());
    EXPECT_EQ(out.GetArray()[10], 0x91);
    for (auto [kind, at] : Blocks(out.GetArray()))
    {
        if (kind == ',')
        {
            EXPECT_EQ(out.GetArray()[at + 8] & 0x80, 0);
        }
    }
    EXPECT_EQ(PillowDecode(dir / "global.gif").w, 20);
}

TEST(GIFWrite, RefusalsAndStops)
{
    LImageBuffer wide, image;
    ASSERT_TRUE(wide.AllocateNewBuffer(LImageFormat(B8G8R8A8, 65536, 1)));
    wide.Clear(LPixelColour(1, 2, 3, 255));
    LProcessResult r;
    EXPECT_TRUE(SaveGIF(wide, &r).empty());
    EXPECT_EQ(r, LProcessResultFailed);
    ToBuffer(PhotoLike(300, 200), image);
    LOutputStream<LOutputStreamByteArray> out;
    LGIFEncoder<LOutputStreamByteArray> encoder(out, 0, 0);
    RecordingProcess process;
    EXPECT_EQ(encoder.AddFrame(process, image, 65236, 0, 0, false, 256), LProcessResultFailed);
    EXPECT_EQ(encoder.AddFrame(process, image, 0, 0, 0, false, 1), LProcessResultFailed);
    EXPECT_EQ(encoder.AddFrame(process, image, 0, 0, 0, true, 256),
              LProcessResultFailed); // no global palette
    // A stop before the work fails; a stop while the frame is written is a stop.
    RecordingProcess counter, early, late;
    counter.iStopAfter = 1 << 30; // counts its polls
    ASSERT_EQ(encoder.AddFrame(counter, image, 0, 0, 0, false, 256), LProcessResultSuccess);
    early.iStopAfter = 0;
    EXPECT_EQ(encoder.AddFrame(early, image, 0, 0, 0, false, 256), LProcessResultFailed);
    late.iStopAfter = counter.nPolls - 2;
    EXPECT_EQ(encoder.AddFrame(late, image, 0, 0, 0, false, 256), LProcessResultCancelled);
    EXPECT_TRUE(encoder.Finalise());
    EXPECT_FALSE(encoder.Finalise());
    EXPECT_EQ(encoder.AddFrame(process, image, 0, 0, 0, false, 256), LProcessResultFailed);
}

TEST(GIFRead, FilesFromOtherWriters)
{
    TempFolder dir;
    const Picture p = PhotoLike(45, 33, true);
    const std::string interlaced = dir / "interlaced.gif", pillow = dir / "pillow.gif",
                      anim = dir / "anim.gif";
    ASSERT_TRUE(MagickEncode(dir, Opaque(p), "-colors 100 -interlace GIF", interlaced));
    ASSERT_TRUE(MagickEncode(dir, p, "", dir / "p.png"));
    ASSERT_TRUE(Shell("/usr/bin/python3 -c \"from PIL import Image; Image.open('" + dir / "p.png" +
                      "').save('" + pillow + "')\""));
    ASSERT_TRUE(
        Shell("convert -delay 20 -dispose Background -size 30x20 xc:red -size 10x10 xc:blue -loop 0 '" +
              anim + "'"));
    for (const std::string& path : {interlaced, pillow, anim})
    {
        SCOPED_TRACE(path);
        int bits = 0;
        EXPECT_TRUE(SameVisible(DecodePicture<OwnGIFLoad>(ReadFile(path), &bits), PillowDecode(path)));
        EXPECT_GT(bits, 0);
    }
}

TEST(GIFRead, DamagedFilesFailCleanly)
{
    LImageBuffer image;
    ToBuffer(PhotoLike(33, 21, true), image);
    const Bytes good = SaveGIF(image);
    ExpectRobust<OwnGIFLoad>(good);
    // Hand-made damage: a version of its own, no trailer, an unknown label, a code size of 9, a
    // frame and a screen larger than their data can fill, no table at all.
    auto changed = [&good](size_t at, std::initializer_list<uint8_t> bytes)
    {
        Bytes f = good;
        for (uint8_t b : bytes)
            f.at(at++) = b;
        return f;
    };
    const auto blocks = Blocks(good);
    const size_t frame = blocks[1].second;
    Bytes noTrailer(good.begin(), good.end() - 1);
    const Bytes refused[] = {changed(3, {'8', '8'}),
                             noTrailer,
                             changed(blocks[0].second - 1, {7}),
                             changed(frame + 9 + 768, {9}),
                             changed(frame + 4, {0x60, 0xEA, 0x60, 0xEA}),
                             changed(6, {0xFF, 0xFF, 0xFF, 0xFF}),
                             changed(frame + 8, {0})};
    for (const Bytes& f : refused)
        EXPECT_EQ(Decode<OwnGIFLoad>(f, image), LProcessResultFailed);
    LInputStream<LInputStreamBuffer> in(good.data(), good.size());
    LGIFDecoder<LInputStreamBuffer> decoder(in);
    RecordingProcess process;
    int bits;
    ASSERT_EQ(decoder.Open(process), LProcessResultSuccess);
    EXPECT_EQ(decoder.GetFrame(process, image, bits, 1), LProcessResultFailed);
    EXPECT_EQ(decoder.GetFrame(process, image, bits, -1), LProcessResultFailed);
}

// The seeds include a file the fuzzer found, whose background index lies past its global table.
TEST(GIFRead, FuzzSeedsAreWholeFiles)
{
    const std::string folder = std::string(QUENDREL_SOURCE_DIR) + "/tests/data/fuzz/gifdecoder";
    DIR* d = opendir(folder.c_str());
    ASSERT_TRUE(d);
    int files = 0;
    while (dirent* e = readdir(d))
    {
        if (e->d_name[0] == '.')
            continue;
        SCOPED_TRACE(e->d_name);
        const Bytes f = ReadFile(folder + "/" + e->d_name);
        LInputStream<LInputStreamBuffer> in(f.data(), f.size());
        LGIFDecoder<LInputStreamBuffer> decoder(in);
        RecordingProcess process;
        ASSERT_EQ(decoder.Open(process), LProcessResultSuccess);
        for (int i = 0; i < decoder.GetFrameCount(); ++i)
        {
            LImageBuffer image;
            int bits;
            EXPECT_EQ(decoder.GetFrame(process, image, bits, i), LProcessResultSuccess);
        }
        ++files;
    }
    closedir(d);
    EXPECT_GE(files, 4);
}
