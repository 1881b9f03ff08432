#pragma once
// A ring on the page for the effects whose size is a circle about the centre: the vignette's
// clear middle and the lens's reach. Dragging the ring changes the element live and its end
// makes one undo item; undo and redo move the ring back.

#include "canvas/QDCanvasWidget.h"
#include "canvas/QDCircleSelectionWidget.h"
#include "document/QDViewport.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"

class QDEffectCircleWidget : public QDCanvasWidget,
                             public QDCircleSelectionWidgetNotifyee,
                             public LNotifyee<QDWrappedPropertiesElement>,
                             public QDViewportNotifyee
{
public:
    QDEffectCircleWidget(QDViewport* viewport, QDWrappedPropertiesElement* element);
    ~QDEffectCircleWidget() override;

    LBoxF GetSelectionBounds() const override;
    LBoxF GetDrawBounds() const override { return GetSelectionBounds(); }
    void EvCreated() override;
    void Select() override;
    void Deselect() override;

    void NotifyRadiusChanged(QDCircleSelectionWidget& circle) override;
    void NotifyRadiusDragFinish(QDCircleSelectionWidget& circle) override;
    void EvNotify(QDWrappedPropertiesElement& element) override;
    void EvViewportBoundsChanged(QDViewport& viewport) override;

    QDCircleSelectionWidget* GetCircle() const { return lpCircle; }

protected:
    // The ring's radius in page pixels for the element's present properties, and the change of
    // the properties a radius stands for (live, without undo).
    virtual float GetRadiusFromElement(float pageWidth, float pageHeight) const = 0;
    virtual void SetElementFromRadius(float radius, float pageWidth, float pageHeight) = 0;

    QDWrappedPropertiesElement* GetWrapped() const { return lpWrapped; }

private:
    void MatchCircleToElement();

    QDWrappedPropertiesElement* lpWrapped;
    QDCircleSelectionWidget* lpCircle = nullptr;
    bool bSetting = false;
};

// Vignette: the ring is the clear middle, its radius the size times the page's height.
class QDEffectVignetteWidget : public QDEffectCircleWidget
{
public:
    using QDEffectCircleWidget::QDEffectCircleWidget;
    const char* GetName() const override { return "Vignette size"; }

protected:
    float GetRadiusFromElement(float pageWidth, float pageHeight) const override;
    void SetElementFromRadius(float radius, float pageWidth, float pageHeight) override;
};

// Lens Distortion: a ring at half the shorter side is no distortion; larger bulges, smaller pinches.
class QDEffectFisheyeWidget : public QDEffectCircleWidget
{
public:
    using QDEffectCircleWidget::QDEffectCircleWidget;
    const char* GetName() const override { return "Lens distortion"; }

protected:
    float GetRadiusFromElement(float pageWidth, float pageHeight) const override;
    void SetElementFromRadius(float radius, float pageWidth, float pageHeight) override;
};
