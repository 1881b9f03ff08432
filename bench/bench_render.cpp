// The render thread on a 24-megapixel project: time from the render request to the
// low-resolution picture (5002) and to the full one (5003), with one cheap element and with a
// chain of five; and the picture cache's write and read speed.

#include <benchmark/benchmark.h>

#include <QCoreApplication>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "document/DeleteFileThread.h"
#include "document/LQDCacheStore.h"
#include "document/QDImagePipelineElementProcessingThread.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"
#include "foundation/LMainLoop.h"
#include "image/LImageBuffer.h"

namespace
{
constexpr int kWidth = 6000, kHeight = 4000;
using Clock = std::chrono::steady_clock;

void Setup()
{
    static bool done = false;
    if (done)
        return;
    done = true;
    // Never the user's own cache.
    static std::string root = (std::filesystem::temp_directory_path() / "quendrel-bench-XXXXXX").string();
    if (!mkdtemp(root.data()))
        abort();
    setenv("XDG_CACHE_HOME", root.c_str(), 1);
    setenv("XDG_DATA_HOME", root.c_str(), 1);
    static int argc = 1;
    static char name[] = "bench_render";
    static char* argv[] = {name, nullptr};
    new QCoreApplication(argc, argv);
    LMainLoopBegin();
    deleteThread.StartThread(LThreadPriorityNormal);
    atexit(
        []
        {
            deleteThread.StopThreadNow();
            std::error_code ec;
            std::filesystem::remove_all(root, ec);
        });
}

void MakePhoto(LImageBuffer& b)
{
    LImage::New(b, kWidth, kHeight, B8G8R8A8);
    for (int y = 0; y < kHeight; ++y)
    {
        uint32_t* row = reinterpret_cast<uint32_t*>(b.GetRow(y));
        for (int x = 0; x < kWidth; ++x)
            row[x] = (uint32_t(x * 7) & 255) | (uint32_t(y * 3) & 255) << 8 | uint32_t((x ^ y) & 255) << 16 |
                     0xFF000000u;
    }
}

// A cheap element: inverts the colour channels.
class InvertElement : public QDImagePipelineElement
{
public:
    const char* GetName() const override { return "Invert"; }
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override
    {
        for (int y = 0; y < buffer.GetHeight(); ++y)
        {
            if (process.IsToStop())
                return LProcessResultCancelled;
            uint32_t* row = reinterpret_cast<uint32_t*>(buffer.GetRow(y));
            for (int x = 0; x < buffer.GetWidth(); ++x)
                row[x] ^= 0x00FFFFFFu;
            if ((y & 63) == 0)
                process.SetProgress(double(y) / buffer.GetHeight());
        }
        process.SetProgress(1.0);
        return LProcessResultSuccess;
    }
};

class Timer : public LQueuedNotifyDataHandler
{
public:
    void EvQueuedNotifyData(int code, void*, size_t) override
    {
        if (code == QDRenderNotifyLowRes)
            tLow = Clock::now();
        else if (code == QDRenderNotifyHighRes || code == QDRenderNotifyFailed ||
                 code == QDRenderNotifyCancelled)
        {
            tHigh = Clock::now();
            iEnd = code;
        }
    }
    Clock::time_point tLow, tHigh;
    int iEnd = 0;
};

void BM_RenderProject(benchmark::State& state)
{
    Setup();
    LImageBuffer photo;
    MakePhoto(photo);
    QDProject* project = new QDProject(kWidth, kHeight);
    QDOriginalImageFactory::CreateLayer(*project, photo, false, false, nullptr);
    photo.Destroy();
    std::vector<InvertElement*> chain;
    for (int i = 0; i < state.range(0); ++i)
        chain.push_back(project->CreatePipelineElement<InvertElement>(false));
    QDProject* projects = project;
    Timer timer;
    QDImagePipelineElementProcessingThread thread(&projects);
    thread.lpNotifyHandler = &timer;

    double lowMs = 0, highMs = 0;
    for (auto _ : state)
    {
        chain.front()->SetDirty();
        timer.iEnd = 0;
        Clock::time_point start = Clock::now();
        // What the controller's EvRenderProject does.
        project->bRenderRequested = true;
        thread.SetCurrentProjectAndStart(project);
        LMainLoopProcessEvents(
            600000, [](void* t) { return static_cast<Timer*>(t)->iEnd != 0; }, &timer);
        thread.WaitToStop();
        if (timer.iEnd != QDRenderNotifyHighRes)
            state.SkipWithError("render did not finish");
        lowMs += std::chrono::duration<double, std::milli>(timer.tLow - start).count();
        highMs += std::chrono::duration<double, std::milli>(timer.tHigh - start).count();
    }
    state.counters["to_5002_ms"] = lowMs / double(state.iterations());
    state.counters["to_5003_ms"] = highMs / double(state.iterations());
    thread.ProjectClosed(project);
    delete project;
}
BENCHMARK(BM_RenderProject)->Arg(1)->Arg(5)->Iterations(3)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CacheWrite(benchmark::State& state)
{
    Setup();
    LImageBuffer photo;
    MakePhoto(photo);
    int id = LQDCacheNewImage(photo);
    for (auto _ : state)
        LQDCacheSaveImage(photo, id);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(photo.GetFormat().CalculateBufferSize()));
    LQDCacheInvalidate(id);
}
BENCHMARK(BM_CacheWrite)->Iterations(5)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CacheRead(benchmark::State& state)
{
    Setup();
    LImageBuffer photo, back;
    MakePhoto(photo);
    int id = LQDCacheNewImage(photo);
    for (auto _ : state)
        LQDCacheLoadImage(back, id);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(photo.GetFormat().CalculateBufferSize()));
    LQDCacheInvalidate(id);
}
BENCHMARK(BM_CacheRead)->Iterations(5)->Unit(benchmark::kMillisecond)->UseRealTime();
} // namespace

BENCHMARK_MAIN();
