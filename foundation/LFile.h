#pragma once
// Files and folders: existence tests, path pieces, folder iteration, atomic moves and the
// application's folders. Out buffers are fixed paths of LFILE_MAX_PATH bytes, room for any path
// the system accepts; a result that doesn't fit fails and leaves an empty string, never a cut one.

#include <cstddef>

constexpr size_t LFILE_MAX_PATH = 4096; // PATH_MAX, terminator included

namespace LFile
{
bool TestFileExists(const char* path);   // anything but a folder
bool TestFolderExists(const char* path); // a folder
bool IsFolder(const char* path);
// Exists and isn't writable by access(); a missing file is not read-only.
bool TestFileReadOnly(const char* path);

// folder + "/" + name + extension; the extension may come with or without its dot; folder and
// extension may be null or empty.
bool _MakeFilePath(char* out, const char* folder, const char* name, const char* extension);
// ".jpg" from "/a/b.x.jpg"; "" when the name has none (a leading dot doesn't start one).
bool _GetFileExtensionFromPath(char* out, const char* path);
bool _GetFileNameFromPath(char* out, const char* path);
// "/a" from "/a/b.jpg", "/" from "/b.jpg", "" from "b.jpg".
bool _GetFolderFromPath(char* out, const char* path);

bool DeleteFile(const char* path);
// Creates the folder and missing parents, mode 0700; true when it exists afterwards.
bool CreateFolder(const char* path);
// Atomic on one file system. Across file systems the data goes to a temporary file beside the
// target, is synced and renamed over it, so the target is never half-written. Either way the
// data reaches the disk before the rename and the new name before the call returns.
bool MoveFile(const char* from, const char* to);
// Copies through a temporary file beside the target, which is replaced atomically.
bool CopyFile(const char* from, const char* to);

// Follows path while it names a symbolic link, to the file it finally stands for (which need not
// exist yet); a relative link counts from its own folder. False for a loop or a result that
// doesn't fit.
bool ResolveLinks(const char* path, char* out);
// The process's file creation mask, read without changing it.
unsigned GetUmask();

bool GetUserDataFolderApp(char* path);                            // created 0700
bool GetUserDataFolderAppSubFolder(const char* name, char* path); // created 0700
bool GetSharedDataFolderApp(char* path);                          // "Shared" in the above
bool GetUserPicturesFolder(char* path);
bool GetUserDocumentsFolder(char* path);
bool GetTempFolder(char* path);
bool GetCacheFolder(char* path); // picture cache, created 0700
bool GetResourcesFolder(char* path);

// Entries of one folder, "." and ".." included (tell them by IsDotFolder). Use as
// `for (FolderIterator it(folder, "*.jpg"); it.Next();)`.
class FolderIterator
{
public:
    // pattern: shell wildcard matched against names without regard to case; null for all.
    explicit FolderIterator(const char* folder, const char* pattern = nullptr);
    ~FolderIterator();
    FolderIterator(const FolderIterator&) = delete;
    FolderIterator& operator=(const FolderIterator&) = delete;

    bool IsValid() const { return lpDir != nullptr; }
    bool Next();
    const char* GetName() const { return szName; }
    const char* GetPath() const { return szPath; }
    bool IsFolder() const { return bFolder; }
    bool IsDotFolder() const;    // "." or ".."
    bool IsHiddenFolder() const; // a name starting with a dot, but not "." or ".."

private:
    void* lpDir = nullptr; // DIR*
    char szFolder[LFILE_MAX_PATH] = {};
    char szPattern[LFILE_MAX_PATH] = {};
    char szName[LFILE_MAX_PATH] = {};
    char szPath[LFILE_MAX_PATH] = {};
    bool bFolder = false;
};

// Every entry of a folder, with no pattern.
class FolderIteratorAllFiles : public FolderIterator
{
public:
    explicit FolderIteratorAllFiles(const char* folder) : FolderIterator(folder, nullptr) {}
};
} // namespace LFile

// Creates an empty file of a new name (mode 0600) and gives its path. The first form puts it in
// the folder of targetPath, so that moving it onto the target is one rename; the second in the
// temporary folder. extension (with its dot) may be null.
bool LFileTempPath(char* out, const char* targetPath, const char* extension);
bool LFileTempPathInTempFolder(char* out, const char* extension);

// Nothing to migrate on this platform; kept so start-up reads the same everywhere.
void LFileMigrateSharedSettings();

// Provided by the platform layer: the desktop's folders, false when it knows none.
bool LPlatformGetPicturesFolder(char* path);
bool LPlatformGetDocumentsFolder(char* path);
