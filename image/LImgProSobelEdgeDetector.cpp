#include "image/LImgProSobelEdgeDetector.h"

#include <algorithm>
#include <cstdlib>

#include "image/LImgProRowLoop.h"

namespace
{
// One interior row from the rows above (a), at (b) and below (c).
template <int SB, int DB>
void SobelRow(const uint8_t* a, const uint8_t* b, const uint8_t* c, uint8_t* out, int w)
{
    for (int x = 1; x < w - 1; ++x)
    {
        const int l = (x - 1) * SB, m = x * SB, r = (x + 1) * SB;
        for (int ch = 0; ch < 3; ++ch)
        {
            const int gx = (a[r + ch] + c[r + ch] - a[l + ch] - c[l + ch]) + 2 * (b[r + ch] - b[l + ch]);
            const int gy = (c[l + ch] + c[r + ch] - a[l + ch] - a[r + ch]) + 2 * (c[m + ch] - a[m + ch]);
            out[x * DB + ch] = uint8_t(std::min(std::abs(gx) + std::abs(gy), 255));
        }
        if constexpr (DB == 4)
            out[x * DB + 3] = SB == 4 ? b[m + 3] : 255;
    }
}

// Both sides of one layout: every interior byte is one channel of one pixel with its neighbours a
// pixel to either side, so one flat loop over the bytes does all channels and vectorises.
template <int BPP>
void SobelRowFlat(const uint8_t* a, const uint8_t* b, const uint8_t* c, uint8_t* out, int w)
{
    for (int j = BPP; j < (w - 1) * BPP; ++j)
    {
        const int gx = (a[j + BPP] + c[j + BPP] - a[j - BPP] - c[j - BPP]) + 2 * (b[j + BPP] - b[j - BPP]);
        const int gy = (c[j - BPP] + c[j + BPP] - a[j - BPP] - a[j + BPP]) + 2 * (c[j] - a[j]);
        out[j] = uint8_t(std::min(std::abs(gx) + std::abs(gy), 255));
    }
    if constexpr (BPP == 4)
        for (int x = 1; x < w - 1; ++x)
            out[x * 4 + 3] = b[x * 4 + 3];
}
} // namespace

LProcessResult LImgProSobelEdgeDetector::Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                                                 const LImageBuffer& oSource) const
{
    const pixelformat_t spf = oSource.GetPixelFormat();
    if (!oSource.IsValid() || (spf != B8G8R8A8 && spf != B8G8R8) || &oDest == &oSource)
        return LProcessResultFailed;
    const int w = oSource.GetWidth(), h = oSource.GetHeight();
    if (!oDest.IsValid())
    {
        if (!oDest.AllocateNewBuffer(LImageFormat(B8G8R8, w, h, oSource.GetFormat().bUpsideDown != 0)))
            return LProcessResultFailed;
        oDest.Clear(LPixelColour(0, 0, 0, 255));
    }
    const pixelformat_t dpf = oDest.GetPixelFormat();
    if ((dpf != B8G8R8A8 && dpf != B8G8R8) || oDest.GetWidth() != w || oDest.GetHeight() != h)
        return LProcessResultFailed;
    oProcess.SetProgress(0.0);
    if (w < 3 || h < 3)
        return LProcessResultSuccess;
    auto row = [&](int y)
    {
        const uint8_t *a = oSource.GetRow(y), *b = oSource.GetRow(y + 1), *c = oSource.GetRow(y + 2);
        uint8_t* out = oDest.GetRow(y + 1);
        if (spf == B8G8R8)
            dpf == B8G8R8 ? SobelRowFlat<3>(a, b, c, out, w) : SobelRow<3, 4>(a, b, c, out, w);
        else
            dpf == B8G8R8 ? SobelRow<4, 3>(a, b, c, out, w) : SobelRowFlat<4>(a, b, c, out, w);
    };
    return LImgProForEachRow(oProcess, h - 2, row);
}
