// The program's entry: its own switches, then one instance per user. A second start hands its
// files and commands to the first and ends; the switches for scripts run a window of their own.

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "app/MainDialog.h"
#include "app/QDAutomation.h"
#include "foundation/LFile.h"
#include "foundation/LThreadRunOnMainThread.h"
#include "platform/gui/LPlatformGui.h"
#include "ui/QDToolkitQt.h"

namespace
{
void PrintHelp()
{
    printf("Usage: quendrel [FILE...] [EFFECT...]\n"
           "Opens pictures and project files (.qdj) in the running Quendrel, or starts it.\n"
           "Words without a dot name effects to apply to the picture opened last (blur, sharpen...).\n"
           "\n"
           "  --version            print the version and exit\n"
           "  --zoom PERCENT|fit   once the picture is rendered, zoom to it\n"
           "  --screenshot FILE    then save a picture of the window (PNG) and quit\n"
           "  --screenshots DIR    walk the window's scenario on FILE, one PNG per step, and quit\n"
           "\n"
           "The switches for pictures run a window of their own, apart from a running Quendrel.\n");
}

// A window of its own for a script: no pipe, and the run ends by itself.
int RunScripted(QDToolkitQt& toolkit, MainDialog& dialog, const std::string& photo, const std::string& zoom,
                const std::string& shot, const std::string& folder)
{
    LThreadRunOnMainThread::Init();
    int result = 2;
    if (dialog.InitApplication() && dialog.CreateMainWindow())
    {
        QDAutomation automation(dialog);
        if (!folder.empty())
            automation.StartScenario(photo, folder);
        else
            automation.StartZoomShot(photo, zoom, shot);
        result = toolkit.RunEventLoop();
        dialog.DestroyMainWindow();
    }
    LThreadRunOnMainThread::Destroy();
    return result;
}
} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> arguments{argc > 0 ? argv[0] : "quendrel"};
    std::string zoom, shot, folder;
    for (int i = 1; i < argc; ++i)
    {
        const std::string a = argv[i];
        auto value = [&](std::string& out)
        {
            if (i + 1 >= argc)
            {
                fprintf(stderr, "quendrel: %s needs a value\n", a.c_str());
                return false;
            }
            out = argv[++i];
            return true;
        };
        if (a == "--version")
        {
            printf("Quendrel %s\n", kQDVersion);
            return 0;
        }
        if (a == "--help" || a == "-h")
        {
            PrintHelp();
            return 0;
        }
        if (a == "--zoom" || a == "--screenshot" || a == "--screenshots")
        {
            if (!value(a == "--zoom" ? zoom : a == "--screenshot" ? shot : folder))
                return 2;
            continue;
        }
        arguments.push_back(a);
    }
    if (!LPlatformHasDisplay())
    {
        fputs("quendrel: no display to show a window on (neither DISPLAY nor WAYLAND_DISPLAY is set)\n",
              stderr);
        return 1;
    }
    LFileMigrateSharedSettings();
    QDToolkitQt toolkit(argc, argv);
    MainDialog dialog(toolkit);
    if (!zoom.empty() || !shot.empty() || !folder.empty())
    {
        if (arguments.size() != 2)
        {
            fprintf(stderr, "quendrel: the switches for pictures take one photo\n");
            return 2;
        }
        return RunScripted(toolkit, dialog, arguments[1], zoom, shot, folder);
    }
    return dialog.Run(arguments);
}
