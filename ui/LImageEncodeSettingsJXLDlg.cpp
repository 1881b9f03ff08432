#include "ui/LImageEncodeSettingsJXLDlg.h"

#include <algorithm>

#include <QGridLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSlider>

LImageEncodeSettingsJXLWindow::LImageEncodeSettingsJXLWindow(QWidget* parent) : QWidget(parent)
{
    QGridLayout* grid = new QGridLayout(this);
    lpLossless = new QRadioButton(QStringLiteral("Lossless compression"), this);
    lpLossy = new QRadioButton(QStringLiteral("Lossy compression"), this);
    lpLossless->setObjectName("lossless");
    lpLossy->setObjectName("lossy");
    grid->addWidget(lpLossless, 0, 0, 1, 2);
    grid->addWidget(lpLossy, 1, 0, 1, 2);
    lpQuality =
        LImageEncodeSettingsMakeSlider(this, grid, 2, "Quality:", 0, 99, "Low", "High", &lpQualityLabel);
    lpQuality->setObjectName("quality");
    connect(lpLossy, &QRadioButton::toggled, this, [this] { EnableControls(); });
    lpLossy->setChecked(true);
    EnableControls();
}

void LImageEncodeSettingsJXLWindow::GetSettings(LCODEC_JXL_EncodeSettings& settings) const
{
    settings.iMode = lpLossy->isChecked() ? 1 : 0;
    settings.iQuality = lpQuality->value();
}

void LImageEncodeSettingsJXLWindow::SetSettings(const LCODEC_JXL_EncodeSettings& settings)
{
    (settings.iMode == 0 ? lpLossless : lpLossy)->setChecked(true);
    lpQuality->setValue(std::clamp(settings.iQuality, 0, 99));
    EnableControls();
}

void LImageEncodeSettingsJXLWindow::EnableControls()
{
    const bool lossy = lpLossy->isChecked();
    lpQuality->setEnabled(lossy);
    lpQualityLabel->setEnabled(lossy);
}

LImageEncodeSettingsJXLDlg::LImageEncodeSettingsJXLDlg(QWidget* parent, LCODEC_JXL_EncodeSettings& settings)
    : LImageEncodeSettingsDlg(parent, "JPEG XL Compression Settings", "imageencodesettings_jxl"),
      rSettings(settings)
{
    lpWindow = new LImageEncodeSettingsJXLWindow(this);
    lpWindow->SetSettings(settings);
    SetWindow(lpWindow);
}
