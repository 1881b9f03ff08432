#include "canvas/QDRotateWidget.h"

#include <cmath>

#include "canvas/LKeyHandler.h"
#include "canvas/LSceneGraph.h"
#include "document/LQDCacheStore.h"

QDRotateWidget::QDRotateWidget(QDViewport* viewport, QDEffectRotate* element)
    : QDCanvasWidget(viewport, element)
{
    bCanSelect = true;
    bDraggable = false;
    iZOrderMode = ZOrderTop;
}

LBoxF QDRotateWidget::GetPage() const
{
    if (!lpViewport)
        return LBoxF(0, 0, 0, 0);
    const LBoundingBox2T<double> b = lpViewport->GetBoundsFromLayersOrigin();
    return LBoxF(float(b.left), float(b.top), float(b.right), float(b.bottom));
}

LBoxF QDRotateWidget::GetSelectionBounds() const
{
    return bActive ? GetPage() : LBoxF(0, 0, 0, 0);
}

void QDRotateWidget::Select()
{
    bActive = true;
    SelectNode();
    NotifyBoundsChanged();
    Update();
}

void QDRotateWidget::Deselect()
{
    if (bRotating)
        Finish();
    Update();
    bActive = false;
    DeselectNode(false);
}

void QDRotateWidget::EvLButtonDownUV(float u, float v)
{
    if (!bActive)
        return;
    fStartU = u;
    fStartV = v;
    dDelta = 0;
    bRotating = true;
    dStartDegrees = GetRotate()->GetProperties().dRotation;
    LImageBuffer input;
    bPicture = LQDCacheLoadImage(input, GetRotate()->GetInputCacheId()) && imgInput.TakeImageBuffer(input);
    if (lpGraph)
        lpGraph->SetCapture(true);
}

void QDRotateWidget::EvMouseMoveUV(float u, float v)
{
    if (!bRotating)
        return;
    const LBoxF page = GetPage();
    const float cu = (page.left + page.right) / 2, cv = (page.top + page.bottom) / 2;
    double delta = std::atan2(v - cv, u - cu) - std::atan2(fStartV - cv, fStartU - cu);
    if (LKeyHandler::IsKeyPressed(LKeyCommand))
        delta = std::round(delta / 0.7853982) * 0.7853982;
    if (delta == dDelta)
        return;
    dDelta = delta;
    GetRotate()->SetRotation(dStartDegrees + 57.29578 * dDelta, false);
    Update();
}

void QDRotateWidget::Finish()
{
    bRotating = false;
    if (lpGraph)
        lpGraph->SetCapture(false);
    // Without the picture there was nothing to show; the turn still goes to the element.
    GetRotate()->SetRotation(dStartDegrees + 57.29578 * dDelta, true);
    imgInput.Clear();
    bPicture = false;
    Update();
}

void QDRotateWidget::EvLButtonUpUV(float u, float v)
{
    (void)u, (void)v;
    if (bRotating)
        Finish();
}

void QDRotateWidget::EvMouseOut()
{
    if (bRotating)
        Finish();
}

void QDRotateWidget::Draw(LPaintContext& pc)
{
    if (!lpGraph || !bActive)
        return;
    const LBoxF page = MapUVToXY(GetPage());
    const bool antialias = pc.GetAntialias();
    if (bRotating && bPicture)
    {
        // The picture as it enters, turned about the page's centre by the whole angle.
        const float cx = (page.left + page.right) / 2, cy = (page.top + page.bottom) / 2;
        const float hw = MapOffsetUVToXY(float(imgInput.GetWidth()) / 2);
        const float hh = MapOffsetUVToXY(float(imgInput.GetHeight()) / 2);
        pc.TransformStackPush();
        pc.TransformTranslate(cx, cy);
        pc.TransformRotate((dStartDegrees * 0.01745329251994329577) + dDelta);
        pc.DrawImage(imgInput, LBoxF(-hw, -hh, hw, hh), 1.0f, true);
        pc.TransformStackPop();
    }
    pc.SetAntialias(false);
    const float step = lpGraph->Px(kGridPixels), line = lpGraph->Px(1);
    for (float x = page.left + step; x < page.right; x += step)
        pc.DrawLineAA(x, page.top, x, page.bottom, LGuiGrey(224), 128.0f / 255.0f, line);
    for (float y = page.top + step; y < page.bottom; y += step)
        pc.DrawLineAA(page.left, y, page.right, y, LGuiGrey(224), 128.0f / 255.0f, line);
    pc.DrawFrameAA(page, LGuiGrey(32), 192.0f / 255.0f, line);
    pc.SetAntialias(antialias);
}
