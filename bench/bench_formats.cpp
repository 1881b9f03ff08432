// Reading and writing a 24-megapixel photo-like picture in each of the small formats, through
// memory streams (PSD writes to a file, its only stream). Rates count the picture's 24-bit size.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>
#include <vector>

#include "codecs/LCodecPCX.h"
#include "codecs/LCodecPNM.h"
#include "codecs/LCodecPSD.h"
#include "codecs/LCodecRAS.h"
#include "codecs/LCodecTGA.h"
#include "codecs/LCodecWBMP.h"

namespace
{

constexpr int kWidth = 6000, kHeight = 4000;
constexpr int64_t kPictureBytes = int64_t(kWidth) * kHeight * 3;

class Silent : public LProcessInterface
{
public:
    bool IsToStop() override { return false; }
    int ProcessWait(int) override { return 2; }
    int ProcessWaitSignal(LSignalObject&, int) override { return 2; }
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, int) override { return 2; }
};

// Gradients with flat patches and a little noise, as a photo has both runs and detail.
const LImageBuffer& Source()
{
    static LImageBuffer image;
    if (!image.IsValid())
    {
        image.AllocateNewBuffer(LImageFormat(B8G8R8A8, kWidth, kHeight));
        for (int y = 0; y < kHeight; ++y)
        {
            uint8_t* p = image.GetRow(y);
            for (int x = 0; x < kWidth; ++x, p += 4)
            {
                const unsigned noise = (unsigned(x) * 2654435761u ^ unsigned(y) * 40503u) >> 30;
                const bool flat = ((x / 64) + (y / 32)) % 3 == 0;
                p[0] = uint8_t(flat ? 90 : (x + y) / 40 + noise);
                p[1] = uint8_t(flat ? 40 : y * 255 / kHeight);
                p[2] = uint8_t(flat ? 200 : x * 255 / kWidth + noise);
                p[3] = 255;
            }
        }
    }
    return image;
}

template <template <class> class Save>
std::vector<uint8_t> EncodeToMemory(const LImageBuffer& image, int pnmType = 5)
{
    LOutputStream<LOutputStreamByteArray> stream;
    Save<LOutputStreamByteArray> data;
    data.lpStream = &stream;
    data.lpImage = &image;
    if constexpr (requires { data.settings.iType; })
        data.settings.iType = pnmType;
    Silent silent;
    Process(silent, data);
    return stream.GetArray();
}

template <template <class> class Save>
void BenchWrite(benchmark::State& state)
{
    const LImageBuffer& image = Source();
    size_t size = 0;
    for (auto _ : state)
        size = EncodeToMemory<Save>(image, int(state.range(0))).size();
    state.SetBytesProcessed(state.iterations() * kPictureBytes);
    state.counters["file_MB"] = double(size) / 1e6;
}

template <template <class> class Load, template <class> class Save>
void BenchRead(benchmark::State& state)
{
    const std::vector<uint8_t> file = EncodeToMemory<Save>(Source(), int(state.range(0)));
    for (auto _ : state)
    {
        LInputStream<LInputStreamBuffer> stream(file.data(), file.size());
        LImageBuffer image;
        Load<LInputStreamBuffer> data;
        data.lpStream = &stream;
        data.lpImage = &image;
        Silent silent;
        if (Process(silent, data) != LProcessResultSuccess)
            state.SkipWithError("decoding failed");
    }
    state.SetBytesProcessed(state.iterations() * kPictureBytes);
}

const std::string kPsdPath = "/tmp/quendrel-bench-formats.psd";

void BenchWritePSD(benchmark::State& state)
{
    const LImageBuffer& image = Source();
    for (auto _ : state)
    {
        LOutputStream<LOutputStreamFile> stream;
        stream.Open(kPsdPath.c_str());
        LProcessPSDSave<LOutputStreamFile> data;
        data.lpStream = &stream;
        data.lpImage = &image;
        Silent silent;
        if (Process(silent, data) != LProcessResultSuccess || !stream.Close())
            state.SkipWithError("encoding failed");
    }
    state.SetBytesProcessed(state.iterations() * kPictureBytes);
}

void BenchReadPSD(benchmark::State& state)
{
    for (auto _ : state)
    {
        LInputStream<LInputStreamFile> stream;
        stream.Open(kPsdPath.c_str());
        LImageBuffer image;
        LProcessPSDLoad<LInputStreamFile> data;
        data.lpStream = &stream;
        data.lpImage = &image;
        Silent silent;
        if (Process(silent, data) != LProcessResultSuccess)
            state.SkipWithError("decoding failed");
    }
    state.SetBytesProcessed(state.iterations() * kPictureBytes);
    remove(kPsdPath.c_str());
}

} // namespace

#define FORMAT_BENCH(name, Load, Save, arg)                                                                  \
    BENCHMARK(BenchWrite<Save>)                                                                              \
        ->Name("Write" name)                                                                                 \
        ->Arg(arg)                                                                                           \
        ->Unit(benchmark::kMillisecond)                                                                      \
        ->Iterations(3)                                                                                      \
        ->UseRealTime();                                                                                     \
    BENCHMARK(BenchRead<Load, Save>)                                                                         \
        ->Name("Read" name)                                                                                  \
        ->Arg(arg)                                                                                           \
        ->Unit(benchmark::kMillisecond)                                                                      \
        ->Iterations(3)                                                                                      \
        ->UseRealTime()

FORMAT_BENCH("TGA", LProcessTGALoad, LProcessTGASave, 0);
FORMAT_BENCH("PCX", LProcessPCXLoad, LProcessPCXSave, 0);
FORMAT_BENCH("RAS", LProcessRASLoad, LProcessRASSave, 0);
FORMAT_BENCH("PNM/P6", LProcessPNMLoad, LProcessPNMSave, 5);
FORMAT_BENCH("PNM/P5", LProcessPNMLoad, LProcessPNMSave, 4);
FORMAT_BENCH("PNM/P3", LProcessPNMLoad, LProcessPNMSave, 2);
FORMAT_BENCH("WBMP", LProcessWBMPLoad, LProcessWBMPSave, 0);
BENCHMARK(BenchWritePSD)->Name("WritePSD/file")->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
BENCHMARK(BenchReadPSD)->Name("ReadPSD/file")->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

BENCHMARK_MAIN();
