#pragma once
// The disk cache of rendered pictures. An id names the file "%i.dat" in the process's cache
// folder (QDCacheFolder.h): the
// 56-byte LImageFormat of the picture followed by its pixels. -1 means no picture. Ids are never
// reused within a run. Each id has a busy flag that a thread holds while it touches the file; the
// store's own lock only guards the counter and the flags, never a file operation.
// Two ids holding the same picture may share one file through hard links. So a file is never
// rewritten in place: a write makes a new file under the id's name, and a delete removes only
// the name, leaving the other id (and any reader holding the file open) its pixels.

#include <cstdint>
#include <vector>

#include "foundation/LSignal.h"

class LImageBuffer;

class LQDCacheStore
{
public:
    LQDCacheStore();

    // A new id, or -1 when memory for its flags runs out.
    int CreateNewStore();
    // Busy-waits while another thread holds the id, in steps growing to 100 ms. Ids below 0 do
    // nothing. False only when memory for the flag runs out.
    bool Lock(int id);
    void UnLock(int id);

    // The caller holds the id's busy flag. error, when given, receives the system's error number
    // of a failure (ENOSPC for a full disk, ENOMEM for an invalid picture).
    bool SetImage(const LImageBuffer& buffer, int id, int* error = nullptr);
    // Makes id's file a second name of holder's, which the caller knows holds buffer's picture:
    // no pixels are copied. Both busy flags are held. False when holder has no file of that
    // size or the file system refuses a link (EXDEV, no links); the caller then writes.
    bool LinkImage(const LImageBuffer& buffer, int holder, int id);
    // The cache folder lives in memory (tmpfs), where a file costs nothing once its last name
    // goes; on a disk a big file kept alive longer gets written out.
    static bool IsInMemory();
    // Any stored format comes back as B8G8R8A8.
    bool RetrieveImage(LImageBuffer& buffer, int id);

    // The file exists and isn't marked for deletion.
    bool IsValid(int id);
    // Lazy: the delete thread removes the file later, unless a write or read comes first.
    void MarkInvalid(int id);

    // Path of the file of an id (LFILE_MAX_PATH bytes); false when the cache folder can't be made.
    static bool MakeCacheFilePath(char* path, int id);

    int iNextId = 0;
    LLockObject lock;
    std::vector<uint8_t> vBusy;
};

extern LQDCacheStore gQDCacheStore;

// A new id holding the picture, or -1; error as for SetImage.
int LQDCacheNewImage(const LImageBuffer& buffer, int* error = nullptr);
bool LQDCacheSaveImage(const LImageBuffer& buffer, int id);
// The same for a picture that holder's file already holds: the id shares that file, or gets a
// copy written from buffer when it can't. holder -1 simply writes.
int LQDCacheNewImageAs(const LImageBuffer& buffer, int holder, int* error = nullptr);
bool LQDCacheSaveImageAs(const LImageBuffer& buffer, int id, int holder);
bool LQDCacheLoadImage(LImageBuffer& buffer, int id);
bool LQDCacheValid(int id);
void LQDCacheInvalidate(int id);
