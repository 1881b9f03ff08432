#pragma once
// Where the picture cache of this process lives. Several instances of the program may run for one
// user at once, so each keeps its files in a sub-folder of its own of the cache folder
// ("<pid>-XXXXXX"), held by an exclusive lock on the file "lock" inside it for the life of the
// process. Clean-up removes only sub-folders whose lock is free, which is to say whose process
// has ended, and never touches a running instance's pictures.

#include <pthread.h>

#include "foundation/LFile.h"

class QDCacheFolder
{
public:
    // Nothing happens before first use, so the object needs no start-up order.
    constexpr QDCacheFolder() = default;
    QDCacheFolder(const QDCacheFolder&) = delete;
    QDCacheFolder& operator=(const QDCacheFolder&) = delete;
    // Removes the sub-folder and everything in it, in the process that made it.
    ~QDCacheFolder();

    // This process's sub-folder, made and locked on first use; false when that is impossible.
    bool GetPath(char* path);
    // Removes the sub-folders of ended processes, and the loose ".dat" files older versions kept
    // straight in the cache folder.
    static void RemoveAbandoned();
    // Removes every ".dat" file of this process's sub-folder, whatever the case of the extension.
    void RemoveOwnFiles();

private:
    bool Make();

    pthread_mutex_t loFolder = PTHREAD_MUTEX_INITIALIZER;
    char szPath[LFILE_MAX_PATH] = {};
    int iLockFile = -1;
    int iOwner = 0; // the process that made it: a forked child must not remove it
};

extern constinit QDCacheFolder gQDCacheFolder;
