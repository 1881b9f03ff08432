#pragma once
// The batch editor's last page: runs the batch on a process thread and shows its status and
// progress; the page is the run's process interface on the main thread, serving events while it
// waits so that the window stays live and "Stop" gets through. Every wizard button is disabled
// until the run ends, then the outcome is told in the wizard's words.

#include <QWizardPage>

#include <chrono>

#include "foundation/LProcessInterface.h"

class QLabel;
class QProgressBar;
class QPushButton;
class QDBatchStateData;

class QDBatchProgressDlg : public QWizardPage, public LProcessInterface
{
    Q_OBJECT
public:
    QDBatchProgressDlg(QDBatchStateData& state, QWidget* parent = nullptr);

    void initializePage() override;
    bool isComplete() const override;
    // Runs the batch; the result, after the alerts.
    LProcessResult Start();
    bool IsRunning() const { return bRunning; }
    bool IsFinished() const { return bFinished; }
    LProcessResult GetResult() const { return iResult; }

    bool IsToStop() override;
    int ProcessWait(int milliseconds) override;
    int ProcessWaitSignal(LSignalObject& signal, int milliseconds) override;
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, int milliseconds) override;
    void SetError(const char* text) override;
    void SetStatus(const char* text, int line) override;
    void SetProgress(double fraction) override;

    // A status wider than the label is cut by the proportion of the widths and "..." appended.
    static QString FitStatus(const QString& text, int textWidth, int labelWidth);

    QLabel* lpStatus[2];
    QProgressBar* lpProgress;
    QPushButton* lpStop;

private:
    void Pump(bool force);
    void EnableWizardButtons(bool enable);

    QDBatchStateData& rState;
    bool bRunning = false;
    bool bFinished = false;
    bool bStop = false;
    LProcessResult iResult = LProcessResultSuccess;
    std::chrono::steady_clock::time_point tLastPump{};
};
