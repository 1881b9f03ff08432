#pragma once
// Shared by the controller's tests: private folders for everything the program writes (cache,
// data, settings, the instance pipe), the application on Qt's offscreen platform, a responder
// that answers dialogs from a script and records what was asked, and a fixture with the real
// window around a MainDialog.

#include <QApplication>
#include <QComboBox>
#include <QSlider>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <functional>
#include <string>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "app/MainDialog.h"
#include "document/DeleteFileThread.h"
#include "foundation/LMainLoop.h"
#include "ui/LFileChooser.h"
#include "ui/QDMainWindow.h"
#include "ui/QDSaveAsDialog.h"
#include "ui/QDToolkitQt.h"

inline const std::string gAppTestRoot = []
{
    char templ[] = "/tmp/quendrel-app-XXXXXX";
    std::string root = mkdtemp(templ) ? templ : "";
    for (const char* sub : {"cache", "data", "config", "run", "files"})
        std::filesystem::create_directories(root + "/" + sub);
    std::filesystem::permissions(root + "/run", std::filesystem::perms::owner_all);
    setenv("XDG_CACHE_HOME", (root + "/cache").c_str(), 1);
    setenv("XDG_DATA_HOME", (root + "/data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (root + "/config").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", (root + "/run").c_str(), 1);
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    return root;
}();

struct AppTestCleanup : ::testing::Environment
{
    void TearDown() override
    {
        deleteThread.StopThreadNow();
        std::error_code ec;
        if (!gAppTestRoot.empty())
            std::filesystem::remove_all(gAppTestRoot, ec);
    }
};
inline ::testing::Environment* const gAppTestCleanup =
    ::testing::AddGlobalTestEnvironment(new AppTestCleanup);

inline QApplication& AppTestApp()
{
    // The headless platform says what it can't do on every window; that is no news here.
    static const QtMessageHandler previous = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext& context, const QString& text)
        {
            if (!text.startsWith("This plugin does not support"))
                previous(type, context, text);
        });
    static int argc = 1;
    static char name[] = "test_app";
    static char* argv[] = {name, nullptr};
    if (!QApplication::instance())
        new QApplication(argc, argv);
    LMainLoopBegin();
    return *static_cast<QApplication*>(QApplication::instance());
}

inline bool PumpUntil(const std::function<bool()>& done, int milliseconds = 20000)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!done() && std::chrono::steady_clock::now() < end)
        LMainLoopProcessEvents(10);
    return done();
}

inline void PumpFor(int milliseconds)
{
    LMainLoopProcessEvents(milliseconds);
}

// A file made by another tool, so that the pixels the program shows can be checked against
// values nobody computed with the program's own code.
inline std::string MakePicture(const std::string& name, const std::string& convertArguments)
{
    const std::string path = gAppTestRoot + "/files/" + name;
    const std::string command = "convert " + convertArguments + " " + path + " 2>/dev/null";
    return system(command.c_str()) == 0 ? path : std::string();
}

inline std::string FilesFolder()
{
    return gAppTestRoot + "/files";
}

// What a person would answer, in order; and what the program asked.
class ScriptedResponder : public LDialogResponder
{
public:
    struct Asked
    {
        std::string szTitle;
        std::string szText;
        std::vector<std::string> vButtons;
    };

    int ShowAlert(LAlertKind, const char* title, const char* text, const char* const* buttons,
                  int count) override
    {
        Asked a{title ? title : "", text ? text : "", {}};
        for (int i = 0; i < count; ++i)
            a.vButtons.push_back(buttons[i]);
        vAsked.push_back(a);
        if (dqAnswers.empty())
            return 0;
        const std::string answer = dqAnswers.front();
        dqAnswers.pop_front();
        for (int i = 0; i < count; ++i)
            if (answer == buttons[i])
                return i;
        ADD_FAILURE() << "no button \"" << answer << "\" in \"" << a.szTitle << "\"";
        return 0;
    }
    bool BrowseForOpen(const LFileDialogRequest& request, std::vector<std::string>& paths) override
    {
        vOpenRequests.push_back(request);
        if (dqOpen.empty())
            return false;
        paths = dqOpen.front();
        dqOpen.pop_front();
        return !paths.empty();
    }
    bool BrowseForSave(const LFileDialogRequest& request, std::string& path, int& filter) override
    {
        vSaveRequests.push_back(request);
        if (dqSave.empty())
            return false;
        path = dqSave.front().first;
        filter = dqSave.front().second ? dqSave.front().second : request.iFilter;
        dqSave.pop_front();
        return !path.empty();
    }
    bool EditEncodeSettings(LImageCodec, LImageEncodeSettings&) override
    {
        ++iEncodeDialogs;
        return bEncodeOk;
    }
    // The real save dialog, worked as a person would: the format, then JPEG's quality, then
    // "Save File..." and the name typed into its chooser.
    bool SaveImage(QDProject& project) override
    {
        ++iSaveImageDialogs;
        if (dqSaveImage.empty())
            return false;
        const SaveImageAnswer answer = dqSaveImage.front();
        dqSaveImage.pop_front();
        const std::unique_ptr<QDSaveAsDialog> dialog = QDSaveAsDialogCreate(nullptr, project);
        if (!dialog)
        {
            ADD_FAILURE() << "no picture for the save dialog";
            return false;
        }
        const int index =
            dialog->lpFormat->findText(QString::fromStdString(answer.szFormat), Qt::MatchStartsWith);
        if (index < 0)
        {
            ADD_FAILURE() << "no format \"" << answer.szFormat << "\" in the save dialog";
            return false;
        }
        dialog->lpFormat->setCurrentIndex(index);
        if (answer.iQuality >= 0)
            dialog->lpQuality->setValue(answer.iQuality);
        if (!dialog->WaitForPreview(60000))
        {
            ADD_FAILURE() << "the save dialog's preview never came";
            return false;
        }
        struct Typed : LFileChooserResponder
        {
            std::string szPath;
            bool Choose(const LFileChooserRequest&, std::vector<std::string>& paths) override
            {
                if (szPath.empty())
                    return false;
                paths = {szPath};
                return true;
            }
        } typed;
        typed.szPath = answer.szPath;
        LFileChooserResponder* const before = LSetFileChooserResponder(&typed);
        const bool saved = dialog->CmFileName();
        LSetFileChooserResponder(before);
        vProjectedFiles.push_back(dialog->GetProjectedFile());
        return saved;
    }
    bool NewImage(LNewImageRequest& request) override
    {
        if (!bHasNewImage)
            return false;
        request = newImage;
        return true;
    }
    bool PickColour(LGuiColorAlpha& colour) override
    {
        colour = crPick;
        return true;
    }
    bool EditPreferences(bool& bShowWelcome, bool& bShowSaveWarning, bool& bKeepPhotoInformation) override
    {
        bShowWelcome = bPrefWelcome;
        bShowSaveWarning = bPrefSaveWarning;
        bKeepPhotoInformation = bPrefKeepPhoto;
        return true;
    }
    int ChooseItem(const char*, const char*, const char*, const std::vector<LDialogMenuItem>&, bool*) override
    {
        return 0;
    }
    int PopupMenu(const std::vector<LMenuItem>& items) override
    {
        vPopups.push_back(items);
        return iPopupChoice;
    }
    bool AskNumber(const char*, const char*, const char*, int, int, int&) override { return false; }

    // The texts of the alerts shown, in order.
    std::vector<std::string> Texts() const
    {
        std::vector<std::string> texts;
        for (const Asked& a : vAsked)
            texts.push_back(a.szText);
        return texts;
    }

    struct SaveImageAnswer
    {
        std::string szFormat; // the start of the format's line, ".PNG"
        int iQuality = -1;    // JPEG's slider; -1 leaves it
        std::string szPath;   // typed into the chooser; empty cancels there
    };

    std::deque<std::string> dqAnswers;
    std::deque<SaveImageAnswer> dqSaveImage;
    std::vector<std::vector<uint8_t>> vProjectedFiles; // each save dialog's last projected file
    int iSaveImageDialogs = 0;
    std::deque<std::vector<std::string>> dqOpen;
    std::deque<std::pair<std::string, int>> dqSave;
    std::vector<Asked> vAsked;
    std::vector<LFileDialogRequest> vOpenRequests;
    std::vector<LFileDialogRequest> vSaveRequests;
    std::vector<std::vector<LMenuItem>> vPopups;
    int iPopupChoice = 0;
    int iEncodeDialogs = 0;
    bool bEncodeOk = true;
    bool bHasNewImage = false;
    LNewImageRequest newImage;
    LGuiColorAlpha crPick{0x2000, 0x4000, 0x8000, 1.0f};
    bool bPrefWelcome = true;
    bool bPrefSaveWarning = true;
    bool bPrefKeepPhoto = true;
};

// The real toolkit, with the scripted person in place of the dialogs.
class ScriptedToolkit : public QDToolkitQt
{
public:
    ScriptedToolkit() : QDToolkitQt(argc, argv) {}
    ~ScriptedToolkit() override
    {
        if (LGetAlertResponder() == &responder)
            LSetAlertResponder(nullptr);
    }
    LDialogResponder& GetResponder() override { return responder; }

    ScriptedResponder responder;

private:
    static inline int argc = 1;
    static inline char name[] = "test_app";
    static inline char* argv[] = {name, nullptr};
};

// A MainDialog with its window, shown on the offscreen platform.
class MainDialogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        AppTestApp();
        if (!deleteThread.IsRunning())
            deleteThread.StartThread(LThreadPriorityNormal);
        lpToolkit = std::make_unique<ScriptedToolkit>();
        lpDialog = std::make_unique<MainDialog>(*lpToolkit);
        ASSERT_TRUE(lpDialog->InitApplication());
        ASSERT_TRUE(lpDialog->CreateMainWindow());
        // The start-up's recovery and welcome are the tests' own business.
        lpDialog->TimerReset(2095);
        Window()->resize(1100, 760);
        PumpFor(30);
    }
    void TearDown() override
    {
        // Whatever is still open goes without questions.
        while (QDProject* p = lpDialog->GetFirstProject())
            lpDialog->CloseProject(p);
        lpDialog.reset();
        lpToolkit.reset();
        PumpFor(10);
    }

    MainDialog& Dialog() { return *lpDialog; }
    ScriptedResponder& Responder() { return lpToolkit->responder; }
    QDMainWindow* Window() { return static_cast<QDMainWindow*>(lpDialog->GetHost()); }

    // Opens a file as the open command does, without its dialog.
    QDProject* Open(const std::string& path)
    {
        LProcessInterfaceVoid process;
        if (Dialog().FileOpen(process, path.c_str()) != LProcessResultSuccess)
            return nullptr;
        return Dialog().GetCurrentProject();
    }
    // Until the project's picture follows its pipeline and the render's news has been handled.
    // Judged by state, not by a notification that may have come and gone before the wait.
    bool WaitForRender(QDProject* project, int milliseconds = 30000)
    {
        const bool ok = PumpUntil(
            [&]
            {
                return !Dialog().threadRender.IsRunning() && !project->bRenderRequested &&
                       !project->pipeline.IsDirty() && project->iHighResCacheId >= 0;
            },
            milliseconds);
        PumpFor(30);
        return ok;
    }
    size_t Layers(QDProject* p) const { return p ? p->GetLayerCount() : 0; }

    std::unique_ptr<ScriptedToolkit> lpToolkit;
    std::unique_ptr<MainDialog> lpDialog;
};

// A child process of the program, with this test's folders.
struct ChildProcess
{
    pid_t pid = -1;

    // Started without a fork of this process's threads: the environment goes as it is, the
    // test's folders and the headless platform with it.
    bool Start(const std::vector<std::string>& arguments)
    {
        std::string program = std::string(QUENDREL_BINARY_DIR) + "/app/quendrel";
        std::vector<std::string> copy = arguments;
        std::vector<char*> argv{program.data()};
        for (std::string& a : copy)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        return posix_spawn(&pid, program.c_str(), nullptr, nullptr, argv.data(), environ) == 0;
    }
    // The exit status, or -1 when it didn't end in time.
    int Wait(int milliseconds)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
        while (std::chrono::steady_clock::now() < end)
        {
            int status = 0;
            const pid_t r = waitpid(pid, &status, WNOHANG);
            if (r == pid)
            {
                pid = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            usleep(10000);
        }
        return -1;
    }
    void Kill()
    {
        if (pid > 0)
        {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            pid = -1;
        }
    }
    ~ChildProcess() { Kill(); }
};
