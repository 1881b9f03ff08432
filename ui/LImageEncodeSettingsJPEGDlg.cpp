#include "ui/LImageEncodeSettingsJPEGDlg.h"

#include <QGridLayout>
#include <QSlider>

LImageEncodeSettingsJPEGWindow::LImageEncodeSettingsJPEGWindow(QWidget* parent) : QWidget(parent)
{
    QGridLayout* grid = new QGridLayout(this);
    lpQuality = LImageEncodeSettingsMakeSlider(this, grid, 0, "Quality:", 0, 100, "Low", "High");
    lpQuality->setObjectName("quality");
}

void LImageEncodeSettingsJPEGWindow::GetSettings(LCODEC_JPEG_EncodeSettings& settings) const
{
    settings.SetQuality(lpQuality->value());
}

void LImageEncodeSettingsJPEGWindow::SetSettings(const LCODEC_JPEG_EncodeSettings& settings)
{
    lpQuality->setValue(settings.iQuality);
}

LImageEncodeSettingsJPEGDlg::LImageEncodeSettingsJPEGDlg(QWidget* parent,
                                                         LCODEC_JPEG_EncodeSettings& settings)
    : LImageEncodeSettingsDlg(parent, "JPEG Compression Settings", "imageencodesettings_jpeg"),
      rSettings(settings)
{
    lpWindow = new LImageEncodeSettingsJPEGWindow(this);
    lpWindow->SetSettings(settings);
    SetWindow(lpWindow);
}
