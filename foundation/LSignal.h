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

    // False when the pipe couldn't be made (out of descriptors); the signal then never fires.
    bool IsValid() const { return filedes[0] >= 0; }
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
    static constexpr int nMaxCount = 64;

    LSignalObjectGroup();
    // False when the group is full.
    bool Add(const LSignalObject& so);
    void Clear();
    // Index of the first signal found set (in order of Add), -1 on time-out; a negative time
    // waits forever. An extra descriptor (such as a thread's stop signal) may take part: it
    // reports as -2, but only when no signal of the group is set.
    int Wait(int milliseconds, int extraDescriptor = -1) const;

    int arDescriptors[nMaxCount];
    int nCount;
    int iHighest;
};

// Waits until one of count descriptors is readable. Index of the first readable one, -1 on
// time-out; a negative time waits forever. Interrupted waits resume with the time that is left.
int LWaitDescriptorsReadable(const int* descriptors, int count, int milliseconds);
