#pragma once
// A modal progress window that runs its process on the main thread: the process's own calls
// (IsToStop, progress, status, waits) keep the window alive by pumping the event queue, which is
// also how the Cancel button gets through. Reentrancy is to be expected inside those calls.

#include <QDialog>

#include <chrono>

#include "foundation/LProcessInterface.h"

class QLabel;
class QProgressBar;
class QPushButton;

class LProgressDialog : public QDialog, public LProcessInterface
{
public:
    explicit LProgressDialog(const char* title, QWidget* parent = nullptr);
    ~LProgressDialog() override;

    // Shows the window over window (null: the active modal window, else the active window),
    // runs MainFunction and closes.
    void Open(QWidget* window);
    virtual void MainFunction() {}
    virtual void Close();
    void Close(int code);
    virtual bool IsProcessEventHandlerToStop() { return bStop; }

    bool IsToStop() override;
    int ProcessWait(int milliseconds) override;
    int ProcessWaitSignal(LSignalObject& signal, int milliseconds) override;
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, int milliseconds) override;
    // An error box with the button "Continue", under the dialog's title.
    void SetError(const char* text) override;
    void SetStatus(const char* text, int line) override;
    void SetProgress(double fraction) override;
    void SetProgressIndeterminateOn() override;
    void SetProgressIndeterminateOff() override;

    // Runs pending events, at most every 20 ms unless forced.
    void ClearEventQueue(bool bForce = false);
    // The Cancel button's action: it disables itself, and IsToStop reports it.
    void EvCancel();

    char szTitle[260] = {};
    QWidget* lpParentWindow = nullptr;
    bool bSheet = false;
    bool bStop = false;
    int iWidth = 340;
    bool bModal = false;

    QLabel* lpStatus[2] = {nullptr, nullptr};
    QProgressBar* lpProgress = nullptr;
    QPushButton* lpCancel = nullptr;

private:
    std::chrono::steady_clock::time_point tLastPump{};
};
