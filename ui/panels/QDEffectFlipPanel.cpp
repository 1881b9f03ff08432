#include "ui/panels/QDEffectFlipPanel.h"

#include <QPushButton>
#include <QVBoxLayout>

QDEffectFlipPanel::QDEffectFlipPanel(QDEffectFlip& element) : QDPropertiesPanel(element), rFlip(element) {}

void QDEffectFlipPanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    auto button = [this](const char* text, bool QDEffectFlipProperties::*flag)
    {
        QPushButton* b = new QPushButton(text, GetContainer());
        b->setCheckable(true);
        b->setAccessibleName(text);
        GetContainerLayout()->addWidget(b);
        connect(b, &QPushButton::toggled, this,
                [this, flag](bool on)
                {
                    if (IsUpdating())
                        return;
                    QDEffectFlipProperties p = rFlip.GetProperties();
                    p.*flag = on;
                    rFlip.SetProperties(p, true);
                    PropertiesChanged();
                });
        return b;
    };
    lpHorizontal = button("Horizontal", &QDEffectFlipProperties::bHorizontal);
    lpVertical = button("Vertical", &QDEffectFlipProperties::bVertical);
    CreateTrayResetButton();
    Update();
}

void QDEffectFlipPanel::UpdateControls()
{
    const QDEffectFlipProperties& p = rFlip.GetProperties();
    lpHorizontal->setChecked(p.bHorizontal);
    lpVertical->setChecked(p.bVertical);
}
