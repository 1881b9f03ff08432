#include "effects/QDMultiThreadedEffect.h"

#include <algorithm>

#include "image/LImgProBands.h"

LImageIterator QDMakeBandIterator(LImageBuffer& buffer, const LBoundingBox2T<int>& box, int first, int count)
{
    LImageIterator it(buffer);
    const int width = box.GetWidth();
    if (it.nPixels == 0 || width <= 0 || count <= 0)
    {
        it.nPixels = 0;
        return it;
    }
    // Image rows top..bottom of the band are one run of scan lines, reversed when stored upside
    // down; the iterator walks them in memory order from the lowest.
    const int top = box.top + first, bottom = top + count - 1;
    const int scan = buffer.imf.bUpsideDown ? buffer.GetHeight() - 1 - bottom : top;
    const int64_t offset = int64_t(scan) * it.iRowStep + int64_t(box.left) * it.iPixelStep;
    it.lpData += offset;
    it.lpWritableData += offset;
    it.iWidth = width;
    it.nPixels = int64_t(width) * count;
    it.iIndex = 0;
    it.iByteOffset = 0;
    it.iColumn = 0;
    return it;
}

void QDMultiThreadedEffect::RenderMultiThreaded(LImageBuffer& buffer,
                                                const LBoundingBox2T<int>& requested) const
{
    if (!buffer.IsValid())
        return;
    LBoundingBox2T<int> box(std::max(requested.left, 0), std::max(requested.top, 0),
                            std::min(requested.right, buffer.GetWidth()),
                            std::min(requested.bottom, buffer.GetHeight()));
    if (box.IsEmpty())
        return;
    LProcessInterfaceVoid silent;
    LImgProBandRunner runner(box.GetHeight(), 1);
    runner.Run(silent,
               [&](const LImgProBand& band, LImgProBandRunner&)
               {
                   LImageIterator it = QDMakeBandIterator(buffer, box, band.iFirst, band.iCount);
                   Render(it);
                   return true;
               });
}

void QDMultiThreadedEffect::RenderMultiThreaded(LImageBuffer& buffer) const
{
    RenderMultiThreaded(buffer, LBoundingBox2T<int>(0, 0, buffer.GetWidth(), buffer.GetHeight()));
}

LProcessResult QDMultiThreadedEffect::FinishRender(LProcessInterface& process, const LImageBuffer& buffer)
{
    if (process.IsToStop())
        return LProcessResultCancelled;
    if (!buffer.IsValid())
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
