#include "foundation/LStream.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace
{
int64_t NowMs()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return int64_t(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

// Writes all of size, retrying short writes and interrupted calls.
bool WriteAll(int file, const uint8_t* data, size_t size)
{
    while (size > 0)
    {
        ssize_t n = ::write(file, data, size);
        if (n < 0)
        {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= size_t(n);
    }
    return true;
}
} // namespace

bool LFileLockWait(int file, LFileLockMode lock, int timeoutMs)
{
    if (lock == LFileLockNone)
        return true;
    const int operation = (lock == LFileLockExclusive ? LOCK_EX : LOCK_SH) | LOCK_NB;
    const int64_t deadline = NowMs() + (timeoutMs < 0 ? 0 : timeoutMs);
    for (;;)
    {
        if (flock(file, operation) == 0)
            return true;
        if (errno != EWOULDBLOCK && errno != EINTR)
            return false;
        // Past the deadline, not on it: the clock counts whole milliseconds, so the wait is never short.
        if (timeoutMs >= 0 && NowMs() > deadline)
            return false;
        timespec pause = {0, 10 * 1000000};
        nanosleep(&pause, nullptr);
    }
}

// ---- LInputStreamFile

LInputStreamFile::~LInputStreamFile()
{
    Close();
}

bool LInputStreamFile::Open(const char* path, LFileLockMode lock, int timeoutMs)
{
    Close();
    int file = ::open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    struct stat st;
    // A folder opens but can't be read; refuse it here so callers see one failure point.
    if (fstat(file, &st) != 0 || S_ISDIR(st.st_mode) || !LFileLockWait(file, lock, timeoutMs))
    {
        ::close(file);
        return false;
    }
    iFile = file;
    iFileSize = S_ISREG(st.st_mode) ? int64_t(st.st_size) : 0;
    iBufferFilePos = 0;
    nBufferFill = 0;
    nBufferPos = 0;
    return true;
}

void LInputStreamFile::Close()
{
    if (iFile >= 0)
        ::close(iFile); // closing drops the lock
    iFile = -1;
    iFileSize = 0;
    iBufferFilePos = 0;
    nBufferFill = 0;
    nBufferPos = 0;
}

bool LInputStreamFile::FillBuffer(int64_t position)
{
    iBufferFilePos = position;
    nBufferPos = 0;
    nBufferFill = 0;
    while (nBufferFill < kBufferSize)
    {
        ssize_t n = ::pread(iFile, arBuffer + nBufferFill, kBufferSize - nBufferFill,
                            off_t(position + int64_t(nBufferFill)));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        nBufferFill += size_t(n);
    }
    return nBufferFill > 0;
}

size_t LInputStreamFile::ReadRaw(void* data, size_t size)
{
    if (iFile < 0)
        return 0;
    uint8_t* out = static_cast<uint8_t*>(data);
    size_t done = 0;
    while (done < size)
    {
        if (nBufferPos < nBufferFill)
        {
            size_t n = nBufferFill - nBufferPos;
            if (n > size - done)
                n = size - done;
            memcpy(out + done, arBuffer + nBufferPos, n);
            nBufferPos += n;
            done += n;
            continue;
        }
        const int64_t position = iBufferFilePos + int64_t(nBufferPos);
        if (size - done >= kBufferSize)
        {
            // Large reads go straight to the caller's memory.
            ssize_t n = ::pread(iFile, out + done, size - done, off_t(position));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0)
                break;
            done += size_t(n);
            iBufferFilePos = position + n;
            nBufferFill = 0;
            nBufferPos = 0;
            continue;
        }
        if (!FillBuffer(position))
            break;
    }
    return done;
}

int64_t LInputStreamFile::Tell64() const
{
    return iBufferFilePos + int64_t(nBufferPos);
}

bool LInputStreamFile::Seek64(int64_t position)
{
    if (iFile < 0 || position < 0 || position > iFileSize)
        return false;
    if (position >= iBufferFilePos && position <= iBufferFilePos + int64_t(nBufferFill))
    {
        nBufferPos = size_t(position - iBufferFilePos);
        return true;
    }
    iBufferFilePos = position;
    nBufferFill = 0;
    nBufferPos = 0;
    return true;
}

bool LInputStreamFile::SeekOffset64(int64_t offset)
{
    return Seek64(Tell64() + offset);
}

int64_t LInputStreamFile::GetSize64() const
{
    return iFileSize;
}

// ---- LInputStreamBuffer

size_t LInputStreamBuffer::ReadRaw(void* data, size_t size)
{
    size_t n = nSize - nPos;
    if (n > size)
        n = size;
    if (n > 0)
        memcpy(data, lpData + nPos, n);
    nPos += n;
    return n;
}

bool LInputStreamBuffer::Seek64(int64_t position)
{
    if (position < 0 || uint64_t(position) > nSize)
        return false;
    nPos = size_t(position);
    return true;
}

// ---- LOutputStreamFile

LOutputStreamFile::~LOutputStreamFile()
{
    Close();
}

bool LOutputStreamFile::Open(const char* path, LFileLockMode lock, int timeoutMs)
{
    Close();
    // Not O_TRUNC: another holder of the lock may still be reading; truncate once it is ours.
    int file = ::open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0)
        return false;
    struct stat st;
    if (fstat(file, &st) != 0 || !LFileLockWait(file, lock, timeoutMs) ||
        (S_ISREG(st.st_mode) && ftruncate(file, 0) != 0))
    {
        ::close(file);
        return false;
    }
    // The buffer is allocated once here, so writing never has to grow it.
    uint8_t* buffer = static_cast<uint8_t*>(malloc(kBufferSize));
    if (!buffer)
    {
        ::close(file);
        return false;
    }
    iFile = file;
    bFailed = false;
    iError = 0;
    nBufferFill = 0;
    lpBuffer = buffer;
    return true;
}

void LOutputStreamFile::Fail(int error)
{
    if (!bFailed)
        iError = error ? error : EIO;
    bFailed = true;
}

bool LOutputStreamFile::Sync()
{
    if (!Flush())
        return false;
    if (fsync(iFile) != 0)
        Fail(errno);
    return !bFailed;
}

bool LOutputStreamFile::Flush()
{
    if (iFile < 0)
        return false;
    if (nBufferFill > 0)
    {
        if (!WriteAll(iFile, lpBuffer, nBufferFill))
            Fail(errno);
        nBufferFill = 0;
    }
    return !bFailed;
}

bool LOutputStreamFile::Close()
{
    if (iFile < 0)
        return false;
    bool ok = Flush();
    if (::close(iFile) != 0)
    {
        Fail(errno);
        ok = false;
    }
    iFile = -1;
    free(lpBuffer);
    lpBuffer = nullptr;
    return ok;
}

bool LOutputStreamFile::WriteRaw(const void* data, size_t size)
{
    if (iFile < 0 || bFailed)
        return false;
    const uint8_t* in = static_cast<const uint8_t*>(data);
    if (nBufferFill + size > kBufferSize)
    {
        if (!Flush())
            return false;
        if (size >= kBufferSize)
        {
            if (!WriteAll(iFile, in, size))
                Fail(errno);
            return !bFailed;
        }
    }
    memcpy(lpBuffer + nBufferFill, in, size);
    nBufferFill += size;
    return true;
}

int64_t LOutputStreamFile::Tell64() const
{
    if (iFile < 0)
        return -1;
    off_t position = lseek(iFile, 0, SEEK_CUR);
    return position < 0 ? -1 : int64_t(position) + int64_t(nBufferFill);
}

bool LOutputStreamFile::Seek64(int64_t position)
{
    if (position < 0 || !Flush())
        return false;
    if (lseek(iFile, off_t(position), SEEK_SET) < 0)
    {
        Fail(errno);
        return false;
    }
    return true;
}

// ---- LOutputStreamByteArray

bool LOutputStreamByteArray::WriteRaw(const void* data, size_t size)
{
    if (size == 0)
        return true;
    if (size > SIZE_MAX - nPos)
        return false;
    if (nPos + size > arData.size())
    {
        // Growth that runs out of memory is a failed write, like a full disk for a file.
        try
        {
            arData.resize(nPos + size); // fills a gap left by a seek past the end with zeros
        }
        catch (...)
        {
            return false;
        }
    }
    memcpy(arData.data() + nPos, data, size);
    nPos += size;
    return true;
}

bool LOutputStreamByteArray::Seek64(int64_t position)
{
    if (position < 0)
        return false;
    nPos = size_t(position);
    return true;
}
