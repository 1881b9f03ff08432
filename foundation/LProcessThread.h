#pragma once
// A process on a thread of its own, seen by its caller as if it ran in place: everything the
// process reports crosses to the main thread by queued notification and reaches the caller's
// interface there; the caller's stop stops the thread.

#include <atomic>
#include <cstring>

#include "foundation/LMainLoop.h"
#include "foundation/LThread.h"
#include "foundation/LThreadRunOnMainThread.h"

enum LProcessThreadNotify : int
{
    LProcessThreadNotifyError = 0,    // the text with its terminator
    LProcessThreadNotifyStatus = 1,   // LProcessThreadStatusRecord
    LProcessThreadNotifyProgress = 2, // a double
    LProcessThreadNotifyIndeterminateOn = 3,
    LProcessThreadNotifyIndeterminateOff = 4,
};

struct LProcessThreadStatusRecord
{
    char szText[260];
    int32_t iLine;
};
static_assert(sizeof(LProcessThreadStatusRecord) == 264, "the status record is 264 bytes");

// The interface the process sees on the thread: stops and waits are the thread's, reports go
// to the handler as notifications.
class LProcessThreadInterface : public LProcessInterfaceNested
{
public:
    LProcessThreadInterface(LProcessInterface& thread, LQueuedNotifyDataHandler* handler)
        : LProcessInterfaceNested(thread), lpHandler(handler)
    {
    }
    void SetError(const char* text) override;
    void SetStatus(const char* text, int line) override;
    void SetProgress(double fraction) override;
    void SetProgressIndeterminateOn() override;
    void SetProgressIndeterminateOff() override;

    LQueuedNotifyDataHandler* lpHandler;
    std::atomic<int>* lpPosted = nullptr; // counts notifications sent
};

// Handles what crosses from the thread and knows whether everything has arrived.
class LProcessThreadForwarder : public LQueuedNotifyDataHandler
{
public:
    explicit LProcessThreadForwarder(LProcessInterface& parent) : lpParentInterface(&parent) {}
    void EvQueuedNotifyData(int code, void* data, size_t size) override;
    // Lets the main loop deliver what is still queued, up to a second.
    void DrainNotifications();

    LProcessInterface* lpParentInterface;
    std::atomic<int> iPosted{0};
    std::atomic<int> iDelivered{0};
};

template <class Data>
class LProcessThread : public LThread, public LProcessThreadForwarder
{
public:
    LProcessThread(LProcessInterface& parent, Data& data) : LProcessThreadForwarder(parent), rData(data) {}
    ~LProcessThread() override { StopThreadNow(); }

    void ThreadFunction() override
    {
        LProcessThreadInterface iface(*this, this);
        iface.lpPosted = &iPosted;
        iResult = Process(iface, rData);
        soFinished.Set();
    }

    // Runs the process and waits through the parent, which may pump its events meanwhile.
    LProcessResult Run(int priority = LThreadPriorityNormal)
    {
        if (!Start(priority))
        {
            lpParentInterface->SetError("Out of memory");
            return LProcessResultFailed;
        }
        for (;;)
        {
            int w = lpParentInterface->ProcessWaitSignal(soFinished, 100);
            if (w == 0 || !IsRunning())
                break;
            if (w == 1)
            {
                StopThreadNow();
                break;
            }
        }
        WaitToStop();
        DrainNotifications();
        return iResult;
    }

    Data& rData;
    LSignalObject soFinished;
    // Failed, until the process says otherwise.
    LProcessResult iResult = LProcessResultFailed;
};

// Runs Process(interface, data) on a thread under parent.
template <class Data>
LProcessResult LProcessRunOnThread(LProcessInterface& parent, Data& data,
                                   int priority = LThreadPriorityNormal)
{
    LProcessThread<Data> thread(parent, data);
    return thread.Run(priority);
}
