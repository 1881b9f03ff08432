#include "ui/panels/QDEffectSharpenPanel.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QSpinBox>
#include <QVBoxLayout>

#include "ui/panels/QDSlider.h"

QDEffectSharpenPanel::QDEffectSharpenPanel(QDEffectSharpen& element)
    : QDPropertiesPanel(element), rSharpen(element)
{
}

void QDEffectSharpenPanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    QVBoxLayout* layout = GetContainerLayout();
    lpAmount = new QDSlider("Less", "More", 0, 100, GetContainer());
    layout->addWidget(lpAmount);
    lpAdvanced = new QCheckBox("Use Advanced Settings", GetContainer());
    layout->addWidget(lpAdvanced);

    // The ranges are the property table's.
    const QDPropertyTable table = rSharpen.GetPropertyTable();
    const QDPropertyDesc& radius = table[size_t(table.FindById(19))];
    const QDPropertyDesc& amount = table[size_t(table.FindById(62))];
    const QDPropertyDesc& threshold = table[size_t(table.FindById(61))];
    QFormLayout* form = new QFormLayout;
    lpRadius = new QDoubleSpinBox(GetContainer());
    lpRadius->setRange(radius.dMin, radius.dMax);
    lpRadius->setDecimals(1);
    lpRadius->setSingleStep(0.5);
    lpAdvancedAmount = new QDoubleSpinBox(GetContainer());
    lpAdvancedAmount->setRange(amount.dMin, amount.dMax);
    lpAdvancedAmount->setDecimals(2);
    lpAdvancedAmount->setSingleStep(0.1);
    lpThreshold = new QSpinBox(GetContainer());
    lpThreshold->setRange(int(threshold.dMin), int(threshold.dMax));
    // Typing commits on Enter or leaving the field, not per keystroke: one undo item per edit.
    for (QAbstractSpinBox* box :
         {static_cast<QAbstractSpinBox*>(lpRadius), static_cast<QAbstractSpinBox*>(lpAdvancedAmount),
          static_cast<QAbstractSpinBox*>(lpThreshold)})
        box->setKeyboardTracking(false);
    form->addRow(radius.szLabel, lpRadius);
    form->addRow(amount.szLabel, lpAdvancedAmount);
    form->addRow(threshold.szLabel, lpThreshold);
    layout->addLayout(form);
    CreateTrayResetButton();

    connect(lpAmount, &QDSlider::Changed, this,
            [this](QDSlider* s, bool undo)
            {
                QDEffectSharpenProperties p = rSharpen.GetProperties();
                p.iAmount = int32_t(s->GetPosition());
                Commit(p, undo);
            });
    connect(lpAdvanced, &QCheckBox::toggled, this,
            [this](bool on)
            {
                QDEffectSharpenProperties p = rSharpen.GetProperties();
                p.bSimple = !on;
                Commit(p, true);
            });
    connect(lpRadius, &QDoubleSpinBox::valueChanged, this,
            [this](double v)
            {
                QDEffectSharpenProperties p = rSharpen.GetProperties();
                p.dRadius = v;
                Commit(p, true);
            });
    connect(lpAdvancedAmount, &QDoubleSpinBox::valueChanged, this,
            [this](double v)
            {
                QDEffectSharpenProperties p = rSharpen.GetProperties();
                p.dAdvancedAmount = v;
                Commit(p, true);
            });
    connect(lpThreshold, &QSpinBox::valueChanged, this,
            [this](int v)
            {
                QDEffectSharpenProperties p = rSharpen.GetProperties();
                p.iThreshold = v;
                Commit(p, true);
            });
    Update();
}

void QDEffectSharpenPanel::Commit(const QDEffectSharpenProperties& p, bool bRegisterUndo)
{
    if (IsUpdating())
        return;
    rSharpen.SetProperties(p, bRegisterUndo);
    PropertiesChanged();
}

void QDEffectSharpenPanel::UpdateControls()
{
    const QDEffectSharpenProperties& p = rSharpen.GetProperties();
    lpAmount->Show(p.iAmount, p.iAmount);
    lpAdvanced->setChecked(!p.bSimple);
    lpRadius->setValue(p.dRadius);
    lpAdvancedAmount->setValue(p.dAdvancedAmount);
    lpThreshold->setValue(p.iThreshold);
    // The advanced controls follow the check box; the amount slider is the simple mode's.
    lpRadius->setEnabled(!p.bSimple);
    lpAdvancedAmount->setEnabled(!p.bSimple);
    lpThreshold->setEnabled(!p.bSimple);
    lpAmount->setEnabled(p.bSimple);
}
