// The process framework: the progress window's Cancel, the queue's continue-on-error questions
// answered by a scripted responder, and processes on threads reporting through the main loop.

#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>

#include <chrono>
#include <string>
#include <vector>

#include "document/doc_test_support.h"
#include "foundation/LProcessAlert.h"
#include "foundation/LProcessInterfaceQueueItem.h"
#include "foundation/LProcessThread.h"
#include "ui/LProcessDialog.h"

namespace
{
using Log = std::vector<std::string>;
using Clock = std::chrono::steady_clock;

// Answers alerts from a script and records what was shown.
class ScriptedResponder : public LAlertResponder
{
public:
    explicit ScriptedResponder(int answer = 0) : iAnswer(answer) { lpPrevious = LSetAlertResponder(this); }
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
    int iAnswer;
    Log vShown;
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

// Records what the dialog shows, then presses Cancel while the process polls.
struct CancelData
{
    int iLoops = 0;
    Log vShown;
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
    data.vShown = {dialog->lpStatus[0]->text().toStdString(), dialog->lpStatus[1]->text().toStdString(),
                   std::to_string(dialog->lpProgress->value())};
    // The window is shown and the loop runs inside IsToStop, so a click reaches it.
    QTimer::singleShot(30, dialog,
                       [dialog, &data]
                       {
                           dialog->lpCancel->click();
                           data.bCancelDisabledAfterClick = !dialog->lpCancel->isEnabled();
                       });
    for (auto end = Clock::now() + std::chrono::seconds(5); Clock::now() < end; process.ProcessWait(5))
        if (++data.iLoops, process.IsToStop())
            return LProcessResultCancelled;
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
    EXPECT_EQ(data.vShown, (Log{"Reading", "file 1", "500"}));
    EXPECT_TRUE(responder.vShown.empty());

    // Errors of a single process are shown under its title with "Continue".
    std::vector<int> run;
    QueueData failing{true, &run, 7};
    EXPECT_EQ(ProcessRunAsDialog<QueueData>(nullptr, "Saving", failing), LProcessResultFailed);
    EXPECT_EQ(responder.vShown, (Log{"error|Saving|Item 7 failed|Continue"}));
}

TEST(ProcessQueue, ContinueOnErrorAsksExceptForTheLastItem)
{
    EnsureApplication();
    struct Case
    {
        std::vector<bool> vFails;
        bool bContinueOnError;
        int iAnswer; // 0 "Continue", 1 "Cancel"
        std::vector<int> vRun;
        unsigned nFailed;
        Log vShown;
    };
    const Case cases[] = {
        {{false, true, false, true},
         true,
         0,
         {0, 1, 2, 3},
         2,
         {"warning|Warning|Item 1 failed|Continue|Cancel", "warning|Warning|Item 3 failed|OK"}},
        {{false, true, false}, true, 1, {0, 1}, 1, {"warning|Warning|Item 1 failed|Continue|Cancel"}},
        {{true, false}, false, 0, {0}, 1, {"error|Error|Item 0 failed|OK"}},
        {{}, true, 0, {}, 0, {}},
    };
    for (const Case& c : cases)
    {
        ScriptedResponder responder(c.iAnswer);
        std::vector<int> run;
        LProcessQueue<QueueData> queue;
        for (size_t i = 0; i < c.vFails.size(); ++i)
            queue.Add(new QueueData{c.vFails[i], &run, int(i)});
        unsigned failed = 99;
        EXPECT_EQ(ProcessQueueRunAsDialog<QueueData>(nullptr, "Batch", queue, c.bContinueOnError, &failed),
                  c.nFailed ? LProcessResultFailed : LProcessResultSuccess);
        EXPECT_EQ(run, c.vRun);
        EXPECT_EQ(failed, c.nFailed);
        EXPECT_EQ(responder.vShown, c.vShown);
    }
}

namespace
{
// A caller on the main thread that records what reaches it and pumps the loop while waiting.
class RecordingParent : public LProcessInterface
{
public:
    bool IsToStop() override { return bStopAfter && Clock::now() >= tStop; }
    int ProcessWait(int ms) override
    {
        LMainLoopProcessEvents(ms);
        return IsToStop() ? 1 : 2;
    }
    int ProcessWaitSignal(LSignalObject& signal, int ms) override
    {
        for (auto end = Clock::now() + std::chrono::milliseconds(ms);; LMainLoopProcessEvents(5))
            if (signal.IsSet())
                return 0;
            else if (IsToStop())
                return 1;
            else if (ms >= 0 && Clock::now() >= end)
                return 2;
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

    Log vLog;
    bool bAllOnMain = true;
    bool bStopAfter = false;
    Clock::time_point tStop;
};

struct ThreadData
{
    bool bRunForever = false;
    bool bOnWorker = false;
    Clock::time_point tReturned;
};

LProcessResult Process(LProcessInterface& process, ThreadData& data)
{
    data.bOnWorker = !LMainLoopIsMainThread();
    if (data.bRunForever)
    {
        while (process.ProcessWait(1000) != 1)
        {
        }
        data.tReturned = Clock::now();
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

TEST(ProcessThread, ReportsReachTheCallerInOrderOnTheMainThreadAndAStopEndsItPromptly)
{
    EnsureApplication();
    RecordingParent parent;
    ThreadData data;
    EXPECT_EQ(LProcessRunOnThread(parent, data), LProcessResultFailed);
    EXPECT_TRUE(data.bOnWorker);
    EXPECT_TRUE(parent.bAllOnMain);
    EXPECT_EQ(parent.vLog, (Log{"indeterminate on", "status0 Step", "status1 Inner", "progress 75",
                                "indeterminate off", "error Disk full"}));

    RecordingParent stopping;
    stopping.bStopAfter = true;
    stopping.tStop = Clock::now() + std::chrono::milliseconds(100);
    ThreadData endless;
    endless.bRunForever = true;
    EXPECT_EQ(LProcessRunOnThread(stopping, endless), LProcessResultCancelled);
    auto late =
        std::chrono::duration_cast<std::chrono::milliseconds>(endless.tReturned - stopping.tStop).count();
    // Well inside the worker's own 1000 ms wait: the stop wakes it, with room for a loaded machine.
    EXPECT_TRUE(late >= 0 && late < 500) << late;
}
