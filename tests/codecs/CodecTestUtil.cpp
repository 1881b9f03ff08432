#include "CodecTestUtil.h"

#include <cstring>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace CodecTest
{
TempDir::TempDir()
{
    const char* base = getenv("TMPDIR");
    std::string templ = std::string(base && *base ? base : "/tmp") + "/qcodec-XXXXXX";
    std::vector<char> buf(templ.begin(), templ.end());
    buf.push_back(0);
    if (mkdtemp(buf.data()))
        szPath = buf.data();
}

TempDir::~TempDir()
{
    if (!szPath.empty())
        Shell("rm -rf '" + szPath + "'");
}

bool Shell(const std::string& command)
{
    return system((command + " 2>/dev/null").c_str()) == 0;
}

bool RunPython(const std::string& script, const std::string& dir)
{
    const std::string path = dir + "/script.py";
    std::ofstream f(path);
    f << "import os, sys, struct\nDIR = " << '"' << dir << '"' << "\n" << script;
    f.close();
    return system(("/usr/bin/python3 '" + path + "'").c_str()) == 0;
}

std::vector<uint8_t> ReadFile(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
}

bool WriteFile(const std::string& path, const std::vector<uint8_t>& data)
{
    std::ofstream f(path, std::ios::binary);
    f.write(reinterpret_cast<const char*>(data.data()), std::streamsize(data.size()));
    return bool(f);
}

static Reference ReadRawWithSize(const std::string& raw, const std::string& sizeFile)
{
    Reference r;
    std::ifstream s(sizeFile);
    s >> r.iWidth >> r.iHeight;
    r.rgba = ReadFile(raw);
    return r;
}

Reference DecodeWithPillow(const std::string& path, const std::string& frame)
{
    const std::string dir = path.substr(0, path.rfind('/'));
    const std::string script = "from PIL import Image, ImageOps\nim = Image.open('" + path + "')\n" + frame +
                               "\nim = im.convert('RGBA')\nopen(DIR + '/ref.raw', 'wb').write(im.tobytes())\n"
                               "open(DIR + '/ref.size', 'w').write('%d %d' % im.size)\n";
    if (!RunPython(script, dir))
        return Reference();
    return ReadRawWithSize(dir + "/ref.raw", dir + "/ref.size");
}

Reference DecodeWithMagick(const std::string& path)
{
    const std::string dir = path.substr(0, path.rfind('/'));
    if (!Shell("convert '" + path + "[0]' -depth 8 rgba:'" + dir + "/ref.raw'") ||
        !Shell("identify -format '%w %h' '" + path + "[0]' > '" + dir + "/ref.size'"))
        return Reference();
    return ReadRawWithSize(dir + "/ref.raw", dir + "/ref.size");
}

Diff Compare(const LImageBuffer& image, const Reference& ref, int tolerance, bool withAlpha)
{
    Diff d;
    if (!image.IsValid() || !ref.IsValid() || image.GetWidth() != ref.iWidth ||
        image.GetHeight() != ref.iHeight)
    {
        d.bSizeMismatch = true;
        return d;
    }
    const int bpp = image.GetPixelFormat() == B8G8R8 ? 3 : 4;
    for (int y = 0; y < ref.iHeight; ++y)
    {
        const uint8_t* p = image.GetRow(y);
        for (int x = 0; x < ref.iWidth; ++x, p += bpp)
        {
            const uint8_t* q = &ref.rgba[(size_t(y) * ref.iWidth + x) * 4];
            const int a = bpp == 4 ? p[3] : 255;
            int delta = 0;
            if (withAlpha)
                delta = abs(a - q[3]);
            if (!(withAlpha && a == 0 && q[3] == 0))
                delta = std::max({delta, abs(p[2] - q[0]), abs(p[1] - q[1]), abs(p[0] - q[2])});
            d.iMaxDelta = std::max(d.iMaxDelta, delta);
            if (delta > tolerance)
                ++d.nOver;
        }
    }
    return d;
}

void FillPattern(LImageBuffer& image, int width, int height, bool withAlpha)
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

bool WriteRawRGBA(const LImageBuffer& image, const std::string& path)
{
    std::vector<uint8_t> raw;
    raw.reserve(size_t(image.GetWidth()) * image.GetHeight() * 4);
    for (int y = 0; y < image.GetHeight(); ++y)
    {
        const uint8_t* p = image.GetRow(y);
        for (int x = 0; x < image.GetWidth(); ++x, p += 4)
            raw.insert(raw.end(), {p[2], p[1], p[0], p[3]});
    }
    return WriteFile(path, raw);
}
} // namespace CodecTest
