#include "document/QDImagePipelineElementProcessingThread.h"

#include <vector>

#include "document/QDProject.h"
#include "image/LImageBuffer.h"

QDImagePipelineElementProcessingThread::~QDImagePipelineElementProcessingThread()
{
    StopThreadNow();
}

void QDImagePipelineElementProcessingThread::SetCurrentProjectAndStart(QDProject* project)
{
    if (IsRunning())
        StopThreadNow();
    lpCurrentProject = project;
    Start(LThreadPriorityBackground);
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

LProcessResult QDImagePipelineElementProcessingThread::RenderLoopHighLevel(QDProject& project)
{
    if (!project.bRenderRequested && !project.pipeline.IsDirty())
        return LProcessResultSuccess;

    LLockObjectGuard guard(project.pipeline.lock);
    std::vector<QDImagePipelineElement*> dirty;
    for (QDImagePipelineElement* e = project.pipeline.GetFirstElement(); e; e = e->GetNextItem())
        if (!dirty.empty() || e->IsDirty())
        {
            e->SetDirty();
            dirty.push_back(e);
        }

    dProgress = 0;
    strError.Clear();
    QDProject* self = &project;
    // The receiver of these two codes gets the project's list link, not the project.
    Post(QDRenderNotifyBegin, self, QDRenderNotifySize);

    LImageBuffer buffer;
    LProcessResult result = RenderLoop(project, buffer);
    if (result != LProcessResultSuccess)
        for (QDImagePipelineElement* e : dirty) // a partial result may be in the cache
            e->SetDirty();
    project.strRenderError = strError;

    switch (result)
    {
    case LProcessResultCancelled:
        Post(QDRenderNotifyCancelled, &self, QDRenderNotifySize);
        break;
    case LProcessResultSuccess:
        project.SetRenderedHighResImage(buffer);
        buffer.Destroy();
        Post(QDRenderNotifyHighRes, &self, QDRenderNotifySize);
        project.SaveProjectFile();
        break;
    default:
        Post(QDRenderNotifyFailed, self, QDRenderNotifySize);
        break;
    }
    return result;
}

LProcessResult QDImagePipelineElementProcessingThread::RenderLoop(QDProject& project, LImageBuffer& buffer)
{
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
            LProcessResult r = e->GetLowResImage(sub, buffer);
            ++i;
            if (r != LProcessResultSuccess)
                return r;
        }
    }
    if (buffer.IsValid())
        project.SetRenderedLowResImage(buffer);
    buffer.Destroy();
    QDProject* self = &project;
    Post(QDRenderNotifyLowRes, &self, QDRenderNotifySize);

    size_t j = 0;
    for (QDImagePipelineElement* e = pipeline.GetFirstElement(); e; e = e->GetNextItem())
    {
        if (pipeline.GetNumElements() < N)
            return LProcessResultCancelled;
        if (skip(e))
            continue;
        if (j >= V)
            return LProcessResultSuccess;
        LProcessInterfaceSubProcess sub(*this, s * double(j) * 0.75, s * 0.75);
        LProcessResult r = e->GetHighResImage(sub, buffer);
        ++j;
        if (r != LProcessResultSuccess)
            return r;
        if (j == V)
            return LProcessResultSuccess;
    }
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
