#include "ui/panels/QDEffectHuePanel.h"

#include <QVBoxLayout>

#include "ui/panels/QDHueRotator.h"

QDEffectHuePanel::QDEffectHuePanel(QDEffectHue& element) : QDPropertiesPanel(element), rHue(element) {}

void QDEffectHuePanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    lpRotator = new QDHueRotator(GetContainer());
    GetContainerLayout()->addWidget(lpRotator);
    CreateTrayResetButton();
    connect(lpRotator, &QDHueRotator::Changed, this,
            [this](double turns, bool undo)
            {
                if (IsUpdating())
                    return;
                rHue.SetProperties(turns, undo);
                PropertiesChanged();
            });
    Update();
}

void QDEffectHuePanel::UpdateControls()
{
    lpRotator->SetRotation(rHue.GetProperties());
}
