// The save dialog on a 24-megapixel photo, on the offscreen platform: from the release of the
// quality slider at 90 to the new picture in the pane and the new size shown. The photo is
// QUENDREL_BENCH_PHOTO, else the stock background, enlarged to 6000x4000. Between timings the
// slider goes to 89 and back, so each timed change is a real one.

#include <benchmark/benchmark.h>

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QSlider>

#include <cstdlib>
#include <memory>

#include "codecs/LImage.h"
#include "image/LImgProScale.h"
#include "ui/QDSaveAsDialog.h"

namespace
{
std::shared_ptr<const LImageBuffer> Photo()
{
    static std::shared_ptr<const LImageBuffer> photo = []
    {
        const char* path = getenv("QUENDREL_BENCH_PHOTO");
        LImageBuffer source;
        if (LImage::Load(source, path && *path ? path : "/usr/share/backgrounds/mate/nature/Dune.jpg") == 0)
            return std::shared_ptr<const LImageBuffer>();
        auto out = std::make_shared<LImageBuffer>();
        LProcessInterfaceVoid process;
        if (!out->AllocateNewBuffer(LImageFormat(B8G8R8A8, 6000, 4000)) ||
            LImgProScaleLinear(process, *out, source) != LProcessResultSuccess)
            return std::shared_ptr<const LImageBuffer>();
        return std::shared_ptr<const LImageBuffer>(std::move(out));
    }();
    return photo;
}

// As a person lets go of the slider at a new value.
bool Release(QDSaveAsDialog& dialog, int quality)
{
    dialog.lpQuality->setValue(quality);
    emit dialog.lpQuality->sliderReleased();
    return dialog.WaitForPreview(60000);
}

void BM_SaveDialogQualityChange(benchmark::State& state)
{
    const std::shared_ptr<const LImageBuffer> photo = Photo();
    if (!photo)
    {
        state.SkipWithError("no photo");
        return;
    }
    QDSaveAsDialog::iLastFormatIndex = -1;
    QDSaveAsDialog dialog(nullptr, nullptr, photo);
    dialog.InitDialog();
    dialog.show();
    if (!dialog.WaitForPreview(60000) ||
        !dialog.lpFormat->currentText().startsWith(QStringLiteral(".JPEG (")))
    {
        state.SkipWithError("no first JPEG preview");
        return;
    }
    for (auto _ : state)
    {
        state.PauseTiming();
        const bool away = Release(dialog, 89);
        state.ResumeTiming();
        if (!away || !Release(dialog, 90))
        {
            state.SkipWithError("preview failed");
            return;
        }
    }
    state.counters["bytes"] = double(dialog.GetProjectedFile().size());
}
BENCHMARK(BM_SaveDialogQualityChange)->Iterations(5)->Unit(benchmark::kMillisecond)->UseRealTime();
} // namespace

int main(int argc, char** argv)
{
    if (!getenv("QT_QPA_PLATFORM"))
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
