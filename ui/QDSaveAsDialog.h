#pragma once
// "Save Image": the picture beside what the chosen format makes of it, with the exact size of the
// file, before anything is written. Each change of format or option encodes the picture into
// memory and decodes it back on a worker, so the dialog stays live; a newer change supersedes a
// preview under way. Saving writes the very bytes whose size is shown.
//
// The controller's entry point is QDSaveAsDialogRun.

#include <QDialog>

#include <cstdint>
#include <memory>
#include <vector>

#include "codecs/QDSaveDialogProcess.h"
#include "image/LImageBuffer.h"
#include "ui/QDSavePreview.h"

class QCheckBox;
class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QSlider;
class QTimer;
class QDProject;
class QDSavePreviewThread;

class QDSaveAsDialog : public QDialog
{
    Q_OBJECT
public:
    // image is the project's full-size picture; project, when given, takes the saved path and name.
    QDSaveAsDialog(QWidget* parent, QDProject* project, std::shared_ptr<const LImageBuffer> image);
    ~QDSaveAsDialog() override;

    // Lists the writable formats, selects the last one used (JPEG at first) and starts its preview.
    void InitDialog();
    // Asks for the file ("Save File...") and saves; true, and the dialog accepted, when written.
    bool CmFileName();
    // Writes path with the present choices; true on success.
    bool Save(const char* path);

    QDSaveFormat GetFormat() const;
    bool IsPreviewBusy() const;
    // Serves events until no preview is under way or the time has passed; true when idle.
    bool WaitForPreview(int milliseconds);
    // The file that saving writes now, as last previewed; its size is the one shown.
    const std::vector<uint8_t>& GetProjectedFile() const { return vFile; }
    const char* GetSavedPath() const { return szSavedPath.c_str(); }
    const QDSavePreviewView& GetView() const { return oView; }

    QComboBox* lpFormat;
    QLabel* lpQualityLabel;
    QSlider* lpQuality;
    QLabel* lpQualityValue;
    QCheckBox* lpFastGif;
    QCheckBox* lpDither;
    QLabel* lpSize;
    QDSavePreview* lpOriginal;
    QDSavePreview* lpPreview;
    QProgressBar* lpBusy;
    QLabel* lpBusyLabel;
    QPushButton* lpSave;

    // The boxes keep their last values from one opening to the next, and so does the format.
    static bool bDither;
    static bool bFastGif;
    static int iLastFormatIndex;

    // The wait after a keyboard change of the quality before the picture is encoded again; a
    // drag waits for the release.
    static constexpr int kQualityDebounceMs = 300;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    friend class QDSavePreviewThread;
    void EnableControls();
    // On a change of format, option or released slider.
    void CmFormatChange();
    void StartPreview();
    void EvPreviewDone(uint64_t serial);
    void RestoreControls(const QDSaveFormat& format);
    void StopPreview();

    QDProject* lpProject;
    std::shared_ptr<const LImageBuffer> lpImage;
    LImageBuffer oFlattened; // the picture over white, made once, used by the worker
    QDSavePreviewView oView;
    std::unique_ptr<QDSavePreviewThread> lpThread;
    uint64_t iSerial = 0;
    bool bPending = false;
    bool bRestoring = false;
    bool bHaveGood = false;
    QDSaveFormat oGood; // the choices the shown preview and size belong to
    std::vector<uint8_t> vFile;
    std::string szSavedPath;
    std::vector<int> vCodecs; // the format list's codec ids
    QTimer* lpDebounce;
    QTimer* lpBusyPoll;
};

// The dialog over the project's rendered full-size picture (which the caller has waited for),
// initialised and ready to show; null when there is no such picture.
std::unique_ptr<QDSaveAsDialog> QDSaveAsDialogCreate(QWidget* parent, QDProject& project);

// Runs that dialog. True when a file was written; the project's path and name are then the file's.
bool QDSaveAsDialogRun(QWidget* parent, QDProject& project);
