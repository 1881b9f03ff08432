// Recovery after a crash: the projects a crashed run left in its recovery files are offered once
// at start, and opened or deleted together.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "app/MainDialog.h"
#include "canvas/QDProjectViewer.h"
#include "document/QDProjectFile.h"
#include "foundation/LFile.h"

namespace
{
// The recovery files of the folder, in the order their projects were made.
std::vector<std::string> FindRecoveryFiles(const char* folder)
{
    std::vector<std::pair<long, std::string>> found;
    for (LFile::FolderIteratorAllFiles it(folder); it.Next();)
    {
        if (it.IsFolder())
            continue;
        const char* name = it.GetName();
        const size_t length = strlen(name);
        // The exact extension: "X.ZQP" is somebody else's file.
        if (length < 4 || strcmp(name + length - 4, ".zqp") != 0)
            continue;
        char* end = nullptr;
        const long number = strtol(name, &end, 10);
        found.push_back({end == name ? -1 : number, it.GetPath()});
    }
    std::sort(found.begin(), found.end());
    std::vector<std::string> paths;
    for (auto& f : found)
        paths.push_back(std::move(f.second));
    return paths;
}
} // namespace

void MainDialog::RecoverProjects()
{
    char folder[LFILE_MAX_PATH];
    if (!LFile::GetSharedDataFolderApp(folder))
        return;
    const std::vector<std::string> files = FindRecoveryFiles(folder);
    if (files.empty())
    {
        EnableControls();
        return;
    }
    const bool recover =
        Alert(LAlertKindQuestion, "File Recovery",
              "There are one or more projects that can be recovered from the last time the program was run. "
              "Would you like to recover them?",
              {"Recover My Projects", "Don't Recover"}) == 0;
    bool any = false;
    for (const std::string& path : files)
    {
        if (recover)
        {
            auto* project = new QDProject(1024, 768);
            AddProject(project, true);
            bLoadingProject = true;
            LProcessInterfaceVoid quiet;
            // What a damaged file lets through stays; the failure itself is not news to anyone.
            (void)QDProjectFileLoad(quiet, *project, GetViewerFromProject(project), path.c_str(),
                                    catalogue.lFactories);
            bLoadingProject = false;
            SyncElementUis(project);
            SelectLastVisibleElementUi(project);
            if (QDProjectViewer* viewer = GetViewerFromProject(project))
                viewer->GetCanvasViewer().FitCameraToViewport();
            if (lpHost)
                lpHost->ThumbnailAdd(*project);
            any = true;
        }
        // Gone before the first render, so no new recovery file can be taken for it.
        unlink(path.c_str());
    }
    if (any)
    {
        SetWindowCaption();
        EvRenderProject();
    }
    EnableControls();
}
