#include "document/QDFolders.h"

#include "foundation/LFile.h"

bool QDGetCacheFolder(char* path)
{
    return LFile::GetCacheFolder(path);
}

bool QDGetSharedDataFolder(char* path)
{
    return LFile::GetSharedDataFolderApp(path);
}
