#include "image/LImgProBands.h"

#include "foundation/LThread.h"

#include <algorithm>
#include <new>
#include <pthread.h>

static std::atomic<int> gThreadCount{0};

void LImgProSetThreadCount(int count)
{
    gThreadCount = std::max(0, count);
}

int LImgProGetThreadCount()
{
    const int n = gThreadCount;
    if (n > 0)
        return std::min(n, LImgProBandRunner::kMaxBands);
    return std::clamp(LGetNumberOfProcessors(), 1, LImgProBandRunner::kMaxBands);
}

namespace
{
// Priorities on the 0..31 scale of LThread; each has its own workers, made by a thread of that
// priority, since a thread may lower its own priority but never raise it again.
constexpr int kPriorities = 32;
constexpr int kMaxWorkers = LImgProBandRunner::kMaxBands - 1;

int PriorityOfCaller()
{
    const int p = LThreadGetCurrentPriority();
    return p >= 0 && p < kPriorities ? p : LThreadPriorityNormal;
}

// One call of Run, seen by the workers while it has bands nobody has taken. All its fields but
// the constant ones are guarded by the pool's mutex.
struct BandJob
{
    LImgProBandRunner::BandFunction fn;
    void* lpContext;
    LImgProBandRunner* lpRunner;
    const LImgProBand* lpBands;
    int iBands;
    int iPriority;
    int iNext;    // the next band nobody has taken
    int iPending; // bands taken by workers or still free, not yet finished
    BandJob* lpNextJob = nullptr;
};

class BandPool;

class BandWorker : public LThread
{
public:
    BandWorker(BandPool& pool, int priority) : rPool(pool), iGroup(priority) {}
    ~BandWorker() override { StopThreadNow(); }
    void ThreadFunction() override;

private:
    BandPool& rPool;
    int iGroup;
};

class BandPool
{
public:
    BandPool() = default;
    BandPool(const BandPool&) = delete;
    BandPool& operator=(const BandPool&) = delete;
    // At exit: workers finish the band in hand and end. A caller still running takes over the
    // bands they leave.
    ~BandPool()
    {
        pthread_mutex_lock(&loPool);
        bQuit = true;
        pthread_cond_broadcast(&cvWork);
        pthread_mutex_unlock(&loPool);
        for (BandWorker*& w : arWorkers)
        {
            delete w;
            w = nullptr;
        }
    }

    // Queues the job, with workers for it made as needed (as many as the system gives).
    void Submit(BandJob& job)
    {
        pthread_mutex_lock(&loPool);
        EnsureWorkers(job.iPriority, job.iBands - 1);
        BandJob** tail = &lpQueue;
        while (*tail)
            tail = &(*tail)->lpNextJob;
        *tail = &job;
        pthread_cond_broadcast(&cvWork);
        pthread_mutex_unlock(&loPool);
    }

    // The caller's share: whatever bands no worker has taken yet, then the wait for the rest.
    void HelpAndWait(BandJob& job)
    {
        pthread_mutex_lock(&loPool);
        for (int band; (band = Take(job)) >= 0;)
        {
            pthread_mutex_unlock(&loPool);
            RunBand(job, band);
            pthread_mutex_lock(&loPool);
            --job.iPending;
        }
        while (job.iPending > 0)
            pthread_cond_wait(&cvDone, &loPool);
        pthread_mutex_unlock(&loPool);
    }

    void WorkerLoop(int priority)
    {
        pthread_mutex_lock(&loPool);
        while (!bQuit)
        {
            BandJob* job = lpQueue;
            while (job && job->iPriority != priority)
                job = job->lpNextJob;
            if (!job)
            {
                pthread_cond_wait(&cvWork, &loPool);
                continue;
            }
            const int band = Take(*job);
            pthread_mutex_unlock(&loPool);
            RunBand(*job, band);
            pthread_mutex_lock(&loPool);
            // The job may be gone the moment its caller sees the count reach 0.
            if (--job->iPending == 0)
                pthread_cond_broadcast(&cvDone);
        }
        pthread_mutex_unlock(&loPool);
    }

    int GetWorkerCount()
    {
        pthread_mutex_lock(&loPool);
        int n = 0;
        for (const int c : arGroupCount)
            n += c;
        pthread_mutex_unlock(&loPool);
        return n;
    }

private:
    // Under the mutex: the next free band of the job, -1 when all are taken. A job leaves the
    // queue with its last band, so no worker finds it after that.
    int Take(BandJob& job)
    {
        if (job.iNext >= job.iBands)
            return -1;
        const int band = job.iNext++;
        if (job.iNext == job.iBands)
            for (BandJob** p = &lpQueue; *p; p = &(*p)->lpNextJob)
                if (*p == &job)
                {
                    *p = job.lpNextJob;
                    break;
                }
        return band;
    }

    static void RunBand(BandJob& job, int band)
    {
        if (!job.fn(job.lpContext, job.lpBands[band], *job.lpRunner))
            job.lpRunner->bStop = true;
    }

    // Under the mutex. A worker starts without the mutex held by itself, so waiting here for it
    // to be running is safe; one that can't be made is simply not there.
    void EnsureWorkers(int priority, int wanted)
    {
        wanted = std::min(wanted, kMaxWorkers);
        while (arGroupCount[priority] < wanted && iWorkers < kMaxWorkers * 2)
        {
            BandWorker* worker = new (std::nothrow) BandWorker(*this, priority);
            if (!worker)
                return;
            if (!worker->Start(priority))
            {
                delete worker;
                return;
            }
            arWorkers[iWorkers++] = worker;
            ++arGroupCount[priority];
        }
    }

    pthread_mutex_t loPool = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t cvWork = PTHREAD_COND_INITIALIZER;
    pthread_cond_t cvDone = PTHREAD_COND_INITIALIZER;
    BandJob* lpQueue = nullptr;
    bool bQuit = false;
    BandWorker* arWorkers[kMaxWorkers * 2] = {};
    int iWorkers = 0;
    int arGroupCount[kPriorities] = {};
};

void BandWorker::ThreadFunction()
{
    rPool.WorkerLoop(iGroup);
}

BandPool& Pool()
{
    static BandPool pool;
    return pool;
}
} // namespace

int LImgProGetPoolWorkerCount()
{
    return Pool().GetWorkerCount();
}

LImgProBandRunner::LImgProBandRunner(int lines, int minPerBand, int threads) : iLines(std::max(lines, 0))
{
    const int byWork = std::max(1, iLines / std::max(minPerBand, 1));
    const int wanted = threads > 0 ? std::min(threads, kMaxBands) : LImgProGetThreadCount();
    iBands = std::max(1, std::min(wanted, byWork));
}

int LImgProBandRunner::RunBands(LProcessInterface& process, BandFunction fn, void* context)
{
    lpProcess = &process;
    bStop = false;
    // The first line asks, then every iStopEvery-th.
    iCallsSinceTest = iStopEvery - 1;
    if (iLines == 0)
        return process.IsToStop() ? 1 : 0;
    LImgProBand bands[kMaxBands];
    const int per = iLines / iBands;
    for (int i = 0; i < iBands; ++i)
        bands[i] = {i * per, i == iBands - 1 ? iLines - i * per : per, i == 0};
    if (iBands == 1)
    {
        if (!fn(context, bands[0], *this))
            bStop = true;
        return bStop ? 1 : 0;
    }
    BandJob job{fn, context, this, bands, iBands, PriorityOfCaller(), 1, iBands - 1};
    BandPool& pool = Pool();
    pool.Submit(job);
    if (!fn(context, bands[0], *this))
        bStop = true;
    pool.HelpAndWait(job);
    return bStop ? 1 : 0;
}

bool LImgProBandRunner::IsToStop(const LImgProBand& band)
{
    if (band.bCaller && ++iCallsSinceTest >= iStopEvery)
    {
        iCallsSinceTest = 0;
        if (lpProcess->IsToStop())
            bStop = true;
    }
    return bStop.load(std::memory_order_relaxed);
}

void LImgProBandRunner::SetProgress(const LImgProBand& band, double fraction)
{
    if (band.bCaller)
        lpProcess->SetProgress(fraction);
}
