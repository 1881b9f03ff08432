#pragma once
// The first element of nearly every project: the base picture. It keeps the untouched pixels as
// a source entry in the cache and composes them over the project's background when rendering.

#include "document/LGuiColor.h"
#include "document/QDImagePipelineElement.h"
#include "document/LUndoRedo.h"
#include "foundation/LFile.h"
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
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    bool DeleteMaskedArea(const LImageBuffer& mask, QDImagePipeline& pipeline,
                          LUndoRedoGroup* group) override;

    // The low-resolution size for a full size: scaled, rounded, at least 1.
    static int LowResSize(int size, float scale);

    void* lpPanel = nullptr;
    const LGuiColorAlpha* lpBackground = nullptr;
    float fLowResScale = 1.0f;
    int32_t iSourceCacheId = -1;
    char szFilePath[LFILE_MAX_PATH] = {};
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

class QDOriginalImageFactory
{
public:
    // An empty element for a project whose picture comes later.
    static QDOriginalImage* CreateLayer(QDProject& project, void* window, bool bAddUndo);
    // From a picture; path, when given, is where it came from. Null when the picture can't be
    // kept, with the message set on process when one is given.
    static QDOriginalImage* CreateLayer(QDProject& project, const LImageBuffer& buffer, bool bAddUndo,
                                        bool bUnused, const char* path, LProcessInterface* process = nullptr);
};

// Straight-alpha "over" of source onto destination of the same size, both B8G8R8A8.
void QDAlphaBlendOver(LImageBuffer& destination, const LImageBuffer& source);
