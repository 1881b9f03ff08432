#include "app/LMainWindow.h"

#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "foundation/LThreadRunOnMainThread.h"

LMainWindow::LMainWindow(LToolkit& toolkit)
    : rToolkit(toolkit), rResponder(toolkit.GetResponder()), pipeListener(this, &threadRunOnMainThreadApi)
{
}

LMainWindow::~LMainWindow()
{
    // Nothing may reach this object from a connection or the queue once it goes.
    pipeListener.Stop();
    threadRunOnMainThreadApi.ThreadRunOnMainThreadDestroy();
}

bool LMainWindow::SendToRunningInstance(const std::vector<std::string>& arguments)
{
    LNamedPipeRef pipe;
    if (!pipe.Open(kQDApplicationName))
        return false;
    LMainWindowSendThread sender(pipe);
    LPipeMessageFromArguments(sender.message, arguments);
    if (!sender.Start(LThreadPriorityNormal))
        return false;
    sender.WaitToStop(10000);
    return sender.bSent;
}

int LMainWindow::Run(const std::vector<std::string>& arguments)
{
    LThreadRunOnMainThread::Init();
    // A first start that holds the lock but isn't listening yet is waited for; its socket comes
    // within moments.
    bool primary = false;
    for (int attempt = 0; attempt < 50; ++attempt)
    {
        LNamedPipeRef probe;
        if (probe.Open(kQDApplicationName))
            break;
        if (instanceLock.TryAcquire(kQDApplicationName))
        {
            primary = true;
            break;
        }
        usleep(100 * 1000);
    }
    if (!primary && SendToRunningInstance(arguments))
    {
        bPrimaryInstance = false;
        LThreadRunOnMainThread::Destroy();
        return 0;
    }
    // Without the lock and without an answer the instance that holds it is stuck; this one runs
    // on its own rather than not at all.
    int result = 1;
    if (InitApplication())
    {
        if (instanceLock.IsHeld())
            StartPipeListener();
        if (CreateMainWindow())
        {
            EvStartupArguments(
                std::vector<std::string>(arguments.begin() + (arguments.empty() ? 0 : 1), arguments.end()));
            result = rToolkit.RunEventLoop();
            DestroyMainWindow();
        }
        StopPipeListener();
    }
    instanceLock.Release();
    LThreadRunOnMainThread::Destroy();
    return result;
}

bool LMainWindow::InitApplication()
{
    return rToolkit.InitApplication();
}

bool LMainWindow::CreateMainWindow()
{
    if (lpHost)
        return true;
    lpHost.reset(rToolkit.CreateMainWindow(*this));
    if (!lpHost)
        return false;
    recentFiles.Load();
    InitDialog();
    lpHost->SetRecentFiles(recentFiles.GetFiles());
    lpHost->Show();
    return true;
}

void LMainWindow::DestroyMainWindow()
{
    if (!lpHost)
        return;
    DestroyDialog();
    lpHost.reset();
}

bool LMainWindow::StartPipeListener()
{
    return pipeListener.Start(kQDApplicationName);
}

void LMainWindow::StopPipeListener()
{
    pipeListener.Stop();
}

int LMainWindow::ExecuteCommand(int count, const char* const* arguments, std::string& result)
{
    result.clear();
    if (count <= 0 || !arguments)
    {
        result = "Command Not Specified.";
        return -2;
    }
    if (strcmp(arguments[0], "-testapi") == 0)
    {
        if (count > 1)
        {
            char text[kLApiResultSize];
            snprintf(text, sizeof(text), "API Test OK [%s].", arguments[1]);
            result = text;
            return 0;
        }
        result = "API Test Fail (No data).";
        return -1;
    }
    if (strcmp(arguments[0], "-version") == 0)
    {
        result = kQDVersion;
        return 0;
    }
    const int r = EvAPICommand(count, arguments, result);
    if (result.size() >= kLApiResultSize)
        result.resize(kLApiResultSize - 1);
    return r;
}

void LMainWindow::BringForward()
{
    if (lpHost)
        lpHost->BringToFront();
}

int LMainWindow::Alert(LAlertKind kind, const char* title, const char* text,
                       std::initializer_list<const char*> buttons)
{
    std::vector<const char*> list(buttons);
    const int answer = rResponder.ShowAlert(kind, title, text, list.data(), int(list.size()));
    return answer >= 0 && answer < int(list.size()) ? answer : 0;
}
