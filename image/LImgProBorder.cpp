#include "image/LImgProBorder.h"

#include <algorithm>
#include <cmath>

#include "image/LImgProRowLoop.h"

LFrameShape LFrameShape::Bounds(int w, int h, double fWidth)
{
    const double b = std::min(w * fWidth, h * fWidth);
    LFrameShape s;
    s.dLeft = b;
    s.dTop = b;
    s.dRight = std::max(w - 1 - b, b);
    s.dBottom = std::max(h - 1 - b, b);
    return s;
}

LFrameShape LFrameShape::Path(bool oval, double fRoundness, double fAspect) const
{
    LFrameShape s = *this;
    s.bOval = oval;
    const double hw = (dRight - dLeft) / 2, hh = (dBottom - dTop) / 2;
    s.dCornerRadius = std::clamp(fRoundness, 0.0, 1.0) * std::min(hw, hh);
    const double a = std::clamp(fAspect, -1.0, 1.0);
    s.dRadiusX = hw * (a < 0 ? 1 + 0.5 * a : 1.0);
    s.dRadiusY = hh * (a > 0 ? 1 - 0.5 * a : 1.0);
    return s;
}

double LFrameShape::Distance(double x, double y) const
{
    const double cx = (dLeft + dRight) / 2, cy = (dTop + dBottom) / 2;
    const double px = std::fabs(x - cx), py = std::fabs(y - cy);
    if (!bOval)
    {
        const double r = dCornerRadius;
        const double qx = px - ((dRight - dLeft) / 2 - r), qy = py - ((dBottom - dTop) / 2 - r);
        return std::hypot(std::max(qx, 0.0), std::max(qy, 0.0)) + std::min(std::max(qx, qy), 0.0) - r;
    }
    const double rx = std::max(dRadiusX, 0.5), ry = std::max(dRadiusY, 0.5);
    const double k0 = std::hypot(px / rx, py / ry);
    const double k1 = std::hypot(px / (rx * rx), py / (ry * ry));
    // The first-order distance from the implicit form; at the centre the nearer axis.
    return k1 > 0 ? k0 * (k0 - 1) / k1 : -std::min(rx, ry);
}

LProcessResult LImgProDrawFrame(LProcessInterface& oProcess, LImageBuffer& oImage, const LFrameShape& oShape,
                                LPixelColour oColour)
{
    const pixelformat_t pf = oImage.GetPixelFormat();
    if (!oImage.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return LProcessResultFailed;
    const int w = oImage.GetWidth(), bpp = pf == B8G8R8A8 ? 4 : 3;
    const int colour[4] = {oColour.b, oColour.g, oColour.r, oColour.a};
    return LImgProForEachRow(oProcess, oImage.GetHeight(),
                             [&](int y)
                             {
                                 uint8_t* p = oImage.GetRow(y);
                                 for (int x = 0; x < w; ++x, p += bpp)
                                 {
                                     // Coverage of the outside in 256ths, over one pixel's width.
                                     const double d = oShape.Distance(x, y) + 0.5;
                                     if (d <= 0)
                                         continue;
                                     const int t = d >= 1 ? 256 : int(d * 256);
                                     for (int c = 0; c < bpp; ++c)
                                         p[c] = uint8_t((colour[c] * t + p[c] * (256 - t)) >> 8);
                                 }
                             });
}

LProcessResult LImgProDrawFrameShadow(LProcessInterface& oProcess, LImageBuffer& oImage,
                                      const LFrameShape& oShape, double dDepth, int iOpacity)
{
    const pixelformat_t pf = oImage.GetPixelFormat();
    if (!oImage.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return LProcessResultFailed;
    const int w = oImage.GetWidth(), bpp = pf == B8G8R8A8 ? 4 : 3;
    const double depth = std::max(dDepth, 1.0), strength = std::clamp(iOpacity, 0, 255) / 255.0;
    return LImgProForEachRow(oProcess, oImage.GetHeight(),
                             [&](int y)
                             {
                                 uint8_t* p = oImage.GetRow(y);
                                 for (int x = 0; x < w; ++x, p += bpp)
                                 {
                                     const double d = -oShape.Distance(x, y);
                                     if (d <= -0.5 || d >= depth)
                                         continue;
                                     // Falls off with the square, so the shadow melts into the picture.
                                     const double t = 1 - std::max(d, 0.0) / depth;
                                     const int keep = 256 - int(strength * t * t * 256);
                                     for (int c = 0; c < 3; ++c)
                                         p[c] = uint8_t((p[c] * keep) >> 8);
                                 }
                             });
}
