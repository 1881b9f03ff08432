#include "ui/QDSaveAsDialog.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QHBoxLayout>
#include <QLabel>
#include <QMetaObject>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalBlocker>
#include <QSlider>
#include <QTimer>
#include <QVBoxLayout>

#include <atomic>
#include <cstring>
#include <thread>

#include "codecs/LImageEncodeSettings.h"
#include "document/LQDCacheStore.h"
#include "document/QDProject.h"
#include "foundation/LFileSize.h"
#include "foundation/LProcessAlert.h"
#include "foundation/LThread.h"
#include "foundation/LUserSettings.h"
#include "ui/LFileChooser.h"
#include "ui/LProcessDialog.h"

bool QDSaveAsDialog::bDither = false;
bool QDSaveAsDialog::bFastGif = true;
int QDSaveAsDialog::iLastFormatIndex = -1;

// One preview, made off the main thread; the copy fitted to the pane is made there too.
class QDSavePreviewThread : public LThread
{
public:
    QDSavePreviewThread(QDSaveAsDialog* dialog, uint64_t serial) : lpDialog(dialog), iSerial(serial) {}
    ~QDSavePreviewThread() override { StopThreadNow(); }

    void ThreadFunction() override
    {
        iResult = Process(*this, oData);
        if (iResult == LProcessResultSuccess && oData.bDecoded && !oFitSize.isEmpty())
            imgFitted = QDFitImage(oData.preview, oFitSize);
        QDSaveAsDialog* dialog = lpDialog;
        const uint64_t serial = iSerial;
        // The call is dropped with the dialog, should it be gone by then.
        QMetaObject::invokeMethod(
            dialog, [dialog, serial] { dialog->EvPreviewDone(serial); }, Qt::QueuedConnection);
    }
    void SetProgress(double fraction) override { fProgress.store(fraction, std::memory_order_relaxed); }

    QDSaveAsDialog* lpDialog;
    uint64_t iSerial;
    QDSaveDialogProcessPreview oData;
    QSize oFitSize;
    QImage imgFitted;
    LProcessResult iResult = LProcessResultFailed;
    std::atomic<double> fProgress{0.0};
};

QDSaveAsDialog::QDSaveAsDialog(QWidget* parent, QDProject* project, std::shared_ptr<const LImageBuffer> image)
    : QDialog(parent), lpProject(project), lpImage(std::move(image))
{
    setWindowTitle(QStringLiteral("Save Image"));
    setModal(true);
    resize(1000, 640);
    auto* layout = new QVBoxLayout(this);

    auto* options = new QHBoxLayout();
    options->addWidget(new QLabel(QStringLiteral("Format:"), this));
    lpFormat = new QComboBox(this);
    options->addWidget(lpFormat);
    lpQualityLabel = new QLabel(QStringLiteral("Quality:"), this);
    options->addWidget(lpQualityLabel);
    lpQuality = new QSlider(Qt::Horizontal, this);
    lpQuality->setRange(0, 100);
    lpQuality->setValue(100);
    lpQuality->setMinimumWidth(160);
    options->addWidget(lpQuality);
    lpQualityValue = new QLabel(QString::number(lpQuality->value()), this);
    lpQualityValue->setMinimumWidth(lpQualityValue->fontMetrics().horizontalAdvance("0000"));
    connect(lpQuality, &QSlider::valueChanged, lpQualityValue, [this](int v) { lpQualityValue->setNum(v); });
    options->addWidget(lpQualityValue);
    lpFastGif = new QCheckBox(QStringLiteral("Fast GIF Conversion"), this);
    lpDither = new QCheckBox(QStringLiteral("Use Dithering"), this);
    options->addWidget(lpFastGif);
    options->addWidget(lpDither);
    options->addStretch(1);
    lpSize = new QLabel(QStringLiteral("Projected File Size:"), this);
    lpSize->setTextInteractionFlags(Qt::TextSelectableByMouse);
    options->addWidget(lpSize);
    layout->addLayout(options);

    auto* panes = new QHBoxLayout();
    lpOriginal = new QDSavePreview(oView, this);
    lpOriginal->setObjectName("original");
    lpOriginal->SetCaption(QStringLiteral("Original Image"));
    lpPreview = new QDSavePreview(oView, this);
    lpPreview->setObjectName("preview");
    panes->addWidget(lpOriginal, 1);
    panes->addWidget(lpPreview, 1);
    layout->addLayout(panes, 1);

    auto* bottom = new QHBoxLayout();
    lpBusyLabel = new QLabel(QStringLiteral("Creating Preview"), this);
    lpBusy = new QProgressBar(this);
    lpBusy->setRange(0, 1000);
    lpBusy->setTextVisible(false);
    lpBusy->setMaximumWidth(200);
    bottom->addWidget(lpBusyLabel);
    bottom->addWidget(lpBusy);
    bottom->addStretch(1);
    lpSave = new QPushButton(QStringLiteral("Save..."), this);
    lpSave->setDefault(true);
    auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
    bottom->addWidget(lpSave);
    bottom->addWidget(cancel);
    layout->addLayout(bottom);
    lpBusyLabel->hide();
    lpBusy->hide();

    lpDebounce = new QTimer(this);
    lpDebounce->setSingleShot(true);
    lpDebounce->setInterval(kQualityDebounceMs);
    connect(lpDebounce, &QTimer::timeout, this, [this] { CmFormatChange(); });
    lpBusyPoll = new QTimer(this);
    lpBusyPoll->setInterval(50);
    connect(lpBusyPoll, &QTimer::timeout, this,
            [this]
            {
                if (lpThread)
                    lpBusy->setValue(int(lpThread->fProgress.load() * 1000));
            });

    connect(lpFormat, &QComboBox::currentIndexChanged, this, [this] { CmFormatChange(); });
    connect(lpQuality, &QSlider::sliderReleased, this, [this] { CmFormatChange(); });
    connect(lpQuality, &QSlider::valueChanged, this,
            [this]
            {
                // A drag waits for its release; keys and the wheel settle after a pause.
                if (!lpQuality->isSliderDown() && !bRestoring)
                    lpDebounce->start();
            });
    connect(lpFastGif, &QCheckBox::toggled, this, [this] { CmFormatChange(); });
    connect(lpDither, &QCheckBox::toggled, this, [this] { CmFormatChange(); });
    connect(lpSave, &QPushButton::clicked, this, [this] { CmFileName(); });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
}

QDSaveAsDialog::~QDSaveAsDialog()
{
    StopPreview();
}

void QDSaveAsDialog::StopPreview()
{
    if (lpThread)
    {
        lpThread->StopThreadNow();
        lpThread.reset();
    }
}

void QDSaveAsDialog::InitDialog()
{
    QDImageCodecVetoer vetoer;
    const QSignalBlocker block(lpFormat);
    lpFormat->clear();
    vCodecs.clear();
    int jpeg = 0;
    for (int id = 0; id < LImageCodecCount; ++id)
    {
        const LImageCodec codec(id);
        if (!vetoer.IsEnabled(codec, LImageIOWrite))
            continue;
        if (id == LImageCodecJPEG)
            jpeg = int(vCodecs.size());
        vCodecs.push_back(id);
        lpFormat->addItem(QString::asprintf(".%s (%s)", codec.GetName(), codec.GetDescription()));
    }
    const int index = iLastFormatIndex >= 0 && iLastFormatIndex < lpFormat->count() ? iLastFormatIndex : jpeg;
    lpFormat->setCurrentIndex(index);
    {
        const QSignalBlocker blockFast(lpFastGif), blockDither(lpDither);
        lpFastGif->setChecked(bFastGif);
        lpDither->setChecked(bDither);
    }
    lpOriginal->UpdateImage(lpImage);
    lpPreview->UpdateImage(lpImage);
    EnableControls();
    CmFormatChange();
}

QDSaveFormat QDSaveAsDialog::GetFormat() const
{
    QDSaveFormat f;
    const int index = lpFormat->currentIndex();
    f.codec =
        LImageCodec(index >= 0 && index < int(vCodecs.size()) ? vCodecs[size_t(index)] : LImageCodecJPEG);
    // Formats the dialog has no controls for keep the options the user gave them elsewhere.
    f.settings.Load("ImageEncode");
    f.settings.jpeg.SetQuality(lpQuality->value());
    f.bFastGif = lpFastGif->isChecked();
    f.bDither = lpDither->isChecked();
    return f;
}

void QDSaveAsDialog::EnableControls()
{
    const LImageCodecID id = GetFormat().codec.id;
    const bool jpeg = id == LImageCodecJPEG, gif = id == LImageCodecGIF;
    lpQualityLabel->setVisible(jpeg);
    lpQuality->setVisible(jpeg);
    lpFastGif->setVisible(gif);
    lpDither->setVisible(gif);
    lpQualityValue->setVisible(jpeg);
    lpDither->setEnabled(!lpFastGif->isChecked());
}

void QDSaveAsDialog::CmFormatChange()
{
    if (bRestoring)
        return;
    lpDebounce->stop();
    EnableControls();
    StartPreview();
}

bool QDSaveAsDialog::IsPreviewBusy() const
{
    return lpThread != nullptr || bPending;
}

void QDSaveAsDialog::StartPreview()
{
    if (lpThread)
    {
        // The one under way is superseded: it stops, and the newest choices follow it.
        bPending = true;
        lpThread->StopThreadSoon();
        return;
    }
    bPending = false;
    lpThread = std::make_unique<QDSavePreviewThread>(this, ++iSerial);
    lpThread->oData.lpImage = lpImage.get();
    lpThread->oData.lpFlattened = &oFlattened;
    lpThread->oData.format = GetFormat();
    lpThread->oFitSize = lpPreview->GetFitSize();
    lpBusy->setValue(0);
    lpBusyLabel->show();
    lpBusy->show();
    lpBusyPoll->start();
    if (!lpThread->StartSame())
    {
        lpThread.reset();
        lpBusyPoll->stop();
        lpBusyLabel->hide();
        lpBusy->hide();
        static const char* const ok[] = {"OK"};
        LShowAlert(LAlertKindError, "Preview Failed", "Failed to create a preview in the specified format.",
                   ok, 1);
    }
}

void QDSaveAsDialog::EvPreviewDone(uint64_t serial)
{
    if (!lpThread || lpThread->iSerial != serial)
        return;
    lpThread->WaitToStop();
    std::unique_ptr<QDSavePreviewThread> done = std::move(lpThread);
    lpBusyPoll->stop();
    lpBusyLabel->hide();
    lpBusy->hide();
    if (bPending)
    {
        StartPreview();
        return;
    }
    QDSaveDialogProcessPreview& d = done->oData;
    if (done->iResult == LProcessResultCancelled)
        return;
    if (done->iResult != LProcessResultSuccess)
    {
        static const char* const ok[] = {"OK"};
        LShowAlert(LAlertKindError, "Preview Failed", "Failed to create a preview in the specified format.",
                   ok, 1);
        // The controls go back to what the shown preview was made with.
        if (bHaveGood)
            RestoreControls(oGood);
        return;
    }
    oGood = d.format;
    bHaveGood = true;
    vFile = std::move(d.vFile);
    iLastFormatIndex = lpFormat->currentIndex();
    bFastGif = d.format.bFastGif;
    bDither = d.format.bDither;
    char size[128];
    LFile::GetSizeFormattedBytes(size, sizeof(size), vFile.size());
    lpSize->setText(QStringLiteral("Projected File Size: ") + QString::fromUtf8(size));
    if (d.bDecoded)
    {
        auto decoded = std::make_shared<LImageBuffer>();
        decoded->Assign(d.preview);
        lpPreview->UpdateImage(std::move(decoded), std::move(done->imgFitted));
    }
    else
        lpPreview->UpdateImage(lpImage);
    lpPreview->SetCaption(QString::fromUtf8(d.szCaption));
}

void QDSaveAsDialog::RestoreControls(const QDSaveFormat& format)
{
    bRestoring = true;
    {
        const QSignalBlocker a(lpFormat), b(lpQuality), c(lpFastGif), e(lpDither);
        for (size_t i = 0; i < vCodecs.size(); ++i)
            if (vCodecs[i] == format.codec.id)
                lpFormat->setCurrentIndex(int(i));
        lpQuality->setValue(format.settings.jpeg.iQuality);
        lpFastGif->setChecked(format.bFastGif);
        lpDither->setChecked(format.bDither);
    }
    lpDebounce->stop();
    EnableControls();
    bRestoring = false;
}

bool QDSaveAsDialog::WaitForPreview(int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (IsPreviewBusy() || lpDebounce->isActive())
    {
        if (timer.elapsed() >= milliseconds)
            return false;
        if (lpDebounce->isActive() && !IsPreviewBusy())
        {
            lpDebounce->stop();
            CmFormatChange();
        }
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        if (IsPreviewBusy())
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

bool QDSaveAsDialog::CmFileName()
{
    WaitForPreview(60 * 60 * 1000);
    const QDSaveFormat format = GetFormat();
    LFileChooserRequest request;
    request.eKind = LFileChooserSave;
    request.szTitle = "Save File...";
    request.szFilter =
        std::string(format.codec.GetDescription()) + " (*" + format.codec.GetPreferredExtension() + ")";
    request.szDefaultSuffix = format.codec.GetPreferredExtension() + 1;
    char folder[LFILE_MAX_PATH] = {}, name[LFILE_MAX_PATH] = {}, ext[LFILE_MAX_PATH] = {};
    if (lpProject && lpProject->szFilePath[0])
    {
        LFile::_GetFolderFromPath(folder, lpProject->szFilePath);
        LFile::_GetFileNameFromPath(name, lpProject->szFilePath);
        LFile::_GetFileExtensionFromPath(ext, lpProject->szFilePath);
        name[strlen(name) - strlen(ext)] = 0;
    }
    else if (lpProject && lpProject->szName[0])
        snprintf(name, sizeof(name), "%s", lpProject->szName);
    if (!folder[0])
    {
        char stored[LUSERSETTING_MAX_STRING];
        if (_LUserSettingGetString("Settings", "ProjectFolder", "", stored) && stored[0])
            snprintf(folder, sizeof(folder), "%s", stored);
        else
            LFile::GetUserPicturesFolder(folder);
    }
    request.szStartFolder = folder;
    request.szProposedName = std::string(name[0] ? name : "Untitled") + format.codec.GetPreferredExtension();
    std::vector<std::string> paths;
    if (!LFileChooserRun(this, request, paths))
        return false;
    std::string path = paths.front();
    // A name whose extension names another format gets this one's.
    LImageCodec typed;
    if (!typed.InitFromFilePath(path.c_str()) || typed.id != format.codec.id)
        path += format.codec.GetPreferredExtension();
    if (!Save(path.c_str()))
        return false;
    accept();
    return true;
}

bool QDSaveAsDialog::Save(const char* path)
{
    WaitForPreview(60 * 60 * 1000);
    QDSaveDialogProcessSave data;
    data.lpImage = lpImage.get();
    data.lpFlattened = &oFlattened;
    data.format = GetFormat();
    data.lpFile = bHaveGood && oGood.IsSameFile(data.format) && !vFile.empty() ? &vFile : nullptr;
    if (!path || strlen(path) >= sizeof(data.szFilePath))
        return false;
    strcpy(data.szFilePath, path);
    if (ProcessRunAsDialog(this, "Saving Image", data) != LProcessResultSuccess)
    {
        static const char* const ok[] = {"OK"};
        LShowAlert(LAlertKindError, "Save Failed", "Failed to save image in the specified format.", ok, 1);
        return false;
    }
    szSavedPath = path;
    if (lpProject)
    {
        char name[LFILE_MAX_PATH];
        lpProject->SetFilePath(path);
        if (LFile::_GetFileNameFromPath(name, path))
            lpProject->SetName(name);
        // A later save in place writes the file as it was chosen here, without asking again.
        LImageEncodeSettings stored;
        stored.Load("ImageEncode");
        if (data.format.codec.id == LImageCodecJPEG)
            stored.jpeg.SetQuality(data.format.settings.jpeg.iQuality);
        stored.Save("ImageEncode");
        lpProject->encodeSettings = stored;
        lpProject->bEncodeSettingsValid = true;
    }
    return true;
}

void QDSaveAsDialog::closeEvent(QCloseEvent* event)
{
    StopPreview();
    QDialog::closeEvent(event);
}

std::unique_ptr<QDSaveAsDialog> QDSaveAsDialogCreate(QWidget* parent, QDProject& project)
{
    auto image = std::make_shared<LImageBuffer>();
    if (!LQDCacheLoadImage(*image, project.iHighResCacheId) || !image->IsValid())
        return nullptr;
    auto dialog = std::make_unique<QDSaveAsDialog>(parent, &project, image);
    dialog->InitDialog();
    return dialog;
}

bool QDSaveAsDialogRun(QWidget* parent, QDProject& project)
{
    const std::unique_ptr<QDSaveAsDialog> dialog = QDSaveAsDialogCreate(parent, project);
    return dialog && dialog->exec() == QDialog::Accepted;
}
