#include <gtest/gtest.h>

#include "foundation/LThread.h"
#include "foundation/LTimerHandler.h"
#include "test_threads_loop.h"

#include <vector>

namespace
{
struct Firing
{
    int iId;
    long long nAt;
};

class Timers : public LTimerHandler
{
public:
    void EvTimer(int id) override
    {
        arFired.push_back({id, MonotonicMs()});
        if (id == iRearmId && nRearms-- > 0)
            TimerSet(id, 5);
    }
    std::vector<Firing> arFired;
    int iRearmId = -1;
    int nRearms = 0;
};
} // namespace

TEST(LTimerHandler, SettingAPendingTimerMovesItsOneFiring)
{
    EnsureMainLoop();
    Timers timers;
    long long t0 = MonotonicMs();
    timers.TimerSet(1, 40);
    PumpFor(15);
    timers.TimerSet(1, 120); // moved to about t0 + 135
    timers.TimerSet(-1, 10); // ignored
    ASSERT_TRUE(PumpUntil([&] { return !timers.arFired.empty(); }, 2000));
    PumpFor(60);
    ASSERT_EQ(timers.arFired.size(), 1u);
    EXPECT_EQ(timers.arFired[0].iId, 1);
    EXPECT_GE(timers.arFired[0].nAt - t0, 130);
    EXPECT_FALSE(timers.TimerIsSet(1));

    // A timer is armed again after it fired, even from its own handler.
    timers.arFired.clear();
    timers.iRearmId = 2;
    timers.nRearms = 2;
    timers.TimerSet(2, 5);
    timers.TimerSet(3, 5);
    timers.TimerReset(3);
    ASSERT_TRUE(PumpUntil([&] { return timers.arFired.size() == 3; }, 2000));
    PumpFor(30);
    EXPECT_EQ(timers.arFired.size(), 3u);
    for (const Firing& f : timers.arFired)
        EXPECT_EQ(f.iId, 2);
}

TEST(LTimerHandler, DisabledTimersWaitForEnable)
{
    EnsureMainLoop();
    Timers timers;
    timers.TimerSet(1, 30);
    LTimerHandler::Enable(false);
    timers.TimerSet(2, 0);
    timers.TimerSet(2, 0); // one request per id is kept
    EXPECT_TRUE(timers.TimerIsSet(1));
    EXPECT_TRUE(timers.TimerIsSet(2));
    PumpFor(80);
    EXPECT_TRUE(timers.arFired.empty());
    LTimerHandler::Enable(true);
    ASSERT_TRUE(PumpUntil([&] { return timers.arFired.size() == 2; }, 2000));
    PumpFor(30);
    EXPECT_EQ(timers.arFired.size(), 2u);
    EXPECT_EQ(timers.arFired[0].iId, 2);

    // A handler destroyed while disabled leaves nothing behind to set.
    {
        Timers gone;
        LTimerHandler::Enable(false);
        gone.TimerSet(4, 0);
    }
    LTimerHandler::Enable(true);
    PumpFor(20);
}

TEST(LTimerHandler, SetFromAWorkerAndDestroyedInItsOwnEvent)
{
    EnsureMainLoop();
    Timers timers;
    class Setter : public LThread
    {
    public:
        ~Setter() override { StopThreadNow(); }
        void ThreadFunction() override { lpTimers->TimerSet(7, 10); }
        Timers* lpTimers;
    } setter;
    setter.lpTimers = &timers;
    setter.Start(20);
    setter.WaitToStop();
    ASSERT_TRUE(PumpUntil([&] { return timers.arFired.size() == 1; }, 2000));
    EXPECT_EQ(timers.arFired[0].iId, 7);

    class SelfDeleting : public LTimerHandler
    {
    public:
        explicit SelfDeleting(bool* fired) : lpFired(fired) {}
        void EvTimer(int) override
        {
            *lpFired = true;
            delete this;
        }
        bool* lpFired;
    };
    bool fired = false;
    SelfDeleting* handler = new SelfDeleting(&fired);
    handler->TimerSet(1, 0);
    handler->TimerSet(2, 500); // destroyed with it
    ASSERT_TRUE(PumpUntil([&] { return fired; }, 2000));
    PumpFor(20);
}
