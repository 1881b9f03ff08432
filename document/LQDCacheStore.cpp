#include "document/LQDCacheStore.h"

#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include "document/DeleteFileThread.h"
#include "document/QDFolders.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

// The store is defined before the delete thread, so it outlives the thread's final clean-up.
LQDCacheStore gQDCacheStore;
DeleteFileThread deleteThread;

static constexpr size_t kHeaderSize = sizeof(LImageFormat);

LQDCacheStore::LQDCacheStore()
{
    vBusy.reserve(10);
}

bool LQDCacheStore::MakeCacheFilePath(char* path, int id)
{
    char folder[260];
    if (!QDGetCacheFolder(folder))
        return false;
    int n = snprintf(path, 260, "%s/%i.dat", folder, id);
    return n > 0 && n < 260;
}

int LQDCacheStore::CreateNewStore()
{
    int id;
    {
        LLockObjectGuard guard(lock);
        id = iNextId++;
        if (vBusy.size() <= size_t(iNextId))
            vBusy.resize(size_t(id + 1) * 2, 0);
        vBusy[size_t(id)] = 0;
    }
    deleteThread.Reserve(id, size_t(iNextId) * 2);
    // A file of this name can only be a leftover of an earlier run.
    char path[260];
    if (MakeCacheFilePath(path, id))
        unlink(path);
    return id;
}

void LQDCacheStore::Lock(int id)
{
    if (id < 0)
        return;
    // The delete thread holds a flag only for one unlink, so the first retries come quickly;
    // a long hold (a big file being written) backs off to 100 ms steps.
    useconds_t pause = 1000;
    for (;;)
    {
        {
            LLockObjectGuard guard(lock);
            if (vBusy.size() <= size_t(id))
                vBusy.resize(size_t(id + 1) * 2, 0);
            if (!vBusy[size_t(id)])
            {
                vBusy[size_t(id)] = 1;
                return;
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

bool LQDCacheStore::SetImage(const LImageBuffer& buffer, int id)
{
    deleteThread.DontDeleteFile(id);
    if (id < 0 || !buffer.IsValid())
        return false;
    char path[260];
    if (!MakeCacheFilePath(path, id))
        return false;
    LOutputStream<LOutputStreamFile> file;
    if (!file.Open(path))
    {
        MarkInvalid(id);
        return false;
    }
    size_t size = buffer.GetFormat().CalculateBufferSize();
    bool ok = file.Write(&buffer.GetFormat(), kHeaderSize) && file.Write(buffer.GetData(), size);
    ok = file.Close() && ok;
    if (!ok)
        MarkInvalid(id);
    return ok;
}

bool LQDCacheStore::RetrieveImage(LImageBuffer& buffer, int id)
{
    deleteThread.DontDeleteFile(id);
    if (id < 0)
        return false;
    char path[260];
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

bool LQDCacheStore::IsValid(int id)
{
    if (id < 0)
        return false;
    char path[260];
    if (!MakeCacheFilePath(path, id))
        return false;
    Lock(id);
    struct stat st;
    bool exists = stat(path, &st) == 0 && S_ISREG(st.st_mode);
    UnLock(id);
    return exists && !deleteThread.IsFileMarkedForDeletion(id);
}

void LQDCacheStore::MarkInvalid(int id)
{
    deleteThread.DeleteFile(id);
}

int LQDCacheNewImage(const LImageBuffer& buffer)
{
    int id = gQDCacheStore.CreateNewStore();
    gQDCacheStore.Lock(id);
    bool ok = gQDCacheStore.SetImage(buffer, id);
    gQDCacheStore.UnLock(id);
    if (ok)
        return id;
    gQDCacheStore.MarkInvalid(id);
    return -1;
}

bool LQDCacheSaveImage(const LImageBuffer& buffer, int id)
{
    if (id < 0)
        return false;
    gQDCacheStore.Lock(id);
    bool ok = gQDCacheStore.SetImage(buffer, id);
    gQDCacheStore.UnLock(id);
    return ok;
}

bool LQDCacheLoadImage(LImageBuffer& buffer, int id)
{
    if (id < 0)
        return false;
    gQDCacheStore.Lock(id);
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

void DeleteFileThread::Reserve(int id, size_t size)
{
    if (id < 0)
        return;
    LLockObjectGuard guard(lock);
    if (vMarks.size() <= size_t(id))
        vMarks.resize(size > size_t(id) ? size : size_t(id) + 1, 0);
    vMarks[size_t(id)] = 0;
}

void DeleteFileThread::DeleteFile(int id)
{
    if (id < 0)
        return;
    {
        LLockObjectGuard guard(lock);
        if (vMarks.size() <= size_t(id))
            vMarks.resize(size_t(id + 1) * 2, 0);
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
    char folder[260];
    if (!QDGetCacheFolder(folder))
        return;
    DIR* dir = opendir(folder);
    if (!dir)
        return;
    while (dirent* entry = readdir(dir))
    {
        size_t len = strlen(entry->d_name);
        if (len < 4 || strcasecmp(entry->d_name + len - 4, ".dat") != 0)
            continue;
        char path[520];
        snprintf(path, sizeof(path), "%s/%s", folder, entry->d_name);
        unlink(path);
    }
    closedir(dir);
}

void DeleteFileThread::StartThread(int priority)
{
    soCleanedUp.Reset();
    Start(priority);
    soCleanedUp.Wait(10000);
}

void DeleteFileThread::ThreadFunction()
{
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
            if (!IsFileMarkedForDeletion(int(id)))
                continue;
            gQDCacheStore.Lock(int(id));
            // A write may have cancelled the mark while we waited for the file: then it stays.
            bool stillMarked = IsFileMarkedForDeletion(int(id));
            char path[260];
            if (stillMarked && LQDCacheStore::MakeCacheFilePath(path, int(id)))
                unlink(path);
            gQDCacheStore.UnLock(int(id));
            if (stillMarked)
                DontDeleteFile(int(id));
        }
    }
    CleanupCacheFolder();
}
