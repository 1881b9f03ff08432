#pragma once
// Blur: the kind of blur, and how much. The slider's ratio r gives the radius (r * 20)^2.1.

#include "effects/QDEffectBlur.h"
#include "ui/panels/QDPropertiesPanel.h"

class QButtonGroup;
class QDSlider;

class QDEffectBlurPanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectBlurPanel(QDEffectBlur& element);
    void InitDialog() override;

    QDSlider* GetSlider() const { return lpSlider; }
    QButtonGroup* GetTypeButtons() const { return lpTypes; }

protected:
    void UpdateControls() override;

private:
    void EvNotification(QDSlider& slider, bool bRegisterUndo);

    QDEffectBlur& rBlur;
    QButtonGroup* lpTypes = nullptr;
    QDSlider* lpSlider = nullptr;
};
