#include "document/QDFolders.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

// Creates each missing folder of path, private.
static bool MakeFolders(char* path)
{
    for (char* p = path + 1; *p; ++p)
    {
        if (*p != '/')
            continue;
        *p = 0;
        mkdir(path, 0700);
        *p = '/';
    }
    mkdir(path, 0700);
    struct stat st;
    return stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

// $variable, or $HOME/fallback, followed by tail.
static bool XdgFolder(char* path, const char* variable, const char* fallback, const char* tail)
{
    const char* base = getenv(variable);
    int n;
    if (base && base[0] == '/')
        n = snprintf(path, 260, "%s/%s", base, tail);
    else
    {
        const char* home = getenv("HOME");
        if (!home || !home[0])
            return false;
        n = snprintf(path, 260, "%s/%s/%s", home, fallback, tail);
    }
    if (n <= 0 || n >= 260)
    {
        path[0] = 0;
        return false;
    }
    return MakeFolders(path);
}

bool QDGetCacheFolder(char* path)
{
    return XdgFolder(path, "XDG_CACHE_HOME", ".cache", "Quendrel/cache");
}

bool QDGetSharedDataFolder(char* path)
{
    return XdgFolder(path, "XDG_DATA_HOME", ".local/share", "Quendrel/Shared");
}
