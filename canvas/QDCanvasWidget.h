#pragma once
// The on-canvas face of a pipeline element: every element has one widget, a dummy when it has no
// tool, and the widget changes its element through the element's setters so that a drag becomes
// live changes and one undoable commit.

#include <vector>

#include "canvas/LSceneGraphNode.h"

class QDCanvasWidget;
class QDImagePipelineElement;
class QDViewport;

class QDCanvasWidgetNotifyee
{
public:
    virtual ~QDCanvasWidgetNotifyee() = default;
    virtual void EvCanvasWidgetBoundsChanged(QDCanvasWidget& widget) { (void)widget; }
    virtual void EvCanvasWidgetSelected(QDCanvasWidget& widget) { (void)widget; }
};

class QDCanvasWidget : public LSceneGraphNode
{
public:
    QDCanvasWidget(QDViewport* viewport, QDImagePipelineElement* element)
        : lpViewport(viewport), lpElement(element)
    {
    }

    const char* GetName() const override { return "Canvas widget"; }
    // The widget becomes the one the user works with, or stops being it.
    virtual void Select() {}
    virtual void Deselect() {}

    QDImagePipelineElement* GetElement() const { return lpElement; }
    void AddWidgetNotifyee(QDCanvasWidgetNotifyee* notifyee);
    void RemoveWidgetNotifyee(QDCanvasWidgetNotifyee* notifyee);
    void NotifyBoundsChanged();
    // The user picked this widget on the canvas.
    void NotifyWidgetSelected();

    // 0: above all pipeline widgets; 1: in pipeline order; 2: in pipeline order, and on top
    // while selected.
    enum
    {
        ZOrderTop = 0,
        ZOrderPipeline = 1,
        ZOrderPipelineSelectedTop = 2,
    };

    QDViewport* lpViewport;
    QDImagePipelineElement* lpElement;
    int iZOrderMode = ZOrderPipeline;
    std::vector<QDCanvasWidgetNotifyee*> vWidgetNotifyees;
};

// The widget of an element with no tool on the canvas: no bounds, nothing drawn, nothing to select.
class CanvasWidgetDummy : public QDCanvasWidget
{
public:
    CanvasWidgetDummy(QDViewport* viewport, QDImagePipelineElement* element)
        : QDCanvasWidget(viewport, element)
    {
        bCanFocus = false;
        bDraggable = false;
    }
    LBoxF GetSelectionBounds() const override { return LBoxF(0, 0, 0, 0); }
    LBoxF GetDrawBounds() const override { return LBoxF(0, 0, 0, 0); }
};

// The node at 0,0 with scale 1 under which all widgets live.
class QDCanvasViewerWidgetsRoot : public LSceneGraphNode
{
public:
    QDCanvasViewerWidgetsRoot() { bCanFocus = false; }
    const char* GetName() const override { return "Widgets"; }
    // The children's, so that the widgets' extent is the root's.
    LBoxF GetSelectionBounds() const override;
    LBoxF GetDrawBounds() const override { return LBoxF(0, 0, 0, 0); }
};
