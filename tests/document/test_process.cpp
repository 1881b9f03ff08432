// The process framework: the progress window's Cancel, the queue's continue-on-error questions
// answered by a scripted responder, and processes on threads reporting through the main loop.

#include <gtest/gtest.h>

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>

#include <chrono>
#include <string>
#include <vector>

#include "doc_test_util.h"
#include "foundation/LProcessAlert.h"
#include "foundation/LProcessInterfaceQueueItem.h"
#include "foundation/LProcessThread.h"
#include "ui/LProcessDialog.h"

namespace
{
// Answers alerts from a script and records what was shown.
class ScriptedResponder : public LAlertResponder
{
public:
    ScriptedResponder() { lpPrevious = LSetAlertResponder(this); }
    ~ScriptedResponder() override { LSetAlertResponder(lpPrevious); }
    int ShowAlert(LAlertKind kind, const char* title, const char* text, const char* const* buttons,
                  int count) override
    {
        std::string shown = std::string(kind == LAlertKindError ? "error|" : "warning|") + title + "|" + text;
        for (int i = 0; i < count; ++i)
            shown += std::string("|") + buttons[i];
        vShown.push_back(shown);
        return iAnswer;
    }
    int iAnswer = 0;
    std::vector<std::string> vShown;
    LAlertResponder* lpPrevious;
};

struct QueueData
{
    bool bFail;
    std::vector<int>* lpRun;
    int iIndex;
};

LProcessResult Process(LProcessInterface& process, QueueData& data)
{
    data.lpRun->push_back(data.iIndex);
    process.SetProgress(1.0);
    if (!data.bFail)
        return LProcessResultSuccess;
    process.SetErrorF("Item %d failed", data.iIndex);
    return LProcessResultFailed;
}

void FillQueue(LProcessQueue<QueueData>& queue, std::vector<int>& run, std::initializer_list<bool> fails)
{
    int i = 0;
    for (bool f : fails)
        queue.Add(new QueueData{f, &run, i++});
}

struct CancelData
{
    int iLoops = 0;
    std::string strStatus0, strStatus1;
    int iBarValue = -1;
    bool bCancelDisabledAfterClick = false;
};

LProcessResult Process(LProcessInterface& process, CancelData& data)
{
    auto* dialog = dynamic_cast<LProgressDialog*>(&process);
    if (!dialog)
        return LProcessResultFailed;
    process.SetStatus("Reading", 0);
    process.SetStatus("file 1", 1);
    process.SetProgress(0.5);
    data.strStatus0 = dialog->lpStatus[0]->text().toStdString();
    data.strStatus1 = dialog->lpStatus[1]->text().toStdString();
    data.iBarValue = dialog->lpProgress->value();
    // The window is shown and the loop runs inside IsToStop, so a click reaches it.
    QTimer::singleShot(30, dialog,
                       [dialog, &data]
                       {
                           dialog->lpCancel->click();
                           data.bCancelDisabledAfterClick = !dialog->lpCancel->isEnabled();
                       });
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (std::chrono::steady_clock::now() < end)
    {
        ++data.iLoops;
        if (process.IsToStop())
            return LProcessResultCancelled;
        process.ProcessWait(5);
    }
    return LProcessResultSuccess;
}

} // namespace

TEST(ProcessDialog, CancelDisablesItselfAndStopsTheProcessAtItsNextPoll)
{
    EnsureApplication();
    ScriptedResponder responder;
    CancelData data;
    EXPECT_EQ(ProcessRunAsDialog<CancelData>(nullptr, "Loading", data), LProcessResultCancelled);
    EXPECT_TRUE(data.bCancelDisabledAfterClick);
    EXPECT_GT(data.iLoops, 1);
    EXPECT_EQ(data.strStatus0, "Reading");
    EXPECT_EQ(data.strStatus1, "file 1");
    EXPECT_EQ(data.iBarValue, 500);
    EXPECT_TRUE(responder.vShown.empty());

    // Errors of a single process are shown under its title with "Continue".
    std::vector<int> run;
    QueueData failing{true, &run, 7};
    EXPECT_EQ(ProcessRunAsDialog<QueueData>(nullptr, "Saving", failing), LProcessResultFailed);
    EXPECT_EQ(responder.vShown, (std::vector<std::string>{"error|Saving|Item 7 failed|Continue"}));
}

TEST(ProcessQueue, ContinueOnErrorAsksExceptForTheLastItem)
{
    EnsureApplication();
    {
        ScriptedResponder responder; // answers "Continue"
        std::vector<int> run;
        LProcessQueue<QueueData> queue;
        FillQueue(queue, run, {false, true, false, true});
        unsigned failed = 99;
        EXPECT_EQ(ProcessQueueRunAsDialog<QueueData>(nullptr, "Batch", queue, true, &failed),
                  LProcessResultFailed);
        EXPECT_EQ(run, (std::vector<int>{0, 1, 2, 3}));
        EXPECT_EQ(failed, 2u);
        EXPECT_EQ(responder.vShown, (std::vector<std::string>{"warning|Warning|Item 1 failed|Continue|Cancel",
                                                              "warning|Warning|Item 3 failed|OK"}));
    }
    {
        ScriptedResponder responder;
        responder.iAnswer = 1; // "Cancel"
        std::vector<int> run;
        LProcessQueue<QueueData> queue;
        FillQueue(queue, run, {false, true, false});
        unsigned failed = 0;
        EXPECT_EQ(ProcessQueueRunAsDialog<QueueData>(nullptr, "Batch", queue, true, &failed),
                  LProcessResultFailed);
        EXPECT_EQ(run, (std::vector<int>{0, 1}));
        EXPECT_EQ(failed, 1u);
    }
    {
        ScriptedResponder responder;
        std::vector<int> run;
        LProcessQueue<QueueData> queue;
        FillQueue(queue, run, {true, false});
        unsigned failed = 0;
        EXPECT_EQ(ProcessQueueRunAsDialog<QueueData>(nullptr, "Batch", queue, false, &failed),
                  LProcessResultFailed);
        EXPECT_EQ(run, (std::vector<int>{0}));
        EXPECT_EQ(responder.vShown, (std::vector<std::string>{"error|Error|Item 0 failed|OK"}));
    }
    {
        LProcessQueue<QueueData> empty;
        unsigned failed = 5;
        EXPECT_EQ(ProcessQueueRunAsDialog<QueueData>(nullptr, "Batch", empty, true, &failed),
                  LProcessResultSuccess);
        EXPECT_EQ(failed, 0u);
    }
}

namespace
{
// A caller on the main thread that records what reaches it and pumps the loop while waiting.
class RecordingParent : public LProcessInterface
{
public:
    bool IsToStop() override { return bStopAfter && std::chrono::steady_clock::now() >= tStop; }
    int ProcessWait(int ms) override
    {
        LMainLoopProcessEvents(ms);
        return IsToStop() ? 1 : 2;
    }
    int ProcessWaitSignal(LSignalObject& signal, int ms) override
    {
        auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
        for (;;)
        {
            if (signal.IsSet())
                return 0;
            if (IsToStop())
                return 1;
            if (ms >= 0 && std::chrono::steady_clock::now() >= end)
                return 2;
            LMainLoopProcessEvents(5);
        }
    }
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, int ms) override { return ProcessWait(ms); }
    void SetError(const char* text) override { Record(std::string("error ") + text); }
    void SetStatus(const char* text, int line) override
    {
        Record("status" + std::to_string(line) + " " + text);
    }
    void SetProgress(double f) override { Record("progress " + std::to_string(int(f * 100))); }
    void SetProgressIndeterminateOn() override { Record("indeterminate on"); }
    void SetProgressIndeterminateOff() override { Record("indeterminate off"); }
    void Record(const std::string& s)
    {
        vLog.push_back(s);
        bAllOnMain = bAllOnMain && LMainLoopIsMainThread();
    }

    std::vector<std::string> vLog;
    bool bAllOnMain = true;
    bool bStopAfter = false;
    std::chrono::steady_clock::time_point tStop;
};

struct ThreadData
{
    bool bRunForever = false;
    bool bOnWorker = false;
    std::chrono::steady_clock::time_point tReturned;
};

LProcessResult Process(LProcessInterface& process, ThreadData& data)
{
    data.bOnWorker = !LMainLoopIsMainThread();
    if (data.bRunForever)
    {
        while (process.ProcessWait(1000) != 1)
        {
        }
        data.tReturned = std::chrono::steady_clock::now();
        return LProcessResultCancelled;
    }
    process.SetProgressIndeterminateOn();
    process.SetStatus("Step", 0);
    LProcessInterfaceRecursiveSubProcess sub(process, 0.5, 0.5);
    sub.SetStatus("Inner", 0);
    sub.SetProgress(0.5);
    process.SetProgressIndeterminateOff();
    process.SetError("Disk full");
    return LProcessResultFailed;
}
} // namespace

TEST(ProcessThread, ReportsReachTheCallerInOrderOnTheMainThread)
{
    EnsureApplication();
    RecordingParent parent;
    ThreadData data;
    EXPECT_EQ(LProcessRunOnThread(parent, data), LProcessResultFailed);
    EXPECT_TRUE(data.bOnWorker);
    EXPECT_TRUE(parent.bAllOnMain);
    EXPECT_EQ(parent.vLog, (std::vector<std::string>{"indeterminate on", "status0 Step", "status1 Inner",
                                                     "progress 75", "indeterminate off", "error Disk full"}));
}

TEST(ProcessThread, StopFromTheCallerEndsTheThreadWithinOneWaitSlice)
{
    EnsureApplication();
    RecordingParent parent;
    parent.bStopAfter = true;
    parent.tStop = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    ThreadData data;
    data.bRunForever = true;
    EXPECT_EQ(LProcessRunOnThread(parent, data), LProcessResultCancelled);
    auto late = std::chrono::duration_cast<std::chrono::milliseconds>(data.tReturned - parent.tStop).count();
    EXPECT_GE(late, 0);
    // Well inside the worker's own 1000 ms wait: the stop wakes it, with room for a loaded machine.
    EXPECT_LT(late, 500);
}
