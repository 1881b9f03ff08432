// Banded kernels on pictures small and large: what handing bands to the workers costs beside the
// work itself. Small pictures show the cost of a call; the large one the scaling over the cores.

#include <benchmark/benchmark.h>

#include "image/LImgPro.h"

namespace
{
void Fill(LImageBuffer& b)
{
    for (int y = 0; y < b.GetHeight(); ++y)
        for (int x = 0; x < b.GetWidth() * 4; ++x)
            b.GetRow(y)[x] = uint8_t(x * 7 + y * 13);
}

void BM_GreyScale(benchmark::State& state)
{
    LImageBuffer in, out;
    LImage::New(in, int(state.range(0)), int(state.range(0)) * 3 / 4, B8G8R8A8);
    Fill(in);
    LProcessInterfaceVoid process;
    for (auto _ : state)
        benchmark::DoNotOptimize(LImgProGreyScale().Process(process, out, in));
}
BENCHMARK(BM_GreyScale)->Arg(64)->Arg(256)->Arg(4000)->Unit(benchmark::kMicrosecond)->UseRealTime();

void BM_BoxBlurThreePasses(benchmark::State& state)
{
    LImageBuffer image;
    LImage::New(image, int(state.range(0)), int(state.range(0)), B8G8R8A8);
    Fill(image);
    LProcessInterfaceVoid process;
    LImageBlurSettings settings;
    settings.lpImage = &image;
    settings.iRadius = 5;
    settings.iPasses = 3;
    for (auto _ : state)
        benchmark::DoNotOptimize(Process(process, settings));
}
BENCHMARK(BM_BoxBlurThreePasses)->Arg(64)->Arg(1024)->Unit(benchmark::kMicrosecond)->UseRealTime();
} // namespace

BENCHMARK_MAIN();
