#include "ui/QDSelectBatchFileDlg.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include <cstring>

#include "batch/QDBatchState.h"
#include "foundation/LUserSettings.h"
#include "ui/LFileChooser.h"

namespace
{
// Where the choosers start: the folder projects were last opened from, else the pictures.
std::string StartFolder()
{
    char folder[LFILE_MAX_PATH] = {};
    char stored[LUSERSETTING_MAX_STRING];
    if (_LUserSettingGetString("Settings", "ProjectFolder", "", stored) && stored[0])
        snprintf(folder, sizeof(folder), "%s", stored);
    else
        LFile::GetUserPicturesFolder(folder);
    return folder;
}
} // namespace

QDSelectBatchFileDlg::QDSelectBatchFileDlg(QDBatchStateData& state, QWidget* parent)
    : QWizardPage(parent), rState(state)
{
    setObjectName("File");
    setTitle(QStringLiteral("Step 1:"));
    setSubTitle(
        QStringLiteral("Click on the Add File or Add Folder button to select the files or folder you want "
                       "to process."));
    auto* layout = new QHBoxLayout(this);
    auto* left = new QVBoxLayout();
    left->addWidget(new QLabel(QStringLiteral("File List"), this));
    lpList = new QListWidget(this);
    lpList->setObjectName("FileList");
    lpList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    left->addWidget(lpList, 1);
    layout->addLayout(left, 1);
    auto* buttons = new QVBoxLayout();
    lpAddFile = new QPushButton(QStringLiteral("Add File..."), this);
    lpAddFolder = new QPushButton(QStringLiteral("Add Folder..."), this);
    lpRemove = new QPushButton(QStringLiteral("Remove"), this);
    buttons->addWidget(lpAddFile);
    buttons->addWidget(lpAddFolder);
    buttons->addWidget(lpRemove);
    buttons->addStretch(1);
    layout->addLayout(buttons);
    connect(lpAddFile, &QPushButton::clicked, this, [this] { CmAddFile(); });
    connect(lpAddFolder, &QPushButton::clicked, this, [this] { CmAddFolder(); });
    connect(lpRemove, &QPushButton::clicked, this, [this] { CmRemove(); });
    connect(lpList, &QListWidget::itemSelectionChanged, this, [this] { EnableControls(); });
    Rebuild();
}

void QDSelectBatchFileDlg::initializePage()
{
    Rebuild();
}

void QDSelectBatchFileDlg::Rebuild()
{
    lpList->clear();
    for (BatchFileItem* item = rState.BatchFileList.GetFirst(); item; item = item->GetNextItem())
        lpList->addItem(QString::fromUtf8(item->szFilePath));
    EnableControls();
    emit completeChanged();
}

void QDSelectBatchFileDlg::EnableControls()
{
    lpRemove->setEnabled(!lpList->selectedItems().isEmpty());
}

bool QDSelectBatchFileDlg::isComplete() const
{
    return lpList->count() > 0;
}

void QDSelectBatchFileDlg::AddFile(const char* path)
{
    if (!rState.AddFile(path))
        return;
    lpList->addItem(QString::fromUtf8(path));
    lpList->setCurrentRow(lpList->count() - 1);
    emit completeChanged();
}

void QDSelectBatchFileDlg::AddFolder(const char* path)
{
    if (rState.AddFolder(path) > 0 || !rState.szInputFolder[0])
        snprintf(rState.szInputFolder, sizeof(rState.szInputFolder), "%s", path);
    Rebuild();
    if (lpList->count() > 0)
        lpList->setCurrentRow(lpList->count() - 1);
}

void QDSelectBatchFileDlg::CmAddFile()
{
    QDImageCodecVetoer vetoer;
    LFileChooserRequest request;
    request.eKind = LFileChooserOpenMany;
    request.szTitle = "Add File...";
    request.szFilter = LFileChooserCodecFilter(LImageIORead, &vetoer);
    request.szStartFolder = StartFolder();
    std::vector<std::string> paths;
    if (!LFileChooserRun(this, request, paths))
        return;
    for (const std::string& p : paths)
        AddFile(p.c_str());
}

void QDSelectBatchFileDlg::CmAddFolder()
{
    LFileChooserRequest request;
    request.eKind = LFileChooserFolder;
    request.szTitle = "Add Folder...";
    request.szStartFolder = StartFolder();
    std::vector<std::string> paths;
    if (LFileChooserRun(this, request, paths))
        AddFolder(paths.front().c_str());
}

void QDSelectBatchFileDlg::CmRemove()
{
    for (QListWidgetItem* row : lpList->selectedItems())
    {
        rState.RemoveFile(row->text().toUtf8().constData());
        delete row;
    }
    EnableControls();
    emit completeChanged();
}
