#pragma once
// PNM: the variant, and the threshold that makes the monochrome variants black or white.

#include "codecs/LImageEncodeSettings.h"
#include "ui/LImageEncodeSettingsDlg.h"

class QComboBox;

class LImageEncodeSettingsPNMWindow : public QWidget
{
    Q_OBJECT
public:
    explicit LImageEncodeSettingsPNMWindow(QWidget* parent = nullptr);
    void GetSettings(LCODEC_PNM_EncodeSettings& settings) const;
    void SetSettings(const LCODEC_PNM_EncodeSettings& settings);
    // The threshold serves only the two monochrome variants.
    void EnableControls();

    QComboBox* lpType;
    QLabel* lpThresholdLabel;
    QSlider* lpThreshold;
};

class LImageEncodeSettingsPNMDlg : public LImageEncodeSettingsDlg
{
    Q_OBJECT
public:
    LImageEncodeSettingsPNMDlg(QWidget* parent, LCODEC_PNM_EncodeSettings& settings);
    LImageEncodeSettingsPNMWindow* GetWindow() const { return lpWindow; }

protected:
    void CmOk() override { lpWindow->GetSettings(rSettings); }

private:
    LCODEC_PNM_EncodeSettings& rSettings;
    LImageEncodeSettingsPNMWindow* lpWindow;
};
