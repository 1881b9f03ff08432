#pragma once
// The base of every effect and layer: one step of the pipeline. The picture enters in a buffer,
// the element replaces it with its output, and each output is kept in the disk cache at both
// resolutions so that a render starts from the last clean element.
//
// Properties change on the main thread while the render thread may be rendering the element.
// What keeps the cache right is the change counter:
// - a change takes the element's own lock, changes the properties, releases the lock and then
//   calls SetDirty, which moves the counter before it invalidates the cache entries;
// - a render reads the counter, copies the properties under the element's lock (the snapshot it
//   renders from), renders, stores the output, and reads the counter again. If it moved, the
//   stored output may come from older properties, and the entry is invalidated once more.
// Storing before that second reading closes the window between a check and the write: whatever
// the order of the two threads, a stale picture never stays valid. The render loop compares the
// counters too and renders the project again instead of reporting a stale picture.

#include <atomic>
#include <cstdint>

#include "document/LBoundingBox2.h"
#include "document/LSDF.h"
#include "document/QDViewport.h"
#include "foundation/LList.h"
#include "foundation/LProcessInterface.h"

class LImageBuffer;
class LUndoRedoGroup;
class LUndoRedoStackNotifyWrapper;
class QDEffectFactory;
class QDImagePipeline;

class QDImagePipelineElement : public QDViewportNotifyee, public LListItem<QDImagePipelineElement>
{
public:
    QDImagePipelineElement() = default;
    QDImagePipelineElement(const QDImagePipelineElement&) = delete;
    QDImagePipelineElement& operator=(const QDImagePipelineElement&) = delete;
    // Gives up both cache entries.
    ~QDImagePipelineElement() override;

    // Writes chunk 3, the type identifier; an element with properties follows it with its chunk 1.
    virtual LProcessResult SDFWriteElement(LProcessInterface& process, LSDFFileWriter& writer);
    // Reads the element's chunk 1. The form with the factories serves elements that hold others;
    // by default it is the plain form, which by default reads nothing.
    virtual LProcessResult SDFLoadProperties(LProcessInterface& process, LSDFMemoryReader& reader,
                                             const LSDFMemoryChunk& chunk,
                                             const LList<QDEffectFactory>& factories);
    virtual LProcessResult SDFLoadProperties(LProcessInterface& process, LSDFMemoryReader& reader,
                                             const LSDFMemoryChunk& chunk);
    virtual const char* GetTypeIdentifier() const { return ""; }
    virtual const char* GetName() const = 0;
    // Size of the output; by default the input's.
    virtual unsigned GetWidth() const { return iWidth; }
    virtual unsigned GetHeight() const { return iHeight; }
    // Maps a point of the output to the input in place; true when it lands inside.
    virtual bool GetPointTransformed(int& x, int& y) const;
    // Moves the change counter and invalidates both cache entries; the ids stay, so the next
    // store reuses the files. An override must call this one.
    virtual void SetDirty();
    virtual void SetDimensions(const LBoundingBox2T<double>& box);
    // mask: B8G8R8A8 of the project's size; its red channel is the selection, 255 selected.
    virtual bool DeleteMaskedArea(const LImageBuffer& mask, QDImagePipeline& pipeline, LUndoRedoGroup* group);
    // Replaces the picture in buffer by this element's output. The base passes it on.
    virtual LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer);
    // The same algorithm on the smaller buffer, unless an element knows better.
    virtual LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer);
    // A cache id whose file already holds what RenderHighResImage gives, when the render only
    // loads it: the output entry then shares that file instead of a second copy. -1 for none.
    virtual int32_t GetHighResOutputHolder() const { return -1; }

    bool IsDirty() const;
    uint64_t GetChangeCounter() const { return iChangeCounter.load(std::memory_order_acquire); }
    // Output from the cache, or rendered and stored. holder, when given, follows the picture in
    // the buffer: it becomes the cache id whose file holds exactly that picture (-1 when none
    // does), and stays as it was when the element passes the buffer on untouched.
    LProcessResult GetHighResImage(LProcessInterface& process, LImageBuffer& buffer,
                                   int32_t* holder = nullptr);
    LProcessResult GetLowResImage(LProcessInterface& process, LImageBuffer& buffer,
                                  int32_t* holder = nullptr);

    LUndoRedoStackNotifyWrapper* lpUndoStack = nullptr;
    int32_t iHighResCacheId = -1;
    int32_t iLowResCacheId = -1;
    uint32_t iWidth = 0;
    uint32_t iHeight = 0;
    // Rows (a, b, tx), (c, d, ty): output point to input point, about the centres, y up.
    double adTransform[6] = {1, 0, 0, 0, 1, 0};
    bool bVisible = true;
    // Not deletable by the user.
    bool bBaseElement = false;
    std::atomic<uint64_t> iChangeCounter{0};
};
