#pragma once
// Shared by the save dialog and batch editor tests: scripted answers to alerts and file choosers
// that record what was asked, a private settings folder, and a way to act on a modal dialog once
// it is up.

#include <QApplication>
#include <QTimer>
#include <QWidget>

#include <chrono>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "foundation/LProcessAlert.h"
#include "ui/LFileChooser.h"
#include "ui_support.h"

namespace batch_ui
{
// Answers each alert with the next scripted button text (the first button when none is left).
class Alerts : public LAlertResponder
{
public:
    Alerts() { lpPrevious = LSetAlertResponder(this); }
    ~Alerts() override { LSetAlertResponder(lpPrevious); }
    int ShowAlert(LAlertKind, const char* title, const char* text, const char* const* buttons,
                  int count) override
    {
        vShown.push_back(std::string(title) + "|" + text);
        std::string answer = qAnswers.empty() ? "" : qAnswers.front();
        if (!qAnswers.empty())
            qAnswers.pop_front();
        for (int i = 0; i < count; ++i)
            if (answer == buttons[i])
                return i;
        return 0;
    }
    std::vector<std::string> vShown;
    std::deque<std::string> qAnswers;
    LAlertResponder* lpPrevious;
};

// Answers each chooser with the next scripted list of paths (cancel when none is left).
class Choosers : public LFileChooserResponder
{
public:
    Choosers() { lpPrevious = LSetFileChooserResponder(this); }
    ~Choosers() override { LSetFileChooserResponder(lpPrevious); }
    bool Choose(const LFileChooserRequest& request, std::vector<std::string>& paths) override
    {
        vAsked.push_back(request);
        if (qAnswers.empty())
            return false;
        paths = qAnswers.front();
        qAnswers.pop_front();
        return !paths.empty();
    }
    std::vector<LFileChooserRequest> vAsked;
    std::deque<std::vector<std::string>> qAnswers;
    LFileChooserResponder* lpPrevious;
};

// Runs act on the first visible top-level widget of type D, once it shows.
template <class D>
void WhenShown(std::function<void(D*)> act)
{
    auto* timer = new QTimer;
    timer->setInterval(10);
    QObject::connect(timer, &QTimer::timeout,
                     [timer, act]
                     {
                         for (QWidget* w : QApplication::topLevelWidgets())
                             if (auto* d = qobject_cast<D*>(w); d && d->isVisible())
                             {
                                 timer->stop();
                                 timer->deleteLater();
                                 act(d);
                                 return;
                             }
                     });
    timer->start();
}

// Serves events until done() holds or the time passes.
inline bool WaitUntil(const std::function<bool()>& done, int milliseconds = 20000)
{
    for (int waited = 0; waited < milliseconds && !done(); waited += 5)
    {
        QApplication::processEvents(QEventLoop::AllEvents, 5);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return done();
}

// A folder of its own, with the settings of the program kept there too.
class Folder
{
public:
    Folder()
    {
        char templ[] = "/tmp/quendrel-batch-ui-XXXXXX";
        szPath = mkdtemp(templ) ? templ : "";
        setenv("XDG_CONFIG_HOME", (szPath + "/config").c_str(), 1);
    }
    ~Folder()
    {
        std::error_code ec;
        std::filesystem::remove_all(szPath, ec);
    }
    std::string operator/(const std::string& name) const { return szPath + "/" + name; }
    std::string szPath;
};
} // namespace batch_ui
