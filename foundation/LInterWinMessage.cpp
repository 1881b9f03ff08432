#include "foundation/LInterWinMessage.h"

namespace
{
class InterWinMessage : public LThreadRunOnMainThreadData
{
public:
    InterWinMessage(LInterWinMessageHandler* handler, int id, intptr_t a, intptr_t b)
        : lpHandler(handler), iId(id), iA(a), iB(b)
    {
    }
    void MainThreadFunction() override { lpHandler->EvInterWinMessage(iId, iA, iB); }
    LInterWinMessageHandler* lpHandler;
    int iId;
    intptr_t iA, iB;
};
} // namespace

LWindow::~LWindow()
{
    if (lpInterWinMessageHandler && lpInterWinMessageHandler->lpWindow == this)
        lpInterWinMessageHandler->lpWindow = nullptr;
}

bool LWindow::SendInterWinMessage(LWindow* window, int id, intptr_t a, intptr_t b)
{
    if (!window)
        return false;
    return LInterWinMessageHandler::SendInterWinMessage(window->lpInterWinMessageHandler, id, a, b);
}

void LWindow::HandleInterWinMessage(LWindow* window, LInterWinMessageHandler* handler, int id)
{
    if (handler)
        handler->HandleInterWinMessage(id, window);
}

LInterWinMessageHandler::~LInterWinMessageHandler()
{
    threadRunOnMainThreadMessages.ThreadRunOnMainThreadDestroy();
    if (lpWindow && lpWindow->lpInterWinMessageHandler == this)
        lpWindow->lpInterWinMessageHandler = nullptr;
}

void LInterWinMessageHandler::HandleInterWinMessage(int id, LWindow* window)
{
    if (window)
    {
        if (lpWindow && lpWindow != window && lpWindow->lpInterWinMessageHandler == this)
            lpWindow->lpInterWinMessageHandler = nullptr;
        lpWindow = window;
        window->lpInterWinMessageHandler = this;
    }
    LLockObjectGuard guard(lockItems);
    bInstalled = true;
    for (const LInterWinMessageHandlerItem& item : arItems)
        if (item.iId == id)
            return;
    arItems.push_back({id});
}

bool LInterWinMessageHandler::IsHandlingInterWinMessage(int id)
{
    LLockObjectGuard guard(lockItems);
    for (const LInterWinMessageHandlerItem& item : arItems)
        if (item.iId == id)
            return true;
    return false;
}

bool LInterWinMessageHandler::SendInterWinMessage(LInterWinMessageHandler* handler, int id, intptr_t a,
                                                  intptr_t b)
{
    if (!handler || !handler->IsHandlingInterWinMessage(id))
        return false;
    handler->threadRunOnMainThreadMessages.RunOnMainThread(new InterWinMessage(handler, id, a, b));
    return true;
}
