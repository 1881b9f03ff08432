#pragma once
// Locks and signals. A signal is a non-blocking pipe: setting writes one byte, and it stays set
// until Reset drains it, so it can be waited on with select beside other descriptors.

#include <pthread.h>

class LLockObject
{
public:
    LLockObject();
    LLockObject(const LLockObject&) = delete;
    LLockObject& operator=(const LLockObject&) = delete;
    ~LLockObject();
    void Lock();
    void Unlock();

private:
    pthread_mutex_t mutex;
};

// Scoped Lock/Unlock.
class LLockObjectGuard
{
public:
    explicit LLockObjectGuard(LLockObject& lock) : lpLock(&lock) { lpLock->Lock(); }
    LLockObjectGuard(const LLockObjectGuard&) = delete;
    LLockObjectGuard& operator=(const LLockObjectGuard&) = delete;
    ~LLockObjectGuard() { lpLock->Unlock(); }

private:
    LLockObject* lpLock;
};

class LSignalObject
{
public:
    LSignalObject();
    LSignalObject(const LSignalObject&) = delete;
    LSignalObject& operator=(const LSignalObject&) = delete;
    ~LSignalObject();

    void Set();
    void Reset();
    bool IsSet() const;
    // 0 when the signal is set within the time, 2 on time-out; a negative time waits forever.
    int Wait(int milliseconds) const;
    int GetReadDescriptor() const { return filedes[0]; }

    int filedes[2];
};

// A copy of a signal's two descriptors; it doesn't own them.
class LSignalObjectRef
{
public:
    LSignalObjectRef() = default;
    explicit LSignalObjectRef(const LSignalObject& so) : filedes{so.filedes[0], so.filedes[1]} {}
    void Set();
    bool IsSet() const;
    int filedes[2] = {-1, -1};
};

// A set of signals for one select.
class LSignalObjectGroup
{
public:
    LSignalObjectGroup();
    void Add(const LSignalObject& so);
    void Clear();
    // Index of the first signal found set (in order of Add), -1 on time-out; a negative time
    // waits forever. An extra descriptor (such as a thread's stop signal) may take part: it
    // reports as -2.
    int Wait(int milliseconds, int extraDescriptor = -1) const;

    int arDescriptors[64];
    int nCount;
    int iHighest;
};
