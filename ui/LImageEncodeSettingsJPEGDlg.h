#pragma once
// JPEG: the quality slider.

#include "codecs/LImageEncodeSettings.h"
#include "ui/LImageEncodeSettingsDlg.h"

class LImageEncodeSettingsJPEGWindow : public QWidget
{
    Q_OBJECT
public:
    explicit LImageEncodeSettingsJPEGWindow(QWidget* parent = nullptr);
    void GetSettings(LCODEC_JPEG_EncodeSettings& settings) const;
    void SetSettings(const LCODEC_JPEG_EncodeSettings& settings);
    void EnableControls() {}

    QSlider* lpQuality;
};

class LImageEncodeSettingsJPEGDlg : public LImageEncodeSettingsDlg
{
    Q_OBJECT
public:
    LImageEncodeSettingsJPEGDlg(QWidget* parent, LCODEC_JPEG_EncodeSettings& settings);
    LImageEncodeSettingsJPEGWindow* GetWindow() const { return lpWindow; }

protected:
    void CmOk() override { lpWindow->GetSettings(rSettings); }

private:
    LCODEC_JPEG_EncodeSettings& rSettings;
    LImageEncodeSettingsJPEGWindow* lpWindow;
};
