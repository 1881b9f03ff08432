#include "effects/QDEffectLiquidResize.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectGeometry.h"
#include "effects/QDMultiThreadedEffect.h"
#include "effects/QDSeamCarver.h"
#include "image/LImageTransform.h"
#include "image/LImgProColour.h"
#include "image/LImgProSimple.h"
#include "image/LImgProSobelEdgeDetector.h"

namespace
{
constexpr int kCommandId = 6041;
constexpr int kMaxSide = 100000;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectLiquidResizeProperties, iWidth, 12, -1, -1, kMaxSide, "width", "Width (pixels):")
        .Control(QDControlNumber),
    QD_PROPERTY(QDEffectLiquidResizeProperties, iHeight, 13, -1, -1, kMaxSide, "height", "Height (pixels):")
        .Control(QDControlNumber),
};

LProcessResult OutOfMemory(LProcessInterface& process)
{
    process.SetError("Out of memory");
    return LProcessResultFailed;
}

// The width by seams, in rounds that at most halve or grow by half.
LProcessResult CarveWidth(LProcessInterface& process, LImageBuffer& image, int target)
{
    while (image.GetWidth() != target)
    {
        const int w = image.GetWidth();
        const int next =
            target > w ? std::min(int(Round(w * 1.5)), target) : std::max(int(Round(w * 0.5)), target);
        const LProcessResult r = QDEffectLiquidResize::LiquidResize(process, image, next);
        if (r != LProcessResultSuccess)
            return r;
    }
    return LProcessResultSuccess;
}
} // namespace

QDEffectLiquidResize::QDEffectLiquidResize() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectLiquidResize::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectLiquidResize::GetName() const
{
    return QDEffectElementName(kCommandId);
}

unsigned QDEffectLiquidResize::GetWidth() const
{
    const int32_t w = GetPropertiesSnapshot().iWidth;
    return w > 0 ? unsigned(w) : iWidth;
}

unsigned QDEffectLiquidResize::GetHeight() const
{
    const int32_t h = GetPropertiesSnapshot().iHeight;
    return h > 0 ? unsigned(h) : iHeight;
}

void QDEffectLiquidResize::SetDimensions(const LBoundingBox2T<double>& box)
{
    QDImagePipelineElementWithWrappedProperties::SetDimensions(box);
    UpdateTransform();
}

void QDEffectLiquidResize::EvPropertiesChanged(const QDEffectLiquidResizeProperties& oOld)
{
    UpdateTransform();
    QDImagePipelineElementWithWrappedProperties::EvPropertiesChanged(oOld);
}

void QDEffectLiquidResize::UpdateTransform()
{
    // Seams move pixels unevenly; an even stretch is the nearest a point transform can say.
    const unsigned w = GetWidth(), h = GetHeight();
    const double sx = iWidth ? double(w) / iWidth : 1.0, sy = iHeight ? double(h) / iHeight : 1.0;
    QDSetAxisTransform(*this, sx, 0.5 * sx - 0.5, sy, 0.5 * sy - 0.5, w, h);
}

void QDEffectLiquidResize::Reset()
{
    QDEffectLiquidResizeProperties p = GetProperties();
    if (iWidth >= 1)
        p.iWidth = int32_t(std::min<unsigned>(iWidth, kMaxSide));
    if (iHeight >= 1)
        p.iHeight = int32_t(std::min<unsigned>(iHeight, kMaxSide));
    SetProperties(p, true);
}

LProcessResult QDEffectLiquidResize::LiquidResize(LProcessInterface& process, LImageBuffer& image,
                                                  int iTargetWidth)
{
    const int W = image.GetWidth(), H = image.GetHeight();
    if (!image.IsValid() || iTargetWidth < 1)
        return OutOfMemory(process);
    if (iTargetWidth == W)
        return LProcessResultSuccess;
    const bool enlarge = iTargetWidth > W;
    const int n = std::abs(W - iTargetWidth);
    // Every pixel can be doubled once, or all but one column taken.
    if (n > (enlarge ? W : W - 1))
        return OutOfMemory(process);

    // Energy: the squared grey of the edges; a picture too small for the edge filter is its own
    // energy.
    LImageBuffer edges;
    if (!edges.AllocateNewBuffer(LImageFormat(B8G8R8, W, H, false)) || !edges.IsValid())
        return OutOfMemory(process);
    edges.Clear(LPixelColour(0, 0, 0, 255));
    if (W < 4 || H < 4)
        LConvertPixelFormat(edges, image);
    else
    {
        const LImageBuffer* source = &image;
        LImageBuffer wide;
        if (image.GetPixelFormat() != B8G8R8A8 && image.GetPixelFormat() != B8G8R8)
        {
            if (!LImage::New(wide, W, H, B8G8R8A8) || !wide.IsValid())
                return OutOfMemory(process);
            LConvertPixelFormat(wide, image);
            source = &wide;
        }
        LProcessInterfaceVoid quiet;
        if (LImgProSobelEdgeDetector().Process(quiet, edges, *source) == LProcessResultFailed)
            return OutOfMemory(process);
    }
    if (process.IsToStop())
        return LProcessResultCancelled;
    LImageProcessBlackAndWhite grey;
    LApplyImageProcess(edges, grey);

    QDSeamCarver mesh;
    if (!mesh.Build(image, edges))
        return OutOfMemory(process);
    edges.Destroy();
    mesh.CalculateSeams();
    for (int i = 0; i < n; ++i)
    {
        if (process.IsToStop())
            return LProcessResultCancelled;
        if (!mesh.MarkBestSeam())
            return OutOfMemory(process);
        // Costs are brought up to date every fourth seam only; the seams between are picked from
        // stale costs, which the energy corrections along each seam keep honest enough.
        if (i % 4 == 0)
        {
            mesh.CalculateSeams();
            process.SetProgress(double(i) / n);
        }
    }
    LImageBuffer out;
    if (!out.AllocateNewBuffer(LImageFormat(image.GetPixelFormat(), iTargetWidth, H, false)) ||
        !out.IsValid())
        return OutOfMemory(process);
    out.Clear(LPixelColour(0, 0, 0, 255));
    if (!mesh.Write(out, enlarge))
        return OutOfMemory(process);
    image.Assign(out);
    return LProcessResultSuccess;
}

LProcessResult QDEffectLiquidResize::Carve(LProcessInterface& process, LImageBuffer& image, int tw, int th)
{
    const int w = image.GetWidth(), h = image.GetHeight();
    if (tw > 0 && th > 0 && ((tw > w && th > h) || (tw < w && th < h)))
    {
        // The share of the change both sides have in common is a plain scale; the side that
        // changes more is left to the seams.
        int nw = tw, nh = th;
        if (std::fabs(double(tw) / w - 1) > std::fabs(double(th) / h - 1))
            nw = std::max(int(Round(double(th) / h * w)), 1);
        else
            nh = std::max(int(Round(double(tw) / w * h)), 1);
        LImageBuffer scaled;
        const LProcessResult r = LImage::Resize(process, image, scaled, nw, nh, false, LImage::ResizeNearest);
        if (r != LProcessResultSuccess)
            return r == LProcessResultFailed ? OutOfMemory(process) : r;
        if (!scaled.IsValid())
            return OutOfMemory(process);
        image.Assign(scaled);
    }
    if (tw > 0)
    {
        const LProcessResult r = CarveWidth(process, image, tw);
        if (r != LProcessResultSuccess)
            return r;
    }
    if (th > 0 && image.GetHeight() != th)
    {
        LImageBuffer turned;
        LProcessResult r = LImage::Rotate(process, image, turned, 0.25);
        if (r == LProcessResultSuccess)
            r = CarveWidth(process, turned, th);
        if (r == LProcessResultSuccess)
            // Three quarters back is the exact inverse, as -0.25 would not be.
            r = LImage::Rotate(process, turned, image, 0.75);
        if (r != LProcessResultSuccess)
            return r == LProcessResultFailed ? OutOfMemory(process) : r;
    }
    return LProcessResultSuccess;
}

LProcessResult QDEffectLiquidResize::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectLiquidResizeProperties p = GetPropertiesSnapshot();
    const LProcessResult r = Carve(process, buffer, p.iWidth, p.iHeight);
    return r != LProcessResultSuccess ? r : QDMultiThreadedEffect::FinishRender(process, buffer);
}

LProcessResult QDEffectLiquidResize::RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectLiquidResizeProperties p = GetPropertiesSnapshot();
    // The preview carves the same share of its smaller picture.
    const double fWidthRatio = iWidth ? double(iWidth) / buffer.GetWidth() : 1.0;
    const double fHeightRatio = iHeight ? double(iHeight) / buffer.GetHeight() : 1.0;
    const int tw = p.iWidth > 0 ? std::max(int(Round(p.iWidth / fWidthRatio)), 1) : p.iWidth;
    const int th = p.iHeight > 0 ? std::max(int(Round(p.iHeight / fHeightRatio)), 1) : p.iHeight;
    const LProcessResult r = Carve(process, buffer, tw, th);
    return r != LProcessResultSuccess ? r : QDMultiThreadedEffect::FinishRender(process, buffer);
}
