#include "batch/QDBatchProcess.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "batch/QDBatchScript.h"
#include "codecs/LImage.h"
#include "codecs/LImageMemoryCodec.h"
#include "document/LBoundingBox2.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "foundation/LFileAtomicWriter.h"
#include "foundation/LThread.h"

bool QDBatchGetOutputPath(const BatchFileItem& item, const QDBatchOutputSettings& output, std::string& out)
{
    out.clear();
    char folder[LFILE_MAX_PATH], name[LFILE_MAX_PATH], ext[LFILE_MAX_PATH];
    if (!LFile::_GetFolderFromPath(folder, item.szFilePath) ||
        !LFile::_GetFileNameFromPath(name, item.szFilePath) ||
        !LFile::_GetFileExtensionFromPath(ext, item.szFilePath))
        return false;
    // The name loses exactly the extension that was found.
    name[strlen(name) - strlen(ext)] = 0;
    const char* extension = ext;
    if (!output.bSaveSameFileFormat)
    {
        const LImageCodec codec(output.iSaveFileFormat);
        if (!codec.IsValid())
            return false;
        extension = codec.GetPreferredExtension();
    }
    const char* base = output.bSameOutputFolder ? folder : output.szOutputFolder;
    char path[LFILE_MAX_PATH];
    if (!LFile::_MakeFilePath(path, base, name, extension))
        return false;
    out = path;
    return true;
}

namespace
{
using Clock = std::chrono::steady_clock;

// Settled in list order by the thread that runs the process.
struct Plan
{
    BatchFileItem* lpItem = nullptr;
    bool bValid = false;   // its format is written back
    bool bHasPath = false; // the output path could be made
    std::string szOutput;
    LImageCodecID iCodec = LImageCodecUnknown;
    long iWaitFor = -1; // the last earlier file whose output replaces this one's input
};

// What the work on one file leaves for its commit.
struct Work
{
    std::atomic<int> iState{0}; // 0 waiting, 1 under way, 2 done
    LProcessResult iResult = LProcessResultFailed;
    bool bLoaded = false;
    std::string szLoadError;
    std::vector<uint8_t> vFile;
    std::vector<std::string> vErrors;
    std::atomic<double> fProgress{0.0};
    std::mutex loStatus;
    std::string szStatus[2];
    bool bStatusChanged = false;
};

std::string FileName(const char* path)
{
    const char* name = strrchr(path, '/');
    return name ? name + 1 : path;
}

// Loading reports no failure: a file that can't be read is passed over in silence.
class QuietLoad : public LProcessInterfaceSubProcess
{
public:
    QuietLoad(LProcessInterface& parent, std::string& error)
        : LProcessInterfaceSubProcess(parent, 0.0, 0.1), rError(error)
    {
    }
    void SetError(const char* text) override
    {
        if (rError.empty() && text)
            rError = text;
    }

private:
    std::string& rError;
};

LProcessResult EncodeOutput(LProcessInterface& process, const LImageBuffer& image, LImageCodecID codec,
                            const QDBatchStateData& s, std::vector<uint8_t>& out)
{
    switch (codec)
    {
    case LImageCodecBMP:
        return LImageEncodeWith<LProcessBMPSave>(
            process, image, out, [&](auto& d) { d.settings.SetPixelFormat(s.bBMP_Alpha ? 1 : 0); });
    case LImageCodecGIF:
        if (s.bGIF_Fast)
            return LImageEncodeWith<LProcessGIFSave>(process, image, out, [](auto&) {});
        return LGIFEncodeAnimatedFrame(process, image, s.bGIF_Dither, out);
    case LImageCodecJPEG:
        return LImageEncodeWith<LProcessJPEGSave>(process, image, out,
                                                  [&](auto& d) { d.iQuality = s.iJPEG_Quality; });
    case LImageCodecPNG:
        return LImageEncodeWith<LProcessPNGSave>(process, image, out, [](auto&) {});
    case LImageCodecTIFF:
        return LImageEncodeWith<LProcessTIFFSave>(process, image, out, [](auto&) {});
    default:
        return LImageEncodeToMemory(process, image, LImageCodec(codec), s.encodeSettings, out);
    }
}

// Load, effects and encoding of one file, into w. The result ends the run when it isn't 0; a
// file that didn't load is 0 with bLoaded false.
LProcessResult RenderItem(LProcessInterface& p, const Plan& plan,
                          const LList<QDImagePipelineElement>& effects, const QDBatchStateData& s, Work& w)
{
    LImageBuffer image;
    {
        QDImageCodecVetoer vetoer;
        LProcessImageLoadFile load;
        load.iTimeoutMs = 3000;
        load.lpVetoer = &vetoer;
        load.lpImage = &image;
        QuietLoad quiet(p, w.szLoadError);
        LProcessResult r =
            load.SetFilePath(plan.lpItem->szFilePath) ? Process(quiet, load) : LProcessResultFailed;
        if (r == LProcessResultCancelled)
            return r;
        if (r != LProcessResultSuccess || !image.IsValid())
        {
            if (w.szLoadError.empty())
                w.szLoadError = "The image could not be loaded.";
            return LProcessResultSuccess;
        }
    }
    w.bLoaded = true;
    p.SetStatus(FileName(plan.lpItem->szFilePath).c_str(), 0);
    const size_t count = effects.GetCount();
    size_t k = 0;
    for (QDImagePipelineElement* e = effects.GetFirst(); e; e = e->GetNextItem(), ++k)
    {
        LProcessInterfaceSubProcess sub(p, 0.1 + 0.8 * double(k) / double(count), 0.8 / double(count));
        p.SetStatusF(1, "Rendering %s Layer", e->GetName());
        e->SetDimensions(LBoundingBox2T<double>(0, 0, image.GetWidth(), image.GetHeight()));
        const LProcessResult r = e->RenderHighResImage(sub, image);
        if (r != LProcessResultSuccess)
            return r;
        if (!image.IsValid())
        {
            p.SetError("Out of memory");
            return LProcessResultFailed;
        }
    }
    LProcessInterfaceSubProcess sub(p, 0.9, 0.1);
    return EncodeOutput(sub, image, plan.iCodec, s, w.vFile);
}

// Puts a finished file in place and tells the observer. Runs in list order.
LProcessResult Commit(const Plan& plan, Work& w, const QDBatchStateData& s)
{
    BatchFileItem& item = *plan.lpItem;
    LProcessResult r = w.iResult;
    if (r == LProcessResultCancelled)
        item.eOutcome = QDBatchItemStopped;
    else if (r != LProcessResultSuccess)
    {
        item.eOutcome = QDBatchItemFailed;
        item.szReason = w.vErrors.empty() ? "The image could not be processed." : w.vErrors.back();
    }
    else if (!w.bLoaded)
    {
        item.eOutcome = QDBatchItemNotLoaded;
        item.szReason = w.szLoadError;
    }
    else if (LFileWriteAtomic(plan.szOutput.c_str(), w.vFile.data(), w.vFile.size()) !=
             LFileAtomicWriterSuccess)
    {
        item.eOutcome = QDBatchItemFailed;
        item.szReason = "The file could not be written.";
        r = LProcessResultFailed;
    }
    else
    {
        item.eOutcome = QDBatchItemWritten;
        item.szOutputPath = plan.szOutput;
    }
    w.vFile = {};
    if (s.lpObserver && item.eOutcome != QDBatchItemStopped)
        s.lpObserver->EvBatchItemDone(item);
    return r;
}

// A file's process interface on the calling thread: everything goes straight to the parent, and
// errors are also kept for the file's reason.
class DirectItem : public LProcessInterfaceSubProcess
{
public:
    DirectItem(LProcessInterface& parent, double start, double range, Work& work)
        : LProcessInterfaceSubProcess(parent, start, range), rWork(work)
    {
    }
    void SetError(const char* text) override
    {
        rWork.vErrors.emplace_back(text ? text : "");
        lpParent->SetError(text);
    }

private:
    Work& rWork;
};

class Coordinator;

// A file's process interface on a worker: stops with the run, and keeps what it reports for the
// thread that runs the process, which shows it in list order.
class WorkerItem : public LProcessInterface
{
public:
    WorkerItem(const std::atomic<bool>& stop, Work& work) : rStop(stop), rWork(work) {}
    bool IsToStop() override { return rStop.load(std::memory_order_relaxed); }
    int ProcessWait(int milliseconds) override
    {
        const auto end = Clock::now() + std::chrono::milliseconds(milliseconds < 0 ? 0 : milliseconds);
        while (!IsToStop())
        {
            if (milliseconds >= 0 && Clock::now() >= end)
                return 2;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return 1;
    }
    int ProcessWaitSignal(LSignalObject& signal, int milliseconds) override
    {
        const auto end = Clock::now() + std::chrono::milliseconds(milliseconds < 0 ? 0 : milliseconds);
        for (;;)
        {
            if (signal.IsSet())
                return 0;
            if (IsToStop())
                return 1;
            if (milliseconds >= 0 && Clock::now() >= end)
                return 2;
            signal.Wait(10);
        }
    }
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, int milliseconds) override
    {
        const auto end = Clock::now() + std::chrono::milliseconds(milliseconds < 0 ? 0 : milliseconds);
        for (;;)
        {
            if (group.Wait(0) >= 0)
                return 0;
            if (IsToStop())
                return 1;
            if (milliseconds >= 0 && Clock::now() >= end)
                return 2;
            group.Wait(10);
        }
    }
    void SetError(const char* text) override { rWork.vErrors.emplace_back(text ? text : ""); }
    void SetStatus(const char* text, int line) override
    {
        if (line < 0 || line > 1)
            return;
        std::lock_guard<std::mutex> guard(rWork.loStatus);
        rWork.szStatus[line] = text ? text : "";
        rWork.bStatusChanged = true;
    }
    void SetProgress(double fraction) override { rWork.fProgress.store(fraction, std::memory_order_relaxed); }

private:
    const std::atomic<bool>& rStop;
    Work& rWork;
};

class Worker;

class Coordinator
{
public:
    Coordinator(const QDBatchStateData& state, std::vector<Plan>& plans)
        : s(state), vPlans(plans), vWork(plans.size())
    {
        for (auto& w : vWork)
            w = std::make_unique<Work>();
    }

    // Takes files in list order, within a window ahead of the commits, until none is left.
    void WorkerLoop(const LList<QDImagePipelineElement>& effects)
    {
        std::unique_lock<std::mutex> lock(lo);
        for (;;)
        {
            cv.wait(lock, [&]
                    { return bStop || iNextToTake >= vPlans.size() || iNextToTake < iSettled + iWindow; });
            if (bStop || iNextToTake >= vPlans.size())
                return;
            const size_t index = iNextToTake++;
            const Plan& plan = vPlans[index];
            if (!plan.bValid || !plan.bHasPath)
                continue; // settled without work
            if (plan.iWaitFor >= 0)
                cv.wait(lock, [&] { return bStop || iSettled > size_t(plan.iWaitFor); });
            if (bStop)
                return;
            Work& w = *vWork[index];
            w.iState = 1;
            lock.unlock();
            WorkerItem iface(bStop, w);
            const LProcessResult r = RenderItem(iface, plan, effects, s, w);
            lock.lock();
            w.iResult = r;
            w.iState = 2;
            cv.notify_all();
        }
    }

    // Waits for the file's work while keeping the parent's bar, status and stop alive. False
    // when the parent asked to stop.
    bool WaitFor(LProcessInterface& parent, size_t index)
    {
        Work& w = *vWork[index];
        for (;;)
        {
            {
                std::unique_lock<std::mutex> lock(lo);
                cv.wait_for(lock, std::chrono::milliseconds(40), [&] { return w.iState == 2; });
                if (w.iState == 2)
                    return true;
            }
            if (parent.IsToStop())
                return false;
            ShowProgress(parent, index);
        }
    }

    void ShowProgress(LProcessInterface& parent, size_t oldest)
    {
        double done = double(oldest);
        for (size_t i = oldest; i < vPlans.size(); ++i)
            if (vWork[i]->iState != 0)
                done += vWork[i]->fProgress.load(std::memory_order_relaxed);
        parent.SetProgress(done / double(vPlans.size()));
        // The status is that of the oldest file still under way, as one at a time would show it.
        Work& w = *vWork[oldest];
        std::string status[2];
        {
            std::lock_guard<std::mutex> guard(w.loStatus);
            if (!w.bStatusChanged)
                return;
            w.bStatusChanged = false;
            status[0] = w.szStatus[0];
            status[1] = w.szStatus[1];
        }
        for (int line = 0; line < 2; ++line)
            if (!status[line].empty())
                parent.SetStatus(status[line].c_str(), line);
    }

    void Settled(size_t index)
    {
        std::lock_guard<std::mutex> guard(lo);
        iSettled = index + 1;
        cv.notify_all();
    }

    void Stop()
    {
        std::lock_guard<std::mutex> guard(lo);
        bStop = true;
        cv.notify_all();
    }

    const QDBatchStateData& s;
    std::vector<Plan>& vPlans;
    std::vector<std::unique_ptr<Work>> vWork;
    std::mutex lo;
    std::condition_variable cv;
    size_t iNextToTake = 0;
    size_t iSettled = 0;
    size_t iWindow = 2;
    std::atomic<bool> bStop{false};
};

class Worker : public LThread
{
public:
    explicit Worker(Coordinator& c) : rCoordinator(c) {}
    ~Worker() override { WaitToStop(); }
    void ThreadFunction() override { rCoordinator.WorkerLoop(lEffects); }

    Coordinator& rCoordinator;
    LList<QDImagePipelineElement> lEffects;
};

// The effects again, through the script they would be saved as, with the values a script
// doesn't keep copied over. False when a copy can't be made faithfully.
bool CopyEffects(const QDBatchStateData& s, const std::vector<uint8_t>& script,
                 LList<QDImagePipelineElement>& out)
{
    LProcessInterfaceVoid quiet;
    if (QDBatchScriptLoadMemory(quiet, script.data(), script.size(), s.availableEffects, s.lpFactories,
                                out) != LProcessResultSuccess ||
        out.GetCount() != s.effects.GetCount())
        return false;
    QDImagePipelineElement* copy = out.GetFirst();
    for (QDImagePipelineElement* e = s.effects.GetFirst(); e;
         e = e->GetNextItem(), copy = copy->GetNextItem())
    {
        auto* from = dynamic_cast<QDWrappedPropertiesElement*>(e);
        auto* to = dynamic_cast<QDWrappedPropertiesElement*>(copy);
        if (!from || !to || strcmp(e->GetTypeIdentifier(), copy->GetTypeIdentifier()) != 0)
            return false;
        for (size_t i = 0; i < from->GetPropertyTable().size(); ++i)
            to->SetPropertyValue(i, from->GetPropertyValue(i), false);
        for (size_t i = 0; i < from->GetPropertyTable().size(); ++i)
            if (to->GetPropertyValue(i) != from->GetPropertyValue(i))
                return false;
    }
    return true;
}

bool ScriptBytes(const QDBatchStateData& s, std::vector<uint8_t>& bytes)
{
    char temp[LFILE_MAX_PATH];
    if (!LFileTempPathInTempFolder(temp, ".qdb"))
        return false;
    LProcessInterfaceVoid quiet;
    bool ok = QDBatchScriptSave(quiet, temp, s.effects) == LProcessResultSuccess;
    if (ok)
    {
        LInputStream<LInputStreamFile> in;
        const int64_t size = in.Open(temp) ? in.GetSize64() : -1;
        bytes.resize(size > 0 ? size_t(size) : 0);
        ok = size > 0 && in.Read(bytes.data(), bytes.size());
    }
    unlink(temp);
    return ok;
}

// A path as one name for the file it stands for: absolute and without "." or "..".
std::string Normal(const std::string& path)
{
    std::error_code ec;
    std::filesystem::path p = std::filesystem::absolute(path, ec);
    return ec ? path : p.lexically_normal().string();
}

// Which earlier output replaces each input, by name and by the file an existing name leads to.
void FindDependencies(std::vector<Plan>& plans)
{
    std::map<std::string, long> byName;
    std::map<std::pair<dev_t, ino_t>, long> byFile;
    for (size_t k = 0; k < plans.size(); ++k)
    {
        Plan& plan = plans[k];
        const std::string input = Normal(plan.lpItem->szFilePath);
        struct stat st;
        if (auto it = byName.find(input); it != byName.end())
            plan.iWaitFor = it->second;
        if (stat(plan.lpItem->szFilePath, &st) == 0)
            if (auto it = byFile.find({st.st_dev, st.st_ino}); it != byFile.end())
                plan.iWaitFor = std::max(plan.iWaitFor, it->second);
        if (!plan.bValid || !plan.bHasPath)
            continue;
        byName[Normal(plan.szOutput)] = long(k);
        if (stat(plan.szOutput.c_str(), &st) == 0)
            byFile[{st.st_dev, st.st_ino}] = long(k);
    }
}

// Steps 1 to 3 of a file, in list order: a stop, a format setting that names no codec, and a
// format not written back. 0 when the file is to be worked on.
enum Gate
{
    GateWork,
    GateSkipped,
    GateStopped,
    GateFailed,
};
Gate Check(LProcessInterface& process, const Plan& plan, const QDBatchStateData& s)
{
    if (process.IsToStop())
        return GateStopped;
    if (!plan.bHasPath)
        return GateFailed;
    if (!plan.bValid)
    {
        plan.lpItem->bValidOutput = false;
        plan.lpItem->eOutcome = QDBatchItemSkipped;
        plan.lpItem->szReason = "The file format is not supported for output.";
        if (s.lpObserver)
            s.lpObserver->EvBatchItemDone(*plan.lpItem);
        return GateSkipped;
    }
    return GateWork;
}

LProcessResult GateResult(Gate g)
{
    return g == GateStopped ? LProcessResultCancelled : LProcessResultFailed;
}

LProcessResult RunOneAtATime(LProcessInterface& process, const QDBatchStateData& s, std::vector<Plan>& plans)
{
    s.iFilesAtOnce = 1;
    const double share = 1.0 / double(plans.size());
    for (size_t i = 0; i < plans.size(); ++i)
    {
        const Gate g = Check(process, plans[i], s);
        if (g == GateSkipped)
            continue;
        if (g != GateWork)
            return GateResult(g);
        Work w;
        DirectItem item(process, double(i) * share, share, w);
        w.iResult = RenderItem(item, plans[i], s.effects, s, w);
        // Errors already reached the parent as they came.
        const LProcessResult r = Commit(plans[i], w, s);
        if (r != LProcessResultSuccess)
            return r;
        process.SetProgress(double(i + 1) * share);
    }
    return LProcessResultSuccess;
}

LProcessResult RunConcurrently(LProcessInterface& process, const QDBatchStateData& s,
                               std::vector<Plan>& plans, const std::vector<uint8_t>& script, int threads)
{
    Coordinator c(s, plans);
    c.iWindow = size_t(threads) * 2;
    std::vector<std::unique_ptr<Worker>> workers;
    for (int t = 0; t < threads; ++t)
    {
        auto w = std::make_unique<Worker>(c);
        if (!CopyEffects(s, script, w->lEffects))
            break;
        workers.push_back(std::move(w));
    }
    if (int(workers.size()) < threads)
        return RunOneAtATime(process, s, plans); // a copy that isn't faithful: the list as it is
    int started = 0;
    for (auto& w : workers)
        started += w->StartSame() ? 1 : 0;
    if (started == 0)
        return RunOneAtATime(process, s, plans);
    s.iFilesAtOnce = started;

    LProcessResult result = LProcessResultSuccess;
    for (size_t i = 0; i < plans.size(); ++i)
    {
        const Gate g = Check(process, plans[i], s);
        if (g == GateSkipped)
        {
            c.Settled(i);
            continue;
        }
        if (g != GateWork)
        {
            result = GateResult(g);
            break;
        }
        if (!c.WaitFor(process, i))
        {
            result = LProcessResultCancelled;
            break;
        }
        Work& w = *c.vWork[i];
        c.ShowProgress(process, i);
        for (const std::string& e : w.vErrors)
            process.SetError(e.c_str());
        result = Commit(plans[i], w, s);
        c.Settled(i);
        if (result != LProcessResultSuccess)
            break;
        process.SetProgress(double(i + 1) / double(plans.size()));
    }
    c.Stop();
    for (auto& w : workers)
        w->WaitToStop();
    return result;
}
} // namespace

LProcessResult Process(LProcessInterface& process, const QDBatchStateData& s)
{
    std::vector<Plan> plans;
    for (BatchFileItem* item = s.BatchFileList.GetFirst(); item; item = item->GetNextItem())
    {
        Plan plan;
        plan.lpItem = item;
        item->eOutcome = QDBatchItemPending;
        item->szOutputPath.clear();
        item->szReason.clear();
        plan.bValid = item->IsValidOutputFormat();
        plan.bHasPath = QDBatchGetOutputPath(*item, s.output, plan.szOutput);
        LImageCodec codec;
        if (plan.bHasPath && codec.InitFromFilePath(plan.szOutput.c_str()))
            plan.iCodec = codec.id;
        plans.push_back(std::move(plan));
    }
    s.iFilesAtOnce = 0;
    if (plans.empty())
        return LProcessResultSuccess;
    FindDependencies(plans);

    size_t work = 0;
    for (const Plan& p : plans)
        work += p.bValid && p.bHasPath ? 1 : 0;
    int threads = s.iConcurrentFiles > 0 ? s.iConcurrentFiles : LGetNumberOfProcessors();
    threads = int(std::min<size_t>(size_t(std::max(threads, 1)), work));
    std::vector<uint8_t> script;
    if (threads > 1 && ScriptBytes(s, script))
        return RunConcurrently(process, s, plans, script, threads);
    return RunOneAtATime(process, s, plans);
}

LProcessResult Process(LProcessInterface& process, QDBatchPreviewRenderData& d)
{
    if (!d.lpEffects || !d.lpImage || !d.lpImage->IsValid())
        return LProcessResultFailed;
    const size_t count = d.lpEffects->GetCount();
    size_t k = 0;
    for (QDImagePipelineElement* e = d.lpEffects->GetFirst(); e; e = e->GetNextItem(), ++k)
    {
        LProcessInterfaceSubProcess sub(process, double(k) / double(count), 1.0 / double(count));
        process.SetStatusF(0, "Rendering %s Layer", e->GetName());
        e->SetDimensions(LBoundingBox2T<double>(0, 0, d.iFullWidth, d.iFullHeight));
        const LProcessResult r = e->RenderLowResImage(sub, *d.lpImage);
        if (r != LProcessResultSuccess)
            return r;
        if (!d.lpImage->IsValid())
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
    }
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
