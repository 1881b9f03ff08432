// The panels of the geometric and stylise effects, driven with real mouse and key events where a
// person would use the mouse: each control reaches its property with one undo item, and undo shows
// in the controls.

#include <gtest/gtest.h>

#include <QAction>
#include <QButtonGroup>
#include <QCheckBox>
#include <QColorDialog>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGroupBox>
#include <QMenu>
#include <QMouseEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "document/QDProject.h"
#include "effects/QDEffectBorder.h"
#include "effects/QDEffectBrick.h"
#include "effects/QDEffectCartoon.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectVignette.h"
#include "effects/QDEffectVintage.h"
#include "ui/panels/QDColourButton.h"
#include "ui/panels/QDEffectCropPanel.h"
#include "ui/panels/QDEffectFlipPanel.h"
#include "ui/panels/QDEffectFramePanel.h"
#include "ui/panels/QDEffectLiquidResizePanel.h"
#include "ui/panels/QDEffectPanels.h"
#include "ui/panels/QDEffectResizePanel.h"
#include "ui/panels/QDEffectRotatePanel.h"
#include "ui/panels/QDEffectVignettePanel.h"
#include "ui/panels/QDSlider.h"
#include "ui_support.h"

namespace
{
void Click(QWidget* w, QPoint at = QPoint(-1, -1))
{
    if (at.x() < 0)
        at = QPoint(w->width() / 2, w->height() / 2);
    QMouseEvent press(QEvent::MouseButtonPress, QPointF(at), QPointF(w->mapToGlobal(at)), Qt::LeftButton,
                      Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(w, &press);
    QMouseEvent release(QEvent::MouseButtonRelease, QPointF(at), QPointF(w->mapToGlobal(at)), Qt::LeftButton,
                        Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(w, &release);
}

// A radio button or check box takes the click on its indicator.
void ClickIndicator(QAbstractButton* b)
{
    Click(b, QPoint(6, b->height() / 2));
}

void Type(QAbstractSpinBox* box, const QString& text)
{
    box->setFocus();
    box->selectAll();
    for (QChar c : text)
    {
        QKeyEvent press(QEvent::KeyPress, 0, Qt::NoModifier, QString(c));
        QCoreApplication::sendEvent(box, &press);
    }
    QKeyEvent enter(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QCoreApplication::sendEvent(box, &enter);
}

class ShapePanelTest : public ::testing::Test
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
        element = dynamic_cast<Element*>(f->CreateLayer(project, nullptr, false));
        EXPECT_NE(element, nullptr);
        lpPanel.reset(f->CreatePanel(element));
        Panel* panel = dynamic_cast<Panel*>(lpPanel.get());
        EXPECT_NE(panel, nullptr);
        panel->resize(320, 600);
        panel->show();
        QCoreApplication::processEvents();
        return panel;
    }
    size_t Items() const { return project.undoStack.GetNumItems(); }

    QDEffectCatalogue catalogue;
    QDProject project{400, 300};
    std::unique_ptr<QDPropertiesPanel> lpPanel;
};
} // namespace

TEST_F(ShapePanelTest, FlipAndRotateButtons)
{
    QDEffectFlip* flip = nullptr;
    auto* flips = Open<QDEffectFlip, QDEffectFlipPanel>(6038, flip);
    Click(flips->GetHorizontalButton());
    EXPECT_TRUE(flip->GetProperties().bHorizontal);
    EXPECT_EQ(Items(), 1u);
    project.undoStack.Undo();
    EXPECT_FALSE(flips->GetHorizontalButton()->isChecked());

    QDEffectRotate* rotate = nullptr;
    auto* rotates = Open<QDEffectRotate, QDEffectRotatePanel>(6042, rotate);
    Click(rotates->GetRotateButtons()->GetRight());
    Click(rotates->GetRotateButtons()->GetRight());
    EXPECT_EQ(rotate->GetProperties().dRotation, 180.0);
    Type(rotates->GetDegrees(), "200.5");
    EXPECT_EQ(rotate->GetProperties().dRotation, 200.5);
    Click(rotates->GetRotateButtons()->GetLeft());
    EXPECT_EQ(rotate->GetProperties().dRotation, 180.0) << "from between quarters to the last one passed";
    ClickIndicator(rotates->GetClipCheck());
    EXPECT_TRUE(rotate->GetProperties().bClipping);
    const size_t items = Items();
    project.undoStack.Undo();
    project.undoStack.Undo();
    EXPECT_EQ(Items(), items);
    EXPECT_EQ(rotates->GetDegrees()->value(), 200.5);
    EXPECT_FALSE(rotates->GetClipCheck()->isChecked());
    // Rotate Simple has the same panel.
    QDEffectRotate* simple = nullptr;
    EXPECT_NE((Open<QDEffectRotate, QDEffectRotatePanel>(6031, simple)), nullptr);
}

TEST_F(ShapePanelTest, CropRatioSizeApplyAndEdit)
{
    QDEffectCrop* crop = nullptr;
    auto* panel = Open<QDEffectCrop, QDEffectCropPanel>(6037, crop);
    EXPECT_EQ(panel->GetWidthField()->value(), 280);
    EXPECT_FALSE(panel->GetEdit()->isEnabled()) << "a new crop is being edited";
    panel->GetAspect()->setCurrentIndex(panel->GetAspect()->findText("1 x 1"));
    // 280 high from 45 down passes the bottom at 300: cut to 255, and the width follows.
    EXPECT_EQ(crop->GetProperties().iCropWidth, 255);
    EXPECT_EQ(crop->GetProperties().iCropHeight, 255);
    EXPECT_EQ(crop->GetProperties().dAspectRatio, 1.0);
    EXPECT_EQ(Items(), 1u);
    EXPECT_TRUE(panel->GetKeepAspect()->isChecked());
    // One side typed, the other follows the frame's proportions.
    Type(panel->GetHeightField(), "100");
    EXPECT_EQ(crop->GetProperties().iCropWidth, 100);
    EXPECT_EQ(crop->GetProperties().iCropHeight, 100);

    Click(panel->GetApply());
    EXPECT_TRUE(crop->GetProperties().bApplied);
    EXPECT_FALSE(crop->GetProperties().bEditing);
    EXPECT_EQ(crop->GetWidth(), 100u);
    EXPECT_TRUE(panel->GetEdit()->isEnabled());
    Click(panel->GetEdit());
    EXPECT_TRUE(crop->GetProperties().bEditing);
    project.undoStack.Undo();
    EXPECT_FALSE(crop->GetProperties().bEditing);
    Click(panel->GetResetButton());
    EXPECT_EQ(crop->GetProperties().iCropHeight, 210);
    EXPECT_EQ(panel->GetAspect()->currentIndex(), 0);

    // The simple crop shows a portrait ratio by its landscape label.
    EXPECT_EQ(QDEffectCropPanelSimple::IndexOfRatio(0.6667), 2);
    EXPECT_EQ(QDEffectCropPanelSimple::IndexOfRatio(1.0004), 1);
    EXPECT_EQ(QDEffectCropPanelSimple::IndexOfRatio(-1), 0);
    EXPECT_EQ(QDEffectCropPanelSimple::IndexOfRatio(2.5), -1);
    QDEffectCropSimple* simple = nullptr;
    auto* simplePanel = Open<QDEffectCropSimple, QDEffectCropPanelSimple>(6007, simple);
    simplePanel->GetAspect()->setCurrentIndex(simplePanel->GetAspect()->findText("16 x 9"));
    EXPECT_FLOAT_EQ(float(simple->GetProperties()), 1.7778f);
}

TEST_F(ShapePanelTest, ResizeUnitsAndTheSimpleForms)
{
    QDEffectResize* resize = nullptr;
    auto* panel = Open<QDEffectResize, QDEffectResizePanel>(6039, resize);
    EXPECT_EQ(panel->GetWidthField()->value(), 400);
    panel->GetUnit()->setCurrentIndex(QDEffectResize::Percentage);
    EXPECT_EQ(panel->GetWidthField()->value(), 100);
    Type(panel->GetWidthField(), "50");
    EXPECT_EQ(resize->GetWidth(), 200u);
    EXPECT_EQ(resize->GetHeight(), 150u);
    EXPECT_EQ(panel->GetHeightField()->value(), 50);
    EXPECT_EQ(Items(), 1u);
    panel->GetUnit()->setCurrentIndex(QDEffectResize::Inches);
    Type(panel->GetPPIField(), "100");
    EXPECT_EQ(project.GetPPIRef(), 100u);
    EXPECT_EQ(panel->GetWidthField()->value(), 2.0);
    Click(panel->GetResetButton());
    EXPECT_EQ(project.GetPPIRef(), 300u);
    EXPECT_EQ(resize->GetWidth(), 400u);

    QDEffectResizeSimple* simple = nullptr;
    auto* simplePanel = Open<QDEffectResizeSimple, QDEffectResizeSimplePanel>(6040, simple);
    EXPECT_FALSE(simplePanel->GetPercent()->isEnabled());
    ClickIndicator(simplePanel->GetAutoHeight());
    EXPECT_EQ(simple->GetProperties().iResizeType, QDEffectResizeSimple::AutoHeight);
    EXPECT_FALSE(simplePanel->GetHeightField()->isEnabled());
    ClickIndicator(simplePanel->GetByPercent());
    EXPECT_EQ(simple->GetProperties().iResizeType, QDEffectResizeSimple::Percent);
    Type(simplePanel->GetPercent(), "25");
    EXPECT_FLOAT_EQ(simple->GetProperties().fPercent, 0.25f);
    project.undoStack.Undo();
    project.undoStack.Undo();
    EXPECT_TRUE(simplePanel->GetAutoHeight()->isChecked());
}

TEST_F(ShapePanelTest, LiquidResizeTypesLiveAndLeavesOneItem)
{
    QDEffectLiquidResize* liquid = nullptr;
    auto* panel = Open<QDEffectLiquidResize, QDEffectLiquidResizePanel>(6041, liquid);
    EXPECT_EQ(panel->GetWidthField()->value(), 400) << "-1 shows the picture's own size";
    EXPECT_EQ(liquid->GetProperties().iWidth, -1);
    QSpinBox* width = panel->GetWidthField();
    width->setFocus();
    width->selectAll();
    for (const char* digit : {"3", "2", "0"})
    {
        QKeyEvent key(QEvent::KeyPress, 0, Qt::NoModifier, digit);
        QCoreApplication::sendEvent(width, &key);
    }
    EXPECT_EQ(liquid->GetProperties().iWidth, 320);
    EXPECT_EQ(Items(), 0u) << "typing changes the picture without undo";
    QFocusEvent out(QEvent::FocusOut);
    QCoreApplication::sendEvent(width, &out);
    EXPECT_EQ(Items(), 1u);
    project.undoStack.Undo();
    EXPECT_EQ(liquid->GetProperties().iWidth, -1);
    EXPECT_EQ(width->value(), 400);
}

TEST_F(ShapePanelTest, StyliseGroupsColoursAndTableControls)
{
    QDEffectVignette* vignette = nullptr;
    auto* panel = Open<QDEffectVignette, QDEffectVignettePanel>(6033, vignette);
    Click(panel->GetColourButton());
    QColorDialog* dialog = panel->GetColourButton()->GetDialog();
    ASSERT_NE(dialog, nullptr) << "the colour dialog opens without blocking";
    dialog->setCurrentColor(QColor(10, 20, 30));
    dialog->accept();
    EXPECT_EQ(vignette->GetProperties().iRed, 10);
    EXPECT_EQ(vignette->GetProperties().iBlue, 30);
    EXPECT_EQ(Items(), 1u) << "three channels, one item";
    project.undoStack.Undo();
    EXPECT_EQ(panel->GetColourButton()->GetColour(), QColor(0, 0, 0));

    QDEffectVintage* vintage = nullptr;
    auto* vintagePanel = Open<QDEffectVintage, QDEffectVintagePanel>(6034, vintage);
    vintagePanel->GetBleachGroup()->setChecked(false);
    EXPECT_FALSE(vintage->GetProperties().bBleach);
    project.undoStack.Undo();
    EXPECT_TRUE(vintagePanel->GetBleachGroup()->isChecked());

    QDEffectBorder* border = nullptr;
    auto* borderPanel = Open<QDEffectBorder, QDEffectBorderPanel>(6000, border);
    EXPECT_FALSE(borderPanel->GetControl("aspect")->isEnabled());
    auto* oval = borderPanel->GetControl("oval")->findChildren<QRadioButton*>().at(1);
    ClickIndicator(oval);
    EXPECT_TRUE(border->GetProperties().bOval);
    EXPECT_TRUE(borderPanel->GetControl("aspect")->isEnabled());
    EXPECT_FALSE(borderPanel->GetControl("roundness")->isEnabled());

    // Rows from tables alone: radio buttons and inverted sliders.
    QDEffectBrick* brick = nullptr;
    auto* brickPanel = Open<QDEffectBrick, QDTablePropertiesPanel>(6002, brick);
    ClickIndicator(brickPanel->GetControl("hexagonal")->findChildren<QRadioButton*>().at(1));
    EXPECT_TRUE(brick->GetProperties().bHexagonal);
    QDEffectCartoon* cartoon = nullptr;
    auto* cartoonPanel = Open<QDEffectCartoon, QDTablePropertiesPanel>(6004, cartoon);
    auto* edges = static_cast<QDSlider*>(cartoonPanel->GetControl("edges"));
    EXPECT_EQ(edges->GetPosition(), 127) << "threshold 128 on a slider from fewer to more edges";
    edges->GetTrackBar()->setValue(255);
    EXPECT_EQ(cartoon->GetProperties().iEdgeThreshold, 0) << "more edges, a lower threshold";
    auto* detail = static_cast<QDSlider*>(cartoonPanel->GetControl("radius"));
    EXPECT_EQ(detail->GetPosition(), 500);
    detail->GetTrackBar()->setValue(800);
    EXPECT_DOUBLE_EQ(cartoon->GetProperties().dBlurRadius, 2.0);
}

TEST_F(ShapePanelTest, FrameMenuChoosesAFrameWithUndo)
{
    QDEffectFrame* frame = nullptr;
    auto* panel = Open<QDEffectFrame, QDEffectFramePanel>(6051, frame);
    QList<QAction*> actions = panel->GetMenu()->actions();
    ASSERT_EQ(actions.size(), 6);
    EXPECT_TRUE(actions[0]->isChecked());
    actions[2]->trigger();
    EXPECT_EQ(frame->GetProperties().iFrame, 3);
    EXPECT_TRUE(actions[2]->isChecked());
    EXPECT_EQ(Items(), 1u);
    project.undoStack.Undo();
    EXPECT_TRUE(actions[0]->isChecked());
    actions[4]->trigger();
    Click(panel->GetResetButton());
    EXPECT_EQ(frame->GetProperties().iFrame, 1);
}
