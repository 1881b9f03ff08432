#pragma once
// The round marker that retouch tools place: a circle the user moves by its body and resizes by
// its ring, which scales the radius by how far the pointer has gone from the centre.

#include <vector>

#include "canvas/LSceneGraphShapes.h"

class QDCircleSizeHandle;
class QDCircleSelectionWidget;

class QDCircleSizeHandleNotifyee
{
public:
    virtual ~QDCircleSizeHandleNotifyee() = default;
    virtual void EvCircleSizeHandle(QDCircleSizeHandle& handle, float radius) { (void)handle, (void)radius; }
    virtual void EvCircleSizeHandleDragBegin(QDCircleSizeHandle& handle) { (void)handle; }
    virtual void EvCircleSizeHandleDragFinish(QDCircleSizeHandle& handle) { (void)handle; }
};

class QDCircleSelectionWidgetNotifyee
{
public:
    virtual ~QDCircleSelectionWidgetNotifyee() = default;
    virtual void NotifyRadiusChanged(QDCircleSelectionWidget& widget) { (void)widget; }
    virtual void NotifyRadiusDragBegin(QDCircleSelectionWidget& widget) { (void)widget; }
    virtual void NotifyRadiusDragFinish(QDCircleSelectionWidget& widget) { (void)widget; }
};

class QDCircleSizeHandle : public LSceneGraphNodeCircleBase
{
public:
    QDCircleSizeHandle(float radius, QDCircleSelectionWidget* widget);

    const char* GetName() const override { return "Circle size handle"; }
    LBoxF GetBounds() const override;
    // Strictly within the ring's thickness either side of the circle.
    bool HitTest(float u, float v) override;
    void Draw(LPaintContext& pc) override;
    void EvLButtonDownUV(float u, float v) override;
    void EvDragBegin() override;
    void EvDrag(float u, float v, bool bPrimary) override;
    void EvDragFinish(bool bPrimary) override;
    // The ring's half thickness in this node's units.
    float GetThickness() const;

    static constexpr float kRingPixels = 4;

    QDCircleSelectionWidget* lpWidget;
    QDCircleSizeHandleNotifyee* lpNotifyee = nullptr;
    LSceneGraphNodeDragRegion* lpRegion;
    bool bDragging = false;
    float fStartDistance = 0, fStartRadius = 0;
};

class QDCircleSelectionWidget : public LSceneGraphNodeCircleBase, public QDCircleSizeHandleNotifyee
{
public:
    explicit QDCircleSelectionWidget(float radius);

    const char* GetName() const override { return "Circle selection"; }
    void EvCreated() override;
    void Draw(LPaintContext& pc) override;
    void SetRadius(float radius) override;
    virtual LGuiColor GetColor() const { return LGuiGrey(255); }

    void EvCircleSizeHandle(QDCircleSizeHandle& handle, float radius) override;
    void EvCircleSizeHandleDragBegin(QDCircleSizeHandle& handle) override;
    void EvCircleSizeHandleDragFinish(QDCircleSizeHandle& handle) override;

    void AddCircleNotifyee(QDCircleSelectionWidgetNotifyee* notifyee);
    void RemoveCircleNotifyee(QDCircleSelectionWidgetNotifyee* notifyee);
    QDCircleSizeHandle* GetSizeHandle() const { return lpSizeHandle; }

    QDCircleSizeHandle* lpSizeHandle = nullptr;
    std::vector<QDCircleSelectionWidgetNotifyee*> vCircleNotifyees;
};
