#pragma once
// Mirroring: horizontal, vertical or both, in place or into a second buffer.

#include "image/LImgProFrame.h"

class LImgProFlip
{
public:
    enum
    {
        None = 0,
        Horizontal = 1,
        Vertical = 2,
        Both = 3
    };
    int iFlip = None;

    LImgProFlip() = default;
    explicit LImgProFlip(int flip) : iFlip(flip) {}

    // In place for formats 0 to 3; B5G5R5X1 has no in-place form and fails, as it always has.
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        if constexpr (std::is_same_v<F, LPFB5G5R5X1>)
            return LProcessResultFailed;
        else
            return Process(oProcess, oImage, oImage, sizeof(F));
    }
    // Two buffers, all five formats; oDest must have oSource's size.
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource) const
    {
        return Process(oProcess, oDest, oSource, sizeof(F));
    }
    // Planar video: the Y plane at full size, U and V at half size rounded up. oDest may be
    // oSource.
    LProcessResult ProcessYUV420P(LProcessInterface& oProcess, LImageBuffer& oDest,
                                  const LImageBuffer& oSource) const;

private:
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource,
                           int bpp) const;
};

// Mirrors one plane of w x h pixels of bpp bytes; dst may equal src. Rows are banded over the
// processors.
LProcessResult LImgProFlipPlane(LProcessInterface& oProcess, int iFlip, uint8_t* dst, ptrdiff_t dstStride,
                                const uint8_t* src, ptrdiff_t srcStride, int w, int h, int bpp);
