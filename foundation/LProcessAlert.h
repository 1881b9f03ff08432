#pragma once
// Alerts of the process framework go through one replaceable responder, so that a headless run
// or a test can answer them. The window layer installs a responder that shows real message
// boxes; a test installs a scripted one.

enum LAlertKind : int
{
    LAlertKindError = 0,
    LAlertKindWarning = 1,
    LAlertKindInfo = 2,
    LAlertKindQuestion = 3,
};

class LAlertResponder
{
public:
    virtual ~LAlertResponder() = default;
    // Shows text under title with the buttons (at least one) and returns the index of the one
    // chosen; 0 is the default.
    virtual int ShowAlert(LAlertKind kind, const char* title, const char* text, const char* const* buttons,
                          int count) = 0;
};

// Installs responder (null: none) and returns the one it replaces.
LAlertResponder* LSetAlertResponder(LAlertResponder* responder);
LAlertResponder* LGetAlertResponder();
// Without a responder the alert goes to standard error and the default button is taken.
int LShowAlert(LAlertKind kind, const char* title, const char* text, const char* const* buttons, int count);
