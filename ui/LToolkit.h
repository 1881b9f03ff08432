#pragma once
// The window operations the controller calls, the events the window hands back, and the answers
// a person gives. The controller sees only these: QDMainWindow implements the window with Qt,
// QDDialogResponderQt the dialogs, and a test puts a scripted responder in place of a person.
// Nothing here includes Qt, so the logic and its tests can.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "codecs/LImageCodec.h"
#include "codecs/LImageEncodeSettings.h"
#include "document/LGuiColor.h"
#include "foundation/LProcessAlert.h"
#include "foundation/LProcessInterface.h"

class LImageBuffer;
class LWindow;
class QDEffectFactory;
class QDImagePipelineElement;
class QDBatchStateData;
class QDProject;
class QDProjectViewer;

// ---- commands as the window shows them

// A menu line: a command with its text; 0 without text separates, -1 with a text opens a
// sub-menu and -1 without one closes it.
struct LMenuItem
{
    int iCommandId = 0;
    std::string szText;
    std::string szShortcut; // shown beside the text, "Ctrl+S"
    bool bEnabled = true;   // for pop-up menus; the window's menus follow EnableCommand
};

struct LMenu
{
    std::string szName;
    std::vector<LMenuItem> items;
};

// A big toolbar button; a command id of 0 separates.
struct LToolbarItem
{
    int iCommandId = 0;
    std::string szLabel;
    std::string szTip;
    // A freedesktop icon name, or the picture drawn by the effect itself when lpIcon is set.
    std::string szIconName;
    const LImageBuffer* lpIcon = nullptr;
};

struct LToolbarTab
{
    int iControlId = 0;
    std::string szName;
    std::vector<LToolbarItem> items;
};

// A key as the controller knows it: LKeyCommand and LKeyShift over a lower-case character, or a
// virtual key in the top byte.
constexpr uint32_t LKeyVirtual(int virtualKey)
{
    return uint32_t(virtualKey) << 24;
}

struct LKeyMapEntry
{
    uint32_t iKey;
    int iFlag;
    int iCommandId;
};

// Dialog items with a result: a welcome item, a choice of the region question.
struct LDialogMenuItem
{
    std::string szTitle;
    std::string szDescription;
    int iResult = 0;
};

// ---- window -> controller

class LMainWindowHandler
{
public:
    virtual ~LMainWindowHandler() = default;

    virtual void Command(int id, int code) = 0;
    // True when the key was used.
    virtual bool EvKeyDown(uint32_t key) = 0;
    // The window is asked to close; false keeps it.
    virtual bool CmCancel() = 0;
    virtual void EvDropFiles(const std::vector<std::string>& paths) = 0;
    virtual void EvRecentFileOpen(const char* path) = 0;
    virtual void EvSelectProject(QDProject* project) = 0;
    virtual void EvCloseProject(QDProject* project) = 0;
    virtual void EvRightClick(bool bOnThumbnail, QDProject* project) = 0;
    virtual void EvMenuOpen() = 0;
    virtual void EvCanvasZoomChanged(QDProjectViewer& viewer) = 0;
    // The thumbnail strip was collapsed or expanded by its control.
    virtual void EvThumbnailStripToggled() = 0;

    // The element list of the current project.
    virtual void EvElementSelected(QDImagePipelineElement* element) = 0;
    virtual void EvElementSetVisible(QDImagePipelineElement* element, bool bVisible) = 0;
    // To the position index of the pipeline (0 is the first element, drawn at the bottom).
    virtual void EvElementMove(QDImagePipelineElement* element, size_t index) = 0;
    virtual void EvElementDelete(QDImagePipelineElement* element) = 0;
};

// ---- controller -> window

class LMainWindowHost
{
public:
    virtual ~LMainWindowHost() = default;

    // ---- the window
    virtual void Show() = 0;
    // "Untitled" or a file name; an empty name shows the program's name alone.
    virtual void SetCaption(const char* documentName, bool bEdited) = 0;
    // No modal dialog stands over the window.
    virtual bool IsEnabled() const = 0;
    virtual bool IsMinimizedOrInBackground() const = 0;
    virtual void BringToFront() = 0;
    virtual void Relayout() = 0;
    virtual void ToggleFullScreen() = 0;
    virtual bool IsFullScreen() const = 0;
    // Ends the event loop with code once the present event is done.
    virtual void Quit(int code) = 0;

    // ---- commands: one state per id, shared by the menu, the toolbars and the keys
    virtual void SetMenus(const std::vector<LMenu>& menus) = 0;
    virtual void SetCaptionToolbar(const std::vector<LToolbarItem>& items) = 0;
    virtual void SetToolbarTabs(const std::vector<LToolbarTab>& tabs) = 0;
    virtual void SetKeyMap(const std::vector<LKeyMapEntry>& keys) = 0;
    virtual void EnableCommand(int id, bool bEnable) = 0;
    virtual void CheckCommand(int id, bool bCheck) = 0;
    virtual void SetCommandText(int id, const char* text) = 0;
    virtual bool IsCommandEnabled(int id) const = 0;
    virtual void ShowToolbarTab(int controlId) = 0;
    // Controls named by id: 2089 (the logo), 2093, 2094 (the project area), 2101 (the thumbnail
    // strip's expand control).
    virtual void ShowControl(int id, bool bShow) = 0;
    virtual void SetControlTip(int id, const char* text) = 0;

    // ---- status bar
    virtual void SetStatusText(const char* text) = 0;
    virtual void SetStatusProgress(double fraction) = 0;
    virtual double GetStatusProgress() const = 0;
    virtual void SetStatusZoom(int percent) = 0;
    virtual int GetStatusZoom() const = 0;
    virtual void ShowStatusZoom(bool bShow) = 0;

    // ---- info bar and tips
    // linkCommand and buttonCommand go to Command when used; 0 leaves that part out.
    virtual void ShowInfoBar(const char* text, const char* linkText, int linkCommand, const char* buttonText,
                             int buttonCommand) = 0;
    virtual void HideInfoBar() = 0;
    virtual bool IsInfoBarShown() const = 0;
    // A bubble at x, y of the window's client area, below the caption toolbar.
    virtual void ShowBubble(const char* text, int x, int y) = 0;

    // ---- projects: one canvas per viewer; null shows the start screen
    virtual void AddProjectViewer(QDProjectViewer& viewer) = 0;
    virtual void RemoveProjectViewer(QDProjectViewer& viewer) = 0;
    virtual void ShowProjectViewer(QDProjectViewer* viewer) = 0;
    // The canvas area in device pixels.
    virtual void GetCanvasSize(int& width, int& height) const = 0;

    // ---- element panels and the element list of a viewer
    virtual void CreateElementUi(QDProjectViewer& viewer, QDImagePipelineElement* element,
                                 QDEffectFactory* factory) = 0;
    virtual void DestroyElementUi(QDProjectViewer& viewer, QDImagePipelineElement* element) = 0;
    // Shows the element's panel; null shows none.
    virtual void SelectElementUi(QDProjectViewer& viewer, QDImagePipelineElement* element) = 0;
    // Draws the list again from the pipeline.
    virtual void UpdateElementList(QDProjectViewer& viewer) = 0;

    // ---- thumbnail browser
    virtual void ThumbnailAdd(QDProject& project) = 0;
    virtual void ThumbnailUpdate(QDProject& project, const LImageBuffer& image) = 0;
    virtual void ThumbnailRemove(QDProject& project) = 0;
    virtual void ThumbnailSelect(QDProject* project) = 0;
    virtual bool IsThumbnailStripCollapsed() const = 0;
    virtual void SetThumbnailStripCollapsed(bool bCollapsed) = 0;

    // ---- start screen: what stands in the canvas area while no project is open
    virtual void SetRecentFiles(const std::vector<std::string>& paths) = 0;
    // The start screen, or the plain logo when it has been closed.
    virtual void SetStartScreenShown(bool bShown) = 0;

    // ---- clipboard
    virtual bool ClipboardHasImage() const = 0;
    virtual bool ClipboardHasText() const = 0;
    virtual bool ClipboardHasRichText() const = 0;
    // A B8G8R8A8 copy of the clipboard's picture; false without one.
    virtual bool ClipboardGetImage(LImageBuffer& image) const = 0;
    virtual bool ClipboardGetText(std::string& text, bool bRich) const = 0;
    virtual bool ClipboardSetImage(const LImageBuffer& image) = 0;

    // ---- long work behind the progress dialog, on the main thread
    using ProcessFunction = std::function<LProcessResult(LProcessInterface&)>;
    virtual LProcessResult RunProcessDialog(const char* title, const ProcessFunction& process) = 0;
    virtual LProcessResult RunProcessQueueDialog(const char* title, const std::vector<ProcessFunction>& queue,
                                                 bool bContinueOnError, unsigned* failedCount) = 0;

    // ---- the batch editor
    // The state keeps the files, effects and script from one opening to the next.
    virtual void RunBatchEditor(QDBatchStateData& state) = 0;

    // ---- the rest
    virtual void OpenHelpPage(const char* name) = 0;
    // A picture of the window as shown, as PNG; of the dialog in front when one is open.
    virtual bool SaveWindowPicture(const char* path) = 0;
    // Closes the dialog in front, as its close button would.
    virtual void CloseModalDialog() = 0;
};

// ---- a person's answers

struct LFileDialogRequest
{
    std::string szTitle;
    std::string szFolder;
    std::string szName;             // suggested file name, for saving
    std::string szDefaultExtension; // without the dot
    // Pairs of label and extensions ("*.jpg;*.jpeg"), in order.
    std::vector<std::pair<std::string, std::string>> vFilters;
    int iFilter = 1; // the one chosen at first, from 1
    bool bMultiple = false;
    // The dialog asks before it chooses a file that exists; off where the program asks itself.
    bool bConfirmOverwrite = true;
};

struct LNewImageRequest
{
    int iWidth = 1024;
    int iHeight = 768;
    bool bTransparent = false;
    LGuiColorAlpha crColour{0xFF00, 0xFF00, 0xFF00, 1.0f};
};

class LDialogResponder : public LAlertResponder
{
public:
    // The chosen paths; false when the person cancelled.
    virtual bool BrowseForOpen(const LFileDialogRequest& request, std::vector<std::string>& paths) = 0;
    // The chosen path and filter (from 1); the program adds no extension here.
    virtual bool BrowseForSave(const LFileDialogRequest& request, std::string& path, int& filter) = 0;
    virtual bool EditEncodeSettings(LImageCodec codec, LImageEncodeSettings& settings) = 0;
    // "Save Image": the save dialog with its previews over the project's rendered picture. True
    // when a file was written; the project's path and name are then the file's.
    virtual bool SaveImage(QDProject& project) = 0;
    virtual bool NewImage(LNewImageRequest& request) = 0;
    virtual bool PickColour(LGuiColorAlpha& colour) = 0;
    // The general page of the preferences; true on OK.
    virtual bool EditPreferences(bool& bShowWelcome, bool& bShowSaveWarning, bool& bKeepPhotoInformation) = 0;
    // The chosen item's result, or 0; bShowAgain is the dialog's check box.
    virtual int ChooseItem(const char* title, const char* heading, const char* prompt,
                           const std::vector<LDialogMenuItem>& items, bool* bShowAgain) = 0;
    // A pop-up menu at the pointer: the command chosen, 0 for none.
    virtual int PopupMenu(const std::vector<LMenuItem>& items) = 0;
    // A whole number from minimum to maximum; false when cancelled.
    virtual bool AskNumber(const char* title, const char* prompt, const char* button, int minimum,
                           int maximum, int& value) = 0;
};

// ---- the toolkit of the program

class LToolkit
{
public:
    virtual ~LToolkit() = default;
    // The application object; false when there is no display.
    virtual bool InitApplication() = 0;
    // The panels of the effects, made by type key; window receives the message a panel posts
    // after a change.
    virtual void InstallPanels(LWindow* refreshWindow) = 0;
    virtual LMainWindowHost* CreateMainWindow(LMainWindowHandler& handler) = 0;
    virtual LDialogResponder& GetResponder() = 0;
    virtual int RunEventLoop() = 0;
};
