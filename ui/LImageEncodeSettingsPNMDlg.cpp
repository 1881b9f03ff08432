#include "ui/LImageEncodeSettingsPNMDlg.h"

#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QSlider>

LImageEncodeSettingsPNMWindow::LImageEncodeSettingsPNMWindow(QWidget* parent) : QWidget(parent)
{
    QGridLayout* grid = new QGridLayout(this);
    lpType = new QComboBox(this);
    lpType->setObjectName("type");
    // "Greyscale" and "Grayscale" are spelled apart on purpose.
    for (const char* name : {"Monochrome Plain", "Greyscale Plain", "RGB Plain", "Monochrome Binary",
                             "Grayscale Binary", "RGB Binary"})
        lpType->addItem(QString::fromUtf8(name));
    grid->addWidget(new QLabel(QStringLiteral("PNM Format:"), this), 0, 0);
    grid->addWidget(lpType, 0, 1);
    lpThreshold = LImageEncodeSettingsMakeSlider(this, grid, 1, "Binary threshold:", 0, 255, nullptr, nullptr,
                                                 &lpThresholdLabel);
    lpThreshold->setObjectName("threshold");
    connect(lpType, &QComboBox::currentIndexChanged, this, [this] { EnableControls(); });
    EnableControls();
}

void LImageEncodeSettingsPNMWindow::GetSettings(LCODEC_PNM_EncodeSettings& settings) const
{
    settings.iType = lpType->currentIndex();
    settings.iBinThreshold = lpThreshold->value();
}

void LImageEncodeSettingsPNMWindow::SetSettings(const LCODEC_PNM_EncodeSettings& settings)
{
    lpType->setCurrentIndex(settings.iType >= 0 && settings.iType < lpType->count() ? settings.iType : 5);
    lpThreshold->setValue(settings.iBinThreshold);
    EnableControls();
}

void LImageEncodeSettingsPNMWindow::EnableControls()
{
    const int type = lpType->currentIndex();
    const bool mono = type == 0 || type == 3;
    lpThreshold->setEnabled(mono);
    lpThresholdLabel->setEnabled(mono);
}

LImageEncodeSettingsPNMDlg::LImageEncodeSettingsPNMDlg(QWidget* parent, LCODEC_PNM_EncodeSettings& settings)
    : LImageEncodeSettingsDlg(parent, "PNM Encoding Settings", "imageencodesettings_pnm"), rSettings(settings)
{
    lpWindow = new LImageEncodeSettingsPNMWindow(this);
    lpWindow->SetSettings(settings);
    SetWindow(lpWindow);
}
