#pragma once
// The application's main window: a canvas per open project, the status bar with the render's
// progress and the zoom control, and the View menu's zoom commands. It owns the projects and the
// render thread until the controller takes them over, and hears the render thread's
// notifications on the main loop.

#include <QMainWindow>
#include <QString>
#include <memory>
#include <vector>

#include "document/QDImagePipelineElementProcessingThread.h"
#include "foundation/LThreadRunOnMainThread.h"

class QLabel;
class QProgressBar;
class QStackedWidget;
class LSceneGraphView;
class QDCanvasViewerWindow;
class QDProject;
class QDProjectViewer;
class QDZoomControl;

class QDMainWindow : public QMainWindow, public LQueuedNotifyDataHandler
{
    Q_OBJECT
public:
    explicit QDMainWindow(QWidget* parent = nullptr);
    ~QDMainWindow() override;

    // Opens the picture as a new project shown fitted on its canvas and starts its render. On
    // failure the window shows the system's message and the result is false.
    bool OpenImage(const char* path);
    QString GetShownMessage() const;

    QDProject* GetCurrentProject() const { return lpCurrentProject; }
    QDProjectViewer* GetCurrentViewer() const;
    QDCanvasViewerWindow* GetCurrentCanvasWindow() const;
    LSceneGraphView* GetCurrentView() const;
    QDZoomControl* GetZoomControl() const { return lpZoom; }
    QProgressBar* GetProgressBar() const { return lpProgress; }
    QDImagePipelineElementProcessingThread& GetRenderThread() { return threadRender; }

    // Renders the current project: the low-resolution picture first, then the full one.
    void RenderProject();
    void ZoomIn();
    void ZoomOut();
    void ZoomTo(float zoom);
    void FitToWindow();

    // For scripts: once the first full render is on screen, set the zoom ("fit" or a per cent)
    // and, with a path, save a picture of the window there and quit.
    void SetAutomation(const QString& zoom, const QString& screenshotPath);

    void EvQueuedNotifyData(int code, void* data, size_t size) override;

signals:
    // A notification of the render thread has been handled.
    void renderNotified(int code);

private:
    struct Open
    {
        std::unique_ptr<QDProjectViewer> lpViewer;
        QDCanvasViewerWindow* lpWindow;
    };
    void CreateMenus();
    void ShowMessage(const QString& text);
    void ShowZoom(float zoom);
    void RunAutomation();
    const Open* FindOpen(const QDProject* project) const;

    QStackedWidget* lpStack;
    QLabel* lpMessage;
    QLabel* lpStatusText;
    QProgressBar* lpProgress;
    QDZoomControl* lpZoom;
    QDProject* lpProjects = nullptr;
    QDProject* lpCurrentProject = nullptr;
    std::vector<Open> vOpen;
    QDImagePipelineElementProcessingThread threadRender{&lpProjects};
    QString szAutomationZoom;
    QString szAutomationShot;
    bool bAutomationPending = false;
};
