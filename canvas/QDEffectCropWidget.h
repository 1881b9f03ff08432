#pragma once
// The crop box: while the crop is being edited, a box on the page with the outside darkened, which
// the user moves and sizes within the page. A drag changes the frame live and its end makes one
// undo item; leaving the widget applies the crop. Undo, redo and the panel move the box back.

#include "canvas/QDManipulatorWidget.h"
#include "document/QDViewport.h"
#include "effects/QDEffectCrop.h"

class QDEffectCropWidget : public QDManipulatorWidget,
                           public LNotifyee<QDWrappedPropertiesElement>,
                           public QDViewportNotifyee
{
public:
    QDEffectCropWidget(QDViewport* viewport, QDEffectCrop* element);
    ~QDEffectCropWidget() override;

    const char* GetName() const override { return "Crop box"; }
    void EvCreated() override;
    // Shows the box only while the crop is being edited.
    void Select() override;
    // Hides the box and applies the crop at the box's place, as one undo item.
    void Deselect() override;
    bool GetElementBox(float& u, float& v, float& width, float& height, double& rotation) const override;
    void SetElementBox(float u, float v, float width, float height, double rotation, bool bFinished) override;

    using QDManipulatorWidget::EvNotify;
    // The element changed: the box follows, and shows or hides with the editing.
    void EvNotify(QDWrappedPropertiesElement& element) override;
    void EvViewportBoundsChanged(QDViewport& viewport) override;

    QDEffectCrop* GetCrop() const { return static_cast<QDEffectCrop*>(lpElement); }
    bool IsShowingBox() const { return lpManipulator && !lpManipulator->IsHidden(); }

private:
    void ShowBox(bool bShow);
    void FollowAspect();

    // The canvas chose this widget; the box shows whenever the crop is edited meanwhile.
    bool bChosen = false;
    // A change of the element that this widget itself makes.
    bool bSetting = false;
};
