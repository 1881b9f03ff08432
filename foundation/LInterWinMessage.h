#pragma once
// Messages between windows: a message is posted to the main loop and handled later, out of the
// handler that sent it, which is what lets a panel ask for its own destruction.

#include "foundation/LThreadRunOnMainThread.h"

#include <cstdint>
#include <vector>

class LInterWinMessageHandler;

// What the logic needs of a window here: the handler its messages go to. The toolkit's windows
// derive from it.
class LWindow
{
public:
    LWindow() = default;
    LWindow(const LWindow&) = delete;
    LWindow& operator=(const LWindow&) = delete;
    virtual ~LWindow();

    // Posts message id to window's handler; false when it has none or doesn't take id.
    static bool SendInterWinMessage(LWindow* window, int id, intptr_t a = 0, intptr_t b = 0);
    // Registers handler as window's receiver of message id.
    static void HandleInterWinMessage(LWindow* window, LInterWinMessageHandler* handler, int id);

    LInterWinMessageHandler* lpInterWinMessageHandler = nullptr;
};

class LInterWinMessageHandlerItem
{
public:
    int iId;
};

class LInterWinMessageHandler
{
public:
    LInterWinMessageHandler() = default;
    LInterWinMessageHandler(const LInterWinMessageHandler&) = delete;
    LInterWinMessageHandler& operator=(const LInterWinMessageHandler&) = delete;
    virtual ~LInterWinMessageHandler();

    // On the main thread, for each message of a registered id, in the order sent.
    virtual void EvInterWinMessage(int id, intptr_t a, intptr_t b) = 0;

    // Takes messages of id from now on; window, when given, sends its messages here.
    void HandleInterWinMessage(int id, LWindow* window = nullptr);
    bool IsHandlingInterWinMessage(int id);
    // From any thread. False when id isn't registered (the message is dropped).
    static bool SendInterWinMessage(LInterWinMessageHandler* handler, int id, intptr_t a = 0, intptr_t b = 0);

    bool bInstalled = false;
    std::vector<LInterWinMessageHandlerItem> arItems;
    LWindow* lpWindow = nullptr;
    LLockObject lockItems;
    LThreadRunOnMainThread threadRunOnMainThreadMessages;
};
