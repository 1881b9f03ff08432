#include "ui/panels/QDEffectBalancePanel.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QRadioButton>
#include <QVBoxLayout>
#include <cmath>

#include "ui/panels/QDSlider.h"

QDEffectBalancePanel::QDEffectBalancePanel(QDEffectBalance& element)
    : QDPropertiesPanel(element), rBalance(element)
{
}

void QDEffectBalancePanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    lpGroups = new QButtonGroup(this);
    QHBoxLayout* row = new QHBoxLayout;
    const std::pair<const char*, int> groups[] = {{"Highlights", QDEffectBalanceProperties::Highlights},
                                                  {"Midtones", QDEffectBalanceProperties::Midtones},
                                                  {"Shadows", QDEffectBalanceProperties::Shadows}};
    for (const auto& [name, id] : groups)
    {
        QRadioButton* button = new QRadioButton(name, GetContainer());
        lpGroups->addButton(button, id);
        row->addWidget(button);
    }
    GetContainerLayout()->addLayout(row);
    const char* captions[3][2] = {{"Cyan", "Red"}, {"Magenta", "Green"}, {"Yellow", "Blue"}};
    for (int c = 0; c < 3; ++c)
    {
        arSliders[c] = new QDSlider(captions[c][0], captions[c][1], -100, 100, GetContainer());
        GetContainerLayout()->addWidget(arSliders[c]);
        connect(arSliders[c], &QDSlider::Changed, this,
                [this, c](QDSlider* s, bool undo)
                {
                    if (IsUpdating())
                        return;
                    QDEffectBalanceProperties p = rBalance.GetProperties();
                    p.arBalance[iGroup][c] = float(s->GetValue(s->GetPosition() / 100.0));
                    rBalance.SetProperties(p, undo);
                    PropertiesChanged();
                });
    }
    CreateTrayResetButton();
    // Choosing a group changes nothing in the picture: the sliders show that group.
    connect(lpGroups, &QButtonGroup::idClicked, this,
            [this](int id)
            {
                iGroup = id;
                Update();
            });
    Update();
}

void QDEffectBalancePanel::UpdateControls()
{
    if (QAbstractButton* b = lpGroups->button(iGroup))
        b->setChecked(true);
    const QDEffectBalanceProperties& p = rBalance.GetProperties();
    for (int c = 0; c < 3; ++c)
        arSliders[c]->Show(int(std::lround(p.arBalance[iGroup][c] * 100)), p.arBalance[iGroup][c]);
}
