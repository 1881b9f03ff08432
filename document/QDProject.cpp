#include "document/QDProject.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "codecs/LImage.h"
#include "document/LQDCacheStore.h"
#include "document/QDFolders.h"

QDProject::ProjectFileFunction QDProject::lpfnSaveProjectFile = nullptr;

static std::atomic<int> giRecoveryFileCounter{0};
static std::atomic<uint64_t> giNextSerial{1};

void QDProjectReserveRecoveryNumbers(int next)
{
    int present = giRecoveryFileCounter.load();
    while (present < next && !giRecoveryFileCounter.compare_exchange_weak(present, next))
    {
    }
}

QDProject::QDProject(unsigned width, unsigned height) : iSerial(giNextSerial++), viewport(width, height, 0.2f)
{
    snprintf(szRecoveryFileName, sizeof(szRecoveryFileName), "%d.zqp", giRecoveryFileCounter++);
    pipeline.lpUndoStack = &undoStack;
}

QDProject::~QDProject()
{
    char folder[QD_PATH_SIZE], path[QD_PATH_SIZE];
    if (QDGetSharedDataFolder(folder) && LFile::_MakeFilePath(path, folder, szRecoveryFileName, nullptr))
        unlink(path);
    LQDCacheInvalidate(iLowResCacheId);
    LQDCacheInvalidate(iHighResCacheId);
    // The history refers to elements; it goes before them.
    undoStack.stack.lFirst.DeleteAll();
    for (QDImagePipelineElement* e : vDetached)
        delete e;
}

void QDProject::Adopt(QDImagePipelineElement* element)
{
    for (size_t i = 0; i < vDetached.size(); ++i)
        if (vDetached[i] == element)
        {
            vDetached.erase(vDetached.begin() + long(i));
            break;
        }
    element->lpUndoStack = &undoStack;
    element->SetDimensions(viewport.GetBoundsFromLayersOrigin());
}

void QDProject::AddPipelineElement(QDImagePipelineElement* element, bool bAddUndo)
{
    pipeline.AddElement(element);
    Adopt(element);
    if (bAddUndo)
        undoStack.AddItem<QDProjectUndoRedoPipelineElementCreation>(this, element);
}

void QDProject::InsertPipelineElement(QDImagePipelineElement* element, size_t index, bool bAddUndo)
{
    pipeline.InsertElement(element, index);
    Adopt(element);
    if (bAddUndo)
        undoStack.AddItem<QDProjectUndoRedoPipelineElementCreation>(this, element);
}

void QDProject::DeletePipelineElement(QDImagePipelineElement* element, bool bAddUndo)
{
    long index = pipeline.GetElementIndex(element);
    if (index < 0)
        return;
    // Kept for undo; without memory to keep it, it stays allocated to the end of the run
    // rather than taking the program down.
    try
    {
        vDetached.push_back(element);
    }
    catch (...)
    {
    }
    pipeline.DeleteElement(element);
    bRenderRequested = true;
    if (bAddUndo)
        undoStack.AddItem<QDProjectUndoRedoPipelineElementDeletion>(this, element, size_t(index));
}

bool QDProject::SetName(const char* name)
{
    return name && strlen(name) < sizeof(szName) && tstrcpy_s(szName, name);
}

bool QDProject::SetFilePath(const char* path)
{
    return path && strlen(path) < sizeof(szFilePath) && tstrcpy_s(szFilePath, path);
}

bool QDProject::SetCloudPath(const char* path)
{
    return path && strlen(path) < sizeof(szCloudPath) && tstrcpy_s(szCloudPath, path);
}

void QDProject::SetBackground(const LGuiColorAlpha& colour)
{
    crBackground = colour;
    if (QDImagePipelineElement* first = pipeline.GetFirstElement())
        first->SetDirty();
}

bool QDProject::HasSavedFilePath(const LImageCodecVetoer* vetoer) const
{
    if (szFilePath[0] == 0)
        return false;
    if (!vetoer)
        return true;
    LImageCodec codec;
    return codec.InitFromFilePath(szFilePath) && vetoer->IsEnabled(codec, LImageIOWrite);
}

bool QDProject::HasUnsavedChanges() const
{
    return !undoStack.IsCurrentStateSaved() || szName[0] == 0 ||
           iVisibleElementsAtSave != GetNumVisibleElements();
}

ERROR_CODE_SAVE QDProject::Save(const char* path, const LImageEncodeSettings& settings)
{
    // A path the project couldn't keep is refused before anything is written.
    if (!path || strlen(path) >= sizeof(szFilePath))
        return ERROR_CODE_SAVE_ENCODE;
    LImageBuffer image;
    if (!LQDCacheLoadImage(image, iHighResCacheId) || !image.IsValid())
        return ERROR_CODE_SAVE_PREPARE;
    LProcessInterfaceVoid process;
    if (!LImage::Save(process, image, &metadata, path, settings, 3000))
        return ERROR_CODE_SAVE_ENCODE;
    SetFilePath(path);
    undoStack.MarkCurrentStateAsSaved();
    iVisibleElementsAtSave = uint32_t(GetNumVisibleElements());
    encodeSettings = settings;
    bEncodeSettingsValid = true;
    return ERROR_CODE_SAVE_SUCCESS;
}

bool QDProject::SaveProjectFile()
{
    return lpfnSaveProjectFile ? lpfnSaveProjectFile(*this) : false;
}

// holder: a cache id whose file already holds the picture (the last element's output), which
// the project's entry then shares instead of a second full-size copy.
void QDProject::SetRenderedLowResImage(const LImageBuffer& buffer, int32_t holder)
{
    if (iLowResCacheId < 0)
        iLowResCacheId = LQDCacheNewImageAs(buffer, holder);
    else
        LQDCacheSaveImageAs(buffer, iLowResCacheId, holder);
}

void QDProject::SetRenderedHighResImage(const LImageBuffer& buffer, int32_t holder)
{
    // On a disk the project keeps a copy of its own: sharing would keep the element's old output
    // alive past the element's next render, long enough to be written out, and then freeing
    // it costs the render thread more than the copy saved.
    if (holder >= 0 && !LQDCacheStore::IsInMemory())
        holder = -1;
    if (iHighResCacheId < 0)
        iHighResCacheId = LQDCacheNewImageAs(buffer, holder);
    else
        LQDCacheSaveImageAs(buffer, iHighResCacheId, holder);
    LQDCacheInvalidate(iLowResCacheId);
    bRenderRequested = false;
}

void QDProjectUndoRedoPipelineElementCreation::Undo()
{
    lpProject->DeletePipelineElement(lpElement, false);
    lpProject->pLastUndoRedoElement = lpElement;
}

void QDProjectUndoRedoPipelineElementCreation::Redo()
{
    lpProject->AddPipelineElement(lpElement, false);
    lpProject->pLastUndoRedoElement = lpElement;
}

void QDProjectUndoRedoPipelineElementCreation::GetName(char* name)
{
    snprintf(name, LUNDO_NAME_SIZE, "Create %s Effect", lpElement->GetName());
}

void QDProjectUndoRedoPipelineElementDeletion::Undo()
{
    lpProject->InsertPipelineElement(lpElement, iIndex, false);
    lpProject->pLastUndoRedoElement = lpElement;
}

void QDProjectUndoRedoPipelineElementDeletion::Redo()
{
    lpProject->DeletePipelineElement(lpElement, false);
    lpProject->pLastUndoRedoElement = lpElement;
}

void QDProjectUndoRedoPipelineElementDeletion::GetName(char* name)
{
    snprintf(name, LUNDO_NAME_SIZE, "Delete %s Effect", lpElement->GetName());
}

QDProject* QDProjectFromNotification(QDProject* first, const void* data, size_t size)
{
    uint64_t serial = 0;
    if (!data || size != sizeof(serial))
        return nullptr;
    memcpy(&serial, data, sizeof(serial));
    if (serial == 0)
        return nullptr;
    for (QDProject* p = first; p; p = p->lpNext)
        if (p->iSerial == serial)
            return p;
    return nullptr;
}
