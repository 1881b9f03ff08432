#pragma once
// One open document: the base image and the elements acting on it, its page, background, file
// paths, undo history and rendered results.

#include <atomic>
#include <cstdint>
#include <utility>
#include <vector>

#include "codecs/LImageCodec.h"
#include "codecs/LImageEncodeSettings.h"
#include "codecs/LImageMetadata.h"
#include "document/LGuiColor.h"
#include "document/LUndoRedo.h"
#include "document/QDImagePipeline.h"
#include "document/QDViewport.h"
#include "foundation/LFile.h"
#include "foundation/LString.h"

// Room for any path the system accepts; a longer one is refused, never cut.
constexpr size_t QD_PATH_SIZE = LFILE_MAX_PATH;

enum ERROR_CODE_SAVE : int
{
    ERROR_CODE_SAVE_SUCCESS = 0,
    ERROR_CODE_SAVE_PREPARE = 2, // no rendered image
    ERROR_CODE_SAVE_ENCODE = 3,  // encoding or writing
};

class QDProject
{
public:
    // Writes the recovery file; installed by the project file code.
    using ProjectFileFunction = bool (*)(QDProject& project);
    static ProjectFileFunction lpfnSaveProjectFile;

    QDProject(unsigned width, unsigned height);
    QDProject(const QDProject&) = delete;
    QDProject& operator=(const QDProject&) = delete;
    ~QDProject();

    // Constructs T from args and adds it at the end.
    template <class T, class... Args>
    T* CreatePipelineElement(bool bAddUndo, Args&&... args)
    {
        T* element = new T(std::forward<Args>(args)...);
        AddPipelineElement(element, bAddUndo);
        return element;
    }
    void AddPipelineElement(QDImagePipelineElement* element, bool bAddUndo);
    // Before the element now at index.
    void InsertPipelineElement(QDImagePipelineElement* element, size_t index, bool bAddUndo);
    // Detaches the element; the project keeps it alive for its undo history.
    void DeletePipelineElement(QDImagePipelineElement* element, bool bAddUndo);

    size_t GetLayerCount() const { return pipeline.GetNumElements(); }
    size_t GetNumElements() const { return pipeline.GetNumElements(); }
    size_t GetNumVisibleElements() const { return pipeline.GetNumVisibleElements(); }
    void GetDimensions(unsigned& width, unsigned& height) const
    {
        width = pipeline.GetWidth();
        height = pipeline.GetHeight();
    }
    QDImagePipelineElement* GetOriginalImage() const { return pipeline.GetFirstElement(); }
    unsigned& GetPPIRef() { return iPPI; }

    // False, leaving the field as it was, for text that doesn't fit.
    bool SetName(const char* name);
    bool SetFilePath(const char* path);
    bool SetCloudPath(const char* path);

    void SetBackground(const LGuiColorAlpha& colour);
    // With a vetoer, the path's format must also be one it lets the program write.
    bool HasSavedFilePath(const LImageCodecVetoer* vetoer = nullptr) const;
    bool HasUnsavedChanges() const;
    ERROR_CODE_SAVE Save(const char* path, const LImageEncodeSettings& settings);
    bool SaveProjectFile();

    void SetRenderedLowResImage(const LImageBuffer& buffer, int32_t holder = -1);
    void SetRenderedHighResImage(const LImageBuffer& buffer, int32_t holder = -1);

    QDProject* lpNext = nullptr;
    // Names the project in messages between threads: unique in the process, from 1, never reused,
    // so a message about a project that has gone can't reach another one at the same address.
    const uint64_t iSerial;
    char szName[QD_PATH_SIZE] = {};
    char szFilePath[QD_PATH_SIZE] = {};
    char szCloudPath[QD_PATH_SIZE] = {};
    char szRecoveryFileName[QD_PATH_SIZE] = {};
    LImageEncodeSettings encodeSettings;
    bool bEncodeSettingsValid = false;
    uint32_t iVisibleElementsAtSave = 1;
    // Written by the main thread while the render thread may be reading it.
    std::atomic<bool> bRenderRequested{false};
    int32_t iCloudSource = 0; // 0 none, 1 Dropbox, 2 Google Drive
    int32_t iLowResCacheId = -1;
    int32_t iHighResCacheId = -1;
    LStringLongTemplate<char> strRenderError;
    QDImagePipeline pipeline;
    QDViewport viewport;
    LGuiColorAlpha crBackground;
    // The photo information of the picture the project was opened from; kept in the project
    // file and written with every save of the picture.
    LImageMetadata metadata;
    LUndoRedoStackNotifyWrapped undoStack;
    QDImagePipelineElement* pLastUndoRedoElement = nullptr;
    uint32_t iPPI = 300;

private:
    void Adopt(QDImagePipelineElement* element);
    // Elements out of the list that undo may bring back; destroyed with the project.
    std::vector<QDImagePipelineElement*> vDetached;
};

class QDProjectUndoRedoPipelineElementCreation : public LUndoRedoItem
{
public:
    QDProjectUndoRedoPipelineElementCreation(QDProject* project, QDImagePipelineElement* element)
        : lpProject(project), lpElement(element)
    {
    }
    void Undo() override;
    void Redo() override;
    void GetName(char* name) override;

    QDProject* lpProject;
    QDImagePipelineElement* lpElement;
};

class QDProjectUndoRedoPipelineElementDeletion : public LUndoRedoItem
{
public:
    QDProjectUndoRedoPipelineElementDeletion(QDProject* project, QDImagePipelineElement* element,
                                             size_t index)
        : lpProject(project), lpElement(element), iIndex(index)
    {
    }
    void Undo() override;
    void Redo() override;
    void GetName(char* name) override;

    QDProject* lpProject;
    QDImagePipelineElement* lpElement;
    size_t iIndex;
};

// Recovery files are named by a counter of the process. A run that finds the files of a crashed
// one moves the counter past their numbers, so that it never writes over one before it has been
// offered; a lower next changes nothing.
void QDProjectReserveRecoveryNumbers(int next);

// The project a render notification names, found by its serial in the list from first; null when
// the data isn't a serial or the project has gone (then the notification is dropped).
QDProject* QDProjectFromNotification(QDProject* first, const void* data, size_t size);
