#include "image/LImgProVignette.h"

#include <algorithm>
#include <vector>

#include "image/LImgProRowLoop.h"

template <class F>
int LImgProVignette::ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    if (!oImage.IsValid())
        return LProcessResultFailed;
    const int w = oImage.GetWidth(), h = oImage.GetHeight();
    const float a = float(w) / float(h);
    const int cx = w / 2, cy = h / 2;
    const int64_t r0 = int64_t(h * std::clamp(dSize, 0.0, 0.75));
    // A picture a pixel or two high would have no ring at all; keep the outer radius beyond the
    // inner one.
    const int64_t r1 = std::max(int64_t(h * 0.8), r0 + 1);
    const float span = float(r1 * r1 - r0 * r0);
    const int colour[3] = {iBlue >> 8, iGreen >> 8, iRed >> 8};
    F solid;
    LImgProWriteWide(solid, LPixelColour(uint8_t(colour[0]), uint8_t(colour[1]), uint8_t(colour[2]), 255));
    // The horizontal part of the distance depends on the column alone.
    std::vector<int64_t> dx2(size_t(w), 0);
    for (int x = 0; x < w; ++x)
    {
        const int64_t dx = int64_t(float(x - cx) / a);
        dx2[x] = dx * dx;
    }
    return LImgProForEachRow(
        oProcess, h,
        [&](int y)
        {
            const int64_t dy = y - cy;
            F* row = reinterpret_cast<F*>(oImage.GetRow(y));
            const int64_t base = dy * dy - r0 * r0;
            for (int x = 0; x < w; ++x)
            {
                // For a positive span, q <= 0 and q >= 1 are the numerator's own tests: only the
                // ring between needs the division.
                const float num = float(dx2[x] + base);
                if (num <= 0)
                    continue;
                if (num >= span)
                    row[x] = solid;
                else
                {
                    const float q = num / span;
                    // Clamped on the float value, before the conversion.
                    const double tv = q * 255 * dStrength;
                    const int t = !(tv > 0) ? 0 : tv >= 255 ? 255 : int(tv);
                    const LPixelColour c = LImgProReadWide(row[x]);
                    const LPixelColour out(uint8_t((colour[0] * t + c.b * (255 - t)) / 255),
                                           uint8_t((colour[1] * t + c.g * (255 - t)) / 255),
                                           uint8_t((colour[2] * t + c.r * (255 - t)) / 255),
                                           uint8_t((255 * t + c.a * (255 - t)) / 255));
                    LImgProWriteWide(row[x], out);
                }
            }
        },
        LImgProStopNever, 16);
}

template int LImgProVignette::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&) const;
template int LImgProVignette::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&) const;
template int LImgProVignette::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&) const;
template int LImgProVignette::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&) const;
template int LImgProVignette::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&) const;
