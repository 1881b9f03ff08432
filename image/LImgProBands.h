#pragma once
// Splits independent lines of a kernel over the processors on disjoint bands. Every band runs
// the same per-line code as the single-threaded form, so the output doesn't depend on the count.
// The calling thread takes the first band and is the only one that touches the process
// interface (whose IsToStop may pump events); the others follow a shared stop flag.
//
// The other bands run on one pool of workers that lives as long as the program, made on first
// need: a kernel costs no thread creation, and a machine short of threads still gets its work
// done, since the calling thread runs every band that no worker has taken. Workers run at the
// priority of the thread that asked, so a render's bands stay below the user interface.

#include <atomic>
#include <functional>
#include <type_traits>

#include "foundation/LProcessInterface.h"

// Workers used by the kernels; 0 (the default) means one per processor. Tests set 1 to get the
// plain form.
void LImgProSetThreadCount(int count);
int LImgProGetThreadCount();

struct LImgProBand
{
    int iFirst;
    int iCount;
    bool bCaller; // the band run by the calling thread
};

class LImgProBandRunner
{
public:
    static constexpr int kMaxBands = 64;

    // Lines shorter than minPerBand are not worth a thread of their own.
    explicit LImgProBandRunner(int lines, int minPerBand = 16, int threads = 0);

    // Runs fn on each band and waits for all. fn returns false to stop early. The result is 1 when
    // stopped, else 0. Any callable serves; none is copied or allocated.
    template <class Fn>
    int Run(LProcessInterface& process, Fn&& fn)
    {
        using F = std::remove_reference_t<Fn>;
        return RunBands(
            process,
            [](void* context, const LImgProBand& band, LImgProBandRunner& runner) -> bool
            { return (*static_cast<F*>(context))(band, runner); },
            const_cast<void*>(static_cast<const void*>(&fn)));
    }
    int Run(LProcessInterface& process, const std::function<bool(const LImgProBand&, LImgProBandRunner&)>& fn)
    {
        return Run<const std::function<bool(const LImgProBand&, LImgProBandRunner&)>&>(process, fn);
    }

    // Called inside fn once per line or so: on the caller's band it asks the interface (every
    // stopEvery calls) and raises the shared flag; on the others it reads the flag.
    bool IsToStop(const LImgProBand& band);
    // Progress of the caller's band stands for all of them.
    void SetProgress(const LImgProBand& band, double fraction);

    using BandFunction = bool (*)(void* context, const LImgProBand& band, LImgProBandRunner& runner);

    int iLines;
    int iBands;
    int iStopEvery = 1;
    LProcessInterface* lpProcess = nullptr;
    std::atomic<bool> bStop{false};
    int iCallsSinceTest = 0;

private:
    int RunBands(LProcessInterface& process, BandFunction fn, void* context);
};

// The process interface of one band, for code written against LProcessInterface: it stops with
// the runner and reports progress only from the caller's band.
class LImgProBandProcess : public LProcessInterface
{
public:
    LImgProBandProcess(LImgProBandRunner& runner, const LImgProBand& band) : rRunner(runner), rBand(band) {}
    bool IsToStop() override { return rRunner.IsToStop(rBand); }
    int ProcessWait(int) override { return IsToStop() ? 1 : 2; }
    int ProcessWaitSignal(LSignalObject&, int) override { return IsToStop() ? 1 : 2; }
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, int) override { return IsToStop() ? 1 : 2; }
    void SetProgress(double fraction) override { rRunner.SetProgress(rBand, fraction); }

private:
    LImgProBandRunner& rRunner;
    const LImgProBand& rBand;
};

// Workers the pool has made so far, for tests and measurements.
int LImgProGetPoolWorkerCount();
