#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <sys/resource.h>
#include <vector>

#include "foundation/LFile.h"
#include "foundation/LThread.h"
#include "image/LImgPro.h"
#include "imgpro_test_util.h"

// Odd sizes, so that the bands differ in height and the last one is short.
TEST(ThreadedKernels, BandsMatchOneThreadOnOddSizes)
{
    TestProcess p;
    auto src = [](LImageBuffer& b, int w, int h, pixelformat_t pf = B8G8R8A8)
    { ASSERT_TRUE(MakeImage(b, w, h, pf, uint32_t(w + h), true)); };

    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            src(out, 31, 27);
            ASSERT_EQ(LImgProMotionBlur(p, out, 6.0, 10, 12, true), 0);
        }))
        << "motion blur";
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            LImgProNoiseSettings s;
            s.iSearchRadius = 4;
            src(out, 41, 29, B8G8R8);
            ASSERT_EQ(LImgProNoiseReduction(p, out, s), 0);
        }))
        << "noise reduction";
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            LImageBuffer in;
            src(in, 301, 211);
            LImgProSS ss;
            ss.SetRadius(-14, true);
            ASSERT_EQ(ss.Process(p, out, in), 0);
        }))
        << "staircase blur";
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            LImageBuffer in;
            src(in, 37, 301);
            ASSERT_EQ(LImgProGreyScale().Process(p, out, in), 0);
        }))
        << "grey scale";
    EXPECT_TRUE(ThreadedEqualsPlain(
        [&](LImageBuffer& out)
        {
            LImageBuffer in;
            src(in, 95, 67);
            ASSERT_TRUE(out.AllocateNewBuffer(LImageFormat(B8G8R8A8, 33, 29)));
            ASSERT_EQ(LImgProScaleLinear(p, out, in), 0);
        }))
        << "linear scaling";
}

namespace
{
int ThreadsOfProcess()
{
    int n = 0;
    for (LFile::FolderIteratorAllFiles it("/proc/self/task"); it.Next();)
        n += !it.IsDotFolder();
    return n;
}

// Runs one banded job over `lines` lines, counting how often each line is seen and recording the
// nice value of every thread that ran a band.
struct Job
{
    explicit Job(int lines) : arSeen(size_t(lines)) {}
    int Run(LProcessInterface& process, int minPerBand = 1)
    {
        LImgProBandRunner runner(int(arSeen.size()), minPerBand);
        return runner.Run(process,
                          [&](const LImgProBand& band, LImgProBandRunner& run)
                          {
                              iNiceMin = std::min(iNiceMin.load(), getpriority(PRIO_PROCESS, 0));
                              iNiceMax = std::max(iNiceMax.load(), getpriority(PRIO_PROCESS, 0));
                              for (int l = band.iFirst; l < band.iFirst + band.iCount; ++l)
                              {
                                  if (run.IsToStop(band))
                                      return false;
                                  ++arSeen[size_t(l)];
                              }
                              return true;
                          });
    }
    bool EachLineOnce() const
    {
        return std::all_of(arSeen.begin(), arSeen.end(), [](const std::atomic<int>& n) { return n == 1; });
    }
    std::vector<std::atomic<int>> arSeen;
    std::atomic<int> iNiceMin{99}, iNiceMax{-99};
};
} // namespace

TEST(BandPool, WorkersOutliveTheCallsAndServeConcurrentAndNestedOnes)
{
    ThreadCount four(4);
    TestProcess p;
    Job warm(97);
    ASSERT_EQ(warm.Run(p), 0);
    const int threads = ThreadsOfProcess(), workers = LImgProGetPoolWorkerCount();
    EXPECT_GE(workers, 3);
    for (int i = 0; i < 200; ++i)
    {
        Job job(4 + i % 61);
        ASSERT_EQ(job.Run(p), 0);
        ASSERT_TRUE(job.EachLineOnce()) << i;
    }
    EXPECT_EQ(ThreadsOfProcess(), threads); // no thread made per call
    EXPECT_EQ(LImgProGetPoolWorkerCount(), workers);

    // Several callers at once, each of whose bands runs a banded job of its own.
    struct Caller : LThread
    {
        ~Caller() override { StopThreadNow(); }
        void ThreadFunction() override
        {
            TestProcess q;
            for (int i = 0; i < 20 && bOk; ++i)
            {
                std::atomic<bool> innerOk{true};
                LImgProBandRunner outer(8, 1);
                outer.Run(q,
                          [&](const LImgProBand&, LImgProBandRunner&)
                          {
                              TestProcess r;
                              Job inner(33);
                              innerOk = innerOk && inner.Run(r) == 0 && inner.EachLineOnce();
                              return true;
                          });
                bOk = bOk && innerOk;
            }
        }
        std::atomic<bool> bOk{true};
    } callers[3];
    for (Caller& c : callers)
        ASSERT_TRUE(c.Start(LThreadPriorityNormal));
    for (Caller& c : callers)
    {
        c.WaitToStop();
        EXPECT_TRUE(c.bOk);
    }
}

TEST(BandPool, BandsRunAtTheCallersPriorityAndStopTogether)
{
    ThreadCount four(4);
    // From a render thread's priority the other bands run just as low.
    struct Background : LThread
    {
        ~Background() override { StopThreadNow(); }
        void ThreadFunction() override
        {
            TestProcess q;
            iResult = oJob.Run(q);
            iOwnNice = getpriority(PRIO_PROCESS, 0);
        }
        Job oJob{64};
        int iResult = -1, iOwnNice = 0;
    } background;
    ASSERT_TRUE(background.Start(LThreadPriorityBackground));
    background.WaitToStop();
    EXPECT_EQ(background.iResult, 0);
    EXPECT_TRUE(background.oJob.EachLineOnce());
    EXPECT_EQ(background.oJob.iNiceMin, background.iOwnNice);
    EXPECT_EQ(background.oJob.iNiceMax, background.iOwnNice);

    // A stop seen by the caller's band ends the run.
    TestProcess stopping(5);
    Job stopped(4000);
    EXPECT_EQ(stopped.Run(stopping), 1);
    EXPECT_EQ(stopped.arSeen[5], 0);
}
