// The canvas's zoom, fit and scroll rules, and its widget bookkeeping.

#include "canvas/QDCanvasViewer.h"
#include "canvas/QDViewportRenderer.h"
#include "canvas_support.h"
#include "document/QDImagePipeline.h"

TEST(CanvasViewerZoom, StepsStopAtOneHundredOnTheWayUpOnlyAndRespectTheLimits)
{
    CanvasApp();
    QDViewport viewport(100, 100);
    QDCanvasViewer viewer;
    viewer.Init(&viewport, nullptr);
    viewer.OnSize(400, 300);
    viewer.SetZoom(0.9f);
    viewer.ZoomIn();
    EXPECT_EQ(viewer.GetZoom(), 1.0f);
    viewer.SetZoom(1.1f);
    viewer.ZoomOut();
    EXPECT_NEAR(viewer.GetZoom(), 0.9166f, 1e-4f);
    viewer.SetZoomLimits(true, 0.05f, 5.0f);
    viewer.SetZoom(4.5f);
    viewer.ZoomIn();
    EXPECT_FLOAT_EQ(viewer.GetZoom(), 5.0f);
    viewer.SetZoom(0.055f);
    viewer.ZoomOut();
    EXPECT_FLOAT_EQ(viewer.GetZoom(), 0.05f);
}

TEST(CanvasViewerFit, ASmallPageShowsAtOneHundredCentredAndALargeOneFitsWithItsMargin)
{
    CanvasApp();
    QDViewport viewport(200, 100);
    QDCanvasViewer viewer;
    viewer.Init(&viewport, nullptr);
    viewer.SetZoom(3);
    viewer.OnSize(800, 600); // the first positive size fits once
    EXPECT_EQ(viewer.GetZoom(), 1.0f);
    EXPECT_EQ(viewer.GetCameraU(), 100.0f);
    EXPECT_EQ(viewer.GetCameraV(), 50.0f);
    EXPECT_FALSE(viewer.CanScrollHorizontal());

    // Wider than the control: the width plus 7% a side fills it exactly.
    viewport.SetBounds(LBoundingBox2T<double>(0, 0, 4000, 1000), false);
    viewer.FitCameraToViewport();
    EXPECT_NEAR(viewer.GetZoom(), 800.0f / (4000 * 1.14f), 1e-5f);
    const LBoxF cam = viewer.GetCameraBounds();
    EXPECT_NEAR(cam.left, -280, 0.5f);
    EXPECT_NEAR(cam.right, 4280, 0.5f);
}

TEST(CanvasViewerScroll, WheelTracksThePointerOnlyWhenThePageDoesNotFit)
{
    CanvasApp();
    QDViewport viewport(1000, 800);
    QDCanvasViewer viewer;
    viewer.Init(&viewport, nullptr);
    viewer.OnSize(400, 300);
    // Fitted: zooming in once keeps the whole page in view, so the camera stays centred.
    viewer.SetZoom(0.2f);
    viewer.CenterCameraOnViewport();
    viewer.OnMouseWheel(10, 10, 1);
    EXPECT_FLOAT_EQ(viewer.GetZoom(), 0.24f);
    EXPECT_FLOAT_EQ(viewer.GetCameraU(), 500);
    EXPECT_FLOAT_EQ(viewer.GetCameraV(), 400);
    // Magnified, the world point under the pointer stays under it.
    viewer.SetZoom(2);
    const float u = viewer.MapXToU(300), v = viewer.MapYToV(80);
    viewer.OnMouseWheel(300, 80, 1);
    EXPECT_FLOAT_EQ(viewer.GetZoom(), 2.4f);
    EXPECT_NEAR(viewer.MapUToX(u), 300, 0.01f);
    EXPECT_NEAR(viewer.MapVToY(v), 80, 0.01f);
    // A wheel outside the control does nothing.
    viewer.OnMouseWheel(-1, 80, 1);
    EXPECT_FLOAT_EQ(viewer.GetZoom(), 2.4f);
}

TEST(CanvasViewerScroll, RatiosCoverThePageWithItsMarginAndConstrainTheCamera)
{
    CanvasApp();
    QDViewport viewport(1000, 800);
    QDCanvasViewer viewer;
    viewer.Init(&viewport, nullptr);
    viewer.OnSize(400, 300);
    viewer.SetZoom(1);
    viewer.CenterCameraOnViewport();
    viewer.bScrollBoundsIncludeLast = false;
    // Scrollable: 1000 wide plus 70 a side.
    EXPECT_NEAR(viewer.GetHorizontalScrollableBoundsViewRatio(), 400.0f / 1140, 1e-5f);
    viewer.SetHorizontalScrollRatio(0);
    EXPECT_NEAR(viewer.GetCameraBounds().left, -70, 1e-3f);
    viewer.SetHorizontalScrollRatio(1);
    EXPECT_NEAR(viewer.GetCameraBounds().right, 1070, 1e-3f);
    EXPECT_NEAR(viewer.GetHorizontalScrollRatio(), 1, 1e-5f);
    viewer.SetVerticalScrollRatio(0.25f);
    EXPECT_NEAR(viewer.GetVerticalScrollRatio(), 0.25f, 1e-5f);
    // Pushed past the high edge, the camera comes back to it.
    viewer.SetCameraPosition(5000, 400);
    viewer.ConstrainCamera();
    EXPECT_NEAR(viewer.GetCameraBounds().right, 1070, 1e-3f);
    // What was last seen stays reachable until the next zoom.
    viewer.SetCameraPosition(3000, 400);
    viewer.AllowScrollingToCurrentCameraBounds();
    EXPECT_NEAR(viewer.GetScrollableBounds().right, 3200, 1e-3f);
    viewer.SetZoom(0.5f);
    EXPECT_NEAR(viewer.GetScrollableBounds().right, 1070, 1e-3f);
}

TEST(CanvasViewerWidgets, ZOrderFollowsThePipelineAndSelectionRaisesModeTwo)
{
    CanvasApp();
    QDViewport viewport(100, 100);
    QDImagePipeline pipeline;
    auto* a = new TestBoxElement;
    auto* b = new TestBoxElement;
    auto* c = new TestBoxElement;
    for (auto* e : {a, b, c})
        pipeline.AddElement(e);
    QDCanvasViewer viewer;
    viewer.Init(&viewport, &pipeline);
    // Created out of order; the widget of mode 0 stays above all.
    QDCanvasWidget* wc = viewer.CreateWidget<CanvasWidgetDummy>(c);
    QDCanvasWidget* wa = viewer.CreateWidget<CanvasWidgetDummy>(a);
    wa->iZOrderMode = QDCanvasWidget::ZOrderTop;
    QDCanvasWidget* wb = viewer.CreateWidget<CanvasWidgetDummy>(b);
    wb->iZOrderMode = QDCanvasWidget::ZOrderPipelineSelectedTop;
    viewer.ApplyCanvasWidgetZOrder();
    auto order = [&]
    {
        std::vector<LSceneGraphNode*> v;
        for (LSceneGraphNode* n = viewer.GetWidgetsRoot()->GetFirstChild(); n; n = n->GetNext())
            v.push_back(n);
        return v;
    };
    EXPECT_EQ(order(), (std::vector<LSceneGraphNode*>{wb, wc, wa}));
    viewer.SelectWidget(wb);
    EXPECT_EQ(order(), (std::vector<LSceneGraphNode*>{wc, wa, wb}));
    EXPECT_EQ(viewer.MapPipelineElementToWidget(c), wc);
    // Selecting for an element without a widget changes nothing.
    TestBoxElement stray;
    EXPECT_FALSE(viewer.SelectWidgetForPipelineElement(&stray));
    EXPECT_EQ(viewer.GetSelectedWidget(), wb);
    viewer.DestroyWidget(wb);
    EXPECT_EQ(viewer.GetSelectedWidget(), nullptr);
    EXPECT_EQ(viewer.MapPipelineElementToWidget(b), nullptr);
    EXPECT_EQ(order(), (std::vector<LSceneGraphNode*>{wc, wa}));
}
