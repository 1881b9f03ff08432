#include "image/LImgProNoise.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

#include "image/LImgProBands.h"

LProcessResult QDEffectRenderNoise(LProcessInterface& oProcess, int iFirstRow, int iRowCount,
                                   const LImageBuffer& oImage, float* lpRed, float* lpGreen, float* lpBlue,
                                   float* lpWeight, const LImgProNoiseSettings& oSettings, float* lpSpill)
{
    const int w = oImage.GetWidth(), h = oImage.GetHeight();
    const int bpp = oImage.GetPixelFormat() == B8G8R8A8 ? 4 : 3;
    const int y0 = iFirstRow, y1 = std::min(h, iFirstRow + iRowCount), rows = y1 - y0;
    if (rows <= 0)
        return LProcessResultSuccess;
    const double c = -2.0 * oSettings.fNoise * oSettings.fNoise;
    const double hh = std::max(
        double(oSettings.fNoise * oSettings.fSmoothing) * (oSettings.fNoise * oSettings.fSmoothing), 0.0001);
    const int P = std::max(oSettings.iPatchRadius, 0), S = std::max(oSettings.iSearchRadius, 0);
    float* sums[4] = {lpRed, lpGreen, lpBlue, lpWeight};
    const size_t spillPlane = size_t(S) * w;
    // Where the sums of pixel (x, y) live: the shared arrays inside the band, the spill below it.
    auto at = [&](int k, int x, int y) -> float&
    {
        if (lpSpill && y >= y1)
            return lpSpill[k * spillPlane + size_t(y - y1) * w + x];
        return sums[k][size_t(y) * w + x];
    };
    // Colours in 0..1, red, green, blue, of the band and the rows its offsets reach below it.
    const int yEnd = std::min(h, y1 + S);
    std::vector<float> col(size_t(yEnd - y0) * w * 3);
    auto colour = [&](int x, int y) { return &col[(size_t(y - y0) * w + x) * 3]; };
    for (int y = y0; y < yEnd; ++y)
    {
        const uint8_t* p = oImage.GetRow(y);
        for (int x = 0; x < w; ++x, p += bpp)
        {
            float* q = colour(x, y);
            q[0] = p[2] / 255.0f;
            q[1] = p[1] / 255.0f;
            q[2] = p[0] / 255.0f;
        }
    }
    // Integral image of the band with a zero row and column in front.
    std::vector<double> I(size_t(rows + 1) * (w + 1));
    auto integral = [&](int x, int y) -> double& { return I[size_t(y) * (w + 1) + x]; };
    for (int dy = 0; dy <= S; ++dy)
        for (int dx = 0; dx <= S; ++dx)
        {
            if (dx == 0 && dy == 0)
                continue;
            if (oProcess.IsToStop())
                return LProcessResultCancelled;
            for (int y = y0; y < y1; ++y)
            {
                double row = 0;
                for (int x = 0; x < w; ++x)
                {
                    double d = 0;
                    if (x + dx < w && y + dy < h)
                    {
                        const float* a = colour(x, y);
                        const float* b = colour(x + dx, y + dy);
                        for (int k = 0; k < 3; ++k)
                            d += double(a[k] - b[k]) * (a[k] - b[k]);
                    }
                    row += d;
                    integral(x + 1, y - y0 + 1) = integral(x + 1, y - y0) + row;
                }
            }
            for (int y = y0; y < y1; ++y)
            {
                const int ya = std::max(y - P, y0) - y0, yb = std::min(y + P, y1 - 1) - y0 + 1;
                for (int x = 0; x < w; ++x)
                {
                    if (x + dx >= w || y + dy >= h)
                        continue;
                    const int xa = std::max(x - P, 0), xb = std::min(x + P, w - 1) + 1;
                    const double sum =
                        integral(xb, yb) - integral(xa, yb) - integral(xb, ya) + integral(xa, ya);
                    const float wt = float(std::exp(-std::max(sum + c, 0.0) / hh));
                    const float* a = colour(x, y);
                    const float* b = colour(x + dx, y + dy);
                    for (int k = 0; k < 3; ++k)
                    {
                        at(k, x + dx, y + dy) += wt * a[k];
                        at(k, x, y) += wt * b[k];
                    }
                    at(3, x + dx, y + dy) += wt;
                    at(3, x, y) += wt;
                }
            }
        }
    for (int y = y0; y < y1; ++y)
        for (int x = 0; x < w; ++x)
        {
            const float* a = colour(x, y);
            for (int k = 0; k < 3; ++k)
                at(k, x, y) += a[k];
            at(3, x, y) += 1.0f;
        }
    return LProcessResultSuccess;
}

LProcessResult LImgProNoiseReduction(LProcessInterface& oProcess, LImageBuffer& oImage,
                                     const LImgProNoiseSettings& oSettings)
{
    const pixelformat_t pf = oImage.GetPixelFormat();
    if (!oImage.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return LProcessResultFailed;
    const int w = oImage.GetWidth(), h = oImage.GetHeight(), bpp = pf == B8G8R8A8 ? 4 : 3;
    const size_t n = size_t(w) * h;
    std::unique_ptr<float[]> arrays[4];
    for (auto& a : arrays)
    {
        a.reset(new (std::nothrow) float[n]());
        if (!a)
            return LProcessResultFailed;
    }
    const int S = std::max(oSettings.iSearchRadius, 0);
    LImgProBandRunner runner(h, 1);
    std::vector<std::vector<float>> spills(runner.iBands);
    const int per = h / runner.iBands;
    const int r =
        runner.Run(oProcess,
                   [&](const LImgProBand& band, LImgProBandRunner& run)
                   {
                       class BandProcess : public LProcessInterface
                       {
                       public:
                           BandProcess(LImgProBandRunner& r, const LImgProBand& b) : oRun(r), oBand(b) {}
                           bool IsToStop() override { return oRun.IsToStop(oBand); }
                           int ProcessWait(int) override { return 2; }
                           int ProcessWaitSignal(LSignalObject&, int) override { return 2; }
                           int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, int) override { return 2; }
                           LImgProBandRunner& oRun;
                           const LImgProBand& oBand;
                       } bp(run, band);
                       std::vector<float>& spill = spills[per ? band.iFirst / per : 0];
                       spill.assign(size_t(4) * S * w, 0.0f);
                       return QDEffectRenderNoise(bp, band.iFirst, band.iCount, oImage, arrays[0].get(),
                                                  arrays[1].get(), arrays[2].get(), arrays[3].get(),
                                                  oSettings, spill.data()) == LProcessResultSuccess;
                   });
    if (r)
        return LProcessResultCancelled;
    // Rows a band reached below itself are added in band order, so the result never depends on
    // which thread finished first.
    for (int b = 0; b < runner.iBands; ++b)
    {
        const int end = b == runner.iBands - 1 ? h : (b + 1) * per;
        for (int k = 0; k < 4; ++k)
            for (int y = end; y < std::min(h, end + S); ++y)
                for (int x = 0; x < w; ++x)
                    arrays[k][size_t(y) * w + x] += spills[b][k * size_t(S) * w + size_t(y - end) * w + x];
    }
    for (int y = 0; y < h; ++y)
    {
        uint8_t* p = oImage.GetRow(y);
        for (int x = 0; x < w; ++x, p += bpp)
        {
            const size_t i = size_t(y) * w + x;
            const float wt = arrays[3][i];
            if (wt <= 0)
                continue;
            auto channel = [&](float s) { return uint8_t(int(std::clamp(s * 255 / wt, 0.0f, 255.0f))); };
            p[2] = channel(arrays[0][i]);
            p[1] = channel(arrays[1][i]);
            p[0] = channel(arrays[2][i]);
        }
    }
    return LProcessResultSuccess;
}
