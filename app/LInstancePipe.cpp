#include "app/LInstancePipe.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
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

// The folder of the socket: the session's runtime folder when there is one, private to the user.
bool PipeFolder(char* out, const char* name)
{
    if (strcmp(name, "quendreld") == 0)
        return LFile::GetSharedDataFolderApp(out);
    const char* runtime = getenv("XDG_RUNTIME_DIR");
    if (runtime && runtime[0] == '/')
    {
        char folder[LFILE_MAX_PATH];
        if (LFile::_MakeFilePath(folder, runtime, "Quendrel", nullptr) && LFile::CreateFolder(folder))
        {
            chmod(folder, 0700);
            snprintf(out, LFILE_MAX_PATH, "%s", folder);
            return true;
        }
    }
    return LFile::GetUserDataFolderApp(out);
}

bool MakeAddress(sockaddr_un& address, const char* path)
{
    memset(&address, 0, sizeof(address));
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof(address.sun_path))
        return false;
    strcpy(address.sun_path, path);
    return true;
}

// Waits until the descriptor is ready for events or the thread is told to stop; false on stop,
// time-out or error.
bool WaitReady(LThread* thread, int socket, short events, int milliseconds)
{
    pollfd fds[2] = {{socket, events, 0}, {thread ? thread->soToStop.GetReadDescriptor() : -1, POLLIN, 0}};
    const int n = thread ? 2 : 1;
    for (;;)
    {
        const int r = poll(fds, nfds_t(n), milliseconds);
        if (r < 0 && errno == EINTR)
            continue;
        if (r <= 0)
            return false;
        if (n == 2 && (fds[1].revents & POLLIN))
            return false;
        return fds[0].revents != 0;
    }
}

class PipeMessageItem : public LThreadRunOnMainThreadData
{
public:
    PipeMessageItem(LZORAPIServerHandler* handler, LPipeMessage* message)
        : lpHandler(handler), lpMessage(message)
    {
    }
    ~PipeMessageItem() override { delete lpMessage; }
    void MainThreadFunction() override { LPipeDispatchMessage(*lpHandler, *lpMessage); }

private:
    LZORAPIServerHandler* lpHandler;
    LPipeMessage* lpMessage;
};
} // namespace

void LPipeMessageFromArguments(LPipeMessage& message, const std::vector<std::string>& arguments)
{
    memset(&message, 0, sizeof(message));
    int count = 0;
    for (const std::string& a : arguments)
    {
        if (count == kLPipeMaxArguments)
            break;
        std::string argument = a;
        // A file named relative to this process's folder means nothing to the receiver.
        if (count > 0 && !argument.empty() && argument[0] != '/' && LFile::TestFileExists(argument.c_str()))
        {
            char absolute[PATH_MAX];
            if (realpath(argument.c_str(), absolute))
                argument = absolute;
        }
        if (argument.size() >= size_t(kLPipeArgumentSize))
            continue;
        memcpy(message.arArguments[count], argument.c_str(), argument.size() + 1);
        ++count;
    }
    message.iCount = count;
}

bool LPipeMessageValidate(LPipeMessage& message)
{
    if (message.iCount < 0)
        return false;
    if (message.iCount > kLPipeMaxArguments)
        message.iCount = kLPipeMaxArguments;
    for (int i = 0; i < message.iCount; ++i)
        if (!memchr(message.arArguments[i], 0, kLPipeArgumentSize))
            return false;
    return true;
}

void LPipeDispatchMessage(LZORAPIServerHandler& handler, const LPipeMessage& message)
{
    const int count = message.iCount > kLPipeMaxArguments ? kLPipeMaxArguments : message.iCount;
    if (count == 1)
    {
        handler.BringForward();
        return;
    }
    if (count < 2)
        return;
    std::vector<const char*> arguments;
    for (int i = 1; i < count; ++i)
        arguments.push_back(message.arArguments[i]);
    std::string result;
    // The sender has gone; the answer stays here.
    handler.ExecuteCommand(count - 1, arguments.data(), result);
}

// ---- LNamedPipeRef

bool LNamedPipeRef::MakeFilePath(char* out, const char* name)
{
    char folder[LFILE_MAX_PATH], file[LFILE_MAX_PATH];
    snprintf(file, sizeof(file), ".spipe.%s", name);
    sockaddr_un address;
    return PipeFolder(folder, name) && LFile::_MakeFilePath(out, folder, file, nullptr) &&
           MakeAddress(address, out);
}

bool LNamedPipeRef::Open(const char* name)
{
    Close();
    char path[LFILE_MAX_PATH];
    sockaddr_un address;
    if (!MakeFilePath(path, name) || !MakeAddress(address, path) || !LFile::TestFileExists(path))
        return false;
    const int s = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (s < 0)
        return false;
    // A socket left by a crashed instance refuses the connection: then nobody listens.
    if (connect(s, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0)
    {
        if (errno != EINPROGRESS || !WaitReady(nullptr, s, POLLOUT, 1000))
        {
            close(s);
            return false;
        }
        int error = 0;
        socklen_t length = sizeof(error);
        if (getsockopt(s, SOL_SOCKET, SO_ERROR, &error, &length) != 0 || error != 0)
        {
            close(s);
            return false;
        }
    }
    iSocket = s;
    return true;
}

bool LNamedPipeRef::Send(const void* data, size_t size, int milliseconds)
{
    if (iSocket < 0)
        return false;
    const int64_t end = NowMs() + milliseconds;
    const char* p = static_cast<const char*>(data);
    while (size > 0)
    {
        const ssize_t n = send(iSocket, p, size, MSG_NOSIGNAL);
        if (n > 0)
        {
            p += n;
            size -= size_t(n);
            continue;
        }
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
        {
            const int64_t left = end - NowMs();
            if (left <= 0 || !WaitReady(nullptr, iSocket, POLLOUT, int(left)))
                return false;
            continue;
        }
        return false;
    }
    return true;
}

void LNamedPipeRef::Close()
{
    if (iSocket >= 0)
        close(iSocket);
    iSocket = -1;
}

// ---- LInstanceLock

bool LInstanceLock::TryAcquire(const char* name)
{
    if (iFile >= 0)
        return true;
    char path[LFILE_MAX_PATH], lock[LFILE_MAX_PATH];
    if (!LNamedPipeRef::MakeFilePath(path, name) ||
        snprintf(lock, sizeof(lock), "%s.lock", path) >= int(sizeof(lock)))
        return false;
    const int f = open(lock, O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (f < 0)
        return false;
    if (flock(f, LOCK_EX | LOCK_NB) != 0)
    {
        close(f);
        return false;
    }
    iFile = f;
    return true;
}

void LInstanceLock::Release()
{
    if (iFile >= 0)
        close(iFile);
    iFile = -1;
}

// ---- LPipeListener

LPipeListener::~LPipeListener()
{
    Stop();
}

bool LPipeListener::Start(const char* name)
{
    Stop();
    sockaddr_un address;
    if (!LNamedPipeRef::MakeFilePath(szPath, name) || !MakeAddress(address, szPath))
        return false;
    // Whatever stands there belongs to an instance that no longer answers.
    unlink(szPath);
    const int s = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (s < 0)
        return false;
    if (bind(s, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        chmod(szPath, 0600) != 0 || listen(s, 5) != 0)
    {
        close(s);
        unlink(szPath);
        return false;
    }
    iSocket = s;
    if (!LThread::Start(LThreadPriorityNormal))
    {
        close(s);
        iSocket = -1;
        unlink(szPath);
        return false;
    }
    return true;
}

void LPipeListener::Stop()
{
    StopThreadNow();
    StopConnections();
    if (iSocket >= 0)
    {
        close(iSocket);
        iSocket = -1;
        unlink(szPath);
    }
}

void LPipeListener::ThreadFunction()
{
    while (!IsToStop())
    {
        if (!WaitReady(this, iSocket, POLLIN, -1))
        {
            if (IsToStop())
                break;
            continue;
        }
        const int c = accept4(iSocket, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (c >= 0)
            NewConnection(c);
    }
}

// ---- connections

LMainWindowListenerPipe::~LMainWindowListenerPipe()
{
    StopThreadNow();
    if (iSocket >= 0)
        close(iSocket);
}

bool LMainWindowListenerPipe::ReceiveMessage(LThread& thread, int socket, LPipeMessage& message,
                                             int milliseconds)
{
    const int64_t end = NowMs() + milliseconds;
    char* p = reinterpret_cast<char*>(&message);
    size_t got = 0;
    while (got < sizeof(message))
    {
        const ssize_t n = recv(socket, p + got, sizeof(message) - got, 0);
        if (n > 0)
        {
            got += size_t(n);
            continue;
        }
        if (n == 0)
            return false; // short
        if (errno == EINTR)
            continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK)
            return false;
        const int64_t left = end - NowMs();
        if (left <= 0 || !WaitReady(&thread, socket, POLLIN, int(left)))
            return false;
    }
    // More than a message is not a message of ours. A sender that keeps the connection open is
    // given a moment to show whether more comes.
    char extra;
    for (;;)
    {
        const ssize_t n = recv(socket, &extra, 1, 0);
        if (n > 0)
            return false;
        if (n == 0)
            break;
        if (errno == EINTR)
            continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK)
            break;
        if (!WaitReady(&thread, socket, POLLIN, 200))
            break;
    }
    return LPipeMessageValidate(message);
}

void LMainWindowListenerPipe::ThreadFunction()
{
    auto* message = new (std::nothrow) LPipeMessage;
    if (!message)
        return;
    if (!ReceiveMessage(*this, iSocket, *message, kLPipeSendTimeoutMs) || !lpHandler || !lpRunner)
    {
        delete message;
        return;
    }
    lpRunner->RunOnMainThread(new PipeMessageItem(lpHandler, message));
}

// ---- sending

void LMainWindowSendThread::ThreadFunction()
{
    bSent = rPipe.Send(&message, sizeof(message), kLPipeSendTimeoutMs);
}
