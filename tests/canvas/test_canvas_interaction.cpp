// The canvas as the user handles it: scroll bars, panning with the space bar, selection by a
// rubber band and group drags, widgets whose bounds leave the view, and right clicks.

#include <QScrollBar>
#include <QTest>

#include "canvas/LKeyHandler.h"
#include "canvas/QDCanvasViewer.h"
#include "canvas_support.h"
#include "document/QDImagePipeline.h"
#include "ui/LSceneGraphView.h"
#include "ui/QDCanvasViewerWindow.h"

TEST(CanvasViewerWindow, BarsFollowTheCameraAndMoveIt)
{
    CanvasApp();
    QDViewport viewport(2000, 1000);
    QDCanvasViewer viewer;
    viewer.Init(&viewport, nullptr);
    QDCanvasViewerWindow window(viewer);
    window.resize(420, 320);
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    QScrollBar* h = window.GetHorizontalBar();
    QScrollBar* v = window.GetVerticalBar();
    // Fitted, there is nothing to scroll.
    EXPECT_FALSE(h->isEnabled());
    EXPECT_FALSE(v->isEnabled());

    viewer.SetZoom(1);
    ASSERT_TRUE(h->isEnabled());
    EXPECT_NEAR(double(h->pageStep()) / QDCanvasViewerWindow::kBarRange,
                viewer.GetHorizontalScrollableBoundsViewRatio(), 1e-3);
    // The bar to its end shows the page's right margin at the control's right edge.
    h->setValue(h->maximum());
    EXPECT_NEAR(viewer.GetCameraBounds().right, 2140, 0.5f);
    EXPECT_NEAR(viewer.GetHorizontalScrollRatio(), 1, 1e-3f);
    // And the camera moved by other means moves the bar.
    viewer.SetHorizontalScrollRatio(0);
    EXPECT_EQ(h->value(), 0);
    viewer.SetVerticalScrollRatio(0.5f);
    EXPECT_NEAR(v->value(), v->maximum() / 2, 1);
}

TEST(CanvasViewerInput, SpacePansWithoutAButtonAndRightClicksGoToTheListenersOnly)
{
    CanvasApp();
    LKeyHandler::SetModifiers(0);
    QDViewport viewport(2000, 1000);
    RecordingHost host; // outlives the graph it serves
    QDCanvasViewer viewer;
    viewer.Init(&viewport, nullptr);
    viewer.Init(&host);
    viewer.OnSize(400, 300);
    viewer.SetZoom(1);
    viewer.CenterCameraOnViewport();
    viewer.OnMouseMove(200, 150);
    EXPECT_TRUE(viewer.OnKeyDown(LVK_SPACE));
    EXPECT_TRUE(host.bCaptured);
    viewer.OnMouseMove(150, 150);
    EXPECT_FLOAT_EQ(viewer.GetCameraU(), 1050);
    viewer.OnKeyUp(LVK_SPACE);
    EXPECT_FALSE(viewer.IsPanning());
    EXPECT_FALSE(host.bCaptured);

    struct Listener : QDCanvasViewerNotifyee
    {
        void EvCanvasViewerRightClick(QDCanvasViewer&, float u, float) override { fU = u; }
        float fU = -1;
    } listener;
    viewer.AddNotifyee(&listener);
    std::vector<std::string> log;
    struct RightBox : BoxNode
    {
        using BoxNode::BoxNode;
        void EvRButtonUpUV(float, float) override { Log("rup"); }
    };
    viewer.GetWidgetsRoot()->AddNode<RightBox>(0, 0, 0.0f, 0.0f, 4000.0f, 4000.0f, &log);
    viewer.OnRButtonDown(200, 150);
    viewer.OnRButtonUp(200, 150);
    EXPECT_FLOAT_EQ(listener.fU, 1050);
    EXPECT_TRUE(log.empty());
    viewer.RemoveNotifyee(&listener);
}

TEST(GraphSelection, ARubberBandSelectsWithinTheOneRootItCoversAndSelectedNodesDragTogether)
{
    CanvasApp();
    LKeyHandler::SetModifiers(0);
    RecordingHost host;
    LSceneGraph graph;
    graph.Init(&host);
    graph.iZoomMode = 1;
    graph.iOriginMode = 1;
    graph.OnSize(400, 300);
    graph.SetCameraPosition(200, 150);
    graph.bCanRubberBand = true;
    // A root that lets clicks through to the canvas but spans the page for the band.
    struct PassThrough : BoxNode
    {
        using BoxNode::BoxNode;
        bool HitTest(float, float) override { return false; }
    };
    auto* root = graph.AddNode<PassThrough>(0, 0, 0.0f, 0.0f, 400.0f, 300.0f);
    root->bCanSelect = true;
    auto add = [&](float l, float t)
    {
        auto* n = root->AddNode<BoxNode>(0, 0, l, t, l + 20, t + 20);
        n->bCanSelect = true;
        n->AddDragRegionMatchBounds();
        return n;
    };
    BoxNode* a = add(10, 10);
    BoxNode* b = add(50, 10);
    BoxNode* c = add(200, 200);
    // Drawn from a point over no node's hit, across a and b only: the band goes down into the
    // one root it covers and selects the two there.
    graph.OnMouseMove(2, 2);
    graph.OnLButtonDown(2, 2);
    graph.OnMouseMove(80, 40);
    EXPECT_EQ(graph.GetSelectionBox(), LBoxF(2, 2, 80, 40));
    graph.OnLButtonUp(80, 40);
    EXPECT_TRUE(a->IsSelected());
    EXPECT_TRUE(b->IsSelected());
    EXPECT_FALSE(c->IsSelected());
    EXPECT_FALSE(root->IsSelected());

    // Dragging one selected node moves the other with it; the unselected one stays.
    graph.OnMouseMove(20, 20);
    graph.OnLButtonDown(20, 20);
    graph.OnMouseMove(30, 25);
    graph.OnMouseMove(45, 35);
    graph.OnLButtonUp(45, 35);
    EXPECT_FLOAT_EQ(a->GetU(), 25);
    EXPECT_FLOAT_EQ(a->GetV(), 15);
    EXPECT_FLOAT_EQ(b->GetU(), 25);
    EXPECT_FLOAT_EQ(b->GetV(), 15);
    EXPECT_FLOAT_EQ(c->GetU(), 0);
}

TEST(CanvasViewerWidgets, AWidgetMovedOutOfViewBringsTheCameraAfterItOnceTheDragEnds)
{
    CanvasApp();
    LKeyHandler::SetModifiers(0);
    QDViewport viewport(400, 300);
    QDImagePipeline pipeline;
    auto* element = new TestBoxElement;
    pipeline.AddElement(element);
    element->InitProperties(TestBox{200, 150, 100, 60, 0});
    RecordingHost host;
    QDCanvasViewer viewer;
    viewer.Init(&viewport, &pipeline);
    viewer.Init(&host);
    viewer.OnSize(400, 300);
    viewer.SetZoom(1);
    viewer.CenterCameraOnViewport();
    TestBoxWidget* widget = viewer.CreateWidget<TestBoxWidget>(element);
    viewer.SelectWidget(widget);

    // The element is moved far away by something other than the canvas: the camera follows.
    element->InitProperties(TestBox{5000, 150, 100, 60, 0});
    EXPECT_TRUE(viewer.DoesCameraIntersectWidget());
    EXPECT_GT(viewer.GetCameraBounds().right, 5000);

    // Dragged out of view, the camera waits for the end of the drag.
    viewer.SetZoom(1);
    viewer.SetCameraPosition(5000, 150);
    LRectangularManipulator* m = widget->GetManipulator();
    const float x = m->MapUToX(0), y = m->MapVToY(0);
    viewer.OnMouseMove(x, y);
    viewer.OnLButtonDown(x, y);
    viewer.OnMouseMove(x + 10, y);
    viewer.OnMouseMove(x + 2000, y);
    const LBoxF during = viewer.GetCameraBounds();
    element->InitProperties(element->oProperties); // a bounds report in the middle of the drag
    EXPECT_EQ(viewer.GetCameraBounds(), during);
    EXPECT_TRUE(viewer.bFitWhenDragFinishes);
    viewer.OnLButtonUp(x + 2000, y);
    EXPECT_FALSE(viewer.bFitWhenDragFinishes);
    EXPECT_TRUE(viewer.DoesCameraIntersectWidget());
}
