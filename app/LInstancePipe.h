#pragma once
// One instance per user: the first start listens on a local stream socket, and a second start
// hands its command line to it as one fixed-size message and exits.
//
// The socket is ".spipe.<name>" in $XDG_RUNTIME_DIR/Quendrel (else the user data folder), made
// 0600 in a folder that is 0700. A file lock beside it decides which of two starts at the same
// moment listens; the socket of a crashed instance answers no connection and is replaced.

#include <cstdint>
#include <string>
#include <vector>

#include "foundation/LFile.h"
#include "foundation/LThread.h"
#include "foundation/LThreadRunOnMainThread.h"

constexpr int kLPipeMaxArguments = 128;
constexpr int kLPipeArgumentSize = 260;
constexpr int kLPipeSendTimeoutMs = 5000;
constexpr size_t kLApiResultSize = 8192;

// Native little-endian layout, exactly 33,284 bytes; argument 0 is the program's path.
struct LPipeMessage
{
    int32_t iCount;
    char arArguments[kLPipeMaxArguments][kLPipeArgumentSize];
};
static_assert(sizeof(LPipeMessage) == 33284, "the message has a fixed size");

// Fills a message from a command line: at most 128 arguments; one that doesn't fit its slot is
// left out. Relative paths of existing files become absolute, since the receiver runs elsewhere.
void LPipeMessageFromArguments(LPipeMessage& message, const std::vector<std::string>& arguments);
// False for a message that isn't one: a negative count, or a slot without its terminator among
// the slots counted. A count above 128 is cut to 128.
bool LPipeMessageValidate(LPipeMessage& message);

// The receiver of commands: what a connection's message becomes on the main thread.
class LZORAPIServerHandler
{
public:
    virtual ~LZORAPIServerHandler() = default;
    // 0 on success, negative on failure; result holds the answer, at most 8192 bytes.
    virtual int ExecuteCommand(int count, const char* const* arguments, std::string& result) = 0;
    // A second start without arguments.
    virtual void BringForward() {}
};

class LNamedPipeRef
{
public:
    LNamedPipeRef() = default;
    LNamedPipeRef(const LNamedPipeRef&) = delete;
    LNamedPipeRef& operator=(const LNamedPipeRef&) = delete;
    ~LNamedPipeRef() { Close(); }

    // Where the socket of name lives; false when no folder can be made or the path is too long
    // for a socket.
    static bool MakeFilePath(char* out, const char* name);
    // Connects when a listener answers at the socket; otherwise the descriptor stays -1.
    bool Open(const char* name);
    bool IsOpen() const { return iSocket >= 0; }
    // All bytes within the time, or false.
    bool Send(const void* data, size_t size, int milliseconds);
    void Close();

    int iSocket = -1;
};

// The exclusive right to listen under a name, held for the life of the object (and released by
// the system if the process dies).
class LInstanceLock
{
public:
    LInstanceLock() = default;
    LInstanceLock(const LInstanceLock&) = delete;
    LInstanceLock& operator=(const LInstanceLock&) = delete;
    ~LInstanceLock() { Release(); }
    bool TryAcquire(const char* name);
    void Release();
    bool IsHeld() const { return iFile >= 0; }

private:
    int iFile = -1;
};

class LPipeListener : public LThread
{
public:
    LPipeListener() = default;
    ~LPipeListener() override;

    // Replaces whatever file stands at the socket's path, binds and listens. False when the
    // socket can't be made; nothing listens then.
    bool Start(const char* name);
    // Stops the thread and the connections and removes the socket file.
    void Stop();
    const char* GetPath() const { return szPath; }

    // Takes the accepted descriptor.
    virtual void NewConnection(int socket) = 0;
    void ThreadFunction() override;

protected:
    virtual void StopConnections() {}

private:
    char szPath[LFILE_MAX_PATH] = {};
    int iSocket = -1;
};

// A connection of the listener: reads one message and posts it to the handler on the main thread.
class LMainWindowListenerPipe : public LDetachedThread
{
public:
    LMainWindowListenerPipe(int socket, LZORAPIServerHandler* handler, LThreadRunOnMainThread* runner)
        : iSocket(socket), lpHandler(handler), lpRunner(runner)
    {
    }
    ~LMainWindowListenerPipe() override;
    void ThreadFunction() override;

    // Reads exactly one message within the time; false for a short, oversized or malformed one.
    static bool ReceiveMessage(LThread& thread, int socket, LPipeMessage& message, int milliseconds);

private:
    int iSocket;
    LZORAPIServerHandler* lpHandler;
    LThreadRunOnMainThread* lpRunner;
};

template <class T>
class LPipeListenerWithThreads : public LPipeListener
{
public:
    LPipeListenerWithThreads(LZORAPIServerHandler* handler, LThreadRunOnMainThread* runner)
        : lpHandler(handler), lpRunner(runner)
    {
    }
    ~LPipeListenerWithThreads() override { Stop(); }

    void NewConnection(int socket) override
    {
        threads.StartThread(new T(socket, lpHandler, lpRunner), LThreadPriorityNormal);
    }
    size_t GetConnectionCount() { return threads.GetCount(); }

protected:
    void StopConnections() override { threads.StopThreadsNow(); }

private:
    LZORAPIServerHandler* lpHandler;
    LThreadRunOnMainThread* lpRunner;
    LDetachedThreadsOwner threads;
};

// The second start's side: sends its message within 5000 ms.
class LMainWindowSendThread : public LThread
{
public:
    explicit LMainWindowSendThread(LNamedPipeRef& pipe) : rPipe(pipe) {}
    ~LMainWindowSendThread() override { StopThreadNow(); }
    void ThreadFunction() override;

    LPipeMessage message{};
    bool bSent = false;

private:
    LNamedPipeRef& rPipe;
};

// Runs a message on the main thread: one argument brings the window forward, more go to
// ExecuteCommand without the program's path.
void LPipeDispatchMessage(LZORAPIServerHandler& handler, const LPipeMessage& message);
