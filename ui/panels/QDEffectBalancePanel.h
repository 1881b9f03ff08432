#pragma once
// Color Balance: the group (highlights, midtones or shadows) and its three sliders, from cyan to
// red, magenta to green and yellow to blue.

#include "effects/QDEffectBalance.h"
#include "ui/panels/QDPropertiesPanel.h"

class QButtonGroup;
class QDSlider;

class QDEffectBalancePanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectBalancePanel(QDEffectBalance& element);
    void InitDialog() override;
    // Ids are the groups: 0 shadows, 1 midtones, 2 highlights.
    QButtonGroup* GetGroupButtons() const { return lpGroups; }
    QDSlider* GetSlider(int channel) const { return arSliders[channel]; }
    int GetGroup() const { return iGroup; }

protected:
    void UpdateControls() override;

private:
    QDEffectBalance& rBalance;
    QButtonGroup* lpGroups = nullptr;
    QDSlider* arSliders[3] = {};
    int iGroup = QDEffectBalanceProperties::Midtones;
};
