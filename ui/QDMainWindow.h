#pragma once
// The program's window on Qt: the menus, the caption toolbar and the tabbed toolbar the
// controller describes, the canvas of each project beside the element list and the properties
// panel, the thumbnail strip, the start screen, the info bar and the status bar with the
// render's progress and the zoom control. It holds no state of the documents: every user action
// goes to the controller as a command or an event, and the controller sets what is shown.

#include <QMainWindow>
#include <map>
#include <memory>
#include <vector>

#include "ui/LToolkit.h"

class QAction;
class QLabel;
class QProgressBar;
class QScrollArea;
class QShortcut;
class QSplitter;
class QStackedWidget;
class QToolBar;
class QToolButton;
class QVBoxLayout;
class LSceneGraphView;
class QDCanvasViewerWindow;
class QDElementList;
class QDInfoBar;
class QDPipelineElementUiBase;
class QDPropertiesPanel;
class QDStartScreen;
class QDTabbedToolBar;
class QDThumbnailBrowser;
class QDZoomControl;

class QDMainWindow : public QMainWindow, public LMainWindowHost
{
    Q_OBJECT
public:
    explicit QDMainWindow(LMainWindowHandler& handler, QWidget* parent = nullptr);
    ~QDMainWindow() override;

    // ---- LMainWindowHost
    void Show() override;
    void SetCaption(const char* documentName, bool bEdited) override;
    bool IsEnabled() const override;
    bool IsMinimizedOrInBackground() const override;
    void BringToFront() override;
    void Relayout() override;
    void ToggleFullScreen() override;
    bool IsFullScreen() const override;
    void Quit(int code) override;
    void SetMenus(const std::vector<LMenu>& menus) override;
    void SetCaptionToolbar(const std::vector<LToolbarItem>& items) override;
    void SetToolbarTabs(const std::vector<LToolbarTab>& tabs) override;
    void SetKeyMap(const std::vector<LKeyMapEntry>& keys) override;
    void EnableCommand(int id, bool bEnable) override;
    void CheckCommand(int id, bool bCheck) override;
    void SetCommandText(int id, const char* text) override;
    bool IsCommandEnabled(int id) const override;
    void ShowToolbarTab(int controlId) override;
    void ShowControl(int id, bool bShow) override;
    void SetControlTip(int id, const char* text) override;
    void SetStatusText(const char* text) override;
    void SetStatusProgress(double fraction) override;
    double GetStatusProgress() const override;
    void SetStatusZoom(int percent) override;
    int GetStatusZoom() const override;
    void ShowStatusZoom(bool bShow) override;
    void ShowInfoBar(const char* text, const char* linkText, int linkCommand, const char* buttonText,
                     int buttonCommand) override;
    void HideInfoBar() override;
    bool IsInfoBarShown() const override;
    void ShowBubble(const char* text, int x, int y) override;
    void AddProjectViewer(QDProjectViewer& viewer) override;
    void RemoveProjectViewer(QDProjectViewer& viewer) override;
    void ShowProjectViewer(QDProjectViewer* viewer) override;
    void GetCanvasSize(int& width, int& height) const override;
    void CreateElementUi(QDProjectViewer& viewer, QDImagePipelineElement* element,
                         QDEffectFactory* factory) override;
    void DestroyElementUi(QDProjectViewer& viewer, QDImagePipelineElement* element) override;
    void SelectElementUi(QDProjectViewer& viewer, QDImagePipelineElement* element) override;
    void UpdateElementList(QDProjectViewer& viewer) override;
    void ThumbnailAdd(QDProject& project) override;
    void ThumbnailUpdate(QDProject& project, const LImageBuffer& image) override;
    void ThumbnailRemove(QDProject& project) override;
    void ThumbnailSelect(QDProject* project) override;
    bool IsThumbnailStripCollapsed() const override;
    void SetThumbnailStripCollapsed(bool bCollapsed) override;
    void SetRecentFiles(const std::vector<std::string>& paths) override;
    void SetStartScreenShown(bool bShown) override;
    bool ClipboardHasImage() const override;
    bool ClipboardHasText() const override;
    bool ClipboardHasRichText() const override;
    bool ClipboardGetImage(LImageBuffer& image) const override;
    bool ClipboardGetText(std::string& text, bool bRich) const override;
    bool ClipboardSetImage(const LImageBuffer& image) override;
    LProcessResult RunProcessDialog(const char* title, const ProcessFunction& process) override;
    LProcessResult RunProcessQueueDialog(const char* title, const std::vector<ProcessFunction>& queue,
                                         bool bContinueOnError, unsigned* failedCount) override;
    void RunBatchEditor(QDBatchStateData& state) override;
    void OpenHelpPage(const char* name) override;
    bool SaveWindowPicture(const char* path) override;
    void CloseModalDialog() override;

    // ---- what tests and scripts look at
    // The menu's action of a command, null when the menus don't hold it.
    QAction* GetMenuAction(int id) const;
    QDTabbedToolBar* GetTabbedToolBar() const { return lpTabs; }
    QToolBar* GetCaptionToolBar() const { return lpCaptionBar; }
    QDElementList* GetElementList() const { return lpElementList; }
    QDThumbnailBrowser* GetThumbnailBrowser() const { return lpThumbnails; }
    QDStartScreen* GetStartScreen() const { return lpStartScreen; }
    QDInfoBar* GetInfoBar() const { return lpInfoBar; }
    QDZoomControl* GetZoomControl() const { return lpZoom; }
    QProgressBar* GetProgressBar() const { return lpProgress; }
    QSplitter* GetSplitter() const { return lpSplitter; }
    QDCanvasViewerWindow* GetCanvasWindow(const QDProjectViewer* viewer) const;
    QDCanvasViewerWindow* GetCurrentCanvasWindow() const;
    LSceneGraphView* GetCurrentView() const;
    // The panel shown for the current project, null when none is.
    QDPropertiesPanel* GetShownPanel() const;
    QString GetCaption() const { return windowTitle(); }

    // Device pixels of a QImage made from a buffer of the program.
    static QImage ToQImage(const LImageBuffer& image, bool bPremultiplied = false);

protected:
    void closeEvent(QCloseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    struct CommandState
    {
        bool bEnabled = true;
        bool bChecked = false;
        bool bCheckable = false;
        std::vector<QAction*> vMenuActions;
        std::vector<QAction*> vOtherActions;
    };
    struct ViewerEntry
    {
        QDProjectViewer* lpViewer = nullptr;
        QDCanvasViewerWindow* lpWindow = nullptr;
        std::unique_ptr<class QDCanvasNotifyee> lpNotifyee;
        std::map<QDImagePipelineElement*, std::unique_ptr<QDPipelineElementUiBase>> mapUis;
        QDImagePipelineElement* lpSelected = nullptr;
    };

    QAction* MakeCommandAction(int id, const QString& text, bool bMenu);
    void ApplyState(int id);
    ViewerEntry* FindEntry(const QDProjectViewer* viewer) const;
    void ShowPanelsOf(ViewerEntry* entry);
    void SaveLayout();
    void RestoreLayout();
    void BuildLayout();

    LMainWindowHandler& rHandler;
    std::map<int, CommandState> mapCommands;
    std::vector<QShortcut*> vShortcuts;
    QShortcut* lpEscape = nullptr;
    QToolBar* lpCaptionBar = nullptr;
    QDTabbedToolBar* lpTabs = nullptr;
    QDInfoBar* lpInfoBar = nullptr;
    QSplitter* lpSplitter = nullptr;
    QStackedWidget* lpCanvasStack = nullptr;
    QDStartScreen* lpStartScreen = nullptr;
    QLabel* lpLogo = nullptr;
    QSplitter* lpRightColumn = nullptr;
    QDElementList* lpElementList = nullptr;
    QScrollArea* lpPanelScroll = nullptr;
    QWidget* lpPanelContainer = nullptr;
    QVBoxLayout* lpPanelLayout = nullptr;
    QLabel* lpPanelTitle = nullptr;
    QDThumbnailBrowser* lpThumbnails = nullptr;
    QToolButton* lpThumbnailExpand = nullptr;
    QLabel* lpStatusText = nullptr;
    QProgressBar* lpProgress = nullptr;
    QDZoomControl* lpZoom = nullptr;
    int iStatusZoom = 100;
    bool bStartScreenShown = true;
    std::vector<std::unique_ptr<ViewerEntry>> vViewers;
    ViewerEntry* lpShown = nullptr;
};
