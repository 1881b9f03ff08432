#include "canvas/QDEffectCircleWidget.h"

#include <algorithm>

#include "effects/QDEffectFisheye.h"
#include "effects/QDEffectVignette.h"

namespace
{
void PageSize(const QDViewport* viewport, float& width, float& height)
{
    width = height = 0;
    if (!viewport)
        return;
    const LBoundingBox2T<double> b = viewport->GetBoundsFromLayersOrigin();
    width = float(b.GetWidth());
    height = float(b.GetHeight());
}
} // namespace

QDEffectCircleWidget::QDEffectCircleWidget(QDViewport* viewport, QDWrappedPropertiesElement* element)
    : QDCanvasWidget(viewport, element), lpWrapped(element)
{
    bCanSelect = true;
    bDraggable = false;
    element->AddNotifyee(this);
    if (lpViewport)
        lpViewport->AddNotifyee(this);
}

QDEffectCircleWidget::~QDEffectCircleWidget()
{
    lpWrapped->RemoveNotifyee(this);
    if (lpViewport)
        lpViewport->RemoveNotifyee(this);
}

void QDEffectCircleWidget::EvCreated()
{
    lpCircle = AddNode<QDCircleSelectionWidget>(0, 0, 1.0f);
    // The effects are about the page's centre: the ring sizes, it doesn't move.
    lpCircle->bDraggable = false;
    lpCircle->bCanDelete = false;
    lpCircle->AddCircleNotifyee(this);
    lpCircle->SetHidden(true);
    MatchCircleToElement();
}

LBoxF QDEffectCircleWidget::GetSelectionBounds() const
{
    if (!lpCircle || lpCircle->IsHidden())
        return LBoxF(0, 0, 0, 0);
    const LBoxF b = lpCircle->GetBounds();
    return LBoxF(b.left + lpCircle->fU, b.top + lpCircle->fV, b.right + lpCircle->fU,
                 b.bottom + lpCircle->fV);
}

void QDEffectCircleWidget::MatchCircleToElement()
{
    if (!lpCircle)
        return;
    float w, h;
    PageSize(lpViewport, w, h);
    lpCircle->SetPosition(w / 2, h / 2);
    lpCircle->SetRadius(std::max(GetRadiusFromElement(w, h), 1.0f));
    Update(true);
}

void QDEffectCircleWidget::Select()
{
    SelectNode();
    if (lpCircle)
    {
        MatchCircleToElement();
        lpCircle->SetHidden(false);
    }
    NotifyBoundsChanged();
}

void QDEffectCircleWidget::Deselect()
{
    DeselectNode(false);
    if (lpCircle)
        lpCircle->SetHidden(true);
}

void QDEffectCircleWidget::NotifyRadiusChanged(QDCircleSelectionWidget& circle)
{
    float w, h;
    PageSize(lpViewport, w, h);
    bSetting = true;
    SetElementFromRadius(circle.GetRadius(), w, h);
    bSetting = false;
}

void QDEffectCircleWidget::NotifyRadiusDragFinish(QDCircleSelectionWidget&)
{
    lpWrapped->DispatchUndoRedoItemForUnregisteredChanges();
    // The ring settles where the values it gave put it, within their ranges.
    MatchCircleToElement();
    NotifyBoundsChanged();
}

void QDEffectCircleWidget::EvNotify(QDWrappedPropertiesElement&)
{
    if (!bSetting)
        MatchCircleToElement();
}

void QDEffectCircleWidget::EvViewportBoundsChanged(QDViewport&)
{
    MatchCircleToElement();
}

// ---- Vignette

float QDEffectVignetteWidget::GetRadiusFromElement(float, float pageHeight) const
{
    return float(static_cast<const QDEffectVignette*>(GetWrapped())->GetProperties().dSize) * pageHeight;
}

void QDEffectVignetteWidget::SetElementFromRadius(float radius, float, float pageHeight)
{
    auto* vignette = static_cast<QDEffectVignette*>(GetWrapped());
    QDEffectVignetteProperties p = vignette->GetProperties();
    p.dSize = pageHeight > 0 ? std::clamp(double(radius) / pageHeight, 0.0, 0.5) : p.dSize;
    vignette->SetProperties(p, false);
}

// ---- Lens Distortion

float QDEffectFisheyeWidget::GetRadiusFromElement(float pageWidth, float pageHeight) const
{
    const float half = std::min(pageWidth, pageHeight) / 2;
    return half * 2 * (1 - static_cast<const QDEffectFisheye*>(GetWrapped())->GetProperties().fStrength);
}

void QDEffectFisheyeWidget::SetElementFromRadius(float radius, float pageWidth, float pageHeight)
{
    auto* fisheye = static_cast<QDEffectFisheye*>(GetWrapped());
    QDEffectFisheyeProperties p = fisheye->GetProperties();
    const float half = std::min(pageWidth, pageHeight) / 2;
    if (half > 0)
        p.fStrength = std::clamp(1 - radius / (2 * half), 0.0f, 1.0f);
    fisheye->SetProperties(p, false);
}
