#pragma once
// AVIF and HEIC: the quality slider, and for AVIF the encoder's speed.

#include "codecs/LImageEncodeSettings.h"
#include "ui/LImageEncodeSettingsDlg.h"

class LImageEncodeSettingsAVIFWindow : public QWidget
{
    Q_OBJECT
public:
    explicit LImageEncodeSettingsAVIFWindow(QWidget* parent = nullptr);
    void GetSettings(LCODEC_AVIF_EncodeSettings& settings) const;
    void SetSettings(const LCODEC_AVIF_EncodeSettings& settings);
    void EnableControls() {}

    QSlider* lpQuality;
    QSlider* lpSpeed;
};

class LImageEncodeSettingsAVIFDlg : public LImageEncodeSettingsDlg
{
    Q_OBJECT
public:
    LImageEncodeSettingsAVIFDlg(QWidget* parent, LCODEC_AVIF_EncodeSettings& settings);
    LImageEncodeSettingsAVIFWindow* GetWindow() const { return lpWindow; }

protected:
    void CmOk() override { lpWindow->GetSettings(rSettings); }

private:
    LCODEC_AVIF_EncodeSettings& rSettings;
    LImageEncodeSettingsAVIFWindow* lpWindow;
};

class LImageEncodeSettingsHEICWindow : public QWidget
{
    Q_OBJECT
public:
    explicit LImageEncodeSettingsHEICWindow(QWidget* parent = nullptr);
    void GetSettings(LCODEC_HEIC_EncodeSettings& settings) const;
    void SetSettings(const LCODEC_HEIC_EncodeSettings& settings);
    void EnableControls() {}

    QSlider* lpQuality;
};

class LImageEncodeSettingsHEICDlg : public LImageEncodeSettingsDlg
{
    Q_OBJECT
public:
    LImageEncodeSettingsHEICDlg(QWidget* parent, LCODEC_HEIC_EncodeSettings& settings);
    LImageEncodeSettingsHEICWindow* GetWindow() const { return lpWindow; }

protected:
    void CmOk() override { lpWindow->GetSettings(rSettings); }

private:
    LCODEC_HEIC_EncodeSettings& rSettings;
    LImageEncodeSettingsHEICWindow* lpWindow;
};
