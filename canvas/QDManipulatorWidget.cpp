#include "canvas/QDManipulatorWidget.h"

QDManipulatorWidget::QDManipulatorWidget(QDViewport* viewport, QDImagePipelineElement* element, int anchor)
    : QDCanvasWidget(viewport, element), iAnchor(anchor)
{
    bCanSelect = true;
}

void QDManipulatorWidget::EvCreated()
{
    lpManipulator = AddNode<LRectangularManipulator>(0, 0, 1.0f, 1.0f, iAnchor);
    lpManipulator->AddNotifyee(static_cast<LNotifyee1Arg<LRectangularManipulator, bool>*>(this));
    lpManipulator->AddNotifyee(static_cast<LSceneGraphNodeNotifyee*>(this));
    lpManipulator->bCanDelete = false;
    lpManipulator->bDeleteHides = false;
    lpManipulator->SetHidden(true);
    MatchManipulatorToElement();
}

LBoxF QDManipulatorWidget::GetSelectionBounds() const
{
    if (!lpManipulator)
        return LBoxF(0, 0, 0, 0);
    const LBoxF b = lpManipulator->GetBounds();
    return LBoxF(b.left + lpManipulator->fU, b.top + lpManipulator->fV, b.right + lpManipulator->fU,
                 b.bottom + lpManipulator->fV);
}

bool QDManipulatorWidget::HitTest(float u, float v)
{
    if (!bClickToSelect || !lpManipulator || !lpManipulator->IsHidden())
        return false;
    return lpManipulator->IsPointOverRectangle(u - lpManipulator->fU, v - lpManipulator->fV);
}

void QDManipulatorWidget::EvLButtonDownUV(float u, float v)
{
    (void)u, (void)v;
    NotifyWidgetSelected();
}

void QDManipulatorWidget::Select()
{
    SelectNode();
    if (lpManipulator)
    {
        lpManipulator->SetHidden(false);
        lpManipulator->SelectNode();
    }
}

void QDManipulatorWidget::Deselect()
{
    DeselectNode(false);
    if (lpManipulator)
    {
        lpManipulator->DeselectNode(false);
        lpManipulator->SetHidden(true);
    }
}

void QDManipulatorWidget::MatchManipulatorToElement()
{
    float u = 0, v = 0, w = 0, h = 0;
    double rotation = 0;
    if (!lpManipulator || !GetElementBox(u, v, w, h, rotation))
        return;
    bMatching = true;
    lpManipulator->SetPosition(u, v);
    lpManipulator->dRotation = rotation;
    lpManipulator->SetDimensions(w, h);
    bMatching = false;
    NotifyBoundsChanged();
}

void QDManipulatorWidget::EvNotify(LRectangularManipulator& manipulator, bool bFinished)
{
    if (bMatching)
        return;
    SetElementBox(manipulator.fU, manipulator.fV, manipulator.fWidth, manipulator.fHeight,
                  manipulator.dRotation, bFinished);
    if (bFinished)
        NotifyBoundsChanged();
}

void QDManipulatorWidget::EvSceneGraphNodeLButtonDown(LSceneGraphNode& node, float u, float v)
{
    (void)node, (void)u, (void)v;
    if (!IsSelected())
        NotifyWidgetSelected();
}
