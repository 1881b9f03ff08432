#include "ui/QDSelectBatchEffectsDlg.h"

#include <QAbstractItemModel>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPushButton>
#include <QVBoxLayout>

#include <filesystem>
#include <memory>
#include <vector>

#include "batch/QDBatchProcess.h"
#include "batch/QDBatchScript.h"
#include "batch/QDBatchState.h"
#include "codecs/LImage.h"
#include "document/LUndoRedo.h"
#include "document/QDEffectFactory.h"
#include "foundation/LProcessAlert.h"
#include "image/LImgProScale.h"
#include "ui/LFileChooser.h"
#include "ui/LProcessDialog.h"
#include "ui/QDBatchEffectDialogs.h"
#include "ui/QDSavePreview.h"
#include "ui/panels/QDPropertiesPanel.h"

namespace
{
constexpr char kScriptFilter[] = "Batch Script File (*.qdb)";
constexpr int kRowElement = Qt::UserRole + 1;

// The preview's rendering under its progress window.
struct PreviewRender
{
    QDBatchPreviewRenderData data;
};
LProcessResult Process(LProcessInterface& process, PreviewRender& r)
{
    return Process(process, r.data);
}

struct LoadPreviewImage
{
    LProcessImageLoadFile load;
};
LProcessResult Process(LProcessInterface& process, LoadPreviewImage& d)
{
    return Process(process, d.load);
}
} // namespace

QDBatchPreview::QDBatchPreview(QWidget* parent) : QWidget(parent)
{
    setMinimumSize(240, 180);
}

void QDBatchPreview::Clear()
{
    oInput.Destroy();
    imgOutput = QImage();
    update();
}

void QDBatchPreview::SetInputImage(const LImageBuffer& image)
{
    oInput.Destroy();
    imgOutput = QImage();
    if (!image.IsValid())
        return;
    iFullWidth = unsigned(image.GetWidth());
    iFullHeight = unsigned(image.GetHeight());
    int w = image.GetWidth(), h = image.GetHeight();
    if (w >= width() || h >= height())
    {
        // The limiting side gets the pane's size less 16.
        const double s = std::min(double(width() - 16) / w, double(height() - 16) / h);
        w = std::max(1, int(w * s));
        h = std::max(1, int(h * s));
    }
    if (!oInput.AllocateNewBuffer(LImageFormat(B8G8R8A8, w, h)))
        return;
    LProcessInterfaceVoid process;
    if (w == image.GetWidth() && h == image.GetHeight() && image.GetPixelFormat() == B8G8R8A8)
        LImageBufferCopy(oInput, image);
    else if (image.GetPixelFormat() == B8G8R8A8)
        LImgProScaleLinear(process, oInput, image);
    else
    {
        LImageBuffer converted;
        if (converted.AllocateNewBuffer(LImageFormat(B8G8R8A8, image.GetWidth(), image.GetHeight())))
        {
            LConvertPixelFormat(converted, image);
            LImgProScaleLinear(process, oInput, converted);
        }
    }
    imgOutput = QDImageFromBuffer(oInput).copy();
    update();
}

bool QDBatchPreview::RenderOutput(QDBatchStateData& state)
{
    if (!oInput.IsValid())
        return false;
    LImageBuffer copy;
    if (!copy.AllocateNewBuffer(oInput.GetFormat()))
        return false;
    LImageBufferCopy(copy, oInput);
    PreviewRender render;
    render.data.lpEffects = &state.effects;
    render.data.lpImage = &copy;
    render.data.iFullWidth = iFullWidth;
    render.data.iFullHeight = iFullHeight;
    if (state.effects.IsEmpty())
        imgOutput = QDImageFromBuffer(copy).copy();
    else if (ProcessRunAsDialog(this, "Rendering Preview", render) == LProcessResultSuccess)
        imgOutput = QDImageFromBuffer(copy).copy();
    else
        return false;
    update();
    return true;
}

void QDBatchPreview::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.fillRect(rect(), QColor(96, 96, 96));
    if (imgOutput.isNull())
        return;
    // An output larger than the pane (an effect that enlarges) is reduced to fit as it is drawn.
    QSizeF size = imgOutput.size();
    if (size.width() > width() || size.height() > height())
        size.scale(QSizeF(width(), height()), Qt::KeepAspectRatio);
    const QRectF target(QPointF((width() - size.width()) / 2, (height() - size.height()) / 2), size);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    p.drawImage(target, imgOutput);
}

QDSelectBatchEffectsDlg::QDSelectBatchEffectsDlg(QDBatchStateData& state, QWidget* parent)
    : QWizardPage(parent), rState(state)
{
    setObjectName("Effect");
    setTitle(QStringLiteral("Step 2:"));
    setSubTitle(QStringLiteral("Click Add to select the effects you want to apply to the files."));
    auto* layout = new QHBoxLayout(this);

    auto* left = new QVBoxLayout();
    left->addWidget(new QLabel(QStringLiteral("Layer List"), this));
    lpList = new QListWidget(this);
    lpList->setObjectName("LayerList");
    lpList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    lpList->setDragDropMode(QAbstractItemView::InternalMove);
    lpList->setDefaultDropAction(Qt::MoveAction);
    left->addWidget(lpList, 1);
    auto* rowButtons = new QHBoxLayout();
    lpAdd = new QPushButton(QStringLiteral("Add..."), this);
    lpRemove = new QPushButton(QStringLiteral("Remove"), this);
    lpSettings = new QPushButton(QStringLiteral("Settings..."), this);
    rowButtons->addWidget(lpAdd);
    rowButtons->addWidget(lpRemove);
    rowButtons->addWidget(lpSettings);
    left->addLayout(rowButtons);
    auto* script = new QGroupBox(QStringLiteral("Batch Script File"), this);
    auto* scriptLayout = new QVBoxLayout(script);
    lpScriptName = new QLabel(script);
    scriptLayout->addWidget(lpScriptName);
    auto* scriptButtons = new QHBoxLayout();
    lpNew = new QPushButton(QStringLiteral("New"), script);
    lpOpen = new QPushButton(QStringLiteral("Open..."), script);
    lpSaveAs = new QPushButton(QStringLiteral("Save As..."), script);
    scriptButtons->addWidget(lpNew);
    scriptButtons->addWidget(lpOpen);
    scriptButtons->addWidget(lpSaveAs);
    scriptLayout->addLayout(scriptButtons);
    left->addWidget(script);
    layout->addLayout(left, 1);

    auto* previewBox = new QGroupBox(QStringLiteral("Preview Image"), this);
    auto* previewLayout = new QVBoxLayout(previewBox);
    lpPreview = new QDBatchPreview(previewBox);
    previewLayout->addWidget(lpPreview, 1);
    lpSelectPreview = new QPushButton(QStringLiteral("Select Preview Image..."), previewBox);
    previewLayout->addWidget(lpSelectPreview);
    layout->addWidget(previewBox, 1);

    connect(lpAdd, &QPushButton::clicked, this, [this] { CmAdd(); });
    connect(lpRemove, &QPushButton::clicked, this, [this] { CmRemove(); });
    connect(lpSettings, &QPushButton::clicked, this, [this] { CmEffectSettings(); });
    connect(lpList, &QListWidget::itemDoubleClicked, this, [this] { CmEffectSettings(); });
    connect(lpNew, &QPushButton::clicked, this, [this] { CmNew(); });
    connect(lpOpen, &QPushButton::clicked, this, [this] { CmOpen(); });
    connect(lpSaveAs, &QPushButton::clicked, this, [this] { CmSaveAs(); });
    connect(lpSelectPreview, &QPushButton::clicked, this, [this] { CmSelectPreviewImage(); });
    connect(lpList, &QListWidget::itemSelectionChanged, this, [this] { EnableControls(); });
    connect(lpList->model(), &QAbstractItemModel::rowsMoved, this, [this] { EvRowsMoved(); });
    Rebuild();
}

void QDSelectBatchEffectsDlg::Rebuild()
{
    bRebuilding = true;
    lpList->clear();
    for (QDImagePipelineElement* e = rState.effects.GetFirst(); e; e = e->GetNextItem())
    {
        auto* row = new QListWidgetItem(QString::fromUtf8(e->GetName()), lpList);
        row->setData(kRowElement, QVariant::fromValue<void*>(e));
    }
    char name[LFILE_MAX_PATH];
    lpScriptName->setText(rState.batchFile.szFilePath[0] &&
                                  LFile::_GetFileNameFromPath(name, rState.batchFile.szFilePath)
                              ? QString::fromUtf8(name)
                              : QStringLiteral("Untitled.qdb"));
    bRebuilding = false;
    EnableControls();
}

void QDSelectBatchEffectsDlg::EnableControls()
{
    const bool selected = !lpList->selectedItems().isEmpty();
    lpRemove->setEnabled(selected);
    lpSettings->setEnabled(lpList->currentItem() != nullptr && selected);
    lpSelectPreview->setEnabled(!rState.BatchFileList.IsEmpty());
}

void QDSelectBatchEffectsDlg::Render()
{
    lpPreview->RenderOutput(rState);
}

void QDSelectBatchEffectsDlg::initializePage()
{
    Rebuild();
    bool listed = false;
    for (BatchFileItem* item = rState.BatchFileList.GetFirst(); item; item = item->GetNextItem())
        listed |= strcmp(item->szFilePath, rState.szPreviewFile) == 0;
    if (!listed || !rState.szPreviewFile[0])
    {
        const BatchFileItem* first = rState.BatchFileList.GetFirst();
        snprintf(rState.szPreviewFile, sizeof(rState.szPreviewFile), "%s", first ? first->szFilePath : "");
        if (rState.szPreviewFile[0])
            SetPreviewImage(rState.szPreviewFile);
        else
            lpPreview->Clear();
    }
    else if (!lpPreview->GetInput().IsValid())
        SetPreviewImage(rState.szPreviewFile);
}

bool QDSelectBatchEffectsDlg::SetPreviewImage(const char* path)
{
    QDImageCodecVetoer vetoer;
    LImageBuffer image;
    LoadPreviewImage data;
    data.load.iTimeoutMs = 3000;
    data.load.lpVetoer = &vetoer;
    data.load.lpImage = &image;
    if (!data.load.SetFilePath(path) ||
        ProcessRunAsDialog(this, "Loading Image", data) != LProcessResultSuccess)
    {
        lpPreview->Clear();
        return false;
    }
    lpPreview->SetInputImage(image);
    Render();
    return true;
}

void QDSelectBatchEffectsDlg::CmAdd()
{
    QDSelectEffectDlg dialog(rState.availableEffects, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    const std::vector<QDEffectFactory*> chosen = dialog.GetSelection();
    if (chosen.empty())
        return;
    for (QDEffectFactory* f : chosen)
        if (QDImagePipelineElement* e = f->CreateLayer())
            rState.effects.AddTail(e);
    Rebuild();
    lpList->setCurrentRow(lpList->count() - 1);
    rState.batchFile.bDirty = true;
    Render();
}

void QDSelectBatchEffectsDlg::CmRemove()
{
    const QList<QListWidgetItem*> rows = lpList->selectedItems();
    if (rows.isEmpty())
        return;
    for (QListWidgetItem* row : rows)
        rState.effects.Delete(static_cast<QDImagePipelineElement*>(row->data(kRowElement).value<void*>()));
    Rebuild();
    rState.batchFile.bDirty = true;
    Render();
}

void QDSelectBatchEffectsDlg::EvRowsMoved()
{
    if (bRebuilding)
        return;
    // Detach all, then put them back in the rows' order.
    std::vector<QDImagePipelineElement*> order;
    for (int i = 0; i < lpList->count(); ++i)
        order.push_back(
            static_cast<QDImagePipelineElement*>(lpList->item(i)->data(kRowElement).value<void*>()));
    for (QDImagePipelineElement* e : order)
        rState.effects.Detach(e);
    for (QDImagePipelineElement* e : order)
        rState.effects.AddTail(e);
    rState.batchFile.bDirty = true;
    Render();
}

void QDSelectBatchEffectsDlg::CmEffectSettings()
{
    QListWidgetItem* row = lpList->currentItem();
    if (!row)
        return;
    auto* element = static_cast<QDImagePipelineElement*>(row->data(kRowElement).value<void*>());
    QDPanelMaker maker = QDFindPanelMaker(element->GetTypeIdentifier());
    QDPropertiesPanel* panel = maker ? maker(element) : nullptr;
    // Every change the panel makes is undone on Cancel.
    LUndoRedoStackNotifyWrapped undo;
    LUndoRedoStackNotifyWrapper* previous = element->lpUndoStack;
    element->lpUndoStack = &undo;
    QDEditBatchPropertiesDlg dialog(*element, panel, this);
    const bool ok = dialog.exec() == QDialog::Accepted;
    if (auto* wrapped = dynamic_cast<QDWrappedPropertiesElement*>(element))
        wrapped->DispatchUndoRedoItemForUnregisteredChanges();
    if (!ok)
        undo.UndoAll();
    delete dialog.lpPanel;
    dialog.lpPanel = nullptr;
    element->lpUndoStack = previous;
    if (ok)
    {
        rState.batchFile.bDirty = true;
        Render();
    }
}

bool QDSelectBatchEffectsDlg::AskToSave()
{
    const bool unsavedList = !rState.effects.IsEmpty() && !rState.batchFile.szFilePath[0];
    if (!unsavedList && !rState.batchFile.bDirty)
        return true;
    static const char* const buttons[] = {"Yes", "No", "Cancel"};
    const int answer =
        LShowAlert(LAlertKindWarning, "Batch Editor", "Do you want to save the layer list?", buttons, 3);
    if (answer == 2)
        return false;
    if (answer == 1)
        return true;
    return rState.batchFile.szFilePath[0] ? SaveTo(rState.batchFile.szFilePath) : CmSaveAs();
}

void QDSelectBatchEffectsDlg::CmNew()
{
    if (!AskToSave())
        return;
    rState.effects.DeleteAll();
    rState.batchFile.szFilePath[0] = 0;
    rState.batchFile.bDirty = false;
    Rebuild();
    Render();
}

void QDSelectBatchEffectsDlg::CmOpen()
{
    if (!AskToSave())
        return;
    LFileChooserRequest request;
    request.eKind = LFileChooserOpenOne;
    request.szTitle = "Open Batch Script File";
    request.szFilter = kScriptFilter;
    std::vector<std::string> paths;
    if (!LFileChooserRun(this, request, paths))
        return;
    const std::string path = MakeAbsolute(paths.front());
    QDBatchFileLoadData load(rState);
    if (path.size() >= sizeof(load.szFilePath))
        return;
    strcpy(load.szFilePath, path.c_str());
    // A script that can't be read leaves the list as it was.
    ProcessRunAsDialog(this, "Open Batch Script File", load);
    Rebuild();
    Render();
}

bool QDSelectBatchEffectsDlg::SaveTo(const char* path)
{
    QDBatchFileSaveData save(rState);
    if (strlen(path) >= sizeof(save.szFilePath))
        return false;
    strcpy(save.szFilePath, path);
    const bool ok = ProcessRunAsDialog(this, "Save Batch Script File", save) == LProcessResultSuccess;
    Rebuild();
    return ok;
}

bool QDSelectBatchEffectsDlg::CmSaveAs()
{
    for (;;)
    {
        LFileChooserRequest request;
        request.eKind = LFileChooserSave;
        request.szTitle = "Locate Batch Script File";
        request.szFilter = kScriptFilter;
        request.szDefaultSuffix = "qdb";
        request.bConfirmOverwrite = false;
        if (rState.batchFile.szFilePath[0])
        {
            char folder[LFILE_MAX_PATH], name[LFILE_MAX_PATH];
            if (LFile::_GetFolderFromPath(folder, rState.batchFile.szFilePath))
                request.szStartFolder = folder;
            if (LFile::_GetFileNameFromPath(name, rState.batchFile.szFilePath))
                request.szProposedName = name;
        }
        else
            request.szProposedName = "Untitled.qdb";
        std::vector<std::string> paths;
        if (!LFileChooserRun(this, request, paths))
            return false;
        std::string path = MakeAbsolute(paths.front());
        if (LFile::TestFileExists(path.c_str()))
        {
            static const char* const buttons[] = {"Yes", "No", "Cancel"};
            const int answer = LShowAlert(
                LAlertKindWarning, "Batch Editor",
                "Another file with the same name already exists. Do you want to replace it?", buttons, 3);
            if (answer == 1)
                continue;
            if (answer == 2)
                return false;
        }
        return SaveTo(path.c_str());
    }
}

std::string QDSelectBatchEffectsDlg::MakeAbsolute(const std::string& path) const
{
    if (path.empty() || path[0] == '/')
        return path;
    std::error_code ec;
    const std::filesystem::path base = rState.szInputFolder[0] ? std::filesystem::path(rState.szInputFolder)
                                                               : std::filesystem::current_path(ec);
    return (std::filesystem::absolute(base, ec) / path).lexically_normal().string();
}

void QDSelectBatchEffectsDlg::CmSelectPreviewImage()
{
    std::vector<std::string> files;
    for (BatchFileItem* item = rState.BatchFileList.GetFirst(); item; item = item->GetNextItem())
        files.emplace_back(item->szFilePath);
    QDSelectPreviewDlg dialog(files, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    snprintf(rState.szPreviewFile, sizeof(rState.szPreviewFile), "%s", dialog.GetPath().c_str());
    SetPreviewImage(rState.szPreviewFile);
}
