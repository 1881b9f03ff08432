#include "ui/QDMainWindow.h"

#include <QAction>
#include <QApplication>
#include <QGuiApplication>
#include <QLabel>
#include <QMenuBar>
#include <QProgressBar>
#include <QScreen>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTimer>
#include <QWindow>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "canvas/QDProjectViewer.h"
#include "codecs/LImage.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"
#include "image/LImageBuffer.h"
#include "ui/LSceneGraphView.h"
#include "ui/QDCanvasViewerWindow.h"
#include "ui/QDZoomControl.h"

namespace
{
// Keeps the message a failed load sets, to show it in place of the picture.
class QDMessageKeeper : public LProcessInterfaceVoid
{
public:
    void SetError(const char* text) override { szError = QString::fromUtf8(text); }
    QString szError;
};

constexpr float kZoomMin = 0.05f, kZoomMax = 5.0f;
} // namespace

QDMainWindow::QDMainWindow(QWidget* parent)
    : QMainWindow(parent), lpStack(new QStackedWidget(this)), lpMessage(new QLabel(this)),
      lpStatusText(new QLabel(this)), lpProgress(new QProgressBar(this)), lpZoom(new QDZoomControl(this))
{
    setWindowTitle("Quendrel");
    lpMessage->setAlignment(Qt::AlignCenter);
    lpMessage->setWordWrap(true);
    lpStack->addWidget(lpMessage);
    setCentralWidget(lpStack);

    lpProgress->setRange(0, 100);
    lpProgress->setValue(100);
    lpProgress->setMaximumWidth(160);
    lpProgress->setTextVisible(false);
    statusBar()->addWidget(lpStatusText, 1);
    statusBar()->addPermanentWidget(lpProgress);
    statusBar()->addPermanentWidget(lpZoom);
    connect(lpZoom, &QDZoomControl::zoomTo, this, [this](int percent) { ZoomTo(float(percent) / 100.0f); });
    connect(lpZoom, &QDZoomControl::zoomIn, this, &QDMainWindow::ZoomIn);
    connect(lpZoom, &QDZoomControl::zoomOut, this, &QDMainWindow::ZoomOut);
    connect(lpZoom, &QDZoomControl::fit, this, &QDMainWindow::FitToWindow);
    CreateMenus();

    threadRender.lpNotifyHandler = this;
    QSize size(1280, 800);
    if (const QScreen* s = QGuiApplication::primaryScreen())
        size = size.boundedTo(s->availableGeometry().size() * 0.9);
    resize(size);
}

QDMainWindow::~QDMainWindow()
{
    threadRender.StopThreadNow();
    threadRunOnMainThread.ThreadRunOnMainThreadDestroy();
    for (Open& o : vOpen)
    {
        lpStack->removeWidget(o.lpWindow);
        delete o.lpWindow;
        o.lpViewer.reset();
    }
    vOpen.clear();
    while (QDProject* p = lpProjects)
    {
        lpProjects = p->lpNext;
        delete p;
    }
}

void QDMainWindow::CreateMenus()
{
    QMenu* view = menuBar()->addMenu("View");
    QAction* in = view->addAction("Zoom-In", this, &QDMainWindow::ZoomIn);
    // Ctrl+= is the same key without Shift on most layouts.
    in->setShortcuts({QKeySequence("Ctrl++"), QKeySequence("Ctrl+=")});
    QAction* out = view->addAction("Zoom-Out", this, &QDMainWindow::ZoomOut);
    out->setShortcut(QKeySequence("Ctrl+-"));
    view->addSeparator();
    QAction* fitAction = view->addAction("Fit to Window", this, &QDMainWindow::FitToWindow);
    fitAction->setShortcut(QKeySequence("Ctrl+0"));
    view->addSeparator();
    QMenu* to = view->addMenu("Zoom To");
    for (int percent : QDZoomControl::kStops)
        to->addAction(QString("%1%").arg(percent), this,
                      [this, percent] { ZoomTo(float(percent) / 100.0f); });
    for (QAction* a : {in, out, fitAction})
        a->setShortcutContext(Qt::WindowShortcut);
}

QDProjectViewer* QDMainWindow::GetCurrentViewer() const
{
    const Open* o = FindOpen(lpCurrentProject);
    return o ? o->lpViewer.get() : nullptr;
}

QDCanvasViewerWindow* QDMainWindow::GetCurrentCanvasWindow() const
{
    const Open* o = FindOpen(lpCurrentProject);
    return o ? o->lpWindow : nullptr;
}

LSceneGraphView* QDMainWindow::GetCurrentView() const
{
    QDCanvasViewerWindow* w = GetCurrentCanvasWindow();
    return w ? w->GetView() : nullptr;
}

const QDMainWindow::Open* QDMainWindow::FindOpen(const QDProject* project) const
{
    for (const Open& o : vOpen)
        if (&o.lpViewer->GetProject() == project)
            return &o;
    return nullptr;
}

void QDMainWindow::ShowMessage(const QString& text)
{
    lpMessage->setText(text);
    lpStatusText->setText(text);
    if (!lpCurrentProject)
        lpStack->setCurrentWidget(lpMessage);
}

QString QDMainWindow::GetShownMessage() const
{
    return lpMessage->text();
}

bool QDMainWindow::OpenImage(const char* path)
{
    LImageBuffer buffer;
    QDMessageKeeper process;
    if (LImage::Load(process, buffer, path) == 0 || !buffer.IsValid())
    {
        ShowMessage(process.szError.isEmpty() ? QString("The image could not be loaded.") : process.szError);
        if (bAutomationPending && !szAutomationShot.isEmpty())
            QTimer::singleShot(0, this, [] { QApplication::exit(2); });
        return false;
    }

    auto* project = new QDProject(unsigned(buffer.GetWidth()), unsigned(buffer.GetHeight()));
    QDProject** tail = &lpProjects;
    while (*tail)
        tail = &(*tail)->lpNext;
    *tail = project;

    Open open;
    open.lpViewer = std::make_unique<QDProjectViewer>(*project);
    open.lpViewer->SetupProjectViewer(true, kZoomMin, kZoomMax);
    open.lpWindow = new QDCanvasViewerWindow(open.lpViewer->GetCanvasViewer(), lpStack);
    connect(open.lpWindow, &QDCanvasViewerWindow::zoomChanged, this, [this](float zoom) { ShowZoom(zoom); });
    lpStack->addWidget(open.lpWindow);

    // The small render is three quarters of the fitted size, for the canvas as it now stands.
    const qreal dpr = devicePixelRatioF();
    const QSize area = lpStack->size() * dpr;
    project->viewport.fLowResScale = QDProjectViewer::ComputeLowResScale(
        area.width(), area.height(), buffer.GetWidth(), buffer.GetHeight());
    QDOriginalImageFactory::CreateLayer(*project, buffer, false, true, path);
    buffer.Destroy();
    const char* name = strrchr(path, '/');
    snprintf(project->szFilePath, sizeof(project->szFilePath), "%s", path);
    snprintf(project->szName, sizeof(project->szName), "%s", name ? name + 1 : path);

    QDProjectViewer* viewer = open.lpViewer.get();
    QDCanvasViewerWindow* window = open.lpWindow;
    vOpen.push_back(std::move(open));
    if (QDProjectViewer* old = GetCurrentViewer())
        old->Hide();
    lpCurrentProject = project;
    viewer->Show();
    viewer->SyncPipelineElementUis();
    lpStack->setCurrentWidget(window);
    window->GetView()->setFocus();
    setWindowTitle(QString("%1 - Quendrel").arg(QString::fromUtf8(project->szName)));
    lpStatusText->clear();
    ShowZoom(viewer->GetCanvasViewer().GetZoom());
    RenderProject();
    return true;
}

void QDMainWindow::RenderProject()
{
    if (!lpCurrentProject)
        return;
    lpCurrentProject->bRenderRequested = true;
    threadRender.SetCurrentProjectAndStart(lpCurrentProject);
}

void QDMainWindow::ShowZoom(float zoom)
{
    lpZoom->SetZoomPercent(int(std::lround(100.0 * zoom)));
}

void QDMainWindow::ZoomIn()
{
    if (QDProjectViewer* v = GetCurrentViewer())
        v->GetCanvasViewer().ZoomIn();
}

void QDMainWindow::ZoomOut()
{
    if (QDProjectViewer* v = GetCurrentViewer())
        v->GetCanvasViewer().ZoomOut();
}

void QDMainWindow::ZoomTo(float zoom)
{
    if (QDProjectViewer* v = GetCurrentViewer())
        v->GetCanvasViewer().SetZoom(std::clamp(zoom, kZoomMin, kZoomMax));
}

void QDMainWindow::FitToWindow()
{
    if (QDProjectViewer* v = GetCurrentViewer())
        v->GetCanvasViewer().FitCameraToViewport();
}

void QDMainWindow::EvQueuedNotifyData(int code, void* data, size_t size)
{
    if (code == QDRenderNotifyProgress)
    {
        lpProgress->setValue(int(size));
        return;
    }
    if (code == QDRenderNotifyBegin)
        lpProgress->setValue(0);
    else if (code == QDRenderNotifyHighRes || code == QDRenderNotifyCancelled || code == QDRenderNotifyFailed)
        lpProgress->setValue(100);
    QDProject* project = QDProjectFromNotification(lpProjects, data, size);
    if (const Open* o = FindOpen(project))
        o->lpViewer->EvRenderNotification(code);
    if (code == QDRenderNotifyHighRes && bAutomationPending && project == lpCurrentProject)
        RunAutomation();
    emit renderNotified(code);
}

void QDMainWindow::SetAutomation(const QString& zoom, const QString& screenshotPath)
{
    szAutomationZoom = zoom;
    szAutomationShot = screenshotPath;
    bAutomationPending = true;
    if (!screenshotPath.isEmpty())
        // A picture that never renders must not leave a script waiting for ever.
        QTimer::singleShot(120000, this, [] { QApplication::exit(2); });
}

void QDMainWindow::RunAutomation()
{
    bAutomationPending = false;
    if (szAutomationZoom == "fit")
        FitToWindow();
    else if (!szAutomationZoom.isEmpty())
        ZoomTo(szAutomationZoom.toFloat() / 100.0f);
    if (szAutomationShot.isEmpty())
        return;
    // After the coalesced repaint has reached the screen.
    QTimer::singleShot(500, this,
                       [this]
                       {
                           QPixmap shot;
                           if (QScreen* s = screen())
                               shot = s->grabWindow(winId());
                           if (shot.isNull() || shot.size().isEmpty())
                               shot = grab();
                           const bool ok = shot.save(szAutomationShot, "PNG");
                           QApplication::exit(ok ? 0 : 2);
                       });
}
