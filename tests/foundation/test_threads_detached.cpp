#include <gtest/gtest.h>

#include "foundation/LThread.h"

#include <atomic>

namespace
{
std::atomic<int> gAlive{0};

class Worker : public LDetachedThread
{
public:
    explicit Worker(bool waitForStop) : bWaitForStop(waitForStop) { ++gAlive; }
    ~Worker() override
    {
        StopThreadNow();
        --gAlive;
    }
    void ThreadFunction() override
    {
        if (bWaitForStop)
            while (ProcessWait(1000) != 1)
            {
            }
    }
    bool bWaitForStop;
};

bool WaitFor(LDetachedThreadsOwner& owner, size_t count)
{
    for (int i = 0; i < 500 && (owner.GetCount() != count || gAlive != (int)count); ++i)
        usleep(10000);
    return owner.GetCount() == count && gAlive == (int)count;
}
} // namespace

TEST(LDetachedThread, EndedThreadsRemoveAndDestroyThemselves)
{
    LDetachedThreadsOwner owner;
    for (int i = 0; i < 20; ++i)
        owner.StartThread(new Worker(false), 20);
    EXPECT_TRUE(WaitFor(owner, 0));

    for (int i = 0; i < 3; ++i)
        owner.StartThread(new Worker(true), 20);
    EXPECT_EQ(owner.GetCount(), 3u);
    owner.StopThreadsSoon();
    EXPECT_TRUE(WaitFor(owner, 0));
}

TEST(LDetachedThread, StopThreadsNowAndTheOwnersEndDestroyEveryThread)
{
    {
        LDetachedThreadsOwner owner;
        for (int i = 0; i < 5; ++i)
            owner.StartThread(new Worker(true), 20);
        owner.StopThreadsNow();
        EXPECT_EQ(owner.GetCount(), 0u);
        EXPECT_EQ(gAlive.load(), 0);

        // Threads ending on their own race with the stop: each is destroyed exactly once.
        for (int i = 0; i < 30; ++i)
            owner.StartThread(new Worker(i % 2 == 0), 20);
    }
    EXPECT_EQ(gAlive.load(), 0);
}
