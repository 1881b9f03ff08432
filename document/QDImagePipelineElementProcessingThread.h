#pragma once
// The one render thread of the program. It brings the current project up to date first, then
// the others, each from the first dirty element on: a low-resolution pass the user sees at once,
// then the full one. Results go to the cache and the main thread hears of them by notification.

#include <cstddef>
#include <atomic>

#include "foundation/LString.h"
#include "foundation/LThread.h"
#include "foundation/LThreadRunOnMainThread.h"

class LImageBuffer;
class QDProject;

enum QDRenderNotification : int
{
    QDRenderNotifyBegin = 5000,     // data: the first bytes of the project object (its list link)
    QDRenderNotifyProgress = 5001,  // no data; the size is the percentage
    QDRenderNotifyLowRes = 5002,    // data: the project's address
    QDRenderNotifyHighRes = 5003,   // data: the project's address
    QDRenderNotifyCancelled = 5004, // data: the project's address
    QDRenderNotifyFailed = 5005,    // data: the first bytes of the project object (its list link)
};
// Bytes of data of the render notifications: one pointer.
constexpr size_t QDRenderNotifySize = sizeof(void*);

class QDImagePipelineElementProcessingThread : public LThread
{
public:
    // projects: the head of the program's project list, linked by QDProject::lpNext.
    explicit QDImagePipelineElementProcessingThread(QDProject** projects) : lpProjects(projects) {}
    ~QDImagePipelineElementProcessingThread() override;

    void SetCurrentProjectAndStart(QDProject* project);
    // Stops the thread; true when it had been running.
    bool ProjectClosed(QDProject* project);

    void ThreadFunction() override;
    LProcessResult RenderLoopHighLevel(QDProject& project);
    LProcessResult RenderLoop(QDProject& project, LImageBuffer& buffer);

    // Reports only a rise of 0.05 or more, with the previous value.
    void SetProgress(double fraction) override;
    void SetError(const char* text) override;

    LQueuedNotifyDataHandler* lpNotifyHandler = nullptr;
    QDProject** lpProjects;
    QDProject* lpCurrentProject = nullptr;
    std::atomic<double> dProgress{0};
    LStringLongTemplate<char> strError;

private:
    void Post(int code, const void* data, size_t size);
};

// Waits in a process dialog for the render thread to finish.
LProcessResult Process(LProcessInterface& process, QDImagePipelineElementProcessingThread& thread);
