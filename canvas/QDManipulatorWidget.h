#pragma once
// A widget whose box on the canvas is a property of its element: the rectangle of an overlay,
// a text block or a crop. The manipulator's live changes go to the element without undo and
// the end of a drag commits once; when the element changes by itself (undo, redo, a panel) the
// owner calls MatchManipulatorToElement and the box follows.

#include "canvas/LRectangularManipulator.h"
#include "canvas/QDCanvasWidget.h"

class QDManipulatorWidget : public QDCanvasWidget,
                            public LNotifyee1Arg<LRectangularManipulator, bool>,
                            public LSceneGraphNodeNotifyee
{
public:
    QDManipulatorWidget(QDViewport* viewport, QDImagePipelineElement* element, int anchor = 1);

    void EvCreated() override;
    LBoxF GetSelectionBounds() const override;
    LBoxF GetDrawBounds() const override { return GetSelectionBounds(); }
    // While not selected, a click on the box picks the widget.
    bool HitTest(float u, float v) override;
    void EvLButtonDownUV(float u, float v) override;
    void Select() override;
    void Deselect() override;

    // The element's box: position of the anchor point, size, clockwise rotation in radians.
    virtual bool GetElementBox(float& u, float& v, float& width, float& height, double& rotation) const = 0;
    // bFinished: the drag ended, so the change is to be one undoable step.
    virtual void SetElementBox(float u, float v, float width, float height, double rotation,
                               bool bFinished) = 0;
    void MatchManipulatorToElement();

    void EvNotify(LRectangularManipulator& manipulator, bool bFinished) override;
    void EvSceneGraphNodeLButtonDown(LSceneGraphNode& node, float u, float v) override;

    LRectangularManipulator* GetManipulator() const { return lpManipulator; }

    LRectangularManipulator* lpManipulator = nullptr;
    int iAnchor;
    bool bClickToSelect = true;
    bool bMatching = false;
};
