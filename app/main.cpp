#include <QApplication>
#include <QCommandLineParser>
#include <QTimer>

#include <cstdio>

#include "document/DeleteFileThread.h"
#include "foundation/LThread.h"
#include "foundation/LThreadRunOnMainThread.h"
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
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({"zoom", "Once the picture is rendered, zoom to PERCENT or \"fit\".", "PERCENT"});
    parser.addOption({"screenshot", "Then save a picture of the window to FILE (PNG) and quit.", "FILE"});
    parser.addPositionalArgument("file", "The picture to open.");
    parser.process(app);

    LThreadRunOnMainThread::Init();
    // Removes the cache files of a previous run before the first picture is cached.
    deleteThread.StartThread(LThreadPriorityNormal);
    int result;
    {
        QDMainWindow window;
        if (parser.isSet("zoom") || parser.isSet("screenshot"))
            window.SetAutomation(parser.value("zoom"), parser.value("screenshot"));
        window.show();
        const QStringList files = parser.positionalArguments();
        if (!files.isEmpty())
        {
            const QByteArray path = files.first().toLocal8Bit();
            QTimer::singleShot(0, &window, [&window, path] { window.OpenImage(path.constData()); });
        }
        result = app.exec();
    }
    deleteThread.StopThreadNow();
    LThreadRunOnMainThread::Destroy();
    return result;
}
