#pragma once
// Tint: how much, and the colour as hue, saturation and lightness.

#include "effects/QDEffectTint.h"
#include "ui/panels/QDPropertiesPanel.h"

class QDHLSSelector;
class QDSlider;

class QDEffectTintPanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectTintPanel(QDEffectTint& element);
    void InitDialog() override;
    QDSlider* GetSlider() const { return lpIntensity; }
    QDHLSSelector* GetSelector() const { return lpColour; }

protected:
    void UpdateControls() override;

private:
    void Commit(const QDEffectTintProperties& p, bool bRegisterUndo);

    QDEffectTint& rTint;
    QDSlider* lpIntensity = nullptr;
    QDHLSSelector* lpColour = nullptr;
};
