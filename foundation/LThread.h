#pragma once
// A thread that is also the process interface of the work it runs: the work polls IsToStop and
// waits through ProcessWait..., and soToStop is the only way to cancel it.
//
// Priorities are on a 0..31 scale where 20 is normal, 8 is background work (rendering) and 91
// asks for the time-constraint class.

#include "foundation/LList.h"
#include "foundation/LProcessInterface.h"
#include "foundation/LSignal.h"

#include <atomic>
#include <pthread.h>

constexpr int LThreadPriorityNormal = 20;
constexpr int LThreadPriorityBackground = 8;
constexpr int LThreadPriorityTimeConstraint = 91;

class LThread : public LProcessInterface
{
public:
    LThread() = default;
    LThread(const LThread&) = delete;
    LThread& operator=(const LThread&) = delete;
    // Stops the thread and waits for it. A derived class must stop the thread in its own
    // destructor, before its members go, since ThreadFunction may still use them.
    ~LThread() override;

    virtual void ThreadFunction() = 0;

    // Starts a run unless one is running. A previous run that has ended is waited for first, so
    // an object can be started again. False when the system can't make the thread (too many
    // threads, no memory): then nothing runs and the object can be started later.
    bool Start(int priority);
    // At the calling thread's priority, 20 when that can't be read.
    bool StartSame();
    void SetPriority(int priority);
    void StopThreadSoon();
    void StopThreadNow();
    // True when the thread has stopped (or never ran) within the time; negative waits forever.
    bool WaitToStop(int milliseconds = LProcessWaitForever);
    bool IsRunning() const { return bRunning; }

    bool IsToStop() override;
    int ProcessWait(int milliseconds) override;
    // 0 when the signal fired (it wins when both are set, since the awaited work is then done),
    // 1 when stopped, 2 on time-out.
    int ProcessWaitSignal(LSignalObject& signal, int milliseconds) override;
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, int milliseconds) override;

    pthread_t hThread = 0;
    std::atomic<int> iThreadId{-1};
    std::atomic<int> iPriority{LThreadPriorityNormal};
    std::atomic<bool> bRunning{false};
    LSignalObject soToStop;
    LSignalObject soStopped;
    LSignalObject soRunning;
    LLockObject lockStart;

protected:
    // Called on the thread after ThreadFunction, before soStopped is set (after which a waiter
    // may destroy the object). True makes the thread delete its own object once it is done.
    virtual bool ThreadEnding() { return false; }

private:
    static void* ThreadEntry(void* self);
    void ThreadMain();
    bool bTimeConstraint = false;
};

// Priority of the calling thread on the 0..31 scale, or -1 when it can't be read.
int LThreadGetCurrentPriority();
// The nice value that a priority maps to.
int LThreadPriorityToNice(int priority);
int LGetNumberOfProcessors();

class LDetachedThreadsOwner;

// A thread that owns itself: once started through an owner it removes itself from the owner's
// list and is destroyed when it ends.
class LDetachedThread : public LThread, public LListItem<LDetachedThread>
{
public:
    LDetachedThreadsOwner* lpOwner = nullptr;

protected:
    bool ThreadEnding() override;
};

class LDetachedThreadsOwner
{
public:
    LDetachedThreadsOwner() = default;
    LDetachedThreadsOwner(const LDetachedThreadsOwner&) = delete;
    LDetachedThreadsOwner& operator=(const LDetachedThreadsOwner&) = delete;
    ~LDetachedThreadsOwner() { StopThreadsNow(); }

    // Takes ownership of thread; one that can't be started is destroyed at once and gives false.
    bool StartThread(LDetachedThread* thread, int priority);
    void StopThreadsSoon();
    void StopThreadsNow();
    size_t GetCount();

private:
    friend class LDetachedThread;
    LList<LDetachedThread> listThreads;
    LLockObject lockThreads;
};
