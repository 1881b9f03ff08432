// The enablement rule: which commands can run now, the texts of undo and redo, the checked
// items and the controls shown while projects are open. It runs after every change that can
// alter it; background work reaches it through the 500 ms debounce of timer 2098.

#include <cstring>

#include "app/MainDialog.h"
#include "app/QDCommandIds.h"
#include "app/QDMenus.h"

namespace
{
// Commands whose subsystem this build doesn't have: cloud services, wallpaper, capture, print,
// selection tools, collage, clipart and image frames, sharing.
bool IsUnbuilt(int id)
{
    switch (id)
    {
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
    case CM_COLLAGE:
    case CM_START_COLLAGE:
    case CM_CLIPART:
    case CM_FRAME_IMAGE:
    case CM_UPLOAD_FLICKR:
    case CM_UPLOAD_FACEBOOK:
    case CM_SEND_EMAIL:
    // Pasting makes an overlay layer, which doesn't exist yet.
    case CM_PASTE:
        return true;
    default:
        return id >= CM_SELECT_ALL && id <= CM_SELECT_CONTRACT;
    }
}

bool NeedsProject(int id)
{
    static const int kIds[] = {CM_SAVE_AS,
                               CM_SAVE_FOR_WEB,
                               CM_SET_WALLPAPER,
                               CM_PRINT,
                               CM_CLOSE,
                               CM_CLOSE_ALL,
                               CM_BACKGROUND_TRANSPARENT,
                               CM_BACKGROUND_COLOUR,
                               CM_BACKGROUND_POPUP,
                               CM_SELECT_ALL,
                               CM_SELECT_CROP,
                               CM_SELECT_FILL,
                               CM_CLIPART,
                               CM_FRAME_POPUP,
                               CM_FRAME_BORDER,
                               CM_FRAME_IMAGE,
                               CM_SAVE_DROPBOX,
                               CM_SHARE_DROPBOX,
                               CM_SAVE_GOOGLE_DRIVE,
                               CM_SHARE_GOOGLE_DRIVE,
                               CM_UPLOAD_FLICKR,
                               CM_UPLOAD_FACEBOOK,
                               CM_SEND_EMAIL,
                               CM_SAVE_IMAGE,
                               CM_SAVE_PROJECT};
    for (int k : kIds)
        if (k == id)
            return true;
    if (id >= CM_SELECT_RECTANGLE && id <= CM_SELECT_WAND)
        return true;
    // The view menu.
    if (id >= CM_ZOOM_5 && id <= CM_ZOOM_FIT)
        return true;
    if (id == CM_ZOOM_STATUS_BAR)
        return true;
    return id >= CM_EFFECT_FIRST && id <= CM_EFFECT_LAST;
}
} // namespace

bool MainDialog::IsCommandAvailable(int id) const
{
    if (id >= CM_EFFECT_FIRST && id <= CM_EFFECT_LAST)
        return catalogue.MapCommandIdToEffectFactory(id) != nullptr;
    if (id == CM_FRAME_BORDER || id == CM_FRAME_POPUP)
        return catalogue.MapTypeIdToEffectFactory("border") != nullptr;
    if (id == CM_START_EMBROIDERY)
        return catalogue.MapTypeIdToEffectFactory("embroidery") != nullptr;
    if (id == CM_START_PAINT)
        return catalogue.MapTypeIdToEffectFactory("paint") != nullptr;
    return !IsUnbuilt(id);
}

void MainDialog::UpdateUndoTexts()
{
    char name[LUNDO_NAME_SIZE];
    std::string undo = "Undo", redo = "Redo";
    if (pCurrentProject)
    {
        if (LUndoRedoItem* item = pCurrentProject->undoStack.lpStack->GetUndoItem())
        {
            name[0] = 0;
            item->GetName(name);
            undo += std::string(" ") + name;
        }
        if (LUndoRedoItem* item = pCurrentProject->undoStack.lpStack->GetRedoItem())
        {
            name[0] = 0;
            item->GetName(name);
            redo += std::string(" ") + name;
        }
    }
    lpHost->SetCommandText(CM_UNDO, undo.c_str());
    lpHost->SetCommandText(CM_REDO, redo.c_str());
}

void MainDialog::EnableControls()
{
    if (bEnablingControls || !lpHost)
        return;
    bEnablingControls = true;
    QDProject* project = pCurrentProject;
    const bool P = project != nullptr;
    const bool U = P && project->HasUnsavedChanges();
    const QDImagePipelineElement* selected = GetSelectedElement();
    const bool E = selected && (strcmp(selected->GetTypeIdentifier(), "image") == 0 ||
                                strcmp(selected->GetTypeIdentifier(), "text") == 0);
    const bool S = SelectionExists();

    auto rule = [&](int id) -> bool
    {
        switch (id)
        {
        case CM_SAVE:
            return P && U;
        case CM_UNDO:
            return P && project->undoStack.CanUndo();
        case CM_REDO:
            return P && project->undoStack.CanRedo();
        case CM_DELETE:
        case CM_CUT:
            return E || S;
        case CM_COPY:
            return P;
        case CM_PASTE:
            return P && (lpHost->ClipboardHasText() || lpHost->ClipboardHasImage());
        case CM_PASTE_NEW_PROJECT:
            return lpHost->ClipboardHasImage();
        case CM_DESELECT_ALL:
        case CM_SELECT_INVERT:
        case CM_SELECT_EXPAND:
        case CM_SELECT_CONTRACT:
            return S;
        default:
            return NeedsProject(id) ? P : true;
        }
    };
    std::vector<int> ids;
    for (int id = CM_FILE_NEW; id <= CM_SEND_EMAIL; ++id)
        ids.push_back(id);
    for (int id : {int(CM_SAVE_FOR_WEB), int(CM_ABOUT), int(CM_QUIT), int(CM_START_OPEN), int(CM_START_BATCH),
                   int(CM_START_COLLAGE), int(CM_START_SCREENSHOT), int(CM_START_EMBROIDERY),
                   int(CM_START_PAINT), int(CM_START_TUTORIALS)})
        ids.push_back(id);
    for (int id = CM_EFFECT_FIRST; id <= CM_EFFECT_LAST; ++id)
        ids.push_back(id);
    for (int id : ids)
        lpHost->EnableCommand(id, rule(id) && IsCommandAvailable(id));

    UpdateUndoTexts();
    const bool transparent = P && project->crBackground.alpha == 0.0f;
    lpHost->CheckCommand(CM_BACKGROUND_TRANSPARENT, transparent);
    lpHost->CheckCommand(CM_BACKGROUND_COLOUR, P && !transparent);
    lpHost->ShowStatusZoom(P);
    // No selection tool is chosen while none exists.
    for (int id = CM_SELECT_RECTANGLE; id <= CM_SELECT_WAND; ++id)
        lpHost->CheckCommand(id, false);
    lpHost->ShowControl(ID_THUMBNAIL_EXPAND, lpProjects != nullptr);
    SetWindowCaption();
    bEnablingControls = false;
}
