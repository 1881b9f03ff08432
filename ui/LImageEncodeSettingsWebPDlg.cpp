#include "ui/LImageEncodeSettingsWebPDlg.h"

#include <QGridLayout>
#include <QSlider>

LImageEncodeSettingsWebPWindow::LImageEncodeSettingsWebPWindow(QWidget* parent) : QWidget(parent)
{
    QGridLayout* grid = new QGridLayout(this);
    lpQuality = LImageEncodeSettingsMakeSlider(this, grid, 0, "Quality:", 1, 100);
    lpQuality->setObjectName("quality");
}

void LImageEncodeSettingsWebPWindow::GetSettings(LCODEC_WebP_EncodeSettings& settings) const
{
    settings.iQuality = lpQuality->value();
}

void LImageEncodeSettingsWebPWindow::SetSettings(const LCODEC_WebP_EncodeSettings& settings)
{
    lpQuality->setValue(settings.iQuality);
}

LImageEncodeSettingsWebPDlg::LImageEncodeSettingsWebPDlg(QWidget* parent,
                                                         LCODEC_WebP_EncodeSettings& settings)
    : LImageEncodeSettingsDlg(parent, "WebP Compression Settings", "imageencodesettings_webp"),
      rSettings(settings)
{
    lpWindow = new LImageEncodeSettingsWebPWindow(this);
    lpWindow->SetSettings(settings);
    SetWindow(lpWindow);
}
