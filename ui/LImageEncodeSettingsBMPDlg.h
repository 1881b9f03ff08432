#pragma once
// BMP: 24 or 32 bits a pixel.

#include "codecs/LImageEncodeSettings.h"
#include "ui/LImageEncodeSettingsDlg.h"

class QComboBox;

class LImageEncodeSettingsBMPWindow : public QWidget
{
    Q_OBJECT
public:
    explicit LImageEncodeSettingsBMPWindow(QWidget* parent = nullptr);
    void GetSettings(LCODEC_BMP_EncodeSettings& settings) const;
    void SetSettings(const LCODEC_BMP_EncodeSettings& settings);
    void EnableControls() {}

    QComboBox* lpPixelFormat;
};

class LImageEncodeSettingsBMPDlg : public LImageEncodeSettingsDlg
{
    Q_OBJECT
public:
    LImageEncodeSettingsBMPDlg(QWidget* parent, LCODEC_BMP_EncodeSettings& settings);
    LImageEncodeSettingsBMPWindow* GetWindow() const { return lpWindow; }

protected:
    void CmOk() override { lpWindow->GetSettings(rSettings); }

private:
    LCODEC_BMP_EncodeSettings& rSettings;
    LImageEncodeSettingsBMPWindow* lpWindow;
};
