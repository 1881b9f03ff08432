#include <gtest/gtest.h>

#include "foundation/LProcessInterface.h"
#include "foundation/LSignal.h"
#include "foundation/LThread.h"
#include "foundation_test_support.h"

#include <atomic>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
std::atomic<int> gAliveWorkers{0};

// Runs until told to stop, or only until released when bWaitForStop is off.
class Worker : public LDetachedThread
{
public:
    explicit Worker(bool waitForStop = true) : bWaitForStop(waitForStop) { ++gAliveWorkers; }
    ~Worker() override
    {
        StopThreadNow();
        --gAliveWorkers;
    }
    void ThreadFunction() override
    {
        ++nRuns;
        if (!bWaitForStop)
            soRelease.Wait(LProcessWaitForever);
        else
            while (ProcessWait(1000) != 1)
            {
            }
        iResult = ProcessWaitSignal(soSignal, iWait);
    }
    bool bWaitForStop;
    LSignalObject soRelease, soSignal;
    int iWait = 0;
    std::atomic<int> nRuns{0}, iResult{-1};
};

bool WaitForWorkers(LDetachedThreadsOwner& owner, int count)
{
    for (int i = 0; i < 500 && (owner.GetCount() != (size_t)count || gAliveWorkers != count); ++i)
        usleep(10000);
    return owner.GetCount() == (size_t)count && gAliveWorkers == count;
}
} // namespace

TEST(LSignalObject, SetUntilResetWaitsAndGroups)
{
    LSignalObject a, b, extra;
    EXPECT_EQ(a.Wait(0), 2);
    for (int i = 0; i < 5000; ++i) // more bytes than one read drains
        a.Set();
    EXPECT_EQ(a.Wait(LProcessWaitForever), 0);
    EXPECT_TRUE(a.IsSet()) << "waiting doesn't consume the signal";
    a.Reset();
    EXPECT_FALSE(a.IsSet());
    a.Reset(); // an empty pipe returns at once
    LSignalObjectRef(a).Set();
    EXPECT_TRUE(a.IsSet());
    a.Reset();
    for (int fd : a.filedes)
        EXPECT_TRUE((fcntl(fd, F_GETFD) & FD_CLOEXEC) && (fcntl(fd, F_GETFL) & O_NONBLOCK));

    long long t0 = MonotonicMs();
    EXPECT_EQ(a.Wait(60), 2);
    EXPECT_GE(MonotonicMs() - t0, 55);

    LSignalObjectGroup group;
    group.Add(a);
    group.Add(b);
    EXPECT_EQ(group.Wait(0), -1);
    extra.Set();
    EXPECT_EQ(group.Wait(0, extra.GetReadDescriptor()), -2);
    b.Set();
    EXPECT_EQ(group.Wait(0, extra.GetReadDescriptor()), 1) << "the group's signals come first";

    LProcessInterfaceVoid process;
    EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, 0), 0);
    EXPECT_EQ(process.ProcessWaitSignal(a, 10), 2);
    EXPECT_EQ(process.ProcessWaitSignal(b, LProcessWaitForever), 0);
    t0 = MonotonicMs();
    EXPECT_EQ(process.ProcessWait(30), 2);
    EXPECT_GE(MonotonicMs() - t0, 28);
}

TEST(LThread, StartStopRestartAndWaitResults)
{
    Worker never;
    long long t0 = MonotonicMs();
    never.StopThreadNow();
    EXPECT_LT(MonotonicMs() - t0, 50) << "a thread that never ran stops at once";

    Worker t;
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

    // Started again after it ended, the stop request of the last run is forgotten.
    t.Start(20);
    EXPECT_FALSE(t.IsToStop());
    EXPECT_FALSE(t.WaitToStop(20));
    t.StopThreadNow();
    EXPECT_EQ(t.nRuns.load(), 2);

    // A run that ended on its own is restarted at once, many times over, and its waits report
    // the signal, a stop and a time-out.
    Worker w(false);
    w.soRelease.Set();
    w.soSignal.Set();
    for (int i = 0; i < 50; ++i)
    {
        w.Start(20);
        ASSERT_TRUE(w.WaitToStop(5000));
    }
    EXPECT_TRUE(w.nRuns == 50 && w.iResult == 0);
    w.soSignal.Reset();
    for (int wait : {LProcessWaitForever, 30})
    {
        w.iWait = wait;
        w.Start(20);
        if (wait == LProcessWaitForever)
            w.StopThreadNow();
        ASSERT_TRUE(w.WaitToStop(5000));
        EXPECT_EQ(w.iResult.load(), wait == 30 ? 2 : 1);
    }

    // With the stop and the signal both set, the finished work is reported.
    w.soSignal.Set();
    w.soToStop.Set();
    EXPECT_EQ(w.ProcessWaitSignal(w.soSignal, 0), 0);
    LSignalObjectGroup group;
    group.Add(w.soSignal);
    EXPECT_EQ(w.ProcessWaitSignalObjectGroup(group, 0), 0);
    w.soSignal.Reset();
    EXPECT_EQ(w.ProcessWaitSignalObjectGroup(group, 0), 1);
    w.soToStop.Reset();
    EXPECT_EQ(w.ProcessWaitSignalObjectGroup(group, 10), 2);
}

TEST(LThread, PrioritiesAreNiceValuesOfTheThreadAlone)
{
    EXPECT_TRUE(LThreadPriorityToNice(20) == 0 && LThreadPriorityToNice(8) == 5);
    const int processNice = getpriority(PRIO_PROCESS, 0);
    if (processNice > 5)
        GTEST_SKIP() << "the process runs at nice " << processNice << " already";

    // A thread started with StartSame from a background thread inherits its priority.
    class Parent : public Worker
    {
    public:
        ~Parent() override { StopThreadNow(); }
        void ThreadFunction() override
        {
            child.StartSame();
            iChildNice = getpriority(PRIO_PROCESS, (id_t)child.iThreadId.load());
            Worker::ThreadFunction();
            child.StopThreadNow();
        }
        Worker child;
        std::atomic<int> iChildNice{100};
    } t;
    t.Start(LThreadPriorityBackground);
    EXPECT_EQ(getpriority(PRIO_PROCESS, (id_t)t.iThreadId.load()), 5);
    EXPECT_EQ(getpriority(PRIO_PROCESS, 0), processNice);
    t.StopThreadNow();
    EXPECT_EQ(t.child.iPriority.load(), 8);
    EXPECT_EQ(t.iChildNice.load(), 5);

    t.Start(LThreadPriorityTimeConstraint); // permitted or not, the thread runs
    EXPECT_TRUE(t.IsRunning());
}

TEST(LDetachedThread, EndedThreadsDestroyThemselvesAndStoppingDestroysTheRest)
{
    {
        LDetachedThreadsOwner owner;
        for (int i = 0; i < 20; ++i)
        {
            Worker* w = new Worker(false);
            w->soRelease.Set();
            owner.StartThread(w, 20);
        }
        EXPECT_TRUE(WaitForWorkers(owner, 0));

        for (int i = 0; i < 3; ++i)
            owner.StartThread(new Worker, 20);
        EXPECT_EQ(owner.GetCount(), 3u);
        owner.StopThreadsSoon();
        EXPECT_TRUE(WaitForWorkers(owner, 0));

        for (int i = 0; i < 5; ++i)
            owner.StartThread(new Worker, 20);
        owner.StopThreadsNow();
        EXPECT_EQ(owner.GetCount(), 0u);
        EXPECT_EQ(gAliveWorkers.load(), 0);

        // Threads that end on their own race with the owner's end: each is destroyed once.
        for (int i = 0; i < 30; ++i)
        {
            Worker* w = new Worker(i % 2 == 0);
            w->soRelease.Set();
            owner.StartThread(w, 20);
        }
    }
    EXPECT_EQ(gAliveWorkers.load(), 0);
}

// With no address space left for a stack the system can't make a thread: Start says so, and the
// object stays startable. Run in a fresh process, whose library keeps no stacks of ended threads
// to hand out again. (The sanitizers need the address space for themselves.)
TEST(LThread, AThreadTheSystemCannotMakeIsReportedNotLeftRunning)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's shadow memory can't live under an address-space limit";
#else
    pid_t pid = fork();
    if (pid == 0)
    {
        execl("/proc/self/exe", "test_foundation",
              "--gtest_filter=LThreadChild.DISABLED_StartWithoutAddressSpace",
              "--gtest_also_run_disabled_tests", static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
#endif
}

TEST(LThreadChild, DISABLED_StartWithoutAddressSpace)
{
    std::string status = TestReadFile("/proc/self/status");
    size_t at = status.find("VmSize:");
    ASSERT_NE(at, std::string::npos);
    const long vmKb = strtol(status.c_str() + at + 7, nullptr, 10);
    Worker w(false);
    w.soRelease.Set();
    LDetachedThreadsOwner owner;
    struct rlimit old, tight;
    ASSERT_EQ(getrlimit(RLIMIT_AS, &old), 0);
    tight = old;
    tight.rlim_cur = rlim_t(vmKb + 1024) * 1024; // far less than a thread's stack
    ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
    const bool started = w.Start(20);
    const bool running = w.IsRunning();
    const int before = gAliveWorkers;
    const bool detachedStarted = owner.StartThread(new Worker, 20);
    const int after = gAliveWorkers;
    setrlimit(RLIMIT_AS, &old);
    EXPECT_FALSE(started);
    EXPECT_FALSE(running);
    EXPECT_FALSE(detachedStarted);
    EXPECT_EQ(after, before); // the one that couldn't start was destroyed, not leaked
    EXPECT_EQ(owner.GetCount(), 0u);
    EXPECT_TRUE(w.WaitToStop(0));

    ASSERT_TRUE(w.Start(20));
    EXPECT_TRUE(w.WaitToStop(5000));
    EXPECT_EQ(w.nRuns.load(), 1);
}
