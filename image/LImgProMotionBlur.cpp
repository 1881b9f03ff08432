#include "image/LImgProMotionBlur.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "image/LImgProBands.h"
#include "image/LImgProColour.h"
#include "image/LImgProFrame.h"

LProcessResult LImgProMotionBlur(LProcessInterface& oProcess, LImageBuffer& oImage, double dRadius,
                                 int iCentreX, int iCentreY, bool bSpin)
{
    const pixelformat_t pf = oImage.GetPixelFormat();
    if (!oImage.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return LProcessResultFailed;
    LImageBuffer out;
    if (!LImgProPrepareDest(out, oImage))
        return LProcessResultFailed;
    const int w = oImage.GetWidth(), h = oImage.GetHeight(), bpp = pf == B8G8R8A8 ? 4 : 3;
    const int R = int(Round(dRadius));
    const int half = std::min(w, h) / 2;
    oProcess.SetProgress(0.0);
    std::atomic<int> done{0};
    LImgProBandRunner runner(h, 4);
    const int r = runner.Run(oProcess,
                             [&](const LImgProBand& band, LImgProBandRunner& run)
                             {
                                 for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                                 {
                                     if (run.IsToStop(band))
                                         return false;
                                     uint8_t* o = out.GetRow(y);
                                     for (int x = 0; x < w; ++x, o += bpp)
                                     {
                                         if (x == iCentreX && y == iCentreY)
                                         {
                                             memcpy(o, oImage.GetRow(y) + x * bpp, bpp);
                                             continue;
                                         }
                                         double dx = x - iCentreX, dy = y - iCentreY;
                                         if (bSpin)
                                         {
                                             const double t = dx;
                                             dx = -dy;
                                             dy = t;
                                         }
                                         const double len = std::sqrt(dx * dx + dy * dy);
                                         const int L = half > 0 ? std::min(R, int(R * len / half)) : R;
                                         const double vx = dx / len, vy = dy / len;
                                         unsigned sum[3] = {0, 0, 0}, count = 0;
                                         for (int t = -L; t <= L; ++t)
                                         {
                                             const int sx = x + int(Round(t * vx)),
                                                       sy = y + int(Round(t * vy));
                                             if (sx < 0 || sy < 0 || sx >= w || sy >= h)
                                                 continue;
                                             const uint8_t* p = oImage.GetRow(sy) + sx * bpp;
                                             sum[0] += p[0];
                                             sum[1] += p[1];
                                             sum[2] += p[2];
                                             ++count;
                                         }
                                         for (int c = 0; c < 3; ++c)
                                             o[c] = uint8_t(count ? sum[c] / count : 0);
                                         if (bpp == 4)
                                             o[3] = 255;
                                     }
                                     run.SetProgress(band, double(++done) / h);
                                 }
                                 return true;
                             });
    if (r)
        return LProcessResultCancelled;
    oImage.Assign(out);
    return LProcessResultSuccess;
}
