#include "ui/panels/QDEffectVignettePanel.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QVBoxLayout>
#include <cmath>

#include "ui/panels/QDColourButton.h"
#include "ui/panels/QDSlider.h"

namespace
{
long Row(const QDWrappedPropertiesElement& element, const char* name)
{
    return element.GetPropertyTable().FindByName(name);
}
} // namespace

QDColourButton* QDMakeTableColourButton(QDTablePropertiesPanel& panel, QDWrappedPropertiesElement& element,
                                        const char* text, const char* red, const char* green,
                                        const char* blue, QWidget* parent)
{
    QDColourButton* button = new QDColourButton(text, parent);
    QObject::connect(button, &QDColourButton::Changed, &panel,
                     [&element, red, green, blue](const QColor& c)
                     {
                         // One undo item for the three channels.
                         element.SetPropertyValue(size_t(Row(element, red)), c.red(), false);
                         element.SetPropertyValue(size_t(Row(element, green)), c.green(), false);
                         element.SetPropertyValue(size_t(Row(element, blue)), c.blue(), false);
                         element.DispatchUndoRedoItemForUnregisteredChanges();
                     });
    return button;
}

void QDShowTableColour(QDColourButton& button, const QDWrappedPropertiesElement& element, const char* red,
                       const char* green, const char* blue)
{
    auto channel = [&](const char* name)
    { return int(std::lround(element.GetPropertyValue(size_t(Row(element, name))))); };
    button.SetColour(QColor(channel(red), channel(green), channel(blue)));
}

// ---- Vignette

QDEffectVignettePanel::QDEffectVignettePanel(QDImagePipelineElement& element)
    : QDTablePropertiesPanel(element)
{
}

void QDEffectVignettePanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    PrepareRows();
    AddRow("size");
    AddRow("strength");
    lpColour = QDMakeTableColourButton(*this, *lpWrapped, "Color", "red", "green", "blue", GetContainer());
    GetContainerLayout()->addWidget(lpColour);
    connect(lpColour, &QDColourButton::Changed, this, [this] { PropertiesChanged(); });
    CreateTrayResetButton();
    Update();
}

void QDEffectVignettePanel::UpdateControls()
{
    QDTablePropertiesPanel::UpdateControls();
    QDShowTableColour(*lpColour, *lpWrapped, "red", "green", "blue");
}

// ---- Vintage

QDEffectVintagePanel::QDEffectVintagePanel(QDImagePipelineElement& element) : QDTablePropertiesPanel(element)
{
}

void QDEffectVintagePanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    PrepareRows();
    auto group = [this](const char* title, const char* flag)
    {
        QGroupBox* box = new QGroupBox(title, GetContainer());
        box->setCheckable(true);
        box->setAccessibleName(title);
        new QVBoxLayout(box);
        GetContainerLayout()->addWidget(box);
        const size_t row = size_t(lpWrapped->GetPropertyTable().FindByName(flag));
        connect(box, &QGroupBox::toggled, this, [this, row](bool on) { Commit(row, on ? 1.0 : 0.0, true); });
        return box;
    };
    lpBleach = group("Bleach", "bleach");
    AddRow("bleachstrength", static_cast<QVBoxLayout*>(lpBleach->layout()), lpBleach);
    lpVignette = group("Vignette", "vignette");
    AddRow("vignettesize", static_cast<QVBoxLayout*>(lpVignette->layout()), lpVignette);
    AddRow("vignettestrength", static_cast<QVBoxLayout*>(lpVignette->layout()), lpVignette);
    CreateTrayResetButton();
    Update();
}

void QDEffectVintagePanel::UpdateControls()
{
    QDTablePropertiesPanel::UpdateControls();
    lpBleach->setChecked(lpWrapped->GetPropertyValue(size_t(Row(*lpWrapped, "bleach"))) != 0);
    lpVignette->setChecked(lpWrapped->GetPropertyValue(size_t(Row(*lpWrapped, "vignette"))) != 0);
}

// ---- Border

QDEffectBorderPanel::QDEffectBorderPanel(QDImagePipelineElement& element) : QDTablePropertiesPanel(element) {}

void QDEffectBorderPanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    PrepareRows();
    for (const char* row : {"oval", "roundness", "aspect", "width"})
        AddRow(row);
    lpColour =
        QDMakeTableColourButton(*this, *lpWrapped, "Select Color", "red", "green", "blue", GetContainer());
    GetContainerLayout()->addWidget(lpColour);
    AddRow("inner");
    AddRow("innerwidth");
    lpInnerColour = QDMakeTableColourButton(*this, *lpWrapped, "Select Color", "innerred", "innergreen",
                                            "innerblue", GetContainer());
    lpInnerColour->setAccessibleName("Select Inner Color");
    GetContainerLayout()->addWidget(lpInnerColour);
    AddRow("shadow");
    for (QDColourButton* b : {lpColour, lpInnerColour})
        connect(b, &QDColourButton::Changed, this, [this] { PropertiesChanged(); });
    CreateTrayResetButton();
    Update();
}

void QDEffectBorderPanel::UpdateControls()
{
    QDTablePropertiesPanel::UpdateControls();
    QDShowTableColour(*lpColour, *lpWrapped, "red", "green", "blue");
    QDShowTableColour(*lpInnerColour, *lpWrapped, "innerred", "innergreen", "innerblue");
    // The corners are the rectangle's, the proportions the oval's, the inner width the inner
    // border's.
    const bool oval = lpWrapped->GetPropertyValue(size_t(Row(*lpWrapped, "oval"))) != 0;
    const bool inner = lpWrapped->GetPropertyValue(size_t(Row(*lpWrapped, "inner"))) != 0;
    GetControl("roundness")->setEnabled(!oval);
    GetControl("aspect")->setEnabled(oval);
    GetControl("innerwidth")->setEnabled(inner);
    lpInnerColour->setEnabled(inner);
}
