#pragma once
// Rotation: by right angles with a clip rectangle (the fast path of rotate-and-crop and of the
// quarter turns), and by any angle with bilinear resampling about the centre.

#include "image/LImgProFrame.h"

// Left and top inclusive, right and bottom exclusive.
struct LRectangle
{
    int32_t left = 0, top = 0, right = 0, bottom = 0;
};

struct rgb_uint8_t
{
    uint8_t b, g, r;
};

// Row walkers: one source column to one destination row. count pixels are read from src,
// stepping srcStep bytes (the sign carries the direction, bottom-up buffers included). The 90
// degree walker goes up the column, the 270 degree one down it.
template <class T>
inline void RotateLoopAdvance(T* dst, const uint8_t* src, ptrdiff_t srcStride, int count)
{
    for (int i = 0; i < count; ++i, src -= srcStride)
        dst[i] = *reinterpret_cast<const T*>(src);
}
template <class T>
inline void RotateLoopAdvance270(T* dst, const uint8_t* src, ptrdiff_t srcStride, int count)
{
    for (int i = 0; i < count; ++i, src += srcStride)
        dst[i] = *reinterpret_cast<const T*>(src);
}

// Rotates oSource clockwise by iAngle (normalised here to 0, 90, 180 or 270; others fail) into
// oDest, which the caller has allocated. oClip is a rectangle of the rotated image (for 90 and
// 270 its width runs along the source's height) and fills oDest; where it reaches beyond the
// image the destination gets zero bytes. A clip wholly outside makes oDest blank (zero colour,
// alpha 255) and is not an error.
LProcessResult RotateClipBuffer(LImageBuffer& oDest, const LImageBuffer& oSource, int& iAngle,
                                unsigned long iBytesPerPixel, LRectangle& oClip);

// Normalises an angle in degrees to 0 up to but not including 360.
int LImgProNormaliseAngle(int iAngle);

class LImgProRotoClip
{
public:
    LImgProRotoClip(int angle, const LRectangle& clip);

    int iAngle;
    LRectangle oClip;

    // Two buffers; formats 0 to 3.
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource) const
    {
        if constexpr (std::is_same_v<F, LPFB5G5R5X1>)
            return LProcessResultFailed;
        else
            return Process(oProcess, oDest, oSource, sizeof(F));
    }
    template <class F>
    int ProcessImage(LProcessInterface&, LImageBuffer&) const
    {
        return LProcessResultFailed;
    }

protected:
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource,
                           int bpp) const;
};

// Planar video: each plane on its own with the clip halved; outside the image Y is 16 and U, V
// are 128.
class LImgProRotoClipYUV420P : public LImgProRotoClip
{
public:
    using LImgProRotoClip::LImgProRotoClip;
    uint8_t arFill[3] = {16, 128, 128};

    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                           const LImageBuffer& oSource) const;
};

// Bilinear rotation of a 32-bit image by dRadians clockwise about the centres of both images.
// Colours are interpolated weighted by alpha, so transparent pixels and the outside (which is
// transparent) don't darken edges. oDest is allocated by the caller at the wanted size.
LProcessResult LImgProRotateBilinear(LProcessInterface& oProcess, LImageBuffer& oDest,
                                     const LImageBuffer& oSource, double dRadians);
