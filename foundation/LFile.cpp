#include "foundation/LFile.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <pwd.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
bool CopyOut(char* out, const std::string& text)
{
    if (text.size() >= LFILE_MAX_PATH)
    {
        out[0] = 0;
        return false;
    }
    memcpy(out, text.c_str(), text.size() + 1);
    return true;
}

const char* FileNameStart(const char* path)
{
    const char* slash = strrchr(path, '/');
    return slash ? slash + 1 : path;
}

std::string HomeFolder()
{
    const char* home = getenv("HOME");
    if (home && home[0] == '/')
        return home;
    if (passwd* pw = getpwuid(getuid()); pw && pw->pw_dir)
        return pw->pw_dir;
    return "/tmp";
}

// An XDG base folder: the variable when it holds an absolute path, else home + fallback.
std::string XdgFolder(const char* variable, const char* fallback)
{
    const char* value = getenv(variable);
    if (value && value[0] == '/')
        return value;
    return HomeFolder() + fallback;
}

bool EnsureFolder(const std::string& path, char* out)
{
    if (!LFile::CreateFolder(path.c_str()))
    {
        out[0] = 0;
        return false;
    }
    return CopyOut(out, path);
}

bool CopyData(int in, int out)
{
    static constexpr size_t kChunk = 1 << 16;
    std::string buffer(kChunk, '\0');
    for (;;)
    {
        ssize_t n = read(in, buffer.data(), kChunk);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0)
            return true;
        for (ssize_t done = 0; done < n;)
        {
            ssize_t w = write(out, buffer.data() + done, size_t(n - done));
            if (w < 0 && errno == EINTR)
                continue;
            if (w < 0)
                return false;
            done += w;
        }
    }
}

std::string FolderOf(const char* path)
{
    const char* slash = strrchr(path, '/');
    if (!slash)
        return ".";
    return slash == path ? std::string("/") : std::string(path, size_t(slash - path));
}

// A rename is only durable once the folder holding the new name is.
bool SyncFolderOf(const char* path)
{
    int fd = open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool ok = fsync(fd) == 0;
    close(fd);
    return ok;
}

// A file this process may not read can't be synced by name; whoever wrote it synced it.
bool SyncFile(const char* path)
{
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return errno == EACCES;
    const bool ok = fsync(fd) == 0;
    close(fd);
    return ok;
}

// Copies from into a new temporary file beside to, syncs it and renames it over to.
bool CopyReplacing(const char* from, const char* to)
{
    int in = open(from, O_RDONLY | O_CLOEXEC);
    if (in < 0)
        return false;
    struct stat st;
    if (fstat(in, &st) != 0 || S_ISDIR(st.st_mode))
    {
        close(in);
        return false;
    }
    char temp[LFILE_MAX_PATH];
    if (!LFileTempPath(temp, to, nullptr))
    {
        close(in);
        return false;
    }
    int out = open(temp, O_WRONLY | O_TRUNC | O_CLOEXEC);
    bool ok = out >= 0 && CopyData(in, out);
    close(in);
    if (out >= 0)
    {
        ok = ok && fchmod(out, st.st_mode & 07777) == 0;
        ok = ok && fsync(out) == 0;
        ok = close(out) == 0 && ok;
    }
    ok = ok && rename(temp, to) == 0;
    if (!ok)
        unlink(temp);
    else
        SyncFolderOf(to);
    return ok;
}
} // namespace

namespace LFile
{
bool TestFileExists(const char* path)
{
    struct stat st;
    return path && stat(path, &st) == 0 && !S_ISDIR(st.st_mode);
}

bool TestFolderExists(const char* path)
{
    struct stat st;
    return path && stat(path, &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsFolder(const char* path)
{
    return TestFolderExists(path);
}

bool TestFileReadOnly(const char* path)
{
    return path && access(path, F_OK) == 0 && access(path, W_OK) != 0;
}

bool _MakeFilePath(char* out, const char* folder, const char* name, const char* extension)
{
    std::string path = folder ? folder : "";
    if (!path.empty() && path.back() != '/')
        path += '/';
    path += name ? name : "";
    if (extension && extension[0])
    {
        if (extension[0] != '.')
            path += '.';
        path += extension;
    }
    return CopyOut(out, path);
}

bool _GetFileExtensionFromPath(char* out, const char* path)
{
    const char* name = FileNameStart(path);
    const char* dot = strrchr(name, '.');
    if (!dot || dot == name)
        return CopyOut(out, "");
    return CopyOut(out, dot);
}

bool _GetFileNameFromPath(char* out, const char* path)
{
    return CopyOut(out, FileNameStart(path));
}

bool _GetFolderFromPath(char* out, const char* path)
{
    const char* slash = strrchr(path, '/');
    if (!slash)
        return CopyOut(out, "");
    if (slash == path)
        return CopyOut(out, "/");
    return CopyOut(out, std::string(path, size_t(slash - path)));
}

bool DeleteFile(const char* path)
{
    return unlink(path) == 0;
}

bool CreateFolder(const char* path)
{
    if (!path || !path[0])
        return false;
    if (TestFolderExists(path))
        return true;
    std::string partial(path);
    for (size_t i = 1; i <= partial.size(); ++i)
    {
        if (i < partial.size() && partial[i] != '/')
            continue;
        std::string step = partial.substr(0, i);
        if (mkdir(step.c_str(), 0700) != 0 && errno != EEXIST)
            return false;
    }
    return TestFolderExists(path);
}

bool MoveFile(const char* from, const char* to)
{
    if (!SyncFile(from))
        return false;
    if (rename(from, to) == 0)
    {
        // The new name first: it is the one the caller reports.
        bool ok = SyncFolderOf(to);
        if (FolderOf(from) != FolderOf(to))
            SyncFolderOf(from);
        return ok;
    }
    if (errno != EXDEV)
        return false;
    if (!CopyReplacing(from, to))
        return false;
    unlink(from);
    return true;
}

bool CopyFile(const char* from, const char* to)
{
    return CopyReplacing(from, to);
}

bool ResolveLinks(const char* path, char* out)
{
    out[0] = 0;
    if (!path || !path[0])
    {
        errno = ENOENT;
        return false;
    }
    std::string current = path;
    // The kernel's own limit on links followed in one lookup.
    for (int hops = 0; hops <= 40; ++hops)
    {
        if (current.size() >= LFILE_MAX_PATH)
        {
            errno = ENAMETOOLONG;
            return false;
        }
        struct stat st;
        if (lstat(current.c_str(), &st) != 0 || !S_ISLNK(st.st_mode))
            return CopyOut(out, current);
        std::string target(LFILE_MAX_PATH, '\0');
        ssize_t n = readlink(current.c_str(), target.data(), target.size());
        if (n <= 0)
            return false;
        if (size_t(n) >= target.size())
        {
            errno = ENAMETOOLONG;
            return false;
        }
        target.resize(size_t(n));
        current = target[0] == '/' ? target : FolderOf(current.c_str()) + "/" + target;
    }
    errno = ELOOP;
    return false;
}

unsigned GetUmask()
{
    unsigned mask = 022;
    if (FILE* f = fopen("/proc/self/status", "re"))
    {
        char line[256];
        unsigned value;
        while (fgets(line, sizeof(line), f))
            if (sscanf(line, "Umask: %o", &value) == 1)
            {
                mask = value;
                break;
            }
        fclose(f);
    }
    return mask & 0777;
}

bool GetUserDataFolderApp(char* path)
{
    return EnsureFolder(XdgFolder("XDG_DATA_HOME", "/.local/share") + "/Quendrel", path);
}

bool GetUserDataFolderAppSubFolder(const char* name, char* path)
{
    char base[LFILE_MAX_PATH];
    if (!GetUserDataFolderApp(base))
    {
        path[0] = 0;
        return false;
    }
    return EnsureFolder(std::string(base) + "/" + name, path);
}

bool GetSharedDataFolderApp(char* path)
{
    return GetUserDataFolderAppSubFolder("Shared", path);
}

bool GetUserPicturesFolder(char* path)
{
    if (LPlatformGetPicturesFolder(path) && TestFolderExists(path))
        return true;
    std::string pictures = HomeFolder() + "/Pictures";
    if (TestFolderExists(pictures.c_str()))
        return CopyOut(path, pictures);
    return CopyOut(path, HomeFolder());
}

bool GetUserDocumentsFolder(char* path)
{
    if (LPlatformGetDocumentsFolder(path) && TestFolderExists(path))
        return true;
    return CopyOut(path, HomeFolder());
}

bool GetTempFolder(char* path)
{
    const char* temp = getenv("TMPDIR");
    std::string folder = temp && temp[0] == '/' ? temp : "/tmp";
    while (folder.size() > 1 && folder.back() == '/')
        folder.pop_back();
    return CopyOut(path, folder);
}

bool GetCacheFolder(char* path)
{
    return EnsureFolder(XdgFolder("XDG_CACHE_HOME", "/.cache") + "/Quendrel/cache", path);
}

bool GetResourcesFolder(char* path)
{
    char exe[4096];
    ssize_t n = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    if (n > 0)
    {
        exe[n] = 0;
        char folder[LFILE_MAX_PATH];
        if (_GetFolderFromPath(folder, exe))
        {
            std::string installed = std::string(folder) + "/../share/quendrel";
            if (TestFolderExists(installed.c_str()))
                return CopyOut(path, installed);
        }
    }
#ifdef QUENDREL_RESOURCES_DIR
    return CopyOut(path, QUENDREL_RESOURCES_DIR);
#else
    path[0] = 0;
    return false;
#endif
}

// ---- FolderIterator

FolderIterator::FolderIterator(const char* folder, const char* pattern)
{
    if (!CopyOut(szFolder, folder ? folder : ""))
        return;
    if (pattern && !CopyOut(szPattern, pattern))
        return;
    lpDir = opendir(szFolder);
}

FolderIterator::~FolderIterator()
{
    if (lpDir)
        closedir(static_cast<DIR*>(lpDir));
}

bool FolderIterator::Next()
{
    if (!lpDir)
        return false;
    while (dirent* entry = readdir(static_cast<DIR*>(lpDir)))
    {
        if (szPattern[0] && fnmatch(szPattern, entry->d_name, FNM_CASEFOLD) != 0)
            continue;
        if (!CopyOut(szName, entry->d_name) || !_MakeFilePath(szPath, szFolder, szName, nullptr))
            continue; // too long for a fixed path: nothing could open it anyway
        if (entry->d_type == DT_DIR)
            bFolder = true;
        else if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK)
            bFolder = TestFolderExists(szPath);
        else
            bFolder = false;
        return true;
    }
    return false;
}

bool FolderIterator::IsDotFolder() const
{
    return strcmp(szName, ".") == 0 || strcmp(szName, "..") == 0;
}

bool FolderIterator::IsHiddenFolder() const
{
    return szName[0] == '.' && !IsDotFolder();
}
} // namespace LFile

bool LFileTempPath(char* out, const char* targetPath, const char* extension)
{
    if (!targetPath)
        return LFileTempPathInTempFolder(out, extension);
    // Hidden, so a folder view doesn't flash the half-written file.
    std::string pattern = FolderOf(targetPath) + "/.quendrel-XXXXXX";
    const size_t suffix = extension ? strlen(extension) : 0;
    pattern += extension ? extension : "";
    if (pattern.size() >= LFILE_MAX_PATH)
    {
        out[0] = 0;
        return false;
    }
    int fd = mkostemps(pattern.data(), int(suffix), O_CLOEXEC); // creates it 0600
    if (fd < 0)
    {
        out[0] = 0;
        return false;
    }
    close(fd);
    return CopyOut(out, pattern);
}

bool LFileTempPathInTempFolder(char* out, const char* extension)
{
    char folder[LFILE_MAX_PATH];
    if (!LFile::GetTempFolder(folder))
        return false;
    std::string target = std::string(folder) + "/x";
    return LFileTempPath(out, target.c_str(), extension);
}

void LFileMigrateSharedSettings() {}
