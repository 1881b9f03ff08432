#pragma once
// Crossing from a worker to the main thread: an object embedded in an owner posts items that run
// on the main thread, and the owner's destructor takes back whatever is still queued, so no item
// can reach a destroyed owner. Owners are destroyed on the main thread.

#include "foundation/LMainLoop.h"
#include "foundation/LSignal.h"

#include <cstddef>

class LThreadRunOnMainThread;

class LThreadRunOnMainThreadData : public LMainLoopItem
{
public:
    virtual void MainThreadFunction() = 0;

private:
    friend class LThreadRunOnMainThread;
    void Run() final;
    LThreadRunOnMainThread* lpRunner = nullptr;
};

class LThreadRunOnMainThread
{
public:
    LThreadRunOnMainThread() = default;
    LThreadRunOnMainThread(const LThreadRunOnMainThread&) = delete;
    LThreadRunOnMainThread& operator=(const LThreadRunOnMainThread&) = delete;
    ~LThreadRunOnMainThread() { ThreadRunOnMainThreadDestroy(); }

    // Bracket the application's event loop.
    static void Init();
    static void Destroy();

    // Takes ownership of data, from any thread. It runs on the main thread if this object is
    // still enabled then, and is destroyed in any case; with the loop ended or this object
    // disabled it is destroyed at once.
    void RunOnMainThread(LThreadRunOnMainThreadData* data);
    // Disables the object and destroys its items still queued. Call it first thing in the
    // owner's destructor.
    void ThreadRunOnMainThreadDestroy();

    bool bEnabled = true;
    LLockObject lock;
};

// Notifications with a copy of their data, from workers to the main thread.
class LQueuedNotifyDataHandler
{
public:
    LQueuedNotifyDataHandler() = default;
    LQueuedNotifyDataHandler(const LQueuedNotifyDataHandler&) = delete;
    LQueuedNotifyDataHandler& operator=(const LQueuedNotifyDataHandler&) = delete;
    virtual ~LQueuedNotifyDataHandler() { threadRunOnMainThread.ThreadRunOnMainThreadDestroy(); }

    // On the main thread. data is the handler's private copy, valid during the call; with no data
    // it is null and size is the plain number that was posted.
    virtual void EvQueuedNotifyData(int code, void* data, size_t size) = 0;

    // From any thread. Copies size bytes of data unless data is null.
    void PostNotifyFromSender(int code, const void* data, size_t size);

    LThreadRunOnMainThread threadRunOnMainThread;
};

class LQueuedNotifyDataHandlerData : public LThreadRunOnMainThreadData
{
public:
    LQueuedNotifyDataHandlerData(LQueuedNotifyDataHandler* handler, int code, void* copy, size_t size)
        : lpHandler(handler), iCode(code), lpData(copy), nSize(size)
    {
    }
    ~LQueuedNotifyDataHandlerData() override;
    void MainThreadFunction() override;

    LQueuedNotifyDataHandler* lpHandler;
    int iCode;
    void* lpData; // owned, from malloc
    size_t nSize;
};

// The same without data.
class LThreadQueuedNotify
{
public:
    LThreadQueuedNotify() = default;
    LThreadQueuedNotify(const LThreadQueuedNotify&) = delete;
    LThreadQueuedNotify& operator=(const LThreadQueuedNotify&) = delete;
    virtual ~LThreadQueuedNotify() { threadRunOnMainThreadQueued.ThreadRunOnMainThreadDestroy(); }

    virtual void EvThreadQueuedNotify(int code) = 0;
    void PostThreadQueuedNotify(int code);

    LThreadRunOnMainThread threadRunOnMainThreadQueued;
};

class LThreadQueuedNotifyData : public LThreadRunOnMainThreadData
{
public:
    LThreadQueuedNotifyData(LThreadQueuedNotify* handler, int code) : lpHandler(handler), iCode(code) {}
    void MainThreadFunction() override { lpHandler->EvThreadQueuedNotify(iCode); }

    LThreadQueuedNotify* lpHandler;
    int iCode;
};
