#include "image/LImgProVignette.h"

#include <algorithm>
#include <vector>

#include "image/LImgProRowLoop.h"

namespace
{
// One row, with every constant an argument: the byte stores can't then make the compiler load
// them again for each pixel.
template <class F>
void VignetteRow(F* row, int w, const int64_t* dx2, int64_t base, float span, double strength, int cb, int cg,
                 int cr, F solid)
{
    for (int x = 0; x < w; ++x)
    {
        // For a positive span, q <= 0 and q >= 1 are the numerator's own tests: only the ring
        // between needs the division.
        const float num = float(dx2[x] + base);
        if (num <= 0)
            continue;
        if (num >= span)
        {
            row[x] = solid;
            continue;
        }
        const float q = num / span;
        // Clamped on the float value, before the conversion.
        const double tv = q * 255 * strength;
        const int t = !(tv > 0) ? 0 : tv >= 255 ? 255 : int(tv);
        const LPixelColour c = LImgProReadWide(row[x]);
        LImgProWriteWide(row[x], LPixelColour(uint8_t((cb * t + c.b * (255 - t)) / 255),
                                              uint8_t((cg * t + c.g * (255 - t)) / 255),
                                              uint8_t((cr * t + c.r * (255 - t)) / 255),
                                              uint8_t((255 * t + c.a * (255 - t)) / 255)));
    }
}
} // namespace

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
            VignetteRow(reinterpret_cast<F*>(oImage.GetRow(y)), w, dx2.data(), dy * dy - r0 * r0, span,
                        dStrength, colour[0], colour[1], colour[2], solid);
        },
        LImgProStopNever, 16);
}

template int LImgProVignette::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&) const;
template int LImgProVignette::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&) const;
template int LImgProVignette::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&) const;
template int LImgProVignette::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&) const;
template int LImgProVignette::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&) const;
