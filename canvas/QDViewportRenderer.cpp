#include "canvas/QDViewportRenderer.h"

#include <algorithm>
#include <cmath>

#include "canvas/LSceneGraph.h"
#include "document/LQDCacheStore.h"

QDViewportRenderer::QDViewportRenderer(QDViewport* viewport) : lpViewport(viewport)
{
    bCanFocus = false;
    if (lpViewport)
        paramsUsed = *lpViewport;
}

LBoxF QDViewportRenderer::GetBounds() const
{
    if (!lpViewport)
        return LBoxF(0, 0, 0, 0);
    const LBoundingBox2T<double>& b = lpViewport->bxBounds;
    return LBoxF(float(b.left), float(b.top), float(b.right), float(b.bottom));
}

float QDViewportRenderer::GetShadowWidth() const
{
    const LBoxF b = GetBounds();
    return ((b.GetWidth() + b.GetHeight()) * 0.5f) * 0.02f;
}

LBoxF QDViewportRenderer::GetDrawBounds() const
{
    LBoxF b = GetBounds();
    const float s = GetShadowWidth();
    b.right += s;
    b.bottom += s;
    return b;
}

LBoxF QDViewportRenderer::GetViewportBoundsXY() const
{
    return MapUVToXY(GetBounds());
}

LBoxF QDViewportRenderer::GetPictureRectXY() const
{
    // The picture hangs from UV 0,0 whatever the page's own left and top.
    const LBoxF page = GetBounds();
    const float x = std::round(MapUToX(0)), y = std::round(MapVToY(0));
    const float w = std::round(MapOffsetUVToXY(page.GetWidth())),
                h = std::round(MapOffsetUVToXY(page.GetHeight()));
    return LBoxF(x, y, x + w, y + h);
}

void QDViewportRenderer::DrawShadow(LPaintContext& pc)
{
    const LBoxF page = GetBounds();
    const float l = std::round(page.left), t = std::round(page.top);
    const float w = std::round(page.GetWidth()), h = std::round(page.GetHeight());
    const float onePixel = MapOffsetXYToUV(1);
    DrawBoxShadowUV(pc, LBoxF(l, t, l + w - onePixel, t + h - onePixel), GetShadowWidth(),
                    LGuiGrey(kShadowGrey));
}

void QDViewportRenderer::Draw(LPaintContext& pc)
{
    if (imgDisplay.IsEmpty())
    {
        DrawShadow(pc);
        const LBoxF xy = GetViewportBoundsXY();
        pc.FillGray(
            LBoxF(std::round(xy.left), std::round(xy.top), std::round(xy.right), std::round(xy.bottom)));
        return;
    }
    DrawShadow(pc);
    const bool antialias = pc.GetAntialias();
    pc.SetAntialias(false);
    const LBoxF picture = GetPictureRectXY();
    if (picture.GetWidth() > 0 && picture.GetHeight() > 0)
    {
        // Behind an opaque picture the checkerboard would never show.
        if (!imgDisplay.IsOpaque())
        {
            const LBoxF visible(std::max(picture.left, 0.0f), std::max(picture.top, 0.0f),
                                std::min(picture.right, float(lpGraph->GetWidth())),
                                std::min(picture.bottom, float(lpGraph->GetHeight())));
            if (visible.left < visible.right && visible.top < visible.bottom)
                pc.FillRectCheckerPattern(visible, int(std::lround(lpGraph->Px(kCheckerCell))), LGuiGrey(255),
                                          LGuiGrey(223), 0, 0);
        }
        // Smoothing only when shrinking: magnified pixels stay sharp blocks. A much smaller
        // picture is drawn from a reduction made once, not from every pixel at each paint.
        const bool shrinking = picture.GetWidth() < float(imgDisplay.GetWidth());
        const LGuiImage& source = shrinking ? imgDisplay.GetReducedFor(int(picture.GetWidth())) : imgDisplay;
        pc.DrawImage(source, picture, 1.0f, shrinking);
    }
    pc.SetAntialias(antialias);
}

void QDViewportRenderer::SetProjectDimensions(int width, int height)
{
    if (width > 0 && height > 0)
    {
        iLowResWidth = width;
        iLowResHeight = height;
    }
}

void QDViewportRenderer::FollowPictureSize(int width, int height)
{
    if (lpViewport)
        paramsUsed = *lpViewport;
    const LBoundingBox2T<double> box(0, 0, width, height);
    if (lpViewport && box != lpViewport->bxBounds)
    {
        paramsUsed.bxBounds = box;
        lpViewport->SetBounds(box, false);
    }
    if (iCacheId >= 0)
        LQDCacheInvalidate(iCacheId);
}

void QDViewportRenderer::EvRenderLowRes(const LImageBuffer* image)
{
    if (!image || !image->IsValid())
    {
        Update(false);
        return;
    }
    if (iLowResWidth == 0 && iLowResHeight == 0)
    {
        const float scale = lpViewport && lpViewport->fLowResScale > 0 ? lpViewport->fLowResScale : 1.0f;
        iLowResWidth = std::max(0, int(std::lround(image->GetWidth() / scale)));
        iLowResHeight = std::max(0, int(std::lround(image->GetHeight() / scale)));
    }
    if (iLowResWidth <= 0 || iLowResHeight <= 0)
        imgDisplay.Clear();
    else if (image->GetWidth() == iLowResWidth && image->GetHeight() == iLowResHeight)
        imgDisplay.SetFromImageBuffer(*image);
    else
        imgDisplay.SetStretched(*image, iLowResWidth, iLowResHeight);
    FollowPictureSize(iLowResWidth, iLowResHeight);
    Update(false);
}

void QDViewportRenderer::EvRenderFinished(LPtr<LImageBuffer>& image)
{
    if (image && image->IsValid())
    {
        const int w = image->GetWidth(), h = image->GetHeight();
        // The old picture goes first, so that two full-size copies are never held at once here.
        imgDisplay.Clear();
        imgDisplay.TakeImageBuffer(*image);
        image.Reset();
        iImageWidth = w;
        iImageHeight = h;
        FollowPictureSize(w, h);
    }
    else if (iCacheId >= 0)
        LQDCacheInvalidate(iCacheId);
    Update(false);
}
