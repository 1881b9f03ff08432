#include "ui/LProgressDialog.h"

#include <QApplication>
#include <QCoreApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include <cstdio>
#include <thread>
#include <vector>

#include "foundation/LProcessAlert.h"
#include "foundation/LSignal.h"

namespace
{
// Message boxes for the process framework's alerts, unless something else answers them.
class LAlertResponderQt : public LAlertResponder
{
public:
    int ShowAlert(LAlertKind kind, const char* title, const char* text, const char* const* buttons,
                  int count) override
    {
        QMessageBox box(kind == LAlertKindError ? QMessageBox::Critical : QMessageBox::Warning,
                        QString::fromUtf8(title ? title : ""), QString::fromUtf8(text ? text : ""),
                        QMessageBox::NoButton, QApplication::activeWindow());
        std::vector<QAbstractButton*> made;
        for (int i = 0; i < count; ++i)
            made.push_back(box.addButton(QString::fromUtf8(buttons[i]),
                                         i == 0 ? QMessageBox::AcceptRole : QMessageBox::RejectRole));
        box.exec();
        for (int i = 0; i < count; ++i)
            if (box.clickedButton() == made[size_t(i)])
                return i;
        return count > 1 ? count - 1 : 0;
    }
};

void InstallDefaultResponder()
{
    static LAlertResponderQt responder;
    if (!LGetAlertResponder() && qobject_cast<QApplication*>(QCoreApplication::instance()))
        LSetAlertResponder(&responder);
}
} // namespace

LProgressDialog::LProgressDialog(const char* title, QWidget* parent) : QDialog(parent), lpParentWindow(parent)
{
    snprintf(szTitle, sizeof(szTitle), "%s", title ? title : "");
    InstallDefaultResponder();
    setWindowTitle(QString::fromUtf8(szTitle));
    setMinimumWidth(iWidth);
    auto* layout = new QVBoxLayout(this);
    for (QLabel*& label : lpStatus)
    {
        label = new QLabel(this);
        label->setTextFormat(Qt::PlainText);
        layout->addWidget(label);
    }
    lpProgress = new QProgressBar(this);
    lpProgress->setRange(0, 1000);
    lpProgress->setTextVisible(false);
    layout->addWidget(lpProgress);
    auto* buttons = new QHBoxLayout();
    buttons->addStretch(1);
    lpCancel = new QPushButton(QStringLiteral("Cancel"), this);
    buttons->addWidget(lpCancel);
    layout->addLayout(buttons);
    connect(lpCancel, &QPushButton::clicked, this, [this] { EvCancel(); });
}

LProgressDialog::~LProgressDialog() = default;

void LProgressDialog::Open(QWidget* window)
{
    if (!window)
        window = QApplication::activeModalWidget() ? QApplication::activeModalWidget()
                                                   : QApplication::activeWindow();
    if (window && window != parentWidget())
        setParent(window, windowFlags());
    lpParentWindow = window;
    // A sheet needs a visible parent; on this toolkit a window-modal dialog plays that part.
    bSheet = window != nullptr;
    if (window && !window->isVisible())
        window->show();
    setWindowModality(bSheet ? Qt::WindowModal : Qt::ApplicationModal);
    bModal = true;
    show();
    ClearEventQueue(true);
    MainFunction();
    Close();
}

void LProgressDialog::Close()
{
    bModal = false;
    hide();
}

void LProgressDialog::Close(int code)
{
    bModal = false;
    done(code);
}

void LProgressDialog::EvCancel()
{
    bStop = true;
    if (lpCancel)
        lpCancel->setEnabled(false);
}

void LProgressDialog::ClearEventQueue(bool bForce)
{
    auto now = std::chrono::steady_clock::now();
    if (!bForce && now - tLastPump < std::chrono::milliseconds(20))
        return;
    tLastPump = now;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
}

bool LProgressDialog::IsToStop()
{
    ClearEventQueue();
    return IsProcessEventHandlerToStop();
}

int LProgressDialog::ProcessWait(int milliseconds)
{
    auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds < 0 ? 0 : milliseconds);
    for (;;)
    {
        ClearEventQueue(true);
        if (IsProcessEventHandlerToStop())
            return 1;
        if (milliseconds >= 0 && std::chrono::steady_clock::now() >= end)
            return 2;
        // Short sleeps keep the window responsive without spinning.
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

int LProgressDialog::ProcessWaitSignal(LSignalObject& signal, int milliseconds)
{
    auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds < 0 ? 0 : milliseconds);
    for (;;)
    {
        if (signal.IsSet())
            return 0;
        ClearEventQueue(true);
        if (IsProcessEventHandlerToStop())
            return 1;
        if (milliseconds >= 0 && std::chrono::steady_clock::now() >= end)
            return 2;
        signal.Wait(10);
    }
}

int LProgressDialog::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, int milliseconds)
{
    auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds < 0 ? 0 : milliseconds);
    for (;;)
    {
        if (group.Wait(0) >= 0)
            return 0;
        ClearEventQueue(true);
        if (IsProcessEventHandlerToStop())
            return 1;
        if (milliseconds >= 0 && std::chrono::steady_clock::now() >= end)
            return 2;
        group.Wait(10);
    }
}

void LProgressDialog::SetError(const char* text)
{
    static const char* const buttons[] = {"Continue"};
    LShowAlert(LAlertKindError, szTitle, text, buttons, 1);
    ClearEventQueue(true);
}

void LProgressDialog::SetStatus(const char* text, int line)
{
    if (line >= 0 && line < 2)
        lpStatus[line]->setText(QString::fromUtf8(text ? text : ""));
    ClearEventQueue();
}

void LProgressDialog::SetProgress(double fraction)
{
    if (fraction < 0)
        fraction = 0;
    if (fraction > 1)
        fraction = 1;
    lpProgress->setValue(int(fraction * 1000.0));
    ClearEventQueue();
}

void LProgressDialog::SetProgressIndeterminateOn()
{
    lpProgress->setRange(0, 0);
    ClearEventQueue();
}

void LProgressDialog::SetProgressIndeterminateOff()
{
    lpProgress->setRange(0, 1000);
    ClearEventQueue();
}
