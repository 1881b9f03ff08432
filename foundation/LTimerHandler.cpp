#include "foundation/LTimerHandler.h"

#include <algorithm>
#include <vector>

namespace
{
struct SuspendedTimer
{
    LTimerHandler* lpHandler;
    int iId;
    int iMilliseconds;
};

// Shared by all handlers: the enable switch, the handlers alive, the requests held while off.
// Taken before a handler's own lock, never after it.
LLockObject& GlobalLock()
{
    static LLockObject lock;
    return lock;
}
bool bEnable = true;
std::vector<LTimerHandler*> arHandlers;
std::vector<SuspendedTimer> arSuspended;

void DropSuspended(LTimerHandler* handler, int id, bool allIds)
{
    arSuspended.erase(std::remove_if(arSuspended.begin(), arSuspended.end(),
                                     [&](const SuspendedTimer& s)
                                     { return s.lpHandler == handler && (allIds || s.iId == id); }),
                      arSuspended.end());
}

class TimerSetRequest : public LThreadRunOnMainThreadData
{
public:
    TimerSetRequest(LTimerHandler* handler, int id, int ms) : lpHandler(handler), iId(id), iMilliseconds(ms)
    {
    }
    void MainThreadFunction() override { lpHandler->TimerSet(iId, iMilliseconds); }
    LTimerHandler* lpHandler;
    int iId;
    int iMilliseconds;
};
} // namespace

LTimerHandler::LTimerHandler()
{
    LLockObjectGuard guard(GlobalLock());
    arHandlers.push_back(this);
}

LTimerHandler::~LTimerHandler()
{
    threadRunOnMainThreadTimers.ThreadRunOnMainThreadDestroy();
    TimerDestroy(lpWindow);
    LLockObjectGuard guard(GlobalLock());
    arHandlers.erase(std::find(arHandlers.begin(), arHandlers.end(), this));
    DropSuspended(this, 0, true);
}

void LTimerHandler::TimerSet(int id, int milliseconds)
{
    if (id < 0)
        return;
    if (!LMainLoopIsMainThread())
    {
        threadRunOnMainThreadTimers.RunOnMainThread(new TimerSetRequest(this, id, milliseconds));
        return;
    }
    {
        LLockObjectGuard guard(GlobalLock());
        if (!bEnable)
        {
            bool known =
                std::any_of(arSuspended.begin(), arSuspended.end(),
                            [&](const SuspendedTimer& s) { return s.lpHandler == this && s.iId == id; });
            if (!known)
                arSuspended.push_back({this, id, milliseconds});
            return;
        }
    }
    SetOnMainThread(id, milliseconds);
}

void LTimerHandler::SetOnMainThread(int id, int milliseconds)
{
    LLockObjectGuard guard(lockTimers);
    LMainLoopTimer*& timer = mapTimers[id];
    if (!timer)
        timer = LMainLoopTimerCreate(&LTimerHandler::Fire, this, id);
    if (!timer)
    {
        mapTimers.erase(id); // no loop to run timers
        return;
    }
    LMainLoopTimerStart(timer, milliseconds);
}

void LTimerHandler::TimerReset(int id)
{
    {
        LLockObjectGuard guard(GlobalLock());
        DropSuspended(this, id, false);
    }
    LLockObjectGuard guard(lockTimers);
    auto it = mapTimers.find(id);
    if (it != mapTimers.end())
        LMainLoopTimerStop(it->second);
}

bool LTimerHandler::TimerIsSet(int id)
{
    {
        LLockObjectGuard guard(GlobalLock());
        for (const SuspendedTimer& s : arSuspended)
            if (s.lpHandler == this && s.iId == id)
                return true;
    }
    LLockObjectGuard guard(lockTimers);
    auto it = mapTimers.find(id);
    return it != mapTimers.end() && LMainLoopTimerIsActive(it->second);
}

void LTimerHandler::TimerDestroy(LWindow* window)
{
    (void)window;
    {
        LLockObjectGuard guard(GlobalLock());
        DropSuspended(this, 0, true);
    }
    std::map<int, LMainLoopTimer*> timers;
    lockTimers.Lock();
    timers.swap(mapTimers);
    lockTimers.Unlock();
    for (auto& [id, timer] : timers)
        LMainLoopTimerDestroy(timer);
}

void LTimerHandler::Enable(bool enable)
{
    std::vector<SuspendedTimer> resume;
    {
        LLockObjectGuard guard(GlobalLock());
        if (enable == bEnable)
            return;
        bEnable = enable;
        if (!enable)
        {
            for (LTimerHandler* h : arHandlers)
            {
                LLockObjectGuard handlerGuard(h->lockTimers);
                for (auto& [id, timer] : h->mapTimers)
                {
                    if (!LMainLoopTimerIsActive(timer))
                        continue;
                    int left = LMainLoopTimerRemaining(timer);
                    LMainLoopTimerStop(timer);
                    DropSuspended(h, id, false);
                    arSuspended.push_back({h, id, left < 0 ? 0 : left});
                }
            }
            return;
        }
        resume.swap(arSuspended);
    }
    // Handlers are destroyed on the main thread, as is this called, so none goes meanwhile.
    for (const SuspendedTimer& s : resume)
        s.lpHandler->TimerSet(s.iId, s.iMilliseconds);
}

bool LTimerHandler::IsEnabled()
{
    LLockObjectGuard guard(GlobalLock());
    return bEnable;
}

void LTimerHandler::Fire(void* context, int id)
{
    static_cast<LTimerHandler*>(context)->EvTimer(id);
}
