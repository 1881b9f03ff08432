#include "ui/panels/QDEffectTintPanel.h"

#include <QVBoxLayout>
#include <cmath>

#include "ui/panels/QDHLSSelector.h"
#include "ui/panels/QDSlider.h"

QDEffectTintPanel::QDEffectTintPanel(QDEffectTint& element) : QDPropertiesPanel(element), rTint(element) {}

void QDEffectTintPanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    lpIntensity = new QDSlider("Less", "More", 0, 100, GetContainer());
    GetContainerLayout()->addWidget(lpIntensity);
    lpColour = new QDHLSSelector(GetContainer());
    GetContainerLayout()->addWidget(lpColour);
    CreateTrayResetButton();
    connect(lpIntensity, &QDSlider::Changed, this,
            [this](QDSlider* s, bool undo)
            {
                QDEffectTintProperties p = rTint.GetProperties();
                p.dIntensity = s->GetValue(s->GetPosition() / 100.0);
                Commit(p, undo);
            });
    connect(lpColour, &QDHLSSelector::Changed, this,
            [this](bool undo)
            {
                QDEffectTintProperties p = rTint.GetProperties();
                p.dHue = lpColour->GetHue();
                p.dLightness = lpColour->GetLightness();
                p.dSaturation = lpColour->GetSaturation();
                Commit(p, undo);
            });
    Update();
}

void QDEffectTintPanel::Commit(const QDEffectTintProperties& p, bool bRegisterUndo)
{
    if (IsUpdating())
        return;
    rTint.SetProperties(p, bRegisterUndo);
    PropertiesChanged();
}

void QDEffectTintPanel::UpdateControls()
{
    const QDEffectTintProperties& p = rTint.GetProperties();
    lpIntensity->Show(int(std::lround(p.dIntensity * 100)), p.dIntensity);
    lpColour->SetHLS(p.dHue, p.dLightness, p.dSaturation);
}
