#include "ui/QDSelectBatchOutputDlg.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QVBoxLayout>

#include <cstring>
#include <filesystem>

#include "batch/QDBatchProcess.h"
#include "batch/QDBatchState.h"
#include "codecs/LImageEncodeSettingsDialog.h"
#include "foundation/LProcessAlert.h"
#include "foundation/LUserSettings.h"
#include "ui/LFileChooser.h"

namespace
{
constexpr char kAlertTitle[] = "Quendrel Image Editor";
}

QDBatchFormatSettingsDlg::QDBatchFormatSettingsDlg(QDBatchStateData& state, QWidget* parent)
    : QDialog(parent), rState(state)
{
    setMinimumSize(200, 60);
    auto* layout = new QVBoxLayout(this);
    switch (state.codecID)
    {
    case LImageCodecBMP:
        setWindowTitle(QStringLiteral("BMP Settings"));
        lpBMPAlpha = new QCheckBox(QStringLiteral("Save Transparency"), this);
        lpBMPAlpha->setChecked(state.bBMP_Alpha);
        layout->addWidget(lpBMPAlpha);
        break;
    case LImageCodecGIF:
        setWindowTitle(QStringLiteral("GIF Settings"));
        lpGIFFast = new QCheckBox(QStringLiteral("Fast GIF Conversion"), this);
        lpGIFDither = new QCheckBox(QStringLiteral("Use Dithering"), this);
        lpGIFFast->setChecked(state.bGIF_Fast);
        lpGIFDither->setChecked(state.bGIF_Dither);
        lpGIFDither->setEnabled(!state.bGIF_Fast);
        connect(lpGIFFast, &QCheckBox::toggled, lpGIFDither,
                [this](bool fast) { lpGIFDither->setEnabled(!fast); });
        layout->addWidget(lpGIFFast);
        layout->addWidget(lpGIFDither);
        break;
    default:
    {
        setWindowTitle(QStringLiteral("JPEG Settings"));
        layout->addWidget(new QLabel(QStringLiteral("JPEG Compression Quality:"), this));
        auto* line = new QHBoxLayout();
        lpJPEGQuality = new QSlider(Qt::Horizontal, this);
        lpJPEGQuality->setRange(0, 100);
        lpJPEGQuality->setSingleStep(5);
        lpJPEGQuality->setPageStep(5);
        lpJPEGQuality->setTickInterval(5);
        lpJPEGQuality->setTickPosition(QSlider::TicksBelow);
        lpJPEGQuality->setValue(state.iJPEG_Quality);
        auto* value = new QLabel(QString::number(state.iJPEG_Quality), this);
        connect(lpJPEGQuality, &QSlider::valueChanged, value, [value](int v) { value->setNum(v); });
        line->addWidget(lpJPEGQuality, 1);
        line->addWidget(value);
        layout->addLayout(line);
        break;
    }
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { accept(); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}

void QDBatchFormatSettingsDlg::accept()
{
    if (lpBMPAlpha)
        rState.bBMP_Alpha = lpBMPAlpha->isChecked();
    if (lpGIFFast)
    {
        rState.bGIF_Fast = lpGIFFast->isChecked();
        rState.bGIF_Dither = lpGIFDither->isChecked();
    }
    if (lpJPEGQuality)
        rState.iJPEG_Quality = lpJPEGQuality->value();
    QDialog::accept();
}

QDSelectBatchOutputDlg::QDSelectBatchOutputDlg(QDBatchStateData& state, QWidget* parent)
    : QWizardPage(parent), rState(state)
{
    setObjectName("Format");
    setTitle(QStringLiteral("Step 3:"));
    setSubTitle(QStringLiteral("Select the output format and folder, then click Next."));
    auto* layout = new QVBoxLayout(this);

    auto* formatBox = new QGroupBox(QStringLiteral("Output File Format"), this);
    auto* formatLayout = new QGridLayout(formatBox);
    lpSameFormat = new QRadioButton(
        QStringLiteral("Use the same file format that was used for loading the files"), formatBox);
    lpConvert = new QRadioButton(QStringLiteral("Convert to file format:"), formatBox);
    lpCodecs = new QComboBox(formatBox);
    QDImageCodecVetoer vetoer;
    for (int id = 0; id < LImageCodecCount; ++id)
        if (vetoer.IsEnabled(LImageCodec(id), LImageIOWrite))
            lpCodecs->addItem(QString::fromUtf8(LImageCodec(id).GetName()), id);
    lpFormatOptions = new QPushButton(QStringLiteral("Format Options ..."), formatBox);
    formatLayout->addWidget(lpSameFormat, 0, 0, 1, 3);
    formatLayout->addWidget(lpConvert, 1, 0);
    formatLayout->addWidget(lpCodecs, 1, 1);
    formatLayout->addWidget(lpFormatOptions, 1, 2);
    auto* formatGroup = new QButtonGroup(this);
    formatGroup->addButton(lpSameFormat);
    formatGroup->addButton(lpConvert);
    layout->addWidget(formatBox);

    auto* folderBox = new QGroupBox(QStringLiteral("Output Folder"), this);
    auto* folderLayout = new QGridLayout(folderBox);
    lpSameFolder = new QRadioButton(
        QStringLiteral(
            "Use the same folder that the files were loaded from (Replace files if the format is the same)"),
        folderBox);
    lpUseFolder = new QRadioButton(QStringLiteral("Use folder:"), folderBox);
    lpFolder = new QLineEdit(folderBox);
    lpBrowse = new QPushButton(QStringLiteral("Browse ..."), folderBox);
    folderLayout->addWidget(lpSameFolder, 0, 0, 1, 3);
    folderLayout->addWidget(lpUseFolder, 1, 0);
    folderLayout->addWidget(lpFolder, 1, 1);
    folderLayout->addWidget(lpBrowse, 1, 2);
    auto* folderGroup = new QButtonGroup(this);
    folderGroup->addButton(lpSameFolder);
    folderGroup->addButton(lpUseFolder);
    layout->addWidget(folderBox);
    layout->addStretch(1);

    for (QRadioButton* r : {lpSameFormat, lpConvert, lpSameFolder, lpUseFolder})
        connect(r, &QRadioButton::toggled, this, [this] { EnableControls(); });
    connect(lpCodecs, &QComboBox::currentIndexChanged, this, [this] { EnableControls(); });
    connect(lpFormatOptions, &QPushButton::clicked, this, [this] { CmFormatOptions(); });
    connect(lpBrowse, &QPushButton::clicked, this, [this] { CmBrowse(); });
}

int QDSelectBatchOutputDlg::GetSelectedCodec() const
{
    return lpCodecs->currentData().toInt();
}

void QDSelectBatchOutputDlg::initializePage()
{
    rState.output.Load();
    const QDBatchOutputSettings& o = rState.output;
    // JPEG unless a format was chosen before.
    char stored[LUSERSETTING_MAX_STRING];
    const bool chosen = _LUserSettingGetString(kQDBatchSection, "SaveFileFormat", "", stored);
    const int wanted = chosen ? o.iSaveFileFormat : LImageCodecJPEG;
    int index = lpCodecs->findData(wanted);
    lpCodecs->setCurrentIndex(index >= 0 ? index : lpCodecs->findData(int(LImageCodecJPEG)));
    bool allWritable = true;
    for (BatchFileItem* item = rState.BatchFileList.GetFirst(); item; item = item->GetNextItem())
        allWritable &= item->IsValidOutputFormat();
    lpSameFormat->setEnabled(allWritable);
    (o.bSaveSameFileFormat && allWritable ? lpSameFormat : lpConvert)->setChecked(true);
    (o.bSameOutputFolder ? lpSameFolder : lpUseFolder)->setChecked(true);
    lpFolder->setText(QString::fromUtf8(o.szOutputFolder));
    EnableControls();
}

void QDSelectBatchOutputDlg::EnableControls()
{
    const int codec = GetSelectedCodec();
    lpCodecs->setEnabled(lpConvert->isChecked());
    lpFormatOptions->setEnabled(lpConvert->isChecked() && codec != LImageCodecPNG &&
                                codec != LImageCodecTIFF);
    lpFolder->setEnabled(lpUseFolder->isChecked());
    lpBrowse->setEnabled(lpUseFolder->isChecked());
}

void QDSelectBatchOutputDlg::CmFormatOptions()
{
    rState.codecID = GetSelectedCodec();
    switch (rState.codecID)
    {
    case LImageCodecBMP:
    case LImageCodecGIF:
    case LImageCodecJPEG:
    {
        QDBatchFormatSettingsDlg dialog(rState, this);
        dialog.exec();
        break;
    }
    default:
        LImageEncodeSettingsDialogOpen(this, LImageCodec(rState.codecID), rState.encodeSettings);
        break;
    }
}

void QDSelectBatchOutputDlg::CmBrowse()
{
    LFileChooserRequest request;
    request.eKind = LFileChooserFolder;
    request.szTitle = "Browse ...";
    request.szStartFolder = lpFolder->text().toStdString();
    std::vector<std::string> paths;
    if (LFileChooserRun(this, request, paths))
        lpFolder->setText(QString::fromStdString(paths.front()));
}

void QDSelectBatchOutputDlg::TakeControls()
{
    QDBatchOutputSettings& o = rState.output;
    o.bSaveSameFileFormat = lpSameFormat->isChecked();
    o.iSaveFileFormat = GetSelectedCodec();
    o.bSameOutputFolder = lpSameFolder->isChecked();
    const std::string folder = lpFolder->text().trimmed().toStdString();
    snprintf(o.szOutputFolder, sizeof(o.szOutputFolder), "%s",
             folder.size() < sizeof(o.szOutputFolder) ? folder.c_str() : "");
    snprintf(rState.szOutputFolder, sizeof(rState.szOutputFolder), "%s", o.szOutputFolder);
}

bool QDSelectBatchOutputDlg::validatePage()
{
    TakeControls();
    rState.output.Save();
    const QDBatchOutputSettings& o = rState.output;
    static const char* const ok[] = {"OK"};
    if (!o.bSameOutputFolder)
    {
        if (!o.szOutputFolder[0])
        {
            LShowAlert(LAlertKindError, kAlertTitle,
                       "Invalid output folder. Please select a folder to save to.", ok, 1);
            return false;
        }
        if (!LFile::TestFolderExists(o.szOutputFolder))
        {
            static const char* const ask[] = {"Create", "Cancel"};
            const std::string text = std::string("The folder \"") + o.szOutputFolder +
                                     "\" does not exist. Do you want to create it now?";
            if (LShowAlert(LAlertKindWarning, kAlertTitle, text.c_str(), ask, 2) != 0)
                return false;
            std::error_code ec;
            std::filesystem::create_directories(o.szOutputFolder, ec);
            if (!LFile::TestFolderExists(o.szOutputFolder))
            {
                LShowAlert(LAlertKindError, kAlertTitle, "Unable to create folder.", ok, 1);
                return false;
            }
        }
    }
    // One question covers every file: the first output that exists is enough.
    for (BatchFileItem* item = rState.BatchFileList.GetFirst(); item; item = item->GetNextItem())
    {
        std::string out;
        if (!item->IsValidOutputFormat() || !QDBatchGetOutputPath(*item, o, out) ||
            !LFile::TestFileExists(out.c_str()))
            continue;
        static const char* const ask[] = {"Yes", "No"};
        return LShowAlert(
                   LAlertKindWarning, kAlertTitle,
                   "One or more files you have selected already exist in this location. Do you want to "
                   "overwrite the existing file(s)?",
                   ask, 2) == 0;
    }
    return true;
}
