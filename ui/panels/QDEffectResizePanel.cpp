#include "ui/panels/QDEffectResizePanel.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSpinBox>
#include <QVBoxLayout>

// ---- Resize

QDEffectResizePanel::QDEffectResizePanel(QDEffectResize& element)
    : QDPropertiesPanel(element), rResize(element)
{
}

QDEffectResize::ResizeUnitType QDEffectResizePanel::Unit() const
{
    return QDEffectResize::ResizeUnitType(std::max(lpUnit->currentIndex(), 0));
}

void QDEffectResizePanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    QVBoxLayout* layout = GetContainerLayout();
    lpUnit = new QComboBox(GetContainer());
    lpUnit->addItems({"Pixels", "Percentage", "Inches", "Millimeters"});
    lpUnit->setAccessibleName("Unit");
    layout->addWidget(lpUnit);
    lpKeepAspect = new QCheckBox("Keep Aspect Ratio", GetContainer());
    layout->addWidget(lpKeepAspect);
    QFormLayout* form = new QFormLayout;
    auto field = [&](const char* label)
    {
        QDoubleSpinBox* box = new QDoubleSpinBox(GetContainer());
        box->setRange(0, 100000);
        box->setKeyboardTracking(false);
        box->setAccessibleName(label);
        form->addRow(label, box);
        return box;
    };
    lpWidth = field("Width:");
    lpHeight = field("Height:");
    lpPPI = new QSpinBox(GetContainer());
    lpPPI->setRange(1, 100000);
    lpPPI->setKeyboardTracking(false);
    lpPPI->setAccessibleName("Pixels Per Inch:");
    form->addRow("Pixels Per Inch:", lpPPI);
    layout->addLayout(form);
    CreateTrayResetButton();

    connect(lpUnit, &QComboBox::currentIndexChanged, this, [this] { Update(); });
    connect(lpKeepAspect, &QCheckBox::toggled, this,
            [this](bool on)
            {
                if (IsUpdating())
                    return;
                rResize.SetKeepAspect(on, true);
                PropertiesChanged();
            });
    connect(lpWidth, &QDoubleSpinBox::valueChanged, this,
            [this](double v)
            {
                if (IsUpdating())
                    return;
                rResize.SetResizeWidth(v, Unit(), true);
                PropertiesChanged();
            });
    connect(lpHeight, &QDoubleSpinBox::valueChanged, this,
            [this](double v)
            {
                if (IsUpdating())
                    return;
                rResize.SetResizeHeight(v, Unit(), true);
                PropertiesChanged();
            });
    connect(lpPPI, &QSpinBox::valueChanged, this,
            [this](int v)
            {
                if (IsUpdating())
                    return;
                rResize.SetPPI(unsigned(v));
                PropertiesChanged();
            });
    Update();
}

void QDEffectResizePanel::EvReset()
{
    rResize.Reset();
    PropertiesChanged();
}

void QDEffectResizePanel::UpdateControls()
{
    const QDEffectResize::ResizeUnitType unit = Unit();
    const int decimals = unit == QDEffectResize::Pixels ? 0 : 2;
    for (QDoubleSpinBox* box : {lpWidth, lpHeight})
        box->setDecimals(decimals);
    lpWidth->setValue(rResize.GetResizeWidth(unit));
    lpHeight->setValue(rResize.GetResizeHeight(unit));
    lpKeepAspect->setChecked(rResize.GetProperties().bKeepAspect);
    lpPPI->setValue(int(rResize.GetPPI()));
}

// ---- Resize Simple

QDEffectResizeSimplePanel::QDEffectResizeSimplePanel(QDEffectResizeSimple& element)
    : QDPropertiesPanel(element), rResize(element)
{
}

void QDEffectResizeSimplePanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    QVBoxLayout* layout = GetContainerLayout();
    QButtonGroup* by = new QButtonGroup(this);
    lpByPixels = new QRadioButton("Resize by pixels:", GetContainer());
    by->addButton(lpByPixels);
    layout->addWidget(lpByPixels);
    QFormLayout* form = new QFormLayout;
    auto field = [&](const char* label)
    {
        QSpinBox* box = new QSpinBox(GetContainer());
        box->setRange(1, 100000);
        box->setKeyboardTracking(false);
        box->setAccessibleName(label);
        form->addRow(label, box);
        return box;
    };
    lpWidth = field("Width:");
    lpHeight = field("Height:");
    layout->addLayout(form);
    QButtonGroup* fit = new QButtonGroup(this);
    for (QRadioButton** b : {&lpKeepAspect, &lpAutoWidth, &lpAutoHeight})
    {
        const char* text = b == &lpKeepAspect  ? "Keep Aspect Ratio"
                           : b == &lpAutoWidth ? "Auto Width"
                                               : "Auto Height";
        *b = new QRadioButton(text, GetContainer());
        (*b)->setAccessibleName(text);
        fit->addButton(*b);
        layout->addWidget(*b);
    }
    lpByPercent = new QRadioButton("Resize by percent:", GetContainer());
    by->addButton(lpByPercent);
    layout->addWidget(lpByPercent);
    lpPercent = new QDoubleSpinBox(GetContainer());
    lpPercent->setRange(1, 1000);
    lpPercent->setDecimals(1);
    lpPercent->setSuffix("%");
    lpPercent->setKeyboardTracking(false);
    lpPercent->setAccessibleName("%");
    layout->addWidget(lpPercent);
    CreateTrayResetButton();

    for (QRadioButton* b : {lpByPixels, lpByPercent, lpKeepAspect, lpAutoWidth, lpAutoHeight})
        connect(b, &QRadioButton::clicked, this, [this] { Commit(); });
    connect(lpWidth, &QSpinBox::valueChanged, this, [this] { Commit(); });
    connect(lpHeight, &QSpinBox::valueChanged, this, [this] { Commit(); });
    connect(lpPercent, &QDoubleSpinBox::valueChanged, this, [this] { Commit(); });
    Update();
}

int32_t QDEffectResizeSimplePanel::ChosenType() const
{
    if (lpByPercent->isChecked())
        return QDEffectResizeSimple::Percent;
    if (lpAutoHeight->isChecked())
        return QDEffectResizeSimple::AutoHeight;
    if (lpAutoWidth->isChecked())
        return QDEffectResizeSimple::AutoWidth;
    return QDEffectResizeSimple::Fit;
}

void QDEffectResizeSimplePanel::Commit()
{
    if (IsUpdating())
        return;
    QDEffectResizeSimpleProperties p = rResize.GetProperties();
    p.iResizeType = ChosenType();
    p.iResizeWidth = lpWidth->value();
    p.iResizeHeight = lpHeight->value();
    p.fPercent = float(lpPercent->value() / 100.0);
    rResize.SetProperties(p, true);
    PropertiesChanged();
}

void QDEffectResizeSimplePanel::UpdateControls()
{
    const QDEffectResizeSimpleProperties& p = rResize.GetProperties();
    const bool percent = p.iResizeType == QDEffectResizeSimple::Percent;
    (percent ? lpByPercent : lpByPixels)->setChecked(true);
    lpKeepAspect->setChecked(p.iResizeType == QDEffectResizeSimple::Fit || percent);
    lpAutoWidth->setChecked(p.iResizeType == QDEffectResizeSimple::AutoWidth);
    lpAutoHeight->setChecked(p.iResizeType == QDEffectResizeSimple::AutoHeight);
    lpWidth->setValue(p.iResizeWidth);
    lpHeight->setValue(p.iResizeHeight);
    lpPercent->setValue(double(p.fPercent) * 100.0);
    // Auto sides follow the picture, so their field has nothing to say.
    lpWidth->setEnabled(!percent && p.iResizeType != QDEffectResizeSimple::AutoWidth);
    lpHeight->setEnabled(!percent && p.iResizeType != QDEffectResizeSimple::AutoHeight);
    for (QWidget* w : {static_cast<QWidget*>(lpKeepAspect), static_cast<QWidget*>(lpAutoWidth),
                       static_cast<QWidget*>(lpAutoHeight)})
        w->setEnabled(!percent);
    lpPercent->setEnabled(percent);
}
