#include "batch/QDBatchState.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <strings.h>
#include <sys/stat.h>
#include <utility>

#include "codecs/LImageCodec.h"
#include "document/QDEffectFactory.h"
#include "effects/QDEffectCatalogue.h"
#include "foundation/LUserSettings.h"

const char kQDBatchSection[] = "BatchEditor";

bool BatchFileItem::SetFilePath(const char* path)
{
    if (!path || strlen(path) >= sizeof(szFilePath))
        return false;
    strcpy(szFilePath, path);
    return true;
}

bool BatchFileItem::IsValidOutputFormat() const
{
    LImageCodec codec;
    if (!codec.InitFromFilePath(szFilePath))
        return false;
    switch (codec.id)
    {
    case LImageCodecBMP:
    case LImageCodecGIF:
    case LImageCodecJPEG:
    case LImageCodecPNG:
    case LImageCodecTIFF:
        return true;
    default:
        return false;
    }
}

void QDBatchOutputSettings::Load()
{
    bSaveSameFileFormat = LUserSettingGet(kQDBatchSection, "SaveSameFileFormat", 1) != 0;
    iSaveFileFormat = LUserSettingGet(kQDBatchSection, "SaveFileFormat", 0);
    bSameOutputFolder = LUserSettingGet(kQDBatchSection, "SameOutputFolder", 1) != 0;
    LString folder;
    LUserSettingGetString(kQDBatchSection, "OutputFolder", "", folder);
    const char* text = folder.GetString() ? folder.GetString() : "";
    if (strlen(text) < sizeof(szOutputFolder))
        strcpy(szOutputFolder, text);
    else
        szOutputFolder[0] = 0;
}

void QDBatchOutputSettings::Save() const
{
    LUserSettingSet(kQDBatchSection, "SaveSameFileFormat", bSaveSameFileFormat ? 1 : 0);
    LUserSettingSet(kQDBatchSection, "SaveFileFormat", iSaveFileFormat);
    LUserSettingSet(kQDBatchSection, "SameOutputFolder", bSameOutputFolder ? 1 : 0);
    LUserSettingSetString(kQDBatchSection, "OutputFolder", szOutputFolder);
}

void QDBatchStateData::AddAvailableEffect(QDEffectFactory* factory)
{
    if (factory)
        availableEffects.push_back(factory);
}

QDEffectFactory* QDBatchStateData::FindAvailableEffect(const char* typeIdentifier) const
{
    for (QDEffectFactory* f : availableEffects)
        if (typeIdentifier && strcmp(f->szTypeIdentifier, typeIdentifier) == 0)
            return f;
    return nullptr;
}

BatchFileItem* QDBatchStateData::AddFile(const char* path)
{
    LImageCodec codec;
    if (!path || !codec.InitFromFilePath(path))
        return nullptr;
    auto* item = new BatchFileItem;
    if (!item->SetFilePath(path))
    {
        delete item;
        return nullptr;
    }
    BatchFileList.AddTail(item);
    return item;
}

namespace
{
size_t AddFolderOnce(QDBatchStateData& state, const char* path, std::set<std::pair<dev_t, ino_t>>& seen)
{
    struct stat st;
    if (stat(path, &st) != 0 || !S_ISDIR(st.st_mode) || !seen.insert({st.st_dev, st.st_ino}).second)
        return 0;
    std::vector<std::pair<std::string, bool>> entries;
    for (LFile::FolderIteratorAllFiles it(path); it.Next();)
        if (!it.IsDotFolder())
            entries.emplace_back(it.GetPath(), it.IsFolder());
    std::sort(entries.begin(), entries.end());
    size_t added = 0;
    for (const auto& [entry, folder] : entries)
    {
        if (folder)
            added += AddFolderOnce(state, entry.c_str(), seen);
        else if (state.AddFile(entry.c_str()))
            ++added;
    }
    return added;
}
} // namespace

size_t QDBatchStateData::AddFolder(const char* path)
{
    std::set<std::pair<dev_t, ino_t>> seen;
    return path ? AddFolderOnce(*this, path, seen) : 0;
}

bool QDBatchStateData::RemoveFile(const char* path)
{
    for (BatchFileItem* item = BatchFileList.GetFirst(); item; item = item->GetNextItem())
        if (path && strcasecmp(item->szFilePath, path) == 0)
        {
            BatchFileList.Delete(item);
            return true;
        }
    return false;
}

void QDBatchStateData::ReplaceEffects(LList<QDImagePipelineElement>& replacement)
{
    effects.DeleteAll();
    effects.TakeAll(replacement);
}

void QDBatchStateInitFromCatalogue(QDBatchStateData& state, const QDEffectCatalogue& catalogue)
{
    state.availableEffects.clear();
    for (QDEffectFactory* f : catalogue.vBatchFactories)
        state.AddAvailableEffect(f);
    state.lpFactories = &catalogue.lFactories;
}
