// The controller's figures, with the real window (under Xvfb, or the offscreen platform without a
// display): a new window to its first paint; a 24-megapixel JPEG from the open to its
// low-resolution picture on the canvas; and one property change of an element to the new
// low-resolution picture.

#include <benchmark/benchmark.h>

#include <QApplication>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

#include "app/MainDialog.h"
#include "document/DeleteFileThread.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "foundation/LMainLoop.h"
#include "ui/QDToolkitQt.h"

namespace
{
using Clock = std::chrono::steady_clock;

const std::string gRoot = []
{
    char templ[] = "/tmp/quendrel-bench-XXXXXX";
    std::string root = mkdtemp(templ) ? templ : "/tmp";
    for (const char* sub : {"cache", "data", "config", "run"})
        std::filesystem::create_directories(root + "/" + sub);
    setenv("XDG_CACHE_HOME", (root + "/cache").c_str(), 1);
    setenv("XDG_DATA_HOME", (root + "/data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (root + "/config").c_str(), 1);
    std::filesystem::permissions(root + "/run", std::filesystem::perms::owner_all);
    setenv("XDG_RUNTIME_DIR", (root + "/run").c_str(), 1);
    if (!getenv("DISPLAY") && !getenv("WAYLAND_DISPLAY"))
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
    return root;
}();

int gArgc = 1;
char gName[] = "bench_app";
char* gArgv[] = {gName, nullptr};

// Made in main and gone before the statics, the application with it.
std::unique_ptr<QDToolkitQt> gToolkit;

QDToolkitQt& Toolkit()
{
    return *gToolkit;
}

// Notes the first paint of any widget.
class PaintWatch : public QObject
{
public:
    bool eventFilter(QObject*, QEvent* e) override
    {
        if (e->type() == QEvent::Paint)
            bPainted = true;
        return false;
    }
    bool bPainted = false;
};

// A 6000 × 4000 JPEG of the sample photo, made once by another tool.
const std::string& BigJpeg()
{
    static const std::string path = []
    {
        const std::string p = gRoot + "/big.jpg";
        const std::string command =
            "convert /usr/share/backgrounds/mate/nature/Dune.jpg -resize '6000x4000!' "
            "-quality 90 " +
            p;
        return system(command.c_str()) == 0 ? p : std::string();
    }();
    return path;
}

bool Pump(const std::function<bool()>& done, int milliseconds = 60000)
{
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (!done() && Clock::now() < end)
        LMainLoopProcessEvents(1);
    return done();
}

struct Window
{
    Window() : dialog(Toolkit())
    {
        if (!deleteThread.IsRunning())
            deleteThread.StartThread(LThreadPriorityNormal);
        ok = dialog.CreateMainWindow();
        dialog.TimerReset(2095); // no welcome, no recovery
        dialog.fnRenderNotified = [this](int code, QDProject* p)
        {
            if (p == dialog.GetCurrentProject())
                iLastCode = code;
        };
    }
    ~Window()
    {
        while (QDProject* p = dialog.GetFirstProject())
            dialog.CloseProject(p);
        dialog.DestroyMainWindow();
    }
    MainDialog dialog;
    int iLastCode = 0;
    bool ok = false;
};

void BM_WindowToFirstPaint(benchmark::State& state)
{
    for (auto _ : state)
    {
        PaintWatch watch;
        qApp->installEventFilter(&watch);
        const auto start = Clock::now();
        {
            Window w;
            if (!w.ok || !Pump([&] { return watch.bPainted; }, 10000))
            {
                state.SkipWithError("the window never painted");
                qApp->removeEventFilter(&watch);
                return;
            }
            state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        }
        qApp->removeEventFilter(&watch);
        LMainLoopProcessEvents(10);
    }
}
BENCHMARK(BM_WindowToFirstPaint)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

void BM_Open24MegapixelJpegToLowRes(benchmark::State& state)
{
    if (BigJpeg().empty())
    {
        state.SkipWithError("ImageMagick could not make the photo");
        return;
    }
    Window w;
    for (auto _ : state)
    {
        w.iLastCode = 0;
        LProcessInterfaceVoid process;
        const auto start = Clock::now();
        if (w.dialog.FileOpen(process, BigJpeg().c_str()) != LProcessResultSuccess ||
            !Pump([&] { return w.iLastCode == 5002 || w.iLastCode == 5003; }))
        {
            state.SkipWithError("the photo never reached the canvas");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        Pump([&] { return !w.dialog.threadRender.IsRunning(); });
        w.dialog.CloseProject(w.dialog.GetCurrentProject());
    }
}
BENCHMARK(BM_Open24MegapixelJpegToLowRes)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_PropertyChangeToLowRes(benchmark::State& state)
{
    if (BigJpeg().empty())
    {
        state.SkipWithError("ImageMagick could not make the photo");
        return;
    }
    Window w;
    LProcessInterfaceVoid process;
    if (w.dialog.FileOpen(process, BigJpeg().c_str()) != LProcessResultSuccess)
    {
        state.SkipWithError("no photo");
        return;
    }
    w.dialog.Command(6022, 0);
    QDProject* project = w.dialog.GetCurrentProject();
    auto* element = dynamic_cast<QDWrappedPropertiesElement*>(project->pipeline.GetElement(1));
    if (!element || !Pump([&] { return w.iLastCode == 5003; }, 120000))
    {
        state.SkipWithError("no blur");
        return;
    }
    const double low = element->GetPropertyValue(0);
    int i = 0;
    for (auto _ : state)
    {
        w.iLastCode = 0;
        const auto start = Clock::now();
        // What a slider's move does: the property, then the window's render message.
        element->SetPropertyValue(0, ++i % 2 ? low * 0.5 : low, false);
        w.dialog.EvInterWinMessage(1, 0, 0);
        if (!Pump([&] { return w.iLastCode == 5002 || w.iLastCode == 5003; }))
        {
            state.SkipWithError("no new picture");
            return;
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
        // The full render of one move finishes before the next, as when the slider rests.
        Pump([&] { return !w.dialog.threadRender.IsRunning(); }, 120000);
    }
}
BENCHMARK(BM_PropertyChangeToLowRes)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    gToolkit = std::make_unique<QDToolkitQt>(gArgc, gArgv);
    if (gToolkit->InitApplication())
        benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    deleteThread.StopThreadNow();
    gToolkit.reset();
    std::error_code ec;
    std::filesystem::remove_all(gRoot, ec);
    return 0;
}
