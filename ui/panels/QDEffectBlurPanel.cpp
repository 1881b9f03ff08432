#include "ui/panels/QDEffectBlurPanel.h"

#include <QButtonGroup>
#include <QRadioButton>
#include <QVBoxLayout>
#include <cmath>

#include "ui/panels/QDSlider.h"

QDEffectBlurPanel::QDEffectBlurPanel(QDEffectBlur& element) : QDPropertiesPanel(element), rBlur(element) {}

void QDEffectBlurPanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    lpTypes = new QButtonGroup(this);
    const char* names[] = {"Standard Blur", "Spin Blur", "Zoom Blur"};
    for (int i = 0; i < 3; ++i)
    {
        QRadioButton* button = new QRadioButton(names[i], GetContainer());
        lpTypes->addButton(button, i);
        GetContainerLayout()->addWidget(button);
    }
    lpSlider = new QDSlider("Less", "More", 0, 100, GetContainer());
    GetContainerLayout()->addWidget(lpSlider);
    CreateTrayResetButton();
    connect(lpTypes, &QButtonGroup::idClicked, this,
            [this](int id)
            {
                if (IsUpdating())
                    return;
                QDEffectBlurProperties p = rBlur.GetProperties();
                p.iBlurType = id;
                rBlur.SetProperties(p, true);
                PropertiesChanged();
            });
    connect(lpSlider, &QDSlider::Changed, this, [this](QDSlider* s, bool undo) { EvNotification(*s, undo); });
    Update();
}

void QDEffectBlurPanel::UpdateControls()
{
    const QDEffectBlurProperties& p = rBlur.GetProperties();
    if (QAbstractButton* b = lpTypes->button(p.iBlurType))
        b->setChecked(true);
    const double ratio = QDEffectBlur::RadiusToRatio(p.dRadius);
    lpSlider->Show(int(std::lround(ratio * 100.0)), p.dRadius);
}

void QDEffectBlurPanel::EvNotification(QDSlider& slider, bool bRegisterUndo)
{
    if (IsUpdating())
        return;
    QDEffectBlurProperties p = rBlur.GetProperties();
    p.dRadius = slider.GetValue(QDEffectBlur::RatioToRadius(slider.GetTrackBar()->GetPositionRatio()));
    rBlur.SetProperties(p, bRegisterUndo);
    PropertiesChanged();
}
