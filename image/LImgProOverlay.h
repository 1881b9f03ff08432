#pragma once
// Places one picture over another by source-over compositing that keeps partial transparency:
// where the image below is transparent the overlay's pixel is taken as it is, elsewhere the two
// alphas combine. Used for overlay layers and their opacity.

#include "image/LImgProFrame.h"

class LImgProOverlay
{
public:
    LImgProOverlay() = default;
    LImgProOverlay(const LImageBuffer& oOverlay, int x, int y, int opacity = 255)
        : lpOverlay(&oOverlay), iX(x), iY(y), iOpacity(opacity)
    {
    }

    // One pixel: the overlay's bgr with alpha a over the image's bgr with alpha d. e = a*opacity/255
    // (truncated); a of 0 changes nothing; d of 0 takes the overlay's colour with alpha e;
    // otherwise o = e + d - e*d/255 and each channel (e*S*255 - e*d*L + d*L*255) / (o*255),
    // truncated and clamped, with alpha o.
    static void ApplyOverlayAlpha(uint8_t* lpBGR, uint8_t& byAlpha, const uint8_t* lpOverlayBGR, int a,
                                  int opacity);
    // An overlay without alpha: as opaque.
    static void ApplyOverlay(uint8_t* lpBGR, uint8_t& byAlpha, const uint8_t* lpOverlayBGR, int opacity)
    {
        ApplyOverlayAlpha(lpBGR, byAlpha, lpOverlayBGR, 255, opacity);
    }

    // In place on the image, all five formats (those without alpha count as opaque); the overlay is
    // B8G8R8A8 or B8G8R8, else 2. The rectangle iSourceX, iSourceY, iWidth, iHeight of the overlay
    // (negative sizes reach its edge) lands at iX, iY, clipped to both pictures.
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const;

    const LImageBuffer* lpOverlay = nullptr;
    int iX = 0, iY = 0;
    int iSourceX = 0, iSourceY = 0, iWidth = -1, iHeight = -1;
    int iOpacity = 255;
};

extern template int LImgProOverlay::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&) const;
extern template int LImgProOverlay::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&) const;
extern template int LImgProOverlay::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&) const;
extern template int LImgProOverlay::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&) const;
extern template int LImgProOverlay::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&) const;
