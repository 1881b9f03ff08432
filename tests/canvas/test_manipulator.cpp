// The rectangular manipulator's geometry, resizing and turning, and the whole road from real
// mouse events on the canvas to one undoable change of a test element and back.

#include <QTest>
#include <cmath>

#include "canvas/LKeyHandler.h"
#include "canvas/LRectangularManipulator.h"
#include "canvas/QDProjectViewer.h"
#include "canvas_support.h"
#include "document/QDProject.h"
#include "ui/LSceneGraphView.h"

namespace
{
constexpr double kPi = 3.14159265358979323846;

// A manipulator on a plain graph at zoom 1 whose camera maps UV to XY one to one.
class ManipulatorTest : public ::testing::Test
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
        graph.SetCameraPosition(200, 150);
        m = graph.AddNode<LRectangularManipulator>(200, 150, 100.0f, 60.0f, 1);
    }
    void TearDown() override { LKeyHandler::SetModifiers(0); }
    LVector2T<float> Abs(LVector2T<float> local) const { return {m->fU + local.x, m->fV + local.y}; }
    // Drags a handle from where it stands by (dx, dy) pixels, through the graph's routing.
    void DragHandle(LSceneGraphNode* handle, float dx, float dy)
    {
        const float x = handle->MapUToX(0), y = handle->MapVToY(0);
        graph.OnMouseMove(x, y);
        graph.OnLButtonDown(x, y);
        graph.OnMouseMove(x + dx / 2, y + dy / 2);
        graph.OnMouseMove(x + dx, y + dy);
        graph.OnLButtonUp(x + dx, y + dy);
    }

    RecordingHost host;
    LSceneGraph graph;
    LRectangularManipulator* m = nullptr;
};

struct Recorder : LNotifyee1Arg<LRectangularManipulator, bool>
{
    void EvNotify(LRectangularManipulator&, bool bFinished) override { ++(bFinished ? iFinished : iLive); }
    int iLive = 0, iFinished = 0;
};
} // namespace

TEST_F(ManipulatorTest, AnchorsPlaceTheBoxAndTurnedCornersStayOnIt)
{
    const LBoxF expected[10] = {{},
                                {-50, -30, 50, 30},
                                {0, -30, 100, 30},
                                {-50, 0, 50, 60},
                                {-100, -30, 0, 30},
                                {-50, -60, 50, 0},
                                {0, 0, 100, 60},
                                {-100, 0, 0, 60},
                                {-100, -60, 0, 0},
                                {0, -60, 100, 0}};
    for (int anchor = 1; anchor <= 9; ++anchor)
    {
        m->iAnchor = anchor;
        EXPECT_EQ(m->GetUnrotatedBounds(), expected[anchor]) << anchor;
    }
    // SetAnchor keeps the box where it was on screen.
    m->iAnchor = 1;
    m->SetAnchor(6);
    EXPECT_FLOAT_EQ(m->fU, 150);
    EXPECT_FLOAT_EQ(m->fV, 120);
    m->SetAnchor(1);

    // A quarter turn clockwise: the top-left corner goes to the top right.
    m->SetRotation(kPi / 2);
    const LVector2T<float> tl = m->GetTopLeftCorner();
    EXPECT_NEAR(tl.x, 30, 1e-4f);
    EXPECT_NEAR(tl.y, -50, 1e-4f);
    const LBoxF b = m->GetBounds();
    EXPECT_NEAR(b.right - b.left, 60, 1e-4f);
    EXPECT_NEAR(b.bottom - b.top, 100, 1e-4f);
    // Edges count as inside; the corner of the axis box outside the turned one does not.
    m->SetRotation(kPi / 4);
    const LVector2T<float> corner = m->GetTopRightCorner();
    EXPECT_TRUE(m->IsPointOverRectangle(corner.x, corner.y));
    const LBoxF t = m->GetBounds();
    EXPECT_FALSE(m->IsPointOverRectangle(t.right - 1, t.top + 1));
}

TEST_F(ManipulatorTest, SizingCursorsFollowTheTurn)
{
    auto cursor = [&](int d) { return m->GetSizingHandle(d)->GetCursorType(); };
    EXPECT_EQ(cursor(DIRECTION_LEFT), LCursorResizeHorizontal);
    EXPECT_EQ(cursor(DIRECTION_TOP), LCursorResizeVertical);
    EXPECT_EQ(cursor(DIRECTION_TOPLEFT), LCursorResizeDiagonalDown);
    EXPECT_EQ(cursor(DIRECTION_TOPRIGHT), LCursorResizeDiagonalUp);
    m->SetRotation(kPi / 2);
    EXPECT_EQ(cursor(DIRECTION_LEFT), LCursorResizeVertical);
    EXPECT_EQ(cursor(DIRECTION_TOPLEFT), LCursorResizeDiagonalUp);
    // Turned by 45° clockwise, the top handle points up and right.
    m->SetRotation(kPi / 4);
    EXPECT_EQ(cursor(DIRECTION_TOP), LCursorResizeDiagonalUp);
    for (int d = 0; d < 8; ++d)
        EXPECT_EQ(QDSizingHandle::Opposite(QDSizingHandle::Opposite(d)), d);
    EXPECT_EQ(QDSizingHandle::Opposite(DIRECTION_TOPLEFT), DIRECTION_BOTTOMRIGHT);
}

TEST_F(ManipulatorTest, CornerDragsResizeAboutTheOppositeCornerAndNeverThroughZero)
{
    Recorder rec;
    m->AddNotifyee(&rec);
    // Keeping the aspect, +40 and +20 from the bottom-right corner give the mean of 1.4 and 4/3.
    DragHandle(m->GetSizingHandle(DIRECTION_BOTTOMRIGHT), 40, 20);
    const float s = (1.4f + 80.0f / 60.0f) / 2;
    EXPECT_NEAR(m->fWidth, 100 * s, 1e-3f);
    EXPECT_NEAR(m->fHeight, 60 * s, 1e-3f);
    const LVector2T<float> tl = Abs(m->GetTopLeftCorner());
    EXPECT_NEAR(tl.x, 150, 1e-3f);
    EXPECT_NEAR(tl.y, 120, 1e-3f);
    EXPECT_GT(rec.iLive, 0);
    EXPECT_EQ(rec.iFinished, 1);

    // Through the anchor: 0.01 without a restriction, one unit with it.
    m->bKeepAspect = false;
    m->SetDimensions(100, 60);
    m->SetPosition(200, 150);
    DragHandle(m->GetSizingHandle(DIRECTION_RIGHT), -100, 0);
    EXPECT_FLOAT_EQ(m->fWidth, 0.01f);
    EXPECT_FLOAT_EQ(m->fHeight, 60);
    m->SetDimensions(100, 60);
    m->SetPosition(200, 150);
    m->bRestrictToBounds = true;
    m->bxRestrict = LBoxF(0, 0, 400, 300);
    DragHandle(m->GetSizingHandle(DIRECTION_RIGHT), -180, 0);
    EXPECT_FLOAT_EQ(m->fWidth, 1);
    EXPECT_NEAR(Abs(m->GetLeftMidpoint()).x, 150, 1e-3f);

    // Pulled far past the restriction, the box stops at its edges.
    m->SetDimensions(100, 60);
    m->SetPosition(200, 150);
    DragHandle(m->GetSizingHandle(DIRECTION_BOTTOMRIGHT), 500, 400);
    EXPECT_NEAR(Abs(m->GetBottomRightCorner()).x, 400, 1e-3f);
    EXPECT_NEAR(Abs(m->GetBottomRightCorner()).y, 300, 1e-3f);
    m->RemoveNotifyee(&rec);
}

TEST_F(ManipulatorTest, TheBodyIsPushedBackInsideTheRestrictionOnBothAxes)
{
    m->bRestrictToBounds = true;
    m->bxRestrict = LBoxF(0, 0, 400, 300);
    graph.OnMouseMove(200, 150);
    graph.OnLButtonDown(200, 150);
    graph.OnMouseMove(100, 100);
    graph.OnMouseMove(-400, -300);
    graph.OnLButtonUp(-400, -300);
    EXPECT_FLOAT_EQ(m->fU, 50);
    EXPECT_FLOAT_EQ(m->fV, 30);
}

TEST_F(ManipulatorTest, TurningSnapsToRightAnglesAndWithCtrlToEveryFortyFiveDegrees)
{
    QDRotationHandle* handle = m->GetRotationHandle();
    ASSERT_FALSE(handle->IsHidden());
    const LVector2T<float> mid = Abs(m->GetMidpoint());
    // Moves the handle to the given clockwise angle from straight up, at its distance.
    auto turnTo = [&](double degrees)
    {
        const float x = handle->MapUToX(0), y = handle->MapVToY(0);
        const float r = std::hypot(x - graph.MapUToX(mid.x), y - graph.MapVToY(mid.y));
        const double a = degrees * kPi / 180;
        const float tx = graph.MapUToX(mid.x) + r * float(std::sin(a));
        const float ty = graph.MapVToY(mid.y) - r * float(std::cos(a));
        graph.OnMouseMove(x, y);
        graph.OnLButtonDown(x, y);
        graph.OnMouseMove((x + tx) / 2 + 5, (y + ty) / 2 + 5);
        graph.OnMouseMove(tx, ty);
        graph.OnLButtonUp(tx, ty);
    };
    turnTo(30);
    EXPECT_NEAR(m->dRotation, 30 * kPi / 180, 1e-3);
    turnTo(91.5);
    EXPECT_DOUBLE_EQ(m->dRotation, kPi / 2);
    // Just short of a full turn settles on the full turn, which wraps to 0 when stored.
    turnTo(359);
    EXPECT_DOUBLE_EQ(m->dRotation, RadianT<double>::kTwoPi);
    LKeyHandler::SetModifiers(LKeyCommand);
    turnTo(70);
    EXPECT_NEAR(m->dRotation, kPi / 2, 1e-9);
    turnTo(200);
    EXPECT_NEAR(m->dRotation, 180 * kPi / 180, 1e-9);
    // The centre stays put whatever the anchor.
    LKeyHandler::SetModifiers(0);
    m->SetRotation(0);
    m->SetAnchor(6);
    const LVector2T<float> before = Abs(m->GetMidpoint());
    turnTo(40);
    const LVector2T<float> after = Abs(m->GetMidpoint());
    EXPECT_NEAR(after.x, before.x, 1e-2f);
    EXPECT_NEAR(after.y, before.y, 1e-2f);
}

// The whole road on a real canvas: Qt mouse events, the graph, the handle, the manipulator, the
// widget and the element with its undo stack.
TEST(ManipulatorWidget, ACornerDragChangesTheElementLiveAndLeavesOneUndoItemThatRestoresTheBox)
{
    CanvasApp();
    QDProject project(400, 300);
    auto* element = project.CreatePipelineElement<TestBoxElement>(false);
    element->InitProperties(TestBox{200, 150, 100, 60, 0});
    QDProjectViewer viewer(project);
    TestBoxWidget* widget = nullptr;
    viewer.fnCreateWidget = [&](QDCanvasViewer& canvas, QDImagePipelineElement* e) -> QDCanvasWidget*
    {
        if (strcmp(e->GetTypeIdentifier(), "test box") != 0)
            return nullptr;
        return widget = canvas.CreateWidget<TestBoxWidget>(static_cast<TestBoxElement*>(e));
    };
    viewer.SyncPipelineElementUis();
    ASSERT_NE(widget, nullptr);
    QDCanvasViewer& canvas = viewer.GetCanvasViewer();

    LSceneGraphView view(canvas);
    view.resize(400, 300);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    canvas.SetZoom(1);
    canvas.CenterCameraOnViewport();

    // A click on the unselected box selects its widget and shows the handles.
    QTest::mouseClick(&view, Qt::LeftButton, {}, QPoint(200, 150));
    ASSERT_EQ(canvas.GetSelectedWidget(), widget);
    LRectangularManipulator* m = widget->GetManipulator();
    ASSERT_FALSE(m->IsHidden());

    const size_t undoBefore = project.undoStack.GetNumItems();
    const QPointF corner = view.ToLogical(m->GetSizingHandle(DIRECTION_BOTTOMRIGHT)->MapUToX(0),
                                          m->GetSizingHandle(DIRECTION_BOTTOMRIGHT)->MapVToY(0));
    const QPoint start = corner.toPoint();
    QTest::mouseMove(&view, start);
    QTest::mousePress(&view, Qt::LeftButton, {}, start);
    for (int i = 1; i <= 4; ++i)
        QTest::mouseMove(&view, start + QPoint(10 * i, 5 * i));
    // Live: the element follows, and nothing is in the undo history yet.
    EXPECT_GT(widget->iLiveChanges, 0);
    EXPECT_GT(element->oProperties.w, 100);
    EXPECT_EQ(project.undoStack.GetNumItems(), undoBefore);
    QTest::mouseRelease(&view, Qt::LeftButton, {}, start + QPoint(40, 20));
    EXPECT_EQ(widget->iCommits, 1);
    ASSERT_EQ(project.undoStack.GetNumItems(), undoBefore + 1);
    const TestBox dragged = element->oProperties;
    EXPECT_NEAR(dragged.w, 100 * (1.4f + 80.0f / 60.0f) / 2, 0.5f);
    EXPECT_NEAR(dragged.u - dragged.w / 2, 150, 0.5f); // the top-left corner held still

    project.undoStack.Undo();
    EXPECT_EQ(element->oProperties, (TestBox{200, 150, 100, 60, 0}));
    EXPECT_FLOAT_EQ(m->fWidth, 100);
    EXPECT_FLOAT_EQ(m->fU, 200);
    project.undoStack.Redo();
    EXPECT_EQ(element->oProperties, dragged);
    EXPECT_FLOAT_EQ(m->fWidth, dragged.w);
}
