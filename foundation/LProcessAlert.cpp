#include "foundation/LProcessAlert.h"

#include <atomic>
#include <cstdio>

static std::atomic<LAlertResponder*> glpAlertResponder{nullptr};

LAlertResponder* LSetAlertResponder(LAlertResponder* responder)
{
    return glpAlertResponder.exchange(responder);
}

LAlertResponder* LGetAlertResponder()
{
    return glpAlertResponder.load();
}

int LShowAlert(LAlertKind kind, const char* title, const char* text, const char* const* buttons, int count)
{
    if (LAlertResponder* r = glpAlertResponder.load())
    {
        int answer = r->ShowAlert(kind, title, text, buttons, count);
        return answer >= 0 && answer < count ? answer : 0;
    }
    fprintf(stderr, "%s: %s\n", title ? title : "", text ? text : "");
    return 0;
}
