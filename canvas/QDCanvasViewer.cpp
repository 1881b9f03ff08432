#include "canvas/QDCanvasViewer.h"

#include <algorithm>
#include <cmath>

#include "canvas/QDViewportRenderer.h"
#include "document/QDImagePipeline.h"
#include "image/LImageBuffer.h"

namespace
{
bool Intersects(const LBoxF& a, const LBoxF& b)
{
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}
} // namespace

QDCanvasViewer::QDCanvasViewer()
{
    iOriginMode = 1;
    iZoomMode = 1;
    fCameraZoomResolutionRatio = 1;
    bPartialUpdates = false;
    bSpacePans = true;
    // Neutral whatever the desktop's theme, so that colours are judged fairly.
    colBackground = LGuiGrey(96);
}

QDCanvasViewer::~QDCanvasViewer()
{
    if (lpViewport)
        lpViewport->RemoveNotifyee(this);
    // Nodes go while this object is whole, since widgets report to it.
    DeleteAllNodes();
}

void QDCanvasViewer::Init(QDViewport* viewport, QDImagePipeline* pipeline)
{
    lpViewport = viewport;
    lpPipeline = pipeline;
    lpViewportRenderer = AddNode<QDViewportRenderer>(0, 0, viewport);
    lpWidgetsRoot = AddNode<QDCanvasViewerWidgetsRoot>(0, 0);
    if (lpViewport)
        lpViewport->AddNotifyee(this);
}

// ---- widgets

void QDCanvasViewer::RegisterWidget(QDCanvasWidget* widget)
{
    widget->AddWidgetNotifyee(this);
    vWidgets.push_back(widget);
    ApplyCanvasWidgetZOrder();
    NotifyScrollChanged();
}

void QDCanvasViewer::DestroyWidget(QDCanvasWidget* widget)
{
    auto it = std::find(vWidgets.begin(), vWidgets.end(), widget);
    if (it == vWidgets.end())
        return;
    if (lpSelectedWidget == widget)
        lpSelectedWidget = nullptr;
    vWidgets.erase(it);
    widget->RemoveWidgetNotifyee(this);
    widget->DeleteThisNode();
    NotifyScrollChanged();
}

QDCanvasWidget* QDCanvasViewer::MapPipelineElementToWidget(const QDImagePipelineElement* element) const
{
    for (QDCanvasWidget* w : vWidgets)
        if (w->lpElement == element)
            return w;
    return nullptr;
}

void QDCanvasViewer::SelectWidget(QDCanvasWidget* widget)
{
    if (widget == lpSelectedWidget)
        return;
    QDCanvasWidget* old = lpSelectedWidget;
    lpSelectedWidget = widget;
    if (old)
        old->Deselect();
    if (widget)
        widget->Select();
    ApplyCanvasWidgetZOrder();
}

bool QDCanvasViewer::SelectWidgetForPipelineElement(const QDImagePipelineElement* element)
{
    QDCanvasWidget* w = MapPipelineElementToWidget(element);
    if (!w)
        return false;
    SelectWidget(w);
    return true;
}

void QDCanvasViewer::DeselectAllWidgets()
{
    if (QDCanvasWidget* old = lpSelectedWidget)
    {
        lpSelectedWidget = nullptr;
        old->Deselect();
    }
    ApplyCanvasWidgetZOrder();
    const std::vector<QDCanvasViewerNotifyee*> round = vNotifyees;
    for (QDCanvasViewerNotifyee* n : round)
        n->EvCanvasViewerDeselectAll(*this);
}

void QDCanvasViewer::ApplyCanvasWidgetZOrder()
{
    if (lpPipeline)
        for (QDImagePipelineElement* e = lpPipeline->GetFirstElement(); e; e = e->GetNextItem())
            if (QDCanvasWidget* w = MapPipelineElementToWidget(e))
                if (w->iZOrderMode == QDCanvasWidget::ZOrderPipeline ||
                    w->iZOrderMode == QDCanvasWidget::ZOrderPipelineSelectedTop)
                    w->BringToFront();
    for (QDCanvasWidget* w : vWidgets)
        if (w->iZOrderMode == QDCanvasWidget::ZOrderTop)
            w->BringToFront();
    if (lpSelectedWidget && lpSelectedWidget->iZOrderMode == QDCanvasWidget::ZOrderPipelineSelectedTop)
        lpSelectedWidget->BringToFront();
}

void QDCanvasViewer::EvCanvasWidgetSelected(QDCanvasWidget& widget)
{
    SelectWidget(&widget);
    const std::vector<QDCanvasViewerNotifyee*> round = vNotifyees;
    for (QDCanvasViewerNotifyee* n : round)
        n->EvCanvasViewerWidgetSelected(*this, widget);
}

void QDCanvasViewer::EvCanvasWidgetBoundsChanged(QDCanvasWidget& widget)
{
    (void)widget;
    NotifyScrollChanged();
    if (DoesCameraIntersectWidget())
        return;
    if (lpNodeDragging)
        bFitWhenDragFinishes = true;
    else
        FitCameraToWidgets();
}

void QDCanvasViewer::EvDragStart()
{
    lpLastDragged = lpNodeDragging;
}

void QDCanvasViewer::EvDragFinish()
{
    if (bFitWhenDragFinishes)
    {
        bFitWhenDragFinishes = false;
        if (lpLastDragged)
            ZoomToIncludeNode(lpLastDragged, 0);
    }
    lpLastDragged = nullptr;
}

void QDCanvasViewer::NodeGone(LSceneGraphNode* node)
{
    if (lpLastDragged == node)
        lpLastDragged = nullptr;
    if (lpSelectedWidget == node)
        lpSelectedWidget = nullptr;
    vWidgets.erase(std::remove(vWidgets.begin(), vWidgets.end(), node), vWidgets.end());
    LSceneGraph::NodeGone(node);
}

// ---- zoom and fit

void QDCanvasViewer::SetZoomLimits(bool bLimited, float zoomMin, float zoomMax)
{
    bZoomLimited = bLimited;
    fZoomMin = zoomMin;
    fZoomMax = zoomMax;
}

float QDCanvasViewer::LimitZoom(float zoom) const
{
    if (!bZoomLimited)
        return zoom;
    return std::clamp(zoom, fZoomMin, std::max(fZoomMin, fZoomMax));
}

void QDCanvasViewer::NotifyZoomChanged()
{
    const std::vector<QDCanvasViewerNotifyee*> round = vNotifyees;
    for (QDCanvasViewerNotifyee* n : round)
        n->EvCanvasViewerZoomChanged(*this);
}

void QDCanvasViewer::NotifyScrollChanged()
{
    const std::vector<QDCanvasViewerNotifyee*> round = vNotifyees;
    for (QDCanvasViewerNotifyee* n : round)
        n->EvCanvasViewerScrollPositionChanged(*this);
}

void QDCanvasViewer::SetZoom(float zoom)
{
    if (zoom <= 0)
        return;
    const float ratio = 1.0f / zoom;
    if (iZoomMode == 1 && ratio == fCameraZoomResolutionRatio)
        return;
    SetCameraZoomResolutionRatio(ratio);
    bScrollBoundsIncludeLast = false;
    ConstrainCamera();
    NotifyZoomChanged();
    AllowScrollingToCurrentCameraBounds();
}

void QDCanvasViewer::ZoomIn()
{
    const float z = GetZoom();
    float next = z * fZoomStep;
    if (bZoomLimited)
        next = std::min(next, fZoomMax);
    // 100% is never stepped over on the way up.
    if (z < 1)
        next = std::min(1.0f, next);
    SetZoom(next);
}

void QDCanvasViewer::ZoomOut()
{
    const float z = GetZoom();
    float next = z / fZoomStep;
    if (bZoomLimited)
        next = std::max(next, fZoomMin);
    if (z < 1)
        next = std::min(1.0f, next);
    SetZoom(next);
}

void QDCanvasViewer::ZoomAbout(float zoom, float x, float y)
{
    float u, v;
    MapXYToUV(x, y, u, v);
    SetZoom(LimitZoom(zoom));
    // While the whole page fits, the zoom centres it rather than tracking the pointer.
    const LBoxF page = GetViewportBounds(), camera = GetCameraBounds();
    if (page.left >= camera.left && page.right <= camera.right && page.top >= camera.top &&
        page.bottom <= camera.bottom)
        return;
    const float dx = MapUToX(u) - x, dy = MapVToY(v) - y;
    SetCameraPosition(fCameraU + MapOffsetXYToUV(dx), fCameraV + MapOffsetXYToUV(dy));
    AllowScrollingToCurrentCameraBounds();
}

void QDCanvasViewer::EvMouseWheel(float x, float y, int delta)
{
    if (!bCanWheelZoom || x < 0 || y < 0 || x >= float(iWidth) || y >= float(iHeight))
        return;
    float u, v;
    MapXYToUV(x, y, u, v);
    if (delta < 1)
        ZoomOut();
    else
        ZoomIn();
    const LBoxF page = GetViewportBounds(), camera = GetCameraBounds();
    if (page.left >= camera.left && page.right <= camera.right && page.top >= camera.top &&
        page.bottom <= camera.bottom)
        return;
    const float dx = MapUToX(u) - x, dy = MapVToY(v) - y;
    SetCameraPosition(fCameraU + MapOffsetXYToUV(dx), fCameraV + MapOffsetXYToUV(dy));
    AllowScrollingToCurrentCameraBounds();
}

void QDCanvasViewer::EvPinch(float x, float y, float factor)
{
    if (factor > 0)
        ZoomAbout(GetZoom() * factor, x, y);
}

void QDCanvasViewer::FitCameraToBounds(const LBoxF& box)
{
    const float W = float(iWidth), H = float(iHeight);
    if (W <= 0 || H <= 0 || !box.IsValid() || box.IsEmpty())
        return;
    const float m = W / H > box.GetWidth() / box.GetHeight() ? kMarginFraction * box.GetHeight()
                                                             : kMarginFraction * box.GetWidth();
    const LBoxF widened(box.left - m, box.top - m, box.right + m, box.bottom + m);
    if (widened.GetWidth() < W && widened.GetHeight() < H)
    {
        // Fitting never enlarges past 100%.
        if (iZoomMode != 1 || fCameraZoomResolutionRatio != 1)
        {
            SetCameraZoomResolutionRatio(1);
            NotifyZoomChanged();
        }
        CenterCameraOnBounds(box);
        AllowScrollingToCurrentCameraBounds();
        return;
    }
    ZoomToBounds(widened, false);
    if (bZoomLimited && GetZoom() != LimitZoom(GetZoom()))
        SetCameraZoomResolutionRatio(1.0f / LimitZoom(GetZoom()));
    NotifyZoomChanged();
    AllowScrollingToCurrentCameraBounds();
}

void QDCanvasViewer::FitCameraToViewport()
{
    FitCameraToBounds(GetViewportBounds());
}

void QDCanvasViewer::FitCameraToWidgets()
{
    const LBoxF b = GetWidgetBounds();
    if (b.IsValid() && !b.IsEmpty())
        FitCameraToBounds(b);
}

void QDCanvasViewer::CenterCameraOnViewport()
{
    CenterCameraOnBounds(GetViewportBounds());
}

void QDCanvasViewer::CenterCameraOnBounds(const LBoxF& box)
{
    SetCameraPosition((box.left + box.right) / 2, (box.top + box.bottom) / 2);
}

// ---- scrolling

LBoxF QDCanvasViewer::GetViewportBounds() const
{
    if (!lpViewport)
        return LBoxF(0, 0, 0, 0);
    const LBoundingBox2T<double>& b = lpViewport->bxBounds;
    return LBoxF(float(b.left), float(b.top), float(b.right), float(b.bottom));
}

LBoxF QDCanvasViewer::GetWidgetBounds() const
{
    return lpWidgetsRoot ? lpWidgetsRoot->GetSelectionBoundsAbsolute() : LBoxF(0, 0, 0, 0);
}

LBoxF QDCanvasViewer::GetScrollableBounds() const
{
    const LBoxF page = GetViewportBounds();
    const float mx = page.GetWidth() * kMarginFraction, my = page.GetHeight() * kMarginFraction;
    LBoxF out(page.left - mx, page.top - my, page.right + mx, page.bottom + my);
    if (bScrollBoundsIncludeLast)
        out += bxLastCameraBounds;
    // One screenful about the page's centre is always reachable.
    const LBoxF camera = GetCameraBounds();
    const float cu = (page.left + page.right) / 2, cv = (page.top + page.bottom) / 2;
    const LBoxF centred(cu - camera.GetWidth() / 2, cv - camera.GetHeight() / 2, cu + camera.GetWidth() / 2,
                        cv + camera.GetHeight() / 2);
    if (centred.IsValid() && !centred.IsEmpty())
        out += centred;
    return out;
}

bool QDCanvasViewer::DoesCameraIntersectWidget() const
{
    const LBoxF camera = GetCameraBounds();
    for (QDCanvasWidget* w : vWidgets)
    {
        if (w->IsHidden())
            continue;
        const LBoxF b = w->LocalToAbsolute(w->GetSelectionBoundsRecursive());
        if (b.IsValid() && !b.IsEmpty() && Intersects(b, camera))
            return true;
    }
    return false;
}

bool QDCanvasViewer::CanScrollHorizontal() const
{
    return GetScrollableBounds().GetWidth() > GetCameraBounds().GetWidth();
}

bool QDCanvasViewer::CanScrollVertical() const
{
    return GetScrollableBounds().GetHeight() > GetCameraBounds().GetHeight();
}

float QDCanvasViewer::GetHorizontalScrollableBoundsViewRatio() const
{
    const float s = GetScrollableBounds().GetWidth();
    return s > 0 ? GetCameraBounds().GetWidth() / s : 1;
}

float QDCanvasViewer::GetVerticalScrollableBoundsViewRatio() const
{
    const float s = GetScrollableBounds().GetHeight();
    return s > 0 ? GetCameraBounds().GetHeight() / s : 1;
}

float QDCanvasViewer::GetHorizontalScrollRatio() const
{
    const LBoxF s = GetScrollableBounds(), c = GetCameraBounds();
    const float room = s.GetWidth() - c.GetWidth();
    return room > 0 ? (c.left - s.left) / room : 0.5f;
}

float QDCanvasViewer::GetVerticalScrollRatio() const
{
    const LBoxF s = GetScrollableBounds(), c = GetCameraBounds();
    const float room = s.GetHeight() - c.GetHeight();
    return room > 0 ? (c.top - s.top) / room : 0.5f;
}

void QDCanvasViewer::SetHorizontalScrollRatio(float ratio)
{
    const LBoxF s = GetScrollableBounds(), c = GetCameraBounds();
    const float low = s.left + c.GetWidth() / 2, high = s.right - c.GetWidth() / 2;
    SetCameraPositionU(low + ratio * (high - low));
}

void QDCanvasViewer::SetVerticalScrollRatio(float ratio)
{
    const LBoxF s = GetScrollableBounds(), c = GetCameraBounds();
    const float low = s.top + c.GetHeight() / 2, high = s.bottom - c.GetHeight() / 2;
    SetCameraPositionV(low + ratio * (high - low));
}

void QDCanvasViewer::ConstrainCamera()
{
    const LBoxF s = GetScrollableBounds(), c = GetCameraBounds();
    float u = fCameraU, v = fCameraV;
    if (s.GetWidth() > c.GetWidth())
    {
        if (c.left < s.left)
            u += s.left - c.left;
        if (c.right > s.right)
            u -= c.right - s.right;
    }
    else
        u = (s.left + s.right) / 2;
    if (s.GetHeight() > c.GetHeight())
    {
        if (c.top < s.top)
            v += s.top - c.top;
        if (c.bottom > s.bottom)
            v -= c.bottom - s.bottom;
    }
    else
        v = (s.top + s.bottom) / 2;
    if (u != fCameraU || v != fCameraV)
        SetCameraPosition(u, v);
}

void QDCanvasViewer::AllowScrollingToCurrentCameraBounds()
{
    bxLastCameraBounds = GetCameraBounds();
    bScrollBoundsIncludeLast = true;
    NotifyScrollChanged();
}

void QDCanvasViewer::EvUserPan()
{
    ConstrainCamera();
}

void QDCanvasViewer::EvUserPanFinish()
{
    AllowScrollingToCurrentCameraBounds();
}

void QDCanvasViewer::EvCameraMove()
{
    NotifyScrollChanged();
}

void QDCanvasViewer::EvSize()
{
    if (iWidth <= 0 || iHeight <= 0)
        return;
    if (!bFittedOnce)
    {
        bFittedOnce = true;
        FitCameraToViewport();
        return;
    }
    SetHorizontalScrollRatio(0.5f);
    SetVerticalScrollRatio(0.5f);
    AllowScrollingToCurrentCameraBounds();
}

void QDCanvasViewer::EvViewportBoundsChanged(QDViewport& viewport)
{
    (void)viewport;
    CenterCameraOnViewport();
    ConstrainCamera();
    AllowScrollingToCurrentCameraBounds();
}

void QDCanvasViewer::EvLButtonDownUV(float u, float v)
{
    (void)u, (void)v;
    // A press on the bare canvas grabs the picture and moves it.
    if (bCanPan && !bRubberBanding)
        BeginPan(fMouseX, fMouseY, 0);
}

void QDCanvasViewer::EvRButtonUp(float x, float y)
{
    // Nodes on the canvas never see right-button releases; the viewer's listeners do.
    fMouseX = x;
    fMouseY = y;
    MapXYToUV(x, y, fMouseU, fMouseV);
    const std::vector<QDCanvasViewerNotifyee*> round = vNotifyees;
    for (QDCanvasViewerNotifyee* n : round)
        n->EvCanvasViewerRightClick(*this, fMouseU, fMouseV);
}

// ---- the picture

void QDCanvasViewer::EvRenderLowRes(const LImageBuffer* image, const char* szError)
{
    szRenderError = image && image->IsValid() ? "" : (szError ? szError : "");
    if (lpViewportRenderer)
        lpViewportRenderer->EvRenderLowRes(image);
    Update();
}

void QDCanvasViewer::EvRenderFinished(LPtr<LImageBuffer>& image, const char* szError)
{
    szRenderError = image && image->IsValid() ? "" : (szError ? szError : "");
    if (lpViewportRenderer)
        lpViewportRenderer->EvRenderFinished(image);
    Update();
}

void QDCanvasViewer::Prepaint(LPaintContext& pc)
{
    LSceneGraph::Prepaint(pc);
    if (szRenderError.empty())
        return;
    pc.SetFont("", Px(20), false);
    pc.SetTextColor(LGuiRGB(255, 0, 0));
    float w = 0, h = 0;
    pc.MeasureText(szRenderError.c_str(), w, h);
    pc.DrawText(szRenderError.c_str(), float(iWidth) - Px(10) - w, float(iHeight) - Px(5) - h);
}

void QDCanvasViewer::AddNotifyee(QDCanvasViewerNotifyee* notifyee)
{
    if (notifyee && std::find(vNotifyees.begin(), vNotifyees.end(), notifyee) == vNotifyees.end())
        vNotifyees.push_back(notifyee);
}

void QDCanvasViewer::RemoveNotifyee(QDCanvasViewerNotifyee* notifyee)
{
    vNotifyees.erase(std::remove(vNotifyees.begin(), vNotifyees.end(), notifyee), vNotifyees.end());
}
