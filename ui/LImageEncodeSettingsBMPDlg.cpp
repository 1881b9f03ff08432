#include "ui/LImageEncodeSettingsBMPDlg.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>

LImageEncodeSettingsBMPWindow::LImageEncodeSettingsBMPWindow(QWidget* parent) : QWidget(parent)
{
    QGridLayout* grid = new QGridLayout(this);
    lpPixelFormat = new QComboBox(this);
    lpPixelFormat->setObjectName("pixelFormat");
    lpPixelFormat->addItem(QStringLiteral("24 bits (True color)"));
    lpPixelFormat->addItem(QStringLiteral("32 bits (True color with transparency)"));
    grid->addWidget(new QLabel(QStringLiteral("Pixel Format:"), this), 0, 0);
    grid->addWidget(lpPixelFormat, 0, 1);
}

void LImageEncodeSettingsBMPWindow::GetSettings(LCODEC_BMP_EncodeSettings& settings) const
{
    // The background colour is not this window's to change.
    settings.SetPixelFormat(lpPixelFormat->currentIndex());
}

void LImageEncodeSettingsBMPWindow::SetSettings(const LCODEC_BMP_EncodeSettings& settings)
{
    lpPixelFormat->setCurrentIndex(settings.PixelFormat == LCODEC_BMP_EncodeSettings::Bits32 ? 1 : 0);
}

LImageEncodeSettingsBMPDlg::LImageEncodeSettingsBMPDlg(QWidget* parent, LCODEC_BMP_EncodeSettings& settings)
    : LImageEncodeSettingsDlg(parent, "BMP Encoding Settings", "imageencodesettings_bmp"), rSettings(settings)
{
    lpWindow = new LImageEncodeSettingsBMPWindow(this);
    lpWindow->SetSettings(settings);
    SetWindow(lpWindow);
}
