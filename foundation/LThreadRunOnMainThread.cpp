#include "foundation/LThreadRunOnMainThread.h"

#include <cstdlib>
#include <cstring>

void LThreadRunOnMainThreadData::Run()
{
    // The owner is alive: its destructor would have taken this item out of the queue.
    lpRunner->lock.Lock();
    const bool enabled = lpRunner->bEnabled;
    lpRunner->lock.Unlock();
    if (enabled)
        MainThreadFunction();
}

void LThreadRunOnMainThread::Init()
{
    LMainLoopBegin();
}

void LThreadRunOnMainThread::Destroy()
{
    LMainLoopEnd();
}

void LThreadRunOnMainThread::RunOnMainThread(LThreadRunOnMainThreadData* data)
{
    if (!data)
        return;
    data->lpRunner = this;
    lock.Lock();
    // Posted under the lock so that ThreadRunOnMainThreadDestroy, once it holds the lock, knows
    // every item of this object is either queued (and will be removed) or refused.
    if (bEnabled && LMainLoopIsAlive())
        LMainLoopPost(this, data); // destroys data itself when the loop is gone meanwhile
    else
        delete data;
    lock.Unlock();
}

void LThreadRunOnMainThread::ThreadRunOnMainThreadDestroy()
{
    lock.Lock();
    bEnabled = false;
    lock.Unlock();
    LMainLoopRemovePosted(this);
}

void LQueuedNotifyDataHandler::PostNotifyFromSender(int code, const void* data, size_t size)
{
    void* copy = nullptr;
    if (data && size > 0)
    {
        copy = malloc(size);
        if (!copy)
            return; // a notification too big to copy is dropped rather than sent empty
        memcpy(copy, data, size);
    }
    threadRunOnMainThread.RunOnMainThread(new LQueuedNotifyDataHandlerData(this, code, copy, size));
}

LQueuedNotifyDataHandlerData::~LQueuedNotifyDataHandlerData()
{
    free(lpData);
}

void LQueuedNotifyDataHandlerData::MainThreadFunction()
{
    lpHandler->EvQueuedNotifyData(iCode, lpData, nSize);
}

void LThreadQueuedNotify::PostThreadQueuedNotify(int code)
{
    threadRunOnMainThreadQueued.RunOnMainThread(new LThreadQueuedNotifyData(this, code));
}
