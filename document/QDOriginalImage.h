#pragma once
// The first element of nearly every project: the base picture. It keeps the untouched pixels as
// a source entry in the cache and composes them over the project's background when rendering.

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "document/LGuiColor.h"
#include "document/LUndoRedo.h"
#include "document/QDEffectFactory.h"
#include "document/QDImagePipelineElement.h"
#include "foundation/LFile.h"
#include "foundation/LSignal.h"
#include "foundation/LString.h"

class QDProject;

class QDOriginalImage : public QDImagePipelineElement
{
public:
    // Empty: the source is set later.
    QDOriginalImage();
    // Stores the pixels as source and as high-resolution output, and the low-resolution output
    // scaled by lowResScale. Null when they can't all be kept: error then holds "Out of memory"
    // or the disk's message, and nothing stays in the cache.
    static QDOriginalImage* Create(const LImageBuffer& buffer, float lowResScale, LString& error);
    ~QDOriginalImage() override;

    const char* GetName() const override { return "Original Image"; }
    const char* GetTypeIdentifier() const override { return "original_image"; }
    // Chunk 1 holds exactly blob 7, the source as PNG.
    LProcessResult SDFWriteElement(LProcessInterface& process, LSDFFileWriter& writer) override;
    LProcessResult SDFLoadProperties(LProcessInterface& process, LSDFMemoryReader& reader,
                                     const LSDFMemoryChunk& chunk) override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    // The source, unless a background is composed under it.
    int32_t GetHighResOutputHolder() const override;
    bool DeleteMaskedArea(const LImageBuffer& mask, QDImagePipeline& pipeline,
                          LUndoRedoGroup* group) override;

    // The low-resolution size for a full size: scaled, rounded, at least 1.
    static int LowResSize(int size, float scale);

    // Whoever writes new pixels under iSourceCacheId calls this, so the PNG kept for the project
    // file is made again.
    void SourceChanged();
    // The source as PNG, encoded once per version of the source and shared by every save, so
    // that the recovery file written after each render costs a copy, not an encode. Null on
    // failure (message on process) or when stopped.
    std::shared_ptr<const std::vector<uint8_t>> GetEncodedSource(LProcessInterface& process);

    void* lpPanel = nullptr;
    const LGuiColorAlpha* lpBackground = nullptr;
    float fLowResScale = 1.0f;
    int32_t iSourceCacheId = -1;
    char szFilePath[LFILE_MAX_PATH] = {};

private:
    std::atomic<uint64_t> iSourceVersion{0};
    // Guards the two below; never held across an encode.
    LLockObject loEncoded;
    std::shared_ptr<const std::vector<uint8_t>> pEncodedSource;
    uint64_t iEncodedVersion = 0;
};

class QDOriginalImageSelectionDeletion : public LUndoRedoItem
{
public:
    // Keeps both pictures in cache entries of its own.
    QDOriginalImageSelectionDeletion(QDOriginalImage* element, const LImageBuffer& before,
                                     const LImageBuffer& after);
    ~QDOriginalImageSelectionDeletion() override;
    void Undo() override { Restore(iBeforeCacheId); }
    void Redo() override { Restore(iAfterCacheId); }
    void GetName(char* name) override;

    QDOriginalImage* lpElement;
    int32_t iBeforeCacheId;
    int32_t iAfterCacheId;

private:
    void Restore(int32_t id);
};

// Its catalogue row is 6035; the constructor carries the row's fields.
class QDOriginalImageFactory : public QDEffectFactory
{
public:
    QDOriginalImageFactory();

    // An empty element for a project whose picture comes later (a loaded project file).
    QDImagePipelineElement* CreateLayer(QDProject& project, LWindow* window, bool bAddUndo) override;
    QDImagePipelineElement* CreateLayer(QDImagePipeline& pipeline) override;
    QDImagePipelineElement* CreateLayer() const override;
    // From a picture; path, when given, is where it came from. Null when the picture can't be
    // kept, with the message set on process when one is given.
    static QDOriginalImage* CreateLayer(QDProject& project, const LImageBuffer& buffer, bool bAddUndo,
                                        bool bUnused, const char* path, LProcessInterface* process = nullptr);
};

// Straight-alpha "over" of source onto destination of the same size, both B8G8R8A8.
void QDAlphaBlendOver(LImageBuffer& destination, const LImageBuffer& source);
