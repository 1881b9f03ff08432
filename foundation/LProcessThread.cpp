#include "foundation/LProcessThread.h"

#include <cstdio>

void LProcessThreadInterface::SetError(const char* text)
{
    lpParent->SetError(text);
    if (lpPosted)
        ++*lpPosted;
    const char* t = text ? text : "";
    lpHandler->PostNotifyFromSender(LProcessThreadNotifyError, t, strlen(t) + 1);
}

void LProcessThreadInterface::SetStatus(const char* text, int line)
{
    lpParent->SetStatus(text, line);
    LProcessThreadStatusRecord record;
    memset(&record, 0, sizeof(record));
    snprintf(record.szText, sizeof(record.szText), "%s", text ? text : "");
    record.iLine = line;
    if (lpPosted)
        ++*lpPosted;
    lpHandler->PostNotifyFromSender(LProcessThreadNotifyStatus, &record, sizeof(record));
}

void LProcessThreadInterface::SetProgress(double fraction)
{
    lpParent->SetProgress(fraction);
    if (lpPosted)
        ++*lpPosted;
    lpHandler->PostNotifyFromSender(LProcessThreadNotifyProgress, &fraction, sizeof(fraction));
}

void LProcessThreadInterface::SetProgressIndeterminateOn()
{
    lpParent->SetProgressIndeterminateOn();
    if (lpPosted)
        ++*lpPosted;
    lpHandler->PostNotifyFromSender(LProcessThreadNotifyIndeterminateOn, nullptr, 0);
}

void LProcessThreadInterface::SetProgressIndeterminateOff()
{
    lpParent->SetProgressIndeterminateOff();
    if (lpPosted)
        ++*lpPosted;
    lpHandler->PostNotifyFromSender(LProcessThreadNotifyIndeterminateOff, nullptr, 0);
}

void LProcessThreadForwarder::EvQueuedNotifyData(int code, void* data, size_t size)
{
    ++iDelivered;
    switch (code)
    {
    case LProcessThreadNotifyError:
        if (data && size > 0)
        {
            static_cast<char*>(data)[size - 1] = 0;
            lpParentInterface->SetError(static_cast<const char*>(data));
        }
        break;
    case LProcessThreadNotifyStatus:
        if (data && size == sizeof(LProcessThreadStatusRecord))
        {
            auto* record = static_cast<LProcessThreadStatusRecord*>(data);
            record->szText[sizeof(record->szText) - 1] = 0;
            lpParentInterface->SetStatus(record->szText, record->iLine);
        }
        break;
    case LProcessThreadNotifyProgress:
        if (data && size == sizeof(double))
        {
            double f;
            memcpy(&f, data, sizeof(f));
            lpParentInterface->SetProgress(f);
        }
        break;
    case LProcessThreadNotifyIndeterminateOn:
        lpParentInterface->SetProgressIndeterminateOn();
        break;
    case LProcessThreadNotifyIndeterminateOff:
        lpParentInterface->SetProgressIndeterminateOff();
        break;
    default:
        break;
    }
}

void LProcessThreadForwarder::DrainNotifications()
{
    // An error posted just before the end must still reach the caller.
    if (!LMainLoopIsMainThread() || !LMainLoopIsAlive())
        return;
    auto done = [](void* self)
    {
        auto* f = static_cast<LProcessThreadForwarder*>(self);
        return f->iDelivered.load() >= f->iPosted.load();
    };
    if (!done(this))
        LMainLoopProcessEvents(1000, done, this);
}
