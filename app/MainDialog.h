#pragma once
// The controller: the open projects and their viewers, the factories of the catalogue, the one
// render thread, and the target of every command, key, timer, window message and render
// notification. It reaches the window only through LMainWindowHost and a person only through
// LDialogResponder, so every flow runs headless in a test.
//
// Its work is split by concern: MainDialogStartup (construction, InitDialog, timers, welcome,
// preferences), MainDialogProjects (the project list and element panels), MainDialogFiles (open,
// drop, new), MainDialogSave, MainDialogCommands (the command table, the route of effects, undo,
// keys), MainDialogEnable, MainDialogClipboard, MainDialogNotify (render notifications, window
// messages, commands from the pipe), MainDialogRecovery and MainDialogElements (the element list).

#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/LMainWindow.h"
#include "app/QDEffectIcons.h"
#include "batch/QDBatchState.h"
#include "document/LUndoRedo.h"
#include "document/QDImagePipelineElementProcessingThread.h"
#include "document/QDProject.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectCategory.h"
#include "foundation/LInterWinMessage.h"
#include "foundation/LThreadRunOnMainThread.h"
#include "foundation/LTimerHandler.h"

class QDProjectViewer;
class MainDialog;

// A project's viewer and the element panels it holds: which elements have one, and which one
// is shown.
struct QDMainViewer
{
    explicit QDMainViewer(QDProject& project);
    ~QDMainViewer();
    std::unique_ptr<QDProjectViewer> lpViewer;
    std::vector<QDImagePipelineElement*> vElementUis;
    QDImagePipelineElement* lpSelectedUi = nullptr;

    bool HasElementUi(const QDImagePipelineElement* element) const;
};

// One file of a queue that opens files; its Process calls FileOpen.
struct QDProcessMainDialogFileOpen
{
    MainDialog* lpDialog = nullptr;
    char szFilePath[LFILE_MAX_PATH] = {};
};
LProcessResult Process(LProcessInterface& process, QDProcessMainDialogFileOpen& data);

// Saves a project's rendered image, waiting for the render first.
struct QDSaveData
{
    QDProject* lpProject = nullptr;
    std::string szPath;
    QDImagePipelineElementProcessingThread* lpThread = nullptr;
    LImageEncodeSettings settings;
    ERROR_CODE_SAVE iCode = ERROR_CODE_SAVE_SUCCESS;
};
LProcessResult Process(LProcessInterface& process, QDSaveData& data);

class MainDialog : public LMainWindow,
                   public LUndoRedoStackNotifyee,
                   public LInterWinMessageHandler,
                   public LQueuedNotifyDataHandler,
                   public LTimerHandler
{
public:
    explicit MainDialog(LToolkit& toolkit);
    ~MainDialog() override;

    // ---- start-up (MainDialogStartup)
    void InitDialog() override;
    void DestroyDialog() override;
    void EvStartupArguments(const std::vector<std::string>& arguments) override;
    void EvTimer(int id) override;
    void DisplayWelcomeDialog();
    void CmSettings();
    // Renders the icons the toolbar shows for the effects, once.
    void RenderEffectIcons();

    // ---- the project list (MainDialogProjects)
    QDProject* GetCurrentProject() const { return pCurrentProject; }
    size_t GetProjectCount() const;
    QDProject* GetFirstProject() const { return lpProjects; }
    QDProjectViewer* GetViewerFromProject(const QDProject* project) const;
    QDMainViewer* GetMainViewer(const QDProject* project) const;
    QDProjectViewer* GetCurrentViewer() const { return GetViewerFromProject(pCurrentProject); }
    void AddProject(QDProject* project, bool bMakeCurrent);
    void SetCurrentProject(QDProject* project);
    void EvSelectProject(QDProject* project) override;
    void CloseProject(QDProject* project);
    bool CloseProjectPromptIfUnsaved(QDProject* project);
    void EvCloseProject(QDProject* project) override;
    // 1 save, 0 don't save, 2 cancel.
    int PromptForSave(QDProject* project);
    bool CmProjectClose();
    bool CmProjectCloseAll();
    bool CmCancel() override;
    void EvRenderProject();
    void SetWindowCaption();
    // Element panels: made through the element's factory, kept per viewer.
    void CreateElementUi(QDProject* project, QDImagePipelineElement* element);
    void DestroyElementUi(QDProject* project, QDImagePipelineElement* element);
    void SelectElementUi(QDProject* project, QDImagePipelineElement* element);
    void DeselectAllElementUis(QDProject* project);
    // The panel of the last visible element.
    void SelectLastVisibleElementUi(QDProject* project);
    // A panel for every element of the pipeline that has none.
    void SyncElementUis(QDProject* project);
    QDImagePipelineElement* GetSelectedElement() const;
    void EnableAllLayers(QDProject* project);

    // ---- files (MainDialogFiles)
    LProcessResult FileOpen(LProcessInterface& process, const char* path);
    void CmFileOpen();
    void EvDropFiles(const std::vector<std::string>& paths) override;
    void EvRecentFileOpen(const char* path) override;
    bool BrowseForOpenSingle(std::string& path);
    bool BrowseForOpenMultiple(std::vector<std::string>& paths);
    LProcessResult OpenFilesInQueue(const std::vector<std::string>& paths, const char* title);
    void CmNewFile();
    // A new project of the picture, with an original image element and its panel, made current.
    QDProject* AddProjectFromImage(const LImageBuffer& image, const char* path);

    // ---- saving (MainDialogSave)
    bool Save(QDProject* project, bool bForceBrowse);
    bool SaveAllProjects();
    void CmSave();
    void CmSaveAs();
    void CmSaveImage();
    void CmSaveProject();
    bool BrowseForSave(std::string& path, QDProject* project, LImageCodec& codec);
    bool CheckReadOnlySave(const char* path);
    void DisplayPromptForProjectSaveError(int code);
    void EvSave();
    // "Saving project with hidden layers" when that is the case and wanted.
    void ShowHiddenLayersWarning();
    // Waits for the render in a dialog titled "Saving image"; false when the person stopped it.
    bool WaitForRender();

    // ---- commands (MainDialogCommands)
    void Command(int id, int code) override;
    void EffectCommand(int id);
    bool CheckAndPromptForLayerCountLimit(QDProject* project, int count);
    void CmFirstTimeHelp(int id);
    void CmUndo();
    void CmRedo();
    bool CmDelete();
    void CmDeleteSelection();
    void CmZoomTo(float zoom);
    void CmScroll(int id);
    void CmBackgroundSetTransparent();
    void CmBackgroundPickColour();
    void CmAbout();
    bool EvKeyDown(uint32_t key) override;
    void EvRightClick(bool bOnThumbnail, QDProject* project) override;
    void EvMenuOpen() override;
    void EvCanvasZoomChanged(QDProjectViewer& viewer) override;
    void EvThumbnailStripToggled() override;
    bool SelectionExists() const;

    // ---- enablement (MainDialogEnable)
    void EnableControls() override;
    // Whether the subsystem behind a command exists in this build.
    bool IsCommandAvailable(int id) const;

    // ---- clipboard (MainDialogClipboard)
    void CmClipboardCut();
    void CmClipboardCopy();
    void CmClipboardPaste();
    void CmClipboardPasteImageNewProject();

    // ---- notifications (MainDialogNotify)
    void EvQueuedNotifyData(int code, void* data, size_t size) override;
    void EvInterWinMessage(int id, intptr_t a, intptr_t b) override;
    int EvAPICommand(int count, const char* const* arguments, std::string& result) override;
    // Steps of a command line: files to open, then effects by type key for the current project.
    int RunApiArguments(int count, const char* const* arguments, std::string& result);
    // EvAPICommand's steps after the wait; RunPending runs the commands that waited, in order.
    int RunApiCommand(int count, const char* const* arguments, std::string& result);
    void RunPendingApiCommands();
    void EvUndoRedoStackItemAdded(LUndoRedoItem* item) override;
    void EvUndoRedoStackItemRemoved(LUndoRedoItem* item) override;
    void EvUndoRedoStackPositionChanged() override;
    void EvUndoRedoStackClear() override;
    void EvUndoRedoStackSaveFlagChanged() override;

    // ---- recovery (MainDialogRecovery)
    void RecoverProjects();

    // ---- the element list (MainDialogElements)
    void EvElementSelected(QDImagePipelineElement* element) override;
    void EvElementSetVisible(QDImagePipelineElement* element, bool bVisible) override;
    void EvElementMove(QDImagePipelineElement* element, size_t index) override;
    void EvElementDelete(QDImagePipelineElement* element) override;
    void UpdateElementList();

    // ---- state
    bool bStartScreenShown = false;
    bool bShowStartScreen = true;
    int iWandTolerance = 32;
    LGuiColorAlpha crBackgroundPick{0xFF00, 0xFF00, 0xFF00, 1.0f};
    QDProject* lpProjects = nullptr;
    QDProject* pCurrentProject = nullptr;
    QDImagePipelineElementProcessingThread threadRender{&lpProjects};
    bool bLoadingProject = false;
    bool bApiReady = true;
    // A command of the pipe is running, and those that came meanwhile.
    bool bApiRunning = false;
    std::deque<std::vector<std::string>> dqApiPending;
    std::vector<std::unique_ptr<QDMainViewer>> lViewers;
    LList<QDEffectCategory> lEffectCategories;
    QDEffectCatalogue catalogue;
    QDEffectFactory* pFactoryOriginal = nullptr;
    QDEffectFactory* pFactoryOverlayImage = nullptr;
    QDEffectFactory* pFactoryOverlayText = nullptr;
    QDEffectFactory* pFactoryCropSelection = nullptr;
    QDEffectFactory* pFactoryFill = nullptr;
    QDEffectFactory* pFactoryRegion = nullptr;
    QDEffectFactory* pFactoryCollage = nullptr;
    QDEffectFactory* pFactoryFrame = nullptr;
    // The batch editor's offer, in its order.
    std::vector<QDEffectFactory*> vBatchAvailable;
    QDBatchStateData batchState; // the batch editor's files, effects and script between openings
    bool bThumbnailTipShown = false;
    bool bThumbnailWasCollapsed = false;
    std::string szClipartLocation;
    QDEffectIcons effectIcons;
    // Told after each render notification has been handled: scripts and tests wait on it.
    std::function<void(int code, QDProject* project)> fnRenderNotified;

private:
    void SetupMenu();
    void SetupToolbar();
    void UpdateUndoTexts();
    // The successor of a closing current project: the one before it, else the last one.
    QDProject* FindSuccessor(QDProject* project) const;
    // The order of the pipeline before an undo or redo; after it, the first element whose place
    // changed is made dirty so that the picture follows the order.
    void MarkReorderedDirty(QDProject* project, const std::vector<QDImagePipelineElement*>& before);
    void AfterUndoRedo(QDProject* project, const std::vector<QDImagePipelineElement*>& before);
    bool bEnablingControls = false;
};

// The project's file name, "Untitled" for a project never saved.
const char* QDProjectDisplayName(const QDProject& project);
