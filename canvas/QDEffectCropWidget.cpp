#include "canvas/QDEffectCropWidget.h"

#include <algorithm>
#include <cmath>

QDEffectCropWidget::QDEffectCropWidget(QDViewport* viewport, QDEffectCrop* element)
    : QDManipulatorWidget(viewport, element, ANCHOR_TOPLEFT)
{
    // The box is picked through the panel's Edit, not by a click on the page.
    bClickToSelect = false;
    element->AddNotifyee(this);
    if (lpViewport)
        lpViewport->AddNotifyee(this);
}

QDEffectCropWidget::~QDEffectCropWidget()
{
    GetCrop()->RemoveNotifyee(this);
    if (lpViewport)
        lpViewport->RemoveNotifyee(this);
}

void QDEffectCropWidget::EvCreated()
{
    QDManipulatorWidget::EvCreated();
    lpManipulator->bCanRotate = false;
    lpManipulator->SetRotationHandleVisibility(false);
    lpManipulator->bKeepAspect = false;
    lpManipulator->bRestrictToBounds = true;
    if (lpViewport)
        EvViewportBoundsChanged(*lpViewport);
    FollowAspect();
}

void QDEffectCropWidget::EvViewportBoundsChanged(QDViewport& viewport)
{
    const LBoundingBox2T<double> b = viewport.GetBoundsFromLayersOrigin();
    if (lpManipulator)
        lpManipulator->bxRestrict = LBoxF(float(b.left), float(b.top), float(b.right), float(b.bottom));
}

void QDEffectCropWidget::ShowBox(bool bShow)
{
    if (!lpManipulator || bShow == IsShowingBox())
        return;
    if (bShow)
    {
        QDManipulatorWidget::Select();
        lpManipulator->bDarkenExterior = true;
    }
    else
    {
        lpManipulator->bDarkenExterior = false;
        QDManipulatorWidget::Deselect();
    }
    Update(true);
}

void QDEffectCropWidget::Select()
{
    bChosen = true;
    if (GetCrop()->GetProperties().bEditing)
    {
        MatchManipulatorToElement();
        ShowBox(true);
    }
}

void QDEffectCropWidget::Deselect()
{
    bChosen = false;
    if (!IsShowingBox())
        return;
    ShowBox(false);
    // Leaving the box applies the crop where the box stands.
    QDEffectCropProperties p = GetCrop()->GetProperties();
    p.iCropX = int32_t(std::lround(lpManipulator->fU));
    p.iCropY = int32_t(std::lround(lpManipulator->fV));
    p.iCropWidth = std::max(int32_t(std::lround(lpManipulator->fWidth)), 1);
    p.iCropHeight = std::max(int32_t(std::lround(lpManipulator->fHeight)), 1);
    p.bApplied = true;
    p.bEditing = false;
    bSetting = true;
    GetCrop()->SetProperties(p, true);
    bSetting = false;
}

bool QDEffectCropWidget::GetElementBox(float& u, float& v, float& width, float& height,
                                       double& rotation) const
{
    const QDEffectCrop* crop = GetCrop();
    QDEffectCropProperties p = crop->GetProperties();
    if (p.iCropWidth <= 0 || p.iCropHeight <= 0)
        p = QDEffectCrop::DefaultFrame(p, crop->iWidth, crop->iHeight);
    u = float(p.iCropX);
    v = float(p.iCropY);
    width = float(p.iCropWidth);
    height = float(p.iCropHeight);
    rotation = 0;
    return true;
}

void QDEffectCropWidget::SetElementBox(float u, float v, float width, float height, double rotation,
                                       bool bFinished)
{
    (void)rotation;
    QDEffectCropProperties p = GetCrop()->GetProperties();
    p.iCropX = int32_t(std::lround(u));
    p.iCropY = int32_t(std::lround(v));
    p.iCropWidth = std::max(int32_t(std::lround(width)), 1);
    p.iCropHeight = std::max(int32_t(std::lround(height)), 1);
    // Live while dragging; the end registers one item from where the drag began.
    bSetting = true;
    GetCrop()->SetProperties(p, bFinished);
    bSetting = false;
}

void QDEffectCropWidget::FollowAspect()
{
    if (!lpManipulator)
        return;
    const double ratio = GetCrop()->GetProperties().dAspectRatio;
    lpManipulator->bKeepAspect = ratio > 0;
}

void QDEffectCropWidget::EvNotify(QDWrappedPropertiesElement&)
{
    FollowAspect();
    if (bSetting)
        return;
    MatchManipulatorToElement();
    // Undo, redo or the panel started or ended the editing: the box follows without committing.
    const bool editing = GetCrop()->GetProperties().bEditing;
    if (editing && bChosen)
        ShowBox(true);
    else if (!editing)
        ShowBox(false);
}
