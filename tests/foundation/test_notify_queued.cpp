#include <gtest/gtest.h>

#include "foundation/LThread.h"
#include "foundation/LThreadRunOnMainThread.h"
#include "test_threads_loop.h"

#include <atomic>
#include <cstring>
#include <vector>

namespace
{
struct Received
{
    int iCode;
    std::vector<unsigned char> data;
    size_t nSize;
    bool bMainThread;
};

class Collector : public LQueuedNotifyDataHandler
{
public:
    void EvQueuedNotifyData(int code, void* data, size_t size) override
    {
        Received r{code, {}, size, LMainLoopIsMainThread()};
        if (data)
            r.data.assign((unsigned char*)data, (unsigned char*)data + size);
        arReceived.push_back(std::move(r));
    }
    std::vector<Received> arReceived;
};

// Posts count notifications, each carrying its own index as data.
class PostingThread : public LThread
{
public:
    PostingThread(LQueuedNotifyDataHandler& target, int count) : lpTarget(&target), nCount(count) {}
    ~PostingThread() override { StopThreadNow(); }
    void ThreadFunction() override
    {
        for (int i = 0; i < nCount && !IsToStop(); ++i)
            lpTarget->PostNotifyFromSender(i, &i, sizeof(i));
    }
    LQueuedNotifyDataHandler* lpTarget;
    int nCount;
};

std::atomic<int> gLiveItems{0};

// Counts its instances, so that a lost or doubly freed item shows.
class CountedItem : public LThreadRunOnMainThreadData
{
public:
    explicit CountedItem(int* runs) : lpRuns(runs) { ++gLiveItems; }
    ~CountedItem() override { --gLiveItems; }
    void MainThreadFunction() override { ++*lpRuns; }
    int* lpRuns;
};
} // namespace

TEST(LQueuedNotifyDataHandler, WorkerNotificationsArriveInOrderOnTheMainThread)
{
    EnsureMainLoop();
    Collector collector;
    const int count = 10000;
    PostingThread worker(collector, count);
    worker.Start(20);
    ASSERT_TRUE(PumpUntil([&] { return (int)collector.arReceived.size() == count; }, 20000));
    worker.StopThreadNow();
    for (int i = 0; i < count; ++i)
    {
        const Received& r = collector.arReceived[i];
        ASSERT_EQ(r.iCode, i);
        ASSERT_EQ(r.nSize, sizeof(int));
        int value;
        memcpy(&value, r.data.data(), sizeof(value));
        ASSERT_EQ(value, i);
        ASSERT_TRUE(r.bMainThread);
    }
}

TEST(LQueuedNotifyDataHandler, DataIsCopiedAndNullDataCarriesANumber)
{
    EnsureMainLoop();
    Collector collector;
    char text[] = "abc";
    collector.PostNotifyFromSender(7, text, sizeof(text));
    text[0] = 'X'; // the sender's buffer may change or go at once
    collector.PostNotifyFromSender(5001, nullptr, 42);
    ASSERT_TRUE(PumpUntil([&] { return collector.arReceived.size() == 2; }));
    EXPECT_EQ(std::string((char*)collector.arReceived[0].data.data()), "abc");
    EXPECT_EQ(collector.arReceived[1].iCode, 5001);
    EXPECT_EQ(collector.arReceived[1].nSize, 42u);
    EXPECT_TRUE(collector.arReceived[1].data.empty());
}

TEST(LQueuedNotifyDataHandler, NotificationsToADestroyedHandlerAreDroppedAndFreed)
{
    EnsureMainLoop();
    // Queued before the destruction began, and posted while it runs: neither reaches the
    // handler, and every copy of the data is freed (ASan sees a leak otherwise).
    class Dying : public Collector
    {
    public:
        explicit Dying(int* calls) : lpCalls(calls) {}
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
        Dying handler(&calls);
        for (int i = 0; i < 100; ++i)
            handler.PostNotifyFromSender(i, "queued", 7);
    }
    PumpFor(50);
    EXPECT_EQ(calls, 0);

    // The same at the level of the runner, counting the items themselves.
    int runs = 0;
    {
        LThreadRunOnMainThread runner;
        for (int i = 0; i < 10; ++i)
            runner.RunOnMainThread(new CountedItem(&runs));
        EXPECT_EQ(gLiveItems.load(), 10);
    }
    EXPECT_EQ(gLiveItems.load(), 0);
    PumpFor(20);
    EXPECT_EQ(runs, 0);

    LThreadRunOnMainThread runner;
    runner.RunOnMainThread(new CountedItem(&runs));
    ASSERT_TRUE(PumpUntil([&] { return runs == 1; }));
    EXPECT_EQ(gLiveItems.load(), 0) << "an item is destroyed after it ran";
}

TEST(LThreadRunOnMainThread, ItemsAfterTheLoopEndedAreDestroyedAtOnce)
{
    EnsureMainLoop();
    int runs = 0;
    LThreadRunOnMainThread runner;
    runner.RunOnMainThread(new CountedItem(&runs));
    EXPECT_EQ(gLiveItems.load(), 1);
    LThreadRunOnMainThread::Destroy(); // the queued item goes with the loop
    EXPECT_EQ(gLiveItems.load(), 0);
    runner.RunOnMainThread(new CountedItem(&runs));
    EXPECT_EQ(gLiveItems.load(), 0);
    LThreadRunOnMainThread::Init();
    PumpFor(20);
    EXPECT_EQ(runs, 0);

    // The data-less notification rides on the same queue.
    class Codes : public LThreadQueuedNotify
    {
    public:
        void EvThreadQueuedNotify(int code) override { arCodes.push_back(code); }
        std::vector<int> arCodes;
    } codes;
    codes.PostThreadQueuedNotify(3);
    codes.PostThreadQueuedNotify(1);
    ASSERT_TRUE(PumpUntil([&] { return codes.arCodes.size() == 2; }));
    EXPECT_EQ(codes.arCodes, (std::vector<int>{3, 1}));
}
