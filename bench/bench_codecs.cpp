// Decoding and encoding a large photo through the image door, for comparison with the bare
// library tools (bench/codecs runs both in one go). The photo comes from QUENDREL_BENCH_JPEG and
// QUENDREL_BENCH_PNG; without them the benchmarks skip.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "codecs/LCodecPNG.h"
#include "codecs/LImage.h"

namespace
{
const char* Input(const char* variable)
{
    const char* p = getenv(variable);
    return p && *p ? p : nullptr;
}

double ProcessCpuSeconds()
{
    rusage u;
    getrusage(RUSAGE_SELF, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           1e-6 * double(u.ru_utime.tv_usec + u.ru_stime.tv_usec);
}

void Decode(benchmark::State& state, const char* variable)
{
    const char* path = Input(variable);
    if (!path)
    {
        state.SkipWithError("no input photo");
        return;
    }
    const double cpuBefore = ProcessCpuSeconds();
    for (auto _ : state)
    {
        LImageBuffer image;
        if (LImage::Load(image, path) == 0)
        {
            state.SkipWithError("load failed");
            return;
        }
        benchmark::DoNotOptimize(image.GetData());
    }
    // The CSV report wants the same counters on every row: the file's size, and processor time.
    struct stat st;
    state.counters["bytes"] = stat(path, &st) == 0 ? double(st.st_size) : 0.0;
    state.counters["cpu_s"] = (ProcessCpuSeconds() - cpuBefore) / double(state.iterations());
}

void Encode(benchmark::State& state, const char* variable, const char* extension)
{
    const char* path = Input(variable);
    LImageBuffer image;
    if (!path || LImage::Load(image, path) == 0)
    {
        state.SkipWithError("no input photo");
        return;
    }
    const char* dir = getenv("TMPDIR");
    const std::string out = std::string(dir && *dir ? dir : "/tmp") + "/quendrel-bench" + extension;
    LImageEncodeSettings settings;
    settings.jpeg.SetQuality(90);
    // Processor time of every thread, since the PNG writer uses all cores.
    const double cpuBefore = ProcessCpuSeconds();
    for (auto _ : state)
        if (!LImage::Save(image, out.c_str(), settings, 3000))
        {
            state.SkipWithError("save failed");
            break;
        }
    struct stat st;
    if (stat(out.c_str(), &st) == 0)
        state.counters["bytes"] = double(st.st_size);
    state.counters["cpu_s"] = (ProcessCpuSeconds() - cpuBefore) / double(state.iterations());
    unlink(out.c_str());
}

void BM_JPEGDecode(benchmark::State& s)
{
    Decode(s, "QUENDREL_BENCH_JPEG");
}
void BM_JPEGEncodeQ90(benchmark::State& s)
{
    Encode(s, "QUENDREL_BENCH_JPEG", ".jpg");
}
void BM_PNGDecode(benchmark::State& s)
{
    Decode(s, "QUENDREL_BENCH_PNG");
}
void BM_PNGEncode(benchmark::State& s)
{
    Encode(s, "QUENDREL_BENCH_PNG", ".png");
}
// The PNG writer alone, into memory: a file save adds the write and the sync that keeps it safe.
void BM_PNGEncodeMemory(benchmark::State& state)
{
    const char* path = Input("QUENDREL_BENCH_PNG");
    LImageBuffer image;
    if (!path || LImage::Load(image, path) == 0)
    {
        state.SkipWithError("no input photo");
        return;
    }
    const double cpuBefore = ProcessCpuSeconds();
    size_t bytes = 0;
    for (auto _ : state)
    {
        LOutputStream<LOutputStreamByteArray> stream;
        LProcessPNGSave<LOutputStreamByteArray> save;
        save.lpStream = &stream;
        save.lpImage = &image;
        LProcessInterfaceVoid process;
        if (Process(process, save) != LProcessResultSuccess)
        {
            state.SkipWithError("encode failed");
            return;
        }
        bytes = stream.GetArray().size();
    }
    state.counters["bytes"] = double(bytes);
    state.counters["cpu_s"] = (ProcessCpuSeconds() - cpuBefore) / double(state.iterations());
}
} // namespace

BENCHMARK(BM_JPEGDecode)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
BENCHMARK(BM_JPEGEncodeQ90)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
BENCHMARK(BM_PNGDecode)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
BENCHMARK(BM_PNGEncode)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
BENCHMARK(BM_PNGEncodeMemory)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5);
BENCHMARK_MAIN();
