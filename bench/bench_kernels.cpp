// The tone and stylising kernels on a 24-megapixel B8G8R8A8 image, beside a memcpy of the same
// size. The table kernels run on every slider move and should stay within a few copies of the
// image. Each runs on one thread (CPU time, which a busy machine disturbs least) and on all of
// them (wall time): BM_X/1 and BM_X/0.

#include <benchmark/benchmark.h>

#include <cstring>
#include <functional>
#include <vector>

#include "image/LImgPro.h"

namespace
{
constexpr int kWidth = 6000, kHeight = 4000;
LProcessInterfaceVoid gVoid;

// A smooth picture with some texture, so that tables and keys meet realistic values.
const LImageBuffer& Photo()
{
    static LImageBuffer b;
    if (!b.IsValid())
    {
        LImage::New(b, kWidth, kHeight);
        for (int y = 0; y < kHeight; ++y)
        {
            uint8_t* p = b.GetRow(y);
            for (int x = 0; x < kWidth; ++x, p += 4)
            {
                const unsigned n = (unsigned(x) * 2654435761u ^ unsigned(y) * 40503u) >> 27;
                p[0] = uint8_t(x * 255 / kWidth + n);
                p[1] = uint8_t(y * 255 / kHeight + n);
                p[2] = uint8_t((x + y) * 255 / (kWidth + kHeight));
                p[3] = 255;
            }
        }
    }
    return b;
}

// Copies the photo into the work buffer outside the timing, then times the kernel.
void RunKernel(benchmark::State& state, const std::function<int(LImageBuffer&, const LImageBuffer&)>& kernel,
               pixelformat_t pf = B8G8R8A8)
{
    LImgProSetThreadCount(int(state.range(0)));
    LImageBuffer src, work;
    if (pf == B8G8R8A8)
        src.AllocateNewBuffer(Photo().GetFormat()), LImageBufferCopy(src, Photo());
    else
        src.AllocateNewBuffer(LImageFormat(pf, kWidth, kHeight)), LConvertPixelFormat(src, Photo());
    work.AllocateNewBuffer(src.GetFormat());
    const size_t bytes = src.imf.CalculateBufferSize();
    for (auto _ : state)
    {
        state.PauseTiming();
        memcpy(work.GetData(), src.GetData(), bytes);
        state.ResumeTiming();
        if (kernel(work, src) != 0)
            state.SkipWithError("kernel failed");
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
    LImgProSetThreadCount(0);
}

void Args(benchmark::internal::Benchmark* b)
{
    b->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();
}

void BM_Memcpy(benchmark::State& state)
{
    RunKernel(state,
              [](LImageBuffer& d, const LImageBuffer& s)
              {
                  memcpy(d.GetData(), s.GetData(), s.imf.CalculateBufferSize());
                  return 0;
              });
}
BENCHMARK(BM_Memcpy)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Levels(benchmark::State& state)
{
    LColorLevelSettings s;
    s.byInputLow = 20, s.byInputHigh = 235, s.fMidtone = 0.45f;
    LImgProColorLevels k(s);
    RunKernel(state, [&](LImageBuffer& d, const LImageBuffer&) { return int(LApplyImageProcess(d, k)); });
}
BENCHMARK(BM_Levels)->Apply(Args);

void BM_Curves(benchmark::State& state)
{
    LCurveSettings c;
    c.AddPoint(80, 48);
    c.AddPoint(176, 208);
    c.UpdateCurveValues();
    RunKernel(state,
              [&](LImageBuffer& d, const LImageBuffer&)
              {
                  LImgProCurves k(c);
                  return int(LApplyImageProcess(d, k));
              });
}
BENCHMARK(BM_Curves)->Apply(Args);

void BM_Exposure(benchmark::State& state)
{
    LImgProExposure k(2.0);
    RunKernel(state, [&](LImageBuffer& d, const LImageBuffer&) { return int(LApplyImageProcess(d, k)); });
}
BENCHMARK(BM_Exposure)->Apply(Args);

void BM_Temperature(benchmark::State& state)
{
    LImgProTemperature k(40);
    RunKernel(state, [&](LImageBuffer& d, const LImageBuffer&) { return int(LApplyImageProcess(d, k)); });
}
BENCHMARK(BM_Temperature)->Apply(Args);

void BM_GradientMap(benchmark::State& state)
{
    LImgProGradientMap k;
    RunKernel(state, [&](LImageBuffer& d, const LImageBuffer&) { return int(LApplyImageProcess(d, k)); });
}
BENCHMARK(BM_GradientMap)->Apply(Args);

void BM_AutoLevels(benchmark::State& state)
{
    LImageBuffer out;
    out.AllocateNewBuffer(Photo().GetFormat());
    RunKernel(state, [&](LImageBuffer&, const LImageBuffer& s)
              { return int(LImgProAutoLevels().Process(gVoid, out, s)); });
}
BENCHMARK(BM_AutoLevels)->Apply(Args);

void BM_ChromaKey(benchmark::State& state)
{
    LImgProChromaKey k(LImgProChromaKeyChroma);
    k.SetPickedColor(60, 140, 90);
    k.CalculateChromaKey();
    RunKernel(state, [&](LImageBuffer& d, const LImageBuffer&) { return int(LApplyImageProcess(d, k)); });
}
BENCHMARK(BM_ChromaKey)->Apply(Args);

void BM_Vignette(benchmark::State& state)
{
    LImgProVignette k;
    RunKernel(state, [&](LImageBuffer& d, const LImageBuffer&) { return int(LApplyImageProcess(d, k)); });
}
BENCHMARK(BM_Vignette)->Apply(Args);

void BM_Pixelate(benchmark::State& state)
{
    LImgProPixelate k(25);
    RunKernel(state,
              [&](LImageBuffer& d, const LImageBuffer& s) { return int(LApplyImageProcess(d, s, k)); });
}
BENCHMARK(BM_Pixelate)->Apply(Args);

void BM_Sobel24(benchmark::State& state)
{
    RunKernel(
        state,
        [&](LImageBuffer& d, const LImageBuffer& s)
        { return int(LImgProSobelEdgeDetector().Process(gVoid, d, s)); },
        B8G8R8);
}
BENCHMARK(BM_Sobel24)->Apply(Args);

void BM_Fisheye(benchmark::State& state)
{
    LImgProFisheye k;
    k.fPower = 3;
    RunKernel(state,
              [&](LImageBuffer& d, const LImageBuffer& s) { return int(LApplyImageProcess(d, s, k)); });
}
BENCHMARK(BM_Fisheye)->Apply(Args);

void BM_Tiles(benchmark::State& state)
{
    LImgProTiles k;
    k.bHexagonal = true;
    RunKernel(state, [&](LImageBuffer& d, const LImageBuffer&) { return int(LApplyImageProcess(d, k)); });
}
BENCHMARK(BM_Tiles)->Apply(Args);

void BM_OilPainting(benchmark::State& state)
{
    LImgProOilPainting k(5);
    RunKernel(state,
              [&](LImageBuffer& d, const LImageBuffer& s) { return int(LApplyImageProcess(d, s, k)); });
}
BENCHMARK(BM_OilPainting)->Apply(Args)->Iterations(1);
} // namespace

BENCHMARK_MAIN();
