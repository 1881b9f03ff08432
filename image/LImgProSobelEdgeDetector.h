#pragma once
// Edge strength by the Sobel operator: per channel |gx| + |gy| over the 3 x 3 neighbourhood with
// weights 1, 2, 1, capped at 255. A flat region gives 0.

#include "image/LImgProFrame.h"

class LImgProSobelEdgeDetector
{
public:
    // Source and destination of one size, each B8G8R8A8 or B8G8R8 (else 2). Only interior pixels
    // are written, the one-pixel border keeps what the destination held; a destination that isn't
    // valid yet is made as a B8G8R8 image cleared to black. A 32-bit destination takes the
    // source's alpha (255 from a 24-bit one).
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                           const LImageBuffer& oSource) const;

    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource) const
    {
        if constexpr (std::is_same_v<F, LPFB8G8R8A8> || std::is_same_v<F, LPFB8G8R8>)
            return Process(oProcess, oDest, oSource);
        else
            return LProcessResultFailed;
    }
    template <class F>
    int ProcessImage(LProcessInterface&, LImageBuffer&) const
    {
        return LProcessResultFailed;
    }
};
