#pragma once
// Shared pieces of the codec tests: pictures as RGBA bytes (the order the reference tools dump), the
// codecs run over memory streams, and ImageMagick, Pillow and netpbm run on files in a private
// temporary folder.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

namespace codec_test
{

using Bytes = std::vector<uint8_t>;

inline Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Records what it is told; stops once IsToStop has been asked iStopAfter times.
class RecordingProcess : public LProcessInterfaceVoid
{
public:
    bool IsToStop() override { return iStopAfter >= 0 && ++nPolls > iStopAfter; }
    void SetError(const char* text) override { arErrors.push_back(text); }
    void SetStatus(const char* text, int) override { arStatus.push_back(text); }
    void SetProgress(double f) override { arProgress.push_back(f); }
    bool Said(const std::string& status) const
    {
        return std::find(arStatus.begin(), arStatus.end(), status) != arStatus.end();
    }

    int iStopAfter = -1;
    long nPolls = 0;
    std::vector<std::string> arErrors, arStatus;
    std::vector<double> arProgress;
};

struct Picture
{
    int w = 0, h = 0;
    Bytes rgba;
    uint8_t* At(int x, int y) { return &rgba[(size_t(y) * w + x) * 4]; }
    const uint8_t* At(int x, int y) const { return &rgba[(size_t(y) * w + x) * 4]; }
    Bytes Pixel(int x, int y) const { return Bytes(At(x, y), At(x, y) + 4); }
    bool IsValid() const { return w > 0 && rgba.size() == size_t(w) * h * 4; }
};

// rgba(x, y) gives 0xRRGGBBAA.
inline Picture MakePicture(int w, int h, const std::function<uint32_t(int, int)>& rgba)
{
    Picture p{w, h, Bytes(size_t(w) * h * 4)};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            const uint32_t v = rgba(x, y);
            p.At(x, y)[0] = uint8_t(v >> 24), p.At(x, y)[1] = uint8_t(v >> 16),
                    p.At(x, y)[2] = uint8_t(v >> 8);
            p.At(x, y)[3] = uint8_t(v);
        }
    return p;
}

// Gradients with flat patches and a little noise, so both runs and literal stretches occur.
inline Picture PhotoLike(int w, int h, bool alpha = false)
{
    return MakePicture(w, h,
                       [=](int x, int y)
                       {
                           const unsigned noise = (unsigned(x) * 2654435761u ^ unsigned(y) * 40503u) >> 29;
                           if (((x / 16) + (y / 8)) % 3 == 0)
                               return 0xC8285AFFu;
                           const unsigned r = (x * 255 / std::max(w - 1, 1) + noise) & 255;
                           const unsigned g = (y * 255 / std::max(h - 1, 1)) & 255,
                                          b = ((x + y) * 3 + noise * 5) & 255;
                           return r << 24 | g << 16 | b << 8 | (alpha ? (x * 17 + y * 5) & 255 : 255);
                       });
}

inline Picture Opaque(Picture p)
{
    for (size_t i = 3; i < p.rgba.size(); i += 4)
        p.rgba[i] = 255;
    return p;
}

// Into a 32- or 24-bit buffer; padding bytes get the value pad.
inline void ToBuffer(const Picture& p, LImageBuffer& image, pixelformat_t pf = B8G8R8A8, uint8_t pad = 0)
{
    ASSERT_TRUE(image.AllocateNewBuffer(LImageFormat(pf, p.w, p.h)));
    const int step = pf == B8G8R8A8 ? 4 : 3;
    for (int y = 0; y < p.h; ++y)
    {
        memset(image.GetRow(y), pad, image.GetWidthBytes());
        for (int x = 0; x < p.w; ++x)
            for (int c = 0; c < step; ++c)
                image.GetRow(y)[x * step + c] = p.At(x, y)[c == 3 ? 3 : 2 - c];
    }
}

inline Picture FromBuffer(const LImageBuffer& image)
{
    const int step = image.GetPixelFormat() == B8G8R8A8 ? 4 : 3;
    return MakePicture(image.GetWidth(), image.GetHeight(),
                       [&](int x, int y)
                       {
                           const uint8_t* s = image.GetRow(y) + x * step;
                           return uint32_t(s[2]) << 24 | s[1] << 16 | s[0] << 8 | (step == 4 ? s[3] : 255);
                       });
}

// Equal within tolerance, channel by channel; reports the first difference.
inline ::testing::AssertionResult SamePicture(const Picture& a, const Picture& b, int tolerance = 0)
{
    if (a.rgba.empty() || a.w != b.w || a.h != b.h || a.rgba.size() != b.rgba.size())
        return ::testing::AssertionFailure()
               << "size " << a.w << "x" << a.h << " against " << b.w << "x" << b.h;
    for (size_t i = 0; i < a.rgba.size(); ++i)
        if (std::abs(a.rgba[i] - b.rgba[i]) > tolerance)
            return ::testing::AssertionFailure()
                   << "pixel (" << i / 4 % a.w << ", " << i / 4 / a.w << ") channel " << i % 4 << ": "
                   << int(a.rgba[i]) << " against " << int(b.rgba[i]);
    return ::testing::AssertionSuccess();
}

// Colour (and alpha when withAlpha) within tolerance; colour of fully transparent pixels is ignored.
inline ::testing::AssertionResult Matches(const LImageBuffer& image, const Picture& ref, int tolerance,
                                          bool withAlpha = true)
{
    if (!image.IsValid() || !ref.IsValid() || image.GetWidth() != ref.w || image.GetHeight() != ref.h)
        return ::testing::AssertionFailure() << "size " << image.GetWidth() << "x" << image.GetHeight()
                                             << " against " << ref.w << "x" << ref.h;
    const int bpp = image.GetPixelFormat() == B8G8R8 ? 3 : 4;
    int maxDelta = 0;
    long over = 0;
    for (int y = 0; y < ref.h; ++y)
    {
        const uint8_t* p = image.GetRow(y);
        for (int x = 0; x < ref.w; ++x, p += bpp)
        {
            const uint8_t* q = ref.At(x, y);
            const int a = bpp == 4 ? p[3] : 255;
            int delta = withAlpha ? std::abs(a - q[3]) : 0;
            if (!(withAlpha && a == 0 && q[3] == 0))
                delta =
                    std::max({delta, std::abs(p[2] - q[0]), std::abs(p[1] - q[1]), std::abs(p[0] - q[2])});
            maxDelta = std::max(maxDelta, delta);
            over += delta > tolerance;
        }
    }
    if (over)
        return ::testing::AssertionFailure() << over << " pixels differ, by up to " << maxDelta;
    return ::testing::AssertionSuccess();
}

// Alpha exact; colour within what multiplying alpha in and out again can keep.
inline void ExpectStraightAlpha(const LImageBuffer& image, const Picture& ref)
{
    ASSERT_TRUE(Matches(image, ref, 255));
    for (int y = 0; y < ref.h; ++y)
        for (int x = 0; x < ref.w; ++x)
        {
            const uint8_t* q = ref.At(x, y);
            const uint8_t* p = image.GetRow(y) + 4 * x;
            ASSERT_EQ(p[3], q[3]);
            if (q[3] > 0)
            {
                for (int c = 0; c < 3; ++c)
                    ASSERT_LE(abs(p[2 - c] - q[c]), 255 / q[3] + 1) << x << "," << y;
            }
        }
}

// A B8G8R8A8 test picture whose every pixel differs from its neighbours.
inline void FillPattern(LImageBuffer& image, int width, int height, bool withAlpha)
{
    image.AllocateNewBuffer(LImageFormat(B8G8R8A8, width, height, false));
    for (int y = 0; y < height; ++y)
    {
        uint8_t* p = image.GetRow(y);
        for (int x = 0; x < width; ++x, p += 4)
        {
            p[0] = uint8_t(x * 7 + y * 3);
            p[1] = uint8_t(x * 3 + y * 11 + 40);
            p[2] = uint8_t((x ^ y) * 5);
            p[3] = withAlpha ? uint8_t(x * 255 / (width > 1 ? width - 1 : 1)) : 255;
        }
    }
}

// A folder of its own for the files of one test, removed afterwards.
class TempFolder
{
public:
    TempFolder()
    {
        char tmpl[] = "/tmp/quendrel-formats-XXXXXX";
        szPath = mkdtemp(tmpl) ? tmpl : "";
    }
    ~TempFolder()
    {
        if (!szPath.empty())
            (void)system(("rm -rf '" + szPath + "'").c_str());
    }
    std::string operator/(const std::string& name) const { return szPath + "/" + name; }
    std::string Path(const std::string& name) const { return szPath + "/" + name; }
    std::string szPath;
};

inline bool WriteFile(const std::string& path, const Bytes& data)
{
    std::ofstream f(path, std::ios::binary);
    f.write(reinterpret_cast<const char*>(data.data()), std::streamsize(data.size()));
    return bool(f);
}

inline Bytes ReadFile(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(f), std::istreambuf_iterator<char>());
}

// Runs a shell command quietly, keeping its standard output if asked; false when it failed.
inline bool Shell(const std::string& command, Bytes* output = nullptr)
{
    FILE* f = popen(("(" + command + ") 2>/dev/null" + (output ? "" : " >/dev/null")).c_str(), "r");
    if (!f)
        return false;
    uint8_t block[65536];
    for (size_t n; (n = fread(block, 1, sizeof block, f)) > 0;)
        if (output)
            output->insert(output->end(), block, block + n);
    return pclose(f) == 0;
}

// "W H\n" and RGBA bytes on standard output, as both decoders below print them.
inline Picture ParseDump(const Bytes& out)
{
    Picture p;
    const auto eol = std::find(out.begin(), out.end(), uint8_t('\n'));
    if (eol == out.end() || sscanf(std::string(out.begin(), eol).c_str(), "%d %d", &p.w, &p.h) != 2)
        return Picture{};
    p.rgba.assign(eol + 1, out.end());
    return p;
}

// ImageMagick's decoding (frame 0: for a layered document, the merged picture).
inline Picture MagickDecode(const std::string& path)
{
    Bytes out;
    return Shell("identify -format '%w %h\\n' '" + path + "[0]' && convert '" + path + "[0]' -depth 8 rgba:-",
                 &out)
               ? ParseDump(out)
               : Picture{};
}

// Pillow's decoding, after the Python statement prepare (which may use ImageOps) if given.
inline Picture PillowDecode(const std::string& path, const std::string& prepare = "")
{
    Bytes out;
    const std::string script = "import sys; from PIL import Image, ImageOps; im = Image.open(sys.argv[1]); " +
                               (prepare.empty() ? "" : prepare + "; ") +
                               "sys.stdout.write('%d %d\\n' % im.size); sys.stdout.flush(); "
                               "sys.stdout.buffer.write(im.convert('RGBA').tobytes())";
    return Shell("/usr/bin/python3 -c \"" + script + "\" '" + path + "'", &out) ? ParseDump(out) : Picture{};
}

// Runs Pillow's interpreter on a script; the script sees the folder as DIR.
inline bool RunPython(const std::string& script, const std::string& dir)
{
    const std::string path = dir + "/script.py";
    std::ofstream(path) << "import os, sys, struct\nDIR = \"" << dir << "\"\n" << script;
    return std::system(("/usr/bin/python3 '" + path + "'").c_str()) == 0;
}

// ImageMagick's encoding of a picture, with the options before the output name.
inline bool MagickEncode(const TempFolder& dir, const Picture& p, const std::string& options,
                         const std::string& output)
{
    WriteFile(dir / "source.rgba", p.rgba);
    return Shell("convert -size " + std::to_string(p.w) + "x" + std::to_string(p.h) + " -depth 8 rgba:'" +
                 dir / "source.rgba" + "' " + options + " '" + output + "'");
}

template <template <class> class Load>
LProcessResult Decode(const Bytes& file, LImageBuffer& image, int* depth = nullptr,
                      LProcessInterface* process = nullptr)
{
    LInputStream<LInputStreamBuffer> stream(file.data(), file.size());
    Load<LInputStreamBuffer> data;
    data.lpStream = &stream;
    data.lpImage = &image;
    RecordingProcess silent;
    const LProcessResult result = Process(process ? *process : silent, data);
    if (depth)
        *depth = data.iBitDepth;
    return result;
}

// The picture, or an empty one on failure.
template <template <class> class Load>
Picture DecodePicture(const Bytes& file, int* depth = nullptr)
{
    LImageBuffer image;
    return Decode<Load>(file, image, depth) == LProcessResultSuccess ? FromBuffer(image) : Picture{};
}

template <template <class> class Save>
Bytes Encode(const LImageBuffer& image,
             const std::function<void(Save<LOutputStreamByteArray>&)>& setup = nullptr,
             LProcessResult* result = nullptr)
{
    LOutputStream<LOutputStreamByteArray> stream;
    Save<LOutputStreamByteArray> data;
    data.lpStream = &stream;
    data.lpImage = &image;
    if (setup)
        setup(data);
    RecordingProcess silent;
    const LProcessResult r = Process(silent, data);
    if (result)
        *result = r;
    return r == LProcessResultSuccess ? stream.GetArray() : Bytes{};
}

// A good file: every cut short of spareAtEnd bytes fails (sampled on long files); damaged
// copies succeed or fail, nothing worse (under the sanitizers, no reads past buffers); progress
// rises by hundredths up to 1, and a stop at the first check cancels.
template <template <class> class Load>
void ExpectRobust(const Bytes& file, size_t spareAtEnd = 0, int damagedCopies = 200)
{
    LImageBuffer image;
    const size_t step = std::max<size_t>(1, file.size() / 300);
    for (size_t n = 0; n + spareAtEnd < file.size(); n += (n < 64 ? 1 : step))
        EXPECT_EQ(Decode<Load>(Bytes(file.begin(), file.begin() + ptrdiff_t(n)), image), LProcessResultFailed)
            << "cut at " << n << " of " << file.size();

    uint32_t seed = 12345;
    auto next = [&seed]() { return seed = seed * 1664525u + 1013904223u; };
    for (int i = 0; i < damagedCopies; ++i)
    {
        Bytes damaged = file;
        for (int c = 1 + int(next() % 4); c > 0; --c) // headers, where damage changes most, get half
            damaged[next() % ((next() & 1) ? std::min<size_t>(damaged.size(), 64) : damaged.size())] =
                uint8_t(next());
        const LProcessResult r = Decode<Load>(damaged, image);
        EXPECT_TRUE(r == LProcessResultFailed || (r == LProcessResultSuccess && image.IsValid()));
    }

    RecordingProcess watch, stopper;
    ASSERT_EQ(Decode<Load>(file, image, nullptr, &watch), LProcessResultSuccess);
    ASSERT_FALSE(watch.arProgress.empty());
    for (size_t i = 1; i < watch.arProgress.size(); ++i)
        EXPECT_TRUE(watch.arProgress[i] - watch.arProgress[i - 1] >= 0.0099 || watch.arProgress[i] == 1.0);
    EXPECT_GT(watch.arProgress.back(), 0.98);
    EXPECT_LE(watch.arProgress.back(), 1.0);
    ASSERT_FALSE(watch.arStatus.empty());
    EXPECT_EQ(watch.arStatus.back().rfind("Decoding ", 0), 0u);
    stopper.iStopAfter = 0;
    EXPECT_EQ(Decode<Load>(file, image, nullptr, &stopper), LProcessResultCancelled);
}

} // namespace codec_test
