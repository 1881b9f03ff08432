#pragma once
// JPEG 2000: lossless or lossy, and the compression rate of the lossy mode.

#include "codecs/LImageEncodeSettings.h"
#include "ui/LImageEncodeSettingsDlg.h"

class QRadioButton;

class LImageEncodeSettingsJPEG2000Window : public QWidget
{
    Q_OBJECT
public:
    explicit LImageEncodeSettingsJPEG2000Window(QWidget* parent = nullptr);
    void GetSettings(LCODEC_JPEG2000_EncodeSettings& settings) const;
    void SetSettings(const LCODEC_JPEG2000_EncodeSettings& settings);
    // The rate means something only when lossy.
    void EnableControls();

    QRadioButton* lpLossless;
    QRadioButton* lpLossy;
    QLabel* lpRateLabel;
    QSlider* lpRate;
};

class LImageEncodeSettingsJPEG2000Dlg : public LImageEncodeSettingsDlg
{
    Q_OBJECT
public:
    LImageEncodeSettingsJPEG2000Dlg(QWidget* parent, LCODEC_JPEG2000_EncodeSettings& settings);
    LImageEncodeSettingsJPEG2000Window* GetWindow() const { return lpWindow; }

protected:
    void CmOk() override { lpWindow->GetSettings(rSettings); }

private:
    LCODEC_JPEG2000_EncodeSettings& rSettings;
    LImageEncodeSettingsJPEG2000Window* lpWindow;
};
