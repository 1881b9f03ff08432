#pragma once
// One-shot timers by id, firing EvTimer(id) on the main thread. Setting a pending timer again
// moves its firing, so a timer is also a debounce.

#include "foundation/LMainLoop.h"
#include "foundation/LSignal.h"
#include "foundation/LThreadRunOnMainThread.h"

#include <map>

class LWindow;

class LTimerHandler
{
public:
    LTimerHandler();
    LTimerHandler(const LTimerHandler&) = delete;
    LTimerHandler& operator=(const LTimerHandler&) = delete;
    virtual ~LTimerHandler();

    virtual void EvTimer(int id) = 0;

    // Fires id once, milliseconds from now; a negative id does nothing. From another thread the
    // request is carried to the main thread.
    void TimerSet(int id, int milliseconds);
    // Cancels id.
    void TimerReset(int id);
    bool TimerIsSet(int id);
    // Destroys every timer of this handler. The window is the owner the timers were made for; a
    // handler serves one window, so it only names which.
    void TimerDestroy(LWindow* window = nullptr);

    // Turns all timers of all handlers off or on. Off, pending timers are remembered with the
    // time they had left, and so are new requests; on, the remembered ones are set.
    static void Enable(bool enable); // on the main thread
    static bool IsEnabled();

    LWindow* lpWindow = nullptr;

private:
    static void Fire(void* context, int id);
    void SetOnMainThread(int id, int milliseconds);

    LLockObject lockTimers;
    std::map<int, LMainLoopTimer*> mapTimers;
    LThreadRunOnMainThread threadRunOnMainThreadTimers;
};
