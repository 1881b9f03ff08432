#pragma once
// Step 3 of the batch editor: the output format and folder, with the checks made before the run.

#include <QDialog>
#include <QWizardPage>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class QRadioButton;
class QSlider;
class QDBatchStateData;

// The options of the format converted to: "BMP Settings", "GIF Settings" or "JPEG Settings".
class QDBatchFormatSettingsDlg : public QDialog
{
    Q_OBJECT
public:
    QDBatchFormatSettingsDlg(QDBatchStateData& state, QWidget* parent = nullptr);
    void accept() override;

    QCheckBox* lpBMPAlpha = nullptr;
    QCheckBox* lpGIFFast = nullptr;
    QCheckBox* lpGIFDither = nullptr;
    QSlider* lpJPEGQuality = nullptr;

private:
    QDBatchStateData& rState;
};

class QDSelectBatchOutputDlg : public QWizardPage
{
    Q_OBJECT
public:
    QDSelectBatchOutputDlg(QDBatchStateData& state, QWidget* parent = nullptr);

    void initializePage() override;
    // CmOk: saves the settings, checks the folder and asks before replacing files.
    bool validatePage() override;
    void CmFormatOptions();
    void CmBrowse();
    // The codec the list shows.
    int GetSelectedCodec() const;

    QRadioButton* lpSameFormat;
    QRadioButton* lpConvert;
    QComboBox* lpCodecs;
    QPushButton* lpFormatOptions;
    QRadioButton* lpSameFolder;
    QRadioButton* lpUseFolder;
    QLineEdit* lpFolder;
    QPushButton* lpBrowse;

private:
    void EnableControls();
    // The controls' choices, as the run reads them.
    void TakeControls();

    QDBatchStateData& rState;
};
