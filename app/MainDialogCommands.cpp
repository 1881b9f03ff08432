// The command table: every menu item, toolbar button and key ends in Command. Here too the route
// of effects, undo and redo, keys, right clicks and the zoom and scroll commands.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "app/MainDialog.h"
#include "app/QDCommandIds.h"
#include "app/QDMenus.h"
#include "canvas/QDProjectViewer.h"
#include "foundation/LUserSettings.h"

namespace
{
constexpr float kZoomMin = 0.05f;
constexpr float kZoomMax = 5.0f;
} // namespace

void MainDialog::Command(int id, int code)
{
    (void)code;
    switch (id)
    {
    case CM_FILE_NEW:
        CmNewFile();
        break;
    case CM_FILE_OPEN:
    case CM_START_OPEN:
        CmFileOpen();
        break;
    case CM_SAVE:
        CmSave();
        break;
    case CM_SAVE_AS:
        CmSaveAs();
        break;
    case CM_SAVE_IMAGE:
    case CM_SAVE_FOR_WEB:
        CmSaveImage();
        break;
    case CM_SAVE_PROJECT:
        CmSaveProject();
        break;
    case CM_CLOSE:
        CmProjectClose();
        break;
    case CM_CLOSE_ALL:
        CmProjectCloseAll();
        break;
    case CM_UNDO:
        CmUndo();
        break;
    case CM_REDO:
        CmRedo();
        break;
    case CM_DELETE:
        CmDeleteSelection();
        break;
    case CM_CUT:
        CmClipboardCut();
        break;
    case CM_COPY:
        CmClipboardCopy();
        break;
    case CM_PASTE:
        CmClipboardPaste();
        break;
    case CM_PASTE_NEW_PROJECT:
        CmClipboardPasteImageNewProject();
        break;
    case CM_BACKGROUND_POPUP:
        if (pCurrentProject)
        {
            const bool transparent = pCurrentProject->crBackground.alpha == 0.0f;
            LMenuItem clear{CM_BACKGROUND_TRANSPARENT, transparent ? "\u2713 Transparent" : "Transparent", "",
                            true};
            LMenuItem colour{CM_BACKGROUND_COLOUR, transparent ? "Color..." : "\u2713 Color...", "", true};
            if (int chosen = rResponder.PopupMenu({clear, colour}))
                Command(chosen, 0);
        }
        break;
    case CM_BACKGROUND_TRANSPARENT:
        CmBackgroundSetTransparent();
        break;
    case CM_BACKGROUND_COLOUR:
        CmBackgroundPickColour();
        break;
    case CM_ZOOM_5:
    case CM_ZOOM_25:
    case CM_ZOOM_50:
    case CM_ZOOM_100:
    case CM_ZOOM_200:
    case CM_ZOOM_500:
    {
        static const float kZooms[] = {0.05f, 0.25f, 0.5f, 1.0f, 2.0f, 5.0f};
        CmZoomTo(kZooms[id - CM_ZOOM_5]);
        break;
    }
    case CM_ZOOM_IN:
        if (QDProjectViewer* v = GetCurrentViewer())
            v->GetCanvasViewer().ZoomIn();
        break;
    case CM_ZOOM_OUT:
        if (QDProjectViewer* v = GetCurrentViewer())
            v->GetCanvasViewer().ZoomOut();
        break;
    case CM_ZOOM_FIT:
        if (QDProjectViewer* v = GetCurrentViewer())
            v->GetCanvasViewer().FitCameraToViewport();
        break;
    case CM_ZOOM_FULLSCREEN:
        if (lpHost)
            lpHost->ToggleFullScreen();
        break;
    case CM_ZOOM_STATUS_BAR:
        if (lpHost)
            CmZoomTo(float(lpHost->GetStatusZoom()) / 100.0f);
        break;
    case CM_FRAME_POPUP:
        if (int chosen = rResponder.PopupMenu(
                {{CM_FRAME_BORDER, "Simple Border", "", IsCommandAvailable(CM_FRAME_BORDER)},
                 {CM_FRAME_IMAGE, "Image Frame", "", IsCommandAvailable(CM_FRAME_IMAGE)}}))
            Command(chosen, 0);
        break;
    case CM_FRAME_BORDER:
        if (QDEffectFactory* border = catalogue.MapTypeIdToEffectFactory("border"); border && pCurrentProject)
        {
            DeselectAllElementUis(pCurrentProject);
            threadRender.StopThreadNow();
            if (QDImagePipelineElement* e = border->CreateLayer(*pCurrentProject, this, true))
            {
                CreateElementUi(pCurrentProject, e);
                SelectElementUi(pCurrentProject, e);
            }
            EvRenderProject();
        }
        break;
    case CM_SETTINGS:
        CmSettings();
        break;
    case CM_HELP_SAVE_DIALOG:
        if (lpHost)
            lpHost->OpenHelpPage("savedialog");
        break;
    case CM_DONT_SHOW_SAVE_WARNING:
        LUserSettingSet("Settings", "ShowSaveWarning", 0);
        if (lpHost)
            lpHost->HideInfoBar();
        break;
    case CM_HIDE_INFO_BAR:
        if (lpHost && lpHost->IsInfoBarShown())
            lpHost->HideInfoBar();
        break;
    case CM_SCROLL_UP:
    case CM_SCROLL_DOWN:
    case CM_SCROLL_LEFT:
    case CM_SCROLL_RIGHT:
        CmScroll(id);
        break;
    case CM_START_CLOSE:
        bStartScreenShown = false;
        if (lpHost)
            lpHost->SetStartScreenShown(false);
        break;
    case CM_START_TUTORIALS:
        if (lpHost)
            lpHost->OpenHelpPage("videotutorial");
        break;
    case CM_START_EMBROIDERY:
    case CM_START_PAINT:
    {
        QDEffectFactory* factory =
            catalogue.MapTypeIdToEffectFactory(id == CM_START_EMBROIDERY ? "embroidery" : "paint");
        std::string path;
        if (!factory || !lpHost || !BrowseForOpenSingle(path))
            break;
        if (OpenFilesInQueue({path}, "Loading image file...") != LProcessResultSuccess || !pCurrentProject)
            break;
        threadRender.StopThreadNow();
        if (QDImagePipelineElement* e = factory->CreateLayer(*pCurrentProject, this, false))
        {
            CreateElementUi(pCurrentProject, e);
            SelectElementUi(pCurrentProject, e);
        }
        EvRenderProject();
        break;
    }
    case CM_ABOUT:
        CmAbout();
        break;
    case CM_QUIT:
        if (CmCancel() && lpHost)
            lpHost->Quit(0);
        break;
    case CM_BATCH:
    case CM_START_BATCH:
        if (lpHost)
            lpHost->RunBatchEditor(batchState);
        break;
    // The subsystems behind these (cloud services, capture, print, collage, clipart,
    // selection tools, sharing, wallpaper) come with their own work; until then their items stay
    // disabled and the command does nothing.
    case CM_OPEN_DROPBOX:
    case CM_OPEN_GOOGLE_DRIVE:
    case CM_SAVE_DROPBOX:
    case CM_SHARE_DROPBOX:
    case CM_SAVE_GOOGLE_DRIVE:
    case CM_SHARE_GOOGLE_DRIVE:
    case CM_SET_WALLPAPER:
    case CM_WEBCAM:
    case CM_SCREENSHOT_POPUP:
    case CM_PRINT:
    case CM_SCREENSHOT:
    case CM_START_SCREENSHOT:
    case CM_SCREENSHOT_SNIP:
    case CM_SELECT_ALL:
    case CM_DESELECT_ALL:
    case CM_SELECT_INVERT:
    case CM_SELECT_RECTANGLE:
    case CM_SELECT_OVAL:
    case CM_SELECT_POLYGON:
    case CM_SELECT_LASSO:
    case CM_SELECT_MAGNET:
    case CM_SELECT_WAND:
    case CM_WAND_TOLERANCE:
    case CM_SELECT_CROP:
    case CM_SELECT_FILL:
    case CM_SELECT_EXPAND:
    case CM_SELECT_CONTRACT:
    case CM_COLLAGE:
    case CM_START_COLLAGE:
    case CM_CLIPART:
    case CM_FRAME_IMAGE:
    case CM_UPLOAD_FLICKR:
    case CM_UPLOAD_FACEBOOK:
    case CM_SEND_EMAIL:
        break;
    default:
        EffectCommand(id);
        break;
    }
}

void MainDialog::EffectCommand(int id)
{
    QDProject* project = pCurrentProject;
    QDEffectFactory* factory = catalogue.MapCommandIdToEffectFactory(id);
    if (!project || !factory)
        return;
    if (!CheckAndPromptForLayerCountLimit(project, 1))
        return;
    // FIXME: the offer to resize large pictures first before "mosaic" and "warp", and the
    // question whether to apply an effect to the selection or the overlay image, wait for the
    // resize effect, the selection tools and the overlay layers.
    DeselectAllElementUis(project);
    threadRender.StopThreadNow();
    QDImagePipelineElement* element = factory->CreateLayer(*project, this, true);
    if (!element)
        return;
    CreateElementUi(project, element);
    SelectElementUi(project, element);
    EvRenderProject();
    CmFirstTimeHelp(id);
    SetWindowCaption();
}

bool MainDialog::CheckAndPromptForLayerCountLimit(QDProject* project, int count)
{
    if (!project)
        return false;
    const size_t layers = project->GetLayerCount();
    if (layers + size_t(count) <= size_t(kQDMaxLayers))
        return true;
    char text[256];
    if (count == 1)
        snprintf(
            text, sizeof(text),
            "Quendrel's layer count limit of %d has been reached. To add new layers, please remove one or "
            "more layers first.",
            kQDMaxLayers);
    else
        snprintf(
            text, sizeof(text),
            "Quendrel currently supports a maximum of %d layers. Please select %d or fewer images to stay "
            "within the limit.",
            kQDMaxLayers, kQDMaxLayers - int(layers));
    Alert(LAlertKindError, "Maximum limit reached.", text, {"OK"});
    return false;
}

void MainDialog::CmFirstTimeHelp(int id)
{
    const char* key = nullptr;
    const char* text = nullptr;
    if (id == CM_EFFECT_TOUCHUP)
    {
        key = "InfoTouchUp";
        text =
            "Drag the right circle to the area that needs fixing. Drag the left circle to set the sampling "
            "region. Drag the circle perimeters to resize the circles.";
    }
    else if (id == CM_EFFECT_ROTATE)
    {
        key = "InfoRotate";
        text = "Click and drag the image to rotate it. Hold the CTRL key to snap to the nearest 45 degree "
               "angle.";
    }
    if (!key || !lpHost)
        return;
    const int shown = LUserSettingGet("Settings", key, 0);
    if (shown >= 5)
        return;
    lpHost->ShowInfoBar(text, nullptr, 0, nullptr, 0);
    LUserSettingSet("Settings", key, shown + 1);
}

void MainDialog::CmUndo()
{
    QDProject* project = pCurrentProject;
    if (project)
    {
        threadRender.StopThreadNow();
        const std::vector<QDImagePipelineElement*> before = project->pipeline.GetOrder();
        project->pLastUndoRedoElement = nullptr;
        project->undoStack.Undo();
        AfterUndoRedo(project, before);
    }
    EvRenderProject();
}

void MainDialog::CmRedo()
{
    QDProject* project = pCurrentProject;
    if (project)
    {
        threadRender.StopThreadNow();
        const std::vector<QDImagePipelineElement*> before = project->pipeline.GetOrder();
        project->pLastUndoRedoElement = nullptr;
        project->undoStack.Redo();
        AfterUndoRedo(project, before);
    }
    EvRenderProject();
}

void MainDialog::AfterUndoRedo(QDProject* project, const std::vector<QDImagePipelineElement*>& before)
{
    QDMainViewer* mv = GetMainViewer(project);
    if (QDImagePipelineElement* e = project->pLastUndoRedoElement; e && mv)
    {
        const size_t layers = project->GetLayerCount();
        const size_t panels = mv->vElementUis.size();
        if (layers < panels)
        {
            DestroyElementUi(project, e);
            SelectLastVisibleElementUi(project);
        }
        else if (layers > panels)
        {
            CreateElementUi(project, e);
            SelectElementUi(project, e);
        }
    }
    MarkReorderedDirty(project, before);
    if (mv)
        mv->lpViewer->SyncPipelineElementUis();
    SetWindowCaption();
    UpdateElementList();
}

void MainDialog::MarkReorderedDirty(QDProject* project, const std::vector<QDImagePipelineElement*>& before)
{
    const std::vector<QDImagePipelineElement*> after = project->pipeline.GetOrder();
    if (after.size() != before.size())
        return;
    for (size_t i = 0; i < after.size(); ++i)
        if (after[i] != before[i])
        {
            // The cached pictures behind this place were made in the old order.
            after[i]->SetDirty();
            project->bRenderRequested = true;
            return;
        }
}

bool MainDialog::CmDelete()
{
    QDImagePipelineElement* selected = GetSelectedElement();
    if (!selected)
        return false;
    if (!selected->bBaseElement)
        LWindow::SendInterWinMessage(this, 2, reinterpret_cast<intptr_t>(selected), 0);
    return true;
}

void MainDialog::CmDeleteSelection()
{
    if (!pCurrentProject)
        return;
    // Without a selection mask only an overlay image goes; a text layer refuses.
    if (QDImagePipelineElement* selected = GetSelectedElement();
        selected && strcmp(selected->GetTypeIdentifier(), "image") == 0)
        CmDelete();
    EvRenderProject();
}

void MainDialog::CmZoomTo(float zoom)
{
    if (QDProjectViewer* v = GetCurrentViewer())
        v->GetCanvasViewer().SetZoom(std::clamp(zoom, kZoomMin, kZoomMax));
}

void MainDialog::CmScroll(int id)
{
    QDProjectViewer* v = GetCurrentViewer();
    if (!v)
        return;
    QDCanvasViewer& canvas = v->GetCanvasViewer();
    const float step = 0.1f * canvas.GetZoom();
    const bool vertical = id == CM_SCROLL_UP || id == CM_SCROLL_DOWN;
    const float sign = id == CM_SCROLL_UP || id == CM_SCROLL_LEFT ? -1.0f : 1.0f;
    if (vertical && canvas.CanScrollVertical())
        canvas.SetVerticalScrollRatio(std::clamp(canvas.GetVerticalScrollRatio() + sign * step, 0.0f, 1.0f));
    else if (!vertical && canvas.CanScrollHorizontal())
        canvas.SetHorizontalScrollRatio(
            std::clamp(canvas.GetHorizontalScrollRatio() + sign * step, 0.0f, 1.0f));
}

void MainDialog::CmBackgroundSetTransparent()
{
    if (!pCurrentProject)
        return;
    threadRender.StopThreadNow();
    pCurrentProject->SetBackground(LGuiColorAlpha(0, 0, 0, 0.0f));
    EvRenderProject();
    EnableControls();
}

void MainDialog::CmBackgroundPickColour()
{
    if (!pCurrentProject)
        return;
    LGuiColorAlpha colour = crBackgroundPick;
    if (!rResponder.PickColour(colour))
        return;
    colour.alpha = 1.0f;
    crBackgroundPick = colour;
    threadRender.StopThreadNow();
    pCurrentProject->SetBackground(colour);
    EvRenderProject();
    EnableControls();
}

void MainDialog::CmAbout()
{
    char text[256];
    snprintf(text, sizeof(text),
             "Quendrel %s\n\nA photo editor for the desktop: every edit stays a step of its own that can be "
             "changed, hidden, reordered or taken back.",
             kQDVersion);
    Alert(LAlertKindInfo, "About Quendrel", text, {"OK"});
}

bool MainDialog::EvKeyDown(uint32_t key)
{
    if (key == LKeyVirtual(0x35) && lpHost && lpHost->IsFullScreen())
    {
        lpHost->ToggleFullScreen();
        return true;
    }
    for (const auto* table : {&QDKeyMap(), &QDDesktopKeys()})
        for (const LKeyMapEntry& e : *table)
            if (e.iKey == key)
            {
                Command(e.iCommandId, 0);
                return true;
            }
    return false;
}

void MainDialog::EvRightClick(bool bOnThumbnail, QDProject* project)
{
    if (!lpHost)
        return;
    std::vector<LMenuItem> items;
    if (bOnThumbnail)
    {
        const bool p = project != nullptr;
        const bool clip = lpHost->ClipboardHasImage() || lpHost->ClipboardHasText();
        items = {
            {CM_COPY, "Copy", "", p},
            {CM_PASTE, "Paste as Overlay", "", p && clip && IsCommandAvailable(CM_PASTE)},
            {CM_PASTE_NEW_PROJECT, "Paste as New Project", "", lpHost->ClipboardHasImage()},
            {},
            {CM_SAVE, "Save", "", p},
            {CM_SAVE_AS, "Save As", "", p},
            {CM_SET_WALLPAPER, "Set as Desktop Wallpaper", "", p && IsCommandAvailable(CM_SET_WALLPAPER)}};
        if (project && project != pCurrentProject)
            EvSelectProject(project);
    }
    else
    {
        if (SelectionExists())
            items = {{CM_DESELECT_ALL, "Deselect All", "", true},
                     {CM_SELECT_INVERT, "Invert Selection", "", true},
                     {CM_SELECT_EXPAND, "Expand Selection", "", true},
                     {CM_SELECT_CONTRACT, "Contract Selection", "", true},
                     {}};
        for (auto [id, text] : {std::pair<int, const char*>{CM_UNDO, "Undo"},
                                {CM_REDO, "Redo"},
                                {CM_CUT, "Cut"},
                                {CM_COPY, "Copy"},
                                {CM_PASTE, "Paste as Overlay"},
                                {CM_DELETE, "Delete"}})
            items.push_back({id, text, "", lpHost->IsCommandEnabled(id)});
        items.push_back({});
        items.push_back({CM_SAVE, "Save", "", lpHost->IsCommandEnabled(CM_SAVE)});
        items.push_back({CM_SAVE_AS, "Save As", "", lpHost->IsCommandEnabled(CM_SAVE_AS)});
    }
    if (int chosen = rResponder.PopupMenu(items))
        Command(chosen, 0);
}

void MainDialog::EvMenuOpen()
{
    if (lpHost)
        lpHost->EnableCommand(CM_PASTE_NEW_PROJECT, lpHost->ClipboardHasImage());
}

void MainDialog::EvCanvasZoomChanged(QDProjectViewer& viewer)
{
    if (lpHost && &viewer == GetCurrentViewer())
        lpHost->SetStatusZoom(int(std::lround(100.0 * viewer.GetCanvasViewer().GetZoom())));
}

void MainDialog::EvThumbnailStripToggled()
{
    EvInterWinMessage(20, 0, 0);
}

bool MainDialog::SelectionExists() const
{
    // No selection tool makes a mask yet.
    return false;
}
