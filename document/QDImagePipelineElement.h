#pragma once
// The base of every effect and layer: one step of the pipeline. The picture enters in a buffer,
// the element replaces it with its output, and each output is kept in the disk cache at both
// resolutions so that a render starts from the last clean element.

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
    // Invalidates both cache entries; the ids stay, so the next store reuses the files.
    virtual void SetDirty();
    virtual void SetDimensions(const LBoundingBox2T<double>& box);
    // mask: B8G8R8A8 of the project's size; its red channel is the selection, 255 selected.
    virtual bool DeleteMaskedArea(const LImageBuffer& mask, QDImagePipeline& pipeline, LUndoRedoGroup* group);
    // Replaces the picture in buffer by this element's output. The base passes it on.
    virtual LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer);
    // The same algorithm on the smaller buffer, unless an element knows better.
    virtual LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer);

    bool IsDirty() const;
    // Output from the cache, or rendered and stored.
    LProcessResult GetHighResImage(LProcessInterface& process, LImageBuffer& buffer);
    LProcessResult GetLowResImage(LProcessInterface& process, LImageBuffer& buffer);

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
};
