// The project list: adding, choosing, closing with the question on unsaved changes; the window
// caption; and the element panels each viewer holds.

#include <cmath>
#include <cstdio>

#include "app/MainDialog.h"
#include "app/QDCommandIds.h"
#include "canvas/QDProjectViewer.h"

namespace
{
constexpr float kZoomMin = 0.05f;
constexpr float kZoomMax = 5.0f;
} // namespace

const char* QDProjectDisplayName(const QDProject& project)
{
    return project.szName[0] ? project.szName : "Untitled";
}

size_t MainDialog::GetProjectCount() const
{
    size_t n = 0;
    for (QDProject* p = lpProjects; p; p = p->lpNext)
        ++n;
    return n;
}

QDMainViewer* MainDialog::GetMainViewer(const QDProject* project) const
{
    if (!project)
        return nullptr;
    for (const auto& v : lViewers)
        if (&v->lpViewer->GetProject() == project)
            return v.get();
    return nullptr;
}

QDProjectViewer* MainDialog::GetViewerFromProject(const QDProject* project) const
{
    QDMainViewer* v = GetMainViewer(project);
    return v ? v->lpViewer.get() : nullptr;
}

void MainDialog::AddProject(QDProject* project, bool bMakeCurrent)
{
    if (!project)
        return;
    QDProject** tail = &lpProjects;
    while (*tail)
        tail = &(*tail)->lpNext;
    *tail = project;
    project->undoStack.AddNotifyee(this);

    auto mainViewer = std::make_unique<QDMainViewer>(*project);
    QDProjectViewer& viewer = *mainViewer->lpViewer;
    viewer.Hide();
    viewer.SetupProjectViewer(true, kZoomMin, kZoomMax);
    lViewers.push_back(std::move(mainViewer));
    if (lpHost)
    {
        lpHost->AddProjectViewer(viewer);
        lpHost->ShowControl(ID_LOGO, false);
        lpHost->ShowControl(ID_PROJECT_AREA, true);
        lpHost->ShowControl(ID_PROJECT_AREA_2, true);
    }
    if (bMakeCurrent)
        SetCurrentProject(project);
    if (lpHost)
    {
        lpHost->Relayout();
        if (lpHost->IsThumbnailStripCollapsed())
            lpHost->SetThumbnailStripCollapsed(false);
    }
    EnableAllLayers(pCurrentProject);
    if (lpHost)
        lpHost->BringToFront();
}

void MainDialog::SetCurrentProject(QDProject* project)
{
    if (project != pCurrentProject)
    {
        QDProjectViewer* viewer = GetViewerFromProject(project);
        if (viewer)
            viewer->Show();
        if (pCurrentProject)
        {
            DeselectAllElementUis(pCurrentProject);
            if (QDProjectViewer* old = GetViewerFromProject(pCurrentProject))
                old->Hide();
        }
        pCurrentProject = project;
        if (lpHost)
        {
            lpHost->ShowProjectViewer(viewer);
            lpHost->ThumbnailSelect(project);
        }
        SetWindowCaption();
        EnableControls();
    }
    if (project && project->pipeline.GetLastVisibleElement() && GetViewerFromProject(project))
        SelectLastVisibleElementUi(project);
    if (QDProjectViewer* viewer = GetViewerFromProject(project); viewer && lpHost)
        lpHost->SetStatusZoom(int(std::lround(100.0 * viewer->GetCanvasViewer().GetZoom())));
    UpdateElementList();
    if (lpHost)
        lpHost->Relayout();
}

void MainDialog::EvSelectProject(QDProject* project)
{
    if (pCurrentProject)
        DeselectAllElementUis(pCurrentProject);
    SetCurrentProject(project);
}

QDProject* MainDialog::FindSuccessor(QDProject* project) const
{
    QDProject* before = nullptr;
    for (QDProject* p = lpProjects; p && p != project; p = p->lpNext)
        before = p;
    if (before)
        return before;
    QDProject* last = nullptr;
    for (QDProject* p = lpProjects; p; p = p->lpNext)
        if (p != project)
            last = p;
    return last;
}

void MainDialog::CloseProject(QDProject* project)
{
    if (!project)
        return;
    if (project == pCurrentProject)
    {
        if (QDProject* successor = FindSuccessor(project))
            SetCurrentProject(successor);
        else
        {
            DeselectAllElementUis(project);
            if (QDProjectViewer* viewer = GetViewerFromProject(project))
                viewer->Hide();
            pCurrentProject = nullptr;
        }
    }
    const bool wasRunning = threadRender.ProjectClosed(project);

    if (lpHost)
        lpHost->ThumbnailRemove(*project);
    for (auto it = lViewers.begin(); it != lViewers.end(); ++it)
        if (&(*it)->lpViewer->GetProject() == project)
        {
            if (lpHost)
            {
                for (QDImagePipelineElement* e : (*it)->vElementUis)
                    lpHost->DestroyElementUi(*(*it)->lpViewer, e);
                lpHost->RemoveProjectViewer(*(*it)->lpViewer);
            }
            lViewers.erase(it);
            break;
        }
    for (QDProject** link = &lpProjects; *link; link = &(*link)->lpNext)
        if (*link == project)
        {
            *link = project->lpNext;
            break;
        }
    project->undoStack.RemoveNotifyee(this);
    delete project;

    if (!lpProjects || !pCurrentProject)
    {
        if (lpHost)
        {
            lpHost->ShowControl(ID_PROJECT_AREA, false);
            lpHost->ShowControl(ID_PROJECT_AREA_2, false);
            lpHost->ShowControl(ID_LOGO, true);
            lpHost->ShowProjectViewer(nullptr);
        }
    }
    EnableControls();
    SetWindowCaption();
    UpdateElementList();
    if (wasRunning && pCurrentProject)
        EvRenderProject();
    else if (lpHost)
        lpHost->SetStatusProgress(1.0);
}

int MainDialog::PromptForSave(QDProject* project)
{
    char text[LFILE_MAX_PATH + 64];
    if (project->HasSavedFilePath())
    {
        char name[LFILE_MAX_PATH];
        if (!LFile::_GetFileNameFromPath(name, project->szFilePath))
            snprintf(name, sizeof(name), "%s", project->szFilePath);
        snprintf(text, sizeof(text), "Save changes to \"%s\" before closing?", name);
    }
    else
        snprintf(text, sizeof(text), "Save file before closing?");
    const int answer =
        Alert(LAlertKindQuestion, "Quendrel Image Editor", text, {"Save", "Don't Save", "Cancel"});
    return answer == 0 ? 1 : answer == 1 ? 0 : 2;
}

bool MainDialog::CloseProjectPromptIfUnsaved(QDProject* project)
{
    if (!project)
        return true;
    if (project->HasUnsavedChanges())
    {
        const int answer = PromptForSave(project);
        if (answer == 1 && !Save(project, false))
            return false;
        if (answer == 2)
            return false;
    }
    CloseProject(project);
    return true;
}

void MainDialog::EvCloseProject(QDProject* project)
{
    CloseProjectPromptIfUnsaved(project);
}

bool MainDialog::CmProjectClose()
{
    if (!pCurrentProject)
        return false;
    DeselectAllElementUis(pCurrentProject);
    return CloseProjectPromptIfUnsaved(pCurrentProject);
}

bool MainDialog::CmProjectCloseAll()
{
    while (pCurrentProject)
    {
        DeselectAllElementUis(pCurrentProject);
        if (!CloseProjectPromptIfUnsaved(pCurrentProject))
            return false;
    }
    return true;
}

bool MainDialog::CmCancel()
{
    return CmProjectCloseAll();
}

void MainDialog::EvRenderProject()
{
    if (!pCurrentProject)
        return;
    pCurrentProject->bRenderRequested = true;
    threadRender.SetCurrentProjectAndStart(pCurrentProject);
}

void MainDialog::SetWindowCaption()
{
    if (!lpHost)
        return;
    if (!pCurrentProject)
        lpHost->SetCaption("", false);
    else if (pCurrentProject->szName[0])
        lpHost->SetCaption(pCurrentProject->szName, pCurrentProject->HasUnsavedChanges());
    else
        lpHost->SetCaption("Untitled", true);
}

// ---- element panels

void MainDialog::CreateElementUi(QDProject* project, QDImagePipelineElement* element)
{
    QDMainViewer* mv = GetMainViewer(project);
    if (!mv || !element || mv->HasElementUi(element))
        return;
    mv->lpViewer->CreatePipelineElementUi(element);
    if (lpHost)
        lpHost->CreateElementUi(*mv->lpViewer, element,
                                catalogue.MapTypeIdToEffectFactory(element->GetTypeIdentifier()));
    mv->vElementUis.push_back(element);
}

void MainDialog::DestroyElementUi(QDProject* project, QDImagePipelineElement* element)
{
    QDMainViewer* mv = GetMainViewer(project);
    if (!mv || !mv->HasElementUi(element))
        return;
    if (mv->lpSelectedUi == element)
        DeselectAllElementUis(project);
    if (lpHost)
        lpHost->DestroyElementUi(*mv->lpViewer, element);
    mv->lpViewer->DestroyPipelineElementUiForPipelineElement(element);
    std::erase(mv->vElementUis, element);
}

void MainDialog::SelectElementUi(QDProject* project, QDImagePipelineElement* element)
{
    QDMainViewer* mv = GetMainViewer(project);
    if (!mv || !element || !mv->HasElementUi(element))
        return;
    mv->lpSelectedUi = element;
    mv->lpViewer->SelectPipelineElementUiForElement(element);
    if (lpHost)
        lpHost->SelectElementUi(*mv->lpViewer, element);
    if (project == pCurrentProject)
        UpdateElementList();
}

void MainDialog::DeselectAllElementUis(QDProject* project)
{
    QDMainViewer* mv = GetMainViewer(project);
    if (!mv)
        return;
    mv->lpSelectedUi = nullptr;
    mv->lpViewer->DeselectAllPipelineElementUis();
    if (lpHost)
        lpHost->SelectElementUi(*mv->lpViewer, nullptr);
    if (project == pCurrentProject)
        UpdateElementList();
}

void MainDialog::SelectLastVisibleElementUi(QDProject* project)
{
    if (!project)
        return;
    if (QDImagePipelineElement* last = project->pipeline.GetLastVisibleElement())
        SelectElementUi(project, last);
    else
        DeselectAllElementUis(project);
}

void MainDialog::SyncElementUis(QDProject* project)
{
    QDMainViewer* mv = GetMainViewer(project);
    if (!mv)
        return;
    for (QDImagePipelineElement* e = project->pipeline.GetFirstElement(); e; e = e->GetNextItem())
        CreateElementUi(project, e);
    mv->lpViewer->SyncPipelineElementUis();
    if (project == pCurrentProject)
        UpdateElementList();
}

QDImagePipelineElement* MainDialog::GetSelectedElement() const
{
    QDMainViewer* mv = GetMainViewer(pCurrentProject);
    return mv ? mv->lpSelectedUi : nullptr;
}

void MainDialog::EnableAllLayers(QDProject* project)
{
    if (!project)
        return;
    bool changed = false;
    for (QDImagePipelineElement* e = project->pipeline.GetFirstElement(); e; e = e->GetNextItem())
        if (!e->bVisible)
        {
            e->bVisible = true;
            changed = true;
        }
    if (changed)
        project->bRenderRequested = true;
}
