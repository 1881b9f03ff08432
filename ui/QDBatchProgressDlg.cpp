#include "ui/QDBatchProgressDlg.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <QWizard>

#include <thread>

#include "batch/QDBatchProcess.h"
#include "batch/QDBatchState.h"
#include "foundation/LProcessAlert.h"
#include "foundation/LProcessThread.h"
#include "foundation/LSignal.h"

namespace
{
constexpr char kTitle[] = "Batch Editor";
}

QDBatchProgressDlg::QDBatchProgressDlg(QDBatchStateData& state, QWidget* parent)
    : QWizardPage(parent), rState(state)
{
    setObjectName("WizardProcess");
    setTitle(QStringLiteral("Processing Batch Commands"));
    setSubTitle(QStringLiteral("Please wait while %1 processes your batch commands...").arg("Quendrel"));
    setFinalPage(true);
    auto* layout = new QVBoxLayout(this);
    for (QLabel*& label : lpStatus)
    {
        label = new QLabel(this);
        label->setTextFormat(Qt::PlainText);
        label->setMinimumWidth(200);
        layout->addWidget(label);
    }
    lpProgress = new QProgressBar(this);
    lpProgress->setRange(0, 1000);
    lpProgress->setTextVisible(false);
    layout->addWidget(lpProgress);
    auto* line = new QHBoxLayout();
    line->addStretch(1);
    lpStop = new QPushButton(QStringLiteral("Stop"), this);
    lpStop->setEnabled(false);
    line->addWidget(lpStop);
    layout->addLayout(line);
    layout->addStretch(1);
    connect(lpStop, &QPushButton::clicked, this,
            [this]
            {
                bStop = true;
                lpStop->setEnabled(false);
            });
}

void QDBatchProgressDlg::initializePage()
{
    bFinished = false;
    bStop = false;
    lpProgress->setValue(0);
    lpStatus[0]->clear();
    lpStatus[1]->clear();
    // The run starts once the page is on screen.
    QTimer::singleShot(0, this, [this] { Start(); });
}

bool QDBatchProgressDlg::isComplete() const
{
    return bFinished;
}

void QDBatchProgressDlg::EnableWizardButtons(bool enable)
{
    if (QWizard* w = wizard())
        for (QWizard::WizardButton b :
             {QWizard::BackButton, QWizard::NextButton, QWizard::CancelButton, QWizard::FinishButton})
            if (QAbstractButton* button = w->button(b))
                button->setEnabled(enable);
}

LProcessResult QDBatchProgressDlg::Start()
{
    if (bRunning)
        return LProcessResultFailed;
    bRunning = true;
    bStop = false;
    EnableWizardButtons(false);
    lpStop->setEnabled(true);
    const QDBatchStateData& state = rState;
    iResult = LProcessRunOnThread(*this, state);
    lpStop->setEnabled(false);
    bRunning = false;
    static const char* const ok[] = {"OK"};
    if (iResult == LProcessResultCancelled)
        LShowAlert(LAlertKindWarning, kTitle,
                   "Batch process stopped. Some images may not have been processed.", ok, 1);
    else if (iResult == LProcessResultFailed)
        LShowAlert(LAlertKindError, kTitle, "Batch process failed. Some images may not have been processed",
                   ok, 1);
    bool unsupported = false;
    for (BatchFileItem* item = rState.BatchFileList.GetFirst(); item; item = item->GetNextItem())
        unsupported |= !item->bValidOutput;
    if (unsupported)
        LShowAlert(LAlertKindWarning, kTitle,
                   "One or more files had an unsupported output file format and were not saved.", ok, 1);
    bFinished = true;
    EnableWizardButtons(true);
    emit completeChanged();
    return iResult;
}

void QDBatchProgressDlg::Pump(bool force)
{
    const auto now = std::chrono::steady_clock::now();
    if (!force && now - tLastPump < std::chrono::milliseconds(20))
        return;
    tLastPump = now;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

bool QDBatchProgressDlg::IsToStop()
{
    Pump(false);
    return bStop;
}

int QDBatchProgressDlg::ProcessWait(int milliseconds)
{
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds < 0 ? 0 : milliseconds);
    for (;;)
    {
        Pump(true);
        if (bStop)
            return 1;
        if (milliseconds >= 0 && std::chrono::steady_clock::now() >= end)
            return 2;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

int QDBatchProgressDlg::ProcessWaitSignal(LSignalObject& signal, int milliseconds)
{
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds < 0 ? 0 : milliseconds);
    for (;;)
    {
        if (signal.IsSet())
            return 0;
        Pump(true);
        if (bStop)
            return 1;
        if (milliseconds >= 0 && std::chrono::steady_clock::now() >= end)
            return 2;
        signal.Wait(10);
    }
}

int QDBatchProgressDlg::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, int milliseconds)
{
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds < 0 ? 0 : milliseconds);
    for (;;)
    {
        if (group.Wait(0) >= 0)
            return 0;
        Pump(true);
        if (bStop)
            return 1;
        if (milliseconds >= 0 && std::chrono::steady_clock::now() >= end)
            return 2;
        group.Wait(10);
    }
}

void QDBatchProgressDlg::SetError(const char* text)
{
    static const char* const buttons[] = {"Continue"};
    LShowAlert(LAlertKindError, kTitle, text, buttons, 1);
}

QString QDBatchProgressDlg::FitStatus(const QString& text, int textWidth, int labelWidth)
{
    if (textWidth <= labelWidth || textWidth <= 0)
        return text;
    const qsizetype keep = qsizetype(qint64(text.size()) * labelWidth / textWidth);
    return text.left(keep) + QStringLiteral("...");
}

void QDBatchProgressDlg::SetStatus(const char* text, int line)
{
    if (line < 0 || line > 1)
        return;
    QLabel* label = lpStatus[line];
    const QString s = QString::fromUtf8(text ? text : "");
    label->setText(FitStatus(s, label->fontMetrics().horizontalAdvance(s), label->width()));
    Pump(false);
}

void QDBatchProgressDlg::SetProgress(double fraction)
{
    lpProgress->setValue(int(std::clamp(fraction, 0.0, 1.0) * 1000));
    Pump(false);
}
