#include "ui/LImageEncodeSettingsAVIFDlg.h"

#include <algorithm>

#include <QGridLayout>
#include <QSlider>

LImageEncodeSettingsAVIFWindow::LImageEncodeSettingsAVIFWindow(QWidget* parent) : QWidget(parent)
{
    QGridLayout* grid = new QGridLayout(this);
    lpQuality = LImageEncodeSettingsMakeSlider(this, grid, 0, "Quality:", 0, 100, "Low", "Lossless");
    lpQuality->setObjectName("quality");
    lpSpeed = LImageEncodeSettingsMakeSlider(this, grid, 1, "Speed:", 0, 10, "Smaller", "Faster");
    lpSpeed->setObjectName("speed");
}

void LImageEncodeSettingsAVIFWindow::GetSettings(LCODEC_AVIF_EncodeSettings& settings) const
{
    settings.iQuality = lpQuality->value();
    settings.iSpeed = lpSpeed->value();
}

void LImageEncodeSettingsAVIFWindow::SetSettings(const LCODEC_AVIF_EncodeSettings& settings)
{
    lpQuality->setValue(std::clamp(settings.iQuality, 0, 100));
    lpSpeed->setValue(std::clamp(settings.iSpeed, 0, 10));
}

LImageEncodeSettingsAVIFDlg::LImageEncodeSettingsAVIFDlg(QWidget* parent,
                                                         LCODEC_AVIF_EncodeSettings& settings)
    : LImageEncodeSettingsDlg(parent, "AVIF Compression Settings", "imageencodesettings_avif"),
      rSettings(settings)
{
    lpWindow = new LImageEncodeSettingsAVIFWindow(this);
    lpWindow->SetSettings(settings);
    SetWindow(lpWindow);
}

LImageEncodeSettingsHEICWindow::LImageEncodeSettingsHEICWindow(QWidget* parent) : QWidget(parent)
{
    QGridLayout* grid = new QGridLayout(this);
    lpQuality = LImageEncodeSettingsMakeSlider(this, grid, 0, "Quality:", 0, 100, "Low", "High");
    lpQuality->setObjectName("quality");
}

void LImageEncodeSettingsHEICWindow::GetSettings(LCODEC_HEIC_EncodeSettings& settings) const
{
    settings.iQuality = lpQuality->value();
}

void LImageEncodeSettingsHEICWindow::SetSettings(const LCODEC_HEIC_EncodeSettings& settings)
{
    lpQuality->setValue(std::clamp(settings.iQuality, 0, 100));
}

LImageEncodeSettingsHEICDlg::LImageEncodeSettingsHEICDlg(QWidget* parent,
                                                         LCODEC_HEIC_EncodeSettings& settings)
    : LImageEncodeSettingsDlg(parent, "HEIC Compression Settings", "imageencodesettings_heic"),
      rSettings(settings)
{
    lpWindow = new LImageEncodeSettingsHEICWindow(this);
    lpWindow->SetSettings(settings);
    SetWindow(lpWindow);
}
