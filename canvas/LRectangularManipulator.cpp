#include "canvas/LRectangularManipulator.h"

#include <algorithm>
#include <cmath>

#include "canvas/LKeyHandler.h"

namespace
{
constexpr double kPi = 3.14159265358979323846;
constexpr double kDegree = kPi / 180.0;

LVector2T<float> Rotated(LVector2T<float> p, double radians)
{
    p.Rotate(radians);
    return p;
}
} // namespace

// ---- handles

QDSizingHandle::QDSizingHandle(int direction) : iDirection(direction)
{
    bCanFocus = false;
    lpRegion = AddDragRegion(0, 0, 0, 0);
    lpRegion->bUseHitTest = true;
}

int QDSizingHandle::GetCursorType() const
{
    // The angle of the line the handle slides across, y up, less the clockwise turn of the box.
    static const double kBase[8] = {90, 0, 90, 0, 135, 45, 135, 45};
    double a = kBase[iDirection] * kDegree - dAngle;
    a = std::fmod(a, 2 * kPi);
    if (a < 0)
        a += 2 * kPi;
    const int sector = int(std::floor((a + 22.5 * kDegree) / (45 * kDegree))) % 8;
    static const int kCursors[8] = {
        LCursorResizeVertical, LCursorResizeDiagonalDown, LCursorResizeHorizontal, LCursorResizeDiagonalUp,
        LCursorResizeVertical, LCursorResizeDiagonalDown, LCursorResizeHorizontal, LCursorResizeDiagonalUp};
    return kCursors[sector];
}

void QDSizingHandle::Draw(LPaintContext& pc)
{
    const bool aa = pc.GetAntialias();
    pc.SetAntialias(false);
    const float x = std::round(MapUToX(0)), y = std::round(MapVToY(0));
    const float outer = std::round(lpGraph->Px(7)), inner = std::round(lpGraph->Px(5));
    const float o = std::floor(outer / 2), i = std::floor(inner / 2);
    pc.FillRect(LBoxF(x - o, y - o, x - o + outer, y - o + outer), LGuiGrey(0), 150.0f / 255.0f);
    pc.FillRect(LBoxF(x - i, y - i, x - i + inner, y - i + inner), LGuiGrey(255));
    pc.SetAntialias(aa);
}

QDEdgeHandle::QDEdgeHandle(bool bAlongVAxis) : bAlongV(bAlongVAxis)
{
    bCanFocus = false;
    LSceneGraphNodeDragRegion* r = AddDragRegion(0, 0, 0, 0, LCursorPointingHandMove);
    r->bUseHitTest = true;
    // The box moves, not the handle.
    r->bMoveU = r->bMoveV = false;
}

LBoxF QDEdgeHandle::GetSelectionBounds() const
{
    const float r = std::sqrt(fLength * fLength + fThickness * fThickness) / 2;
    return LBoxF(-r, -r, r, r);
}

bool QDEdgeHandle::HitTest(float u, float v)
{
    LVector2T<float> p(u, v);
    p.Rotate(-dAngle);
    const float along = bAlongV ? p.y : p.x, across = bAlongV ? p.x : p.y;
    return std::fabs(along) < fLength / 2 && std::fabs(across) < fThickness / 2;
}

QDRotationHandle::QDRotationHandle()
{
    bCanFocus = false;
    LSceneGraphNodeDragRegion* r = AddDragRegion(0, 0, 0, 0, LCursorPointingHand);
    r->bUseHitTest = true;
}

void QDRotationHandle::Draw(LPaintContext& pc)
{
    // A round grip with a circular arrow.
    const float cx = MapUToX(0), cy = MapVToY(0), r = MapOffsetUVToXY(fSize) * 0.6f;
    pc.FillEllipseAA(LBoxF(cx - r, cy - r, cx + r, cy + r), LGuiGrey(255), 0.9f);
    pc.DrawEllipseAA(LBoxF(cx - r, cy - r, cx + r, cy + r), LGuiGrey(0), 0.6f, lpGraph->Px(1));
    const float a = r * 0.55f;
    LGraphicsPath arc;
    const int steps = 12;
    for (int k = 0; k <= steps; ++k)
    {
        const double t = (-60 + 270.0 * k / steps) * kDegree;
        const float px = cx + a * float(std::cos(t)), py = cy + a * float(std::sin(t));
        if (k == 0)
            arc.MoveTo(px, py);
        else
            arc.LineTo(px, py);
    }
    pc.DrawPath(arc, LGuiGrey(40), 1.0f, lpGraph->Px(1.5f), LLineStyleSolid);
    const double end = 210 * kDegree;
    const float ex = cx + a * float(std::cos(end)), ey = cy + a * float(std::sin(end));
    const float h = r * 0.35f;
    const LPointF head[3] = {{ex - h, ey}, {ex + h, ey}, {ex, ey + h}};
    pc.FillPolygonAA(head, 3, LGuiGrey(40), 1.0f);
}

// ---- manipulator

LRectangularManipulator::LRectangularManipulator(float width, float height, int anchor)
    : fWidth(std::max(0.0f, width)), fHeight(std::max(0.0f, height)), iAnchor(anchor)
{
    bRepaintOnHover = true;
    LSceneGraphNodeDragRegion* body = AddDragRegion(0, 0, 0, 0, LCursorPointingHandMove);
    body->bUseHitTest = true;
}

LRectangularManipulator::~LRectangularManipulator()
{
    if (lpGraph)
        lpGraph->RemoveCameraNotifyee(this);
}

void LRectangularManipulator::EvCreated()
{
    for (int i = 0; i < 4; ++i)
    {
        apEdges[i] = AddNode<QDEdgeHandle>(0, 0, i == 1 || i == 2);
        apEdges[i]->AddNotifyee(this);
    }
    for (int d = 0; d < 8; ++d)
    {
        apSizing[d] = AddNode<QDSizingHandle>(0, 0, d);
        apSizing[d]->AddNotifyee(this);
    }
    lpRotation = AddNode<QDRotationHandle>(0, 0);
    lpRotation->AddNotifyee(this);
    lpGraph->AddCameraNotifyee(this);
    ReLayoutArrowHandles();
}

LVector2T<float> LRectangularManipulator::Turn(LVector2T<float> p) const
{
    return Rotated(p, dRotation);
}

LBoxF LRectangularManipulator::GetUnrotatedBounds() const
{
    const float w = fWidth, h = fHeight;
    switch (iAnchor)
    {
    case 2:
        return LBoxF(0, -h / 2, w, h / 2);
    case 3:
        return LBoxF(-w / 2, 0, w / 2, h);
    case 4:
        return LBoxF(-w, -h / 2, 0, h / 2);
    case 5:
        return LBoxF(-w / 2, -h, w / 2, 0);
    case 6:
        return LBoxF(0, 0, w, h);
    case 7:
        return LBoxF(-w, 0, 0, h);
    case 8:
        return LBoxF(-w, -h, 0, 0);
    case 9:
        return LBoxF(0, -h, w, 0);
    default:
        return LBoxF(-w / 2, -h / 2, w / 2, h / 2);
    }
}

LVector2T<float> LRectangularManipulator::GetHandlePoint(int direction) const
{
    const LBoxF b = GetUnrotatedBounds();
    static const float kX[8] = {0, 0.5f, 1, 0.5f, 1, 1, 0, 0};
    static const float kY[8] = {0.5f, 0, 0.5f, 1, 0, 1, 1, 0};
    return Turn({b.left + kX[direction] * b.GetWidth(), b.top + kY[direction] * b.GetHeight()});
}

LVector2T<float> LRectangularManipulator::GetMidpointUnrotated() const
{
    const LBoxF b = GetUnrotatedBounds();
    return {(b.left + b.right) / 2, (b.top + b.bottom) / 2};
}

LVector2T<float> LRectangularManipulator::GetMidpoint() const
{
    return Turn(GetMidpointUnrotated());
}

LVector2T<float> LRectangularManipulator::GetLeftMidpoint() const
{
    return GetHandlePoint(DIRECTION_LEFT);
}
LVector2T<float> LRectangularManipulator::GetTopMidpoint() const
{
    return GetHandlePoint(DIRECTION_TOP);
}
LVector2T<float> LRectangularManipulator::GetRightMidpoint() const
{
    return GetHandlePoint(DIRECTION_RIGHT);
}
LVector2T<float> LRectangularManipulator::GetBottomMidpoint() const
{
    return GetHandlePoint(DIRECTION_BOTTOM);
}
LVector2T<float> LRectangularManipulator::GetTopLeftCorner() const
{
    return GetHandlePoint(DIRECTION_TOPLEFT);
}
LVector2T<float> LRectangularManipulator::GetTopRightCorner() const
{
    return GetHandlePoint(DIRECTION_TOPRIGHT);
}
LVector2T<float> LRectangularManipulator::GetBottomLeftCorner() const
{
    return GetHandlePoint(DIRECTION_BOTTOMLEFT);
}
LVector2T<float> LRectangularManipulator::GetBottomRightCorner() const
{
    return GetHandlePoint(DIRECTION_BOTTOMRIGHT);
}

LBoxF LRectangularManipulator::GetBounds() const
{
    const LVector2T<float> c[4] = {GetTopLeftCorner(), GetTopRightCorner(), GetBottomRightCorner(),
                                   GetBottomLeftCorner()};
    LBoxF b(c[0].x, c[0].y, c[0].x, c[0].y);
    for (const auto& p : c)
    {
        b.left = std::min(b.left, p.x);
        b.top = std::min(b.top, p.y);
        b.right = std::max(b.right, p.x);
        b.bottom = std::max(b.bottom, p.y);
    }
    return b;
}

LBoxF LRectangularManipulator::GetDrawBounds() const
{
    LBoxF b = GetBounds();
    // Room for the handles, which keep their size in pixels, and the rotation handle above.
    const float pad = lpGraph ? MapOffsetXYToUV(lpGraph->Px(48)) : 0;
    b = LBoxF(b.left - pad, b.top - pad, b.right + pad, b.bottom + pad);
    if (bDarkenExterior)
        b += LBoxF(bxRestrict.left - fU, bxRestrict.top - fV, bxRestrict.right - fU, bxRestrict.bottom - fV);
    return b;
}

bool LRectangularManipulator::IsPointOverRectangle(float u, float v) const
{
    const LBoxF a = GetBounds();
    if (u < a.left || u > a.right || v < a.top || v > a.bottom)
        return false;
    const LVector2T<float> p = Rotated({u, v}, -dRotation);
    const LBoxF b = GetUnrotatedBounds();
    return p.x >= b.left && p.x <= b.right && p.y >= b.top && p.y <= b.bottom;
}

double LRectangularManipulator::GetAngleToRotationHandle() const
{
    return dRotation;
}

void LRectangularManipulator::SetAnchor(int anchor)
{
    if (anchor == iAnchor)
        return;
    // The box stays where it is on screen: the position moves to the new anchor point.
    const LVector2T<float> before = GetMidpoint();
    iAnchor = anchor;
    const LVector2T<float> after = GetMidpoint();
    fU += (before.x - after.x) * fScale;
    fV += (before.y - after.y) * fScale;
    ReLayoutArrowHandles();
}

void LRectangularManipulator::SetRotation(double radians)
{
    dRotation = radians;
    ReLayoutArrowHandles();
}

void LRectangularManipulator::SetDimensions(float width, float height)
{
    fWidth = std::max(0.0f, width);
    fHeight = std::max(0.0f, height);
    ReLayoutArrowHandles();
}

void LRectangularManipulator::SetCanDragEdges(bool bCan)
{
    bCanDragEdges = bCan;
    ReLayoutArrowHandles();
}

void LRectangularManipulator::SetArrowHandleVisibility(bool bShow)
{
    bShowArrowHandles = bShow;
    ReLayoutArrowHandles();
}

void LRectangularManipulator::SetRotationHandleVisibility(bool bShow)
{
    bShowRotationHandle = bShow;
    ReLayoutArrowHandles();
}

void LRectangularManipulator::EvSceneGraphCameraMove(LSceneGraph& graph)
{
    (void)graph;
    ReLayoutArrowHandles();
}

void LRectangularManipulator::ReLayoutArrowHandles()
{
    Update(true);
    if (!lpGraph || !lpRotation)
        return;
    const float ten = MapOffsetXYToUV(lpGraph->Px(10));
    for (int d = 0; d < 8; ++d)
    {
        QDSizingHandle* h = apSizing[d];
        const LVector2T<float> p = GetHandlePoint(d);
        h->fU = p.x;
        h->fV = p.y;
        h->fSize = ten;
        h->dAngle = dRotation;
        h->lpRegion->iCursor = h->GetCursorType();
        h->bHidden = !bShowArrowHandles;
    }
    static const int kEdgeDirection[4] = {DIRECTION_TOP, DIRECTION_LEFT, DIRECTION_RIGHT, DIRECTION_BOTTOM};
    for (int i = 0; i < 4; ++i)
    {
        QDEdgeHandle* e = apEdges[i];
        if (e->IsDragStarted())
            continue;
        const LVector2T<float> p = GetHandlePoint(kEdgeDirection[i]);
        e->fU = p.x;
        e->fV = p.y;
        e->fLength = e->bAlongV ? fHeight : fWidth;
        e->fThickness = ten;
        e->dAngle = dRotation;
        e->bHidden = !bCanDragEdges;
    }
    // Straight up from the top edge's middle, in the box's own up direction.
    const LVector2T<float> top = GetTopMidpoint();
    const LVector2T<float> up = Turn({0, -MapOffsetXYToUV(lpGraph->Px(30))});
    lpRotation->fU = top.x + up.x;
    lpRotation->fV = top.y + up.y;
    lpRotation->fSize = MapOffsetXYToUV(lpGraph->Px(14));
    lpRotation->bHidden = !(bShowRotationHandle && bCanRotate);
    Update(true);
}

void LRectangularManipulator::DarkenExterior(LPaintContext& pc)
{
    const bool aa = pc.GetAntialias();
    pc.SetAntialias(false);
    LGraphicsPath path;
    const LBoxF r =
        lpGraph->MapUVToXY(bxRestrict.left == bxRestrict.right
                               ? LBoxF(-1e7f, -1e7f, 1e7f, 1e7f)
                               : LocalToAbsolute(LBoxF(bxRestrict.left - fU, bxRestrict.top - fV,
                                                       bxRestrict.right - fU, bxRestrict.bottom - fV)));
    path.AddRect(r);
    const LVector2T<float> c[4] = {GetTopLeftCorner(), GetTopRightCorner(), GetBottomRightCorner(),
                                   GetBottomLeftCorner()};
    LPointF hole[4];
    for (int i = 0; i < 4; ++i)
        hole[i] = {MapUToX(c[i].x), MapVToY(c[i].y)};
    path.AddPolygon(hole, 4);
    pc.FillPath(path, LGuiGrey(0), 60.0f / 255.0f);
    pc.SetAntialias(aa);
}

void LRectangularManipulator::Draw(LPaintContext& pc)
{
    if (bDarkenExterior)
        DarkenExterior(pc);
    if (bShowOutline)
    {
        LGuiColor colour = bSelected ? colOutlineSelected : colOutline;
        if (bMouseOver)
            colour = LGuiLighten(colour, 60);
        const LVector2T<float> c[4] = {GetTopLeftCorner(), GetTopRightCorner(), GetBottomRightCorner(),
                                       GetBottomLeftCorner()};
        LPointF pts[4];
        for (int i = 0; i < 4; ++i)
            pts[i] = {MapUToX(c[i].x), MapVToY(c[i].y)};
        // A dark edge under the light line keeps it readable on bright pictures.
        pc.DrawLinesAA(pts, 4, true, LGuiGrey(0), 0.35f, lpGraph->Px(3));
        pc.DrawLinesAA(pts, 4, true, colour, 1.0f, lpGraph->Px(1));
    }
    if (lpRotation && !lpRotation->IsHidden())
    {
        const LVector2T<float> top = GetTopMidpoint();
        pc.DrawLineAA(MapUToX(top.x), MapVToY(top.y), MapUToX(lpRotation->fU), MapVToY(lpRotation->fV),
                      bSelected ? colOutlineSelected : colOutline, 1.0f, lpGraph->Px(1));
    }
}

// ---- dragging

void LRectangularManipulator::PushInsideRestriction()
{
    if (!bRestrictToBounds)
        return;
    const LBoxF b = GetUnrotatedBounds();
    float u = fU, v = fV;
    if (u + b.left < bxRestrict.left)
        u = bxRestrict.left - b.left;
    if (u + b.right > bxRestrict.right)
        u = bxRestrict.right - b.right;
    if (v + b.top < bxRestrict.top)
        v = bxRestrict.top - b.top;
    if (v + b.bottom > bxRestrict.bottom)
        v = bxRestrict.bottom - b.bottom;
    fU = u;
    fV = v;
}

void LRectangularManipulator::EvDrag(float u, float v, bool bPrimary)
{
    (void)u, (void)v, (void)bPrimary;
    PushInsideRestriction();
    ReLayoutArrowHandles();
    Notify(false);
}

void LRectangularManipulator::EvDragFinish(bool bPrimary)
{
    (void)bPrimary;
    Notify(true);
}

void LRectangularManipulator::EvSceneGraphNodeDragBegin(LSceneGraphNode& node, bool bPrimary)
{
    (void)bPrimary;
    const LVector2T<float> mid = GetMidpoint();
    ptDragMidpoint = ToParent(mid);
    for (int d = 0; d < 8; ++d)
        if (&node == apSizing[d])
        {
            const LVector2T<float> opposite = GetHandlePoint(QDSizingHandle::Opposite(d));
            StartPinch(ToParent(opposite), ToParent({node.fU, node.fV}));
            return;
        }
    for (QDEdgeHandle* e : apEdges)
        if (&node == e)
        {
            fEdgeDragStartU = fU;
            fEdgeDragStartV = fV;
            fEdgePressU = lpGraph->GetMouseU();
            fEdgePressV = lpGraph->GetMouseV();
        }
}

void LRectangularManipulator::StartPinch(LVector2T<float> anchor, LVector2T<float> dragged)
{
    bPinching = true;
    ptPinchAnchor = anchor;
    ptPinchStart = Rotated(dragged - anchor, -dRotation);
    ptPinchCurrent = ptPinchStart;
    fPinchStartU = fU;
    fPinchStartV = fV;
    fPinchStartWidth = fWidth;
    fPinchStartHeight = fHeight;
}

void LRectangularManipulator::UpdatePinch(LVector2T<float> point)
{
    if (!bPinching)
        return;
    LVector2T<float> cur = Rotated(point - ptPinchAnchor, -dRotation);
    const bool liveX = std::fabs(ptPinchStart.x) >= 0.01f, liveY = std::fabs(ptPinchStart.y) >= 0.01f;
    if (bRestrictToBounds)
    {
        // The dragged point may not cross the anchor on a live axis.
        if (liveX && cur.x * ptPinchStart.x < 0)
            cur.x = 0;
        if (liveY && cur.y * ptPinchStart.y < 0)
            cur.y = 0;
    }
    ptPinchCurrent = cur;
    float sx = liveX ? cur.x / ptPinchStart.x : 1;
    float sy = liveY ? cur.y / ptPinchStart.y : 1;
    if (bKeepAspect)
    {
        if (liveX && liveY)
            sx = sy = (sx + sy) / 2;
        else if (liveX)
            sy = sx;
        else if (liveY)
            sx = sy;
    }
    const LVector2T<float> startOffset =
        Rotated({fPinchStartU - ptPinchAnchor.x, fPinchStartV - ptPinchAnchor.y}, -dRotation);
    // The unrotated box, in the box's axes about the anchor, for scales (a, b).
    auto boxFor = [&](float a, float b)
    {
        const LBoxF u = GetUnrotatedBounds();
        const float w = fPinchStartWidth * a, h = fPinchStartHeight * b;
        const LVector2T<float> off(startOffset.x * a, startOffset.y * b);
        // Relative to the anchor's offset, the unrotated bounds scale with the box.
        const float ul = fWidth > 0 ? u.left / fWidth * w : 0, ut = fHeight > 0 ? u.top / fHeight * h : 0;
        return LBoxF(off.x + ul, off.y + ut, off.x + ul + w, off.y + ut + h);
    };
    if (bRestrictToBounds)
    {
        if (dRotation == 0)
        {
            // Each axis stops where the box meets the restricting rectangle.
            const LBoxF r(bxRestrict.left - ptPinchAnchor.x, bxRestrict.top - ptPinchAnchor.y,
                          bxRestrict.right - ptPinchAnchor.x, bxRestrict.bottom - ptPinchAnchor.y);
            const LBoxF s = boxFor(1, 1);
            auto limit = [](float scale, float lo, float hi, float rlo, float rhi)
            {
                // lo and hi are the box's edges about the anchor at scale 1; they scale linearly.
                if (hi * scale > rhi && hi > 0)
                    scale = std::min(scale, rhi / hi);
                if (lo * scale < rlo && lo < 0)
                    scale = std::min(scale, rlo / lo);
                return scale;
            };
            const float lx = liveX ? limit(sx, s.left, s.right, r.left, r.right) : sx;
            const float ly = liveY ? limit(sy, s.top, s.bottom, r.top, r.bottom) : sy;
            if (bKeepAspect)
                sx = sy = std::min(lx, ly);
            else
                sx = lx, sy = ly;
        }
        else
        {
            // A turned box: shrink both scales together until its outline fits.
            auto fits = [&](float a, float b)
            {
                const LBoxF ub = boxFor(a, b);
                const LVector2T<float> c[4] = {
                    {ub.left, ub.top}, {ub.right, ub.top}, {ub.right, ub.bottom}, {ub.left, ub.bottom}};
                for (const auto& p : c)
                {
                    const LVector2T<float> q = Rotated(p, dRotation) + ptPinchAnchor;
                    if (q.x < bxRestrict.left - 0.001f || q.x > bxRestrict.right + 0.001f ||
                        q.y < bxRestrict.top - 0.001f || q.y > bxRestrict.bottom + 0.001f)
                        return false;
                }
                return true;
            };
            if (!fits(sx, sy))
            {
                float lo = 0, hi = 1;
                for (int i = 0; i < 24; ++i)
                {
                    const float mid = (lo + hi) / 2;
                    (fits(sx * mid, sy * mid) ? lo : hi) = mid;
                }
                sx *= lo;
                sy *= lo;
            }
        }
        // Never through zero: the box keeps one unit.
        if (sx <= 0 && fPinchStartWidth > 0)
            sx = 1 / fPinchStartWidth;
        if (sy <= 0 && fPinchStartHeight > 0)
            sy = 1 / fPinchStartHeight;
    }
    float w = std::max(0.0f, fPinchStartWidth * sx), h = std::max(0.0f, fPinchStartHeight * sy);
    if (w == 0)
        w = 0.01f;
    if (h == 0)
        h = 0.01f;
    const LVector2T<float> pos = Rotated({startOffset.x * sx, startOffset.y * sy}, dRotation) + ptPinchAnchor;
    Update(true);
    fWidth = w;
    fHeight = h;
    fU = pos.x;
    fV = pos.y;
    ReLayoutArrowHandles();
    Notify(false);
}

void LRectangularManipulator::Rotate(const LVector2T<float>& handle)
{
    // The handle's direction from the middle, y up; straight up is no turn.
    const double a = std::atan2(-(handle.y - ptDragMidpoint.y), handle.x - ptDragMidpoint.x);
    double r = kPi / 2 - a;
    r = std::fmod(r, 2 * kPi);
    if (r < 0)
        r += 2 * kPi;
    const double degrees = r / kDegree;
    if (LKeyHandler::IsKeyPressed(LKeyCommand))
    {
        double counter = -22.5;
        for (int i = 0; i < 9 && counter <= degrees; ++i)
            counter += 45;
        r = (counter - 22.5) * kDegree;
    }
    else
        for (double right : {0.0, 90.0, 180.0, 270.0, 360.0})
            if (std::fabs(degrees - right) <= 2.0)
                r = right == 360.0 ? RadianT<double>::kTwoPi : right * kDegree;
    r = RadianT<double>(r).Clamp().value;
    dRotation = r;
    if (iAnchor != 1)
    {
        // Turning about the middle: the anchor point moves so the middle stays still.
        const LVector2T<float> mid = Turn(GetMidpointUnrotated());
        fU = ptDragMidpoint.x - mid.x * fScale;
        fV = ptDragMidpoint.y - mid.y * fScale;
    }
    ReLayoutArrowHandles();
    Notify(false);
}

void LRectangularManipulator::EvSceneGraphNodeDrag(LSceneGraphNode& node, bool bPrimary)
{
    (void)bPrimary;
    if (&node == lpRotation)
    {
        if (bCanRotate)
            Rotate(ToParent({node.fU, node.fV}));
        return;
    }
    for (QDSizingHandle* h : apSizing)
        if (&node == h)
        {
            UpdatePinch(ToParent({node.fU, node.fV}));
            return;
        }
    for (QDEdgeHandle* e : apEdges)
        if (&node == e)
        {
            const float s = lpParent ? lpParent->GetScaleAbsolute() : 1;
            fU = fEdgeDragStartU + (lpGraph->GetMouseU() - fEdgePressU) / s;
            fV = fEdgeDragStartV + (lpGraph->GetMouseV() - fEdgePressV) / s;
            PushInsideRestriction();
            ReLayoutArrowHandles();
            Notify(false);
            return;
        }
}

void LRectangularManipulator::EvSceneGraphNodeDragFinish(LSceneGraphNode& node, bool bPrimary)
{
    (void)bPrimary;
    bPinching = false;
    Notify(true);
    for (int i = 0; i < 4; ++i)
        if (&node == apEdges[i])
        {
            static const int kEdgeDirection[4] = {DIRECTION_TOP, DIRECTION_LEFT, DIRECTION_RIGHT,
                                                  DIRECTION_BOTTOM};
            const LVector2T<float> p = GetHandlePoint(kEdgeDirection[i]);
            apEdges[i]->SetPosition(p.x, p.y, true);
            apEdges[i]->SendToBack();
        }
    ReLayoutArrowHandles();
}
