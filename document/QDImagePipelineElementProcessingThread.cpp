#include "document/QDImagePipelineElementProcessingThread.h"

#include <vector>

#include "document/LQDCacheStore.h"
#include "document/QDProject.h"
#include "image/LImageBuffer.h"

QDImagePipelineElementProcessingThread::~QDImagePipelineElementProcessingThread()
{
    StopThreadNow();
}

bool QDImagePipelineElementProcessingThread::SetCurrentProjectAndStart(QDProject* project)
{
    if (IsRunning())
        StopThreadNow();
    lpCurrentProject = project;
    return Start(LThreadPriorityBackground);
}

bool QDImagePipelineElementProcessingThread::ProjectClosed(QDProject* project)
{
    bool wasRunning = IsRunning();
    if (wasRunning)
        StopThreadNow();
    if (project == lpCurrentProject)
        lpCurrentProject = nullptr;
    return wasRunning;
}

void QDImagePipelineElementProcessingThread::Post(int code, const void* data, size_t size)
{
    if (lpNotifyHandler)
        lpNotifyHandler->PostNotifyFromSender(code, data, size);
}

void QDImagePipelineElementProcessingThread::PostSerial(int code, const QDProject* project)
{
    const uint64_t serial = project ? project->iSerial : 0;
    Post(code, &serial, sizeof(serial));
}

void QDImagePipelineElementProcessingThread::SetProgress(double fraction)
{
    if (fraction - dProgress < 0.05)
        return;
    // The percentage of the previous value: the display lags one step behind.
    Post(QDRenderNotifyProgress, nullptr, size_t(dProgress.load() * 100.0));
    dProgress = fraction;
}

void QDImagePipelineElementProcessingThread::SetError(const char* text)
{
    strError = text ? text : "";
}

void QDImagePipelineElementProcessingThread::ThreadFunction()
{
    QDProject* current = lpCurrentProject;
    if (!current)
        return;
    if (RenderLoopHighLevel(*current) == LProcessResultCancelled)
        return;
    for (QDProject* p = lpProjects ? *lpProjects : nullptr; p; p = p->lpNext)
        if (p != current && RenderLoopHighLevel(*p) == LProcessResultCancelled)
            break;
}

bool QDImagePipelineElementProcessingThread::TakeCounters(QDProject& project)
{
    try
    {
        vCounters.clear();
        for (QDImagePipelineElement* e = project.pipeline.GetFirstElement(); e; e = e->GetNextItem())
            vCounters.emplace_back(e, e->GetChangeCounter());
    }
    catch (...)
    {
        return false;
    }
    return true;
}

bool QDImagePipelineElementProcessingThread::CountersMoved() const
{
    for (const auto& [element, counter] : vCounters)
        if (element->GetChangeCounter() != counter)
            return true;
    return false;
}

LProcessResult QDImagePipelineElementProcessingThread::RenderLoopHighLevel(QDProject& project)
{
    // The list is walked under the lock only, the test for work included.
    QDImagePipelineRenderHold hold(project.pipeline);
    if (!project.bRenderRequested && !project.pipeline.IsDirty())
        return LProcessResultSuccess;

    dProgress = 0;
    strError.Clear();
    // The receiver of these two codes gets the project's list successor, not the project.
    PostSerial(QDRenderNotifyBegin, project.lpNext);

    LProcessResult result = LProcessResultSuccess;
    std::vector<QDImagePipelineElement*> dirty;
    for (int attempt = 0;; ++attempt)
    {
        // From the first dirty element on, everything renders again.
        bool listed = true;
        try
        {
            dirty.clear();
            for (QDImagePipelineElement* e = project.pipeline.GetFirstElement(); e; e = e->GetNextItem())
                if (!dirty.empty() || e->IsDirty())
                {
                    e->SetDirty();
                    dirty.push_back(e);
                }
        }
        catch (...)
        {
            listed = false;
        }
        if (!listed || !TakeCounters(project))
        {
            strError = "Out of memory";
            result = LProcessResultFailed;
            break;
        }

        LImageBuffer buffer;
        bool stale = false;
        int32_t holder = -1;
        result = RenderLoop(project, buffer, stale, holder);
        if (result == LProcessResultSuccess && !stale)
        {
            // Stored, then verified: a change that came after the last look at the counters
            // still leaves the new picture unreported.
            project.SetRenderedHighResImage(buffer, holder);
            stale = CountersMoved();
            if (!stale)
            {
                if (lpKeepHighRes && &project == lpCurrentProject)
                    lpKeepHighRes->Assign(buffer);
                break;
            }
            LQDCacheInvalidate(project.iHighResCacheId);
            project.bRenderRequested = true;
        }
        if (result != LProcessResultSuccess)
            break;
        // A property changed during the render: its element invalidated itself, and the next
        // round renders from there with the new properties.
        if (attempt + 1 >= kMaxStaleRenders || IsToStop())
        {
            result = LProcessResultCancelled;
            break;
        }
    }
    if (result != LProcessResultSuccess)
        for (QDImagePipelineElement* e : dirty) // a partial result may be in the cache
            e->SetDirty();
    project.strRenderError = strError;

    switch (result)
    {
    case LProcessResultCancelled:
        PostSerial(QDRenderNotifyCancelled, &project);
        break;
    case LProcessResultSuccess:
        PostSerial(QDRenderNotifyHighRes, &project);
        project.SaveProjectFile();
        break;
    default:
        PostSerial(QDRenderNotifyFailed, project.lpNext);
        break;
    }
    return result;
}

LProcessResult QDImagePipelineElementProcessingThread::RenderLoop(QDProject& project, LImageBuffer& buffer)
{
    bool stale = false;
    int32_t holder = -1;
    if (!TakeCounters(project))
        return LProcessResultFailed;
    return RenderLoop(project, buffer, stale, holder);
}

LProcessResult QDImagePipelineElementProcessingThread::RenderLoop(QDProject& project, LImageBuffer& buffer,
                                                                  bool& stale, int32_t& holder)
{
    stale = false;
    holder = -1;
    QDImagePipeline& pipeline = project.pipeline;
    const size_t N = pipeline.GetNumElements();
    const size_t V = pipeline.GetNumVisibleElements();
    if (N == 0)
        return LProcessResultSuccess;
    const double s = V ? 1.0 / double(V) : 0.0;

    // An element is skipped when its successor holds a valid picture: the walk loads that one.
    auto skip = [](QDImagePipelineElement* e)
    {
        QDImagePipelineElement* n = e->GetNextItem();
        return n && n->bVisible && !n->IsDirty();
    };

    size_t i = 0;
    for (QDImagePipelineElement* e = pipeline.GetFirstElement(); e; e = e->GetNextItem())
    {
        if (pipeline.GetNumElements() < N)
            return LProcessResultCancelled; // deleted under the thread
        if (skip(e))
            continue;
        if (i < V)
        {
            LProcessInterfaceSubProcess sub(*this, s * double(i) * 0.25, s * 0.25);
            LProcessResult r = e->GetLowResImage(sub, buffer, &holder);
            ++i;
            if (r != LProcessResultSuccess)
                return r;
        }
    }
    if (buffer.IsValid())
        project.SetRenderedLowResImage(buffer, holder);
    buffer.Destroy();
    holder = -1;
    if (CountersMoved())
    {
        LQDCacheInvalidate(project.iLowResCacheId);
        stale = true;
        return LProcessResultSuccess;
    }
    PostSerial(QDRenderNotifyLowRes, &project);

    size_t j = 0;
    for (QDImagePipelineElement* e = pipeline.GetFirstElement(); e; e = e->GetNextItem())
    {
        if (pipeline.GetNumElements() < N)
            return LProcessResultCancelled;
        if (skip(e))
            continue;
        if (j >= V)
            break;
        LProcessInterfaceSubProcess sub(*this, s * double(j) * 0.75, s * 0.75);
        LProcessResult r = e->GetHighResImage(sub, buffer, &holder);
        ++j;
        if (r != LProcessResultSuccess)
            return r;
        if (j == V)
            break;
    }
    stale = CountersMoved();
    return LProcessResultSuccess;
}

LProcessResult Process(LProcessInterface& process, QDImagePipelineElementProcessingThread& thread)
{
    process.SetProgressIndeterminateOn();
    process.SetStatus("Waiting for image to finish rendering", 0);
    if (!thread.IsRunning())
        return process.IsToStop() ? LProcessResultCancelled : LProcessResultSuccess;
    process.SetProgressIndeterminateOff();
    process.SetProgress(0);
    while (thread.IsRunning())
    {
        process.SetProgress(thread.dProgress.load());
        if (process.ProcessWait(100) == 1)
            return LProcessResultCancelled;
    }
    return LProcessResultSuccess;
}
