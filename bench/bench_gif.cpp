// GIF saving of a photo and its steps: the median-cut palette, the mapping with and without
// dithering, the codes alone, and decoding the result with the own decoder. The photo comes from
// QUENDREL_BENCH_GIF (any readable format); without it the benchmarks skip. bench/gif runs these
// beside ImageMagick.

#include <benchmark/benchmark.h>

#include <cstdlib>

#include "codecs/LCodecGIFEncode.h"
#include "codecs/LGIFDecoder.h"
#include "codecs/LImage.h"
#include "image/LImgProQuantise.h"

namespace
{
const LImageBuffer* Photo()
{
    static LImageBuffer image;
    static bool tried = false;
    if (!tried)
    {
        tried = true;
        const char* path = getenv("QUENDREL_BENCH_GIF");
        if (path && *path)
            LImage::Load(image, path);
    }
    return image.IsValid() ? &image : nullptr;
}

LPalette<LPFB8G8R8> PhotoPalette()
{
    LProcessInterfaceVoid silent;
    LProcessGeneratePaletteFromImage generate;
    generate.lpImage = Photo();
    Process(silent, generate);
    return generate.palette;
}

void BM_GIFSaveDithered(benchmark::State& state)
{
    if (!Photo())
        return state.SkipWithError("no photo in QUENDREL_BENCH_GIF");
    LProcessInterfaceVoid silent;
    for (auto _ : state)
    {
        LOutputStream<LOutputStreamByteArray> out;
        LProcessGIFSave<LOutputStreamByteArray> save;
        save.lpStream = &out;
        save.lpImage = Photo();
        if (Process(silent, save) != LProcessResultSuccess)
            return state.SkipWithError("save failed");
        state.counters["bytes"] = double(out.GetSize());
    }
}
BENCHMARK(BM_GIFSaveDithered)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_MedianCutPalette(benchmark::State& state)
{
    if (!Photo())
        return state.SkipWithError("no photo in QUENDREL_BENCH_GIF");
    for (auto _ : state)
        benchmark::DoNotOptimize(PhotoPalette().GetCount());
}
BENCHMARK(BM_MedianCutPalette)->Unit(benchmark::kMillisecond)->UseRealTime();

void Convert(benchmark::State& state, bool dither)
{
    if (!Photo())
        return state.SkipWithError("no photo in QUENDREL_BENCH_GIF");
    const LPalette<LPFB8G8R8> palette = PhotoPalette();
    LProcessInterfaceVoid silent;
    for (auto _ : state)
    {
        LProcessConvertImageToIndexed<LPFB8G8R8> convert;
        convert.lpSource = Photo();
        convert.lpPalette = &palette;
        convert.bDither = dither;
        if (Process(silent, convert) != LProcessResultSuccess)
            return state.SkipWithError("conversion failed");
    }
}
void BM_FloydSteinberg(benchmark::State& state)
{
    Convert(state, true);
}
BENCHMARK(BM_FloydSteinberg)->Unit(benchmark::kMillisecond)->UseRealTime();
void BM_NearestColour(benchmark::State& state)
{
    Convert(state, false);
}
BENCHMARK(BM_NearestColour)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_LZWEncode(benchmark::State& state)
{
    if (!Photo())
        return state.SkipWithError("no photo in QUENDREL_BENCH_GIF");
    const LPalette<LPFB8G8R8> palette = PhotoPalette();
    LProcessInterfaceVoid silent;
    LProcessConvertImageToIndexed<LPFB8G8R8> convert;
    convert.lpSource = Photo();
    convert.lpPalette = &palette;
    Process(silent, convert);
    const LImageBuffer& indexed = convert.imageIndexed;
    std::vector<uint8_t> packed(size_t(indexed.GetWidth()) * indexed.GetHeight());
    for (int y = 0; y < indexed.GetHeight(); ++y)
        memcpy(packed.data() + size_t(y) * indexed.GetWidth(), indexed.GetRow(y), size_t(indexed.GetWidth()));
    for (auto _ : state)
    {
        std::vector<uint8_t> codes;
        LLZWCodec::Encode(silent, packed.data(), packed.size(), 8, codes);
        benchmark::DoNotOptimize(codes.data());
    }
}
BENCHMARK(BM_LZWEncode)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_GIFDecodeOwn(benchmark::State& state)
{
    if (!Photo())
        return state.SkipWithError("no photo in QUENDREL_BENCH_GIF");
    LProcessInterfaceVoid silent;
    LOutputStream<LOutputStreamByteArray> file;
    LProcessGIFSave<LOutputStreamByteArray> save;
    save.lpStream = &file;
    save.lpImage = Photo();
    Process(silent, save);
    for (auto _ : state)
    {
        LInputStream<LInputStreamBuffer> in(file.GetData(), file.GetSize());
        LGIFDecoder<LInputStreamBuffer> decoder(in);
        LImageBuffer image;
        int bits = 0;
        if (decoder.Open(silent) != LProcessResultSuccess || decoder.GetFrame(silent, image, bits, 0) != 0)
            return state.SkipWithError("decode failed");
    }
}
BENCHMARK(BM_GIFDecodeOwn)->Unit(benchmark::kMillisecond)->UseRealTime();
} // namespace

BENCHMARK_MAIN();
