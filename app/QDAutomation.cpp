#include "app/QDAutomation.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "app/MainDialog.h"
#include "app/QDCommandIds.h"
#include "canvas/QDProjectViewer.h"
#include "effects/QDEffectCatalogue.h"

namespace
{
constexpr int kTimerNext = 1;
constexpr int kTimerShoot = 2;
constexpr int kTimerTimeout = 3;
// Time for the coalesced repaint to reach the screen.
constexpr int kSettleMs = 600;
} // namespace

QDAutomation::QDAutomation(MainDialog& dialog) : rDialog(dialog)
{
    rDialog.fnRenderNotified = [this](int code, QDProject* project) { EvRender(code, project); };
}

QDAutomation::~QDAutomation()
{
    rDialog.fnRenderNotified = nullptr;
    TimerDestroy();
}

void QDAutomation::StartZoomShot(const std::string& photo, const std::string& zoom, const std::string& path)
{
    szPhoto = photo;
    szZoom = zoom;
    szZoomShot = path;
    bZoomShot = true;
    vSteps = {{"", 0, true}};
    TimerSet(kTimerTimeout, kTimeoutMs);
    TimerSet(kTimerNext, 0);
}

void QDAutomation::StartScenario(const std::string& photo, const std::string& folder)
{
    szPhoto = photo;
    szFolder = folder;
    // The first effect of the tone family when it is there, else the blur every build has.
    const int effect = rDialog.catalogue.MapCommandIdToEffectFactory(6003) ? 6003 : 6022;
    const int second = rDialog.catalogue.MapCommandIdToEffectFactory(6023) ? 6023 : effect;
    vSteps = {
        {"01-start", -1, false},
        {"02-photo-open", 0, true},
        {"03-effect-panel", effect, true},
        {"04-zoom-fit", CM_ZOOM_FIT, false},
        {"05-zoom-100", CM_ZOOM_100, false},
        {"06-zoom-400", -2, false},
        {"", CM_ZOOM_FIT, false},
        {"07-two-effects", second, true},
        {"08-after-undo", CM_UNDO, true},
        {"09-save-dialog", CM_SAVE_FOR_WEB, false, true},
        {"10-batch-editor", CM_BATCH, false, true},
    };
    TimerSet(kTimerTimeout, kTimeoutMs);
    TimerSet(kTimerNext, kSettleMs);
}

void QDAutomation::EvTimer(int id)
{
    switch (id)
    {
    case kTimerNext:
        Next();
        break;
    case kTimerShoot:
    {
        const Step& step = vSteps[iStep];
        if (!step.szShot.empty())
            Shoot(step.szShot);
        const bool dialog = step.bDialog;
        ++iStep;
        if (dialog && rDialog.GetHost())
        {
            // Inside the dialog's own loop: close it, and go on once its command has returned.
            rDialog.GetHost()->CloseModalDialog();
            TimerSet(kTimerNext, kSettleMs);
        }
        else
            Next();
        break;
    }
    case kTimerTimeout:
        fprintf(stderr, "quendrel: the scripted run did not finish in time\n");
        Finish(2);
        break;
    default:
        break;
    }
}

void QDAutomation::Next()
{
    if (iStep >= vSteps.size())
    {
        if (bZoomShot)
        {
            if (szZoom == "fit")
                rDialog.Command(CM_ZOOM_FIT, 0);
            else if (!szZoom.empty())
                rDialog.CmZoomTo(float(atof(szZoom.c_str())) / 100.0f);
            if (szZoomShot.empty())
                return;
            bZoomShot = false;
            vSteps.push_back({szZoomShot, -1, false});
            TimerSet(kTimerShoot, kSettleMs);
            return;
        }
        Finish(0);
        return;
    }
    RunStep(vSteps[iStep]);
}

void QDAutomation::RunStep(const Step& step)
{
    bWaitingRender = step.bWaitRender;
    if (step.iCommand == 0)
    {
        const char* argument = szPhoto.c_str();
        std::string result;
        if (rDialog.RunApiArguments(1, &argument, result) != 0)
        {
            fprintf(stderr, "quendrel: %s\n", result.c_str());
            Finish(2);
            return;
        }
    }
    else if (step.iCommand == -2)
        rDialog.CmZoomTo(4.0f);
    else if (step.bDialog)
    {
        // The dialog's loop runs the picture and its closing; a first preview has long come by then.
        TimerSet(kTimerShoot, 4 * kSettleMs);
        rDialog.Command(step.iCommand, 0);
        return;
    }
    else if (step.iCommand > 0)
    {
        // As a person would: from the tab that holds the effect.
        if (const QDEffectCatalogueRow* row = QDEffectCatalogueFind(step.iCommand); row && row->szTab)
            for (const QDToolbarTab& tab : QDEffectToolbarTabs())
                if (strncmp(row->szTab, tab.szName, strlen(tab.szName)) == 0 && rDialog.GetHost())
                    rDialog.GetHost()->ShowToolbarTab(tab.iCommandId);
        rDialog.Command(step.iCommand, 0);
    }
    if (!bWaitingRender)
        TimerSet(kTimerShoot, kSettleMs);
}

void QDAutomation::EvRender(int code, QDProject* project)
{
    if (!bWaitingRender || project != rDialog.GetCurrentProject())
        return;
    if (code == 5004 || code == 5005)
    {
        fprintf(stderr, "quendrel: the picture could not be rendered\n");
        Finish(2);
        return;
    }
    if (code != 5003)
        return;
    bWaitingRender = false;
    TimerSet(kTimerShoot, kSettleMs);
}

void QDAutomation::Shoot(const std::string& name)
{
    std::string path = szFolder.empty() ? name : szFolder + "/" + name + ".png";
    if (!rDialog.GetHost() || !rDialog.GetHost()->SaveWindowPicture(path.c_str()))
    {
        fprintf(stderr, "quendrel: could not write %s\n", path.c_str());
        Finish(2);
        return;
    }
    if (!szFolder.empty())
        printf("%s\n", path.c_str());
}

void QDAutomation::Finish(int code)
{
    TimerDestroy();
    vSteps.clear();
    if (LMainWindowHost* host = rDialog.GetHost())
        host->Quit(code);
}
