#pragma once
// Saving a file so that it is always either the old file or the new one, whole: the data goes to
// a temporary file beside the target, reaches the disk, and is renamed over the target, so a
// failure at any point (a full disk, an encoder error, a crash) leaves the old file as it was.
//
// A symbolic link is followed to the file it finally names: that file is replaced and the link
// stays. A replaced file keeps its permissions. Every path involved, the temporary one included,
// is checked before anything is written; none is ever cut.
//
//     LFileAtomicWriter writer;
//     if (writer.Begin(path) != LFileAtomicWriterSuccess) ...   // nothing was written
//     Encode(writer.GetStream());
//     if (writer.Commit() != LFileAtomicWriterSuccess) ...      // the old file is untouched
//
// Leaving the scope without Commit removes the temporary file.

#include <cstddef>

#include "foundation/LFile.h"
#include "foundation/LStream.h"

enum LFileAtomicWriterResult : int
{
    LFileAtomicWriterSuccess = 0,
    LFileAtomicWriterPathTooLong = 1,  // the path, a link's target or the temporary name
    LFileAtomicWriterNotAFile = 2,     // a folder, a device, a link loop
    LFileAtomicWriterReadOnly = 3,     // the existing file may not be written
    LFileAtomicWriterCannotCreate = 4, // no temporary file: missing or read-only folder
    LFileAtomicWriterCannotWrite = 5,  // writing, syncing or the rename failed
    LFileAtomicWriterExists = 6,       // CommitNoReplace found a file in place
    LFileAtomicWriterNotStarted = 7,   // Commit without a successful Begin
};

// Modes of a new file, before the umask; an existing file keeps its own.
constexpr unsigned LFileModeDocument = 0666; // the user's pictures and projects
constexpr unsigned LFileModePrivate = 0600;  // keys, recovery and cache data

class LFileAtomicWriter
{
public:
    LFileAtomicWriter() = default;
    LFileAtomicWriter(const LFileAtomicWriter&) = delete;
    LFileAtomicWriter& operator=(const LFileAtomicWriter&) = delete;
    ~LFileAtomicWriter() { Abandon(); }

    // Checks the target, creates the temporary file beside it and opens the stream on it (with
    // the lock, waiting up to timeoutMs).
    [[nodiscard]] LFileAtomicWriterResult Begin(const char* path, unsigned newFileMode = LFileModeDocument,
                                                LFileLockMode lock = LFileLockNone, int timeoutMs = 3000);
    LOutputStream<LOutputStreamFile>& GetStream() { return oStream; }

    // Makes the written data the file at the target, durably.
    [[nodiscard]] LFileAtomicWriterResult Commit();
    // The same, but only when nothing has appeared at the target meanwhile: two processes
    // creating one file agree on whichever came first.
    [[nodiscard]] LFileAtomicWriterResult CommitNoReplace();
    // Drops the temporary file; the target stays as it was.
    void Abandon();

    // The file that is replaced: the path with its links followed.
    const char* GetTargetPath() const { return szTarget; }
    const char* GetTempPath() const { return szTemp; }
    // The system's error number behind the last failure, 0 when it had none.
    int GetError() const { return iError; }

private:
    LFileAtomicWriterResult Finish(bool bReplace);
    LFileAtomicWriterResult Failed(LFileAtomicWriterResult result, int error);

    LOutputStream<LOutputStreamFile> oStream;
    char szTarget[LFILE_MAX_PATH] = {};
    char szTemp[LFILE_MAX_PATH] = {};
    unsigned iMode = LFileModeDocument;
    unsigned iGroup = 0;
    bool bKeepGroup = false;
    int iError = 0;
};

// The whole sequence for data held in memory.
[[nodiscard]] LFileAtomicWriterResult LFileWriteAtomic(const char* path, const void* data, size_t size,
                                                       unsigned newFileMode = LFileModeDocument);
