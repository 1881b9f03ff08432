#pragma once
// Lens distortion: each output pixel samples the source along its ray from the centre, scaled by
// atan(rho)/rho (barrel) or by the pincushion form of it for a negative power, then by the zoom.

#include "image/LImgProFrame.h"

class LImgProFisheye
{
public:
    // Two buffers of one size (else 2), all five formats. oDest must be cleared beforehand: points
    // whose source falls outside the image are skipped. With bSmooth, the four pixels around the
    // source point are mixed (each step rounded); without, the nearest one is taken, which is the
    // preview's shortcut. A power of 0 is no distortion. Arithmetic in float; the centre is
    // (W/2, H/2) in integers.
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource) const;
    template <class F>
    int ProcessImage(LProcessInterface&, LImageBuffer&) const
    {
        return LProcessResultFailed;
    }

    // The scale of a ray at the distance sqrt((dx*dx + dy*dy)/2) from the centre, for this power
    // and an image of half-diagonal fHalfDiagonal.
    float GetScale(float dx, float dy, float fHalfDiagonal) const;

    float fPower = 0;
    float fZoom = 1;
    bool bSmooth = true;
};

extern template int LImgProFisheye::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&,
                                                              const LImageBuffer&) const;
extern template int LImgProFisheye::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&,
                                                            const LImageBuffer&) const;
extern template int LImgProFisheye::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&,
                                                            const LImageBuffer&) const;
extern template int LImgProFisheye::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&,
                                                              const LImageBuffer&) const;
extern template int LImgProFisheye::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&,
                                                              const LImageBuffer&) const;
