// quendrel-cli kernel NAME [ARG] --size WxH [--repeat N] [--threads N] IN OUT: runs one image kernel on a raw
// B8G8R8A8 file and prints the median time of the kernel alone, for the peer benchmark. The image
// is read once and every run starts from it; reading and writing are outside the timing. Hidden
// from the usage text.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "cli/QDCliCommand.h"
#include "image/LImgPro.h"

namespace
{
int Fail(const char* text)
{
    fprintf(stderr, "quendrel-cli kernel: %s\n", text);
    return 2;
}

bool ReadRaw(const char* path, LImageBuffer& b, int w, int h)
{
    FILE* f = fopen(path, "rb");
    if (!f)
        return false;
    bool ok = b.AllocateNewBuffer(LImageFormat(B8G8R8A8, w, h, false));
    for (int y = 0; ok && y < h; ++y)
        ok = fread(b.GetRow(y), 4, size_t(w), f) == size_t(w);
    fclose(f);
    return ok;
}

bool WriteRaw(const char* path, const LImageBuffer& b)
{
    FILE* f = fopen(path, "wb");
    if (!f)
        return false;
    bool ok = true;
    for (int y = 0; ok && y < b.GetHeight(); ++y)
        ok = fwrite(b.GetRow(y), 4, size_t(b.GetWidth()), f) == size_t(b.GetWidth());
    return fclose(f) == 0 && ok;
}

int Run(int argc, char** argv)
{
    if (argc < 2)
        return Fail("no kernel named");
    const char* name = argv[1];
    double arg = 0;
    bool hasArg = false;
    int w = 0, h = 0, repeat = 5;
    std::vector<const char*> files;
    for (int i = 2; i < argc; ++i)
    {
        if (!strcmp(argv[i], "--size") && i + 1 < argc)
        {
            if (sscanf(argv[++i], "%dx%d", &w, &h) != 2)
                return Fail("--size wants WxH");
        }
        else if (!strcmp(argv[i], "--threads") && i + 1 < argc)
            LImgProSetThreadCount(atoi(argv[++i]));
        else if (!strcmp(argv[i], "--repeat") && i + 1 < argc)
            repeat = std::max(1, atoi(argv[++i]));
        else if (!hasArg && files.empty() && (isdigit(argv[i][0]) || argv[i][0] == '-' || argv[i][0] == '.'))
        {
            arg = atof(argv[i]);
            hasArg = true;
        }
        else
            files.push_back(argv[i]);
    }
    if (files.size() != 2 || w <= 0 || h <= 0)
        return Fail("usage: kernel NAME [ARG] --size WxH [--repeat N] IN OUT");
    LImageBuffer src, dst;
    if (!ReadRaw(files[0], src, w, h))
        return Fail("cannot read the input");

    LProcessInterfaceVoid v;
    LImgProSS ss;
    if (!strcmp(name, "gaussblur"))
        ss.SetRadius(-(hasArg ? arg : 20), true);
    else if (!strcmp(name, "sharpen"))
        ss.SetRadius(hasArg ? arg : 5, true);
    // Destinations are made once, before timing, as a caller that reuses its buffers would.
    auto prepare = [&]() -> bool
    {
        if (!strcmp(name, "resize"))
        {
            const double p = (hasArg ? arg : 50) / 100;
            return dst.AllocateNewBuffer(
                LImageFormat(B8G8R8A8, std::max(1, int(w * p + 0.5)), std::max(1, int(h * p + 0.5)), false));
        }
        if (!strcmp(name, "rotate"))
        {
            // Allocation happens inside Rotate, which reuses a big enough store.
            return LImage::Rotate(v, src, dst, (hasArg ? arg : 90) / 360) == 0;
        }
        return dst.AllocateNewBuffer(src.GetFormat());
    };
    auto kernel = [&]() -> int
    {
        if (!strcmp(name, "gaussblur") || !strcmp(name, "sharpen"))
            return ss.Process(v, dst, src);
        if (!strcmp(name, "resize"))
            return LImgProScaleLinear(v, dst, src);
        if (!strcmp(name, "rotate"))
            return LImage::Rotate(v, src, dst, (hasArg ? arg : 90) / 360);
        if (!strcmp(name, "flip"))
        {
            LImgProFlip flip(LImgProFlip::Horizontal);
            return LApplyImageProcess(dst, src, flip, v);
        }
        if (!strcmp(name, "flip-inplace"))
        {
            LImgProFlip flip(LImgProFlip::Horizontal);
            return LApplyImageProcess(dst, flip, v);
        }
        if (!strcmp(name, "greyscale"))
            return LImgProGreyScale().Process(v, dst, src);
        if (!strcmp(name, "memcpy"))
        {
            memcpy(dst.GetData(), src.GetData(), size_t(src.GetFormat().CalculateBufferSize64()));
            return 0;
        }
        return -1;
    };
    if (!prepare())
        return Fail("cannot allocate the destination");
    if (!strcmp(name, "flip-inplace"))
        memcpy(dst.GetData(), src.GetData(), size_t(src.GetFormat().CalculateBufferSize64()));
    std::vector<double> times;
    for (int i = 0; i < repeat; ++i)
    {
        const auto t0 = std::chrono::steady_clock::now();
        const int r = kernel();
        const auto t1 = std::chrono::steady_clock::now();
        if (r < 0)
            return Fail("unknown kernel");
        if (r)
            return Fail("the kernel failed");
        times.push_back(std::chrono::duration<double>(t1 - t0).count());
    }
    std::sort(times.begin(), times.end());
    if (!WriteRaw(files[1], dst))
        return Fail("cannot write the output");
    printf("%s median %.4f s over %d runs, %dx%d -> %dx%d\n", name, times[times.size() / 2], repeat, w, h,
           dst.GetWidth(), dst.GetHeight());
    return 0;
}

QDCliCommandRegistrar gRegister("kernel", nullptr, Run);
} // namespace
