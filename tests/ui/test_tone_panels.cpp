// The tone effects' panels and drawn controls on the offscreen platform, driven by real mouse
// events: each finished drag is one undo item, a click that moves nothing is none, undo shows in
// the controls, and Levels and Curves show the histograms their effects count.

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QButtonGroup>
#include <QComboBox>
#include <QCoreApplication>
#include <QMouseEvent>
#include <QPushButton>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>

#include "document/QDProject.h"
#include "effects/QDEffectBalance.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectCurves.h"
#include "effects/QDEffectGradient.h"
#include "effects/QDEffectHue.h"
#include "effects/QDEffectLevels.h"
#include "effects/QDEffectTint.h"
#include "ui/panels/QDCurvesControl.h"
#include "ui/panels/QDEffectBalancePanel.h"
#include "ui/panels/QDEffectCurvesPanel.h"
#include "ui/panels/QDEffectGradientPanel.h"
#include "ui/panels/QDEffectHuePanel.h"
#include "ui/panels/QDEffectLevelsPanel.h"
#include "ui/panels/QDEffectPanels.h"
#include "ui/panels/QDEffectTintPanel.h"
#include "ui/panels/QDGradientSliders.h"
#include "ui/panels/QDHLSSelector.h"
#include "ui/panels/QDHueRotator.h"
#include "ui/panels/QDLevelsControl.h"
#include "ui/panels/QDSlider.h"
#include "ui_support.h"

namespace
{
// Press at the first point, move through the others, let go at the last.
void Drag(QWidget* w, std::initializer_list<QPointF> path)
{
    auto it = path.begin();
    SendMouse(w, QEvent::MouseButtonPress, *it, Qt::LeftButton);
    QPointF at = *it;
    for (++it; it != path.end(); ++it)
        SendMouse(w, QEvent::MouseMove, at = *it, Qt::LeftButton);
    SendMouse(w, QEvent::MouseButtonRelease, at, Qt::NoButton);
}

class TonePanelTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        TestApp();
        QDRegisterEffectPanels();
    }
    void SetUp() override { catalogue.Register(); }
    template <class Element, class Panel>
    Panel* Open(int commandId, Element*& element)
    {
        QDEffectFactory* f = catalogue.MapCommandIdToEffectFactory(commandId);
        element = static_cast<Element*>(f->CreateLayer(project, nullptr, false));
        lpPanel.reset(f->CreatePanel(element));
        Panel* panel = dynamic_cast<Panel*>(lpPanel.get());
        EXPECT_NE(panel, nullptr);
        panel->resize(320, 560);
        panel->show();
        QCoreApplication::processEvents();
        return panel;
    }
    size_t Items() const { return project.undoStack.GetNumItems(); }

    QDEffectCatalogue catalogue;
    QDProject project{64, 64};
    std::unique_ptr<QDPropertiesPanel> lpPanel;
};

bool Pump(const std::function<bool()>& done)
{
    for (int i = 0; i < 200 && !done(); ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    return done();
}
} // namespace

TEST_F(TonePanelTest, CurvePointsAreAddedDraggedAndRemoved)
{
    QDEffectCurves* curves = nullptr;
    QDEffectCurvesPanel* panel = Open<QDEffectCurves, QDEffectCurvesPanel>(6010, curves);
    QDCurvesControl* c = panel->GetCurve();
    ASSERT_EQ(c->GetPointCount(), 2);

    // A press on the square adds a point there and the drag carries it: one item.
    Drag(c, {c->ValueToPoint(64, 64), c->ValueToPoint(64, 90), c->ValueToPoint(70, 40)});
    ASSERT_EQ(Items(), 1u);
    const LCurveSettings& rgb = curves->GetProperties().arCurves[0];
    ASSERT_EQ(rgb.listPoints.GetCount(), 3u);
    const int addedX = rgb.listPoints.GetFirst()->GetNextItem()->iX;
    const int addedY = rgb.listPoints.GetFirst()->GetNextItem()->iY;
    EXPECT_NEAR(addedX, 70, 1);
    EXPECT_NEAR(addedY, 40, 1);
    EXPECT_TRUE(curves->GetProperties().arCurves[1].IsIdentity());

    // A click on a point that doesn't move it changes nothing.
    const QPointF at = c->ValueToPoint(addedX, addedY);
    Drag(c, {at});
    EXPECT_EQ(Items(), 1u);

    // Undo and redo show in the control.
    project.undoStack.Undo();
    EXPECT_EQ(c->GetPointCount(), 2);
    project.undoStack.Redo();
    EXPECT_EQ(c->GetPointCount(), 3);

    // An end point moves sideways too, but never onto or past its neighbour.
    Drag(c, {c->ValueToPoint(0, 0), c->ValueToPoint(120, 30)});
    EXPECT_EQ(Items(), 2u);
    EXPECT_EQ(curves->GetProperties().arCurves[0].listPoints.GetFirst()->iX, addedX - 1);
    EXPECT_NEAR(curves->GetProperties().arCurves[0].listPoints.GetFirst()->iY, 30, 1);

    // Dragged far out of the square an inner point goes; brought back, it would have stayed.
    Drag(c, {at, QPointF(at.x(), c->height() + 60.0)});
    EXPECT_EQ(Items(), 3u);
    EXPECT_EQ(curves->GetProperties().arCurves[0].listPoints.GetCount(), 2u);

    // On the red channel, a double-click removes the point a press added.
    panel->GetChannelMenu()->setCurrentIndex(1);
    Drag(c, {c->ValueToPoint(128, 128), c->ValueToPoint(128, 170)});
    EXPECT_EQ(curves->GetProperties().arCurves[1].listPoints.GetCount(), 3u);
    const QPointF red = c->ValueToPoint(128, 170);
    SendMouse(c, QEvent::MouseButtonPress, red, Qt::LeftButton);
    SendMouse(c, QEvent::MouseButtonRelease, red, Qt::NoButton);
    SendMouse(c, QEvent::MouseButtonDblClick, red, Qt::LeftButton);
    SendMouse(c, QEvent::MouseButtonRelease, red, Qt::NoButton);
    EXPECT_EQ(curves->GetProperties().arCurves[1].listPoints.GetCount(), 2u);
    EXPECT_EQ(Items(), 5u);

    // A full render counts the input for the panel, which shows it once it arrives.
    EXPECT_FALSE(c->HasHistogram());
    LImageBuffer picture;
    ASSERT_TRUE(LImage::New(picture, 64, 64));
    picture.Clear(LPixelColour(10, 20, 30, 255));
    curves->SetDimensions(LBoundingBox2T<double>(0, 0, 64, 64));
    LProcessInterfaceVoid silent;
    ASSERT_EQ(curves->RenderHighResImage(silent, picture), 0);
    ASSERT_TRUE(Pump([&] { return c->HasHistogram(); }));
    ASSERT_NE(curves->GetHistograms(), nullptr);
    EXPECT_EQ(curves->GetHistograms()->arCounts[QDHistograms::Red][30], 64u * 64u);
}

TEST_F(TonePanelTest, LevelsMarkersDragOverTheHistogram)
{
    QDEffectLevels* levels = nullptr;
    QDEffectLevelsPanel* panel = Open<QDEffectLevels, QDEffectLevelsPanel>(6013, levels);
    QDLevelsSliders* s = panel->GetSliders();
    const QPointF low = s->GetMarkerPosition(QDLevelsSliders::Low) + QPointF(0, 8);
    const QPointF high = s->GetMarkerPosition(QDLevelsSliders::High) + QPointF(0, 8);
    const double perLevel = (high.x() - low.x()) / 255.0;

    // The black point, dragged thirty levels in: one item, the midtone marker moves along.
    const double midBefore = s->GetMarkerPosition(QDLevelsSliders::Mid).x();
    Drag(s, {low, low + QPointF(10 * perLevel, 0), low + QPointF(30 * perLevel, 0)});
    ASSERT_EQ(Items(), 1u);
    EXPECT_NEAR(levels->GetProperties().arLevels[0].byInputLow, 30, 1);
    EXPECT_GT(s->GetMarkerPosition(QDLevelsSliders::Mid).x(), midBefore);

    // The midtone marker to the right darkens: a midtone above one half.
    const QPointF mid = s->GetMarkerPosition(QDLevelsSliders::Mid) + QPointF(0, 8);
    Drag(s, {mid, mid + QPointF(40 * perLevel, 0)});
    ASSERT_EQ(Items(), 2u);
    EXPECT_GT(levels->GetProperties().arLevels[0].fMidtone, 0.5f);
    // The marker stands where the mapping gives half: the table there is 128 give or take.
    uint8_t table[256];
    LImgProColorLevels::MapValues(table, levels->GetProperties().arLevels[0]);
    const double midValue = (s->GetMarkerPosition(QDLevelsSliders::Mid).x() - low.x()) / perLevel;
    EXPECT_NEAR(table[int(std::lround(midValue))], 128, 3);

    // A click that moves nothing is no item; the white point never passes the black one.
    Drag(s, {mid + QPointF(40 * perLevel, 0)});
    EXPECT_EQ(Items(), 2u);
    Drag(s, {high, QPointF(0, high.y())});
    EXPECT_EQ(Items(), 3u);
    EXPECT_GT(levels->GetProperties().arLevels[0].byInputHigh,
              levels->GetProperties().arLevels[0].byInputLow);

    // Each channel keeps its own levels.
    panel->GetChannelMenu()->setCurrentIndex(3);
    EXPECT_EQ(s->GetLevels().byInputLow, 0);
    project.undoStack.Undo();
    project.undoStack.Undo();
    project.undoStack.Undo();
    panel->GetChannelMenu()->setCurrentIndex(0);
    EXPECT_EQ(s->GetLevels().byInputLow, 0);
    EXPECT_TRUE(levels->IsAtDefaults());

    // The histogram arrives from a full render.
    EXPECT_FALSE(panel->GetHistogram()->HasHistogram());
    LImageBuffer picture;
    ASSERT_TRUE(LImage::New(picture, 8, 8));
    picture.Clear(LPixelColour(0, 0, 90, 255));
    levels->SetDimensions(LBoundingBox2T<double>(0, 0, 8, 8));
    LProcessInterfaceVoid silent;
    ASSERT_EQ(levels->RenderHighResImage(silent, picture), 0);
    ASSERT_TRUE(Pump([&] { return panel->GetHistogram()->HasHistogram(); }));
    EXPECT_EQ(levels->GetHistograms()->arCounts[QDHistograms::Mean][30], 64u);
}

TEST_F(TonePanelTest, HueWheelAndTintColour)
{
    QDEffectHue* hue = nullptr;
    QDEffectHuePanel* panel = Open<QDEffectHue, QDEffectHuePanel>(6016, hue);
    QDHueRotator* wheel = panel->GetRotator();
    const QPointF centre = QRectF(wheel->rect()).center();
    // From the top round to the right: a quarter turn.
    Drag(wheel, {centre + QPointF(0, -40), centre + QPointF(30, -30), centre + QPointF(40, 0)});
    ASSERT_EQ(Items(), 1u);
    EXPECT_NEAR(hue->GetProperties(), 0.25, 1e-9);
    project.undoStack.Undo();
    EXPECT_EQ(wheel->GetRotation(), 0.0);
    project.undoStack.Redo();
    EXPECT_NEAR(wheel->GetRotation(), 0.25, 1e-9);

    QDEffectTint* tint = nullptr;
    QDEffectTintPanel* tp = Open<QDEffectTint, QDEffectTintPanel>(6017, tint);
    QDHLSSelector* colour = tp->GetSelector();
    const QRect field = colour->GetFieldRect();
    Drag(colour, {field.center(), QPointF(field.left() + field.width() * 0.25, field.top() + 1)});
    ASSERT_EQ(Items(), 2u);
    EXPECT_NEAR(tint->GetProperties().dHue, 0.25, 0.02);
    EXPECT_NEAR(tint->GetProperties().dSaturation, 1.0, 0.02);
    EXPECT_EQ(tint->GetProperties().dLightness, 0.5);
    const QRect bar = colour->GetLightnessRect();
    Drag(colour, {bar.center(), QPointF(bar.center().x(), bar.bottom())});
    ASSERT_EQ(Items(), 3u);
    EXPECT_NEAR(tint->GetProperties().dLightness, 0.0, 0.02);
    project.undoStack.Undo();
    EXPECT_EQ(colour->GetLightness(), 0.5);
}

TEST_F(TonePanelTest, GradientMarkersAndTheirButtons)
{
    QDEffectGradient* gradient = nullptr;
    QDEffectGradientPanel* panel = Open<QDEffectGradient, QDEffectGradientPanel>(6015, gradient);
    QDGradientSliders* s = panel->GetSliders();
    const QRectF bar = s->GetBarRect();

    // A press on the bar adds a stop of the colour there; the drag moves it: one item.
    Drag(s, {QPointF(bar.left() + bar.width() * 0.5, bar.center().y()),
             QPointF(bar.left() + bar.width() * 0.3, bar.center().y())});
    ASSERT_EQ(Items(), 1u);
    ASSERT_EQ(gradient->GetProperties().nMarkers, 3);
    EXPECT_NEAR(gradient->GetProperties().arMarkers[2].fPosition, 0.3, 0.02);
    const LPixelColour grey = LPixelColour::FromUInt32(gradient->GetProperties().arMarkers[2].iColour);
    EXPECT_NEAR(grey.r, 128, 2) << "the gradient's colour at the middle";
    EXPECT_EQ(s->GetSelected(), 2);

    // The white end, dragged by its marker.
    const QPointF end = s->GetMarkerPosition(1) + QPointF(0, 6);
    Drag(s, {end, end - QPointF(bar.width() * 0.2, 0)});
    ASSERT_EQ(Items(), 2u);
    EXPECT_NEAR(gradient->GetProperties().arMarkers[1].fPosition, 0.8, 0.02);

    // The selected stop takes the colour the chooser gives, and goes with Delete.
    QDEffectGradientPanel::SetColourChooser(
        [](QWidget*, LPixelColour& c)
        {
            c = LPixelColour(0, 0, 255, 255);
            return true;
        });
    panel->GetColourButton()->click();
    QDEffectGradientPanel::SetColourChooser(nullptr);
    ASSERT_EQ(Items(), 3u);
    EXPECT_EQ(LPixelColour::FromUInt32(gradient->GetProperties().arMarkers[1].iColour),
              LPixelColour(0, 0, 255, 255));
    panel->GetDeleteButton()->click();
    EXPECT_EQ(gradient->GetProperties().nMarkers, 2);
    panel->GetAddButton()->click();
    EXPECT_EQ(gradient->GetProperties().nMarkers, 3);
    panel->GetBlendButtons()->button(1)->click();
    EXPECT_TRUE(gradient->GetProperties().bOverlay);
    EXPECT_EQ(Items(), 6u);
    // Down to one stop, and no further.
    panel->GetDeleteButton()->click();
    panel->GetDeleteButton()->click();
    EXPECT_EQ(gradient->GetProperties().nMarkers, 1);
    EXPECT_FALSE(panel->GetDeleteButton()->isEnabled());
    for (int i = 0; i < 8; ++i)
        project.undoStack.Undo();
    EXPECT_TRUE(gradient->IsAtDefaults());
    EXPECT_EQ(s->GetMarkers().nMarkers, 2);
}

TEST_F(TonePanelTest, BalanceSlidersShowTheChosenGroup)
{
    QDEffectBalance* balance = nullptr;
    QDEffectBalancePanel* panel = Open<QDEffectBalance, QDEffectBalancePanel>(6001, balance);
    EXPECT_EQ(panel->GetGroup(), QDEffectBalanceProperties::Midtones);
    panel->GetGroupButtons()->button(QDEffectBalanceProperties::Shadows)->click();
    EXPECT_EQ(Items(), 0u) << "choosing a group changes nothing";
    QDTrackBar* blue = panel->GetSlider(2)->GetTrackBar();
    const QPointF handle = blue->GetHandleRect().center();
    Drag(blue, {handle, handle + QPointF(20, 0), handle + QPointF(40, 0)});
    ASSERT_EQ(Items(), 1u);
    const float shadowBlue = balance->GetProperties().GetBalanceBlue(QDEffectBalanceProperties::Shadows);
    EXPECT_GT(shadowBlue, 0.0f);
    EXPECT_EQ(balance->GetProperties().GetBalanceBlue(QDEffectBalanceProperties::Midtones), 0.0f);
    panel->GetGroupButtons()->button(QDEffectBalanceProperties::Highlights)->click();
    EXPECT_EQ(blue->value(), 0);
    panel->GetGroupButtons()->button(QDEffectBalanceProperties::Shadows)->click();
    EXPECT_EQ(blue->value(), int(std::lround(shadowBlue * 100)));
    panel->GetResetButton()->click();
    EXPECT_TRUE(balance->IsAtDefaults());
    EXPECT_EQ(blue->value(), 0);
}
