#pragma once
// The main thread's event loop as the logic sees it. These functions are defined by the platform
// layer; everything that runs "on the main thread" goes through them.

#include <cstddef>

// One unit of work queued for the main thread. The queue owns it and destroys it after Run, or
// without running it when it is removed or the loop is gone.
class LMainLoopItem
{
public:
    virtual ~LMainLoopItem() = default;
    virtual void Run() = 0;
};

// Queues item for the main thread under the tag owner; callable from any thread. Items are run
// in the order posted. Returns false, having destroyed item, when there is no loop to run it.
bool LMainLoopPost(const void* owner, LMainLoopItem* item);
// Destroys, unrun, every item queued under owner that hasn't started yet; returns how many.
size_t LMainLoopRemovePosted(const void* owner);
// Whether posted items can still run: an application object exists and LMainLoopEnd hasn't been
// called since the last LMainLoopBegin.
bool LMainLoopIsAlive();
// Bracket the application's loop. LMainLoopEnd destroys every item still queued.
void LMainLoopBegin();
void LMainLoopEnd();
bool LMainLoopIsMainThread();
// Runs queued events and timers on the main thread for up to milliseconds, returning early once
// done(context) holds (checked before each wait for events). Without done it runs the full time.
// For waits on the main thread that must keep the program responsive, and for tests.
void LMainLoopProcessEvents(int milliseconds, bool (*done)(void* context) = nullptr, void* context = nullptr);

// Single-shot timers of the main thread. A timer calls callback(context, id) each time it fires
// and stays until destroyed, so it can be armed again. Use them on the main thread only.
struct LMainLoopTimer;
using LMainLoopTimerCallback = void (*)(void* context, int id);
// Null when there is no application object to run timers.
LMainLoopTimer* LMainLoopTimerCreate(LMainLoopTimerCallback callback, void* context, int id);
// Arms the timer to fire milliseconds from now, moving a pending firing.
void LMainLoopTimerStart(LMainLoopTimer* timer, int milliseconds);
void LMainLoopTimerStop(LMainLoopTimer* timer);
bool LMainLoopTimerIsActive(const LMainLoopTimer* timer);
// Milliseconds left before a pending timer fires, -1 when it isn't pending.
int LMainLoopTimerRemaining(const LMainLoopTimer* timer);
// Safe from inside the timer's own callback.
void LMainLoopTimerDestroy(LMainLoopTimer* timer);
