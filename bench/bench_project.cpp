// The project file on a 24-megapixel project holding the original photo and three effects: save
// (with the original's PNG already made, and with it made afresh), load, and the recovery file the
// render thread writes after a property change, which must stay under 0.2 s and must not encode
// the unchanged original again.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/stat.h>

#include "codecs/LImage.h"
#include "document/DeleteFileThread.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"
#include "document/QDProjectFile.h"
#include "effects/QDEffectBlur.h"
#include "effects/QDEffectCatalogue.h"
#include "image/LImageTransform.h"

namespace
{
constexpr int kWidth = 6000, kHeight = 4000;

std::string gRoot;
QDEffectCatalogue* gCatalogue = nullptr;

void Setup()
{
    if (gCatalogue)
        return;
    gRoot = (std::filesystem::temp_directory_path() / "quendrel-bench-project-XXXXXX").string();
    if (!mkdtemp(gRoot.data()))
        abort();
    setenv("XDG_CACHE_HOME", gRoot.c_str(), 1);
    setenv("XDG_DATA_HOME", gRoot.c_str(), 1);
    deleteThread.StartThread(LThreadPriorityNormal);
    gCatalogue = new QDEffectCatalogue;
    gCatalogue->Register();
    atexit(
        []
        {
            deleteThread.StopThreadNow();
            std::error_code ec;
            std::filesystem::remove_all(gRoot, ec);
        });
}

// A real photo compresses like one; the stock background scaled up, else a noisy pattern.
void MakePhoto(LImageBuffer& photo)
{
    LImageBuffer source;
    LProcessInterfaceVoid silent;
    const char* sample = getenv("QUENDREL_BENCH_PHOTO");
    if (LImage::Load(source, sample ? sample : "/usr/share/backgrounds/mate/nature/Dune.jpg") &&
        LImage::Resize(silent, source, photo, kWidth, kHeight, false, LImage::ResizeBilinear) == 0)
        return;
    LImage::New(photo, kWidth, kHeight);
    uint32_t seed = 12345;
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
        {
            seed = seed * 1664525 + 1013904223;
            uint8_t* p = photo.GetRow(y) + 4 * x;
            p[0] = uint8_t(x / 24 + (seed >> 29));
            p[1] = uint8_t(y / 16 + (seed >> 28));
            p[2] = uint8_t((x + y) / 40 + (seed >> 27));
            p[3] = 255;
        }
}

// One project for all the cases: the photo, a blur, a sharpen and a noise reduction.
QDProject& Project()
{
    static std::unique_ptr<QDProject> project;
    if (!project)
    {
        Setup();
        LImageBuffer photo;
        MakePhoto(photo);
        project = std::make_unique<QDProject>(kWidth, kHeight);
        QDOriginalImageFactory::CreateLayer(*project, photo, false, false, nullptr);
        for (const char* type : {"blur", "sharpen", "noise"})
            gCatalogue->MapTypeIdToEffectFactory(type)->CreateLayer(*project, nullptr, true);
    }
    return *project;
}

QDOriginalImage& Original()
{
    return *static_cast<QDOriginalImage*>(Project().GetOriginalImage());
}

int64_t FileSize(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? int64_t(st.st_size) : 0;
}

void BM_ProjectSave(benchmark::State& state)
{
    QDProject& project = Project();
    const bool encode = state.range(0) != 0;
    const std::string path = gRoot + "/bench.qdj";
    LProcessInterfaceVoid silent;
    Original().GetEncodedSource(silent);
    for (auto _ : state)
    {
        if (encode)
        {
            state.PauseTiming();
            Original().SourceChanged();
            state.ResumeTiming();
        }
        if (QDProjectFileSave(silent, project, path.c_str()) != LProcessResultSuccess)
            state.SkipWithError("save failed");
    }
    state.SetBytesProcessed(state.iterations() * FileSize(path));
    state.counters["file_MB"] = double(FileSize(path)) / 1e6;
}
BENCHMARK(BM_ProjectSave)
    ->ArgName("encode")
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

void BM_ProjectLoad(benchmark::State& state)
{
    QDProject& project = Project();
    const std::string path = gRoot + "/load.qdj";
    LProcessInterfaceVoid silent;
    if (QDProjectFileSave(silent, project, path.c_str()) != LProcessResultSuccess)
        state.SkipWithError("save failed");
    std::unique_ptr<QDProject> loaded;
    for (auto _ : state)
    {
        // The last project's destruction isn't this load's.
        state.PauseTiming();
        loaded = std::make_unique<QDProject>(1024, 768);
        state.ResumeTiming();
        if (QDProjectFileLoad(silent, *loaded, nullptr, path.c_str(), gCatalogue->lFactories) !=
                LProcessResultSuccess ||
            loaded->GetNumElements() != 4)
            state.SkipWithError("load failed");
    }
    state.SetBytesProcessed(state.iterations() * FileSize(path));
}
BENCHMARK(BM_ProjectLoad)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// What the render thread does after a slider moved: the recovery file, with the blur changed and
// the original as it was.
void BM_RecoveryAfterPropertyChange(benchmark::State& state)
{
    QDProject& project = Project();
    LProcessInterfaceVoid silent;
    const auto png = Original().GetEncodedSource(silent);
    auto* blur = static_cast<QDEffectBlur*>(project.pipeline.GetElement(1));
    double radius = 10;
    for (auto _ : state)
    {
        state.PauseTiming();
        blur->SetProperties({radius += 1, QDEffectBlur::Standard}, true);
        state.ResumeTiming();
        if (!QDProjectFileSaveRecovery(project))
            state.SkipWithError("recovery write failed");
    }
    if (Original().GetEncodedSource(silent) != png)
        state.SkipWithError("the unchanged original was encoded again");
    std::string path;
    QDProjectFileGetRecoveryPath(project, path);
    state.SetBytesProcessed(state.iterations() * FileSize(path));
    state.counters["file_MB"] = double(FileSize(path)) / 1e6;
}
BENCHMARK(BM_RecoveryAfterPropertyChange)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(10);
} // namespace

BENCHMARK_MAIN();
