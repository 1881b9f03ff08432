#include "ui/panels/QDTablePropertiesPanel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QStringList>
#include <QVBoxLayout>
#include <cmath>

#include "ui/panels/QDSlider.h"

QDTablePropertiesPanel::QDTablePropertiesPanel(QDImagePipelineElement& element) : QDPropertiesPanel(element)
{
}

void QDTablePropertiesPanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    if (!lpWrapped)
        return;
    const QDPropertyTable table = lpWrapped->GetPropertyTable();
    vControls.assign(table.size(), nullptr);
    QVBoxLayout* layout = GetContainerLayout();
    for (size_t i = 0; i < table.size(); ++i)
    {
        const QDPropertyDesc& row = table[i];
        switch (row.eControl)
        {
        case QDControlSlider:
        {
            layout->addWidget(new QLabel(row.szLabel, GetContainer()));
            QDSlider* slider =
                new QDSlider(row.szLess, row.szMore, row.iSliderMin, row.iSliderMax, GetContainer());
            connect(slider, &QDSlider::Changed, this,
                    [this, i, row](QDSlider* s, bool undo)
                    { Commit(i, s->GetValue(row.SliderToValue(s->GetPosition())), undo); });
            vControls[i] = slider;
            break;
        }
        case QDControlCheck:
        {
            QCheckBox* check = new QCheckBox(row.szLabel, GetContainer());
            connect(check, &QCheckBox::toggled, this,
                    [this, i](bool on) { Commit(i, on ? 1.0 : 0.0, true); });
            vControls[i] = check;
            break;
        }
        case QDControlNumber:
        {
            layout->addWidget(new QLabel(row.szLabel, GetContainer()));
            QDoubleSpinBox* box = new QDoubleSpinBox(GetContainer());
            box->setRange(row.dMin, row.dMax);
            box->setDecimals(row.IsInteger() ? 0 : 2);
            box->setKeyboardTracking(false);
            connect(box, &QDoubleSpinBox::valueChanged, this, [this, i](double v) { Commit(i, v, true); });
            vControls[i] = box;
            break;
        }
        case QDControlChoice:
        {
            layout->addWidget(new QLabel(row.szLabel, GetContainer()));
            QComboBox* combo = new QComboBox(GetContainer());
            combo->addItems(QString(row.szChoices).split('|'));
            connect(combo, &QComboBox::currentIndexChanged, this,
                    [this, i](int index) { Commit(i, index, true); });
            vControls[i] = combo;
            break;
        }
        case QDControlNone:
            break;
        }
        if (vControls[i])
        {
            vControls[i]->setAccessibleName(row.szLabel);
            layout->addWidget(vControls[i]);
        }
    }
    if (table.size() > 0)
        CreateTrayResetButton();
    Update();
}

void QDTablePropertiesPanel::UpdateControls()
{
    if (!lpWrapped)
        return;
    const QDPropertyTable table = lpWrapped->GetPropertyTable();
    for (size_t i = 0; i < vControls.size(); ++i)
    {
        const double v = lpWrapped->GetPropertyValue(i);
        QWidget* control = vControls[i];
        if (QDSlider* slider = qobject_cast<QDSlider*>(control))
            slider->Show(table[i].ValueToSlider(v), v);
        else if (QCheckBox* check = qobject_cast<QCheckBox*>(control))
            check->setChecked(v != 0.0);
        else if (QDoubleSpinBox* box = qobject_cast<QDoubleSpinBox*>(control))
            box->setValue(v);
        else if (QComboBox* combo = qobject_cast<QComboBox*>(control))
            combo->setCurrentIndex(int(std::lround(v)));
    }
}

void QDTablePropertiesPanel::Commit(size_t row, double value, bool bRegisterUndo)
{
    if (IsUpdating() || !lpWrapped)
        return;
    lpWrapped->SetPropertyValue(row, value, bRegisterUndo);
    PropertiesChanged();
}

QDPropertiesPanel* QDMakeTablePanel(QDImagePipelineElement* element)
{
    if (!element)
        return nullptr;
    QDTablePropertiesPanel* panel = new QDTablePropertiesPanel(*element);
    panel->InitDialog();
    return panel;
}
