#pragma once
// A box blur for masks and shadows: integer means over a window that is clipped at the line
// ends. Three passes each way approximate a Gaussian. 32-bit images; all four channels alike.

#include "foundation/LProcessInterface.h"
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

// All horizontal passes, then all vertical ones, each split into iThreads bands of lines (the last
// takes the remainder) that run on the band workers; stops when the interface says so.
LProcessResult Process(LProcessInterface& oProcess, LImageBlurSettings& oSettings);
