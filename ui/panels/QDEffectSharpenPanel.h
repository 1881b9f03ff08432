#pragma once
// Sharpen and Focus Fix: the amount, or with "Use Advanced Settings" a radius, an amount and a
// threshold of their own.

#include "effects/QDEffectSharpen.h"
#include "ui/panels/QDPropertiesPanel.h"

class QCheckBox;
class QDoubleSpinBox;
class QSpinBox;
class QDSlider;

class QDEffectSharpenPanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectSharpenPanel(QDEffectSharpen& element);
    void InitDialog() override;

    QDSlider* GetSlider() const { return lpAmount; }
    QCheckBox* GetAdvancedCheck() const { return lpAdvanced; }

protected:
    void UpdateControls() override;

private:
    void Commit(const QDEffectSharpenProperties& p, bool bRegisterUndo);

    QDEffectSharpen& rSharpen;
    QDSlider* lpAmount = nullptr;
    QCheckBox* lpAdvanced = nullptr;
    QDoubleSpinBox* lpRadius = nullptr;
    QDoubleSpinBox* lpAdvancedAmount = nullptr;
    QSpinBox* lpThreshold = nullptr;
};
