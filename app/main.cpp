#include <QApplication>

#include <cstdio>

#include "platform/gui/LPlatformGui.h"
#include "ui/QDMainWindow.h"

int main(int argc, char** argv)
{
    if (!LPlatformHasDisplay())
    {
        fputs("quendrel: no display to show a window on (neither DISPLAY nor WAYLAND_DISPLAY is set)\n",
              stderr);
        return 1;
    }
    QApplication app(argc, argv);
    QApplication::setApplicationName("Quendrel");
    QDMainWindow window;
    if (argc > 1)
        window.OpenImage(argv[1]);
    window.show();
    return app.exec();
}
