// The controller's flows on the offscreen platform with a scripted person: the project list,
// unsaved changes and their question, recovery, the layer limit, commands that have no branch,
// enablement, the commands of the pipe, dropping, saving and the clipboard.

#include <QClipboard>
#include <QGuiApplication>
#include <QImage>
#include <fstream>
#include <sys/stat.h>

#include "app/QDCommandIds.h"
#include "app/QDMenus.h"
#include "codecs/LImage.h"
#include "codecs/LImageMetadata.h"
#include "canvas/LKeyHandler.h"
#include "canvas/QDProjectViewer.h"
#include "document/LQDCacheStore.h"
#include "document/QDOriginalImage.h"
#include "document/QDProjectFile.h"
#include "effects/QDEffectBlur.h"
#include "foundation/LFile.h"
#include "foundation/LUserSettings.h"
#include "ui/QDElementList.h"
#include "ui/QDThumbnailBrowser.h"
#include "app_support.h"

namespace
{
std::string SharedFolder()
{
    char folder[LFILE_MAX_PATH];
    return LFile::GetSharedDataFolderApp(folder) ? folder : "";
}

std::vector<std::string> RecoveryFiles()
{
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(SharedFolder()))
        if (e.path().extension() == ".zqp")
            names.push_back(e.path().filename().string());
    return names;
}

// A project file with the picture and a blur, as a crashed run would have left it. It is moved
// into place once the project that wrote it has gone, since a project removes the recovery file
// of its own name when it goes.
void WriteRecoveryFile(const std::string& name, const std::string& picture)
{
    const std::string written = FilesFolder() + "/" + name;
    {
        LImageBuffer image;
        ASSERT_TRUE(LImage::Load(image, picture.c_str()));
        QDProject project(unsigned(image.GetWidth()), unsigned(image.GetHeight()));
        ASSERT_TRUE(QDOriginalImageFactory::CreateLayer(project, image, false, true, nullptr));
        project.CreatePipelineElement<QDEffectBlur>(false);
        LProcessInterfaceVoid quiet;
        ASSERT_EQ(QDProjectFileSave(quiet, project, written.c_str()), LProcessResultSuccess);
    }
    std::filesystem::rename(written, SharedFolder() + "/" + name);
}

uint32_t PixelAt(const LImageBuffer& image, int x, int y)
{
    return reinterpret_cast<const uint32_t*>(image.GetRow(y))[x];
}

bool SamePixels(const LImageBuffer& a, const LImageBuffer& b)
{
    if (!a.IsValid() || !b.IsValid() || a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight())
        return false;
    for (int y = 0; y < a.GetHeight(); ++y)
        if (memcmp(a.GetRow(y), b.GetRow(y), size_t(a.GetWidth()) * 4) != 0)
            return false;
    return true;
}

std::string ReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}
} // namespace

class ProjectListTest : public MainDialogTest
{
};

TEST_F(ProjectListTest, ClosingTheCurrentProjectChoosesTheOneBeforeItOrTheLast)
{
    const std::string a = MakePicture("list-a.png", "-size 60x40 xc:red");
    const std::string b = MakePicture("list-b.png", "-size 60x40 xc:lime");
    const std::string c = MakePicture("list-c.png", "-size 60x40 xc:blue");
    QDProject* pa = Open(a);
    QDProject* pb = Open(b);
    QDProject* pc = Open(c);
    ASSERT_TRUE(pa && pb && pc);
    EXPECT_EQ(Window()->GetThumbnailBrowser()->GetCount(), 3);

    // The first has nothing before it: the last of the list follows, not the second.
    Dialog().SetCurrentProject(pa);
    Dialog().CloseProject(pa);
    EXPECT_EQ(Dialog().GetCurrentProject(), pc);
    EXPECT_EQ(Dialog().GetProjectCount(), 2u);
    EXPECT_EQ(Window()->GetThumbnailBrowser()->GetCount(), 2);
    EXPECT_EQ(Window()->GetCaption(), QString("list-c.png - Quendrel"));
    Dialog().CloseProject(pc);
    EXPECT_EQ(Dialog().GetCurrentProject(), pb);
    Dialog().CloseProject(pb);
    EXPECT_EQ(Dialog().GetCurrentProject(), nullptr);
    EXPECT_EQ(Window()->GetCaption(), QString("Quendrel"));
    EXPECT_FALSE(Window()->IsCommandEnabled(CM_CLOSE));
}

TEST_F(ProjectListTest, ClosingTheLastProjectDuringItsRenderStopsItAndFillsTheBar)
{
    const std::string big = MakePicture("render-big.png", "-seed 3 -size 3000x2000 plasma:fractal");
    QDProject* p = Open(big);
    ASSERT_TRUE(p);
    ASSERT_TRUE(WaitForRender(p));
    Dialog().Command(6022, 0);
    ASSERT_TRUE(Dialog().threadRender.IsRunning());
    Dialog().CloseProject(p);
    EXPECT_FALSE(Dialog().threadRender.IsRunning());
    EXPECT_DOUBLE_EQ(Window()->GetStatusProgress(), 1.0);
    PumpFor(100);
    EXPECT_FALSE(Dialog().threadRender.IsRunning());
}

TEST_F(ProjectListTest, ANeverSavedProjectAsksBeforeClosingAndCancelKeepsIt)
{
    Responder().bHasNewImage = true;
    Responder().newImage = {40, 30, false, LGuiColorAlpha(0xFF00, 0x8000, 0, 1.0f)};
    Dialog().Command(CM_FILE_NEW, 0);
    QDProject* p = Dialog().GetCurrentProject();
    ASSERT_TRUE(p);
    // Nothing in its history, but never saved under a name.
    EXPECT_EQ(p->undoStack.GetNumItems(), 0u);
    EXPECT_TRUE(p->HasUnsavedChanges());
    EXPECT_EQ(Window()->GetCaption(), QString("Untitled* - Quendrel"));

    Responder().dqAnswers = {"Cancel"};
    EXPECT_FALSE(Dialog().CmProjectClose());
    ASSERT_EQ(Responder().vAsked.size(), 1u);
    EXPECT_EQ(Responder().vAsked[0].szTitle, "Quendrel Image Editor");
    EXPECT_EQ(Responder().vAsked[0].szText, "Save file before closing?");
    EXPECT_EQ(Responder().vAsked[0].vButtons, (std::vector<std::string>{"Save", "Don't Save", "Cancel"}));
    EXPECT_EQ(Dialog().GetCurrentProject(), p);

    // A file that was opened is named in the question once it has changed.
    const std::string photo = MakePicture("named.png", "-size 50x50 xc:gray");
    QDProject* named = Open(photo);
    ASSERT_TRUE(named);
    EXPECT_FALSE(named->HasUnsavedChanges());
    Dialog().Command(6022, 0);
    Responder().dqAnswers = {"Don't Save"};
    EXPECT_TRUE(Dialog().CmProjectClose());
    EXPECT_EQ(Responder().vAsked.back().szText, "Save changes to \"named.png\" before closing?");
    EXPECT_EQ(Dialog().GetProjectCount(), 1u);

    Responder().dqAnswers = {"Don't Save"};
    EXPECT_TRUE(Dialog().CmProjectCloseAll());
    EXPECT_EQ(Dialog().GetProjectCount(), 0u);
}

// The files of a crashed run stand in the folder before the program starts.
class RecoveryTest : public MainDialogTest
{
protected:
    void SetUp() override
    {
        AppTestApp();
        for (const std::string& name : RecoveryFiles())
            std::filesystem::remove(SharedFolder() + "/" + name);
        const std::string picture = MakePicture("recover.png", "-size 30x20 xc:orange");
        WriteRecoveryFile("0.zqp", picture);
        WriteRecoveryFile("7.zqp", picture);
        WriteRecoveryFile("old.zqp", picture);
        MainDialogTest::SetUp();
    }
};

TEST_F(RecoveryTest, DontRecoverDeletesEveryRecoveryFileAfterOneQuestion)
{
    // Only the exact extension is a recovery file.
    std::ofstream(SharedFolder() + "/keep.ZQP") << "not ours";
    ASSERT_EQ(RecoveryFiles().size(), 3u);

    Responder().dqAnswers = {"Don't Recover"};
    Dialog().RecoverProjects();
    ASSERT_EQ(Responder().vAsked.size(), 1u);
    EXPECT_EQ(Responder().vAsked[0].szTitle, "File Recovery");
    EXPECT_EQ(Responder().vAsked[0].szText,
              "There are one or more projects that can be recovered from the last time the program was run. "
              "Would you like to recover them?");
    EXPECT_TRUE(RecoveryFiles().empty());
    EXPECT_TRUE(std::filesystem::exists(SharedFolder() + "/keep.ZQP"));
    EXPECT_EQ(Dialog().GetProjectCount(), 0u);
    std::filesystem::remove(SharedFolder() + "/keep.ZQP");
}

TEST_F(RecoveryTest, RecoveredProjectsComeBackUnsavedAndTheirFilesGo)
{
    // A damaged file gives what it can; it is no reason to stop.
    std::ofstream(SharedFolder() + "/2.zqp") << "lsdf but not much else";
    Responder().dqAnswers = {"Recover My Projects"};
    Dialog().RecoverProjects();
    EXPECT_EQ(Responder().vAsked.size(), 1u);
    ASSERT_EQ(Dialog().GetProjectCount(), 4u);
    // In the order the crashed run made them: "old", 0, the damaged 2, then 7.
    QDProject* first = Dialog().GetFirstProject();
    std::vector<size_t> layers;
    for (QDProject* p = first; p; p = p->lpNext)
        layers.push_back(Layers(p));
    EXPECT_EQ(layers, (std::vector<size_t>{2, 2, 0, 2}));
    EXPECT_TRUE(first->HasUnsavedChanges());
    EXPECT_EQ(first->szName[0], 0);
    // Panels for what was loaded, the last visible one shown.
    QDMainViewer* mv = Dialog().GetMainViewer(first);
    ASSERT_TRUE(mv);
    EXPECT_EQ(mv->vElementUis.size(), 2u);
    // Their own recovery files take numbers the crashed run didn't use, so that none of its files
    // can be written over before it has been offered.
    for (QDProject* p = first; p; p = p->lpNext)
        EXPECT_GT(atoi(p->szRecoveryFileName), 7) << p->szRecoveryFileName;
    ASSERT_TRUE(WaitForRender(Dialog().GetCurrentProject()));
    for (const std::string& name : RecoveryFiles())
        EXPECT_GT(atoi(name.c_str()), 7) << name;
}

class CommandTest : public MainDialogTest
{
};

TEST_F(CommandTest, TheHundredthLayerIsTheLast)
{
    QDProject* p = Open(MakePicture("limit.png", "-size 20x20 xc:white"));
    ASSERT_TRUE(p);
    Dialog().threadRender.StopThreadNow();
    QDEffectFactory* blur = Dialog().catalogue.MapCommandIdToEffectFactory(6022);
    ASSERT_TRUE(blur);
    while (p->GetLayerCount() < 99)
        blur->CreateLayer(*p, nullptr, false);
    Dialog().Command(6022, 0);
    EXPECT_EQ(Layers(p), 100u);
    EXPECT_TRUE(Responder().vAsked.empty());
    Dialog().Command(6023, 0);
    EXPECT_EQ(Layers(p), 100u);
    ASSERT_EQ(Responder().vAsked.size(), 1u);
    EXPECT_EQ(Responder().vAsked[0].szTitle, "Maximum limit reached.");
    EXPECT_EQ(Responder().vAsked[0].szText,
              "Quendrel's layer count limit of 100 has been reached. To add new "
              "layers, please remove one or more layers first.");
}

TEST_F(CommandTest, PreferencesTurnPhotoInformationOffAndOn)
{
    Responder().bPrefKeepPhoto = false;
    Dialog().Command(CM_SETTINGS, 0);
    EXPECT_FALSE(LImageMetadataGetKeep());
    Responder().bPrefKeepPhoto = true;
    Dialog().Command(CM_SETTINGS, 0);
    EXPECT_TRUE(LImageMetadataGetKeep());
}

TEST_F(CommandTest, ACommandWithoutBranchOrFactoryDoesNothing)
{
    QDProject* p = Open(MakePicture("nothing.png", "-size 20x20 xc:white"));
    ASSERT_TRUE(p);
    // An id of the effects' range whose effect this build lacks, and one outside every table.
    int missing = 0;
    for (const QDEffectCatalogueRow& row : QDEffectCatalogueRows())
        if (!row.fnCreateFactory && !Dialog().catalogue.MapCommandIdToEffectFactory(row.iCommandId))
            missing = row.iCommandId;
    for (int id : {missing, 2999, 4321, 6999})
    {
        if (id == 0)
            continue;
        Dialog().Command(id, 0);
        EXPECT_EQ(Layers(p), 1u) << id;
        EXPECT_EQ(p->undoStack.GetNumItems(), 0u) << id;
    }
    EXPECT_TRUE(Responder().vAsked.empty());
    EXPECT_EQ(Dialog().GetProjectCount(), 1u);
}

TEST_F(CommandTest, RedoGoesAwayWithANewElementAndTheMenuNamesWhatUndoWouldTakeBack)
{
    QDProject* p = Open(MakePicture("redo.png", "-size 40x40 xc:gray"));
    ASSERT_TRUE(p);
    Dialog().Command(6022, 0);
    Dialog().EvKeyDown(LKeyCommand | 'z');
    EXPECT_EQ(Layers(p), 1u);
    // Enablement follows background work through its debounce.
    PumpFor(700);
    EXPECT_TRUE(Window()->IsCommandEnabled(CM_REDO));
    EXPECT_EQ(Window()->GetMenuAction(CM_REDO)->text(), QString("Redo Create Blur Effect\tCtrl+Shift+Z"));
    Dialog().Command(6023, 0);
    PumpFor(700);
    EXPECT_FALSE(Window()->IsCommandEnabled(CM_REDO));
    EXPECT_EQ(p->undoStack.GetNumItems(), 1u);
    EXPECT_EQ(Window()->GetMenuAction(CM_UNDO)->text(), QString("Undo Create Sharpen Effect\tCtrl+Z"));
    // Undo takes the panel with the element, redo brings both back.
    Dialog().CmUndo();
    EXPECT_EQ(Dialog().GetMainViewer(p)->vElementUis.size(), 1u);
    Dialog().CmRedo();
    EXPECT_EQ(Dialog().GetMainViewer(p)->vElementUis.size(), 2u);
    EXPECT_EQ(Dialog().GetSelectedElement(), p->pipeline.GetElement(1));
}

TEST_F(CommandTest, EnablementFollowsTheRuleAndWhatTheBuildHas)
{
    Dialog().EnableControls();
    for (int id : {int(CM_SAVE), int(CM_SAVE_AS), int(CM_CLOSE), int(CM_COPY), int(CM_ZOOM_IN), 6022})
        EXPECT_FALSE(Window()->IsCommandEnabled(id)) << id;
    for (int id : {int(CM_FILE_NEW), int(CM_FILE_OPEN), int(CM_SETTINGS)})
        EXPECT_TRUE(Window()->IsCommandEnabled(id)) << id;

    QDProject* p = Open(MakePicture("enable.png", "-size 40x40 xc:gray"));
    ASSERT_TRUE(p);
    Dialog().EnableControls();
    // Opened and untouched: nothing to save yet, but everything else on a project.
    EXPECT_FALSE(Window()->IsCommandEnabled(CM_SAVE));
    for (int id : {int(CM_SAVE_AS), int(CM_CLOSE), int(CM_COPY), int(CM_ZOOM_IN), int(CM_BACKGROUND_COLOUR)})
        EXPECT_TRUE(Window()->IsCommandEnabled(id)) << id;
    // Subsystems this build lacks stay off.
    for (int id :
         {int(CM_PRINT), int(CM_COLLAGE), int(CM_SELECT_ALL), int(CM_UPLOAD_FLICKR), int(CM_OPEN_DROPBOX)})
        EXPECT_FALSE(Window()->IsCommandEnabled(id)) << id;
    // Every effect on the toolbar is on exactly when the catalogue has made its factory.
    for (const QDToolbarTab& tab : QDEffectToolbarTabs())
        for (int id : tab.items)
            if (id >= CM_EFFECT_FIRST)
            {
                EXPECT_EQ(Window()->IsCommandEnabled(id),
                          Dialog().catalogue.MapCommandIdToEffectFactory(id) != nullptr)
                    << id;
            }
    Dialog().Command(6022, 0);
    Dialog().EnableControls();
    EXPECT_TRUE(Window()->IsCommandEnabled(CM_SAVE));

    Dialog().Command(CM_BACKGROUND_TRANSPARENT, 0);
    EXPECT_TRUE(Window()->GetMenuAction(CM_BACKGROUND_TRANSPARENT)->isChecked());
    EXPECT_FALSE(Window()->GetMenuAction(CM_BACKGROUND_COLOUR)->isChecked());
    Dialog().Command(CM_BACKGROUND_COLOUR, 0);
    EXPECT_FALSE(Window()->GetMenuAction(CM_BACKGROUND_TRANSPARENT)->isChecked());
    EXPECT_EQ(p->crBackground.red, 0x2000);
    EXPECT_EQ(p->crBackground.alpha, 1.0f);
}

TEST_F(CommandTest, CommandsFromAnotherStartAnswerAsSpecified)
{
    std::string answer;
    auto run = [&](std::vector<const char*> args)
    { return Dialog().ExecuteCommand(int(args.size()), args.data(), answer); };
    EXPECT_EQ(run({}), -2);
    EXPECT_EQ(answer, "Command Not Specified.");
    EXPECT_EQ(run({"-testapi", "ping"}), 0);
    EXPECT_EQ(answer, "API Test OK [ping].");
    EXPECT_EQ(run({"-testapi"}), -1);
    EXPECT_EQ(answer, "API Test Fail (No data).");
    EXPECT_EQ(run({"-version"}), 0);
    EXPECT_EQ(answer, "2.82");
    EXPECT_EQ(run({"blur"}), -1);
    EXPECT_EQ(answer, "Invalid image");

    const std::string photo = MakePicture("api.png", "-size 32x24 xc:teal");
    // Type keys compare without regard to case; a file is anything with a dot inside.
    EXPECT_EQ(run({photo.c_str(), "BLUR", "Sharpen"}), 0);
    EXPECT_EQ(answer, "OK");
    ASSERT_TRUE(Dialog().GetCurrentProject());
    EXPECT_EQ(Layers(Dialog().GetCurrentProject()), 3u);
    EXPECT_EQ(Dialog().GetCurrentProject()->undoStack.GetNumItems(), 2u);
    EXPECT_EQ(run({"nosuchthing"}), -1);
    EXPECT_EQ(answer, "Unrecognized parameter");
    EXPECT_EQ(run({(FilesFolder() + "/missing.png").c_str()}), -1);
    EXPECT_EQ(answer, "One or more images could not be loaded");
    EXPECT_EQ(Dialog().GetProjectCount(), 1u);
    // With arguments the start screen is no longer what a later welcome shows.
    EXPECT_FALSE(Dialog().bShowStartScreen);
}

TEST_F(CommandTest, PanelsReachTheControllerOnlyThroughTheMessagesItTakes)
{
    QDProject* p = Open(MakePicture("messages.png", "-size 20x20 xc:gray"));
    ASSERT_TRUE(p);
    Dialog().Command(6022, 0);
    QDImagePipelineElement* blur = p->pipeline.GetElement(1);
    // Message 11 is not taken.
    EXPECT_FALSE(LInterWinMessageHandler::SendInterWinMessage(&Dialog(), 11));
    // A delete for the base element, or for an element of a project that has gone, does nothing.
    LWindow::SendInterWinMessage(&Dialog(), 2, reinterpret_cast<intptr_t>(p->pipeline.GetElement(0)));
    PumpFor(50);
    EXPECT_EQ(Layers(p), 2u);
    LWindow::SendInterWinMessage(&Dialog(), 2, reinterpret_cast<intptr_t>(blur));
    Dialog().CloseProject(p);
    PumpFor(50);
    EXPECT_EQ(Dialog().GetProjectCount(), 0u);
}

class FileTest : public MainDialogTest
{
};

TEST_F(FileTest, ADroppedFolderOpensItsPicturesAndRefusesItsProjectFile)
{
    const std::string folder = FilesFolder() + "/dropped";
    std::filesystem::create_directories(folder + "/.hidden");
    std::filesystem::create_directories(folder + "/sub");
    ASSERT_FALSE(MakePicture("dropped/a.png", "-size 20x20 xc:red").empty());
    ASSERT_FALSE(MakePicture("dropped/sub/b.png", "-size 20x20 xc:red").empty());
    {
        QDProject project(20, 20);
        LProcessInterfaceVoid quiet;
        ASSERT_EQ(QDProjectFileSave(quiet, project, (folder + "/c.qdj").c_str()), LProcessResultSuccess);
    }
    std::ofstream(folder + "/notes.txt") << "hello";
    Dialog().EvDropFiles({folder});
    ASSERT_EQ(Responder().vAsked.size(), 1u);
    EXPECT_EQ(Responder().vAsked[0].szTitle, "Error Loading Files");
    EXPECT_EQ(Responder().vAsked[0].szText, "The following files could not be loaded:\n\nc.qdj\nnotes.txt");
    // a.png only: sub-folders aren't walked.
    EXPECT_EQ(Dialog().GetProjectCount(), 1u);

    // The same project file dropped by itself opens.
    Dialog().EvDropFiles({folder + "/c.qdj"});
    EXPECT_EQ(Responder().vAsked.size(), 1u);
    EXPECT_EQ(Dialog().GetProjectCount(), 2u);
    EXPECT_STREQ(Dialog().GetCurrentProject()->szName, "c.qdj");
}

TEST_F(FileTest, OpenAsksForSeveralFilesWithTheImageFiltersAndRemembersThem)
{
    const std::string a = MakePicture("open-a.jpg", "-size 20x20 xc:red");
    const std::string b = MakePicture("open-b.png", "-size 20x20 xc:blue");
    Responder().dqOpen = {{a, b}};
    Dialog().Command(CM_FILE_OPEN, 0);
    ASSERT_EQ(Responder().vOpenRequests.size(), 1u);
    const LFileDialogRequest& r = Responder().vOpenRequests[0];
    EXPECT_EQ(r.szTitle, "Open file...");
    EXPECT_TRUE(r.bMultiple);
    ASSERT_FALSE(r.vFilters.empty());
    EXPECT_EQ(r.vFilters[0].first, "All images");
    EXPECT_NE(r.vFilters[0].second.find("*.jpeg"), std::string::npos);
    EXPECT_EQ(Dialog().GetProjectCount(), 2u);
    char last[LUSERSETTING_MAX_STRING];
    _LUserSettingGetString("Settings", "LastPhotoLoaded", "", last);
    EXPECT_EQ(std::string(last), b);
    ASSERT_GE(Dialog().recentFiles.GetFiles().size(), 2u);
    EXPECT_EQ(Dialog().recentFiles.GetFiles()[0], b);
}

TEST_F(FileTest, SavingInPlaceAsksForTheSettingsOnceAndMarksTheProjectSaved)
{
    const std::string path = MakePicture("inplace.jpg", "-size 64x48 gradient:red-blue");
    const std::string before = ReadFile(path);
    QDProject* p = Open(path);
    ASSERT_TRUE(p);
    Dialog().Command(6022, 0);
    ASSERT_TRUE(WaitForRender(p));
    Dialog().Command(CM_SAVE, 0);
    EXPECT_EQ(Responder().iEncodeDialogs, 1);
    EXPECT_NE(ReadFile(path), before);
    EXPECT_FALSE(p->HasUnsavedChanges());
    EXPECT_EQ(Window()->GetCaption(), QString("inplace.jpg - Quendrel"));
    // Known settings aren't asked for again.
    Dialog().Command(6023, 0);
    ASSERT_TRUE(WaitForRender(p));
    Dialog().Command(CM_SAVE, 0);
    EXPECT_EQ(Responder().iEncodeDialogs, 1);
    EXPECT_TRUE(Responder().vAsked.empty());
}

TEST_F(FileTest, TheSameNameInAnotherFolderKeepsTheProjectWhereItWas)
{
    const std::string path = MakePicture("samename.png", "-size 32x32 xc:yellow");
    std::filesystem::create_directories(FilesFolder() + "/elsewhere");
    const std::string other = FilesFolder() + "/elsewhere/samename.png";
    QDProject* p = Open(path);
    ASSERT_TRUE(p);
    ASSERT_TRUE(WaitForRender(p));
    // The browse route, as a read-only file's "Save to different file" takes it.
    Responder().dqSave = {{other, 0}};
    EXPECT_TRUE(Dialog().Save(p, true));
    EXPECT_TRUE(std::filesystem::exists(other));
    EXPECT_STREQ(p->szFilePath, path.c_str());
    // Under a new name, the project follows the file.
    const std::string renamed = FilesFolder() + "/elsewhere/renamed";
    Responder().dqSave = {{renamed, 0}};
    EXPECT_TRUE(Dialog().Save(p, true));
    EXPECT_STREQ(p->szFilePath, (renamed + ".png").c_str());
    EXPECT_STREQ(p->szName, "renamed.png");
    // Over a file that exists, only when the person says so.
    Responder().dqSave = {{renamed + ".png", 0}};
    Responder().dqAnswers = {"Cancel"};
    EXPECT_FALSE(Dialog().Save(p, true));
    ASSERT_FALSE(Responder().vAsked.empty());
    EXPECT_EQ(Responder().vAsked.back().szTitle, "File already exists");
    EXPECT_EQ(Responder().vAsked.back().szText,
              "File \"renamed.png\" already exists. Do you want to overwrite it?");
}

TEST_F(FileTest, SaveForWebWritesThePreviewedFileAndTheProjectFollowsIt)
{
    const std::string path = MakePicture("web.png", "-size 96x64 gradient:red-blue");
    const std::string before = ReadFile(path);
    QDProject* p = Open(path);
    ASSERT_TRUE(p);
    Dialog().Command(6022, 0);
    ASSERT_TRUE(WaitForRender(p));
    ASSERT_TRUE(p->HasUnsavedChanges());

    // Cancelled at the chooser: nothing is written and the project stays as it was.
    Responder().dqSaveImage = {{".JPEG", 60, ""}};
    Dialog().Command(CM_SAVE_FOR_WEB, 0);
    EXPECT_EQ(Responder().iSaveImageDialogs, 1);
    EXPECT_TRUE(p->HasUnsavedChanges());
    EXPECT_STREQ(p->szFilePath, path.c_str());

    // Written under a name typed without an extension: the very bytes the dialog projected.
    const std::string web = FilesFolder() + "/web-out";
    Responder().dqSaveImage = {{".JPEG", 60, web}};
    Dialog().Command(CM_SAVE_FOR_WEB, 0);
    ASSERT_EQ(Responder().vProjectedFiles.size(), 2u);
    const std::vector<uint8_t>& projected = Responder().vProjectedFiles.back();
    EXPECT_EQ(ReadFile(web + ".jpg"), std::string(projected.begin(), projected.end()));
    EXPECT_EQ(ReadFile(path), before);
    EXPECT_STREQ(p->szFilePath, (web + ".jpg").c_str());
    EXPECT_STREQ(p->szName, "web-out.jpg");
    EXPECT_FALSE(p->HasUnsavedChanges());
    EXPECT_EQ(Window()->GetCaption(), QString("web-out.jpg - Quendrel"));
    ASSERT_FALSE(Dialog().recentFiles.GetFiles().empty());
    EXPECT_EQ(Dialog().recentFiles.GetFiles()[0], web + ".jpg");

    // A later save in place keeps the quality chosen there and asks nothing.
    Dialog().Command(6023, 0);
    ASSERT_TRUE(WaitForRender(p));
    Dialog().Command(CM_SAVE, 0);
    EXPECT_EQ(Responder().iEncodeDialogs, 0);
    EXPECT_TRUE(Responder().vAsked.empty());
    EXPECT_FALSE(p->HasUnsavedChanges());
    std::string quality;
    if (FILE* identify = popen(("identify -format %Q '" + web + ".jpg'").c_str(), "r"))
    {
        char line[32] = {};
        if (fgets(line, sizeof(line), identify))
            quality = line;
        pclose(identify);
    }
    EXPECT_EQ(quality, "60");
}

TEST_F(FileTest, AReadOnlyFileLeadsToTheSaveDialogWhenThePersonSaysSo)
{
    const std::string path = MakePicture("readonly.png", "-size 32x32 xc:green");
    const std::string before = ReadFile(path);
    QDProject* p = Open(path);
    ASSERT_TRUE(p);
    Dialog().Command(6022, 0);
    ASSERT_TRUE(WaitForRender(p));
    chmod(path.c_str(), 0444);
    Responder().dqAnswers = {"Save to different file"};
    Dialog().Command(CM_SAVE, 0);
    ASSERT_EQ(Responder().vAsked.size(), 1u);
    EXPECT_EQ(Responder().vAsked[0].szTitle, "File is read only");
    EXPECT_EQ(Responder().vSaveRequests.size(), 1u);
    EXPECT_EQ(Responder().vSaveRequests[0].szTitle, "Save As...");
    EXPECT_EQ(ReadFile(path), before);
    EXPECT_TRUE(p->HasUnsavedChanges());
    chmod(path.c_str(), 0644);
}

TEST_F(FileTest, ASaveWithoutARenderedPictureSaysSoAndKeepsTheFile)
{
    const std::string path = MakePicture("norender.png", "-size 32x32 xc:navy");
    const std::string before = ReadFile(path);
    QDProject* p = Open(path);
    ASSERT_TRUE(p);
    Dialog().Command(6022, 0);
    ASSERT_TRUE(WaitForRender(p));
    LQDCacheInvalidate(p->iHighResCacheId);
    p->iHighResCacheId = -1;
    Dialog().Command(CM_SAVE, 0);
    ASSERT_EQ(Responder().vAsked.size(), 1u);
    EXPECT_EQ(Responder().vAsked[0].szTitle, "An error occurred while saving");
    EXPECT_EQ(Responder().vAsked[0].szText, "An error occurred while preparing the image for saving.");
    EXPECT_EQ(ReadFile(path), before);
}

TEST_F(FileTest, SaveAsAProjectFileKeepsEveryElementAndNamesTheProject)
{
    QDProject* p = Open(MakePicture("asproject.png", "-size 32x32 xc:gray"));
    ASSERT_TRUE(p);
    Dialog().Command(6022, 0);
    Dialog().Command(6023, 0);
    const std::string target = FilesFolder() + "/asproject.qdj";
    Responder().dqSave = {{target, 1}};
    Dialog().Command(CM_SAVE_AS, 0);
    ASSERT_EQ(Responder().vSaveRequests.size(), 1u);
    EXPECT_EQ(Responder().vSaveRequests[0].szTitle, "Save As");
    EXPECT_EQ(Responder().vSaveRequests[0].vFilters.size(), 6u);
    EXPECT_STREQ(p->szName, "asproject.qdj");
    EXPECT_FALSE(p->HasUnsavedChanges());
    QDProject loaded(1024, 768);
    LProcessInterfaceVoid quiet;
    ASSERT_EQ(QDProjectFileLoad(quiet, loaded, nullptr, target.c_str(), Dialog().catalogue.lFactories),
              LProcessResultSuccess);
    EXPECT_EQ(loaded.GetLayerCount(), 3u);
}

// The camera model exiv2 reads from a file, empty for none.
static std::string CameraModel(const std::string& path)
{
    std::string model;
    if (FILE* tool = popen(("exiv2 -q -K Exif.Image.Model -Pv '" + path + "' 2>/dev/null").c_str(), "r"))
    {
        char line[128] = {};
        if (fgets(line, sizeof(line), tool))
            model = line;
        pclose(tool);
    }
    while (!model.empty() && (model.back() == '\n' || model.back() == ' '))
        model.pop_back();
    return model;
}

TEST_F(FileTest, SaveAsKeepsThePhotoInformationAndTheWebCopyLeavesItOut)
{
    const std::string path = MakePicture("camera.jpg", "-size 64x48 gradient:red-blue");
    ASSERT_EQ(system(("exiv2 -M'set Exif.Image.Model TestCam' '" + path + "'").c_str()), 0);
    ASSERT_EQ(CameraModel(path), "TestCam");
    QDProject* p = Open(path);
    ASSERT_TRUE(p);
    Dialog().Command(6022, 0);
    ASSERT_TRUE(WaitForRender(p));

    const std::string kept = FilesFolder() + "/camera-kept.jpg";
    Responder().dqSave = {{kept, 4}};
    Dialog().Command(CM_SAVE_AS, 0);
    EXPECT_EQ(CameraModel(kept), "TestCam");

    const std::string web = FilesFolder() + "/camera-web.jpg";
    Responder().dqSaveImage = {{".JPEG", 80, web}};
    Dialog().Command(CM_SAVE_FOR_WEB, 0);
    ASSERT_TRUE(std::filesystem::exists(web));
    EXPECT_EQ(CameraModel(web), "");
}

class ClipboardTest : public MainDialogTest
{
};

TEST_F(ClipboardTest, CopyGivesTheRenderedPictureAndPasteMakesAProjectOfIt)
{
    // Red on the left half, blue on the right, as another tool drew it.
    QDProject* p = Open(
        MakePicture("clip.png", "-size 40x20 xc:red \\( -size 20x20 xc:blue \\) -geometry +20+0 -composite"));
    ASSERT_TRUE(p);
    ASSERT_TRUE(WaitForRender(p));
    Dialog().Command(CM_COPY, 0);
    const QImage copied = QGuiApplication::clipboard()->image().convertToFormat(QImage::Format_ARGB32);
    ASSERT_EQ(copied.size(), QSize(40, 20));
    EXPECT_EQ(copied.pixel(5, 5), qRgb(255, 0, 0));
    EXPECT_EQ(copied.pixel(35, 5), qRgb(0, 0, 255));
    Dialog().Command(CM_PASTE_NEW_PROJECT, 0);
    QDProject* pasted = Dialog().GetCurrentProject();
    ASSERT_NE(pasted, p);
    ASSERT_TRUE(WaitForRender(pasted));
    LImageBuffer image;
    ASSERT_TRUE(LQDCacheLoadImage(image, pasted->iHighResCacheId));
    EXPECT_EQ(PixelAt(image, 5, 5), 0xFFFF0000u);
    EXPECT_EQ(PixelAt(image, 35, 5), 0xFF0000FFu);
    EXPECT_TRUE(pasted->HasUnsavedChanges());
}

TEST_F(ClipboardTest, CopyingAnEmptyPictureSaysSoAndLeavesTheClipboardAlone)
{
    QGuiApplication::clipboard()->setText("kept");
    Responder().bHasNewImage = true;
    Responder().newImage = {16, 16, true, LGuiColorAlpha()};
    Dialog().Command(CM_FILE_NEW, 0);
    QDProject* p = Dialog().GetCurrentProject();
    ASSERT_TRUE(p);
    ASSERT_TRUE(WaitForRender(p));
    Dialog().Command(CM_COPY, 0);
    ASSERT_EQ(Responder().vAsked.size(), 1u);
    EXPECT_EQ(Responder().vAsked[0].szTitle, "Could not copy to clipboard");
    EXPECT_EQ(Responder().vAsked[0].szText, "Could not copy to clipboard because the image is empty.");
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QString("kept"));
}

class ElementListTest : public MainDialogTest
{
protected:
    void Rendered(QDProject* p, LImageBuffer& image)
    {
        EXPECT_TRUE(WaitForRender(p));
        EXPECT_TRUE(LQDCacheLoadImage(image, p->iHighResCacheId));
    }
};

TEST_F(ElementListTest, MovingHidingAndDeletingAreStepsTheHistoryTakesBack)
{
    QDProject* p = Open(MakePicture("order.png", "-seed 5 -size 48x32 plasma:fractal"));
    ASSERT_TRUE(p);
    Dialog().Command(6022, 0);
    Dialog().Command(6023, 0);
    QDImagePipelineElement* blur = p->pipeline.GetElement(1);
    QDImagePipelineElement* sharpen = p->pipeline.GetElement(2);
    LImageBuffer blurThenSharpen, sharpenThenBlur, again;
    Rendered(p, blurThenSharpen);

    Dialog().EvElementMove(sharpen, 1);
    EXPECT_EQ(p->pipeline.GetElement(1), sharpen);
    Rendered(p, sharpenThenBlur);
    EXPECT_FALSE(SamePixels(blurThenSharpen, sharpenThenBlur));
    // Undone, the order comes back and so does its picture, not the one of the other order.
    Dialog().CmUndo();
    EXPECT_EQ(p->pipeline.GetElement(2), sharpen);
    Rendered(p, again);
    EXPECT_TRUE(SamePixels(again, blurThenSharpen));
    // Nothing goes beneath the picture itself.
    Dialog().EvElementMove(sharpen, 0);
    EXPECT_EQ(p->pipeline.GetElement(1), sharpen);
    EXPECT_TRUE(p->pipeline.GetElement(0)->bBaseElement);
    Dialog().CmUndo();

    Dialog().EvElementSetVisible(blur, false);
    EXPECT_EQ(p->GetNumVisibleElements(), 1u);
    char name[LUNDO_NAME_SIZE];
    p->undoStack.GetItem(0)->GetName(name);
    EXPECT_STREQ(name, "Hide Blur");
    Dialog().CmUndo();
    EXPECT_TRUE(blur->bVisible);
    Rendered(p, again);
    EXPECT_TRUE(SamePixels(again, blurThenSharpen));

    // Delete goes through the panels' message and is undone like any step, panel and all.
    Window()->GetElementList()->deleteRequested(sharpen);
    PumpFor(50);
    EXPECT_EQ(Layers(p), 2u);
    EXPECT_FALSE(Dialog().GetMainViewer(p)->HasElementUi(sharpen));
    Dialog().CmUndo();
    EXPECT_EQ(Layers(p), 3u);
    EXPECT_TRUE(Dialog().GetMainViewer(p)->HasElementUi(sharpen));
    EXPECT_EQ(Window()->GetElementList()->GetRowName(0), QString("Sharpen"));
}
