#include "image/LImgProBands.h"

#include "foundation/LThread.h"

#include <algorithm>
#include <thread>
#include <vector>

static std::atomic<int> gThreadCount{0};

void LImgProSetThreadCount(int count)
{
    gThreadCount = std::max(0, count);
}

int LImgProGetThreadCount()
{
    const int n = gThreadCount;
    if (n > 0)
        return n;
    return std::clamp(LGetNumberOfProcessors(), 1, 64);
}

LImgProBandRunner::LImgProBandRunner(int lines, int minPerBand, int threads) : iLines(std::max(lines, 0))
{
    const int byWork = std::max(1, iLines / std::max(minPerBand, 1));
    iBands = std::max(1, std::min(threads > 0 ? threads : LImgProGetThreadCount(), byWork));
}

int LImgProBandRunner::Run(LProcessInterface& process,
                           const std::function<bool(const LImgProBand&, LImgProBandRunner&)>& fn)
{
    lpProcess = &process;
    bStop = false;
    // The first line asks, then every iStopEvery-th.
    iCallsSinceTest = iStopEvery - 1;
    if (iLines == 0)
        return process.IsToStop() ? 1 : 0;
    std::vector<LImgProBand> bands;
    const int per = iLines / iBands;
    for (int i = 0; i < iBands; ++i)
        bands.push_back({i * per, i == iBands - 1 ? iLines - i * per : per, i == 0});
    std::vector<std::thread> workers;
    for (int i = 1; i < iBands; ++i)
        workers.emplace_back(
            [this, &fn, band = bands[i]]
            {
                if (!fn(band, *this))
                    bStop = true;
            });
    if (!fn(bands[0], *this))
        bStop = true;
    for (std::thread& t : workers)
        t.join();
    return bStop ? 1 : 0;
}

bool LImgProBandRunner::IsToStop(const LImgProBand& band)
{
    if (band.bCaller && ++iCallsSinceTest >= iStopEvery)
    {
        iCallsSinceTest = 0;
        if (lpProcess->IsToStop())
            bStop = true;
    }
    return bStop.load(std::memory_order_relaxed);
}

void LImgProBandRunner::SetProgress(const LImgProBand& band, double fraction)
{
    if (band.bCaller)
        lpProcess->SetProgress(fraction);
}
