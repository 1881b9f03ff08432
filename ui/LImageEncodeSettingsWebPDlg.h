#pragma once
// WebP: the quality slider.

#include "codecs/LImageEncodeSettings.h"
#include "ui/LImageEncodeSettingsDlg.h"

class LImageEncodeSettingsWebPWindow : public QWidget
{
    Q_OBJECT
public:
    explicit LImageEncodeSettingsWebPWindow(QWidget* parent = nullptr);
    void GetSettings(LCODEC_WebP_EncodeSettings& settings) const;
    void SetSettings(const LCODEC_WebP_EncodeSettings& settings);
    void EnableControls() {}

    QSlider* lpQuality;
};

class LImageEncodeSettingsWebPDlg : public LImageEncodeSettingsDlg
{
    Q_OBJECT
public:
    LImageEncodeSettingsWebPDlg(QWidget* parent, LCODEC_WebP_EncodeSettings& settings);
    LImageEncodeSettingsWebPWindow* GetWindow() const { return lpWindow; }

protected:
    void CmOk() override { lpWindow->GetSettings(rSettings); }

private:
    LCODEC_WebP_EncodeSettings& rSettings;
    LImageEncodeSettingsWebPWindow* lpWindow;
};
