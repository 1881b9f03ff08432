#include "canvas/QDCircleSelectionWidget.h"

#include <algorithm>
#include <cmath>

#include "canvas/LSceneGraph.h"

namespace
{
constexpr double kPi = 3.14159265358979323846;
}

// ---- ring

QDCircleSizeHandle::QDCircleSizeHandle(float radius, QDCircleSelectionWidget* widget)
    : LSceneGraphNodeCircleBase(radius), lpWidget(widget)
{
    bCanFocus = false;
    bRepaintOnHover = true;
    bBringToFrontOnDrag = false;
    lpRegion = AddDragRegion(0, 0, 0, 0);
    lpRegion->bUseHitTest = true;
    // The ring resizes; it never moves.
    lpRegion->bMoveU = lpRegion->bMoveV = false;
}

float QDCircleSizeHandle::GetThickness() const
{
    return lpGraph ? MapOffsetXYToUV(lpGraph->Px(kRingPixels)) : kRingPixels;
}

LBoxF QDCircleSizeHandle::GetBounds() const
{
    const float r = GetRadius() + GetThickness();
    return LBoxF(-r, -r, r, r);
}

bool QDCircleSizeHandle::HitTest(float u, float v)
{
    const float d = std::sqrt(u * u + v * v), t = GetThickness(), r = GetRadius();
    const bool over = d > r - t && d < r + t;
    if (over)
    {
        // The resize cursor follows the point's angle: sectors of 45° offset by 22.5°.
        double a = std::atan2(-v, u);
        if (a < 0)
            a += 2 * kPi;
        const int sector = int(std::floor((a + kPi / 8) / (kPi / 4))) % 8;
        static const int kCursors[8] = {LCursorResizeHorizontal, LCursorResizeDiagonalUp,
                                        LCursorResizeVertical,   LCursorResizeDiagonalDown,
                                        LCursorResizeHorizontal, LCursorResizeDiagonalUp,
                                        LCursorResizeVertical,   LCursorResizeDiagonalDown};
        lpRegion->iCursor = kCursors[sector];
    }
    return over;
}

void QDCircleSizeHandle::Draw(LPaintContext& pc)
{
    if (!bMouseOver && !bDragging)
        return;
    const float cx = MapUToX(0), cy = MapVToY(0);
    const float r = MapOffsetUVToXY(GetRadius()), t = MapOffsetUVToXY(GetThickness());
    LGraphicsPath ring;
    const int n = 64;
    for (int pass = 0; pass < 2; ++pass)
    {
        const float rr = pass == 0 ? r : std::max(0.0f, r - t);
        for (int k = 0; k < n; ++k)
        {
            const double a = 2 * kPi * k / n;
            const float x = cx + rr * float(std::cos(a)), y = cy + rr * float(std::sin(a));
            if (k == 0)
                ring.MoveTo(x, y);
            else
                ring.LineTo(x, y);
        }
        ring.Close();
    }
    if (lpWidget)
        pc.FillPath(ring, lpWidget->GetColor(), 1.0f);
    else
        pc.FillPath(ring, LGuiGrey(0), 220.0f / 255.0f);
}

void QDCircleSizeHandle::EvLButtonDownUV(float u, float v)
{
    fStartDistance = std::sqrt(u * u + v * v);
    fStartRadius = GetRadius();
}

void QDCircleSizeHandle::EvDragBegin()
{
    bDragging = true;
    if (lpNotifyee)
        lpNotifyee->EvCircleSizeHandleDragBegin(*this);
}

void QDCircleSizeHandle::EvDrag(float u, float v, bool bPrimary)
{
    (void)u, (void)v, (void)bPrimary;
    if (!bDragging || fStartDistance <= 0)
        return;
    const float cu = GetCursorU(), cv = GetCursorV();
    const float radius = fStartRadius * (std::sqrt(cu * cu + cv * cv) / fStartDistance);
    SetRadius(radius);
    if (lpNotifyee)
        lpNotifyee->EvCircleSizeHandle(*this, radius);
}

void QDCircleSizeHandle::EvDragFinish(bool bPrimary)
{
    (void)bPrimary;
    bDragging = false;
    Update(false);
    if (lpNotifyee)
        lpNotifyee->EvCircleSizeHandleDragFinish(*this);
}

// ---- circle

QDCircleSelectionWidget::QDCircleSelectionWidget(float radius) : LSceneGraphNodeCircleBase(radius)
{
    bCanSelect = true;
    bCanDelete = true;
    bRepaintOnHover = true;
    LSceneGraphNodeDragRegion* body = AddDragRegion(0, 0, 0, 0, LCursorPointingHandMove);
    body->bUseHitTest = true;
}

void QDCircleSelectionWidget::EvCreated()
{
    lpSizeHandle = AddNode<QDCircleSizeHandle>(0, 0, fRadius, this);
    lpSizeHandle->lpNotifyee = this;
}

void QDCircleSelectionWidget::Draw(LPaintContext& pc)
{
    const float cx = MapUToX(0), cy = MapVToY(0), r = MapOffsetUVToXY(GetRadius());
    pc.DrawEllipseAA(LBoxF(cx - r, cy - r, cx + r, cy + r), GetColor(), 1.0f, lpGraph->Px(1));
}

void QDCircleSelectionWidget::SetRadius(float radius)
{
    LSceneGraphNodeCircleBase::SetRadius(radius);
    if (lpSizeHandle && lpSizeHandle->GetRadius() != radius)
        lpSizeHandle->SetRadius(radius);
}

void QDCircleSelectionWidget::EvCircleSizeHandle(QDCircleSizeHandle& handle, float radius)
{
    (void)handle;
    SetRadius(radius);
    const std::vector<QDCircleSelectionWidgetNotifyee*> round = vCircleNotifyees;
    for (QDCircleSelectionWidgetNotifyee* n : round)
        n->NotifyRadiusChanged(*this);
}

void QDCircleSelectionWidget::EvCircleSizeHandleDragBegin(QDCircleSizeHandle& handle)
{
    (void)handle;
    const std::vector<QDCircleSelectionWidgetNotifyee*> round = vCircleNotifyees;
    for (QDCircleSelectionWidgetNotifyee* n : round)
        n->NotifyRadiusDragBegin(*this);
}

void QDCircleSelectionWidget::EvCircleSizeHandleDragFinish(QDCircleSizeHandle& handle)
{
    (void)handle;
    const std::vector<QDCircleSelectionWidgetNotifyee*> round = vCircleNotifyees;
    for (QDCircleSelectionWidgetNotifyee* n : round)
        n->NotifyRadiusDragFinish(*this);
}

void QDCircleSelectionWidget::AddCircleNotifyee(QDCircleSelectionWidgetNotifyee* notifyee)
{
    if (notifyee &&
        std::find(vCircleNotifyees.begin(), vCircleNotifyees.end(), notifyee) == vCircleNotifyees.end())
        vCircleNotifyees.push_back(notifyee);
}

void QDCircleSelectionWidget::RemoveCircleNotifyee(QDCircleSelectionWidgetNotifyee* notifyee)
{
    vCircleNotifyees.erase(std::remove(vCircleNotifyees.begin(), vCircleNotifyees.end(), notifyee),
                           vCircleNotifyees.end());
}
