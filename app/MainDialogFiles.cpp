// Opening: a picture or a project file into a new project, the open dialog and its queue, dropped
// files and folders, the recent files, and a new blank picture.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "app/MainDialog.h"
#include "app/QDCommandIds.h"
#include "canvas/QDProjectViewer.h"
#include "codecs/LImage.h"
#include "document/QDOriginalImage.h"
#include "document/QDProjectFile.h"
#include "foundation/LFile.h"
#include "foundation/LUserSettings.h"

namespace
{
// What the system can still give: MemAvailable, or nothing known.
uint64_t AvailableMemory()
{
    std::ifstream meminfo("/proc/meminfo");
    std::string key;
    uint64_t value = 0;
    std::string unit;
    while (meminfo >> key >> value >> unit)
        if (key == "MemAvailable:")
            return value * 1024;
    return UINT64_MAX;
}

std::string ProjectFolderGet()
{
    char pictures[LFILE_MAX_PATH] = {};
    LFile::GetUserPicturesFolder(pictures);
    char folder[LUSERSETTING_MAX_STRING];
    _LUserSettingGetString("Settings", "ProjectFolder", pictures, folder);
    return LFile::TestFolderExists(folder) ? folder : pictures;
}

void ProjectFolderSetFromPath(const char* path)
{
    char folder[LFILE_MAX_PATH];
    if (LFile::_GetFolderFromPath(folder, path) && folder[0])
        LUserSettingSetString("Settings", "ProjectFolder", folder);
}

// The open dialog's list: the image formats, with project files offered beside them.
LFileDialogRequest OpenRequest(bool bMultiple)
{
    LFileDialogRequest request;
    request.szTitle = "Open file...";
    request.szFolder = ProjectFolderGet();
    request.bMultiple = bMultiple;
    QDImageCodecVetoer vetoer;
    LImageCodecFilterList list;
    std::string unused;
    list.Init(unused, LImageIORead, &vetoer);
    for (int i = 1; i <= list.GetCount(); ++i)
    {
        const LImageCodecFilterItem& item = list.GetItem(i);
        std::string extensions = item.szExtensions;
        if (item.codec < 0)
            extensions += ";*.qdj";
        request.vFilters.push_back({item.szLabel, extensions});
    }
    request.vFilters.push_back({"Quendrel Project (*.qdj)", "*.qdj"});
    return request;
}
} // namespace

LProcessResult Process(LProcessInterface& process, QDProcessMainDialogFileOpen& data)
{
    return data.lpDialog ? data.lpDialog->FileOpen(process, data.szFilePath) : LProcessResultFailed;
}

LProcessResult MainDialog::FileOpen(LProcessInterface& process, const char* path)
{
    char extension[LFILE_MAX_PATH] = {};
    LFile::_GetFileExtensionFromPath(extension, path);
    char name[LFILE_MAX_PATH] = {};
    LFile::_GetFileNameFromPath(name, path);

    if (strcmp(extension, ".qdj") != 0)
    {
        LImageBuffer buffer;
        QDImageCodecVetoer vetoer;
        LProcessImageLoadFile load;
        if (!load.SetFilePath(path))
        {
            process.SetError("The file could not be found.");
            return LProcessResultFailed;
        }
        load.iTimeoutMs = 3000;
        load.lpVetoer = &vetoer;
        load.lpImage = &buffer;
        // The photo's date, camera and colour profile go with it to the project and its saves.
        LImageMetadata metadata;
        load.lpMetadata = &metadata;
        const LProcessResult r = Process(process, load);
        if (r != LProcessResultSuccess)
            return r;
        const uint64_t need = uint64_t(buffer.GetWidth()) * uint64_t(buffer.GetHeight()) * 12;
        if (AvailableMemory() / 2 < need)
        {
            Alert(LAlertKindError, "Not enough memory",
                  "There is not enough available memory to load an image that large.", {"OK"});
            return LProcessResultFailed;
        }
        LUserSettingSetString("Settings", "LastPhotoLoaded", path);
        recentFiles.Add(path);
        if (lpHost)
            lpHost->SetRecentFiles(recentFiles.GetFiles());

        auto* project = new QDProject(unsigned(buffer.GetWidth()), unsigned(buffer.GetHeight()));
        project->metadata = std::move(metadata);
        AddProject(project, true);
        int ww = 0, wh = 0;
        if (lpHost)
            lpHost->GetCanvasSize(ww, wh);
        project->viewport.fLowResScale =
            QDProjectViewer::ComputeLowResScale(ww, wh, buffer.GetWidth(), buffer.GetHeight());
        QDOriginalImage* element =
            QDOriginalImageFactory::CreateLayer(*project, buffer, false, true, path, &process);
        buffer.Destroy();
        if (!element)
        {
            CloseProject(project);
            return LProcessResultFailed;
        }
        CreateElementUi(project, element);
        SelectElementUi(project, element);
        process.SetProgress(0.95);
        project->SetFilePath(path);
        project->SetName(name);
        if (lpHost)
            lpHost->ThumbnailAdd(*project);
        SetWindowCaption();
        EvRenderProject();
        return LProcessResultSuccess;
    }

    auto* project = new QDProject(1024, 768);
    AddProject(project, true);
    project->SetName(name);
    project->SetFilePath(path);
    bLoadingProject = true;
    LProcessInterfaceVoid quiet;
    // A file that can't be read leaves an open project without elements; that is all it says.
    (void)QDProjectFileLoad(quiet, *project, GetViewerFromProject(project), path, catalogue.lFactories);
    SyncElementUis(project);
    SelectLastVisibleElementUi(project);
    if (QDProjectViewer* viewer = GetViewerFromProject(project))
        viewer->GetCanvasViewer().FitCameraToViewport();
    if (lpHost)
        lpHost->ThumbnailAdd(*project);
    bLoadingProject = false;
    SetWindowCaption();
    EvRenderProject();
    return LProcessResultSuccess;
}

bool MainDialog::BrowseForOpenSingle(std::string& path)
{
    std::vector<std::string> paths;
    if (!rResponder.BrowseForOpen(OpenRequest(false), paths) || paths.empty())
        return false;
    path = paths.front();
    ProjectFolderSetFromPath(path.c_str());
    return true;
}

bool MainDialog::BrowseForOpenMultiple(std::vector<std::string>& paths)
{
    if (!rResponder.BrowseForOpen(OpenRequest(true), paths) || paths.empty())
        return false;
    ProjectFolderSetFromPath(paths.front().c_str());
    return true;
}

LProcessResult MainDialog::OpenFilesInQueue(const std::vector<std::string>& paths, const char* title)
{
    if (!lpHost || paths.empty())
        return LProcessResultSuccess;
    std::vector<LMainWindowHost::ProcessFunction> queue;
    for (const std::string& path : paths)
        queue.push_back(
            [this, path](LProcessInterface& process)
            {
                QDProcessMainDialogFileOpen data;
                data.lpDialog = this;
                snprintf(data.szFilePath, sizeof(data.szFilePath), "%s", path.c_str());
                return Process(process, data);
            });
    unsigned failed = 0;
    const LProcessResult r = lpHost->RunProcessQueueDialog(title, queue, true, &failed);
    EnableControls();
    return r;
}

void MainDialog::CmFileOpen()
{
    std::vector<std::string> paths;
    if (!BrowseForOpenMultiple(paths))
        return;
    OpenFilesInQueue(paths, "Loading image files");
}

void MainDialog::EvDropFiles(const std::vector<std::string>& paths)
{
    QDImageCodecVetoer vetoer;
    std::vector<std::string> accepted;
    std::string refused = "The following files could not be loaded:\n";
    bool anyRefused = false;
    // A project file is known by the extension of the path that was dropped: for a file found in
    // a dropped folder that is the folder's own.
    auto consider = [&](const char* file, const char* droppedPath)
    {
        LImageCodec codec;
        bool ok;
        if (codec.InitFromFilePath(file))
            ok = vetoer.IsEnabled(codec, LImageIORead);
        else
        {
            char extension[LFILE_MAX_PATH] = {};
            LFile::_GetFileExtensionFromPath(extension, droppedPath);
            ok = strcmp(extension, ".qdj") == 0;
        }
        if (ok)
            accepted.push_back(file);
        else
        {
            char name[LFILE_MAX_PATH] = {};
            LFile::_GetFileNameFromPath(name, file);
            refused += "\n";
            refused += name;
            anyRefused = true;
        }
    };
    for (const std::string& path : paths)
    {
        if (LFile::IsFolder(path.c_str()))
        {
            std::vector<std::string> files;
            for (LFile::FolderIteratorAllFiles it(path.c_str()); it.Next();)
                if (!it.IsFolder() && !it.IsDotFolder())
                    files.push_back(it.GetPath());
            std::sort(files.begin(), files.end());
            for (const std::string& f : files)
                consider(f.c_str(), path.c_str());
        }
        else
            consider(path.c_str(), path.c_str());
    }
    if (anyRefused)
        Alert(LAlertKindError, "Error Loading Files", refused.c_str(), {"OK"});
    OpenFilesInQueue(accepted, "Loading image files");
}

void MainDialog::EvRecentFileOpen(const char* path)
{
    if (!path || !lpHost)
        return;
    const std::string file = path;
    const LProcessResult r =
        lpHost->RunProcessDialog("Loading image file", [this, file](LProcessInterface& process)
                                 { return FileOpen(process, file.c_str()); });
    if (r == LProcessResultSuccess)
        ProjectFolderSetFromPath(path);
    EnableControls();
}

QDProject* MainDialog::AddProjectFromImage(const LImageBuffer& image, const char* path)
{
    if (!image.IsValid())
        return nullptr;
    auto* project = new QDProject(unsigned(image.GetWidth()), unsigned(image.GetHeight()));
    AddProject(project, true);
    QDOriginalImage* element = QDOriginalImageFactory::CreateLayer(*project, image, false, true, path);
    if (!element)
    {
        CloseProject(project);
        return nullptr;
    }
    CreateElementUi(project, element);
    SelectElementUi(project, element);
    if (lpHost)
        lpHost->ThumbnailAdd(*project);
    SetWindowCaption();
    return project;
}

void MainDialog::CmNewFile()
{
    LNewImageRequest request;
    request.crColour = crBackgroundPick;
    if (!rResponder.NewImage(request) || request.iWidth <= 0 || request.iHeight <= 0)
        return;
    LImageBuffer image;
    if (!LImage::New(image, request.iWidth, request.iHeight))
        return;
    LPixelColour fill = request.crColour.ToPixel();
    fill.a = 255;
    image.Clear(request.bTransparent ? LPixelColour(0, 0, 0, 0) : fill);
    QDProject* project = AddProjectFromImage(image, nullptr);
    if (!project)
        return;
    LGuiColorAlpha background = request.crColour;
    background.alpha = request.bTransparent ? 0.0f : 1.0f;
    project->SetBackground(background);
    EvRenderProject();
}
