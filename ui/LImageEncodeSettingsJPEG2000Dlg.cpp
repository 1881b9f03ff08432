#include "ui/LImageEncodeSettingsJPEG2000Dlg.h"

#include <QGridLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSlider>

LImageEncodeSettingsJPEG2000Window::LImageEncodeSettingsJPEG2000Window(QWidget* parent) : QWidget(parent)
{
    QGridLayout* grid = new QGridLayout(this);
    lpLossless = new QRadioButton(QStringLiteral("Lossless compression"), this);
    lpLossy = new QRadioButton(QStringLiteral("Lossy compression"), this);
    lpLossless->setObjectName("lossless");
    lpLossy->setObjectName("lossy");
    grid->addWidget(lpLossless, 0, 0, 1, 2);
    grid->addWidget(lpLossy, 1, 0, 1, 2);
    lpRate = LImageEncodeSettingsMakeSlider(this, grid, 2, "Compression Rate:", 0, 100, nullptr, nullptr,
                                            &lpRateLabel);
    lpRate->setObjectName("rate");
    connect(lpLossy, &QRadioButton::toggled, this, [this] { EnableControls(); });
    lpLossy->setChecked(true);
    EnableControls();
}

void LImageEncodeSettingsJPEG2000Window::GetSettings(LCODEC_JPEG2000_EncodeSettings& settings) const
{
    settings.iMode = lpLossy->isChecked() ? 1 : 0;
    const int v = lpRate->value();
    settings.iQuality = v < 0 || v > 100 ? 90 : v;
}

void LImageEncodeSettingsJPEG2000Window::SetSettings(const LCODEC_JPEG2000_EncodeSettings& settings)
{
    (settings.iMode == 0 ? lpLossless : lpLossy)->setChecked(true);
    lpRate->setValue(settings.iQuality < 0 || settings.iQuality > 100 ? 90 : settings.iQuality);
    EnableControls();
}

void LImageEncodeSettingsJPEG2000Window::EnableControls()
{
    const bool lossy = lpLossy->isChecked();
    lpRate->setEnabled(lossy);
    lpRateLabel->setEnabled(lossy);
}

LImageEncodeSettingsJPEG2000Dlg::LImageEncodeSettingsJPEG2000Dlg(QWidget* parent,
                                                                 LCODEC_JPEG2000_EncodeSettings& settings)
    : LImageEncodeSettingsDlg(parent, "JPEG 2000 Compression Settings", "imageencodesettings_jpeg2000"),
      rSettings(settings)
{
    lpWindow = new LImageEncodeSettingsJPEG2000Window(this);
    lpWindow->SetSettings(settings);
    SetWindow(lpWindow);
}
