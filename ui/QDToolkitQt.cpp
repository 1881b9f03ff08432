#include "ui/QDToolkitQt.h"

#include <QApplication>
#include <QIcon>

#include "foundation/LFile.h"
#include "foundation/LProcessAlert.h"
#include "ui/QDMainWindow.h"
#include "ui/panels/QDEffectPanels.h"
#include "ui/panels/QDPropertiesPanel.h"

QDToolkitQt::QDToolkitQt(int& argc, char** argv) : rArgc(argc), lpArgv(argv) {}

QDToolkitQt::~QDToolkitQt()
{
    if (LGetAlertResponder() == &responder)
        LSetAlertResponder(nullptr);
}

void QDToolkitQt::SetUpIcons()
{
    // The desktop's theme when there is one; breeze where it has no icon of that name, and for
    // sessions without a desktop at all.
    QIcon::setFallbackThemeName("breeze");
    if (QIcon::themeName().isEmpty() || QIcon::themeName() == "hicolor")
        QIcon::setThemeName("breeze");
    char folder[LFILE_MAX_PATH];
    if (LFile::GetResourcesFolder(folder))
    {
        const QString icon = QString("%1/icons/quendrel.svg").arg(QString::fromUtf8(folder));
        const QString png = QString("%1/icons/quendrel-256.png").arg(QString::fromUtf8(folder));
        QIcon app(png);
        app.addFile(icon);
        QApplication::setWindowIcon(app);
    }
}

bool QDToolkitQt::InitApplication()
{
    if (!QCoreApplication::instance())
    {
        lpOwnApplication = std::make_unique<QApplication>(rArgc, lpArgv);
        QApplication::setApplicationName("Quendrel");
        QApplication::setApplicationVersion("2.82");
        QApplication::setDesktopFileName("quendrel");
    }
    if (!qobject_cast<QApplication*>(QCoreApplication::instance()))
        return false;
    SetUpIcons();
    LSetAlertResponder(&GetResponder());
    return true;
}

void QDToolkitQt::InstallPanels(LWindow* refreshWindow)
{
    QDRegisterEffectPanels();
    QDPropertiesPanel::SetRefreshWindow(refreshWindow);
}

LMainWindowHost* QDToolkitQt::CreateMainWindow(LMainWindowHandler& handler)
{
    return new QDMainWindow(handler);
}

int QDToolkitQt::RunEventLoop()
{
    return QApplication::exec();
}
