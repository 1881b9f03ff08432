// The scene graph on its own: the camera's mapping, hit tests through nested frames, drag and
// capture rules, deletion at awkward moments and the coalesced repaint.

#include <cmath>

#include "canvas/LKeyHandler.h"
#include "canvas_support.h"

namespace
{
class GraphTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        CanvasApp();
        LKeyHandler::SetModifiers(0);
        graph.Init(&host);
        graph.iZoomMode = 1;
        graph.iOriginMode = 1;
        graph.OnSize(400, 300);
    }
    // Presses, moves and releases in control pixels.
    void Press(float x, float y) { graph.OnLButtonDown(x, y); }
    void Move(float x, float y) { graph.OnMouseMove(x, y); }
    void Release(float x, float y) { graph.OnLButtonUp(x, y); }
    float X(float u) const { return graph.MapUToX(u); }
    float Y(float v) const { return graph.MapVToY(v); }

    RecordingHost host;
    LSceneGraph graph;
    std::vector<std::string> log;
};

bool Logged(const std::vector<std::string>& log, const std::string& what)
{
    return std::find(log.begin(), log.end(), what) != log.end();
}
} // namespace

TEST_F(GraphTest, MappingRoundTripsInEveryCameraMode)
{
    struct Case
    {
        int iZoomMode, iOriginMode;
        float fZoom; // ratio in mode 1, range in mode 0
    } cases[] = {{1, 1, 0.2f}, {1, 1, 20.0f}, {1, 0, 3.0f}, {0, 0, 800.0f}, {0, 1, 50.0f}};
    for (const Case& c : cases)
    {
        graph.iZoomMode = c.iZoomMode;
        graph.iOriginMode = c.iOriginMode;
        graph.fCameraZoomResolutionRatio = c.fZoom;
        graph.fCameraZoomRange = c.fZoom;
        graph.SetCameraPosition(123.5f, -40.25f);
        for (float u : {-500.0f, 0.0f, 17.25f, 2999.0f})
        {
            EXPECT_NEAR(graph.MapXToU(graph.MapUToX(u)), u, 1e-3f * std::max(1.0f, std::fabs(u)));
            EXPECT_NEAR(graph.MapYToV(graph.MapVToY(u)), u, 1e-3f * std::max(1.0f, std::fabs(u)));
        }
        EXPECT_NEAR(graph.MapOffsetXYToUV(graph.MapOffsetUVToXY(7.5f)), 7.5f, 1e-4f);
        const LBoxF cam = graph.GetCameraBounds();
        EXPECT_NEAR(graph.MapUToX(cam.left), 0, 1e-2f);
        EXPECT_NEAR(graph.MapVToY(cam.bottom), 300, 1e-2f);
    }
    // Mode 1 centres the camera point with the integer half of an odd width.
    graph.iZoomMode = 1;
    graph.iOriginMode = 1;
    graph.fCameraZoomResolutionRatio = 1;
    graph.OnSize(401, 301);
    graph.SetCameraPosition(0, 0);
    EXPECT_EQ(graph.MapUToX(0), 200.0f);
    EXPECT_EQ(graph.MapVToY(0), 150.0f);
}

TEST_F(GraphTest, HitTestsFindTheFrontmostThroughNestedFramesAtTheZoomLimits)
{
    // A parent at (100, 50) scaled 2 holding a child at (10, 10) scaled 0.5: the child's local
    // (0..4) lies at absolute 120..124 on U and 70..74 on V.
    auto* parent = graph.AddNode<BoxNode>(100, 50, 0.0f, 0.0f, 40.0f, 40.0f, &log, "parent");
    parent->SetScale(2);
    auto* child = parent->AddNode<BoxNode>(10, 10, 0.0f, 0.0f, 4.0f, 4.0f, &log, "child");
    child->SetScale(0.5f);
    auto* front = graph.AddNode<BoxNode>(0, 0, 150.0f, 95.0f, 160.0f, 105.0f, &log, "front");
    EXPECT_FLOAT_EQ(child->GetUAbsolute(), 120.0f);
    EXPECT_FLOAT_EQ(child->GetScaleAbsolute(), 1.0f);

    for (float zoom : {0.05f, 1.0f, 5.0f})
    {
        graph.SetCameraZoomResolutionRatio(1 / zoom);
        graph.SetCameraPosition(150, 90);
        EXPECT_EQ(graph.GetNodeUnderPoint(121, 71), child) << zoom;
        EXPECT_EQ(graph.GetNodeUnderPoint(140, 100), parent) << zoom;
        EXPECT_EQ(graph.GetNodeUnderPoint(155, 100), front) << zoom; // over the parent too
        EXPECT_EQ(graph.GetNodeUnderPoint(95, 40), nullptr) << zoom;

        // A click placed by the camera reaches the child in its own frame.
        log.clear();
        Press(X(121.5f), Y(72.0f));
        Release(X(121.5f), Y(72.0f));
        ASSERT_TRUE(Logged(log, "child:down")) << zoom;
        EXPECT_FALSE(Logged(log, "parent:down"));
        EXPECT_NEAR(child->fDownU, 1.5f, 0.05f / zoom);
        EXPECT_NEAR(child->fDownV, 2.0f, 0.05f / zoom);
    }
    // Hidden nodes are passed over, and so are their children.
    front->SetHidden(true);
    EXPECT_EQ(graph.GetNodeUnderPoint(155, 100), parent);
    parent->SetHidden(true);
    EXPECT_EQ(graph.GetNodeUnderPoint(121, 71), nullptr);
}

TEST_F(GraphTest, DragRegionEdgesAndTheFourPixelThreshold)
{
    auto* node = graph.AddNode<BoxNode>(0, 0, 0.0f, 0.0f, 10.0f, 10.0f, &log);
    LSceneGraphNodeDragRegion* region = node->AddDragRegion(0, 0, 10, 10);
    EXPECT_FALSE(region->IsPointOver(0, 5));
    EXPECT_FALSE(region->IsPointOver(10, 5));
    EXPECT_FALSE(region->IsPointOver(5, 10));
    EXPECT_TRUE(region->IsPointOver(0.01f, 5));

    // Exactly four pixels does not start a drag; a little more does, and moves the node with
    // the pointer from where it was pressed.
    Press(X(5), Y(5));
    EXPECT_TRUE(host.bCaptured);
    Move(X(5) + 4, Y(5));
    EXPECT_FALSE(Logged(log, "box:dragbegin"));
    EXPECT_EQ(node->GetU(), 0.0f);
    Move(X(5) + 4.01f, Y(5));
    EXPECT_TRUE(Logged(log, "box:dragbegin"));
    EXPECT_NEAR(node->GetU(), 4.01f, 1e-4f);
    // Outside the control, moves still reach the dragged node.
    Move(-50, Y(5) + 20);
    EXPECT_NEAR(node->GetU(), graph.MapXToU(-50) - 5, 1e-3f);
    EXPECT_NEAR(node->GetV(), 20, 1e-3f);
    // A release over nothing still ends the drag.
    log.clear();
    Release(-50, 290);
    EXPECT_TRUE(Logged(log, "box:dragfinish"));
    EXPECT_FALSE(host.bCaptured);
    EXPECT_EQ(graph.GetNodeDragging(), nullptr);
}

TEST_F(GraphTest, ZOrderIgnoresHiddenSiblings)
{
    auto* a = graph.AddNode<BoxNode>(0, 0, 0.0f, 0.0f, 10.0f, 10.0f);
    auto* b = graph.AddNode<BoxNode>(0, 0, 0.0f, 0.0f, 10.0f, 10.0f);
    auto* c = graph.AddNode<BoxNode>(0, 0, 0.0f, 0.0f, 10.0f, 10.0f);
    c->SetHidden(true);
    EXPECT_TRUE(b->IsFrontmost());
    b->BringToFront(); // behind only a hidden node: nothing moves
    EXPECT_EQ(graph.GetNodes(), (std::vector<LSceneGraphNode*>{a, b, c}));
    a->BringToFront();
    EXPECT_EQ(graph.GetNodes(), (std::vector<LSceneGraphNode*>{b, c, a}));
    EXPECT_EQ(graph.GetNodeUnderPoint(5, 5), a);
    a->SendToBack();
    EXPECT_EQ(graph.GetNodes(), (std::vector<LSceneGraphNode*>{a, b, c}));
    EXPECT_EQ(graph.GetNodeUnderPoint(5, 5), b);
}

TEST_F(GraphTest, NodesMayGoAwayDuringTheirOwnEventsAndTakeTheirReferencesWithThem)
{
    // A node that deletes itself from its own press handler, in the middle of the routing.
    auto* self = graph.AddNode<BoxNode>(0, 0, 0.0f, 0.0f, 10.0f, 10.0f, &log, "self");
    self->AddNode<BoxNode>(0, 0, 100.0f, 100.0f, 110.0f, 110.0f);
    self->fnOnDown = [](BoxNode& n) { n.DeleteThisNode(); };
    Move(X(5), Y(5));
    EXPECT_EQ(graph.GetMouseOverNode(), self);
    Press(X(5), Y(5));
    EXPECT_EQ(graph.GetFirstNode(), nullptr);
    EXPECT_EQ(graph.GetMouseOverNode(), nullptr);
    EXPECT_EQ(graph.GetFocus(), nullptr);
    Release(X(5), Y(5));

    // A node deleted while it holds the mouse gives the capture back.
    auto* held = graph.AddNode<BoxNode>(0, 0, 0.0f, 0.0f, 10.0f, 10.0f);
    held->AddDragRegion(0, 0, 10, 10);
    Press(X(5), Y(5));
    Move(X(5) + 10, Y(5));
    ASSERT_EQ(graph.GetNodeDragging(), held);
    ASSERT_TRUE(host.bCaptured);
    graph.DeleteNode(held);
    EXPECT_EQ(graph.GetNodeDragging(), nullptr);
    EXPECT_FALSE(host.bCaptured);
    Move(X(20), Y(5));
    Release(X(20), Y(5));

    // A node that deletes a parent and its child both, from a key handler.
    struct Deleter : BoxNode
    {
        using BoxNode::BoxNode;
        bool EvKeyDown(int) override
        {
            LSceneGraphNode* victim = lpGraph->GetFirstNode();
            victim->GetFirstChild()->DeleteThisNode();
            victim->DeleteThisNode();
            DeleteThisNode();
            return true;
        }
    };
    auto* parent = graph.AddNode<BoxNode>(0, 0, 0.0f, 0.0f, 1.0f, 1.0f);
    parent->AddNode<BoxNode>(0, 0, 0.0f, 0.0f, 1.0f, 1.0f);
    auto* keyNode = graph.AddNode<Deleter>(0, 0, 50.0f, 50.0f, 60.0f, 60.0f);
    graph.SetFocus(keyNode);
    EXPECT_TRUE(graph.OnKeyDown(LVK_SPACE));
    EXPECT_EQ(graph.GetFirstNode(), nullptr);
}

TEST_F(GraphTest, DeleteKeyRemovesSelectedDeletableNodesOrHidesThem)
{
    auto* gone = graph.AddNode<BoxNode>(0, 0, 0.0f, 0.0f, 10.0f, 10.0f);
    auto* hides = graph.AddNode<BoxNode>(0, 0, 20.0f, 0.0f, 30.0f, 10.0f);
    auto* kept = graph.AddNode<BoxNode>(0, 0, 40.0f, 0.0f, 50.0f, 10.0f);
    gone->bCanDelete = hides->bCanDelete = true;
    hides->bDeleteHides = true;
    for (LSceneGraphNode* n : {gone, hides, kept})
        n->SelectNode();
    graph.SetFocus(gone);
    EXPECT_TRUE(graph.OnKeyDown(LVK_FORWARD_DELETE));
    EXPECT_EQ(graph.GetNodes(), (std::vector<LSceneGraphNode*>{hides, kept}));
    EXPECT_TRUE(hides->IsHidden());
    EXPECT_FALSE(hides->IsSelected());
    EXPECT_TRUE(kept->IsSelected());
}

TEST_F(GraphTest, RepaintsAreCoalescedAndNodesAddedWhileDrawingWaitForTheNextPass)
{
    auto* node = graph.AddNode<BoxNode>(0, 0, -10.0f, -10.0f, 10.0f, 10.0f);
    PumpFor(40);
    host.iFull = host.iRects = 0;
    for (int i = 0; i < 100; ++i)
        node->Update(true);
    EXPECT_EQ(host.iFull, 0);
    PumpFor(60);
    EXPECT_EQ(host.iFull, 1);

    // Partial repaints ask for each node's old and new place once, however often it asked.
    graph.bPartialUpdates = true;
    graph.bFullRepaintPending = false;
    PumpFor(40);
    host.iFull = host.iRects = 0;
    node->bxLastDrawn = node->GetDrawBoundsAbsolute();
    for (int i = 0; i < 100; ++i)
        node->Update(false);
    EXPECT_EQ(graph.vRepaintNodes.size(), 1u);
    PumpFor(60);
    EXPECT_EQ(host.iFull, 0);
    EXPECT_EQ(host.iRects, 2);

    // A node added from Draw is linked after the pass and drawn in the next one.
    struct Spawner : BoxNode
    {
        using BoxNode::BoxNode;
        void Draw(LPaintContext& pc) override
        {
            BoxNode::Draw(pc);
            if (!bSpawned)
                lpGraph->AddNode<BoxNode>(0, 0, -5.0f, -5.0f, 5.0f, 5.0f, lpLog, "spawned");
            bSpawned = true;
        }
        bool bSpawned = false;
    };
    graph.DeleteAllNodes();
    graph.AddNode<Spawner>(0, 0, -10.0f, -10.0f, 10.0f, 10.0f, &log, "spawner");
    struct NullContext : LPaintContext
    {
        LBoundingBox2T<int> GetClipBox() const override { return {0, 0, 400, 300}; }
        void FillRect(const LBoundingBox2T<float>&, LGuiColor, float) override {}
        void FillRectCheckerPattern(const LBoundingBox2T<float>&, int, LGuiColor, LGuiColor, float,
                                    float) override
        {
        }
        void DrawImage(const LGuiImage&, const LBoundingBox2T<float>&, float, bool) override {}
        void DrawBoxShadow(LGuiColor, const LBoundingBox2T<float>&, float) override {}
        void DrawFrameDashedAA(const LBoundingBox2T<float>&, LGuiColor, float, LLineStyle) override {}
        void DrawFrameAA(const LBoundingBox2T<float>&, LGuiColor, float, float) override {}
        void DrawLineAA(float, float, float, float, LGuiColor, float, float) override {}
        void DrawLinesAA(const LPointF*, size_t, bool, LGuiColor, float, float) override {}
        void DrawEllipseAA(const LBoundingBox2T<float>&, LGuiColor, float, float) override {}
        void FillEllipseAA(const LBoundingBox2T<float>&, LGuiColor, float) override {}
        void FillPolygonAA(const LPointF*, size_t, LGuiColor, float) override {}
        void FillPath(const LGraphicsPath&, LGuiColor, float) override {}
        void DrawPath(const LGraphicsPath&, LGuiColor, float, float, LLineStyle, float) override {}
        void DrawRectangle(const LBoundingBox2T<float>&, LGuiColor, float) override {}
        void ClipIntersect(const LBoundingBox2T<float>&) override {}
        void ClipExclude(const LBoundingBox2T<float>&) override {}
        void ClipStackPush() override {}
        void ClipStackPop() override {}
        void TransformStackPush() override {}
        void TransformStackPop() override {}
        void TransformTranslate(float, float) override {}
        void TransformRotate(double) override {}
        void TransformScale(float, float) override {}
        void SetFont(const char*, float, bool) override {}
        void SetTextColor(LGuiColor, float) override {}
        void MeasureText(const char*, float& w, float& h) override { w = h = 0; }
        void DrawText(const char*, float, float) override {}
        void ApplyAntialias() override {}
    } pc;
    graph.OnPaint(pc);
    EXPECT_EQ(log, (std::vector<std::string>{"spawner:draw"}));
    EXPECT_EQ(graph.GetNodes().size(), 2u);
    log.clear();
    graph.OnPaint(pc);
    EXPECT_EQ(log, (std::vector<std::string>{"spawner:draw", "spawned:draw"}));
    // Culled: a node outside the clip isn't drawn.
    graph.SetCameraPosition(1000, 1000);
    log.clear();
    graph.OnPaint(pc);
    EXPECT_TRUE(log.empty());
}

TEST_F(GraphTest, PanningKeepsTheCameraWithinTheRestrictionOnEachAxisAlone)
{
    graph.AddNode<BoxNode>(0, 0, 0.0f, 0.0f, 100.0f, 100.0f);
    graph.bRestrictCamera = true;
    graph.fCameraMargin = 10;
    graph.iPanButton = 0;
    graph.SetCameraPosition(50, 50);
    Press(200, 150);
    // Dragging the world right and up moves the camera left (past the limit) and down (inside).
    Move(200 + 500, 150 - 30);
    EXPECT_FLOAT_EQ(graph.GetCameraU(), -10);
    EXPECT_FLOAT_EQ(graph.GetCameraV(), 80);
    EXPECT_EQ(host.iCursor, LCursorPanning);
    Release(700, 120);
    EXPECT_FALSE(graph.IsPanning());
    EXPECT_FALSE(host.bCaptured);
}

TEST_F(GraphTest, AnimatedMovesArriveExactlyAndCameraAnimationLandsOnItsTarget)
{
    auto* node = graph.AddNode<BoxNode>(0, 0, 0.0f, 0.0f, 1.0f, 1.0f);
    node->SetPosition(30, -12, true);
    EXPECT_TRUE(node->IsAnimating());
    ASSERT_TRUE(PumpUntil([&] { return !node->IsAnimating(); }, 2000));
    EXPECT_EQ(node->GetU(), 30.0f);
    EXPECT_EQ(node->GetV(), -12.0f);

    graph.SetCameraAnimate(40, 20, 0.5f);
    ASSERT_TRUE(PumpUntil([&] { return !graph.bCameraAnimating; }, 2000));
    EXPECT_EQ(graph.GetCameraU(), 40.0f);
    EXPECT_EQ(graph.GetCameraV(), 20.0f);
    EXPECT_EQ(graph.fCameraZoomResolutionRatio, 0.5f);
}
