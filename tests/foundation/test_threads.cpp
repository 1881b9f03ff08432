#include <gtest/gtest.h>

#include "foundation/LProcessInterface.h"
#include "foundation/LSignal.h"
#include "foundation/LThread.h"
#include "test_threads_loop.h"

#include <atomic>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{
// Runs until told to stop, counting its runs.
class LoopThread : public LThread
{
public:
    ~LoopThread() override { StopThreadNow(); }
    void ThreadFunction() override
    {
        ++nRuns;
        while (ProcessWait(1000) != 1)
        {
        }
    }
    std::atomic<int> nRuns{0};
};

// Ends on its own once released.
class ShortThread : public LThread
{
public:
    ~ShortThread() override { StopThreadNow(); }
    void ThreadFunction() override
    {
        soRelease.Wait(LProcessWaitForever);
        ++nRuns;
    }
    LSignalObject soRelease;
    std::atomic<int> nRuns{0};
};

class WaitSignalThread : public LThread
{
public:
    ~WaitSignalThread() override { StopThreadNow(); }
    void ThreadFunction() override { iResult = ProcessWaitSignal(soSignal, iWait); }
    LSignalObject soSignal;
    int iWait = LProcessWaitForever;
    std::atomic<int> iResult{-1};
};
} // namespace

TEST(LSignalObject, SetStaysUntilResetDrainsEveryByte)
{
    LSignalObject so;
    ASSERT_TRUE(so.IsValid());
    EXPECT_FALSE(so.IsSet());
    EXPECT_EQ(so.Wait(0), 2);
    for (int i = 0; i < 5000; ++i) // more bytes than one read takes
        so.Set();
    EXPECT_TRUE(so.IsSet());
    EXPECT_TRUE(so.IsSet()) << "looking must not consume the signal";
    EXPECT_EQ(so.Wait(LProcessWaitForever), 0);
    so.Reset();
    EXPECT_FALSE(so.IsSet());
    so.Reset(); // on an empty pipe it returns at once
    EXPECT_FALSE(so.IsSet());

    // A reference sets and sees the same pipe.
    LSignalObjectRef ref(so);
    ref.Set();
    EXPECT_TRUE(so.IsSet());
    EXPECT_TRUE(ref.IsSet());

    // Both ends are closed on exec and never block.
    for (int fd : so.filedes)
    {
        EXPECT_TRUE(fcntl(fd, F_GETFD) & FD_CLOEXEC);
        EXPECT_TRUE(fcntl(fd, F_GETFL) & O_NONBLOCK);
    }
}

TEST(LSignalObject, TimedWaitsAndGroups)
{
    LSignalObject a, b, extra;
    long long t0 = MonotonicMs();
    EXPECT_EQ(a.Wait(60), 2);
    EXPECT_GE(MonotonicMs() - t0, 55);

    LSignalObjectGroup group;
    group.Add(a);
    group.Add(b);
    EXPECT_EQ(group.iHighest, std::max(a.filedes[0], b.filedes[0]));
    EXPECT_EQ(group.Wait(0), -1);
    extra.Set();
    EXPECT_EQ(group.Wait(0, extra.GetReadDescriptor()), -2);
    b.Set();
    EXPECT_EQ(group.Wait(0, extra.GetReadDescriptor()), 1) << "a signal of the group comes first";
    a.Set();
    EXPECT_EQ(group.Wait(LProcessWaitForever), 0);

    LProcessInterfaceVoid process;
    EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, 0), 0);
    a.Reset();
    b.Reset();
    EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, 10), 2);
    EXPECT_EQ(process.ProcessWaitSignal(a, 10), 2);
    a.Set();
    EXPECT_EQ(process.ProcessWaitSignal(a, LProcessWaitForever), 0);
    t0 = MonotonicMs();
    EXPECT_EQ(process.ProcessWait(30), 2);
    EXPECT_GE(MonotonicMs() - t0, 28);
}

TEST(LThread, StartStopAndRestart)
{
    {
        LoopThread never;
        long long t0 = MonotonicMs();
        never.StopThreadNow();
        EXPECT_LT(MonotonicMs() - t0, 50) << "a thread that never ran stops at once";
        EXPECT_TRUE(never.WaitToStop(0));
    }

    LoopThread t;
    t.Start(20);
    EXPECT_TRUE(t.IsRunning());
    EXPECT_GT(t.iThreadId.load(), 0);
    t.Start(20);
    t.Start(8);
    EXPECT_EQ(t.iPriority.load(), 20);
    EXPECT_FALSE(t.WaitToStop(20));
    t.StopThreadNow();
    EXPECT_EQ(t.nRuns.load(), 1) << "Start on a running thread does nothing";
    EXPECT_FALSE(t.IsRunning());
    EXPECT_EQ(t.iThreadId.load(), -1);
    EXPECT_TRUE(t.WaitToStop(0));

    // Started again after it ended, the stop request of the last run is forgotten.
    t.Start(20);
    EXPECT_FALSE(t.IsToStop());
    EXPECT_FALSE(t.WaitToStop(20));
    t.StopThreadNow();
    EXPECT_EQ(t.nRuns.load(), 2);

    // A run that ended on its own is restarted straight away, many times over.
    ShortThread s;
    for (int i = 0; i < 50; ++i)
    {
        s.soRelease.Set();
        s.Start(20);
        ASSERT_TRUE(s.WaitToStop(5000));
        s.soRelease.Reset();
    }
    EXPECT_EQ(s.nRuns.load(), 50);
}

TEST(LThread, ProcessWaitSignalResults)
{
    WaitSignalThread fired;
    fired.Start(20);
    fired.soSignal.Set();
    ASSERT_TRUE(fired.WaitToStop(5000));
    EXPECT_EQ(fired.iResult.load(), 0);

    WaitSignalThread stopped;
    stopped.Start(20);
    stopped.StopThreadNow();
    EXPECT_EQ(stopped.iResult.load(), 1);

    WaitSignalThread timedOut;
    timedOut.iWait = 30;
    timedOut.Start(20);
    ASSERT_TRUE(timedOut.WaitToStop(5000));
    EXPECT_EQ(timedOut.iResult.load(), 2);
    EXPECT_FALSE(timedOut.IsToStop());

    // With the stop and the signal both set, the finished work is reported.
    WaitSignalThread both;
    both.soSignal.Set();
    both.soToStop.Set();
    EXPECT_EQ(both.ProcessWaitSignal(both.soSignal, 0), 0);
    LSignalObjectGroup group;
    group.Add(fired.soSignal);
    EXPECT_EQ(both.ProcessWaitSignalObjectGroup(group, 0), 0);
    fired.soSignal.Reset();
    EXPECT_EQ(both.ProcessWaitSignalObjectGroup(group, 0), 1);
    both.soToStop.Reset();
    EXPECT_EQ(both.ProcessWaitSignalObjectGroup(group, 10), 2);
}

TEST(LThread, PriorityToNiceAndStartSame)
{
    EXPECT_EQ(LThreadPriorityToNice(20), 0);
    EXPECT_EQ(LThreadPriorityToNice(8), 5);
    EXPECT_EQ(LThreadPriorityToNice(14), 3); // 2.5 rounds away from zero
    EXPECT_EQ(LThreadPriorityToNice(0), 8);
    EXPECT_EQ(LThreadPriorityToNice(31), -5); // -4.58
    EXPECT_EQ(LThreadPriorityToNice(-100), 19);
    EXPECT_EQ(LThreadPriorityToNice(200), -20);
    EXPECT_GE(LGetNumberOfProcessors(), 1);

    // The background priority lowers the thread alone, not the process, and a thread started
    // from it with StartSame inherits it.
    const int processNice = getpriority(PRIO_PROCESS, 0);
    if (processNice > 5)
        GTEST_SKIP() << "the process runs at nice " << processNice << " already";
    class ParentThread : public LThread
    {
    public:
        ~ParentThread() override { StopThreadNow(); }
        void ThreadFunction() override
        {
            child.StartSame();
            iChildNice = getpriority(PRIO_PROCESS, (id_t)child.iThreadId.load());
            iChildPriority = child.iPriority.load();
            while (ProcessWait(1000) != 1)
            {
            }
            child.StopThreadNow();
        }
        LoopThread child;
        std::atomic<int> iChildNice{100};
        std::atomic<int> iChildPriority{-1};
    } t;
    t.Start(LThreadPriorityBackground);
    EXPECT_EQ(getpriority(PRIO_PROCESS, (id_t)t.iThreadId.load()), 5);
    EXPECT_EQ(getpriority(PRIO_PROCESS, 0), processNice);
    t.StopThreadNow();
    EXPECT_EQ(t.iChildPriority.load(), 8);
    EXPECT_EQ(t.iChildNice.load(), 5);

    t.Start(LThreadPriorityTimeConstraint); // permitted or not, the thread runs
    EXPECT_TRUE(t.IsRunning());
    t.StopThreadNow();
}
