#pragma once
// The base of the program's window as the logic sees it: the start as the one instance of the
// user or as a second one that hands its command line over, the window made through the toolkit,
// the recent file list and the commands that arrive through the instance pipe.

#include <memory>
#include <string>
#include <vector>

#include "app/LInstancePipe.h"
#include "app/LRecentFileList.h"
#include "foundation/LInterWinMessage.h"
#include "ui/LToolkit.h"

// The program's name, which names the pipe too.
constexpr const char* kQDApplicationName = "Quendrel";
constexpr const char* kQDVersion = "2.82";

class LMainWindow : public LWindow, public LMainWindowHandler, public LZORAPIServerHandler
{
public:
    explicit LMainWindow(LToolkit& toolkit);
    ~LMainWindow() override;

    // The whole life of the program. With a listener on the pipe this is a second start: the
    // arguments go to it and the result is 0 once sent. Otherwise this is the first one: it
    // listens, makes the window and runs the event loop; its own arguments are opened once the
    // window stands.
    int Run(const std::vector<std::string>& arguments);
    // Only what a second start does: true when a listener took the arguments.
    static bool SendToRunningInstance(const std::vector<std::string>& arguments);

    // The window without the loop: the application object, the window, InitDialog and the recent
    // files. Tests and Run call it.
    bool CreateMainWindow();
    // The reverse: DestroyDialog and the window.
    void DestroyMainWindow();

    virtual bool InitApplication();
    virtual void InitDialog() {}
    virtual void DestroyDialog() {}
    virtual void EnableControls() {}
    // Arguments of the first start itself: files to open and effects to apply.
    virtual void EvStartupArguments(const std::vector<std::string>& arguments) { (void)arguments; }
    // The open-document event of the platform ends here on purpose: files reach a running
    // instance through the pipe.
    virtual void EvLoadFile(const char* path) { (void)path; }

    // ---- commands between instances
    int ExecuteCommand(int count, const char* const* arguments, std::string& result) override;
    virtual int EvAPICommand(int count, const char* const* arguments, std::string& result) = 0;
    void BringForward() override;
    bool StartPipeListener();
    void StopPipeListener();

    LMainWindowHost* GetHost() const { return lpHost.get(); }
    LDialogResponder& GetResponder() const { return rResponder; }
    // An alert through the responder: the index of the button chosen.
    int Alert(LAlertKind kind, const char* title, const char* text,
              std::initializer_list<const char*> buttons);

    LToolkit& rToolkit;
    LDialogResponder& rResponder;
    std::unique_ptr<LMainWindowHost> lpHost;
    bool bPrimaryInstance = true;
    LRecentFileList recentFiles;
    LInstanceLock instanceLock;
    LThreadRunOnMainThread threadRunOnMainThreadApi;
    LPipeListenerWithThreads<LMainWindowListenerPipe> pipeListener;
};
