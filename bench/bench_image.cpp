// Whole-image copies and conversions on a 24-megapixel image, beside a plain memcpy of the same
// size: both should run at memory speed.

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "image/LConvertPixelFormat.h"

namespace
{
constexpr int kWidth = 6000, kHeight = 4000;

void Fill(LImageBuffer& b)
{
    uint8_t* p = b.GetData();
    const uint32_t size = b.imf.CalculateBufferSize();
    for (uint32_t i = 0; i < size; ++i)
        p[i] = uint8_t(i * 7 + (i >> 9));
}

void BM_MemcpyRGBA(benchmark::State& state)
{
    const size_t size = size_t(kWidth) * kHeight * 4;
    std::vector<uint8_t> src(size, 1), dst(size, 0);
    for (auto _ : state)
    {
        std::memcpy(dst.data(), src.data(), size);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(size));
}
BENCHMARK(BM_MemcpyRGBA)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_LImageBufferCopy(benchmark::State& state)
{
    LImageBuffer src, dst;
    LImage::New(src, kWidth, kHeight);
    LImage::New(dst, kWidth, kHeight);
    Fill(src);
    std::memset(dst.GetData(), 0, dst.imf.CalculateBufferSize());
    for (auto _ : state)
    {
        LImageBufferCopy(dst, src);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src.imf.CalculateBufferSize()));
}
BENCHMARK(BM_LImageBufferCopy)->Unit(benchmark::kMillisecond)->UseRealTime();

// Bytes counted are those written (the 32-bit destination), to compare with the copies.
void BM_ConvertRGBToRGBA(benchmark::State& state)
{
    LImageBuffer src, dst;
    LImage::New(src, kWidth, kHeight, B8G8R8);
    LImage::New(dst, kWidth, kHeight);
    Fill(src);
    std::memset(dst.GetData(), 0, dst.imf.CalculateBufferSize());
    for (auto _ : state)
    {
        LConvertPixelFormat(dst, src);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(dst.imf.CalculateBufferSize()));
}
BENCHMARK(BM_ConvertRGBToRGBA)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ConvertRGBAToB5G6R5(benchmark::State& state)
{
    LImageBuffer src, dst;
    LImage::New(src, kWidth, kHeight);
    LImage::New(dst, kWidth, kHeight, B5G6R5);
    Fill(src);
    std::memset(dst.GetData(), 0, dst.imf.CalculateBufferSize());
    for (auto _ : state)
    {
        LConvertPixelFormat(dst, src);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(src.imf.CalculateBufferSize()));
}
BENCHMARK(BM_ConvertRGBAToB5G6R5)->Unit(benchmark::kMillisecond)->UseRealTime();
} // namespace

BENCHMARK_MAIN();
