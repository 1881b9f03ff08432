#pragma once
// The project file ".qdj" and the recovery file ".zqp": the project's background and every
// element's properties in an SDF tree; pixels only where an element needs them, as embedded PNG.
//
//   root: 9, 10, 11, 139 background red, green, blue, alpha (ints 0..255)
//         4 the pipeline: one container 2 per element, holding 3 (type key) and then 1 (properties)
//         4000 the photo information: 4001 EXIF, 4002 XMP, 4003 ICC profile (blobs), when any
//
// Results are LProcessResult: 0 done, 1 stopped, 2 failed with a message on the process.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "document/LGuiColor.h"
#include "document/LSDF.h"
#include "foundation/LList.h"
#include "foundation/LProcessInterface.h"

class QDEffectFactory;
class QDImagePipelineElement;
class QDProject;
class QDProjectViewer;

constexpr uint32_t kQDProjectFileType = 2;
constexpr uint16_t kQDProjectFileVersion = 0;

// Chunk ids of the project level.
enum QDProjectChunk : uint16_t
{
    QDChunkProperties = 1,
    QDChunkElement = 2,
    QDChunkTypeIdentifier = 3,
    QDChunkPipeline = 4,
    QDChunkBlob = 7,
    QDChunkRed = 9,
    QDChunkGreen = 10,
    QDChunkBlue = 11,
    QDChunkAlpha = 139,
    // The photo information of the picture the project came from: a root container of up to
    // three blobs, which readers that don't know it skip.
    QDChunkPhotoInformation = 4000,
    QDChunkExif = 4001,
    QDChunkXmp = 4002,
    QDChunkIcc = 4003,
};

// Every element, hidden ones too; neither visibility nor cached pictures are stored.
LProcessResult QDProjectFileSave(LProcessInterface& process, QDProject& project, const char* path);
// One element's container 2.
LProcessResult QDProjectFileSavePipelineElement(LProcessInterface& process, LSDFFileWriter& writer,
                                                QDImagePipelineElement& element);

// Appends the file's elements to the project. viewer may be null (no user interface). An element
// of a type no factory knows ends the load there with 2; the elements read so far stay.
LProcessResult QDProjectFileLoad(LProcessInterface& process, QDProject& project, QDProjectViewer* viewer,
                                 const char* path, const LList<QDEffectFactory>& factories);
// The same from a file's bytes in memory.
LProcessResult QDProjectFileLoadMemory(LProcessInterface& process, QDProject& project,
                                       QDProjectViewer* viewer, const uint8_t* data, size_t size,
                                       const LList<QDEffectFactory>& factories);
LProcessResult QDProjectFileLoadPipelineElement(LProcessInterface& process, QDProject& project,
                                                QDProjectViewer* viewer, LSDFMemoryReader& reader,
                                                const LList<QDEffectFactory>& factories,
                                                const LSDFMemoryChunk& chunk);

// A colour as container id holding 9, 10, 11: the high bytes of the 16-bit channels.
bool QDProjectFileWriteColor(LSDFFileWriter& writer, uint16_t id, const LGuiColor& colour);
// Channels read are multiplied by 256; missing ones keep their value.
void QDProjectFileLoadColor(LSDFMemoryReader& reader, const LSDFMemoryChunk& container, LGuiColor& colour);
// A circle as three float64 chunks in the open container: 19 centre x, 15 centre y, 14 radius.
bool QDProjectFileWriteCircle(LSDFFileWriter& writer, double x, double y, double radius);
// From the children of container; missing ones keep their value.
void QDProjectFileLoadCircle(LSDFMemoryReader& reader, const LSDFMemoryChunk& container, double& x, double& y,
                             double& radius);

// Whether a PNG of size bytes can hold the picture its header claims: deflate never packs more
// than 1032 bytes into one, so a larger claim is a damaged or hostile file, refused before any
// allocation.
bool QDProjectFilePngIsPlausible(const uint8_t* data, size_t size);

// The one place the program's own files are written, through LFileAtomicWriter: any failure or
// stop leaves the old file byte for byte. bPrivate makes a new file 0600, else it takes the
// user's umask.
struct QDFileWriteMode
{
    bool bPrivate = false;
};
LProcessResult QDSDFFileSave(LProcessInterface& process, const char* path, uint32_t fileType,
                             uint16_t fileVersion, const std::function<LProcessResult(LSDFFileWriter&)>& body,
                             QDFileWriteMode mode = {});
// Reads the whole file into memory (a file never costs more than its own size), checks the
// container, hands the reader to body and checks the trailing magic last, so that a file missing
// only that has its contents loaded before the failure is seen.
LProcessResult QDSDFFileLoad(LProcessInterface& process, const char* path, uint32_t fileType,
                             const std::function<LProcessResult(LSDFMemoryReader&)>& body);
LProcessResult QDSDFMemoryLoad(LProcessInterface& process, const uint8_t* data, size_t size,
                               uint32_t fileType,
                               const std::function<LProcessResult(LSDFMemoryReader&)>& body);

// The recovery file of a project: deleted when the project's state is saved under a name,
// otherwise written (privately, without a sync: it guards against a crashed program, and the
// rename keeps it whole). What QDProject::SaveProjectFile calls once enabled.
bool QDProjectFileSaveRecovery(QDProject& project);
bool QDProjectFileGetRecoveryPath(const QDProject& project, std::string& path);
// Installs or removes QDProjectFileSaveRecovery as the render thread's autosave. Programs that
// render without a user to protect (the command line) leave it off.
void QDProjectFileEnableRecovery(bool bEnable);
