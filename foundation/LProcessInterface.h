#pragma once
// The calling convention of all long work: Process(LProcessInterface&, Data&) returns an
// LProcessResult, polls IsToStop at least once per scan line and reports progress from 0 to 1.

#include <cstdint>

class LSignalObject;
class LSignalObjectGroup;

enum LProcessResult : int
{
    LProcessResultSuccess = 0,
    LProcessResultCancelled = 1,
    LProcessResultFailed = 2,
};

constexpr int LProcessWaitForever = -1;

class LProcessInterface
{
public:
    virtual ~LProcessInterface() = default;

    virtual bool IsToStop() = 0;
    // 1 when a stop came during the wait, 2 on time-out.
    virtual int ProcessWait(int milliseconds) = 0;
    // 0 when the signal fired first, 1 when stopped, 2 on time-out.
    virtual int ProcessWaitSignal(LSignalObject& signal, int milliseconds) = 0;
    virtual int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, int milliseconds) = 0;
    virtual void SetError(const char* text) { (void)text; }
    // line is 0 or 1: the two status lines.
    virtual void SetStatus(const char* text, int line) { (void)text, (void)line; }
    virtual void SetProgress(double fraction) { (void)fraction; }
    virtual void SetProgressIndeterminateOn() {}
    virtual void SetProgressIndeterminateOff() {}

    void SetStatusF(int line, const char* format, ...) __attribute__((format(printf, 3, 4)));
    void SetErrorF(const char* format, ...) __attribute__((format(printf, 2, 3)));
    int ProcessWaitSignalForever(LSignalObject& signal)
    {
        return ProcessWaitSignal(signal, LProcessWaitForever);
    }
};

// Never stops; its waits sleep or wait on the signal.
class LProcessInterfaceVoid : public LProcessInterface
{
public:
    bool IsToStop() override { return false; }
    int ProcessWait(int milliseconds) override;
    int ProcessWaitSignal(LSignalObject& signal, int milliseconds) override;
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, int milliseconds) override;
};

// Forwards everything to a parent interface.
class LProcessInterfaceNested : public LProcessInterface
{
public:
    explicit LProcessInterfaceNested(LProcessInterface& parent) : lpParent(&parent) {}

    bool IsToStop() override { return lpParent->IsToStop(); }
    int ProcessWait(int ms) override { return lpParent->ProcessWait(ms); }
    int ProcessWaitSignal(LSignalObject& s, int ms) override { return lpParent->ProcessWaitSignal(s, ms); }
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& g, int ms) override
    {
        return lpParent->ProcessWaitSignalObjectGroup(g, ms);
    }
    void SetError(const char* text) override { lpParent->SetError(text); }
    void SetStatus(const char* text, int line) override { lpParent->SetStatus(text, line); }
    void SetProgress(double f) override { lpParent->SetProgress(f); }
    void SetProgressIndeterminateOn() override { lpParent->SetProgressIndeterminateOn(); }
    void SetProgressIndeterminateOff() override { lpParent->SetProgressIndeterminateOff(); }

protected:
    LProcessInterface* lpParent;
};

// Hands a step a share of the parent's bar: the step reports 0..1, the parent sees
// dStart..dStart+dRange. The indeterminate state belongs to the parent's owner.
class LProcessInterfaceSubProcess : public LProcessInterfaceNested
{
public:
    LProcessInterfaceSubProcess(LProcessInterface& parent, double start, double range)
        : LProcessInterfaceNested(parent), dStart(start), dRange(range)
    {
    }
    void SetProgress(double f) override { lpParent->SetProgress(f * dRange + dStart); }
    void SetProgressIndeterminateOn() override {}
    void SetProgressIndeterminateOff() override {}

    double dStart;
    double dRange;
};
