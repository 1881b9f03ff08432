#pragma once
// The ordered list of elements of a project. Visibility is a prefix: everything behind the first
// hidden element counts as hidden. The render thread holds the lock for a whole render, through a
// QDImagePipelineRenderHold; the main thread stops the render thread before it changes the list.
// The list-changing operations assert that no render holds the pipeline (debug and sanitizer
// builds), and take the lock, so a change that slips through waits for the render instead of
// pulling elements from under it.

#include <atomic>
#include <vector>

#include "document/QDImagePipelineElement.h"
#include "document/LUndoRedo.h"
#include "foundation/LList.h"
#include "foundation/LSignal.h"
#include "image/LImageBuffer.h"

class QDImagePipeline
{
public:
    QDImagePipeline() = default;
    QDImagePipeline(const QDImagePipeline&) = delete;
    QDImagePipeline& operator=(const QDImagePipeline&) = delete;
    virtual ~QDImagePipeline() = default;

    virtual pixelformat_t GetFormat() const { return B8G8R8A8; }
    // Of the last visible element, 0 without one.
    virtual unsigned GetWidth() const;
    virtual unsigned GetHeight() const;

    long GetElementIndex(const QDImagePipelineElement* element) const { return lFirst.IndexOf(element); }
    QDImagePipelineElement* GetElement(size_t index) const { return lFirst.GetAt(index); }
    QDImagePipelineElement* GetFirstElement() const { return lFirst.GetFirst(); }
    size_t GetNumElements() const { return lFirst.GetCount(); }
    size_t GetNumVisibleElements() const;
    QDImagePipelineElement* GetLastVisibleElement() const;

    void AddElement(QDImagePipelineElement* element);
    // Before the element now at index, which becomes dirty; past the end, appended.
    void InsertElement(QDImagePipelineElement* element, size_t index);
    // Detaches without destroying; the follower becomes dirty.
    void DeleteElement(QDImagePipelineElement* element);
    // A null after moves the element to the front.
    void MoveElementAfter(QDImagePipelineElement* element, QDImagePipelineElement* after);
    // Marks everything behind the first dirty element dirty; true when there was one.
    bool IsDirty();
    // Maps (x, y) through the visible elements behind element.
    bool GetPointTransformed(int& x, int& y, const QDImagePipelineElement* element) const;

    // Detaches all and appends in the given order.
    void SetOrder(const std::vector<QDImagePipelineElement*>& order);
    std::vector<QDImagePipelineElement*> GetOrder() const;

    bool IsHeldByRender() const { return iRenderHolds.load(std::memory_order_acquire) > 0; }

    LUndoRedoStackNotifyWrapper* lpUndoStack = nullptr;
    LList<QDImagePipelineElement> lFirst;
    LLockObject lock;
    std::atomic<int> iRenderHolds{0};

private:
    void CheckNoRender() const;
};

// A render's claim on a pipeline for its whole length: the lock, and the mark that the
// list-changing operations check.
class QDImagePipelineRenderHold
{
public:
    explicit QDImagePipelineRenderHold(QDImagePipeline& pipeline) : rPipeline(pipeline)
    {
        rPipeline.lock.Lock();
        rPipeline.iRenderHolds.fetch_add(1, std::memory_order_acq_rel);
    }
    QDImagePipelineRenderHold(const QDImagePipelineRenderHold&) = delete;
    QDImagePipelineRenderHold& operator=(const QDImagePipelineRenderHold&) = delete;
    ~QDImagePipelineRenderHold()
    {
        rPipeline.iRenderHolds.fetch_sub(1, std::memory_order_acq_rel);
        rPipeline.lock.Unlock();
    }

private:
    QDImagePipeline& rPipeline;
};

class QDImagePipelineReorderedUndoRedo : public LUndoRedoItem
{
public:
    QDImagePipelineReorderedUndoRedo(QDImagePipeline* pipeline, std::vector<QDImagePipelineElement*> before,
                                     std::vector<QDImagePipelineElement*> after)
        : lpPipeline(pipeline), vBefore(std::move(before)), vAfter(std::move(after))
    {
    }
    // The order comes back; the cached pictures stay until something else makes them dirty.
    void Undo() override { lpPipeline->SetOrder(vBefore); }
    void Redo() override { lpPipeline->SetOrder(vAfter); }
    void GetName(char* name) override;

    QDImagePipeline* lpPipeline;
    std::vector<QDImagePipelineElement*> vBefore;
    std::vector<QDImagePipelineElement*> vAfter;
};
