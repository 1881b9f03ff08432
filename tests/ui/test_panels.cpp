// Properties panels on the offscreen platform, driven with real mouse and key events: every
// available effect gets a panel, a slider drag makes one undo item or none, and undo, redo and
// Reset show in the controls.

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QButtonGroup>
#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "document/QDProject.h"
#include "effects/QDEffectBlur.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectNoise.h"
#include "effects/QDEffectSharpen.h"
#include "ui/QDPipelineElementUi.h"
#include "ui/panels/QDEffectBlurPanel.h"
#include "ui/panels/QDEffectNoisePanel.h"
#include "ui/panels/QDEffectPanels.h"
#include "ui/panels/QDEffectSharpenPanel.h"
#include "ui/panels/QDSlider.h"
#include "ui/panels/QDTablePropertiesPanel.h"
#include "ui_support.h"

namespace
{
// Presses the handle, moves through the offsets and lets go at the last.
void Drag(QDTrackBar* bar, std::initializer_list<int> offsets, const std::function<void()>& during = {})
{
    const QPoint start = bar->GetHandleRect().center();
    SendMouse(bar, QEvent::MouseButtonPress, start, Qt::LeftButton);
    ASSERT_TRUE(bar->isSliderDown()) << "the press must hit the handle";
    QPoint at = start;
    for (int dx : offsets)
    {
        at = start + QPoint(dx, 0);
        SendMouse(bar, QEvent::MouseMove, at, Qt::LeftButton);
        if (during)
            during();
    }
    SendMouse(bar, QEvent::MouseButtonRelease, at, Qt::NoButton);
}

void Key(QWidget* w, int key)
{
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier);
    QCoreApplication::sendEvent(w, &press);
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier);
    QCoreApplication::sendEvent(w, &release);
}

class PanelTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        TestApp();
        QDRegisterEffectPanels();
    }
    void SetUp() override { catalogue.Register(); }
    template <class Element, class Panel>
    Panel* Open(Element*& element)
    {
        // Made without an undo item, so the stack holds only what the panel adds.
        element = static_cast<Element*>(catalogue.MapCommandIdToEffectFactory(CommandOf<Element>())
                                            ->CreateLayer(project, nullptr, false));
        lpPanel.reset(catalogue.MapCommandIdToEffectFactory(CommandOf<Element>())->CreatePanel(element));
        Panel* panel = dynamic_cast<Panel*>(lpPanel.get());
        EXPECT_NE(panel, nullptr);
        panel->resize(320, 420);
        panel->show();
        QCoreApplication::processEvents();
        return panel;
    }
    template <class Element>
    static int CommandOf()
    {
        if constexpr (std::is_same_v<Element, QDEffectBlur>)
            return 6022;
        else if constexpr (std::is_same_v<Element, QDEffectNoise>)
            return 6044;
        else
            return 6023;
    }
    size_t Items() const { return project.undoStack.GetNumItems(); }

    QDEffectCatalogue catalogue;
    QDProject project{64, 64};
    std::unique_ptr<QDPropertiesPanel> lpPanel;
};
} // namespace

TEST_F(PanelTest, EveryAvailableEffectHasAPanel)
{
    for (QDEffectFactory* f = catalogue.lFactories.GetFirst(); f; f = f->GetNextItem())
    {
        SCOPED_TRACE(f->szTypeIdentifier);
        std::unique_ptr<QDImagePipelineElement> element(f->CreateLayer());
        std::unique_ptr<QDPropertiesPanel> panel(f->CreatePanel(element.get()));
        ASSERT_TRUE(panel);
        panel->show();
        QCoreApplication::processEvents();
        EXPECT_TRUE(panel->isVisible());
        EXPECT_GT(panel->GetHeight(), 0);
        const bool wrapped = dynamic_cast<QDWrappedPropertiesElement*>(element.get()) != nullptr;
        EXPECT_EQ(panel->GetResetButton() != nullptr, wrapped);
    }
    // A type without a panel of its own gets the one built from its table.
    std::unique_ptr<QDImagePipelineElement> original(
        catalogue.MapCommandIdToEffectFactory(6035)->CreateLayer());
    std::unique_ptr<QDPropertiesPanel> panel(
        catalogue.MapCommandIdToEffectFactory(6035)->CreatePanel(original.get()));
    EXPECT_NE(dynamic_cast<QDTablePropertiesPanel*>(panel.get()), nullptr);
}

TEST_F(PanelTest, ADragBackToItsStartLeavesNoUndoItem)
{
    QDEffectBlur* blur = nullptr;
    QDEffectBlurPanel* panel = Open<QDEffectBlur, QDEffectBlurPanel>(blur);
    QDTrackBar* bar = panel->GetSlider()->GetTrackBar();
    // 20, the default, lies between two slider positions; the drag must still give it back.
    bool moved = false;
    Drag(bar, {40, 0},
         [&]
         {
             if (blur->GetProperties().dRadius != 20.0)
             {
                 moved = true;
                 EXPECT_EQ(blur->GetRegisteredProperties().dRadius, 20.0) << "a live drag registers nothing";
             }
         });
    EXPECT_TRUE(moved);
    EXPECT_EQ(blur->GetProperties().dRadius, 20.0);
    EXPECT_EQ(Items(), 0u);

    Drag(bar, {15, 40});
    ASSERT_EQ(Items(), 1u);
    const double dragged = blur->GetProperties().dRadius;
    EXPECT_GT(dragged, 20.0);
    const int draggedPosition = bar->value();
    project.undoStack.Undo();
    EXPECT_EQ(blur->GetProperties().dRadius, 20.0);
    EXPECT_EQ(bar->value(), 21) << "the slider follows undo";
    project.undoStack.Redo();
    EXPECT_EQ(bar->value(), draggedPosition);

    // The kind of blur is one click, one item.
    QAbstractButton* zoom = panel->GetTypeButtons()->button(QDEffectBlur::Zoom);
    // On the indicator: the button's click area ends with its text.
    const QPoint mid(6, zoom->height() / 2);
    SendMouse(zoom, QEvent::MouseButtonPress, mid, Qt::LeftButton);
    SendMouse(zoom, QEvent::MouseButtonRelease, mid, Qt::NoButton);
    EXPECT_EQ(blur->GetProperties().iBlurType, QDEffectBlur::Zoom);
    EXPECT_EQ(Items(), 2u);
}

TEST_F(PanelTest, ResetAndKeysEachMakeOneItem)
{
    QDEffectNoise* noise = nullptr;
    QDEffectNoisePanel* panel = Open<QDEffectNoise, QDEffectNoisePanel>(noise);
    QDTrackBar* bar = panel->GetSmoothingSlider()->GetTrackBar();
    Key(bar, Qt::Key_Right);
    Key(bar, Qt::Key_Right);
    EXPECT_FLOAT_EQ(noise->GetProperties().fSmoothing, 0.52f);
    EXPECT_EQ(Items(), 2u);
    QPushButton* reset = panel->GetResetButton();
    ASSERT_NE(reset, nullptr);
    reset->click();
    EXPECT_TRUE(noise->IsAtDefaults());
    EXPECT_EQ(Items(), 3u);
    EXPECT_EQ(bar->value(), 50);
    project.undoStack.Undo();
    EXPECT_EQ(bar->value(), 52);
}

TEST_F(PanelTest, SharpenAdvancedControlsFollowTheCheckBox)
{
    QDEffectSharpen* sharpen = nullptr;
    QDEffectSharpenPanel* panel = Open<QDEffectSharpen, QDEffectSharpenPanel>(sharpen);
    auto* radius = panel->findChild<QDoubleSpinBox*>();
    ASSERT_NE(radius, nullptr);
    EXPECT_FALSE(radius->isEnabled());
    panel->GetAdvancedCheck()->click();
    EXPECT_FALSE(sharpen->GetProperties().bSimple);
    EXPECT_TRUE(radius->isEnabled());
    EXPECT_FALSE(panel->GetSlider()->isEnabled());
    project.undoStack.Undo();
    EXPECT_FALSE(panel->GetAdvancedCheck()->isChecked());
    EXPECT_FALSE(radius->isEnabled());

    // The element's user-interface object owns the panel it makes.
    QDPipelineElementUi<QDEffectSharpen, QDEffectSharpenPanel> ui(sharpen, nullptr, nullptr);
    ASSERT_NE(ui.GetPanel(), nullptr);
    ui.Select();
    EXPECT_TRUE(ui.GetPanel()->isVisible());
    ui.Deselect();
    EXPECT_FALSE(ui.GetPanel()->isVisible());
}

TEST(QDTrackBar, RatioIsPositionOverTheSpan)
{
    TestApp();
    QDTrackBar bar(-100, 100);
    bar.setValue(100);
    EXPECT_EQ(bar.GetPositionRatio(), 0.5) << "the minimum isn't taken off";
    bar.setValue(-50);
    EXPECT_EQ(bar.GetPositionRatio(), -0.25);
    bar.SetPositionRatio(0.1234);
    EXPECT_EQ(bar.value(), 25);
    // A table row with the ratio scale reads its slider the same way.
    const QDPropertyDesc row = QD_PROPERTY_VALUE(double, 5, 0.0, -0.5, 0.5, "saturation", "Saturation")
                                   .Slider("Dull", "Vibrant", -100, 100, QDScaleRatio);
    EXPECT_EQ(row.SliderToValue(100), 0.5);
    EXPECT_EQ(row.ValueToSlider(-0.25), -50);
}
