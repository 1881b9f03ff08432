#pragma once
// The program's toolkit on Qt: the application object (made only when a window is needed, so a
// second start that hands its arguments over stays quick), the icon theme with its fallback,
// the panels of the effects, the main window and the dialogs.

#include <memory>

#include "ui/LToolkit.h"
#include "ui/QDDialogResponderQt.h"

class QApplication;

class QDToolkitQt : public LToolkit
{
public:
    // argc and argv must outlive the toolkit, as Qt keeps them.
    QDToolkitQt(int& argc, char** argv);
    ~QDToolkitQt() override;

    bool InitApplication() override;
    void InstallPanels(LWindow* refreshWindow) override;
    LMainWindowHost* CreateMainWindow(LMainWindowHandler& handler) override;
    LDialogResponder& GetResponder() override { return responder; }
    int RunEventLoop() override;

    // The theme's icons, with the bundled fallback theme where the desktop names none.
    static void SetUpIcons();

private:
    int& rArgc;
    char** lpArgv;
    std::unique_ptr<QApplication> lpOwnApplication;
    QDDialogResponderQt responder;
};
