// quendrel-cli kernel NAME [ARG] --size WxH [--repeat N] [--threads N] IN OUT: runs one image kernel on a raw
// B8G8R8A8 file and prints the median time of the kernel alone, for the peer benchmark. The image
// is read once and every run starts from it (kernels that work in place get a fresh copy before
// each run, outside the timing); reading and writing are outside the timing. Hidden from the
// usage text.
//
// Tone and stylising kernels and their ARG: levels LOW (input LOW..255-LOW, a linear stretch),
// curves O (an S-curve through 64+O,64-O and 192-O,192+O), exposure K, temperature T, autolevels,
// gradientmap, chromakey TOLERANCE, vignette STRENGTH, pixelate BLOCK, oilpaint RADIUS,
// fisheye POWER, tiles COUNT, sobel.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "cli/QDCliCommand.h"
#include "cli/QDCliRawFile.h"
#include "image/LImgPro.h"

namespace
{
int Fail(const char* text)
{
    fprintf(stderr, "quendrel-cli kernel: %s\n", text);
    return 2;
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
    if (!QDCliReadRaw(files[0], src, w, h))
        return Fail("cannot read the input");

    LProcessInterfaceVoid v;
    // Kernels with settings are made once, as an effect sets them up before it renders.
    const double a = hasArg ? arg : 0;
    LImgProSS ss;
    LColorLevelSettings lv;
    lv.byInputLow = uint8_t(std::clamp(hasArg ? a : 20.0, 0.0, 127.0));
    lv.byInputHigh = uint8_t(255 - lv.byInputLow);
    LImgProColorLevels levels(lv);
    LCurveSettings curve;
    const int o = int(hasArg ? a : 16);
    curve.AddPoint(64 + o, 64 - o);
    curve.AddPoint(192 - o, 192 + o);
    curve.UpdateCurveValues();
    LImgProCurves curves(curve);
    LImgProExposure exposure(hasArg ? a : 2.0);
    LImgProTemperature temperature(int(hasArg ? a : 40));
    LList<LGradientMarker> markers;
    markers.AddTail(new LGradientMarker(LPixelColour(80, 20, 10, 255), 0.0f));
    markers.AddTail(new LGradientMarker(LPixelColour(40, 160, 230, 255), 0.6f));
    markers.AddTail(new LGradientMarker(LPixelColour(220, 250, 255, 255), 1.0f));
    LImgProGradientMap gradient(markers);
    LImgProChromaKey chroma(LImgProChromaKeyChroma);
    chroma.SetPickedColor(60, 140, 90);
    chroma.byThresholdA = uint8_t(hasArg ? a : 15);
    chroma.byThresholdB = uint8_t(std::min(255, chroma.byThresholdA * 2 + 1));
    LImgProVignette vignette;
    vignette.dStrength = hasArg ? a : 1.0;
    LImgProFisheye fisheye;
    fisheye.fPower = float(hasArg ? a : 3.0);
    LImgProTiles tiles;
    tiles.fTileCount = float(hasArg ? a : 20);
    const char* inPlace[] = {"levels",      "curves",    "exposure", "temperature",
                             "gradientmap", "chromakey", "vignette", "tiles"};
    const bool bInPlace =
        std::any_of(std::begin(inPlace), std::end(inPlace), [&](const char* n) { return !strcmp(n, name); });
    if (!strcmp(name, "chromakey") && !chroma.CalculateChromaKey())
        return Fail("cannot allocate the key tables");
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
        if (!strcmp(name, "levels"))
            return LApplyImageProcess(dst, levels, v);
        if (!strcmp(name, "curves"))
            return LApplyImageProcess(dst, curves, v);
        if (!strcmp(name, "exposure"))
            return LApplyImageProcess(dst, exposure, v);
        if (!strcmp(name, "temperature"))
            return LApplyImageProcess(dst, temperature, v);
        if (!strcmp(name, "gradientmap"))
            return LApplyImageProcess(dst, gradient, v);
        if (!strcmp(name, "chromakey"))
            return LApplyImageProcess(dst, chroma, v);
        if (!strcmp(name, "vignette"))
            return LApplyImageProcess(dst, vignette, v);
        if (!strcmp(name, "tiles"))
            return LApplyImageProcess(dst, tiles, v);
        if (!strcmp(name, "autolevels"))
            return LImgProAutoLevels().Process(v, dst, src);
        if (!strcmp(name, "pixelate"))
        {
            LImgProPixelate pixelate(int(hasArg ? a : 25));
            return LApplyImageProcess(dst, src, pixelate, v);
        }
        if (!strcmp(name, "oilpaint"))
        {
            LImgProOilPainting oil(int(hasArg ? a : 5));
            return LApplyImageProcess(dst, src, oil, v);
        }
        if (!strcmp(name, "fisheye"))
            return LApplyImageProcess(dst, src, fisheye, v);
        if (!strcmp(name, "sobel"))
            return LImgProSobelEdgeDetector().Process(v, dst, src);
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
        if (bInPlace)
            memcpy(dst.GetData(), src.GetData(), size_t(src.GetFormat().CalculateBufferSize64()));
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
    if (!QDCliWriteRaw(files[1], dst))
        return Fail("cannot write the output");
    printf("%s median %.4f s over %d runs, %dx%d -> %dx%d\n", name, times[times.size() / 2], repeat, w, h,
           dst.GetWidth(), dst.GetHeight());
    return 0;
}

QDCliCommandRegistrar gRegister("kernel", nullptr, Run);
} // namespace
