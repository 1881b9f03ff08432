#include "ui/QDMainWindow.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QMenuBar>
#include <QMimeData>
#include <QProgressBar>
#include <QScreen>
#include <QScrollArea>
#include <QShortcut>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTimer>
#include <QToolBar>
#include <QToolButton>
#include <QToolTip>
#include <QUrl>
#include <QVBoxLayout>
#include <QWindow>
#include <cmath>
#include <cstring>

#include "canvas/LKeyHandler.h"
#include "canvas/QDProjectViewer.h"
#include "document/QDEffectFactory.h"
#include "document/QDProject.h"
#include "foundation/LFile.h"
#include "foundation/LUserSettings.h"
#include "image/LImageBuffer.h"
#include "ui/LProcessDialog.h"
#include "ui/QDBatchEditorDialog.h"
#include "ui/LSceneGraphView.h"
#include "ui/QDCanvasViewerWindow.h"
#include "ui/QDElementList.h"
#include "ui/QDInfoBar.h"
#include "ui/QDPipelineElementUi.h"
#include "ui/QDStartScreen.h"
#include "ui/QDTabbedToolBar.h"
#include "ui/QDThumbnailBrowser.h"
#include "ui/QDZoomControl.h"
#include "ui/panels/QDTablePropertiesPanel.h"

// Tells the controller what happens on a canvas: a right click, a widget chosen by hand.
class QDCanvasNotifyee : public QDCanvasViewerNotifyee
{
public:
    QDCanvasNotifyee(LMainWindowHandler& handler, QDProjectViewer& viewer)
        : rHandler(handler), rViewer(viewer)
    {
    }
    void EvCanvasViewerRightClick(QDCanvasViewer&, float, float) override
    {
        rHandler.EvRightClick(false, &rViewer.GetProject());
    }
    void EvCanvasViewerWidgetSelected(QDCanvasViewer&, QDCanvasWidget& widget) override
    {
        rHandler.EvElementSelected(widget.lpElement);
    }

private:
    LMainWindowHandler& rHandler;
    QDProjectViewer& rViewer;
};

namespace
{
// The ids of the controls the controller names.
constexpr int kIdLogo = 2089;
constexpr int kIdThumbnailExpand = 2101;
constexpr int kCmHideInfoBar = 2092;
constexpr int kCmZoomIn = 2056, kCmZoomOut = 2057, kCmZoomFit = 2058, kCmZoomStatusBar = 2060;
constexpr int kProgressRange = 1000;
constexpr const char* kLayoutSection = "MainWindow";

// A process of the controller as the progress dialogs run it.
struct QDProcessFunctionData
{
    const LMainWindowHost::ProcessFunction* lpFunction;
};

LProcessResult Process(LProcessInterface& process, QDProcessFunctionData& data)
{
    return (*data.lpFunction)(process);
}

QString Base64Setting(const char* key)
{
    LString value;
    if (!LUserSettingGetString(kLayoutSection, key, "", value))
        return QString();
    return QString::fromUtf8(value.GetString());
}
} // namespace

QDMainWindow::QDMainWindow(LMainWindowHandler& handler, QWidget* parent)
    : QMainWindow(parent), rHandler(handler)
{
    setWindowTitle("Quendrel");
    setAcceptDrops(true);
    BuildLayout();
    QSize size(1280, 860);
    if (const QScreen* s = QGuiApplication::primaryScreen())
        size = size.boundedTo(s->availableGeometry().size() * 0.92);
    resize(size);
    RestoreLayout();
}

QDMainWindow::~QDMainWindow()
{
    for (auto& entry : vViewers)
    {
        entry->mapUis.clear();
        entry->lpViewer->GetCanvasViewer().RemoveNotifyee(entry->lpNotifyee.get());
    }
}

void QDMainWindow::BuildLayout()
{
    auto* central = new QWidget(this);
    auto* column = new QVBoxLayout(central);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);

    lpCaptionBar = new QToolBar("Quick Access", this);
    lpCaptionBar->setObjectName("CaptionToolBar");
    lpCaptionBar->setMovable(false);
    lpCaptionBar->setIconSize(QSize(20, 20));
    addToolBar(Qt::TopToolBarArea, lpCaptionBar);

    lpTabs = new QDTabbedToolBar(central);
    column->addWidget(lpTabs);
    lpInfoBar = new QDInfoBar(central);
    connect(lpInfoBar, &QDInfoBar::command, this, [this](int id) { rHandler.Command(id, 0); });
    column->addWidget(lpInfoBar);

    lpSplitter = new QSplitter(Qt::Horizontal, central);
    lpSplitter->setObjectName("MainSplitter");
    lpSplitter->setChildrenCollapsible(false);
    lpCanvasStack = new QStackedWidget(lpSplitter);
    lpCanvasStack->setMinimumSize(240, 200);
    lpStartScreen = new QDStartScreen(
        [this](int id, const QString& text) { return MakeCommandAction(id, text, false); }, lpCanvasStack);
    connect(lpStartScreen, &QDStartScreen::recentFileChosen, this,
            [this](const QString& path) { rHandler.EvRecentFileOpen(path.toUtf8().constData()); });
    connect(lpStartScreen, &QDStartScreen::guideRequested, this, [this] { OpenHelpPage("gettingstarted"); });
    lpCanvasStack->addWidget(lpStartScreen);
    lpLogo = new QLabel(lpCanvasStack);
    lpLogo->setAlignment(Qt::AlignCenter);
    lpLogo->setPixmap(QApplication::windowIcon().pixmap(128, 128));
    lpLogo->setAccessibleName("Quendrel");
    lpCanvasStack->addWidget(lpLogo);

    lpRightColumn = new QSplitter(Qt::Vertical, lpSplitter);
    lpRightColumn->setObjectName("RightColumn");
    lpRightColumn->setChildrenCollapsible(false);
    auto* listBox = new QWidget(lpRightColumn);
    auto* listColumn = new QVBoxLayout(listBox);
    listColumn->setContentsMargins(4, 4, 4, 0);
    auto* listTitle = new QLabel("Layers", listBox);
    QFont bold = listTitle->font();
    bold.setBold(true);
    listTitle->setFont(bold);
    listColumn->addWidget(listTitle);
    lpElementList = new QDElementList(listBox);
    listColumn->addWidget(lpElementList);
    connect(lpElementList, &QDElementList::elementSelected, this,
            [this](QDImagePipelineElement* e) { rHandler.EvElementSelected(e); });
    connect(lpElementList, &QDElementList::visibilityToggled, this,
            [this](QDImagePipelineElement* e, bool on) { rHandler.EvElementSetVisible(e, on); });
    connect(lpElementList, &QDElementList::moveRequested, this,
            [this](QDImagePipelineElement* e, int index)
            { rHandler.EvElementMove(e, size_t(std::max(0, index))); });
    connect(lpElementList, &QDElementList::deleteRequested, this,
            [this](QDImagePipelineElement* e) { rHandler.EvElementDelete(e); });

    auto* panelBox = new QWidget(lpRightColumn);
    auto* panelColumn = new QVBoxLayout(panelBox);
    panelColumn->setContentsMargins(4, 4, 4, 4);
    lpPanelTitle = new QLabel(panelBox);
    lpPanelTitle->setFont(bold);
    panelColumn->addWidget(lpPanelTitle);
    lpPanelScroll = new QScrollArea(panelBox);
    lpPanelScroll->setWidgetResizable(true);
    lpPanelScroll->setFrameShape(QFrame::NoFrame);
    lpPanelContainer = new QWidget;
    lpPanelLayout = new QVBoxLayout(lpPanelContainer);
    lpPanelLayout->setContentsMargins(0, 0, 0, 0);
    lpPanelLayout->addStretch(1);
    lpPanelScroll->setWidget(lpPanelContainer);
    lpPanelScroll->setAccessibleName("Properties");
    panelColumn->addWidget(lpPanelScroll);
    lpRightColumn->setStretchFactor(0, 2);
    lpRightColumn->setStretchFactor(1, 3);

    lpSplitter->setStretchFactor(0, 1);
    lpSplitter->setStretchFactor(1, 0);
    lpSplitter->setSizes({960, 300});
    column->addWidget(lpSplitter, 1);

    auto* strip = new QHBoxLayout;
    strip->setContentsMargins(0, 0, 0, 0);
    lpThumbnailExpand = new QToolButton(central);
    lpThumbnailExpand->setAutoRaise(true);
    lpThumbnailExpand->setArrowType(Qt::DownArrow);
    lpThumbnailExpand->setAccessibleName("Thumbnail browser");
    lpThumbnails = new QDThumbnailBrowser(central);
    connect(lpThumbnailExpand, &QToolButton::clicked, this,
            [this]
            {
                SetThumbnailStripCollapsed(!IsThumbnailStripCollapsed());
                rHandler.EvThumbnailStripToggled();
            });
    connect(lpThumbnails, &QDThumbnailBrowser::projectSelected, this,
            [this](QDProject* p) { rHandler.EvSelectProject(p); });
    connect(lpThumbnails, &QDThumbnailBrowser::closeRequested, this,
            [this](QDProject* p) { rHandler.EvCloseProject(p); });
    connect(lpThumbnails, &QDThumbnailBrowser::rightClicked, this,
            [this](QDProject* p) { rHandler.EvRightClick(true, p); });
    strip->addWidget(lpThumbnailExpand, 0, Qt::AlignTop);
    strip->addWidget(lpThumbnails, 1);
    column->addLayout(strip);
    setCentralWidget(central);

    lpStatusText = new QLabel(this);
    lpProgress = new QProgressBar(this);
    lpProgress->setRange(0, kProgressRange);
    lpProgress->setValue(kProgressRange);
    lpProgress->setMaximumWidth(160);
    lpProgress->setTextVisible(false);
    lpProgress->setAccessibleName("Render progress");
    lpProgress->hide();
    lpZoom = new QDZoomControl(this);
    statusBar()->addWidget(lpStatusText, 1);
    statusBar()->addPermanentWidget(lpProgress);
    statusBar()->addPermanentWidget(lpZoom);
    connect(lpZoom, &QDZoomControl::zoomTo, this,
            [this](int percent)
            {
                iStatusZoom = percent;
                rHandler.Command(kCmZoomStatusBar, 0);
            });
    connect(lpZoom, &QDZoomControl::zoomIn, this, [this] { rHandler.Command(kCmZoomIn, 0); });
    connect(lpZoom, &QDZoomControl::zoomOut, this, [this] { rHandler.Command(kCmZoomOut, 0); });
    connect(lpZoom, &QDZoomControl::fit, this, [this] { rHandler.Command(kCmZoomFit, 0); });

    lpEscape = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    lpEscape->setEnabled(false);
    connect(lpEscape, &QShortcut::activated, this, [this] { rHandler.EvKeyDown(LKeyVirtual(0x35)); });

    // The split is the user's: kept a moment after each move.
    auto* save = new QTimer(this);
    save->setSingleShot(true);
    save->setInterval(500);
    connect(save, &QTimer::timeout, this, &QDMainWindow::SaveLayout);
    connect(lpSplitter, &QSplitter::splitterMoved, save, qOverload<>(&QTimer::start));
    connect(lpRightColumn, &QSplitter::splitterMoved, save, qOverload<>(&QTimer::start));
}

void QDMainWindow::SaveLayout()
{
    LUserSettingSetString(kLayoutSection, "Splitter", lpSplitter->saveState().toBase64().constData());
    LUserSettingSetString(kLayoutSection, "RightColumn", lpRightColumn->saveState().toBase64().constData());
}

void QDMainWindow::RestoreLayout()
{
    const QString split = Base64Setting("Splitter");
    if (!split.isEmpty())
        lpSplitter->restoreState(QByteArray::fromBase64(split.toLatin1()));
    const QString right = Base64Setting("RightColumn");
    if (!right.isEmpty())
        lpRightColumn->restoreState(QByteArray::fromBase64(right.toLatin1()));
}

QImage QDMainWindow::ToQImage(const LImageBuffer& image, bool bPremultiplied)
{
    if (!image.IsValid() || image.GetPixelFormat() != B8G8R8A8)
        return QImage();
    QImage out(image.GetWidth(), image.GetHeight(),
               bPremultiplied ? QImage::Format_ARGB32_Premultiplied : QImage::Format_ARGB32);
    if (out.isNull())
        return out;
    for (int y = 0; y < image.GetHeight(); ++y)
        memcpy(out.scanLine(y), image.GetRow(y), size_t(image.GetWidth()) * 4);
    return out;
}

// ---- the window

void QDMainWindow::Show()
{
    show();
    BringToFront();
}

void QDMainWindow::SetCaption(const char* documentName, bool bEdited)
{
    const QString name = QString::fromUtf8(documentName ? documentName : "");
    setWindowTitle(name.isEmpty() ? QString("Quendrel")
                                  : QString("%1%2 - Quendrel").arg(name, bEdited ? "*" : ""));
    // Names change with a save: the strip follows.
    for (const auto& entry : vViewers)
    {
        QDProject& project = entry->lpViewer->GetProject();
        lpThumbnails->Update(&project, QImage(),
                             QString::fromUtf8(project.szName[0] ? project.szName : "Untitled"));
    }
}

bool QDMainWindow::IsEnabled() const
{
    return isEnabled() && !QApplication::activeModalWidget();
}

bool QDMainWindow::IsMinimizedOrInBackground() const
{
    return isMinimized() || !isVisible();
}

void QDMainWindow::BringToFront()
{
    if (isMinimized())
        showNormal();
    // A platform without stacking (the headless one) has nothing to raise.
    if (QGuiApplication::platformName() != "offscreen")
        raise();
    activateWindow();
}

void QDMainWindow::Relayout()
{
    if (QLayout* l = centralWidget()->layout())
        l->activate();
}

void QDMainWindow::ToggleFullScreen()
{
    if (isFullScreen())
        showNormal();
    else
        showFullScreen();
    lpEscape->setEnabled(isFullScreen());
}

bool QDMainWindow::IsFullScreen() const
{
    return isFullScreen();
}

void QDMainWindow::Quit(int code)
{
    SaveLayout();
    hide();
    QCoreApplication::exit(code);
}

void QDMainWindow::closeEvent(QCloseEvent* event)
{
    if (!rHandler.CmCancel())
    {
        event->ignore();
        return;
    }
    SaveLayout();
    event->accept();
}

void QDMainWindow::dragEnterEvent(QDragEnterEvent* event)
{
    if (event->mimeData()->hasUrls())
        event->acceptProposedAction();
}

void QDMainWindow::dropEvent(QDropEvent* event)
{
    std::vector<std::string> paths;
    for (const QUrl& url : event->mimeData()->urls())
        if (url.isLocalFile())
            paths.push_back(url.toLocalFile().toStdString());
    if (paths.empty())
        return;
    event->acceptProposedAction();
    // After the drop has ended: the queue shows a dialog of its own.
    QTimer::singleShot(0, this, [this, paths] { rHandler.EvDropFiles(paths); });
}

void QDMainWindow::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::WindowStateChange)
        lpEscape->setEnabled(isFullScreen());
    QMainWindow::changeEvent(event);
}

void QDMainWindow::ShowControl(int id, bool bShow)
{
    if (id == kIdThumbnailExpand)
        lpThumbnailExpand->setVisible(bShow);
    else if (id == kIdLogo && bShow && !lpShown)
        lpCanvasStack->setCurrentWidget(bStartScreenShown ? static_cast<QWidget*>(lpStartScreen) : lpLogo);
}

void QDMainWindow::SetControlTip(int id, const char* text)
{
    if (id == kIdThumbnailExpand)
        lpThumbnailExpand->setToolTip(QString::fromUtf8(text));
}

// ---- status bar, info bar

void QDMainWindow::SetStatusText(const char* text)
{
    lpStatusText->setText(QString::fromUtf8(text));
}

void QDMainWindow::SetStatusProgress(double fraction)
{
    const int value = int(std::lround(std::clamp(fraction, 0.0, 1.0) * kProgressRange));
    lpProgress->setValue(value);
    // A full bar says nothing; the bar is there while a render runs.
    lpProgress->setVisible(value < kProgressRange);
}

double QDMainWindow::GetStatusProgress() const
{
    return double(lpProgress->value()) / kProgressRange;
}

void QDMainWindow::SetStatusZoom(int percent)
{
    iStatusZoom = percent;
    lpZoom->SetZoomPercent(percent);
}

int QDMainWindow::GetStatusZoom() const
{
    return iStatusZoom;
}

void QDMainWindow::ShowStatusZoom(bool bShow)
{
    lpZoom->setVisible(bShow);
}

void QDMainWindow::ShowInfoBar(const char* text, const char* linkText, int linkCommand,
                               const char* buttonText, int buttonCommand)
{
    lpInfoBar->ShowMessage(QString::fromUtf8(text ? text : ""), QString::fromUtf8(linkText ? linkText : ""),
                           linkCommand, QString::fromUtf8(buttonText ? buttonText : ""), buttonCommand);
}

void QDMainWindow::HideInfoBar()
{
    lpInfoBar->hide();
}

bool QDMainWindow::IsInfoBarShown() const
{
    return lpInfoBar->isVisible();
}

void QDMainWindow::ShowBubble(const char* text, int x, int y)
{
    QPoint at(x, y);
    if (text && strcmp(text, "Click to expand") == 0)
        at = lpThumbnailExpand->mapTo(this, QPoint(lpThumbnailExpand->width(), 0));
    else
        at.ry() += lpCaptionBar->geometry().bottom();
    QToolTip::showText(mapToGlobal(at), QString::fromUtf8(text ? text : ""), this, QRect(), 5000);
}

// ---- projects

QDMainWindow::ViewerEntry* QDMainWindow::FindEntry(const QDProjectViewer* viewer) const
{
    for (const auto& e : vViewers)
        if (e->lpViewer == viewer)
            return e.get();
    return nullptr;
}

void QDMainWindow::AddProjectViewer(QDProjectViewer& viewer)
{
    if (FindEntry(&viewer))
        return;
    auto entry = std::make_unique<ViewerEntry>();
    entry->lpViewer = &viewer;
    entry->lpWindow = new QDCanvasViewerWindow(viewer.GetCanvasViewer(), lpCanvasStack);
    entry->lpNotifyee = std::make_unique<QDCanvasNotifyee>(rHandler, viewer);
    viewer.GetCanvasViewer().AddNotifyee(entry->lpNotifyee.get());
    connect(entry->lpWindow, &QDCanvasViewerWindow::zoomChanged, this,
            [this, &viewer](float) { rHandler.EvCanvasZoomChanged(viewer); });
    lpCanvasStack->addWidget(entry->lpWindow);
    vViewers.push_back(std::move(entry));
}

void QDMainWindow::RemoveProjectViewer(QDProjectViewer& viewer)
{
    for (auto it = vViewers.begin(); it != vViewers.end(); ++it)
        if ((*it)->lpViewer == &viewer)
        {
            ViewerEntry* entry = it->get();
            if (lpShown == entry)
            {
                lpShown = nullptr;
                lpElementList->SetItems({});
                lpPanelTitle->clear();
            }
            entry->mapUis.clear();
            viewer.GetCanvasViewer().RemoveNotifyee(entry->lpNotifyee.get());
            lpCanvasStack->removeWidget(entry->lpWindow);
            delete entry->lpWindow;
            vViewers.erase(it);
            return;
        }
}

void QDMainWindow::ShowProjectViewer(QDProjectViewer* viewer)
{
    ViewerEntry* entry = FindEntry(viewer);
    lpShown = entry;
    if (!entry)
    {
        lpCanvasStack->setCurrentWidget(bStartScreenShown ? static_cast<QWidget*>(lpStartScreen) : lpLogo);
        lpElementList->SetItems({});
        ShowPanelsOf(nullptr);
        return;
    }
    lpCanvasStack->setCurrentWidget(entry->lpWindow);
    ShowPanelsOf(entry);
    entry->lpWindow->GetView()->setFocus();
}

void QDMainWindow::GetCanvasSize(int& width, int& height) const
{
    const qreal dpr = devicePixelRatioF();
    width = int(std::lround(lpCanvasStack->width() * dpr));
    height = int(std::lround(lpCanvasStack->height() * dpr));
}

QDCanvasViewerWindow* QDMainWindow::GetCanvasWindow(const QDProjectViewer* viewer) const
{
    ViewerEntry* e = FindEntry(viewer);
    return e ? e->lpWindow : nullptr;
}

QDCanvasViewerWindow* QDMainWindow::GetCurrentCanvasWindow() const
{
    return lpShown ? lpShown->lpWindow : nullptr;
}

LSceneGraphView* QDMainWindow::GetCurrentView() const
{
    return lpShown ? lpShown->lpWindow->GetView() : nullptr;
}

// ---- element panels

void QDMainWindow::CreateElementUi(QDProjectViewer& viewer, QDImagePipelineElement* element,
                                   QDEffectFactory* factory)
{
    ViewerEntry* entry = FindEntry(&viewer);
    if (!entry || !element || entry->mapUis.count(element))
        return;
    auto ui = std::make_unique<QDPipelineElementUiBase>();
    ui->lpElement = element;
    ui->lpCanvasViewer = &viewer.GetCanvasViewer();
    ui->lpWidget = viewer.MapPipelineElementToUi(element);
    ui->lpPanel = factory ? factory->CreatePanel(element) : QDMakeTablePanel(element);
    if (ui->lpPanel)
    {
        ui->lpPanel->hide();
        ui->lpPanel->setParent(lpPanelContainer);
        lpPanelLayout->insertWidget(lpPanelLayout->count() - 1, ui->lpPanel);
        ui->lpPanel->hide();
    }
    entry->mapUis[element] = std::move(ui);
}

void QDMainWindow::DestroyElementUi(QDProjectViewer& viewer, QDImagePipelineElement* element)
{
    ViewerEntry* entry = FindEntry(&viewer);
    if (!entry)
        return;
    if (entry->lpSelected == element)
        entry->lpSelected = nullptr;
    entry->mapUis.erase(element);
    if (entry == lpShown)
        ShowPanelsOf(entry);
}

void QDMainWindow::SelectElementUi(QDProjectViewer& viewer, QDImagePipelineElement* element)
{
    ViewerEntry* entry = FindEntry(&viewer);
    if (!entry)
        return;
    entry->lpSelected = element && entry->mapUis.count(element) ? element : nullptr;
    if (entry == lpShown)
        ShowPanelsOf(entry);
}

void QDMainWindow::ShowPanelsOf(ViewerEntry* shown)
{
    QWidget* visible = nullptr;
    for (const auto& entry : vViewers)
        for (auto& [element, ui] : entry->mapUis)
        {
            if (!ui->lpPanel)
                continue;
            const bool show = entry.get() == shown && element == shown->lpSelected;
            ui->lpPanel->setVisible(show);
            if (show)
                visible = ui->lpPanel;
        }
    QDImagePipelineElement* selected = shown ? shown->lpSelected : nullptr;
    lpPanelTitle->setText(selected ? QString::fromUtf8(selected->GetName()) : QString());
    if (visible)
        lpPanelScroll->ensureWidgetVisible(visible, 0, 0);
}

QDPropertiesPanel* QDMainWindow::GetShownPanel() const
{
    if (!lpShown || !lpShown->lpSelected)
        return nullptr;
    auto it = lpShown->mapUis.find(lpShown->lpSelected);
    return it == lpShown->mapUis.end() ? nullptr : it->second->lpPanel;
}

void QDMainWindow::UpdateElementList(QDProjectViewer& viewer)
{
    ViewerEntry* entry = FindEntry(&viewer);
    if (!entry || entry != lpShown)
        return;
    const QDImagePipeline& pipeline = viewer.GetProject().pipeline;
    const size_t rendered = pipeline.GetNumVisibleElements();
    std::vector<QDElementListItem> items;
    size_t index = 0;
    for (QDImagePipelineElement* e = pipeline.GetFirstElement(); e; e = e->GetNextItem(), ++index)
        items.push_back({e, QString::fromUtf8(e->GetName()), e->bVisible, index < rendered, e->bBaseElement,
                         e == entry->lpSelected});
    lpElementList->SetItems(items);
}

// ---- thumbnails

void QDMainWindow::ThumbnailAdd(QDProject& project)
{
    lpThumbnails->Add(&project, QString::fromUtf8(project.szName[0] ? project.szName : "Untitled"));
}

void QDMainWindow::ThumbnailUpdate(QDProject& project, const LImageBuffer& image)
{
    lpThumbnails->Update(&project, ToQImage(image, true),
                         QString::fromUtf8(project.szName[0] ? project.szName : "Untitled"));
}

void QDMainWindow::ThumbnailRemove(QDProject& project)
{
    lpThumbnails->Remove(&project);
}

void QDMainWindow::ThumbnailSelect(QDProject* project)
{
    lpThumbnails->Select(project);
}

bool QDMainWindow::IsThumbnailStripCollapsed() const
{
    return lpThumbnails->isHidden();
}

void QDMainWindow::SetThumbnailStripCollapsed(bool bCollapsed)
{
    lpThumbnails->setVisible(!bCollapsed);
    lpThumbnailExpand->setArrowType(bCollapsed ? Qt::UpArrow : Qt::DownArrow);
}

void QDMainWindow::SetRecentFiles(const std::vector<std::string>& paths)
{
    lpStartScreen->SetRecentFiles(paths);
}

void QDMainWindow::SetStartScreenShown(bool bShown)
{
    bStartScreenShown = bShown;
    if (!lpShown)
        lpCanvasStack->setCurrentWidget(bShown ? static_cast<QWidget*>(lpStartScreen) : lpLogo);
}

// ---- clipboard

bool QDMainWindow::ClipboardHasImage() const
{
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    return data && data->hasImage();
}

bool QDMainWindow::ClipboardHasText() const
{
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    return data && data->hasText() && !data->text().isEmpty();
}

bool QDMainWindow::ClipboardHasRichText() const
{
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    return data && (data->hasFormat("text/rtf") || data->hasFormat("text/richtext"));
}

bool QDMainWindow::ClipboardGetImage(LImageBuffer& image) const
{
    const QImage source = QGuiApplication::clipboard()->image();
    if (source.isNull())
        return false;
    const QImage argb = source.convertToFormat(QImage::Format_ARGB32);
    if (argb.isNull() || !LImage::New(image, argb.width(), argb.height()))
        return false;
    for (int y = 0; y < argb.height(); ++y)
        memcpy(image.GetRow(y), argb.constScanLine(y), size_t(argb.width()) * 4);
    return true;
}

bool QDMainWindow::ClipboardGetText(std::string& text, bool bRich) const
{
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    if (!data)
        return false;
    if (bRich)
    {
        const QByteArray rtf =
            data->hasFormat("text/rtf") ? data->data("text/rtf") : data->data("text/richtext");
        text = rtf.toStdString();
        return !rtf.isEmpty();
    }
    text = data->text().toStdString();
    return !text.empty();
}

bool QDMainWindow::ClipboardSetImage(const LImageBuffer& image)
{
    const QImage copy = ToQImage(image);
    if (copy.isNull())
        return false;
    QGuiApplication::clipboard()->setImage(copy);
    return true;
}

// ---- long work

LProcessResult QDMainWindow::RunProcessDialog(const char* title, const ProcessFunction& process)
{
    QDProcessFunctionData data{&process};
    return ProcessRunAsDialog(this, title, data);
}

LProcessResult QDMainWindow::RunProcessQueueDialog(const char* title,
                                                   const std::vector<ProcessFunction>& queue,
                                                   bool bContinueOnError, unsigned* failedCount)
{
    LProcessQueue<QDProcessFunctionData> items;
    for (const ProcessFunction& f : queue)
        items.Add(new QDProcessFunctionData{&f});
    return ProcessQueueRunAsDialog(this, title, items, bContinueOnError, failedCount);
}

void QDMainWindow::RunBatchEditor(QDBatchStateData& state)
{
    QDBatchEditorDialog::Open(this, state);
}

void QDMainWindow::OpenHelpPage(const char* name)
{
    char folder[LFILE_MAX_PATH];
    if (!LFile::GetResourcesFolder(folder))
        return;
    const QString page = QString("%1/help/%2.html").arg(QString::fromUtf8(folder), QString::fromUtf8(name));
    if (QFileInfo::exists(page))
        QDesktopServices::openUrl(QUrl::fromLocalFile(page));
}

bool QDMainWindow::SaveWindowPicture(const char* path)
{
    QWidget* shown = QApplication::activeModalWidget();
    if (!shown)
        shown = this;
    QPixmap shot;
    if (QScreen* s = shown->screen(); s && shown->windowHandle())
        shot = s->grabWindow(shown->winId());
    if (shot.isNull() || shot.size().isEmpty() || QGuiApplication::platformName() == "offscreen")
        shot = shown->grab();
    return !shot.isNull() && shot.save(QString::fromUtf8(path), "PNG");
}

void QDMainWindow::CloseModalDialog()
{
    if (QWidget* dialog = QApplication::activeModalWidget(); dialog && dialog != this)
        dialog->close();
}
