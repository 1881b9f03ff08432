#pragma once
// Levels: the channel, its histogram with the mapping over it, and the three input markers.

#include "effects/QDEffectLevels.h"
#include "ui/panels/QDPropertiesPanel.h"

class QComboBox;
class QDLevelsControl;
class QDLevelsSliders;

class QDEffectLevelsPanel : public QDPropertiesPanel, public QDHistogramNotifyee
{
    Q_OBJECT
public:
    explicit QDEffectLevelsPanel(QDEffectLevels& element);
    ~QDEffectLevelsPanel() override;
    void InitDialog() override;

    QComboBox* GetChannelMenu() const { return lpChannel; }
    QDLevelsControl* GetHistogram() const { return lpHistogram; }
    QDLevelsSliders* GetSliders() const { return lpSliders; }

protected:
    void UpdateControls() override;
    void EvHistogramsChanged(const QDHistograms& histograms) override;

private:
    int Channel() const;

    QDEffectLevels& rLevels;
    QComboBox* lpChannel = nullptr;
    QDLevelsControl* lpHistogram = nullptr;
    QDLevelsSliders* lpSliders = nullptr;
};
