#include "codecs/LImageEncodeSettingsDialog.h"

#include "ui/LImageEncodeSettingsAVIFDlg.h"
#include "ui/LImageEncodeSettingsBMPDlg.h"
#include "ui/LImageEncodeSettingsJPEG2000Dlg.h"
#include "ui/LImageEncodeSettingsJPEGDlg.h"
#include "ui/LImageEncodeSettingsJXLDlg.h"
#include "ui/LImageEncodeSettingsPNMDlg.h"
#include "ui/LImageEncodeSettingsWebPDlg.h"

bool LImageEncodeSettingsDialogOpen(QWidget* parent, LImageCodec codec, LImageEncodeSettings& settings)
{
    switch (codec.id)
    {
    case LImageCodecJPEG:
        return LImageEncodeSettingsJPEGDlg(parent, settings.jpeg).exec() == QDialog::Accepted;
    case LImageCodecJPEG2000:
        return LImageEncodeSettingsJPEG2000Dlg(parent, settings.jpeg2000).exec() == QDialog::Accepted;
    case LImageCodecBMP:
        return LImageEncodeSettingsBMPDlg(parent, settings.bmp).exec() == QDialog::Accepted;
    case LImageCodecPNM:
        return LImageEncodeSettingsPNMDlg(parent, settings.pnm).exec() == QDialog::Accepted;
    case LImageCodecWEBP:
        return LImageEncodeSettingsWebPDlg(parent, settings.webp).exec() == QDialog::Accepted;
    case LImageCodecAVIF:
        return LImageEncodeSettingsAVIFDlg(parent, settings.avif).exec() == QDialog::Accepted;
    case LImageCodecJXL:
        return LImageEncodeSettingsJXLDlg(parent, settings.jxl).exec() == QDialog::Accepted;
    case LImageCodecHEIC:
        return LImageEncodeSettingsHEICDlg(parent, settings.heic).exec() == QDialog::Accepted;
    default:
        return true; // nothing to ask
    }
}
