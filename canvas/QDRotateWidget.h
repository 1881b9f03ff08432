#pragma once
// The free rotation tool: the whole page takes the mouse, and a drag turns the picture about the
// page's centre. While the drag runs the widget draws the picture as it enters the element,
// turned, over a guide grid, and the element follows without undo; letting go makes one undo item.
// CTRL snaps to multiples of 45 degrees.

#include "canvas/LGuiImage.h"
#include "canvas/QDCanvasWidget.h"
#include "effects/QDEffectRotate.h"

class QDRotateWidget : public QDCanvasWidget
{
public:
    QDRotateWidget(QDViewport* viewport, QDEffectRotate* element);

    const char* GetName() const override { return "Rotation"; }
    // The page while chosen, nothing otherwise.
    LBoxF GetSelectionBounds() const override;
    LBoxF GetDrawBounds() const override { return GetSelectionBounds(); }
    // While chosen the whole page takes the mouse.
    bool HitTest(float u, float v) override { return (void)u, (void)v, bActive; }
    void Select() override;
    void Deselect() override;
    void EvLButtonDownUV(float u, float v) override;
    void EvMouseMoveUV(float u, float v) override;
    void EvLButtonUpUV(float u, float v) override;
    void EvMouseOut() override;
    void Draw(LPaintContext& pc) override;

    QDEffectRotate* GetRotate() const { return static_cast<QDEffectRotate*>(lpElement); }
    bool IsRotating() const { return bRotating; }
    bool IsActive() const { return bActive; }
    // The turn of the running drag, in radians clockwise.
    double GetDelta() const { return dDelta; }

    static constexpr float kGridPixels = 40;

private:
    void Finish();
    LBoxF GetPage() const;

    // The project viewer decides whether widgets are hidden, so being chosen is a state of its own.
    bool bActive = false;
    bool bRotating = false;
    bool bPicture = false;
    float fStartU = 0, fStartV = 0;
    double dStartDegrees = 0;
    double dDelta = 0;
    LGuiImage imgInput;
};
