#pragma once
// Noise Reduction: how much noise to take out and how smooth the result, each 0 to 1 in
// hundredths.

#include "effects/QDEffectNoise.h"
#include "ui/panels/QDPropertiesPanel.h"

class QDSlider;

class QDEffectNoisePanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectNoisePanel(QDEffectNoise& element);
    void InitDialog() override;

    QDSlider* GetNoiseSlider() const { return lpNoise; }
    QDSlider* GetSmoothingSlider() const { return lpSmoothing; }

protected:
    void UpdateControls() override;

private:
    void EvNotification(QDSlider& slider, bool bRegisterUndo);

    QDEffectNoise& rNoise;
    QDSlider* lpNoise = nullptr;
    QDSlider* lpSmoothing = nullptr;
};
