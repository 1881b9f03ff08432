#include "document/QDCacheFolder.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <strings.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

// Constant-initialised, so it is destroyed after every object built at start-up, the delete
// thread included, whose last clean-up still needs the folder.
constinit QDCacheFolder gQDCacheFolder;

namespace
{
constexpr const char* kLockName = "lock";
// A sub-folder without a lock file is being set up by its process, unless it has stood like
// that for this long.
constexpr time_t kSetUpSeconds = 60;

bool HasDatExtension(const char* name)
{
    const size_t n = strlen(name);
    return n >= 4 && strcasecmp(name + n - 4, ".dat") == 0;
}

// The lock file still is the one at the path: a cleaner may have removed it between our open and
// our lock.
bool StillInPlace(int fd, const std::string& path)
{
    struct stat held, now;
    return fstat(fd, &held) == 0 && stat(path.c_str(), &now) == 0 && held.st_dev == now.st_dev &&
           held.st_ino == now.st_ino;
}

// The files of a sub-folder, then the folder. Sub-folders hold files only.
void RemoveFolder(const char* folder)
{
    for (LFile::FolderIteratorAllFiles it(folder); it.Next();)
        if (!it.IsFolder())
            unlink(it.GetPath());
    rmdir(folder);
}

// Removes folder when no process holds its lock.
void RemoveIfAbandoned(const char* folder)
{
    const std::string lock = std::string(folder) + "/" + kLockName;
    int fd = open(lock.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0)
    {
        struct stat st;
        if (errno == ENOENT && stat(folder, &st) == 0 && time(nullptr) - st.st_mtime > kSetUpSeconds)
            RemoveFolder(folder);
        return;
    }
    if (flock(fd, LOCK_EX | LOCK_NB) == 0 && StillInPlace(fd, lock))
        RemoveFolder(folder); // the lock file goes with the rest, while we still hold it
    close(fd);
}
} // namespace

QDCacheFolder::~QDCacheFolder()
{
    if (iLockFile < 0 || iOwner != int(getpid()))
        return;
    RemoveFolder(szPath);
    close(iLockFile);
}

bool QDCacheFolder::Make()
{
    char root[LFILE_MAX_PATH];
    if (!LFile::GetCacheFolder(root))
        return false;
    const std::string prefix = std::string(root) + "/" + std::to_string(getpid()) + "-";
    for (int attempt = 0; attempt < 100; ++attempt)
    {
        std::string folder = prefix + "XXXXXX";
        if (folder.size() + 1 + strlen(kLockName) >= LFILE_MAX_PATH || !mkdtemp(folder.data()))
            return false;
        const std::string lock = folder + "/" + kLockName;
        // A cleaner of another process may take the new folder for an abandoned one and remove
        // it under us: then the open, the lock or the check fails, and we start over.
        int fd = open(lock.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd < 0)
            continue;
        if (flock(fd, LOCK_EX | LOCK_NB) != 0 || !StillInPlace(fd, lock))
        {
            close(fd);
            continue;
        }
        memcpy(szPath, folder.c_str(), folder.size() + 1);
        iLockFile = fd;
        iOwner = int(getpid());
        return true;
    }
    return false;
}

bool QDCacheFolder::GetPath(char* path)
{
    pthread_mutex_lock(&loFolder);
    const bool ok = iLockFile >= 0 || Make();
    if (ok)
        memcpy(path, szPath, strlen(szPath) + 1);
    else
        path[0] = 0;
    pthread_mutex_unlock(&loFolder);
    return ok;
}

void QDCacheFolder::RemoveAbandoned()
{
    char root[LFILE_MAX_PATH];
    if (!LFile::GetCacheFolder(root))
        return;
    for (LFile::FolderIteratorAllFiles it(root); it.Next();)
    {
        if (it.IsDotFolder())
            continue;
        if (!it.IsFolder())
        {
            if (HasDatExtension(it.GetName()))
                unlink(it.GetPath());
            continue;
        }
        // Our own folder is locked by us, through another open file: flock refuses it too.
        RemoveIfAbandoned(it.GetPath());
    }
}

void QDCacheFolder::RemoveOwnFiles()
{
    char folder[LFILE_MAX_PATH];
    if (!GetPath(folder))
        return;
    for (LFile::FolderIteratorAllFiles it(folder); it.Next();)
        if (!it.IsFolder() && HasDatExtension(it.GetName()))
            unlink(it.GetPath());
}
