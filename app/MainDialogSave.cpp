// Saving: in place or through the save dialog with the encode settings, "Save As" for images and
// project files, the project file alone, and the questions and messages on the way.

#include <cstdio>
#include <cstring>
#include <strings.h>
#include <sys/stat.h>

#include "app/MainDialog.h"
#include "app/QDCommandIds.h"
#include "codecs/LImage.h"
#include "document/LQDCacheStore.h"
#include "document/QDOriginalImage.h"
#include "document/QDProjectFile.h"
#include "foundation/LFile.h"
#include "foundation/LUserSettings.h"

namespace
{
std::string SaveFolderFor(const QDProject& project)
{
    char folder[LFILE_MAX_PATH] = {};
    if (project.szFilePath[0] && LFile::_GetFolderFromPath(folder, project.szFilePath) &&
        LFile::TestFolderExists(folder))
        return folder;
    char pictures[LFILE_MAX_PATH] = {};
    LFile::GetUserPicturesFolder(pictures);
    char stored[LUSERSETTING_MAX_STRING];
    _LUserSettingGetString("Settings", "ProjectFolder", pictures, stored);
    return LFile::TestFolderExists(stored) ? stored : pictures;
}

std::string FileNameOf(const std::string& path)
{
    char name[LFILE_MAX_PATH] = {};
    LFile::_GetFileNameFromPath(name, path.c_str());
    return name;
}

std::string ExtensionOf(const std::string& path)
{
    char extension[LFILE_MAX_PATH] = {};
    LFile::_GetFileExtensionFromPath(extension, path.c_str());
    return extension;
}

// The picture over opaque white, for formats without transparency.
bool CompositeOverWhite(const LImageBuffer& image, LImageBuffer& out)
{
    if (!LImage::New(out, image.GetWidth(), image.GetHeight()))
        return false;
    out.Clear(LPixelColour(255, 255, 255, 255));
    QDAlphaBlendOver(out, image);
    return out.IsValid();
}

// "Save As" to a picture: the format by extension with its default settings; 2 for an extension
// it doesn't know, -1 when there was nothing to save.
int SaveRenderedImageAs(QDProject& project, const std::string& path)
{
    const std::string extension = ExtensionOf(path);
    static const char* const known[] = {".bmp", ".gif", ".jpg", ".jpeg", ".png", ".tif", ".tiff"};
    bool ok = false;
    for (const char* k : known)
        ok = ok || strcasecmp(extension.c_str(), k) == 0;
    if (!ok)
        return 2;
    LImageBuffer image;
    if (!LQDCacheLoadImage(image, project.iHighResCacheId) || !image.IsValid())
        return -1;
    const bool opaqueOnly = strcasecmp(extension.c_str(), ".jpg") == 0 ||
                            strcasecmp(extension.c_str(), ".jpeg") == 0 ||
                            strcasecmp(extension.c_str(), ".gif") == 0;
    LImageBuffer white;
    const LImageBuffer* source = &image;
    if (opaqueOnly && image.GetPixelFormat() == B8G8R8A8)
    {
        if (!CompositeOverWhite(image, white))
            return 2;
        source = &white;
    }
    LImageEncodeSettings defaults;
    LProcessInterfaceVoid process;
    // The photo's information goes along, as with every save but the one for the web.
    return LImage::Save(process, *source, &project.metadata, path.c_str(), defaults, 3000) ? 0 : 2;
}
} // namespace

LProcessResult Process(LProcessInterface& process, QDSaveData& data)
{
    process.SetProgressIndeterminateOn();
    process.SetStatus("Saving image", 0);
    if (data.lpThread && data.lpThread->IsRunning())
    {
        process.SetStatus("Waiting for image to finish rendering", 1);
        process.SetProgressIndeterminateOff();
        process.SetProgress(0);
        while (data.lpThread->IsRunning())
        {
            process.SetProgress(data.lpThread->dProgress.load() * 0.9);
            if (process.ProcessWait(100) == 1)
                return LProcessResultCancelled;
        }
    }
    if (process.IsToStop())
        return LProcessResultCancelled;
    process.SetStatus("Saving image to disk", 1);
    data.iCode = data.lpProject->Save(data.szPath.c_str(), data.settings);
    if (data.iCode != ERROR_CODE_SAVE_SUCCESS)
        return LProcessResultFailed;
    return process.IsToStop() ? LProcessResultCancelled : LProcessResultSuccess;
}

bool MainDialog::CheckReadOnlySave(const char* path)
{
    // A file nobody may write is read-only, also for a user whom the system would let write it.
    struct stat st;
    const bool locked = stat(path, &st) == 0 && (st.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0;
    if (!LFile::TestFileReadOnly(path) && !locked)
        return true;
    const int answer =
        Alert(LAlertKindQuestion, "File is read only",
              "This file is currently set as read only. Would you like to make this file writeable and save "
              "your work to it, or save to another file?",
              {"Make file writeable", "Save to different file"});
    if (answer != 0)
        return false;
    if (stat(path, &st) == 0)
        chmod(path, st.st_mode | S_IWUSR);
    return true;
}

void MainDialog::DisplayPromptForProjectSaveError(int code)
{
    const char* text =
        code == ERROR_CODE_SAVE_PREPARE  ? "An error occurred while preparing the image for saving."
        : code == ERROR_CODE_SAVE_ENCODE ? "An error occurred while encoding or writing the file."
                                         : "An unknown error occurred while attempting to save the project.";
    Alert(LAlertKindError, "An error occurred while saving", text, {"OK"});
}

bool MainDialog::BrowseForSave(std::string& path, QDProject* project, LImageCodec& codec)
{
    QDImageCodecVetoer vetoer;
    LImageCodecFilterList list;
    std::string unused;
    if (!project || !list.Init(unused, LImageIOWrite, &vetoer))
        return false;
    LFileDialogRequest request;
    request.szTitle = "Save As...";
    request.szFolder = SaveFolderFor(*project);
    request.szName = QDProjectDisplayName(*project);
    for (int i = 1; i <= list.GetCount(); ++i)
        request.vFilters.push_back({list.GetItem(i).szLabel, list.GetItem(i).szExtensions});
    LImageCodec initial(LImageCodecPNG);
    if (project->HasSavedFilePath(&vetoer))
        initial.InitFromFilePath(project->szFilePath);
    request.bConfirmOverwrite = false;
    request.iFilter = list.GetIndex(initial);
    if (request.iFilter < 1)
        request.iFilter = list.GetIndex(LImageCodec(LImageCodecPNG));
    request.szDefaultExtension = LImageCodec(list.GetCodec(request.iFilter)).GetPreferredExtension() + 1;

    int filter = request.iFilter;
    if (!rResponder.BrowseForSave(request, path, filter) || path.empty())
        return false;
    char folder[LFILE_MAX_PATH];
    if (LFile::_GetFolderFromPath(folder, path.c_str()) && folder[0])
        LUserSettingSetString("Settings", "ProjectFolder", folder);
    codec = LImageCodec(list.GetCodec(filter));
    if (codec.IsValid())
    {
        LImageCodec own;
        if (!own.InitFromFilePath(path.c_str()) || !(own == codec))
            path += codec.GetPreferredExtension();
    }
    else
        codec.InitFromFilePath(path.c_str());
    if (LFile::TestFileExists(path.c_str()))
    {
        char text[LFILE_MAX_PATH + 80];
        snprintf(text, sizeof(text), "File \"%s\" already exists. Do you want to overwrite it?",
                 FileNameOf(path).c_str());
        if (Alert(LAlertKindWarning, "File already exists", text, {"Overwrite", "Cancel"}) != 0)
            return false;
    }
    return true;
}

bool MainDialog::Save(QDProject* project, bool bForceBrowse)
{
    if (!project || !lpHost)
        return false;
    QDImageCodecVetoer vetoer;
    const std::string savedPath = project->szFilePath;
    if (!bForceBrowse && project->HasSavedFilePath(&vetoer) && CheckReadOnlySave(savedPath.c_str()))
    {
        LImageEncodeSettings settings;
        settings.Load("ImageEncode");
        if (!project->bEncodeSettingsValid)
        {
            LImageCodec codec;
            codec.InitFromFilePath(savedPath.c_str());
            if (!rResponder.EditEncodeSettings(codec, settings))
                return false;
        }
        settings.Save("ImageEncode");
        QDSaveData data;
        data.lpProject = project;
        data.szPath = savedPath;
        data.lpThread = &threadRender;
        data.settings = settings;
        if (lpHost->RunProcessDialog("Saving image", [&data](LProcessInterface& p)
                                     { return Process(p, data); }) != LProcessResultSuccess &&
            data.iCode == ERROR_CODE_SAVE_SUCCESS)
            return false;
        if (data.iCode != ERROR_CODE_SAVE_SUCCESS)
        {
            DisplayPromptForProjectSaveError(data.iCode);
            return false;
        }
        recentFiles.Add(savedPath.c_str());
        lpHost->SetRecentFiles(recentFiles.GetFiles());
        SetWindowCaption();
        return true;
    }

    std::string path;
    LImageCodec codec;
    if (!BrowseForSave(path, project, codec))
        return false;
    LImageEncodeSettings settings;
    settings.Load("ImageEncode");
    if (!rResponder.EditEncodeSettings(codec, settings))
        return false;
    settings.Save("ImageEncode");
    QDSaveData data;
    data.lpProject = project;
    data.szPath = path;
    data.lpThread = &threadRender;
    data.settings = settings;
    if (lpHost->RunProcessDialog("Saving image", [&data](LProcessInterface& p)
                                 { return Process(p, data); }) != LProcessResultSuccess &&
        data.iCode == ERROR_CODE_SAVE_SUCCESS)
        return false;
    if (data.iCode != ERROR_CODE_SAVE_SUCCESS)
    {
        DisplayPromptForProjectSaveError(data.iCode);
        return false;
    }
    // The same file name in another folder leaves the project where it was.
    const std::string name = FileNameOf(path);
    if (name != project->szName)
    {
        project->SetName(name.c_str());
        project->SetFilePath(path.c_str());
    }
    else
        project->SetFilePath(savedPath.c_str());
    project->SaveProjectFile();
    recentFiles.Add(path.c_str());
    lpHost->SetRecentFiles(recentFiles.GetFiles());
    SetWindowCaption();
    return true;
}

bool MainDialog::SaveAllProjects()
{
    for (QDProject* p = lpProjects; p; p = p->lpNext)
        if (!Save(p, false))
            return false;
    return true;
}

void MainDialog::ShowHiddenLayersWarning()
{
    if (!pCurrentProject || !lpHost)
        return;
    if (LUserSettingGet("Settings", "ShowSaveWarning", 1) &&
        pCurrentProject->GetNumVisibleElements() != pCurrentProject->GetLayerCount())
        lpHost->ShowInfoBar("Saving project with hidden layers", "Read More...", CM_HELP_SAVE_DIALOG,
                            "Don't show this again", CM_DONT_SHOW_SAVE_WARNING);
}

bool MainDialog::WaitForRender()
{
    if (!lpHost)
        return false;
    return lpHost->RunProcessDialog("Saving image", [this](LProcessInterface& p)
                                    { return Process(p, threadRender); }) == LProcessResultSuccess;
}

void MainDialog::CmSave()
{
    QDProject* project = pCurrentProject;
    if (!project || !project->HasUnsavedChanges())
        return;
    ShowHiddenLayersWarning();
    DeselectAllElementUis(project);
    Save(project, false);
    EvSave();
}

void MainDialog::CmSaveAs()
{
    QDProject* project = pCurrentProject;
    if (!project || !lpHost)
        return;
    DeselectAllElementUis(project);
    if (!WaitForRender())
        return;
    LFileDialogRequest request;
    request.szTitle = "Save As";
    request.szFolder = SaveFolderFor(*project);
    request.szName = QDProjectDisplayName(*project);
    request.szDefaultExtension = "qdj";
    request.vFilters = {{"Quendrel Project (*.qdj)", "*.qdj"},
                        {"BMP (*.bmp)", "*.bmp"},
                        {"GIF (*.gif)", "*.gif"},
                        {"JPEG (*.jpg;*.jpeg)", "*.jpg;*.jpeg"},
                        {"PNG (*.png)", "*.png"},
                        {"TIFF (*.tif;*.tiff)", "*.tif;*.tiff"}};
    std::string path;
    int filter = 1;
    if (!rResponder.BrowseForSave(request, path, filter) || path.empty())
        return;
    // A name typed without an extension takes the chosen format's.
    if (ExtensionOf(path).empty() && filter >= 1 && filter <= int(request.vFilters.size()))
    {
        const std::string& extensions = request.vFilters[size_t(filter - 1)].second;
        path += extensions.substr(1, extensions.find(';') - 1);
    }
    int code;
    if (strcasecmp(ExtensionOf(path).c_str(), ".qdj") == 0)
    {
        LProcessInterfaceVoid quiet;
        code = QDProjectFileSave(quiet, *project, path.c_str()) == LProcessResultSuccess ? 0 : 2;
    }
    else
        code = SaveRenderedImageAs(*project, path);
    if (code != 0)
        return;
    project->SetCloudPath("");
    project->iCloudSource = 0;
    project->undoStack.MarkCurrentStateAsSaved();
    // Saved as it stands: hidden elements as well as the history.
    project->iVisibleElementsAtSave = uint32_t(project->GetNumVisibleElements());
    project->SetName(FileNameOf(path).c_str());
    project->SetFilePath(path.c_str());
    project->SaveProjectFile();
    EvSave();
    SetWindowCaption();
    EnableControls();
}

void MainDialog::CmSaveImage()
{
    QDProject* project = pCurrentProject;
    if (!project || !lpHost)
        return;
    ShowHiddenLayersWarning();
    DeselectAllElementUis(project);
    if (!WaitForRender())
        return;
    if (rResponder.SaveImage(*project))
    {
        project->SetCloudPath("");
        project->iCloudSource = 0;
        project->undoStack.MarkCurrentStateAsSaved();
        // Saved as it stands, hidden elements and all, as "Save As" does.
        project->iVisibleElementsAtSave = uint32_t(project->GetNumVisibleElements());
        project->SaveProjectFile();
        recentFiles.Add(project->szFilePath);
        lpHost->SetRecentFiles(recentFiles.GetFiles());
    }
    // After the marks, so the caption shows the state saved.
    SetWindowCaption();
    EvSave();
    EnableControls();
}

void MainDialog::CmSaveProject()
{
    QDProject* project = pCurrentProject;
    if (!project)
        return;
    LFileDialogRequest request;
    request.szTitle = "Save As";
    request.szFolder = SaveFolderFor(*project);
    request.szName = QDProjectDisplayName(*project);
    request.szDefaultExtension = "qdj";
    request.vFilters = {{"Quendrel Project (*.qdj)", "*.qdj"}};
    std::string path;
    int filter = 1;
    if (!rResponder.BrowseForSave(request, path, filter) || path.empty())
        return;
    LProcessInterfaceVoid quiet;
    if (QDProjectFileSave(quiet, *project, path.c_str()) == LProcessResultSuccess)
    {
        project->SetCloudPath("");
        project->iCloudSource = 0;
    }
}

void MainDialog::EvSave()
{
    LUserSettingSet("MainDialog", "SaveCount", LUserSettingGet("MainDialog", "SaveCount", 0) + 1);
}
