// quendrel-cli effect EFFECT[:key=value,...] --size WxH [--repeat N] IN OUT: renders one effect, as
// the render thread would (RenderHighResImage of the element at the picture's size), on a raw
// B8G8R8A8 file, and prints the median time of the render alone, for the peer benchmarks. Every
// run starts from a fresh copy of the input, made outside the timing. Hidden from the usage text.

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
#include "effects/QDImagePipelineElementWithWrappedProperties.h"

namespace
{
int Fail(const char* text)
{
    fprintf(stderr, "quendrel-cli effect: %s\n", text);
    return 2;
}

int Run(int argc, char** argv)
{
    int w = 0, h = 0, repeat = 5;
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
        else
            rest.push_back(argv[i]);
    }
    if (rest.size() != 3 || w <= 0 || h <= 0)
        return Fail("usage: effect EFFECT[:key=value,...] --size WxH [--repeat N] IN OUT");
    QDCliEngine engine;
    if (!engine.IsReady())
        return Fail("the picture cache could not be made");
    std::vector<QDCliEffectArgument> effects;
    if (!engine.ParseEffects(1, rest.data(), effects))
        return 2;
    std::unique_ptr<QDImagePipelineElement> element(effects[0].lpFactory->CreateLayer());
    auto* wrapped = dynamic_cast<QDWrappedPropertiesElement*>(element.get());
    // The element learns the picture's size first, as in a project, then takes the values.
    element->SetDimensions(LBoundingBox2T<double>(0, 0, w, h));
    for (const auto& [row, value] : effects[0].vValues)
        if (wrapped)
            wrapped->SetPropertyValue(row, value, false);
    LImageBuffer src, buffer;
    if (!QDCliReadRaw(rest[1], src, w, h))
        return Fail("cannot read the input");
    std::vector<double> times;
    LProcessInterfaceVoid process;
    for (int i = 0; i < repeat; ++i)
    {
        buffer.Destroy();
        if (!buffer.AllocateNewBuffer(src.GetFormat()))
            return Fail("out of memory");
        memcpy(buffer.GetData(), src.GetData(), size_t(src.GetFormat().CalculateBufferSize64()));
        element->iWidth = unsigned(w), element->iHeight = unsigned(h);
        const auto t0 = std::chrono::steady_clock::now();
        const LProcessResult r = element->RenderHighResImage(process, buffer);
        const auto t1 = std::chrono::steady_clock::now();
        if (r != LProcessResultSuccess)
            return Fail("the effect failed");
        times.push_back(std::chrono::duration<double>(t1 - t0).count());
    }
    std::sort(times.begin(), times.end());
    if (!QDCliWriteRaw(rest[2], buffer))
        return Fail("cannot write the output");
    printf("%s median %.4f s over %d runs, %dx%d -> %dx%d\n", rest[0], times[times.size() / 2], repeat, w, h,
           buffer.GetWidth(), buffer.GetHeight());
    return 0;
}

QDCliCommandRegistrar gRegister("effect", nullptr, Run);
} // namespace
