// The effects' tools on a real canvas, driven by Qt mouse events through the view: the crop box,
// the rotation handle and the rings of Vignette and Lens Distortion. A drag changes the element
// live without undo, its end leaves one undo item, and undo and redo move the tool back.

#include <QTest>
#include <cmath>

#include "canvas/LKeyHandler.h"
#include "canvas/QDEffectCircleWidget.h"
#include "canvas/QDEffectCropWidget.h"
#include "canvas/QDEffectWidgets.h"
#include "canvas/QDProjectViewer.h"
#include "canvas/QDRotateWidget.h"
#include "canvas_support.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectFisheye.h"
#include "effects/QDEffectVignette.h"
#include "image/LImageTransform.h"
#include "ui/LSceneGraphView.h"

namespace
{
class EffectWidgetTest : public ::testing::Test, public CanvasAppFirst
{
protected:
    void SetUp() override
    {
        LKeyHandler::SetModifiers(0);
        QDRegisterEffectWidgets();
        catalogue.Register();
        LImageBuffer picture;
        LCreateBlankImage(picture, 400, 300, LPixelColour(90, 120, 150, 255));
        QDOriginalImageFactory::CreateLayer(project, picture, false, false, nullptr);
        lpViewer = std::make_unique<QDProjectViewer>(project);
        lpView = std::make_unique<LSceneGraphView>(lpViewer->GetCanvasViewer());
        lpView->resize(400, 300);
        lpView->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(lpView.get()));
        Canvas().SetZoom(1);
        Canvas().CenterCameraOnViewport();
    }
    void TearDown() override
    {
        LKeyHandler::SetModifiers(0);
        lpView.reset();
        lpViewer.reset();
    }
    QDCanvasViewer& Canvas() { return lpViewer->GetCanvasViewer(); }
    template <class Element>
    Element* Add(int commandId)
    {
        auto* e = static_cast<Element*>(
            catalogue.MapCommandIdToEffectFactory(commandId)->CreateLayer(project, nullptr, false));
        lpViewer->SyncPipelineElementUis();
        return e;
    }
    // The view's point of a page point.
    QPoint At(float u, float v)
    {
        return lpView->ToLogical(Canvas().MapUToX(u), Canvas().MapVToY(v)).toPoint();
    }
    // Press at from, move in steps to to, and let go, with a check after each move.
    void Drag(QPoint from, QPoint to, const std::function<void()>& during = {},
              Qt::KeyboardModifiers mods = {})
    {
        QTest::mouseMove(lpView.get(), from);
        QTest::mousePress(lpView.get(), Qt::LeftButton, mods, from);
        for (int i = 1; i <= 4; ++i)
        {
            // A move with the button held and the modifiers of the drag, as the system sends it.
            const QPointF at(from + (to - from) * i / 4);
            QMouseEvent move(QEvent::MouseMove, at, lpView->mapToGlobal(at), Qt::NoButton, Qt::LeftButton,
                             mods);
            QCoreApplication::sendEvent(lpView.get(), &move);
            if (during)
                during();
        }
        QTest::mouseRelease(lpView.get(), Qt::LeftButton, mods, to);
    }
    size_t Items() const { return project.undoStack.GetNumItems(); }

    QDEffectCatalogue catalogue;
    QDProject project{400, 300};
    std::unique_ptr<QDProjectViewer> lpViewer;
    std::unique_ptr<LSceneGraphView> lpView;
};
} // namespace

TEST_F(EffectWidgetTest, TheCropBoxFollowsDragsUndoAndTheEditing)
{
    auto* crop = Add<QDEffectCrop>(6037);
    auto* widget = dynamic_cast<QDEffectCropWidget*>(lpViewer->MapPipelineElementToUi(crop));
    ASSERT_NE(widget, nullptr);
    EXPECT_FALSE(widget->IsShowingBox());
    lpViewer->SelectPipelineElementUiForElement(crop);
    ASSERT_TRUE(widget->IsShowingBox());
    LRectangularManipulator* box = widget->GetManipulator();
    EXPECT_TRUE(box->bDarkenExterior);
    EXPECT_FLOAT_EQ(box->fU, 60);
    EXPECT_FLOAT_EQ(box->fWidth, 280);

    // The bottom-right corner, 20 right and 10 down: live changes, then one item.
    const QPoint corner = At(340, 255);
    bool live = false;
    Drag(corner, corner + QPoint(20, 10),
         [&]
         {
             live |= crop->GetProperties().iCropWidth > 280;
             EXPECT_EQ(Items(), 0u);
         });
    EXPECT_TRUE(live) << "the frame follows the drag";
    ASSERT_EQ(Items(), 1u);
    EXPECT_EQ(crop->GetProperties().iCropWidth, 300);
    EXPECT_EQ(crop->GetProperties().iCropHeight, 220);
    EXPECT_EQ(crop->GetProperties().iCropX, 60) << "the opposite corner held still";

    // Past the page's corner the box stops at the page.
    Drag(At(360, 265), At(390, 295) + QPoint(40, 40));
    EXPECT_EQ(crop->GetProperties().iCropX + crop->GetProperties().iCropWidth, 400);
    EXPECT_EQ(crop->GetProperties().iCropY + crop->GetProperties().iCropHeight, 300);
    ASSERT_EQ(Items(), 2u);

    project.undoStack.Undo();
    EXPECT_EQ(crop->GetProperties().iCropWidth, 300);
    EXPECT_FLOAT_EQ(box->fWidth, 300) << "undo moves the box back";
    project.undoStack.Undo();
    EXPECT_FLOAT_EQ(box->fWidth, 280);
    project.undoStack.Redo();
    EXPECT_FLOAT_EQ(box->fWidth, 300);

    // Leaving the box applies the crop, as one more item; the box goes.
    lpViewer->DeselectAllPipelineElementUis();
    EXPECT_FALSE(widget->IsShowingBox());
    EXPECT_TRUE(crop->GetProperties().bApplied);
    EXPECT_FALSE(crop->GetProperties().bEditing);
    EXPECT_EQ(crop->GetWidth(), 300u);
    // Chosen again while applied, nothing shows until the crop is edited again.
    lpViewer->SelectPipelineElementUiForElement(crop);
    EXPECT_FALSE(widget->IsShowingBox());
    crop->SetEditing(true);
    EXPECT_TRUE(widget->IsShowingBox());
    project.undoStack.Undo();
    EXPECT_FALSE(widget->IsShowingBox()) << "undo of the editing hides the box without applying anything";
    EXPECT_FALSE(crop->GetProperties().bEditing);

    // A ratio keeps the box's proportions while it is sized.
    crop->SetEditing(true);
    crop->ApplyAspectRatio(1.0, true);
    EXPECT_TRUE(box->bKeepAspect);
}

TEST_F(EffectWidgetTest, TheRotationHandleTurnsLiveAndSnapsWithCtrl)
{
    auto* rotate = Add<QDEffectRotate>(6042);
    auto* widget = dynamic_cast<QDRotateWidget*>(lpViewer->MapPipelineElementToUi(rotate));
    ASSERT_NE(widget, nullptr);
    // A render leaves the picture that enters the element for the widget to turn.
    LImageBuffer input;
    LCreateBlankImage(input, 400, 300, LPixelColour(90, 120, 150, 255));
    LProcessInterfaceVoid process;
    rotate->SetDimensions(LBoundingBox2T<double>(0, 0, 400, 300));
    ASSERT_EQ(rotate->RenderHighResImage(process, input), 0);
    ASSERT_GE(rotate->GetInputCacheId(), 0);

    EXPECT_FALSE(widget->IsActive());
    QTest::mouseClick(lpView.get(), Qt::LeftButton, {}, At(300, 150));
    EXPECT_EQ(Items(), 0u) << "until chosen, the page is not the tool's";
    lpViewer->SelectPipelineElementUiForElement(rotate);
    EXPECT_TRUE(widget->IsActive());
    // From right of the centre to below it: a quarter turn clockwise.
    bool live = false;
    Drag(At(300, 150), At(200, 250),
         [&]
         {
             live |= rotate->GetProperties().dRotation != 0;
             EXPECT_EQ(Items(), 0u);
             EXPECT_TRUE(widget->IsRotating());
         });
    EXPECT_TRUE(live);
    EXPECT_FALSE(widget->IsRotating());
    ASSERT_EQ(Items(), 1u);
    EXPECT_NEAR(rotate->GetProperties().dRotation, 90, 0.5);

    // With CTRL a turn of about 50 degrees snaps to 45.
    const double a = 50 * 3.14159265358979 / 180;
    Drag(At(300, 150), At(200 + 100 * float(std::cos(a)), 150 + 100 * float(std::sin(a))), {},
         Qt::ControlModifier);
    ASSERT_EQ(Items(), 2u);
    EXPECT_NEAR(rotate->GetProperties().dRotation, 135, 1e-3);
    project.undoStack.Undo();
    EXPECT_NEAR(rotate->GetProperties().dRotation, 90, 0.5);

    // The guide grid: a line 40 pixels in from the page's left edge, none beside it.
    const QImage shot = lpView->grab().toImage();
    const QPoint left = At(0, 0);
    const QColor onLine = shot.pixelColor(left.x() + 40, left.y() + 60);
    const QColor beside = shot.pixelColor(left.x() + 45, left.y() + 60);
    EXPECT_GT(onLine.lightness(), beside.lightness());

    lpViewer->DeselectAllPipelineElementUis();
    EXPECT_FALSE(widget->IsActive());
}

TEST_F(EffectWidgetTest, RingsSizeTheVignetteAndTheLens)
{
    auto* vignette = Add<QDEffectVignette>(6033);
    auto* widget = dynamic_cast<QDEffectCircleWidget*>(lpViewer->MapPipelineElementToUi(vignette));
    ASSERT_NE(widget, nullptr);
    lpViewer->SelectPipelineElementUiForElement(vignette);
    QDCircleSelectionWidget* ring = widget->GetCircle();
    ASSERT_FALSE(ring->IsHidden());
    EXPECT_FLOAT_EQ(ring->GetRadius(), 75) << "a quarter of the page's height";
    EXPECT_FLOAT_EQ(ring->GetUAbsolute(), 200);

    // Out from 75 to 90 pixels: the size follows live, one item at the end.
    bool live = false;
    Drag(At(275, 150), At(290, 150),
         [&]
         {
             live |= vignette->GetProperties().dSize != 0.25;
             EXPECT_EQ(Items(), 0u);
         });
    EXPECT_TRUE(live);
    ASSERT_EQ(Items(), 1u);
    EXPECT_NEAR(vignette->GetProperties().dSize, 0.3, 0.005);
    project.undoStack.Undo();
    EXPECT_EQ(vignette->GetProperties().dSize, 0.25);
    EXPECT_FLOAT_EQ(ring->GetRadius(), 75) << "undo moves the ring back";
    project.undoStack.Redo();
    EXPECT_NEAR(ring->GetRadius(), 90, 1.5);

    // The lens: a ring at half the shorter side is no distortion; pulled in, it pinches.
    auto* lens = Add<QDEffectFisheye>(6025);
    auto* lensWidget = dynamic_cast<QDEffectCircleWidget*>(lpViewer->MapPipelineElementToUi(lens));
    ASSERT_NE(lensWidget, nullptr);
    lpViewer->SelectPipelineElementUiForElement(lens);
    EXPECT_TRUE(ring->IsHidden()) << "choosing another widget hides the first ring";
    EXPECT_FLOAT_EQ(lensWidget->GetCircle()->GetRadius(), 150);
    Drag(At(350, 150), At(320, 150));
    EXPECT_GT(lens->GetProperties().fStrength, 0.5f);
    EXPECT_EQ(Items(), 2u);
}
