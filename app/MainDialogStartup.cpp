// Construction, InitDialog and its ordered steps, the timers, the welcome dialog and the
// preferences.

#include <cstdlib>
#include <cstring>

#include "app/MainDialog.h"
#include "app/QDCommandIds.h"
#include "app/QDMenus.h"
#include "canvas/QDProjectViewer.h"
#include "codecs/LImageMetadata.h"
#include "document/DeleteFileThread.h"
#include "document/QDProjectFile.h"
#include "foundation/LFile.h"
#include "foundation/LUserSettings.h"

namespace
{
// The highest number of a recovery file "%d.zqp" in the folder, -1 when there is none.
int HighestRecoveryNumber()
{
    char folder[LFILE_MAX_PATH];
    if (!LFile::GetSharedDataFolderApp(folder))
        return -1;
    int highest = -1;
    for (LFile::FolderIterator it(folder, "*.zqp"); it.Next();)
    {
        char* end = nullptr;
        const long n = strtol(it.GetName(), &end, 10);
        if (end != it.GetName() && end && strcmp(end, ".zqp") == 0 && n >= 0 && n < 1000000 && n > highest)
            highest = int(n);
    }
    return highest;
}
} // namespace

QDMainViewer::QDMainViewer(QDProject& project) : lpViewer(std::make_unique<QDProjectViewer>(project)) {}

QDMainViewer::~QDMainViewer() = default;

bool QDMainViewer::HasElementUi(const QDImagePipelineElement* element) const
{
    for (const QDImagePipelineElement* e : vElementUis)
        if (e == element)
            return true;
    return false;
}

MainDialog::MainDialog(LToolkit& toolkit) : LMainWindow(toolkit)
{
    threadRender.lpNotifyHandler = this;
}

MainDialog::~MainDialog()
{
    // Nothing queued for this object may run once its parts start to go.
    threadRunOnMainThread.ThreadRunOnMainThreadDestroy();
    threadRunOnMainThreadMessages.ThreadRunOnMainThreadDestroy();
    DestroyMainWindow();
    TimerDestroy(this);
    threadRender.StopThreadNow();
    lViewers.clear();
    while (QDProject* p = lpProjects)
    {
        lpProjects = p->lpNext;
        delete p;
    }
    lEffectCategories.DeleteAll();
}

void MainDialog::InitDialog()
{
    if (!deleteThread.IsRunning())
        deleteThread.StartThread(LThreadPriorityNormal);

    // The factories in catalogue order, the eight kept apart, the batch editor's offer.
    catalogue.Register();
    QDEffectFactory** special[] = {&pFactoryOriginal,      &pFactoryOverlayImage, &pFactoryOverlayText,
                                   &pFactoryCropSelection, &pFactoryFill,         &pFactoryRegion,
                                   &pFactoryCollage,       &pFactoryFrame};
    for (size_t i = 0; i < std::size(special); ++i)
        *special[i] = catalogue.arSpecialFactories[i];
    vBatchAvailable = catalogue.vBatchFactories;
    QDBatchStateInitFromCatalogue(batchState, catalogue);
    rToolkit.InstallPanels(this);
    QDProjectFileEnableRecovery(true);
    // The files of a crashed run keep their names until they have been offered.
    QDProjectReserveRecoveryNumbers(HighestRecoveryNumber() + 1);

    lpHost->SetCaptionToolbar(QDBuildCaptionToolbar());
    std::vector<LKeyMapEntry> keys = QDKeyMap();
    keys.insert(keys.end(), QDDesktopKeys().begin(), QDDesktopKeys().end());
    lpHost->SetKeyMap(keys);
    SetupMenu();
    lpHost->ShowControl(ID_LOGO, true);
    SetupToolbar();

    lpHost->SetStatusText("");
    lpHost->SetStatusProgress(1.0);
    lpHost->SetStatusZoom(100);

    for (int id = 1; id <= 20; ++id)
        if (id != 11)
            LInterWinMessageHandler::HandleInterWinMessage(id, this);

    TimerSet(TIMER_STARTUP, 200);
    lpHost->SetControlTip(ID_THUMBNAIL_EXPAND, "Collapse the thumbnail browser");
    if (bShowStartScreen)
        bStartScreenShown = true;
    lpHost->ShowProjectViewer(nullptr);
    TimerSet(TIMER_RELAYOUT, 10);
    EnableControls();
}

void MainDialog::SetupMenu()
{
    lpHost->SetMenus(QDBuildMenus(lEffectCategories));
}

void MainDialog::SetupToolbar()
{
    lpHost->SetToolbarTabs(QDBuildToolbarTabs([this](int id) { return effectIcons.Get(id); }));
}

void MainDialog::RenderEffectIcons()
{
    if (effectIcons.IsRendered())
        return;
    char folder[LFILE_MAX_PATH], path[LFILE_MAX_PATH];
    if (!LFile::GetResourcesFolder(folder) ||
        !LFile::_MakeFilePath(path, folder, "icons/sample.png", nullptr) || !effectIcons.LoadSample(path))
        return;
    effectIcons.Render(catalogue.lFactories);
    if (lpHost)
    {
        SetupToolbar();
        EnableControls();
    }
}

void MainDialog::DestroyDialog()
{
    TimerDestroy(this);
    threadRender.StopThreadNow();
    for (auto& v : lViewers)
    {
        for (QDImagePipelineElement* e : v->vElementUis)
            lpHost->DestroyElementUi(*v->lpViewer, e);
        v->vElementUis.clear();
        lpHost->RemoveProjectViewer(*v->lpViewer);
    }
    lViewers.clear();
    if (!szClipartLocation.empty())
        szClipartLocation.clear();
}

void MainDialog::EvStartupArguments(const std::vector<std::string>& arguments)
{
    if (arguments.empty())
        return;
    std::vector<const char*> list;
    for (const std::string& a : arguments)
        list.push_back(a.c_str());
    std::string result;
    // The program's own command line opens what it names without giving up the offer to recover.
    const bool wasShowing = bShowStartScreen;
    bApiRunning = true;
    RunApiArguments(int(list.size()), list.data(), result);
    bApiRunning = false;
    bShowStartScreen = wasShowing;
    RunPendingApiCommands();
}

void MainDialog::EvTimer(int id)
{
    switch (id)
    {
    case TIMER_STARTUP:
        if (!lpHost || lpHost->IsMinimizedOrInBackground())
        {
            TimerSet(TIMER_STARTUP, 10);
            break;
        }
        LUserSettingSet("MainDialog", "StartupCount", LUserSettingGet("MainDialog", "StartupCount", 0) + 1);
        RecoverProjects();
        if (LUserSettingGet("Settings", "ShowWelcomeDialog", 1) && !lpProjects)
            DisplayWelcomeDialog();
        break;
    case TIMER_RELAYOUT:
        if (lpHost)
            lpHost->Relayout();
        // After the first paint: the toolbar's pictures are drawn by the effects themselves.
        RenderEffectIcons();
        break;
    case TIMER_ENABLE_CONTROLS:
        EnableControls();
        break;
    case TIMER_API_READY:
        RunPendingApiCommands();
        break;
    default:
        break;
    }
}

void MainDialog::DisplayWelcomeDialog()
{
    if (bShowStartScreen)
    {
        // The start screen stands in the canvas area while no project is open; its buttons send
        // their commands themselves.
        bStartScreenShown = true;
        if (lpHost && !pCurrentProject)
            lpHost->ShowProjectViewer(nullptr);
        return;
    }
    enum
    {
        kOpen = 1,
        kCollage,
        kGettingStarted,
        kTutorials
    };
    const std::vector<LDialogMenuItem> items = {
        {"Open an Image", "Open an image file from your hard disk.", kOpen},
        {"Create a new collage", "Create a collage from several existing images.", kCollage},
        {"Getting started", "Open the Quendrel getting started guide.", kGettingStarted},
        {"Video Tutorials", "View Quendrel video tutorials", kTutorials},
    };
    bool showAgain = true;
    const int chosen = rResponder.ChooseItem("Welcome to Quendrel", "How would you like to begin?",
                                             "Please select an option.", items, &showAgain);
    if (!showAgain)
        LUserSettingSet("Settings", "ShowWelcomeDialog", 0);
    switch (chosen)
    {
    case kOpen:
        CmFileOpen();
        break;
    case kCollage:
        Command(CM_COLLAGE, 0);
        break;
    case kGettingStarted:
        lpHost->OpenHelpPage("gettingstarted");
        break;
    case kTutorials:
        lpHost->OpenHelpPage("videotutorial");
        break;
    default:
        break;
    }
}

void MainDialog::CmSettings()
{
    bool welcome = LUserSettingGet("Settings", "ShowWelcomeDialog", 1) != 0;
    bool saveWarning = LUserSettingGet("Settings", "ShowSaveWarning", 1) != 0;
    bool keepPhotoInformation = LImageMetadataGetKeep();
    if (!rResponder.EditPreferences(welcome, saveWarning, keepPhotoInformation))
        return;
    LUserSettingSet("Settings", "ShowWelcomeDialog", welcome ? 1 : 0);
    LUserSettingSet("Settings", "ShowSaveWarning", saveWarning ? 1 : 0);
    LImageMetadataSetKeep(keepPhotoInformation);
}
