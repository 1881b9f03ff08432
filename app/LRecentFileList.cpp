#include "app/LRecentFileList.h"

#include <algorithm>
#include <cstdio>

#include "foundation/LFile.h"
#include "foundation/LUserSettings.h"

namespace
{
constexpr const char* kSection = "RecentFiles";

void KeyName(char (&key)[16], size_t i)
{
    snprintf(key, sizeof(key), "File%zu", i);
}
} // namespace

void LRecentFileList::Load()
{
    vFiles.clear();
    for (size_t i = 0; i < kMaxFiles; ++i)
    {
        char key[16];
        KeyName(key, i);
        LString value;
        if (!LUserSettingGetString(kSection, key, "", value) || value.IsEmpty())
            continue;
        const std::string path = value.GetString();
        if (LFile::TestFileExists(path.c_str()) &&
            std::find(vFiles.begin(), vFiles.end(), path) == vFiles.end())
            vFiles.push_back(path);
    }
}

void LRecentFileList::Save() const
{
    for (size_t i = 0; i < kMaxFiles; ++i)
    {
        char key[16];
        KeyName(key, i);
        if (i < vFiles.size())
            LUserSettingSetString(kSection, key, vFiles[i].c_str());
        else
            LUserSettingDeleteItem(kSection, key);
    }
}

void LRecentFileList::Add(const char* path)
{
    if (!path || !path[0])
        return;
    Remove(path);
    vFiles.insert(vFiles.begin(), path);
    if (vFiles.size() > kMaxFiles)
        vFiles.resize(kMaxFiles);
    Save();
}

void LRecentFileList::Remove(const char* path)
{
    vFiles.erase(std::remove(vFiles.begin(), vFiles.end(), std::string(path ? path : "")), vFiles.end());
}
