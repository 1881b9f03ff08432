#pragma once
// Sub-processes that also place their status: a queue item's status stays on the line it names,
// while a recursive step reports on line 1, under its caller's line 0.

#include <cstdio>

#include "foundation/LProcessInterface.h"

class LProcessInterfaceQueueItem : public LProcessInterfaceSubProcess
{
public:
    LProcessInterfaceQueueItem(LProcessInterface& parent, double start, double range)
        : LProcessInterfaceSubProcess(parent, start, range)
    {
    }
    // Keeps the item's last line-0 text, so the queue can name a failed item.
    void SetStatus(const char* text, int line) override
    {
        if (line == 0)
            snprintf(szStatus, sizeof(szStatus), "%s", text ? text : "");
        lpParent->SetStatus(text, line);
    }

    char szStatus[260] = {};
};

class LProcessInterfaceRecursiveSubProcess : public LProcessInterfaceSubProcess
{
public:
    using LProcessInterfaceSubProcess::LProcessInterfaceSubProcess;
    void SetStatus(const char* text, int line) override
    {
        (void)line;
        lpParent->SetStatus(text, 1);
    }
};
