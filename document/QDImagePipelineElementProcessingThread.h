#pragma once
// The one render thread of the program. It brings the current project up to date first, then
// the others, each from the first dirty element on: a low-resolution pass the user sees at once,
// then the full one. Results go to the cache and the main thread hears of them by notification.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "foundation/LString.h"
#include "foundation/LThread.h"
#include "foundation/LThreadRunOnMainThread.h"

class LImageBuffer;
class QDImagePipelineElement;
class QDProject;

// The data of every code but 5001 is a project's serial (QDProject::iSerial), never its address:
// the receiver finds the project with QDProjectFromNotification and drops a message about one
// that has gone. 5000 and 5005 name the project's list successor at the time of sending, 0 for
// none, as they always have.
enum QDRenderNotification : int
{
    QDRenderNotifyBegin = 5000,     // data: the serial of the project's successor
    QDRenderNotifyProgress = 5001,  // no data; the size is the percentage
    QDRenderNotifyLowRes = 5002,    // data: the project's serial
    QDRenderNotifyHighRes = 5003,   // data: the project's serial
    QDRenderNotifyCancelled = 5004, // data: the project's serial
    QDRenderNotifyFailed = 5005,    // data: the serial of the project's successor
};
// Bytes of data of the render notifications: one serial.
constexpr size_t QDRenderNotifySize = sizeof(uint64_t);

class QDImagePipelineElementProcessingThread : public LThread
{
public:
    // projects: the head of the program's project list, linked by QDProject::lpNext.
    explicit QDImagePipelineElementProcessingThread(QDProject** projects) : lpProjects(projects) {}
    ~QDImagePipelineElementProcessingThread() override;

    // False when the thread couldn't be made.
    bool SetCurrentProjectAndStart(QDProject* project);
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
    // When set, a successful render of the current project leaves its final picture here (what
    // its high-res cache entry holds) instead of freeing it: a caller that wants the picture at
    // once needn't read it back.
    LImageBuffer* lpKeepHighRes = nullptr;
    // The change counters of the elements when the present render began.
    std::vector<std::pair<QDImagePipelineElement*, uint64_t>> vCounters;

    // Renders of one project that found a property changed under them and started again; past
    // this many in a row the render gives up as cancelled and leaves the rest dirty.
    static constexpr int kMaxStaleRenders = 50;

private:
    void Post(int code, const void* data, size_t size);
    void PostSerial(int code, const QDProject* project);
    bool TakeCounters(QDProject& project);
    bool CountersMoved() const;
    // stale: a property changed during the render, so the pictures are older than the properties
    // and nothing was reported. holder: the cache id whose file holds the final picture, or -1.
    LProcessResult RenderLoop(QDProject& project, LImageBuffer& buffer, bool& stale, int32_t& holder);
};

// Waits in a process dialog for the render thread to finish.
LProcessResult Process(LProcessInterface& process, QDImagePipelineElementProcessingThread& thread);
