#include "image/LImgProOverlay.h"

#include <algorithm>

#include "image/LImgProRowLoop.h"

void LImgProOverlay::ApplyOverlayAlpha(uint8_t* L, uint8_t& d, const uint8_t* S, int a, int opacity)
{
    if (a == 0)
        return;
    const int e = a * opacity / 255;
    if (d == 0)
    {
        L[0] = S[0];
        L[1] = S[1];
        L[2] = S[2];
        d = uint8_t(e);
        return;
    }
    if (d == 255)
    {
        // Over an opaque pixel the shared factor 255 leaves a division by a constant.
        for (int c = 0; c < 3; ++c)
            L[c] = uint8_t((e * S[c] - e * L[c] + 255 * L[c]) / 255);
        return;
    }
    const int o = std::clamp(e + d - e * d / 255, 0, 255);
    for (int c = 0; c < 3; ++c)
        L[c] = uint8_t(std::clamp((e * S[c] * 255 - e * d * L[c] + d * L[c] * 255) / (o * 255), 0, 255));
    d = uint8_t(o);
}

template <class F>
int LImgProOverlay::ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    if (!oImage.IsValid() || !lpOverlay || !lpOverlay->IsValid())
        return LProcessResultFailed;
    const pixelformat_t opf = lpOverlay->GetPixelFormat();
    if (opf != B8G8R8A8 && opf != B8G8R8)
        return LProcessResultFailed;
    // Clip the source rectangle to the overlay, then its landing place to the image.
    int sx = std::max(iSourceX, 0), sy = std::max(iSourceY, 0);
    int sx1 = iWidth < 0 ? lpOverlay->GetWidth() : std::min(lpOverlay->GetWidth(), iSourceX + iWidth);
    int sy1 = iHeight < 0 ? lpOverlay->GetHeight() : std::min(lpOverlay->GetHeight(), iSourceY + iHeight);
    const int dx = iX - iSourceX, dy = iY - iSourceY;
    sx = std::max(sx, -dx);
    sy = std::max(sy, -dy);
    sx1 = std::min(sx1, oImage.GetWidth() - dx);
    sy1 = std::min(sy1, oImage.GetHeight() - dy);
    oProcess.SetProgress(0.0);
    if (sx >= sx1 || sy >= sy1)
        return LProcessResultSuccess;
    const int obpp = opf == B8G8R8A8 ? 4 : 3, opacity = std::clamp(iOpacity, 0, 255);
    return LImgProForEachRow(
        oProcess, sy1 - sy,
        [&](int k)
        {
            const int y = sy + k;
            const uint8_t* o = lpOverlay->GetRow(y) + size_t(sx) * obpp;
            F* p = reinterpret_cast<F*>(oImage.GetRow(y + dy)) + (sx + dx);
            for (int x = sx; x < sx1; ++x, o += obpp, ++p)
            {
                const int a = obpp == 4 ? o[3] : 255;
                if (a == 0)
                    continue;
                if constexpr (std::is_same_v<F, LPFB8G8R8A8>)
                    ApplyOverlayAlpha(reinterpret_cast<uint8_t*>(p), p->a, o, a, opacity);
                else
                {
                    LPixelColour c = LImgProReadWide(*p);
                    ApplyOverlayAlpha(reinterpret_cast<uint8_t*>(&c), c.a, o, a, opacity);
                    LImgProWriteWide(*p, c);
                }
            }
        });
}

template int LImgProOverlay::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&) const;
template int LImgProOverlay::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&) const;
template int LImgProOverlay::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&) const;
template int LImgProOverlay::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&) const;
template int LImgProOverlay::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&) const;
