#pragma once
// JPEG XL: lossless or lossy, and the quality of the lossy mode.

#include "codecs/LImageEncodeSettings.h"
#include "ui/LImageEncodeSettingsDlg.h"

class QRadioButton;

class LImageEncodeSettingsJXLWindow : public QWidget
{
    Q_OBJECT
public:
    explicit LImageEncodeSettingsJXLWindow(QWidget* parent = nullptr);
    void GetSettings(LCODEC_JXL_EncodeSettings& settings) const;
    void SetSettings(const LCODEC_JXL_EncodeSettings& settings);
    // The quality means something only when lossy.
    void EnableControls();

    QRadioButton* lpLossless;
    QRadioButton* lpLossy;
    QLabel* lpQualityLabel;
    QSlider* lpQuality;
};

class LImageEncodeSettingsJXLDlg : public LImageEncodeSettingsDlg
{
    Q_OBJECT
public:
    LImageEncodeSettingsJXLDlg(QWidget* parent, LCODEC_JXL_EncodeSettings& settings);
    LImageEncodeSettingsJXLWindow* GetWindow() const { return lpWindow; }

protected:
    void CmOk() override { lpWindow->GetSettings(rSettings); }

private:
    LCODEC_JXL_EncodeSettings& rSettings;
    LImageEncodeSettingsJXLWindow* lpWindow;
};
