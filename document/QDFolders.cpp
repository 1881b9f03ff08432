#include "document/QDFolders.h"

#include "document/QDCacheFolder.h"
#include "foundation/LFile.h"

bool QDGetCacheFolder(char* path)
{
    return gQDCacheFolder.GetPath(path);
}

bool QDGetSharedDataFolder(char* path)
{
    return LFile::GetSharedDataFolderApp(path);
}
