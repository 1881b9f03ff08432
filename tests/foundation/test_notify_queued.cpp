#include <gtest/gtest.h>

#include "foundation/LThread.h"
#include "foundation/LThreadRunOnMainThread.h"
#include "foundation_test_support.h"

#include <atomic>
#include <cstring>
#include <string>
#include <vector>

namespace
{
class Collector : public LQueuedNotifyDataHandler
{
public:
    void EvQueuedNotifyData(int code, void* data, size_t size) override
    {
        arCodes.push_back(code);
        arData.push_back(data ? std::string((char*)data, size) : "size " + std::to_string(size));
        bAllOnMainThread = bAllOnMainThread && LMainLoopIsMainThread();
    }
    std::vector<int> arCodes;
    std::vector<std::string> arData;
    bool bAllOnMainThread = true;
};

// Posts count notifications, each carrying its own index as text.
class PostingThread : public LThread
{
public:
    PostingThread(LQueuedNotifyDataHandler& target, int count) : lpTarget(&target), nCount(count) {}
    ~PostingThread() override { StopThreadNow(); }
    void ThreadFunction() override
    {
        for (int i = 0; i < nCount; ++i)
            lpTarget->PostNotifyFromSender(i, std::to_string(i).c_str(), std::to_string(i).size());
    }
    LQueuedNotifyDataHandler* lpTarget;
    int nCount;
};

std::atomic<int> gLiveItems{0};

class CountedItem : public LThreadRunOnMainThreadData
{
public:
    explicit CountedItem(int* runs) : lpRuns(runs) { ++gLiveItems; }
    ~CountedItem() override { --gLiveItems; }
    void MainThreadFunction() override { ++*lpRuns; }
    int* lpRuns;
};
} // namespace

TEST(LQueuedNotifyDataHandler, WorkerNotificationsArriveInOrderWithTheirData)
{
    EnsureMainLoop();
    Collector collector;
    char text[] = "abc";
    collector.PostNotifyFromSender(-1, text, 3);
    text[0] = 'X'; // the sender's buffer may change at once
    collector.PostNotifyFromSender(-2, nullptr, 42);
    PostingThread worker(collector, 10000);
    worker.Start(20);
    ASSERT_TRUE(PumpUntil([&] { return collector.arCodes.size() == 10002; }, 20000));
    EXPECT_TRUE(collector.bAllOnMainThread);
    EXPECT_EQ(collector.arData[0], "abc");
    EXPECT_EQ(collector.arData[1], "size 42");
    for (int i = 0; i < 10000; ++i)
    {
        ASSERT_EQ(collector.arCodes[i + 2], i);
        ASSERT_EQ(collector.arData[i + 2], std::to_string(i));
    }
}

TEST(LQueuedNotifyDataHandler, NotificationsToADestroyedHandlerAreDroppedAndFreed)
{
    EnsureMainLoop();
    // Queued before the destruction began, and posted while it runs: neither reaches the
    // handler, and every copy of the data is freed (ASan reports a leak otherwise).
    class Dying : public Collector
    {
    public:
        ~Dying() override
        {
            PostingThread late(*this, 100);
            late.Start(20);
            late.WaitToStop();
            threadRunOnMainThread.ThreadRunOnMainThreadDestroy();
            PostNotifyFromSender(1, "late", 5);
        }
        void EvQueuedNotifyData(int, void*, size_t) override { ++*lpCalls; }
        int* lpCalls;
    };
    int calls = 0;
    {
        Dying handler;
        handler.lpCalls = &calls;
        for (int i = 0; i < 100; ++i)
            handler.PostNotifyFromSender(i, "queued", 7);
    }
    PumpFor(30);
    EXPECT_EQ(calls, 0);

    // The same one level down, counting the items, and after the loop has ended.
    int runs = 0;
    {
        LThreadRunOnMainThread runner;
        for (int i = 0; i < 10; ++i)
            runner.RunOnMainThread(new CountedItem(&runs));
        EXPECT_EQ(gLiveItems.load(), 10);
    }
    EXPECT_EQ(gLiveItems.load(), 0);
    LThreadRunOnMainThread runner;
    runner.RunOnMainThread(new CountedItem(&runs));
    LThreadRunOnMainThread::Destroy();
    EXPECT_EQ(gLiveItems.load(), 0) << "queued items go with the loop";
    runner.RunOnMainThread(new CountedItem(&runs));
    EXPECT_EQ(gLiveItems.load(), 0) << "later ones are destroyed at once";
    LThreadRunOnMainThread::Init();
    runner.RunOnMainThread(new CountedItem(&runs));
    ASSERT_TRUE(PumpUntil([&] { return runs == 1; }));
    EXPECT_EQ(gLiveItems.load(), 0) << "an item is destroyed after it ran";
}
