#include "foundation/LFileAtomicWriter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
// The temporary name LFileTempPath makes beside a target: "/.quendrel-XXXXXX".
constexpr size_t kTempNameLength = 17;

// The folder of path: "." for a bare name.
std::string FolderOf(const char* path)
{
    const char* slash = strrchr(path, '/');
    if (!slash)
        return ".";
    return slash == path ? std::string("/") : std::string(path, size_t(slash - path));
}

bool SyncFolder(const std::string& folder)
{
    int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool ok = fsync(fd) == 0;
    close(fd);
    return ok;
}

// Puts from at to unless something is there already. The kernel does it in one step where the
// file system can; elsewhere a hard link does the same.
bool RenameNoReplace(const char* from, const char* to)
{
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS && errno != EOPNOTSUPP)
        return false;
    if (link(from, to) != 0)
        return false;
    unlink(from);
    return true;
}
} // namespace

LFileAtomicWriterResult LFileAtomicWriter::Failed(LFileAtomicWriterResult result, int error)
{
    iError = error;
    Abandon();
    return result;
}

LFileAtomicWriterResult LFileAtomicWriter::Begin(const char* path, unsigned newFileMode, LFileLockMode lock,
                                                 int timeoutMs)
{
    Abandon();
    szTarget[0] = 0;
    iError = 0;
    if (!path || !path[0])
        return Failed(LFileAtomicWriterCannotCreate, ENOENT);
    if (strlen(path) >= LFILE_MAX_PATH)
        return Failed(LFileAtomicWriterPathTooLong, ENAMETOOLONG);
    if (!LFile::ResolveLinks(path, szTarget))
    {
        const int error = errno;
        if (error == ENAMETOOLONG)
            return Failed(LFileAtomicWriterPathTooLong, error);
        return Failed(error == ELOOP ? LFileAtomicWriterNotAFile : LFileAtomicWriterCannotCreate, error);
    }

    struct stat st;
    if (stat(szTarget, &st) == 0)
    {
        // Renaming over a folder or a device would destroy it.
        if (!S_ISREG(st.st_mode))
            return Failed(LFileAtomicWriterNotAFile, EISDIR);
        // The rename would replace a file the user protected; that is the caller's question.
        if (access(szTarget, W_OK) != 0)
            return Failed(LFileAtomicWriterReadOnly, errno);
        iMode = st.st_mode & 07777;
        iGroup = st.st_gid;
        bKeepGroup = true;
    }
    else if (errno == ENOENT)
    {
        iMode = newFileMode & ~LFile::GetUmask() & 07777;
        bKeepGroup = false;
    }
    else
        return Failed(errno == ENAMETOOLONG ? LFileAtomicWriterPathTooLong : LFileAtomicWriterCannotCreate,
                      errno);

    const char* slash = strrchr(szTarget, '/');
    const std::string folder = FolderOf(szTarget);
    const char* name = slash ? slash + 1 : szTarget;
    const long nameMax = pathconf(folder.c_str(), _PC_NAME_MAX);
    if (nameMax > 0 && strlen(name) > size_t(nameMax))
        return Failed(LFileAtomicWriterPathTooLong, ENAMETOOLONG);
    if (folder.size() + kTempNameLength >= LFILE_MAX_PATH)
        return Failed(LFileAtomicWriterPathTooLong, ENAMETOOLONG);

    if (!LFileTempPath(szTemp, szTarget, nullptr))
    {
        const int error = errno;
        szTemp[0] = 0;
        return Failed(LFileAtomicWriterCannotCreate, error);
    }
    if (!oStream.Open(szTemp, lock, timeoutMs))
        return Failed(LFileAtomicWriterCannotCreate, errno);
    return LFileAtomicWriterSuccess;
}

LFileAtomicWriterResult LFileAtomicWriter::Finish(bool bReplace)
{
    if (!szTemp[0] || !oStream.IsOpen())
        return Failed(LFileAtomicWriterNotStarted, 0);
    const int fd = oStream.GetDescriptor();
    if (!oStream.Sync())
        return Failed(LFileAtomicWriterCannotWrite, oStream.GetError());
    if (fchmod(fd, iMode) != 0)
        return Failed(LFileAtomicWriterCannotWrite, errno);
    // Only possible for a group the user belongs to; otherwise the file takes the user's.
    if (bKeepGroup)
        (void)!fchown(fd, uid_t(-1), gid_t(iGroup));
    if (!oStream.Close())
        return Failed(LFileAtomicWriterCannotWrite, oStream.GetError());

    if (bReplace)
    {
        if (!LFile::MoveFile(szTemp, szTarget))
            return Failed(LFileAtomicWriterCannotWrite, errno);
    }
    else
    {
        if (!RenameNoReplace(szTemp, szTarget))
            return Failed(errno == EEXIST ? LFileAtomicWriterExists : LFileAtomicWriterCannotWrite, errno);
        SyncFolder(FolderOf(szTarget));
    }
    szTemp[0] = 0;
    return LFileAtomicWriterSuccess;
}

LFileAtomicWriterResult LFileAtomicWriter::Commit()
{
    return Finish(true);
}

LFileAtomicWriterResult LFileAtomicWriter::CommitNoReplace()
{
    return Finish(false);
}

void LFileAtomicWriter::Abandon()
{
    if (oStream.IsOpen())
        oStream.Close();
    if (szTemp[0])
        unlink(szTemp);
    szTemp[0] = 0;
}

LFileAtomicWriterResult LFileWriteAtomic(const char* path, const void* data, size_t size,
                                         unsigned newFileMode)
{
    LFileAtomicWriter writer;
    LFileAtomicWriterResult result = writer.Begin(path, newFileMode);
    if (result != LFileAtomicWriterSuccess)
        return result;
    if (!writer.GetStream().Write(data, size))
    {
        writer.Abandon();
        return LFileAtomicWriterCannotWrite;
    }
    return writer.Commit();
}
