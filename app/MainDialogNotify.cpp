// What reaches the controller from elsewhere: render notifications from the render thread,
// messages that panels and tools post, commands from a second start, and the undo stacks' news.

#include <algorithm>
#include <cstring>
#include <strings.h>

#include "app/MainDialog.h"
#include "app/QDCommandIds.h"
#include "canvas/QDProjectViewer.h"
#include "canvas/QDViewportRenderer.h"
#include "document/LQDCacheStore.h"

namespace
{
// The thumbnail comes from the picture the canvas shows, reduced, never from a second load.
constexpr int kThumbnailWidth = 192;

const char* const kApiFailedLoad = "One or more images could not be loaded";
const char* const kApiUnrecognized = "Unrecognized parameter";
const char* const kApiInvalidImage = "Invalid image";
} // namespace

void MainDialog::EvQueuedNotifyData(int code, void* data, size_t size)
{
    if (code == QDRenderNotifyProgress)
    {
        if (lpHost)
            lpHost->SetStatusProgress(double(size) / 100.0);
        TimerSet(TIMER_ENABLE_CONTROLS, 500);
        return;
    }
    if (code < QDRenderNotifyBegin || code > QDRenderNotifyFailed)
        return;
    QDProject* project =
        size == QDRenderNotifySize ? QDProjectFromNotification(lpProjects, data, size) : nullptr;
    QDMainViewer* mv = GetMainViewer(project);
    if (mv && lpHost)
    {
        QDProjectViewer& viewer = *mv->lpViewer;
        auto thumbnail = [&]
        {
            const LGuiImage& shown = viewer.GetCanvasViewer().GetViewportRenderer()->GetDisplayImage();
            if (!shown.IsEmpty())
                lpHost->ThumbnailUpdate(*project, shown.GetReducedFor(kThumbnailWidth).GetBuffer());
        };
        switch (code)
        {
        case QDRenderNotifyBegin:
            lpHost->SetStatusProgress(0);
            break;
        case QDRenderNotifyLowRes:
            viewer.EvRenderNotification(code);
            thumbnail();
            break;
        case QDRenderNotifyHighRes:
            viewer.EvRenderNotification(code);
            thumbnail();
            lpHost->SetStatusProgress(1.0);
            SetWindowCaption();
            break;
        case QDRenderNotifyCancelled:
        case QDRenderNotifyFailed:
            viewer.EvRenderNotification(code);
            lpHost->SetStatusProgress(1.0);
            break;
        default:
            break;
        }
    }
    TimerSet(TIMER_ENABLE_CONTROLS, 500);
    if (fnRenderNotified)
        fnRenderNotified(code, project);
}

void MainDialog::EvInterWinMessage(int id, intptr_t a, intptr_t b)
{
    (void)b;
    switch (id)
    {
    case 1:
        if (bLoadingProject)
            break;
        EvRenderProject();
        break;
    case 2:
    {
        auto* element = reinterpret_cast<QDImagePipelineElement*>(a);
        // The element may have gone with its project since the message was posted.
        QDProject* project = nullptr;
        for (QDProject* p = lpProjects; p && !project; p = p->lpNext)
            if (p->pipeline.GetElementIndex(element) >= 0)
                project = p;
        if (!project || element->bBaseElement)
            break;
        threadRender.StopThreadNow();
        DestroyElementUi(project, element);
        project->DeletePipelineElement(element, true);
        if (QDMainViewer* mv = GetMainViewer(project))
            mv->lpViewer->SyncPipelineElementUis();
        SelectLastVisibleElementUi(project);
        UpdateElementList();
        EvRenderProject();
        SetWindowCaption();
        break;
    }
    case 3:
        EnableControls();
        break;
    case 6:
        Alert(LAlertKindWarning, "Make a selection",
              "Please make a selection first. You can find the selection tools in the 'Select' tab.", {"OK"});
        break;
    case 7:
        iWandTolerance = int(a);
        break;
    case 12:
    {
        // A picture left in the cache by another part of the program becomes a project of its own.
        LImageBuffer image;
        QDProject* previous = pCurrentProject;
        if (LQDCacheLoadImage(image, int32_t(a)) && image.IsValid() && AddProjectFromImage(image, nullptr))
        {
            EvRenderProject();
            if (previous)
                SetCurrentProject(previous);
        }
        break;
    }
    case 13:
        CmSaveImage();
        break;
    case 20:
        if (!lpHost)
            break;
        lpHost->Relayout();
        {
            const bool collapsed = lpHost->IsThumbnailStripCollapsed();
            lpHost->SetControlTip(ID_THUMBNAIL_EXPAND, collapsed ? "Expand the thumbnail browser"
                                                                 : "Collapse the thumbnail browser");
            if (collapsed && !bThumbnailTipShown)
            {
                bThumbnailTipShown = true;
                lpHost->ShowBubble("Click to expand", 0, 0);
            }
        }
        break;
    // Regions, selections, overlay layers, text, print preview and snips post the others; none of
    // them exists in this build.
    default:
        break;
    }
}

int MainDialog::EvAPICommand(int count, const char* const* arguments, std::string& result)
{
    // While a file of an earlier command is still loading, or a dialog holds the window, the
    // command waits in line: run inside that work's event loop it would find no picture yet, and
    // waiting there would keep that work from ever returning.
    if (bApiRunning || !dqApiPending.empty() || !lpHost || !lpHost->IsEnabled())
    {
        dqApiPending.emplace_back(arguments, arguments + std::max(count, 0));
        bApiReady = false;
        TimerSet(TIMER_API_READY, 500);
        result = "OK";
        return 0;
    }
    return RunApiCommand(count, arguments, result);
}

int MainDialog::RunApiCommand(int count, const char* const* arguments, std::string& result)
{
    if (count > 0)
        bShowStartScreen = false;
    TimerReset(TIMER_STARTUP);
    bApiRunning = true;
    const int r = RunApiArguments(count, arguments, result);
    bApiRunning = false;
    return r;
}

void MainDialog::RunPendingApiCommands()
{
    while (!dqApiPending.empty() && !bApiRunning && lpHost && lpHost->IsEnabled())
    {
        const std::vector<std::string> command = std::move(dqApiPending.front());
        dqApiPending.pop_front();
        std::vector<const char*> list;
        for (const std::string& a : command)
            list.push_back(a.c_str());
        std::string result;
        RunApiCommand(int(list.size()), list.data(), result);
    }
    bApiReady = dqApiPending.empty();
    if (!bApiReady)
        TimerSet(TIMER_API_READY, 500);
}

int MainDialog::RunApiArguments(int count, const char* const* arguments, std::string& result)
{
    result = "OK";
    for (int i = 0; i < count; ++i)
    {
        const char* argument = arguments[i];
        if (!argument)
            continue;
        if (strchr(argument, '.') && argument[0] != '.')
        {
            const std::string path = argument;
            const LProcessResult r =
                lpHost
                    ? lpHost->RunProcessDialog("Loading image file", [this, path](LProcessInterface& process)
                                               { return FileOpen(process, path.c_str()); })
                    : LProcessResultFailed;
            EnableControls();
            if (r != LProcessResultSuccess)
            {
                result = kApiFailedLoad;
                return -1;
            }
            continue;
        }
        QDEffectFactory* factory = nullptr;
        for (QDEffectFactory* f = catalogue.lFactories.GetFirst(); f && !factory; f = f->GetNextItem())
            if (strcasecmp(f->szTypeIdentifier, argument) == 0)
                factory = f;
        if (!factory)
        {
            result = kApiUnrecognized;
            return -1;
        }
        if (!pCurrentProject || !GetCurrentViewer())
        {
            result = kApiInvalidImage;
            return -1;
        }
        DeselectAllElementUis(pCurrentProject);
        threadRender.StopThreadNow();
        QDImagePipelineElement* element = factory->CreateLayer(*pCurrentProject, this, true);
        if (!element)
        {
            result = kApiUnrecognized;
            EvRenderProject();
            return -1;
        }
        CreateElementUi(pCurrentProject, element);
        SelectElementUi(pCurrentProject, element);
        EvRenderProject();
        SetWindowCaption();
    }
    return 0;
}

void MainDialog::EvUndoRedoStackItemAdded(LUndoRedoItem*)
{
    TimerSet(TIMER_ENABLE_CONTROLS, 500);
}

void MainDialog::EvUndoRedoStackItemRemoved(LUndoRedoItem*)
{
    TimerSet(TIMER_ENABLE_CONTROLS, 500);
}

void MainDialog::EvUndoRedoStackPositionChanged()
{
    TimerSet(TIMER_ENABLE_CONTROLS, 500);
}

void MainDialog::EvUndoRedoStackClear()
{
    TimerSet(TIMER_ENABLE_CONTROLS, 500);
}

void MainDialog::EvUndoRedoStackSaveFlagChanged()
{
    TimerSet(TIMER_ENABLE_CONTROLS, 500);
}
