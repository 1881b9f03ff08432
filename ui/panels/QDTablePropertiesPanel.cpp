#include "ui/panels/QDTablePropertiesPanel.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QStringList>
#include <QVBoxLayout>
#include <cmath>

#include "ui/panels/QDSlider.h"

namespace
{
// A row of radio buttons; its value is the index of the checked one.
class QDRadioRow : public QWidget
{
public:
    QDRadioRow(const QStringList& choices, QWidget* parent) : QWidget(parent), lpGroup(new QButtonGroup(this))
    {
        QVBoxLayout* layout = new QVBoxLayout(this);
        layout->setContentsMargins(0, 0, 0, 0);
        for (int i = 0; i < choices.size(); ++i)
        {
            QRadioButton* button = new QRadioButton(choices[i], this);
            button->setAccessibleName(choices[i]);
            lpGroup->addButton(button, i);
            layout->addWidget(button);
        }
    }
    QButtonGroup* lpGroup;
};
} // namespace

QDTablePropertiesPanel::QDTablePropertiesPanel(QDImagePipelineElement& element) : QDPropertiesPanel(element)
{
}

void QDTablePropertiesPanel::PrepareRows()
{
    if (lpWrapped)
        vControls.assign(lpWrapped->GetPropertyTable().size(), nullptr);
}

void QDTablePropertiesPanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    if (!lpWrapped)
        return;
    PrepareRows();
    for (size_t i = 0; i < vControls.size(); ++i)
        AddRow(i);
    if (!vControls.empty())
        CreateTrayResetButton();
    Update();
}

QWidget* QDTablePropertiesPanel::AddRow(const char* name, QBoxLayout* layout, QWidget* parent)
{
    const long row = lpWrapped ? lpWrapped->GetPropertyTable().FindByName(name) : -1;
    return row < 0 ? nullptr : AddRow(size_t(row), layout, parent);
}

QWidget* QDTablePropertiesPanel::AddRow(size_t i, QBoxLayout* layout, QWidget* parent)
{
    if (!lpWrapped || i >= vControls.size())
        return nullptr;
    if (!layout)
        layout = GetContainerLayout();
    if (!parent)
        parent = GetContainer();
    const QDPropertyDesc& row = lpWrapped->GetPropertyTable()[i];
    QWidget* control = nullptr;
    switch (row.eControl)
    {
    case QDControlSlider:
    {
        layout->addWidget(new QLabel(row.szLabel, parent));
        QDSlider* slider = new QDSlider(row.szLess, row.szMore, row.iSliderMin, row.iSliderMax, parent);
        connect(slider, &QDSlider::Changed, this,
                [this, i, row](QDSlider* s, bool undo)
                { Commit(i, s->GetValue(row.SliderToValue(s->GetPosition())), undo); });
        control = slider;
        break;
    }
    case QDControlCheck:
    {
        QCheckBox* check = new QCheckBox(row.szLabel, parent);
        connect(check, &QCheckBox::toggled, this, [this, i](bool on) { Commit(i, on ? 1.0 : 0.0, true); });
        control = check;
        break;
    }
    case QDControlNumber:
    {
        layout->addWidget(new QLabel(row.szLabel, parent));
        QDoubleSpinBox* box = new QDoubleSpinBox(parent);
        box->setRange(row.dMin, row.dMax);
        box->setDecimals(row.IsInteger() ? 0 : 2);
        box->setKeyboardTracking(false);
        connect(box, &QDoubleSpinBox::valueChanged, this, [this, i](double v) { Commit(i, v, true); });
        control = box;
        break;
    }
    case QDControlChoice:
    {
        layout->addWidget(new QLabel(row.szLabel, parent));
        QComboBox* combo = new QComboBox(parent);
        combo->addItems(QString(row.szChoices).split('|'));
        connect(combo, &QComboBox::currentIndexChanged, this,
                [this, i](int index) { Commit(i, index, true); });
        control = combo;
        break;
    }
    case QDControlRadio:
    {
        QDRadioRow* radio = new QDRadioRow(QString(row.szChoices).split('|'), parent);
        connect(radio->lpGroup, &QButtonGroup::idClicked, this, [this, i](int id) { Commit(i, id, true); });
        control = radio;
        break;
    }
    case QDControlNone:
        break;
    }
    if (control)
    {
        control->setAccessibleName(row.szLabel);
        layout->addWidget(control);
    }
    vControls[i] = control;
    return control;
}

QWidget* QDTablePropertiesPanel::GetControl(const char* name) const
{
    const long row = lpWrapped ? lpWrapped->GetPropertyTable().FindByName(name) : -1;
    return row < 0 ? nullptr : GetControl(size_t(row));
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
        else if (QDRadioRow* radio = dynamic_cast<QDRadioRow*>(control))
        {
            if (QAbstractButton* b = radio->lpGroup->button(int(std::lround(v))))
                b->setChecked(true);
        }
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
