#include "batch/QDBatchScript.h"

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "document/LSDF.h"
#include "document/QDEffectFactory.h"
#include "document/QDProjectFile.h"

namespace
{
const char kDamaged[] = "The batch script is damaged.";

bool CopyPath(char (&out)[QD_BATCH_PATH_SIZE], const char* path)
{
    if (!path || strlen(path) >= sizeof(out))
        return false;
    strcpy(out, path);
    return true;
}

// One container 2: the element its type key names, with the properties that follow the key.
LProcessResult LoadElement(LProcessInterface& process, LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk,
                           const std::vector<QDEffectFactory*>& available,
                           const LList<QDEffectFactory>* factories, LList<QDImagePipelineElement>& elements)
{
    std::unique_ptr<QDImagePipelineElement> element;
    bool typeRead = false;
    for (LSDFMemoryChunkIterator it(reader, chunk); it.IsValid(); it.Next())
    {
        if (process.IsToStop())
            return LProcessResultCancelled;
        if (it->iId == QDChunkTypeIdentifier && !typeRead)
        {
            typeRead = true;
            std::string type;
            if (!it->ReadString(type))
                break;
            QDEffectFactory* factory = nullptr;
            for (QDEffectFactory* f : available)
                if (strcmp(f->szTypeIdentifier, type.c_str()) == 0)
                    factory = f;
            if (!factory)
            {
                process.SetErrorF("The batch script uses an effect this version doesn't offer for batches "
                                  "(\"%.200s\").",
                                  type.c_str());
                return LProcessResultFailed;
            }
            element.reset(factory->CreateLayer());
            if (!element)
            {
                process.SetError("Out of memory");
                return LProcessResultFailed;
            }
        }
        else if (it->iId == QDChunkProperties && element)
        {
            // Properties before the type have nothing to go into and were passed over.
            const LProcessResult r = factories
                                         ? element->SDFLoadProperties(process, reader, it.Get(), *factories)
                                         : element->SDFLoadProperties(process, reader, it.Get());
            if (r != LProcessResultSuccess)
                return r;
        }
    }
    if (!reader.bOk || !element)
    {
        // No writer makes an entry without its type; an effect left out would change the batch.
        process.SetError(kDamaged);
        return LProcessResultFailed;
    }
    elements.AddTail(element.release());
    return LProcessResultSuccess;
}
} // namespace

LProcessResult QDBatchScriptLoadMemory(LProcessInterface& process, const uint8_t* data, size_t size,
                                       const std::vector<QDEffectFactory*>& available,
                                       const LList<QDEffectFactory>* factories,
                                       LList<QDImagePipelineElement>& elements)
{
    elements.DeleteAll();
    LSDFMemoryStream stream;
    stream.SetBuffer(data, size);
    LSDFMemoryReader reader;
    if (!reader.Open(stream, kQDBatchFileType))
    {
        const bool magic = data && size >= kLSDFHeadSize && memcmp(data, kLSDFMagic, 4) == 0;
        const uint16_t version = magic ? uint16_t(data[4] | data[5] << 8) : 0;
        const uint32_t type =
            magic ? uint32_t(data[6] | data[7] << 8 | data[8] << 16 | uint32_t(data[9]) << 24) : 0;
        if (!magic || type != kQDBatchFileType)
            process.SetError("The file is not a batch script.");
        else if (version > kLSDFContainerVersion)
            process.SetError("The batch script was made by a newer version.");
        else
            process.SetError(kDamaged);
        return LProcessResultFailed;
    }
    if (!reader.CheckStructure())
    {
        process.SetError(kDamaged);
        return LProcessResultFailed;
    }
    for (LSDFMemoryChunkIterator it(reader); it.IsValid(); it.Next())
    {
        if (process.IsToStop())
        {
            elements.DeleteAll();
            return LProcessResultCancelled;
        }
        if (it->iId != QDChunkElement)
            continue;
        const LProcessResult r = LoadElement(process, reader, it.Get(), available, factories, elements);
        if (r != LProcessResultSuccess)
        {
            elements.DeleteAll();
            return r;
        }
    }
    if (!reader.bOk || !reader.Close())
    {
        elements.DeleteAll();
        process.SetError(kDamaged);
        return LProcessResultFailed;
    }
    return LProcessResultSuccess;
}

LProcessResult Process(LProcessInterface& process, QDBatchFileLoadData& d)
{
    if (!d.szFilePath[0] || !LFile::TestFileExists(d.szFilePath))
    {
        process.SetError("The file could not be found.");
        return LProcessResultFailed;
    }
    LInputStream<LInputStreamFile> file;
    if (!file.Open(d.szFilePath, LFileLockShared))
    {
        process.SetError("The file could not be opened.");
        return LProcessResultFailed;
    }
    // A script is small; the whole of it is read before a byte of it is believed.
    const int64_t size = file.GetSize64();
    std::unique_ptr<uint8_t[]> bytes(size >= 0 ? new (std::nothrow) uint8_t[size_t(size) + 1] : nullptr);
    if (!bytes)
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    if (size > 0 && !file.Read(bytes.get(), size_t(size)))
    {
        process.SetError("The file could not be opened.");
        return LProcessResultFailed;
    }
    file.Close();
    LList<QDImagePipelineElement> loaded;
    const LProcessResult r = QDBatchScriptLoadMemory(process, bytes.get(), size_t(size),
                                                     d.state.availableEffects, d.state.lpFactories, loaded);
    if (r != LProcessResultSuccess)
        return r;
    d.state.ReplaceEffects(loaded);
    CopyPath(d.state.batchFile.szFilePath, d.szFilePath);
    d.state.batchFile.bDirty = false;
    return LProcessResultSuccess;
}

LProcessResult QDBatchScriptSave(LProcessInterface& process, const char* path,
                                 const LList<QDImagePipelineElement>& elements)
{
    return QDSDFFileSave(process, path, kQDBatchFileType, kQDBatchFileVersion,
                         [&](LSDFFileWriter& writer)
                         {
                             for (QDImagePipelineElement* e = elements.GetFirst(); e; e = e->GetNextItem())
                             {
                                 if (process.IsToStop())
                                     return LProcessResultCancelled;
                                 const LProcessResult r =
                                     QDProjectFileSavePipelineElement(process, writer, *e);
                                 if (r != LProcessResultSuccess)
                                     return r;
                             }
                             return writer.bOk ? LProcessResultSuccess : LProcessResultFailed;
                         });
}

LProcessResult Process(LProcessInterface& process, QDBatchFileSaveData& d)
{
    const LProcessResult r = QDBatchScriptSave(process, d.szFilePath, d.state.effects);
    if (r != LProcessResultSuccess)
        return r;
    CopyPath(d.state.batchFile.szFilePath, d.szFilePath);
    d.state.batchFile.bDirty = false;
    return LProcessResultSuccess;
}
