// quendrel-cli effect-time EFFECT[:key=value,...] --size WxH [--repeat N] [--scale S] [--plain] IN OUT: times
// one effect's render on a raw B8G8R8A8 picture and prints the median, for the peer benchmark.
// The element renders as the render thread would have it render: at full resolution, or with
// --scale the preview of a picture of that size, on the nearest-neighbour reduction the original
// image hands on. --plain leaves the vector paths out. Every run starts from a fresh copy, made outside the
// timing. Hidden from the usage text.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "cli/QDCliCommand.h"
#include "cli/QDCliRawFile.h"
#include "cli/QDCliEngine.h"
#include "document/QDOriginalImage.h"
#include "effects/QDEffectVector.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "image/LImageTransform.h"

namespace
{
int Fail(const char* text)
{
    fprintf(stderr, "quendrel-cli effect-time: %s\n", text);
    return 2;
}

int Run(int argc, char** argv)
{
    int w = 0, h = 0, repeat = 5;
    double scale = 0;
    std::vector<char*> rest;
    for (int i = 1; i < argc; ++i)
    {
        if (!strcmp(argv[i], "--size") && i + 1 < argc)
        {
            if (sscanf(argv[++i], "%dx%d", &w, &h) != 2)
                return Fail("--size wants WxH");
        }
        else if (!strcmp(argv[i], "--repeat") && i + 1 < argc)
            repeat = std::max(1, atoi(argv[++i]));
        else if (!strcmp(argv[i], "--scale") && i + 1 < argc)
            scale = atof(argv[++i]);
        else if (!strcmp(argv[i], "--plain"))
            QDSetVectorPaths(false);
        else
            rest.push_back(argv[i]);
    }
    if (rest.size() != 3 || w <= 0 || h <= 0 || scale < 0 || scale > 1)
        return Fail("usage: effect-time EFFECT[:key=value,...] --size WxH [--repeat N] [--scale S] IN OUT");
    QDCliEngine engine;
    if (!engine.IsReady())
        return Fail("the picture cache could not be made");
    std::vector<QDCliEffectArgument> effects;
    if (!engine.ParseEffects(1, &rest[0], effects))
        return 2;
    LImageBuffer src;
    if (!QDCliReadRaw(rest[1], src, w, h))
        return Fail("cannot read the input");
    LProcessInterfaceVoid silent;
    if (scale > 0)
    {
        LImageBuffer low;
        if (LImage::Resize(silent, src, low, QDOriginalImage::LowResSize(w, float(scale)),
                           QDOriginalImage::LowResSize(h, float(scale)), false, LImage::ResizeNearest) != 0)
            return Fail("cannot reduce the input");
        src.Assign(low);
    }
    std::unique_ptr<QDImagePipelineElement> element(effects[0].lpFactory->CreateLayer());
    auto* wrapped = dynamic_cast<QDWrappedPropertiesElement*>(element.get());
    for (const auto& [row, value] : effects[0].vValues)
        wrapped->SetPropertyValue(row, value, false);
    for (const auto& [key, text] : effects[0].vTexts)
        wrapped->SetTextProperty(key.c_str(), text.c_str(), false);
    element->SetDimensions(LBoundingBox2T<double>(0, 0, w, h));

    LImageBuffer dst;
    std::vector<double> times;
    for (int i = 0; i < repeat; ++i)
    {
        if (!dst.AllocateNewBuffer(src.GetFormat()))
            return Fail("out of memory");
        LImageBufferCopy(dst, src);
        const auto t0 = std::chrono::steady_clock::now();
        const LProcessResult r =
            scale > 0 ? element->RenderLowResImage(silent, dst) : element->RenderHighResImage(silent, dst);
        const auto t1 = std::chrono::steady_clock::now();
        if (r != LProcessResultSuccess)
            return Fail("the effect failed");
        times.push_back(std::chrono::duration<double>(t1 - t0).count());
    }
    std::sort(times.begin(), times.end());
    if (!QDCliWriteRaw(rest[2], dst))
        return Fail("cannot write the output");
    printf("%s median %.4f s over %d runs, %dx%d\n", rest[0], times[times.size() / 2], repeat, dst.GetWidth(),
           dst.GetHeight());
    return 0;
}

QDCliCommandRegistrar gRegister("effect-time", nullptr, Run);
} // namespace
