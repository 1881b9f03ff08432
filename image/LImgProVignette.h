#pragma once
// Vignette: a colour that closes in from the edges, outside an ellipse of the picture's
// proportions.

#include <cstdint>

#include "image/LImgProFrame.h"

class LImgProVignette
{
public:
    // Distances are in height units (x is divided by W/H), from the centre (W/2, H/2 truncated).
    // q = (d^2 - R0^2) / (R1^2 - R0^2) in float, with the inner radius R0 = trunc(H*dSize) (dSize
    // clamped to 0..0.75) and the outer R1 = trunc(H*0.8). From q = 1 on the pixel is the colour,
    // opaque; for q in (0, 1) t = min(255, trunc(q*255*dStrength)) mixes all four channels as
    // (colour*t + c*(255 - t))/255 with the colour's alpha at 255; q <= 0 stays. All five formats;
    // the kernel can't be stopped.
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const;

    double dSize = 0.25;
    double dStrength = 1.0;
    // Three 16-bit channels with the value in the high byte.
    uint16_t iRed = 0, iGreen = 0, iBlue = 0;
};

extern template int LImgProVignette::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&) const;
extern template int LImgProVignette::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&) const;
extern template int LImgProVignette::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&) const;
extern template int LImgProVignette::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&) const;
extern template int LImgProVignette::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&) const;
