#pragma once
// Hue: the wheel, whose handle is the rotation.

#include "effects/QDEffectHue.h"
#include "ui/panels/QDPropertiesPanel.h"

class QDHueRotator;

class QDEffectHuePanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectHuePanel(QDEffectHue& element);
    void InitDialog() override;
    QDHueRotator* GetRotator() const { return lpRotator; }

protected:
    void UpdateControls() override;

private:
    QDEffectHue& rHue;
    QDHueRotator* lpRotator = nullptr;
};
