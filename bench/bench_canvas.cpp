// The canvas with a 24-megapixel project in a 1600 × 1000 control on the offscreen platform: one
// repaint while scrolling at fit, 100% and 400%; the time from a property change of one cheap
// element to its low-resolution picture painted on the canvas; the stretch of a small render to
// the page; and the peak resident size with the project open.

#include <benchmark/benchmark.h>

#include <QApplication>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <sys/resource.h>

#include "canvas/QDProjectViewer.h"
#include "canvas/QDViewportRenderer.h"
#include "document/DeleteFileThread.h"
#include "document/LQDCacheStore.h"
#include "document/QDImagePipelineElementProcessingThread.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"
#include "foundation/LMainLoop.h"
#include "image/LImageBuffer.h"
#include "ui/LSceneGraphView.h"

namespace
{
constexpr int kWidth = 6000, kHeight = 4000, kCanvasW = 1600, kCanvasH = 1000;
constexpr double kFullBufferMB = kWidth * kHeight * 4 / 1048576.0;
using Clock = std::chrono::steady_clock;

// Kilobytes of a line of /proc/self/status.
long StatusKB(const char* key)
{
    FILE* f = fopen("/proc/self/status", "r");
    if (!f)
        return 0;
    char line[256];
    long kb = 0;
    while (fgets(line, sizeof(line), f))
        if (strncmp(line, key, strlen(key)) == 0)
            kb = atol(line + strlen(key) + 1);
    fclose(f);
    return kb;
}

// CPU milliseconds of all the process's threads so far: the work, whatever the machine's load.
double ProcessCpuMs()
{
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return (u.ru_utime.tv_sec + u.ru_stime.tv_sec) * 1e3 + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e3;
}

// A cheap element with one property: a number added to the red channel.
class AddRedElement : public QDImagePipelineElement
{
public:
    const char* GetName() const override { return "Add Red"; }
    void SetAmount(int amount)
    {
        iAmount = amount;
        SetDirty();
    }
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override
    {
        const int amount = iAmount;
        for (int y = 0; y < buffer.GetHeight(); ++y)
        {
            if (process.IsToStop())
                return LProcessResultCancelled;
            uint8_t* p = buffer.GetRow(y);
            for (int x = 0; x < buffer.GetWidth(); ++x, p += 4)
                p[2] = uint8_t(std::min(255, p[2] + amount));
        }
        return LProcessResultSuccess;
    }
    std::atomic<int> iAmount{0};
};

// Plays the controller: hands notifications to the viewer and paints what they bring at once.
class Controller : public LQueuedNotifyDataHandler
{
public:
    void EvQueuedNotifyData(int code, void* data, size_t size) override
    {
        if (code == QDRenderNotifyLowRes)
            tLowArrived = Clock::now();
        QDProject* p = QDProjectFromNotification(lpProject, data, size);
        if (p && lpViewer)
            lpViewer->EvRenderNotification(code);
        if (code == QDRenderNotifyLowRes)
        {
            tLowHandled = Clock::now();
            lpView->repaint();
            tLowShown = Clock::now();
        }
        if (code == QDRenderNotifyHighRes || code == QDRenderNotifyFailed || code == QDRenderNotifyCancelled)
            iEnd = code;
    }
    QDProject* lpProject = nullptr;
    QDProjectViewer* lpViewer = nullptr;
    LSceneGraphView* lpView = nullptr;
    Clock::time_point tLowArrived, tLowHandled, tLowShown;
    int iEnd = 0;
};

struct Canvas
{
    Canvas()
    {
        static std::string root = (std::filesystem::temp_directory_path() / "quendrel-bench-XXXXXX").string();
        if (!mkdtemp(root.data()))
            abort();
        setenv("XDG_CACHE_HOME", root.c_str(), 1);
        setenv("XDG_DATA_HOME", root.c_str(), 1);
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
        static int argc = 1;
        static char name[] = "bench_canvas";
        static char* argv[] = {name, nullptr};
        new QApplication(argc, argv);
        LMainLoopBegin();
        deleteThread.StartThread(LThreadPriorityNormal);
        atexit(
            []
            {
                deleteThread.StopThreadNow();
                std::error_code ec;
                std::filesystem::remove_all(root, ec);
            });
        lBaselineKB = StatusKB("VmRSS:");

        LImageBuffer photo;
        LImage::New(photo, kWidth, kHeight, B8G8R8A8);
        for (int y = 0; y < kHeight; ++y)
        {
            uint32_t* row = reinterpret_cast<uint32_t*>(photo.GetRow(y));
            for (int x = 0; x < kWidth; ++x)
                row[x] = (uint32_t(x * 7) & 255) | (uint32_t(y * 3) & 255) << 8 |
                         uint32_t((x ^ y) & 255) << 16 | 0xFF000000u;
        }
        project = new QDProject(kWidth, kHeight);
        project->viewport.fLowResScale =
            QDProjectViewer::ComputeLowResScale(kCanvasW, kCanvasH, kWidth, kHeight);
        QDOriginalImageFactory::CreateLayer(*project, photo, false, false, nullptr);
        photo.Destroy();
        element = project->CreatePipelineElement<AddRedElement>(false);
        viewer = new QDProjectViewer(*project);
        viewer->SetupProjectViewer(true, 0.05f, 5.0f);
        viewer->SyncPipelineElementUis();
        view = new LSceneGraphView(viewer->GetCanvasViewer());
        view->resize(kCanvasW, kCanvasH);
        view->show();
        QApplication::processEvents();
        controller.lpProject = project;
        controller.lpViewer = viewer;
        controller.lpView = view;
        thread.lpNotifyHandler = &controller;
        Render();
    }
    // What the controller's EvRenderProject does, then waiting for the full picture.
    void Render()
    {
        controller.iEnd = 0;
        project->bRenderRequested = true;
        thread.SetCurrentProjectAndStart(project);
        LMainLoopProcessEvents(
            600000, [](void* c) { return static_cast<Controller*>(c)->iEnd != 0; }, &controller);
        thread.WaitToStop();
    }

    QDProject* project = nullptr;
    QDProject* projects = nullptr;
    AddRedElement* element = nullptr;
    QDProjectViewer* viewer = nullptr;
    LSceneGraphView* view = nullptr;
    Controller controller;
    QDImagePipelineElementProcessingThread thread{&projects};
    long lBaselineKB = 0;
};

Canvas& TheCanvas()
{
    static Canvas* c = []
    {
        auto* made = new Canvas;
        made->projects = made->project;
        return made;
    }();
    return *c;
}

// range(0): 0 fit, else the zoom in per cent. Each repaint follows a scroll of 37 pixels.
void BM_RepaintWhileScrolling(benchmark::State& state)
{
    Canvas& c = TheCanvas();
    QDCanvasViewer& canvas = c.viewer->GetCanvasViewer();
    if (state.range(0) == 0)
        canvas.FitCameraToViewport();
    else
        canvas.SetZoom(float(state.range(0)) / 100.0f);
    canvas.CenterCameraOnViewport();
    const float step = canvas.MapOffsetXYToUV(37);
    int i = 0;
    const double cpu0 = ProcessCpuMs();
    for (auto _ : state)
    {
        const float dir = (i++ / 20) % 2 ? -1.0f : 1.0f;
        canvas.SetCameraPosition(canvas.GetCameraU() + dir * step, canvas.GetCameraV() + dir * step / 2);
        c.view->repaint();
    }
    state.counters["zoom_pct"] = canvas.GetZoom() * 100;
    state.counters["cpu_ms"] = (ProcessCpuMs() - cpu0) / double(state.iterations());
}
BENCHMARK(BM_RepaintWhileScrolling)->Arg(0)->Arg(100)->Arg(400)->Unit(benchmark::kMillisecond)->UseRealTime();

// From a changed property to the small picture painted on the canvas, at fit (0) or a zoom in
// per cent; the full render then finishes and is painted before the next round, untimed.
void BM_PropertyChangeToLowResOnCanvas(benchmark::State& state)
{
    Canvas& c = TheCanvas();
    if (state.range(0) == 0)
        c.viewer->GetCanvasViewer().FitCameraToViewport();
    else
        c.viewer->GetCanvasViewer().SetZoom(float(state.range(0)) / 100.0f);
    int amount = 0;
    double cpu = 0, arrive = 0, handle = 0;
    for (auto _ : state)
    {
        c.controller.iEnd = 0;
        c.controller.tLowShown = {};
        const double cpu0 = ProcessCpuMs();
        const Clock::time_point start = Clock::now();
        c.element->SetAmount(++amount % 64);
        c.project->bRenderRequested = true;
        c.thread.SetCurrentProjectAndStart(c.project);
        LMainLoopProcessEvents(
            600000, [](void* k) { return static_cast<Controller*>(k)->tLowShown != Clock::time_point(); },
            &c.controller);
        const double ms = std::chrono::duration<double, std::milli>(c.controller.tLowShown - start).count();
        state.SetIterationTime(ms / 1000.0);
        cpu += ProcessCpuMs() - cpu0;
        arrive += std::chrono::duration<double, std::milli>(c.controller.tLowArrived - start).count();
        handle +=
            std::chrono::duration<double, std::milli>(c.controller.tLowHandled - c.controller.tLowArrived)
                .count();
        LMainLoopProcessEvents(
            600000, [](void* k) { return static_cast<Controller*>(k)->iEnd != 0; }, &c.controller);
        c.thread.WaitToStop();
        // The full picture is painted before the next change, as when a user looks before moving on.
        LMainLoopProcessEvents(150);
    }
    // All threads' work up to the picture on the canvas (the full render has begun by then).
    state.counters["cpu_ms"] = cpu / double(state.iterations());
    // Of the time, until the notification reached the main thread; the rest is showing it.
    state.counters["to_5002_ms"] = arrive / double(state.iterations());
    state.counters["stretch_ms"] = handle / double(state.iterations());
}
BENCHMARK(BM_PropertyChangeToLowResOnCanvas)
    ->Arg(0)
    ->Arg(100)
    ->Iterations(8)
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime();

// Stretching the small render to the whole page, which happens once per arrival when the page is
// shown near full size (at fit only a reduction is made from the small render).
void BM_StretchLowResToPage(benchmark::State& state)
{
    Canvas& c = TheCanvas();
    QDViewportRenderer* r = c.viewer->GetCanvasViewer().GetViewportRenderer();
    LImageBuffer small;
    LQDCacheLoadImage(small, c.project->iLowResCacheId);
    if (!small.IsValid())
        LImage::New(small, QDOriginalImage::LowResSize(kWidth, c.project->viewport.fLowResScale),
                    QDOriginalImage::LowResSize(kHeight, c.project->viewport.fLowResScale), B8G8R8A8);
    const double cpu0 = ProcessCpuMs();
    for (auto _ : state)
    {
        r->EvRenderLowRes(&small);
        benchmark::DoNotOptimize(r->GetDisplayImage().GetBuffer().GetData());
    }
    state.counters["cpu_ms"] = (ProcessCpuMs() - cpu0) / double(state.iterations());
    state.counters["low_w"] = small.GetWidth();
}
BENCHMARK(BM_StretchLowResToPage)->Iterations(10)->Unit(benchmark::kMillisecond)->UseRealTime();

// Last: the peak resident size over everything above, against 96 MB per full-size buffer.
void BM_PeakResident(benchmark::State& state)
{
    Canvas& c = TheCanvas();
    c.element->SetAmount(3);
    for (auto _ : state)
        c.Render();
    const double peakMB = StatusKB("VmHWM:") / 1024.0, baseMB = c.lBaselineKB / 1024.0;
    state.counters["peak_MB"] = peakMB;
    state.counters["above_start_MB"] = peakMB - baseMB;
    state.counters["full_buffers"] = (peakMB - baseMB) / kFullBufferMB;
}
BENCHMARK(BM_PeakResident)->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
} // namespace

BENCHMARK_MAIN();
