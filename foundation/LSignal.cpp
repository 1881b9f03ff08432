#include "foundation/LSignal.h"

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <time.h>
#include <unistd.h>

// poll rather than select: select can't take descriptors past FD_SETSIZE, which a busy process
// with many open files and sockets reaches.

LLockObject::LLockObject()
{
    pthread_mutex_init(&mutex, nullptr);
}

LLockObject::~LLockObject()
{
    pthread_mutex_destroy(&mutex);
}

void LLockObject::Lock()
{
    pthread_mutex_lock(&mutex);
}

void LLockObject::Unlock()
{
    pthread_mutex_unlock(&mutex);
}

namespace
{
long long NowMilliseconds()
{
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
}

void WriteOneByte(int fd)
{
    if (fd < 0)
        return;
    const char byte = 1;
    // A full pipe (EAGAIN) is a signal that is set already.
    while (write(fd, &byte, 1) < 0 && errno == EINTR)
    {
    }
}

bool IsReadable(int fd)
{
    return fd >= 0 && LWaitDescriptorsReadable(&fd, 1, 0) == 0;
}
} // namespace

int LWaitDescriptorsReadable(const int* descriptors, int count, int milliseconds)
{
    pollfd fds[LSignalObjectGroup::nMaxCount + 1];
    if (count > LSignalObjectGroup::nMaxCount + 1)
        count = LSignalObjectGroup::nMaxCount + 1;
    for (int i = 0; i < count; ++i)
    {
        fds[i].fd = descriptors[i]; // a negative descriptor is skipped by poll
        fds[i].events = POLLIN;
        fds[i].revents = 0;
    }
    const long long deadline = milliseconds >= 0 ? NowMilliseconds() + milliseconds : 0;
    int timeout = milliseconds;
    for (;;)
    {
        int n = poll(fds, (nfds_t)count, timeout);
        if (n > 0)
        {
            for (int i = 0; i < count; ++i)
                if (fds[i].revents & (POLLIN | POLLHUP | POLLERR))
                    return i;
            return -1;
        }
        if (n == 0)
            return -1;
        if (errno != EINTR)
            return -1;
        if (milliseconds >= 0)
        {
            long long left = deadline - NowMilliseconds();
            if (left <= 0)
                return -1;
            timeout = (int)left;
        }
    }
}

LSignalObject::LSignalObject()
{
    if (pipe2(filedes, O_NONBLOCK | O_CLOEXEC) != 0)
        filedes[0] = filedes[1] = -1;
}

LSignalObject::~LSignalObject()
{
    if (filedes[0] >= 0)
        close(filedes[0]);
    if (filedes[1] >= 0)
        close(filedes[1]);
}

void LSignalObject::Set()
{
    WriteOneByte(filedes[1]);
}

void LSignalObject::Reset()
{
    if (filedes[0] < 0)
        return;
    char buffer[256];
    for (;;)
    {
        ssize_t n = read(filedes[0], buffer, sizeof(buffer));
        if (n > 0)
            continue;
        if (n < 0 && errno == EINTR)
            continue;
        break; // EAGAIN: drained
    }
}

bool LSignalObject::IsSet() const
{
    return IsReadable(filedes[0]);
}

int LSignalObject::Wait(int milliseconds) const
{
    return LWaitDescriptorsReadable(&filedes[0], 1, milliseconds) == 0 ? 0 : 2;
}

void LSignalObjectRef::Set()
{
    WriteOneByte(filedes[1]);
}

bool LSignalObjectRef::IsSet() const
{
    return IsReadable(filedes[0]);
}

LSignalObjectGroup::LSignalObjectGroup()
{
    Clear();
}

bool LSignalObjectGroup::Add(const LSignalObject& so)
{
    if (nCount >= nMaxCount)
        return false;
    arDescriptors[nCount++] = so.filedes[0];
    if (so.filedes[0] > iHighest)
        iHighest = so.filedes[0];
    return true;
}

void LSignalObjectGroup::Clear()
{
    nCount = 0;
    iHighest = -1;
}

int LSignalObjectGroup::Wait(int milliseconds, int extraDescriptor) const
{
    int fds[nMaxCount + 1];
    for (int i = 0; i < nCount; ++i)
        fds[i] = arDescriptors[i];
    fds[nCount] = extraDescriptor;
    int i = LWaitDescriptorsReadable(fds, nCount + 1, milliseconds);
    if (i < 0)
        return -1;
    return i < nCount ? i : -2;
}
