#include "image/LImgProFisheye.h"

#include <algorithm>
#include <cmath>

#include "image/LImgProColour.h"
#include "image/LImgProRowLoop.h"

float LImgProFisheye::GetScale(float dx, float dy, float diag) const
{
    // No power, or a single pixel with no diagonal: nothing bends.
    if (fPower == 0 || diag == 0)
        return 1;
    const float d = diag / fPower;
    float rho = std::sqrt((dx * dx + dy * dy) * 0.5f) / d;
    if (fPower < 0)
    {
        // Rm is the power itself, negative here, which turns the scale into one that grows
        // towards the edges.
        const float rm = diag / d;
        rho = std::fabs(rho);
        const float u = rho + (rm - std::sqrt(std::max(rm * rm - rho * rho, 0.0f))) * 0.5f;
        return u == 0 ? 1 : std::atan(u) / u;
    }
    return rho == 0 ? 1 : std::atan(rho) / rho;
}

template <class F>
int LImgProFisheye::ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest,
                                 const LImageBuffer& oSource) const
{
    if (!oSource.IsValid() || !oDest.IsValid() || &oDest == &oSource ||
        oDest.GetWidth() != oSource.GetWidth() || oDest.GetHeight() != oSource.GetHeight())
        return LProcessResultFailed;
    const int w = oSource.GetWidth(), h = oSource.GetHeight();
    const float cx = float(w / 2), cy = float(h / 2), diag = std::sqrt(cx * cx + cy * cy);
    const float maxX = float(w - 1), maxY = float(h - 1);
    oProcess.SetProgress(0.0);
    return LImgProForEachRow(
        oProcess, h,
        [&](int y)
        {
            F* out = reinterpret_cast<F*>(oDest.GetRow(y));
            const float dy = y - cy;
            for (int x = 0; x < w; ++x)
            {
                const float dx = x - cx;
                const float g = GetScale(dx, dy, diag);
                const float sx = cx + dx * g * fZoom, sy = cy + dy * g * fZoom;
                if (!bSmooth)
                {
                    const float nx = Round(sx), ny = Round(sy);
                    // Written so that a value that isn't a number counts as outside.
                    if (!(nx >= 0 && ny >= 0 && nx <= maxX && ny <= maxY))
                        continue;
                    out[x] = reinterpret_cast<const F*>(oSource.GetRow(int(ny)))[int(nx)];
                    continue;
                }
                const float x0 = std::floor(sx), x1 = std::ceil(sx), y0 = std::floor(sy), y1 = std::ceil(sy);
                if (!(x0 >= 0 && y0 >= 0 && x1 <= maxX && y1 <= maxY))
                    continue;
                const float wx0 = x0 == x1 ? 0.5f : x1 - sx, wx1 = x0 == x1 ? 0.5f : sx - x0;
                const float wy0 = y0 == y1 ? 0.5f : y1 - sy, wy1 = y0 == y1 ? 0.5f : sy - y0;
                const F* top = reinterpret_cast<const F*>(oSource.GetRow(int(y0)));
                const F* bottom = reinterpret_cast<const F*>(oSource.GetRow(int(y1)));
                const LPixelColour p00 = LImgProReadWide(top[int(x0)]), p10 = LImgProReadWide(top[int(x1)]);
                const LPixelColour p01 = LImgProReadWide(bottom[int(x0)]),
                                   p11 = LImgProReadWide(bottom[int(x1)]);
                auto mix = [&](uint8_t a, uint8_t b, uint8_t c, uint8_t d)
                {
                    const float t = Round(a * wx0 + b * wx1), u = Round(c * wx0 + d * wx1);
                    return uint8_t(std::min(Round(t * wy0 + u * wy1), 255.0f));
                };
                LImgProWriteWide(
                    out[x], LPixelColour(mix(p00.b, p10.b, p01.b, p11.b), mix(p00.g, p10.g, p01.g, p11.g),
                                         mix(p00.r, p10.r, p01.r, p11.r), mix(p00.a, p10.a, p01.a, p11.a)));
            }
        });
}

template int LImgProFisheye::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&,
                                                       const LImageBuffer&) const;
template int LImgProFisheye::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&,
                                                     const LImageBuffer&) const;
template int LImgProFisheye::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&,
                                                     const LImageBuffer&) const;
template int LImgProFisheye::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&,
                                                       const LImageBuffer&) const;
template int LImgProFisheye::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&,
                                                       const LImageBuffer&) const;
