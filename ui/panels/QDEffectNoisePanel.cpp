#include "ui/panels/QDEffectNoisePanel.h"

#include <QGroupBox>
#include <QVBoxLayout>
#include <cmath>

#include "ui/panels/QDSlider.h"

QDEffectNoisePanel::QDEffectNoisePanel(QDEffectNoise& element) : QDPropertiesPanel(element), rNoise(element)
{
}

void QDEffectNoisePanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    auto group = [this](const char* title)
    {
        QGroupBox* box = new QGroupBox(title, GetContainer());
        QVBoxLayout* inside = new QVBoxLayout(box);
        QDSlider* slider = new QDSlider("Less", "More", 0, 100, box);
        inside->addWidget(slider);
        GetContainerLayout()->addWidget(box);
        connect(slider, &QDSlider::Changed, this,
                [this](QDSlider* s, bool undo) { EvNotification(*s, undo); });
        return slider;
    };
    lpNoise = group("Noise Reduction");
    lpSmoothing = group("Smoothing");
    CreateTrayResetButton();
    Update();
}

void QDEffectNoisePanel::UpdateControls()
{
    const QDEffectNoiseProperties& p = rNoise.GetProperties();
    lpNoise->Show(int(std::lround(p.fNoise * 100.0)), p.fNoise);
    lpSmoothing->Show(int(std::lround(p.fSmoothing * 100.0)), p.fSmoothing);
}

void QDEffectNoisePanel::EvNotification(QDSlider& slider, bool bRegisterUndo)
{
    if (IsUpdating())
        return;
    QDEffectNoiseProperties p = rNoise.GetProperties();
    const float value = float(slider.GetValue(slider.GetPosition() / 100.0));
    (&slider == lpNoise ? p.fNoise : p.fSmoothing) = value;
    rNoise.SetProperties(p, bRegisterUndo);
    PropertiesChanged();
}
