#include "image/LImageBoxBlur.h"

#include <algorithm>
#include <cstring>
#include <atomic>
#include <memory>
#include <new>

#include "image/LImgProBands.h"

namespace
{
// One line of n pixels at a pixel step: out[x] = mean of in[max(0,x-r) .. min(n-1,x+r)], the
// window growing from r+1 pixels, sliding, then shrinking. tmp holds n pixels.
void BoxLine(uint8_t* p, ptrdiff_t step, int n, int r, uint8_t* tmp)
{
    for (int x = 0; x < n; ++x)
        memcpy(&tmp[size_t(x) * 4], p + x * step, 4);
    uint32_t sum[4] = {0, 0, 0, 0};
    int count = 0;
    for (int k = 0; k <= r && k < n; ++k, ++count)
        for (int c = 0; c < 4; ++c)
            sum[c] += tmp[size_t(k) * 4 + c];
    for (int x = 0; x < n; ++x)
    {
        uint8_t* o = p + x * step;
        for (int c = 0; c < 4; ++c)
            o[c] = uint8_t(sum[c] / count);
        const int enter = x + r + 1, leave = x - r;
        if (enter < n)
        {
            for (int c = 0; c < 4; ++c)
                sum[c] += tmp[size_t(enter) * 4 + c];
            ++count;
        }
        if (leave >= 0)
        {
            for (int c = 0; c < 4; ++c)
                sum[c] -= tmp[size_t(leave) * 4 + c];
            --count;
        }
    }
}
} // namespace

LProcessResult LImageBoxBlur(LProcessInterface& oProcess, LImageBuffer& oImage, bool bHorizontal,
                             unsigned long iFirst, unsigned long iCount, unsigned long iRadius)
{
    if (!oImage.IsValid() || oImage.GetPixelFormat() != B8G8R8A8)
        return LProcessResultFailed;
    const int w = oImage.GetWidth(), h = oImage.GetHeight();
    const int lines = bHorizontal ? h : w, n = bHorizontal ? w : h;
    const unsigned long last = std::min<unsigned long>(iFirst + iCount, lines);
    const int r = int(std::min<unsigned long>(iRadius, (n - 1) / 2));
    const ptrdiff_t rowStep = oImage.GetFormat().bUpsideDown ? -ptrdiff_t(oImage.GetWidthBytes())
                                                             : ptrdiff_t(oImage.GetWidthBytes());
    std::unique_ptr<uint8_t[]> tmp(new (std::nothrow) uint8_t[size_t(n) * 4]);
    if (!tmp)
    {
        oProcess.SetError("Out of memory");
        return LProcessResultFailed;
    }
    for (unsigned long l = iFirst; l < last; ++l)
    {
        if (oProcess.IsToStop())
            return LProcessResultCancelled;
        if (bHorizontal)
            BoxLine(oImage.GetRow(int(l)), 4, n, r, tmp.get());
        else
            BoxLine(oImage.GetRow(0) + l * 4, rowStep, n, r, tmp.get());
        if (oProcess.IsToStop())
            return LProcessResultCancelled;
    }
    return LProcessResultSuccess;
}

LProcessResult Process(LProcessInterface& oProcess, LImageBlurSettings& oSettings)
{
    LImageBuffer* img = oSettings.lpImage;
    if (!img || !img->IsValid() || img->GetPixelFormat() != B8G8R8A8)
        return LProcessResultFailed;
    const int passes = std::max(oSettings.iPasses, 0);
    const int n = std::max(1, oSettings.iThreads > 0 ? oSettings.iThreads : LImgProGetThreadCount());
    for (int step = 0; step < 2 * passes; ++step)
    {
        if (oProcess.IsToStop())
            return LProcessResultCancelled;
        const bool horizontal = step < passes;
        const int lines = horizontal ? img->GetHeight() : img->GetWidth();
        LImgProBandRunner runner(lines, 1, n);
        std::atomic<bool> failed{false};
        const int stopped = runner.Run(oProcess,
                                       [&](const LImgProBand& band, LImgProBandRunner& run)
                                       {
                                           LImgProBandProcess process(run, band);
                                           const LProcessResult r =
                                               LImageBoxBlur(process, *img, horizontal, unsigned(band.iFirst),
                                                             unsigned(band.iCount), oSettings.iRadius);
                                           if (r == LProcessResultFailed)
                                               failed = true;
                                           return r == LProcessResultSuccess;
                                       });
        if (failed)
        {
            oProcess.SetError("Out of memory");
            return LProcessResultFailed;
        }
        if (stopped)
            return LProcessResultCancelled;
        oProcess.SetProgress(double(step + 1) / (2 * passes));
    }
    return LProcessResultSuccess;
}
