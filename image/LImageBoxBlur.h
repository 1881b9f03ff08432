#pragma once
// A box blur for masks and shadows: integer means over a window that is clipped at the line
// ends. Three passes each way approximate a Gaussian. 32-bit images; all four channels alike.

#include "foundation/LThread.h"
#include "image/LImageBuffer.h"

struct LImageBlurSettings
{
    LImageBuffer* lpImage = nullptr;
    unsigned long iRadius = 0;
    int iThreads = 0; // 0: one per processor
    int iPasses = 1;
};

// Blurs lines iFirst to iFirst + iCount - 1 (rows when bHorizontal, else columns) in place. The
// radius is capped at (length - 1) / 2.
LProcessResult LImageBoxBlur(LProcessInterface& oProcess, LImageBuffer& oImage, bool bHorizontal,
                             unsigned long iFirst, unsigned long iCount, unsigned long iRadius);

// Blurs its share of the lines; its own stop flag is the process interface of the work.
class LImageBlurThread : public LThread
{
public:
    ~LImageBlurThread() override;
    void ThreadFunction() override;

    bool bHorizontal = true;
    unsigned long iFirst = 0;
    unsigned long iCount = 0;
    unsigned long iRadius = 0;
    LImageBuffer* lpImage = nullptr;
    LProcessResult eResult = LProcessResultSuccess;
};

// All horizontal passes, then all vertical ones, each split over the threads by lines (the last
// takes the remainder); the caller polls every 100 ms and stops them all when asked.
LProcessResult Process(LProcessInterface& oProcess, LImageBlurSettings& oSettings);
