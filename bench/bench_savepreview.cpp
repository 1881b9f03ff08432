// The save dialog's preview of a 24-megapixel photo: from a change of the settings to the new
// pane and size, that is the picture encoded into memory, decoded back, and fitted to a pane.
// The photo is QUENDREL_BENCH_PHOTO, else the stock background, enlarged to 6000x4000. The
// flattened copy the dialog keeps from its first preview is made before the timing, as it is
// when a setting changes.

#include <benchmark/benchmark.h>

#include <cstdlib>

#include "codecs/LImage.h"
#include "codecs/QDSaveDialogProcess.h"
#include "image/LImgProScale.h"

namespace
{
const LImageBuffer* Photo()
{
    static LImageBuffer* photo = []
    {
        const char* path = getenv("QUENDREL_BENCH_PHOTO");
        LImageBuffer source;
        if (LImage::Load(source, path && *path ? path : "/usr/share/backgrounds/mate/nature/Dune.jpg") == 0)
            return static_cast<LImageBuffer*>(nullptr);
        auto* out = new LImageBuffer;
        LProcessInterfaceVoid process;
        if (!out->AllocateNewBuffer(LImageFormat(B8G8R8A8, 6000, 4000)) ||
            LImgProScaleLinear(process, *out, source) != LProcessResultSuccess)
            return static_cast<LImageBuffer*>(nullptr);
        return out;
    }();
    return photo;
}

void Preview(benchmark::State& state, LImageCodecID codec, int quality)
{
    const LImageBuffer* photo = Photo();
    if (!photo)
    {
        state.SkipWithError("no photo");
        return;
    }
    LImageBuffer flattened;
    LProcessInterfaceVoid process;
    size_t bytes = 0;
    {
        // The dialog's first preview already made the flattened copy (when the photo needs one).
        const LImageBuffer* source;
        QDSaveGetSourceImage(process, LImageCodec(codec), *photo, flattened, source);
    }
    for (auto _ : state)
    {
        QDSaveDialogProcessPreview data;
        data.lpImage = photo;
        data.lpFlattened = &flattened;
        data.format.codec = LImageCodec(codec);
        data.format.settings.jpeg.SetQuality(quality);
        if (Process(process, data) != LProcessResultSuccess)
        {
            state.SkipWithError("preview failed");
            return;
        }
        // The pane: a fit of about half a screen.
        const LImageBuffer& shown = data.bDecoded ? data.preview : *photo;
        LImageBuffer pane;
        pane.AllocateNewBuffer(LImageFormat(B8G8R8A8, 480, 320));
        LImgProScaleLinear(process, pane, shown);
        bytes = data.vFile.size();
        benchmark::DoNotOptimize(pane.GetData());
    }
    state.counters["bytes"] = double(bytes);
}
} // namespace

BENCHMARK_CAPTURE(Preview, JPEG90, LImageCodecJPEG, 90)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Preview, PNG, LImageCodecPNG, 0)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(Preview, GIF, LImageCodecGIF, 0)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
