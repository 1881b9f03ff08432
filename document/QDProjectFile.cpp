#include "document/QDProjectFile.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

#include "document/QDEffectFactory.h"
#include "document/QDFolders.h"
#include "document/QDProject.h"
#include "foundation/LFile.h"
#include "foundation/LFileAtomicWriter.h"

namespace
{
const char kCouldNotOpen[] = "The file could not be opened.";
const char kCouldNotWrite[] = "File could not be written.";
const char kDamaged[] = "The project file is damaged.";

int ClampByte(int32_t v)
{
    return v < 0 ? 0 : v > 255 ? 255 : int(v);
}
} // namespace

LProcessResult QDSDFFileSave(LProcessInterface& process, const char* path, uint32_t fileType,
                             uint16_t fileVersion, const std::function<LProcessResult(LSDFFileWriter&)>& body,
                             QDFileWriteMode mode)
{
    LFileAtomicWriter file;
    if (!path || !*path ||
        file.Begin(path, mode.bPrivate ? LFileModePrivate : LFileModeDocument) != LFileAtomicWriterSuccess)
    {
        process.SetError(kCouldNotOpen);
        return LProcessResultFailed;
    }
    LSDFFileWriter writer;
    LProcessResult r =
        writer.Open(file.GetStream(), fileType, fileVersion) ? body(writer) : LProcessResultFailed;
    // A failure of the body keeps the body's message; one of the file's own gets this one.
    bool ioFailed = !writer.bOk;
    if (r == LProcessResultSuccess && (!writer.Close() || file.Commit() != LFileAtomicWriterSuccess))
        ioFailed = true, r = LProcessResultFailed;
    if (ioFailed)
        process.SetError(kCouldNotWrite);
    return r; // an uncommitted temporary file goes with the writer
}

LProcessResult QDSDFMemoryLoad(LProcessInterface& process, const uint8_t* data, size_t size,
                               uint32_t fileType,
                               const std::function<LProcessResult(LSDFMemoryReader&)>& body)
{
    LSDFMemoryStream stream;
    stream.SetBuffer(data, size);
    LSDFMemoryReader reader;
    if (!reader.Open(stream, fileType))
    {
        // Tell a newer container from a file that is no project at all.
        const bool magic = size >= 4 && memcmp(data, kLSDFMagic, 4) == 0;
        const uint16_t version = size >= 6 ? uint16_t(data[4] | data[5] << 8) : 0;
        const uint32_t type =
            size >= 10 ? uint32_t(data[6] | data[7] << 8 | data[8] << 16 | uint32_t(data[9]) << 24) : 0;
        if (!magic || size < kLSDFHeadSize || (version == kLSDFContainerVersion && type != fileType))
            process.SetError("The file is not a project file.");
        else if (version != kLSDFContainerVersion)
            process.SetError("The project file was made by a newer version.");
        else
            process.SetError(kDamaged);
        return LProcessResultFailed;
    }
    if (!reader.CheckStructure())
    {
        process.SetError(kDamaged);
        return LProcessResultFailed;
    }
    const LProcessResult r = body(reader);
    if (r != LProcessResultSuccess)
        return r;
    if (!reader.bOk || !reader.Close())
    {
        process.SetError(kDamaged);
        return LProcessResultFailed;
    }
    return LProcessResultSuccess;
}

LProcessResult QDSDFFileLoad(LProcessInterface& process, const char* path, uint32_t fileType,
                             const std::function<LProcessResult(LSDFMemoryReader&)>& body)
{
    if (!path || !LFile::TestFileExists(path))
    {
        process.SetError("The file could not be found.");
        return LProcessResultFailed;
    }
    LInputStream<LInputStreamFile> file;
    if (!file.Open(path, LFileLockShared))
    {
        process.SetError(kCouldNotOpen);
        return LProcessResultFailed;
    }
    const int64_t size = file.GetSize64();
    if (size < 0 || uint64_t(size) > SIZE_MAX)
    {
        process.SetError(kCouldNotOpen);
        return LProcessResultFailed;
    }
    std::unique_ptr<uint8_t[]> data(new (std::nothrow) uint8_t[size_t(size) + 1]);
    if (!data)
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    if (size > 0 && !file.Read(data.get(), size_t(size)))
    {
        process.SetError(kCouldNotOpen);
        return LProcessResultFailed;
    }
    file.Close();
    return QDSDFMemoryLoad(process, data.get(), size_t(size), fileType, body);
}

LProcessResult QDProjectFileSavePipelineElement(LProcessInterface& process, LSDFFileWriter& writer,
                                                QDImagePipelineElement& element)
{
    if (!writer.StartContainer(QDChunkElement))
        return LProcessResultFailed;
    const LProcessResult r = element.SDFWriteElement(process, writer);
    if (r != LProcessResultSuccess)
        return r;
    return writer.EndContainer(QDChunkElement) ? LProcessResultSuccess : LProcessResultFailed;
}

static LProcessResult WriteProject(LProcessInterface& process, QDProject& project, LSDFFileWriter& writer)
{
    const LGuiColorAlpha& bg = project.crBackground;
    const float alpha = bg.alpha < 0 ? 0 : bg.alpha > 1 ? 1 : bg.alpha;
    writer.WriteInt(QDChunkRed, bg.red >> 8);
    writer.WriteInt(QDChunkGreen, bg.green >> 8);
    writer.WriteInt(QDChunkBlue, bg.blue >> 8);
    writer.WriteInt(QDChunkAlpha, int32_t(std::lround(alpha * 255.0f)));
    if (!project.metadata.IsEmpty())
    {
        writer.StartContainer(QDChunkPhotoInformation);
        const std::pair<uint16_t, const std::vector<uint8_t>*> blocks[] = {
            {QDChunkExif, &project.metadata.arExif},
            {QDChunkXmp, &project.metadata.arXmp},
            {QDChunkIcc, &project.metadata.arIcc}};
        for (const auto& [id, block] : blocks)
            if (!block->empty())
                writer.WriteBlob(id, block->data(), block->size());
        writer.EndContainer(QDChunkPhotoInformation);
    }
    writer.StartContainer(QDChunkPipeline);
    for (QDImagePipelineElement* e = project.pipeline.GetFirstElement(); e; e = e->GetNextItem())
    {
        if (!e->GetName())
            continue;
        if (process.IsToStop())
            return LProcessResultCancelled;
        const LProcessResult r = QDProjectFileSavePipelineElement(process, writer, *e);
        if (r != LProcessResultSuccess)
            return r;
    }
    writer.EndContainer(QDChunkPipeline);
    return writer.bOk ? LProcessResultSuccess : LProcessResultFailed;
}

LProcessResult QDProjectFileSave(LProcessInterface& process, QDProject& project, const char* path)
{
    return QDSDFFileSave(process, path, kQDProjectFileType, kQDProjectFileVersion,
                         [&](LSDFFileWriter& writer) { return WriteProject(process, project, writer); });
}

LProcessResult QDProjectFileLoadPipelineElement(LProcessInterface& process, QDProject& project,
                                                QDProjectViewer* viewer, LSDFMemoryReader& reader,
                                                const LList<QDEffectFactory>& factories,
                                                const LSDFMemoryChunk& chunk)
{
    QDImagePipelineElement* element = nullptr;
    bool typeRead = false;
    std::string type;
    for (LSDFMemoryChunkIterator it(reader, chunk); it.IsValid(); it.Next())
    {
        if (process.IsToStop())
            return LProcessResultCancelled;
        if (it->iId == QDChunkTypeIdentifier && !typeRead)
        {
            typeRead = true;
            if (!it->ReadString(type))
                continue;
            QDEffectFactory* factory = MapTypeIdToEffectFactory(factories, type.c_str());
            if (factory && (element = factory->CreateLayer(project, nullptr, false)))
                factory->CreateLayerUi(viewer, element);
        }
        else if (it->iId == QDChunkProperties && element)
        {
            const LProcessResult r = element->SDFLoadProperties(process, reader, it.Get(), factories);
            if (r != LProcessResultSuccess)
                return r;
            if (element->bBaseElement)
                project.viewport.SetDimensions(element->GetWidth(), element->GetHeight(), ANCHOR_TOPLEFT);
        }
    }
    if (!reader.bOk)
    {
        process.SetError(kDamaged);
        return LProcessResultFailed;
    }
    if (!element)
    {
        process.SetErrorF("The project holds an element this version doesn't know (\"%.200s\").",
                          type.c_str());
        return LProcessResultFailed;
    }
    return LProcessResultSuccess;
}

static LProcessResult LoadProject(LProcessInterface& process, QDProject& project, QDProjectViewer* viewer,
                                  LSDFMemoryReader& reader, const LList<QDEffectFactory>& factories)
{
    int32_t channel[4] = {255, 255, 255, 255};
    for (LSDFMemoryChunkIterator it(reader); it.IsValid(); it.Next())
    {
        switch (it->iId)
        {
        case QDChunkPipeline:
            for (LSDFMemoryChunkIterator e(reader, it.Get()); e.IsValid(); e.Next())
                if (e->iId == QDChunkElement)
                {
                    const LProcessResult r = QDProjectFileLoadPipelineElement(process, project, viewer,
                                                                              reader, factories, e.Get());
                    if (r != LProcessResultSuccess)
                        return r;
                }
            break;
        case QDChunkRed:
        case QDChunkGreen:
        case QDChunkBlue:
            it->ReadInt(channel[it->iId - QDChunkRed]);
            break;
        case QDChunkAlpha:
            it->ReadInt(channel[3]);
            break;
        case QDChunkPhotoInformation:
            // Only what passes the block checks is kept; damage here never fails the project.
            project.metadata.Clear();
            for (LSDFMemoryChunkIterator b(reader, it.Get()); b.IsValid(); b.Next())
            {
                const uint8_t* data = nullptr;
                size_t size = 0;
                if (!b->GetData(data, size))
                    continue;
                if (b->iId == QDChunkExif)
                    project.metadata.SetExif(data, size);
                else if (b->iId == QDChunkXmp)
                    project.metadata.SetXmp(data, size);
                else if (b->iId == QDChunkIcc)
                    project.metadata.SetIcc(data, size);
            }
            break;
        default:
            break;
        }
        if (process.IsToStop())
            return LProcessResultCancelled;
    }
    project.SetBackground(
        LGuiColorAlpha(uint16_t(ClampByte(channel[0]) << 8), uint16_t(ClampByte(channel[1]) << 8),
                       uint16_t(ClampByte(channel[2]) << 8), float(ClampByte(channel[3])) / 255.0f));
    return LProcessResultSuccess;
}

LProcessResult QDProjectFileLoadMemory(LProcessInterface& process, QDProject& project,
                                       QDProjectViewer* viewer, const uint8_t* data, size_t size,
                                       const LList<QDEffectFactory>& factories)
{
    return QDSDFMemoryLoad(process, data, size, kQDProjectFileType,
                           [&](LSDFMemoryReader& reader)
                           { return LoadProject(process, project, viewer, reader, factories); });
}

LProcessResult QDProjectFileLoad(LProcessInterface& process, QDProject& project, QDProjectViewer* viewer,
                                 const char* path, const LList<QDEffectFactory>& factories)
{
    return QDSDFFileLoad(process, path, kQDProjectFileType,
                         [&](LSDFMemoryReader& reader)
                         { return LoadProject(process, project, viewer, reader, factories); });
}

bool QDProjectFileWriteColor(LSDFFileWriter& writer, uint16_t id, const LGuiColor& colour)
{
    return writer.StartContainer(id) && writer.WriteInt(QDChunkRed, colour.red >> 8) &&
           writer.WriteInt(QDChunkGreen, colour.green >> 8) &&
           writer.WriteInt(QDChunkBlue, colour.blue >> 8) && writer.EndContainer(id);
}

void QDProjectFileLoadColor(LSDFMemoryReader& reader, const LSDFMemoryChunk& container, LGuiColor& colour)
{
    for (LSDFMemoryChunkIterator it(reader, container); it.IsValid(); it.Next())
    {
        uint16_t* channel = it->iId == QDChunkRed     ? &colour.red
                            : it->iId == QDChunkGreen ? &colour.green
                            : it->iId == QDChunkBlue  ? &colour.blue
                                                      : nullptr;
        int32_t v;
        if (channel && it->ReadInt(v))
            *channel = uint16_t(ClampByte(v) * 256);
    }
}

bool QDProjectFileWriteCircle(LSDFFileWriter& writer, double x, double y, double radius)
{
    return writer.WriteFloat64(19, x) && writer.WriteFloat64(15, y) && writer.WriteFloat64(14, radius);
}

void QDProjectFileLoadCircle(LSDFMemoryReader& reader, const LSDFMemoryChunk& container, double& x, double& y,
                             double& radius)
{
    for (LSDFMemoryChunkIterator it(reader, container); it.IsValid(); it.Next())
    {
        double v;
        if (!it->ReadNumber(v) || !std::isfinite(v))
            continue;
        if (it->iId == 19)
            x = v;
        else if (it->iId == 15)
            y = v;
        else if (it->iId == 14)
            radius = v;
    }
}

bool QDProjectFilePngIsPlausible(const uint8_t* data, size_t size)
{
    static const uint8_t signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    // Signature, then IHDR: length, "IHDR", width, height, bit depth, colour type.
    if (!data || size < 33 || memcmp(data, signature, 8) != 0 || memcmp(data + 12, "IHDR", 4) != 0)
        return false;
    auto be32 = [&](size_t at)
    {
        return uint64_t(data[at]) << 24 | uint64_t(data[at + 1]) << 16 | uint64_t(data[at + 2]) << 8 |
               data[at + 3];
    };
    const uint64_t w = be32(16), h = be32(20);
    const unsigned depth = data[24], colourType = data[25];
    const unsigned channels = colourType == 2 ? 3 : colourType == 4 ? 2 : colourType == 6 ? 4 : 1;
    if (w == 0 || h == 0 || w > (1u << 20) || h > (1u << 20) || depth == 0 || depth > 16)
        return false;
    // Filtered bytes: one filter byte per row and the packed samples.
    const uint64_t raw = h * (1 + (w * channels * depth + 7) / 8);
    return raw <= (uint64_t(size) + 1024) * 1100;
}

bool QDProjectFileGetRecoveryPath(const QDProject& project, std::string& path)
{
    char folder[LFILE_MAX_PATH];
    if (!QDGetSharedDataFolder(folder))
        return false;
    path = std::string(folder) + "/" + project.szRecoveryFileName;
    return true;
}

bool QDProjectFileSaveRecovery(QDProject& project)
{
    std::string path;
    if (!QDProjectFileGetRecoveryPath(project, path))
        return false;
    if (project.undoStack.IsCurrentStateSaved() && project.szName[0])
    {
        unlink(path.c_str());
        return true;
    }
    LProcessInterfaceVoid process;
    QDFileWriteMode mode;
    mode.bPrivate = true;
    return QDSDFFileSave(
               process, path.c_str(), kQDProjectFileType, kQDProjectFileVersion,
               [&](LSDFFileWriter& writer) { return WriteProject(process, project, writer); },
               mode) == LProcessResultSuccess;
}

void QDProjectFileEnableRecovery(bool bEnable)
{
    QDProject::lpfnSaveProjectFile = bEnable ? &QDProjectFileSaveRecovery : nullptr;
}
