#pragma once
// Splits independent lines of a kernel over the processors on disjoint bands. Every band runs
// the same per-line code as the single-threaded form, so the output doesn't depend on the count.
// The calling thread takes the first band and is the only one that touches the process
// interface (whose IsToStop may pump events); the others follow a shared stop flag.

#include <atomic>
#include <functional>

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
    // Lines shorter than minPerBand are not worth a thread of their own.
    explicit LImgProBandRunner(int lines, int minPerBand = 16, int threads = 0);

    // Runs fn on each band and waits for all. fn returns false to stop early. The result is 1 when
    // stopped, else 0.
    int Run(LProcessInterface& process,
            const std::function<bool(const LImgProBand&, LImgProBandRunner&)>& fn);

    // Called inside fn once per line or so: on the caller's band it asks the interface (every
    // stopEvery calls) and raises the shared flag; on the others it reads the flag.
    bool IsToStop(const LImgProBand& band);
    // Progress of the caller's band stands for all of them.
    void SetProgress(const LImgProBand& band, double fraction);

    int iLines;
    int iBands;
    int iStopEvery = 1;
    LProcessInterface* lpProcess = nullptr;
    std::atomic<bool> bStop{false};
    int iCallsSinceTest = 0;
};
