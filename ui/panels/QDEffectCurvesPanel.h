#pragma once
// Color Curves: the channel, and its curve over its histogram.

#include "effects/QDEffectCurves.h"
#include "ui/panels/QDPropertiesPanel.h"

class QComboBox;
class QDCurvesControl;

class QDEffectCurvesPanel : public QDPropertiesPanel, public QDHistogramNotifyee
{
    Q_OBJECT
public:
    explicit QDEffectCurvesPanel(QDEffectCurves& element);
    ~QDEffectCurvesPanel() override;
    void InitDialog() override;

    QComboBox* GetChannelMenu() const { return lpChannel; }
    QDCurvesControl* GetCurve() const { return lpCurve; }

protected:
    void UpdateControls() override;
    void EvHistogramsChanged(const QDHistograms& histograms) override;

private:
    int Channel() const;

    QDEffectCurves& rCurves;
    QComboBox* lpChannel = nullptr;
    QDCurvesControl* lpCurve = nullptr;
};
