#include <gtest/gtest.h>

#include "foundation/LThread.h"
#include "foundation/LTimerHandler.h"
#include "foundation_test_support.h"

#include <vector>

namespace
{
class Timers : public LTimerHandler
{
public:
    ~Timers() override { TimerDestroy(); }
    void EvTimer(int id) override
    {
        arFired.push_back(id);
        arAt.push_back(MonotonicMs());
        if (id == 2 && nRearms-- > 0)
            TimerSet(id, 5);
        if (id == 9)
            delete this;
    }
    std::vector<int> arFired;
    std::vector<long long> arAt;
    int nRearms = 0;
};

// Pumps until count firings, then a little longer to catch any extra one.
bool PumpFirings(Timers& timers, size_t count)
{
    bool reached = PumpUntil([&] { return timers.arFired.size() >= count; }, 2000);
    PumpFor(40);
    return reached && timers.arFired.size() == count;
}
} // namespace

TEST(LTimerHandler, SettingAPendingTimerMovesItsOneFiring)
{
    EnsureMainLoop();
    Timers timers;
    long long t0 = MonotonicMs();
    timers.TimerSet(1, 40);
    PumpFor(15);
    timers.TimerSet(1, 120); // now due at about t0 + 135
    timers.TimerSet(-1, 10); // ignored
    ASSERT_TRUE(PumpFirings(timers, 1));
    EXPECT_GE(timers.arAt[0] - t0, 130);
    EXPECT_FALSE(timers.TimerIsSet(1));

    // Armed again after it fired, even from its own event; a reset one never fires.
    timers.nRearms = 2;
    timers.TimerSet(2, 5);
    timers.TimerSet(3, 5);
    timers.TimerReset(3);
    ASSERT_TRUE(PumpFirings(timers, 4));
    EXPECT_EQ(timers.arFired, (std::vector<int>{1, 2, 2, 2}));

    // From a worker the request is carried to the main thread.
    class Setter : public LThread
    {
    public:
        ~Setter() override { StopThreadNow(); }
        void ThreadFunction() override { lpTimers->TimerSet(7, 10); }
        Timers* lpTimers;
    } setter;
    setter.lpTimers = &timers;
    setter.Start(20);
    ASSERT_TRUE(PumpFirings(timers, 5));
    EXPECT_EQ(timers.arFired.back(), 7);

    // A handler that destroys itself in its event takes its other timers along.
    Timers* dying = new Timers;
    dying->TimerSet(9, 0);
    dying->TimerSet(2, 30);
    PumpFor(80);
}

TEST(LTimerHandler, DisabledTimersWaitForEnable)
{
    EnsureMainLoop();
    Timers timers;
    timers.TimerSet(1, 30);
    LTimerHandler::Enable(false);
    timers.TimerSet(2, 0);
    timers.TimerSet(2, 0); // one request per id is kept
    EXPECT_TRUE(timers.TimerIsSet(1) && timers.TimerIsSet(2));
    {
        Timers gone; // leaves nothing behind to set
        gone.TimerSet(4, 0);
    }
    PumpFor(80);
    EXPECT_TRUE(timers.arFired.empty());
    LTimerHandler::Enable(true);
    ASSERT_TRUE(PumpFirings(timers, 2));
    EXPECT_EQ(timers.arFired, (std::vector<int>{2, 1}));
}
