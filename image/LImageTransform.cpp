#include "image/LImageTransform.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "image/LImgProRotate.h"
#include "image/LImgProScale.h"

namespace LImage
{
LProcessResult Resize(LProcessInterface& oProcess, const LImageBuffer& oSource, LImageBuffer& oDest,
                      int iWidth, int iHeight, bool bKeepAspect, ResizeFilter eFilter)
{
    if (eFilter != ResizeNearest && eFilter != ResizeBilinear)
    {
        oDest.Destroy();
        return LProcessResultSuccess;
    }
    if (!oSource.IsValid())
        return LProcessResultFailed;
    const int w = oSource.GetWidth(), h = oSource.GetHeight();
    int W = iWidth, H = iHeight;
    if (bKeepAspect)
    {
        const double s = std::min(double(iWidth) / w, double(iHeight) / h);
        W = int(w * s);
        H = int(h * s);
        if (W == 0)
        {
            W = 1;
            H = h / w;
        }
        if (H == 0)
        {
            H = 1;
            W = w / h;
        }
    }
    if (W <= 0 || H <= 0)
        return LProcessResultSuccess;
    LImageFormat f(oSource.GetPixelFormat(), W, H, false);
    oDest.AllocateNewBuffer(f);
    if (oProcess.IsToStop())
        return LProcessResultCancelled;
    if (!oDest.IsValid())
        return LProcessResultFailed;
    oDest.imf.HorizontalResolution = oSource.GetFormat().HorizontalResolution;
    oDest.imf.VerticalResolution = oSource.GetFormat().VerticalResolution;
    if (eFilter == ResizeNearest)
    {
        LImgProScaleNe ne;
        return LApplyImageProcess(oDest, oSource, ne, oProcess);
    }
    if (oSource.GetPixelFormat() == B8G8R8A8)
        return LImgProScaleLinear(oProcess, oDest, oSource);
    LImgProScaleBi bi;
    return LApplyImageProcess(oDest, oSource, bi, oProcess);
}

LProcessResult Rotate(LProcessInterface& oProcess, const LImageBuffer& oSource, LImageBuffer& oDest,
                      double dTurns)
{
    if (!oSource.IsValid())
        return LProcessResultFailed;
    const int w = oSource.GetWidth(), h = oSource.GetHeight();
    if (dTurns == 0 || dTurns == 0.25 || dTurns == 0.5 || dTurns == 0.75)
    {
        const bool swap = dTurns == 0.25 || dTurns == 0.75;
        LImageFormat f(oSource.GetPixelFormat(), swap ? h : w, swap ? w : h, false);
        f.HorizontalResolution = oSource.GetFormat().HorizontalResolution;
        f.VerticalResolution = oSource.GetFormat().VerticalResolution;
        if (oProcess.IsToStop())
            return LProcessResultCancelled;
        if (!oDest.AllocateNewBuffer(f) || !oDest.IsValid())
            return LProcessResultFailed;
        LImgProRotoClip k(int(dTurns * 360), LRectangle{0, 0, f.iWidth, f.iHeight});
        return LApplyImageProcess(oDest, oSource, k, oProcess);
    }
    const double theta = dTurns * 360 * 0.01745329251;
    const double c = std::fabs(std::cos(theta)), s = std::fabs(std::sin(theta));
    const int W = int(std::ceil(w * c + h * s)), H = int(std::ceil(w * s + h * c));
    if (oProcess.IsToStop())
        return LProcessResultCancelled;
    if (!oDest.AllocateNewBuffer(LImageFormat(B8G8R8A8, std::max(W, 1), std::max(H, 1), false)) ||
        !oDest.IsValid())
        return LProcessResultFailed;
    if (oSource.GetPixelFormat() != B8G8R8A8)
        return LProcessResultFailed;
    return LImgProRotateBilinear(oProcess, oDest, oSource, theta);
}

bool Copy(const LImageBuffer& oSource, LImageBuffer& oDest, int iDestX, int iDestY, int iSourceX,
          int iSourceY, int iWidth, int iHeight)
{
    if (!oSource.IsValid() || !oDest.IsValid() || oSource.GetPixelFormat() != oDest.GetPixelFormat() ||
        LIsPlanarPixelFormat(oSource.GetPixelFormat()))
        return false;
    const int bits = LGetPixelFormatBits(oSource.GetPixelFormat());
    if (bits < 8)
        return false;
    const int bpp = bits / 8;
    // Clip against both buffers, moving both origins together.
    auto clip = [](int& d, int& s, int& n, int dLen, int sLen)
    {
        const int shift = std::max({0, -d, -s});
        d += shift;
        s += shift;
        n -= shift;
        n = std::min({n, dLen - d, sLen - s});
    };
    clip(iDestX, iSourceX, iWidth, oDest.GetWidth(), oSource.GetWidth());
    clip(iDestY, iSourceY, iHeight, oDest.GetHeight(), oSource.GetHeight());
    if (iWidth <= 0 || iHeight <= 0)
        return true;
    for (int y = 0; y < iHeight; ++y)
        memmove(oDest.GetRow(iDestY + y) + size_t(iDestX) * bpp,
                oSource.GetRow(iSourceY + y) + size_t(iSourceX) * bpp, size_t(iWidth) * bpp);
    return true;
}
} // namespace LImage

bool LCreateBlankImage(LImageBuffer& oImage, int iWidth, int iHeight, LPixelColour oColour)
{
    if (!LImage::New(oImage, iWidth, iHeight, B8G8R8A8) || !oImage.IsValid())
        return false;
    oImage.Clear(oColour);
    return true;
}
