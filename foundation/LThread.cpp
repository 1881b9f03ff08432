#include "foundation/LThread.h"

#include <cerrno>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{
// The priority an LThread runs at, for StartSame from inside it; -1 on other threads.
thread_local int tlsPriority = -1;
} // namespace

// Priorities become nice values of the thread: 20 (normal) is nice 0 and 8 (background) is
// nice 5, and the line through those two points covers the rest: nice = (20 - priority) * 5 / 12,
// rounded, so 0 is nice 8 and 31 is nice -5. Nice values below the current one need privileges
// and silently stay where they are.
int LThreadPriorityToNice(int priority)
{
    int scaled = (20 - priority) * 5;
    int nice = scaled >= 0 ? (scaled + 6) / 12 : -((-scaled + 6) / 12);
    return nice < -20 ? -20 : (nice > 19 ? 19 : nice);
}

int LThreadGetCurrentPriority()
{
    if (tlsPriority >= 0)
        return tlsPriority;
    errno = 0;
    int nice = getpriority(PRIO_PROCESS, (id_t)gettid());
    if (nice == -1 && errno != 0)
        return -1;
    int priority = 20 - (nice * 12 + (nice >= 0 ? 2 : -2)) / 5;
    return priority < 0 ? 0 : (priority > 31 ? 31 : priority);
}

int LGetNumberOfProcessors()
{
    long n = sysconf(_SC_NPROCESSORS_ONLN);
    return n > 0 ? (int)n : 1;
}

LThread::~LThread()
{
    StopThreadNow();
}

bool LThread::Start(int priority)
{
    LLockObjectGuard guard(lockStart);
    if (bRunning)
        return true;
    // A previous run clears bRunning just before it sets soStopped; wait for that, or its late
    // soStopped would land on the new run.
    if (soRunning.IsSet())
        soStopped.Wait(LProcessWaitForever);
    soToStop.Reset();
    soStopped.Reset();
    soRunning.Reset();
    bRunning = true;
    iPriority = priority;
    pthread_t handle;
    if (pthread_create(&handle, nullptr, &LThread::ThreadEntry, this) != 0)
    {
        // Out of threads: the caller hears of it, and a waiter for the end doesn't hang.
        bRunning = false;
        return false;
    }
    soRunning.Wait(LProcessWaitForever);
    SetPriority(priority);
    return true;
}

bool LThread::StartSame()
{
    int priority = LThreadGetCurrentPriority();
    return Start(priority < 0 ? LThreadPriorityNormal : priority);
}

void LThread::SetPriority(int priority)
{
    iPriority = priority;
    const int tid = iThreadId;
    if (tid < 0)
        return;
    if (priority == LThreadPriorityTimeConstraint)
    {
        sched_param param{};
        param.sched_priority = sched_get_priority_min(SCHED_RR);
        if (sched_setscheduler(tid, SCHED_RR, &param) == 0)
        {
            bTimeConstraint = true;
            return;
        }
        // Not permitted: the lowest nice value the limits allow, tried from the top priority down.
        for (int nice = -20; nice <= 0; ++nice)
            if (setpriority(PRIO_PROCESS, (id_t)tid, nice) == 0)
                break;
        return;
    }
    if (bTimeConstraint)
    {
        sched_param param{};
        sched_setscheduler(tid, SCHED_OTHER, &param);
        bTimeConstraint = false;
    }
    setpriority(PRIO_PROCESS, (id_t)tid, LThreadPriorityToNice(priority));
}

void LThread::StopThreadSoon()
{
    soToStop.Set();
}

void LThread::StopThreadNow()
{
    StopThreadSoon();
    // The thread itself can't wait for its own end.
    if (bRunning && iThreadId == (int)gettid())
        return;
    WaitToStop(LProcessWaitForever);
}

bool LThread::WaitToStop(int milliseconds)
{
    if (!soRunning.IsSet())
        return true;
    return soStopped.Wait(milliseconds) == 0;
}

bool LThread::IsToStop()
{
    return soToStop.IsSet();
}

int LThread::ProcessWait(int milliseconds)
{
    return soToStop.Wait(milliseconds) == 0 ? 1 : 2;
}

int LThread::ProcessWaitSignal(LSignalObject& signal, int milliseconds)
{
    int fds[2] = {signal.GetReadDescriptor(), soToStop.GetReadDescriptor()};
    int i = LWaitDescriptorsReadable(fds, 2, milliseconds);
    return i == 0 ? 0 : (i == 1 ? 1 : 2);
}

int LThread::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, int milliseconds)
{
    int i = group.Wait(milliseconds, soToStop.GetReadDescriptor());
    return i >= 0 ? 0 : (i == -2 ? 1 : 2);
}

void* LThread::ThreadEntry(void* self)
{
    static_cast<LThread*>(self)->ThreadMain();
    return nullptr;
}

void LThread::ThreadMain()
{
    // Set here rather than by Start, which may only get to it after a short run has ended.
    hThread = pthread_self();
    iThreadId = (int)gettid();
    tlsPriority = iPriority;
    soRunning.Set();
    ThreadFunction();
    const bool destroySelf = ThreadEnding();
    // Nobody joins: Start and WaitToStop go by the signals, and a detached thread can't be
    // joined by itself.
    pthread_detach(pthread_self());
    bRunning = false;
    hThread = 0;
    iThreadId = -1;
    tlsPriority = -1;
    soStopped.Set();
    // From here on a waiter may destroy the object, unless it is ours.
    if (destroySelf)
        delete this;
}

bool LDetachedThread::ThreadEnding()
{
    // The owner may be stopping this thread right now: whoever takes it out of the list
    // destroys it.
    LDetachedThreadsOwner* owner = lpOwner;
    if (!owner)
        return false;
    owner->lockThreads.Lock();
    bool mine = owner->listThreads.Detach(this);
    owner->lockThreads.Unlock();
    return mine;
}

bool LDetachedThreadsOwner::StartThread(LDetachedThread* thread, int priority)
{
    thread->lpOwner = this;
    {
        // Held across Start so that a thread which ends at once can't destroy itself under it.
        LLockObjectGuard guard(lockThreads);
        listThreads.AddTail(thread);
        if (thread->Start(priority))
            return true;
        listThreads.Detach(thread);
    }
    delete thread;
    return false;
}

void LDetachedThreadsOwner::StopThreadsSoon()
{
    LLockObjectGuard guard(lockThreads);
    for (LDetachedThread* t = listThreads.GetFirst(); t; t = LList<LDetachedThread>::GetNext(t))
        t->StopThreadSoon();
}

void LDetachedThreadsOwner::StopThreadsNow()
{
    for (;;)
    {
        lockThreads.Lock();
        LDetachedThread* t = listThreads.DetachHead();
        lockThreads.Unlock();
        if (!t)
            return;
        t->StopThreadNow();
        delete t;
    }
}

size_t LDetachedThreadsOwner::GetCount()
{
    LLockObjectGuard guard(lockThreads);
    return listThreads.GetCount();
}
