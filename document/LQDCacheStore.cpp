#include "document/LQDCacheStore.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <utility>

#include "document/DeleteFileThread.h"
#include "document/QDCacheFolder.h"
#include "document/QDFolders.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

// The store is defined before the delete thread, so it outlives the thread's final clean-up.
LQDCacheStore gQDCacheStore;
DeleteFileThread deleteThread;

static constexpr size_t kHeaderSize = sizeof(LImageFormat);

// Grows a vector of flags with zeros; false, leaving it as it was, when memory runs out.
static bool GrowFlags(std::vector<uint8_t>& flags, size_t needed, size_t size)
{
    if (flags.size() >= needed)
        return true;
    try
    {
        flags.resize(size > needed ? size : needed, 0);
    }
    catch (...)
    {
        return false;
    }
    return true;
}

LQDCacheStore::LQDCacheStore()
{
    vBusy.reserve(10);
}

bool LQDCacheStore::MakeCacheFilePath(char* path, int id)
{
    char folder[LFILE_MAX_PATH];
    if (!QDGetCacheFolder(folder))
        return false;
    int n = snprintf(path, LFILE_MAX_PATH, "%s/%i.dat", folder, id);
    return n > 0 && size_t(n) < LFILE_MAX_PATH;
}

int LQDCacheStore::CreateNewStore()
{
    int id, next;
    {
        LLockObjectGuard guard(lock);
        if (!GrowFlags(vBusy, size_t(iNextId) + 2, size_t(iNextId + 1) * 2))
            return -1;
        id = iNextId++;
        next = iNextId;
        vBusy[size_t(id)] = 0;
    }
    if (!deleteThread.Reserve(id, size_t(next) * 2))
        return -1;
    // A file of this name can only be a leftover of an earlier run.
    char path[LFILE_MAX_PATH];
    if (MakeCacheFilePath(path, id))
        unlink(path);
    return id;
}

bool LQDCacheStore::Lock(int id)
{
    if (id < 0)
        return true;
    // The delete thread holds a flag only for one unlink, so the first retries come quickly;
    // a long hold (a big file being written) backs off to 100 ms steps.
    useconds_t pause = 1000;
    for (;;)
    {
        {
            LLockObjectGuard guard(lock);
            if (!GrowFlags(vBusy, size_t(id) + 1, size_t(id + 1) * 2))
                return false;
            if (!vBusy[size_t(id)])
            {
                vBusy[size_t(id)] = 1;
                return true;
            }
        }
        usleep(pause);
        if (pause < 100 * 1000)
            pause = pause * 2 > 100 * 1000 ? 100 * 1000 : pause * 2;
    }
}

void LQDCacheStore::UnLock(int id)
{
    if (id < 0)
        return;
    LLockObjectGuard guard(lock);
    if (size_t(id) < vBusy.size())
        vBusy[size_t(id)] = 0;
}

// The buffer's data as it lies in memory, except that the padding behind each row's pixels is
// written as zeros: nothing ever set it, and what a file holds should never be left to chance.
static bool WritePixels(LOutputStream<LOutputStreamFile>& file, const LImageBuffer& buffer)
{
    const LImageFormat& f = buffer.GetFormat();
    const size_t size = f.CalculateBufferSize();
    const size_t row = f.nWidthBytes,
                 pixels = (size_t(LGetPixelFormatBits(f.pf)) * size_t(f.iWidth) + 7) >> 3;
    if (LIsPlanarPixelFormat(f.pf) || pixels >= row || size != row * size_t(f.iHeight))
        return file.Write(buffer.GetData(), size);
    static const uint8_t zeros[16] = {};
    for (int y = 0; y < f.iHeight; ++y)
        if (!file.Write(buffer.GetData() + size_t(y) * row, pixels) || !file.Write(zeros, row - pixels))
            return false;
    return true;
}

bool LQDCacheStore::SetImage(const LImageBuffer& buffer, int id, int* error)
{
    int failure = 0;
    deleteThread.DontDeleteFile(id);
    char path[LFILE_MAX_PATH];
    LOutputStream<LOutputStreamFile> file;
    bool ok = false;
    if (id < 0)
        failure = EINVAL;
    else if (!buffer.IsValid())
        failure = ENOMEM; // what an invalid buffer means: its allocation failed
    else if (!MakeCacheFilePath(path, id))
        failure = errno ? errno : ENOENT;
    // A fresh file, never a rewrite in place: another id may share this one's (LinkImage).
    else if (unlink(path) != 0 && errno != ENOENT)
        failure = errno;
    else if (!file.Open(path))
        failure = errno;
    else
    {
        ok = file.Write(&buffer.GetFormat(), kHeaderSize) && WritePixels(file, buffer);
        ok = file.Close() && ok;
        if (!ok)
            failure = file.GetError();
    }
    if (!ok && id >= 0)
        MarkInvalid(id);
    if (error)
        *error = ok ? 0 : (failure ? failure : EIO);
    return ok;
}

bool LQDCacheStore::RetrieveImage(LImageBuffer& buffer, int id)
{
    deleteThread.DontDeleteFile(id);
    if (id < 0)
        return false;
    char path[LFILE_MAX_PATH];
    if (!MakeCacheFilePath(path, id))
        return false;
    LInputStream<LInputStreamFile> file;
    if (!file.Open(path))
        return false;
    LImageFormat format;
    bool ok = file.Read(&format, kHeaderSize);
    // The header is our own, but the file is on disk: a damaged one must not crash.
    if (ok)
    {
        format.iBufferEncoding = 0;
        // The file must hold exactly the pixels the header promises before we allocate for them.
        uint64_t size = format.IsValid() ? format.CalculateBufferSize() : 0;
        ok = size != 0 && uint64_t(file.GetSize64()) == kHeaderSize + size &&
             buffer.AllocateNewBuffer(format) && file.Read(buffer.GetData(), size_t(size));
    }
    file.Close();
    if (!ok)
    {
        buffer.Destroy();
        MarkInvalid(id);
        return false;
    }
    if (format.pf != B8G8R8A8)
    {
        LImageBuffer converted;
        if (!LImage::New(converted, format.iWidth, format.iHeight, B8G8R8A8))
            return false;
        converted.imf.bUpsideDown = format.bUpsideDown;
        LImageConstIterator in(buffer);
        LImageIterator out(converted);
        for (; !in.IsEnd(); in.Next(), out.Next())
            out.Write(in.Read());
        buffer.Assign(converted);
    }
    return true;
}

bool LQDCacheStore::LinkImage(const LImageBuffer& buffer, int holder, int id)
{
    if (holder < 0 || id < 0 || holder == id || !buffer.IsValid())
        return false;
    char from[LFILE_MAX_PATH], to[LFILE_MAX_PATH];
    if (!MakeCacheFilePath(from, holder) || !MakeCacheFilePath(to, id))
        return false;
    // The caller's word is checked as far as it is cheap: a file of another size is another
    // picture.
    struct stat st;
    if (stat(from, &st) != 0 || !S_ISREG(st.st_mode) ||
        uint64_t(st.st_size) != kHeaderSize + uint64_t(buffer.GetFormat().CalculateBufferSize()))
        return false;
    deleteThread.DontDeleteFile(id);
    if (unlink(to) != 0 && errno != ENOENT)
        return false;
    return link(from, to) == 0;
}

bool LQDCacheStore::IsInMemory()
{
    char folder[LFILE_MAX_PATH];
    struct statfs fs;
    return QDGetCacheFolder(folder) && statfs(folder, &fs) == 0 &&
           (fs.f_type == TMPFS_MAGIC || fs.f_type == RAMFS_MAGIC);
}

bool LQDCacheStore::IsValid(int id)
{
    if (id < 0)
        return false;
    char path[LFILE_MAX_PATH];
    if (!MakeCacheFilePath(path, id) || !Lock(id))
        return false;
    struct stat st;
    bool exists = stat(path, &st) == 0 && S_ISREG(st.st_mode);
    UnLock(id);
    return exists && !deleteThread.IsFileMarkedForDeletion(id);
}

void LQDCacheStore::MarkInvalid(int id)
{
    deleteThread.DeleteFile(id);
}

int LQDCacheNewImage(const LImageBuffer& buffer, int* error)
{
    int id = gQDCacheStore.CreateNewStore();
    if (id < 0 || !gQDCacheStore.Lock(id))
    {
        if (error)
            *error = ENOMEM;
        return -1;
    }
    bool ok = gQDCacheStore.SetImage(buffer, id, error);
    gQDCacheStore.UnLock(id);
    if (ok)
        return id;
    gQDCacheStore.MarkInvalid(id);
    return -1;
}

bool LQDCacheSaveImage(const LImageBuffer& buffer, int id)
{
    if (id < 0 || !gQDCacheStore.Lock(id))
        return false;
    bool ok = gQDCacheStore.SetImage(buffer, id);
    gQDCacheStore.UnLock(id);
    return ok;
}

// Both flags, the lower id first, so two callers can't wait on each other.
static bool LockPair(int a, int b)
{
    if (a > b)
        std::swap(a, b);
    if (!gQDCacheStore.Lock(a))
        return false;
    if (a == b || gQDCacheStore.Lock(b))
        return true;
    gQDCacheStore.UnLock(a);
    return false;
}

static void UnLockPair(int a, int b)
{
    gQDCacheStore.UnLock(a);
    if (b != a)
        gQDCacheStore.UnLock(b);
}

bool LQDCacheSaveImageAs(const LImageBuffer& buffer, int id, int holder)
{
    if (holder < 0 || holder == id)
        return LQDCacheSaveImage(buffer, id);
    if (id < 0 || !LockPair(id, holder))
        return false;
    bool ok = gQDCacheStore.LinkImage(buffer, holder, id) || gQDCacheStore.SetImage(buffer, id);
    UnLockPair(id, holder);
    return ok;
}

int LQDCacheNewImageAs(const LImageBuffer& buffer, int holder, int* error)
{
    if (holder < 0)
        return LQDCacheNewImage(buffer, error);
    int id = gQDCacheStore.CreateNewStore();
    if (id < 0 || !LockPair(id, holder))
    {
        if (error)
            *error = ENOMEM;
        return -1;
    }
    bool ok = gQDCacheStore.LinkImage(buffer, holder, id);
    if (ok && error)
        *error = 0;
    ok = ok || gQDCacheStore.SetImage(buffer, id, error);
    UnLockPair(id, holder);
    if (ok)
        return id;
    gQDCacheStore.MarkInvalid(id);
    return -1;
}

bool LQDCacheLoadImage(LImageBuffer& buffer, int id)
{
    if (id < 0 || !gQDCacheStore.Lock(id))
        return false;
    bool ok = gQDCacheStore.RetrieveImage(buffer, id);
    gQDCacheStore.UnLock(id);
    return ok;
}

bool LQDCacheValid(int id)
{
    return gQDCacheStore.IsValid(id);
}

void LQDCacheInvalidate(int id)
{
    gQDCacheStore.MarkInvalid(id);
}

// ---- the delete thread

DeleteFileThread::~DeleteFileThread()
{
    StopThreadNow();
}

bool DeleteFileThread::Reserve(int id, size_t size)
{
    if (id < 0)
        return true;
    LLockObjectGuard guard(lock);
    if (!GrowFlags(vMarks, size_t(id) + 1, size))
        return false;
    vMarks[size_t(id)] = 0;
    return true;
}

void DeleteFileThread::DeleteFile(int id)
{
    if (id < 0)
        return;
    {
        LLockObjectGuard guard(lock);
        // CreateNewStore reserved the mark of every id it handed out; this only serves others.
        if (!GrowFlags(vMarks, size_t(id) + 1, size_t(id + 1) * 2))
            return;
        vMarks[size_t(id)] = 1;
    }
    soWake.Set();
}

void DeleteFileThread::DontDeleteFile(int id)
{
    if (id < 0)
        return;
    LLockObjectGuard guard(lock);
    if (size_t(id) < vMarks.size())
        vMarks[size_t(id)] = 0;
}

bool DeleteFileThread::IsFileMarkedForDeletion(int id)
{
    if (id < 0)
        return false;
    LLockObjectGuard guard(lock);
    return size_t(id) < vMarks.size() && vMarks[size_t(id)];
}

void DeleteFileThread::CleanupCacheFolder()
{
    gQDCacheFolder.RemoveOwnFiles();
}

bool DeleteFileThread::StartThread(int priority)
{
    soCleanedUp.Reset();
    if (!Start(priority))
        return false;
    soCleanedUp.Wait(10000);
    return true;
}

void DeleteFileThread::ThreadFunction()
{
    QDCacheFolder::RemoveAbandoned();
    CleanupCacheFolder();
    soCleanedUp.Set();
    for (;;)
    {
        if (ProcessWaitSignal(soWake, LProcessWaitForever) == 1)
            break;
        soWake.Reset();
        size_t count;
        {
            LLockObjectGuard guard(lock);
            count = vMarks.size();
        }
        for (size_t id = 0; id < count && !IsToStop(); ++id)
        {
            if (!IsFileMarkedForDeletion(int(id)) || !gQDCacheStore.Lock(int(id)))
                continue;
            // A write may have cancelled the mark while we waited for the file: then it stays.
            // The mark is cleared before the flag goes: cleared later, it could swallow a new
            // mark made after a new write, and leave a stale picture looking valid.
            if (IsFileMarkedForDeletion(int(id)))
            {
                char path[LFILE_MAX_PATH];
                if (LQDCacheStore::MakeCacheFilePath(path, int(id)))
                    unlink(path);
                DontDeleteFile(int(id));
            }
            gQDCacheStore.UnLock(int(id));
        }
    }
    CleanupCacheFolder();
}
