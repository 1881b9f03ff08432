#pragma once
// Shared pieces of the small-format codec tests: pictures made in memory, runs of the codecs
// over memory streams, and the reference tools (ImageMagick, Pillow, netpbm) run on temporary
// files. Pixels are compared as RGBA bytes, the order both tools dump.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

namespace formats_test
{

using Bytes = std::vector<uint8_t>;

// Records status and progress; stops once IsToStop has been asked iStopAfter times.
class Recorder : public LProcessInterface
{
public:
    bool IsToStop() override { return iStopAfter >= 0 && ++nAsked > iStopAfter; }
    int ProcessWait(int) override { return 2; }
    int ProcessWaitSignal(LSignalObject&, int) override { return 2; }
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, int) override { return 2; }
    void SetStatus(const char* text, int) override { szStatus = text; }
    void SetProgress(double f) override { arProgress.push_back(f); }

    int iStopAfter = -1;
    int nAsked = 0;
    std::string szStatus;
    std::vector<double> arProgress;
};

// A picture as RGBA bytes with its size.
struct Picture
{
    int w = 0, h = 0;
    Bytes rgba;

    uint8_t* At(int x, int y) { return &rgba[(size_t(y) * w + x) * 4]; }
    const uint8_t* At(int x, int y) const { return &rgba[(size_t(y) * w + x) * 4]; }
};

inline Picture MakePicture(int w, int h, const std::function<uint32_t(int, int)>& rgba)
{
    Picture p{w, h, Bytes(size_t(w) * h * 4)};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            const uint32_t v = rgba(x, y); // 0xRRGGBBAA
            uint8_t* q = p.At(x, y);
            q[0] = uint8_t(v >> 24), q[1] = uint8_t(v >> 16), q[2] = uint8_t(v >> 8), q[3] = uint8_t(v);
        }
    return p;
}

// A photo-like pattern: smooth gradients with flat patches and a little noise, so both runs and
// literal stretches occur.
inline Picture PhotoLike(int w, int h, bool alpha = false)
{
    return MakePicture(w, h,
                       [=](int x, int y)
                       {
                           const unsigned noise = (unsigned(x) * 2654435761u ^ unsigned(y) * 40503u) >> 29;
                           const bool flat = ((x / 16) + (y / 8)) % 3 == 0;
                           const unsigned r = flat ? 200 : (x * 255 / (w > 1 ? w - 1 : 1) + noise) & 255;
                           const unsigned g = flat ? 40 : (y * 255 / (h > 1 ? h - 1 : 1)) & 255;
                           const unsigned b = flat ? 90 : ((x + y) * 3 + noise * 5) & 255;
                           const unsigned a = alpha ? (flat ? 255 : (x * 17 + y * 5) & 255) : 255;
                           return r << 24 | g << 16 | b << 8 | a;
                       });
}

// Into a buffer of a 32- or 24-bit format; padding bytes get the value pad.
inline void ToBuffer(const Picture& p, LImageBuffer& image, pixelformat_t pf = B8G8R8A8, uint8_t pad = 0)
{
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(pf, p.w, p.h)));
    for (int y = 0; y < p.h; ++y)
    {
        uint8_t* row = image.GetRow(y);
        memset(row, pad, image.GetWidthBytes());
        for (int x = 0; x < p.w; ++x)
        {
            const uint8_t* s = p.At(x, y);
            uint8_t* d = row + x * (pf == B8G8R8A8 ? 4 : 3);
            d[0] = s[2], d[1] = s[1], d[2] = s[0];
            if (pf == B8G8R8A8)
                d[3] = s[3];
        }
    }
}

// From a decoded 32- or 24-bit buffer.
inline Picture FromBuffer(const LImageBuffer& image)
{
    Picture p{image.GetWidth(), image.GetHeight(), Bytes(size_t(image.GetWidth()) * image.GetHeight() * 4)};
    const int step = image.GetPixelFormat() == B8G8R8A8 ? 4 : 3;
    for (int y = 0; y < p.h; ++y)
        for (int x = 0; x < p.w; ++x)
        {
            const uint8_t* s = image.GetRow(y) + x * step;
            uint8_t* d = p.At(x, y);
            d[0] = s[2], d[1] = s[1], d[2] = s[0], d[3] = step == 4 ? s[3] : 255;
        }
    return p;
}

inline Picture Opaque(Picture p)
{
    for (size_t i = 3; i < p.rgba.size(); i += 4)
        p.rgba[i] = 255;
    return p;
}

// Equal pixel for pixel; reports the first difference.
inline ::testing::AssertionResult SamePicture(const Picture& a, const Picture& b)
{
    if (a.rgba.empty() || b.rgba.empty())
        return ::testing::AssertionFailure()
               << "no picture: " << a.w << "x" << a.h << " against " << b.w << "x" << b.h;
    if (a.w != b.w || a.h != b.h)
        return ::testing::AssertionFailure()
               << "size " << a.w << "x" << a.h << " against " << b.w << "x" << b.h;
    if (a.rgba.size() != b.rgba.size())
        return ::testing::AssertionFailure() << "data size " << a.rgba.size() << " against " << b.rgba.size();
    for (size_t i = 0; i < a.rgba.size(); ++i)
        if (a.rgba[i] != b.rgba[i])
        {
            const size_t px = i / 4;
            return ::testing::AssertionFailure()
                   << "pixel (" << px % a.w << ", " << px / a.w << ") channel " << i % 4 << ": "
                   << int(a.rgba[i]) << " against " << int(b.rgba[i]);
        }
    return ::testing::AssertionSuccess();
}

// A folder of its own for the files one test makes, removed afterwards.
class TempFolder
{
public:
    TempFolder()
    {
        char tmpl[] = "/tmp/quendrel-formats-XXXXXX";
        szPath = mkdtemp(tmpl) ? tmpl : "/tmp";
    }
    ~TempFolder()
    {
        if (szPath != "/tmp")
            (void)system(("rm -rf '" + szPath + "'").c_str());
    }
    std::string operator/(const std::string& name) const { return szPath + "/" + name; }

private:
    std::string szPath;
};

inline void WriteFile(const std::string& path, const Bytes& data)
{
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(data.data()), std::streamsize(data.size()));
}

inline Bytes ReadFile(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

// Runs a shell command; its standard output, and false when it failed.
inline bool Shell(const std::string& command, Bytes* output = nullptr)
{
    FILE* f = popen((output ? command : "(" + command + ") >/dev/null").c_str(), "r");
    if (!f)
        return false;
    uint8_t block[65536];
    size_t n;
    while ((n = fread(block, 1, sizeof block, f)) > 0)
    {
        if (output)
            output->insert(output->end(), block, block + n);
    }
    return pclose(f) == 0;
}

inline std::string Text(const Bytes& b)
{
    return std::string(b.begin(), b.end());
}

// The RGBA file that the reference tools read and write.
inline std::string SaveRaw(const TempFolder& dir, const Picture& p, const std::string& name = "source.rgba")
{
    WriteFile(dir / name, p.rgba);
    return dir / name;
}

// ImageMagick's decoding of a file (frame 0, which for a layered document is the merged picture).
inline Picture MagickDecode(const std::string& path)
{
    Bytes size, data;
    Picture p;
    if (!Shell("identify -format '%w %h' '" + path + "[0]'", &size))
        return p;
    sscanf(Text(size).c_str(), "%d %d", &p.w, &p.h);
    if (!Shell("convert '" + path + "[0]' -depth 8 rgba:-", &data))
        return Picture{};
    p.rgba = data;
    return p;
}

// Pillow's decoding of a file.
inline Picture PillowDecode(const std::string& path)
{
    Bytes out;
    Picture p;
    const std::string script = "import sys; from PIL import Image; im = Image.open(sys.argv[1]); "
                               "sys.stdout.write('%d %d\\n' % im.size); sys.stdout.flush(); "
                               "sys.stdout.buffer.write(im.convert('RGBA').tobytes())";
    if (!Shell("/usr/bin/python3 -c \"" + script + "\" '" + path + "'", &out))
        return p;
    const auto eol = std::find(out.begin(), out.end(), uint8_t('\n'));
    sscanf(std::string(out.begin(), eol).c_str(), "%d %d", &p.w, &p.h);
    p.rgba.assign(eol + 1, out.end());
    return p;
}

// ImageMagick's encoding of a picture, with the options before the output name.
inline bool MagickEncode(const TempFolder& dir, const Picture& p, const std::string& options,
                         const std::string& output)
{
    const std::string raw = SaveRaw(dir, p);
    return Shell("convert -size " + std::to_string(p.w) + "x" + std::to_string(p.h) + " -depth 8 rgba:'" +
                 raw + "' " + options + " '" + output + "'");
}

template <template <class> class Load>
LProcessResult Decode(const Bytes& file, LImageBuffer& image, int* depth = nullptr,
                      LProcessInterface* process = nullptr)
{
    LInputStream<LInputStreamBuffer> stream(file.data(), file.size());
    Load<LInputStreamBuffer> data;
    data.lpStream = &stream;
    data.lpImage = &image;
    Recorder silent;
    const LProcessResult result = Process(process ? *process : silent, data);
    if (depth)
        *depth = data.iBitDepth;
    return result;
}

template <template <class> class Load>
LProcessResult DecodeFile(const std::string& path, LImageBuffer& image, int* depth = nullptr)
{
    LInputStream<LInputStreamFile> stream;
    if (!stream.Open(path.c_str()))
        return LProcessResultFailed;
    Load<LInputStreamFile> data;
    data.lpStream = &stream;
    data.lpImage = &image;
    Recorder silent;
    const LProcessResult result = Process(silent, data);
    if (depth)
        *depth = data.iBitDepth;
    return result;
}

// Decodes with the memory reader and gives the picture; an empty one on failure.
template <template <class> class Load>
Picture DecodePicture(const Bytes& file, int* depth = nullptr)
{
    LImageBuffer image;
    if (Decode<Load>(file, image, depth) != LProcessResultSuccess)
        return Picture{};
    return FromBuffer(image);
}

template <template <class> class Save>
Bytes Encode(const LImageBuffer& image,
             const std::function<void(Save<LOutputStreamByteArray>&)>& setup = nullptr,
             LProcessResult* result = nullptr, LProcessInterface* process = nullptr)
{
    LOutputStream<LOutputStreamByteArray> stream;
    Save<LOutputStreamByteArray> data;
    data.lpStream = &stream;
    data.lpImage = &image;
    if (setup)
        setup(data);
    Recorder silent;
    const LProcessResult r = Process(process ? *process : silent, data);
    if (result)
        *result = r;
    return r == LProcessResultSuccess ? stream.GetArray() : Bytes{};
}

// Every cut of a good file fails to decode, from the given length on and short of the given
// number of bytes at the end. Cuts are sampled on long files.
template <template <class> class Load>
void ExpectCutsFail(const Bytes& file, size_t from = 0, size_t spareAtEnd = 0)
{
    const size_t step = file.size() > 600 ? file.size() / 300 : 1;
    for (size_t n = from; n + spareAtEnd < file.size(); n += (n < 64 ? 1 : step))
    {
        const Bytes cut(file.begin(), file.begin() + ptrdiff_t(n));
        LImageBuffer image;
        EXPECT_EQ(Decode<Load>(cut, image), LProcessResultFailed) << "cut at " << n << " of " << file.size();
    }
}

// Damaged copies of a good file decode to success or failure, never anything worse; run under
// the sanitizers this catches reads past buffers.
template <template <class> class Load>
void SurviveDamage(const Bytes& file, int copies = 300)
{
    uint32_t seed = 12345;
    auto next = [&seed]() { return seed = seed * 1664525u + 1013904223u; };
    for (int i = 0; i < copies; ++i)
    {
        Bytes damaged = file;
        const int changes = 1 + int(next() % 4);
        for (int c = 0; c < changes; ++c)
        {
            // Most damage goes to the headers, where it changes the meaning of everything else.
            const size_t limit = (next() & 1) ? std::min<size_t>(damaged.size(), 64) : damaged.size();
            damaged[next() % limit] = uint8_t(next() >> 24);
        }
        LImageBuffer image;
        const LProcessResult r = Decode<Load>(damaged, image);
        EXPECT_TRUE(r == LProcessResultSuccess || r == LProcessResultFailed);
        EXPECT_TRUE(r != LProcessResultSuccess || image.IsValid());
    }
}

// Progress rises by at least a hundredth between reports and ends at 1, or close to it; a stop
// asked for at the first check cancels.
template <template <class> class Load>
void ExpectProgressAndStop(const Bytes& file)
{
    Recorder watch;
    LImageBuffer image;
    ASSERT_EQ(Decode<Load>(file, image, nullptr, &watch), LProcessResultSuccess);
    ASSERT_FALSE(watch.arProgress.empty());
    for (size_t i = 1; i < watch.arProgress.size(); ++i)
    {
        if (watch.arProgress[i] != 1.0) // a reader may confirm the end once more
        {
            EXPECT_GE(watch.arProgress[i] - watch.arProgress[i - 1], 0.0099);
        }
    }
    EXPECT_GT(watch.arProgress.back(), 0.98);
    EXPECT_LE(watch.arProgress.back(), 1.0 + 1e-9);
    EXPECT_NE(watch.szStatus.find("Decoding"), std::string::npos);

    Recorder stopper;
    stopper.iStopAfter = 0;
    LImageBuffer image2;
    EXPECT_EQ(Decode<Load>(file, image2, nullptr, &stopper), LProcessResultCancelled);
}

} // namespace formats_test
