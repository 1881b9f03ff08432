// After a crash nothing is lost: a running program (a child process on the headless platform)
// gets three edits through the instance pipe and is killed without warning; the next start
// offers its projects and brings all three edits back.

#include <csignal>

#include "app/LInstancePipe.h"
#include "document/QDProjectFile.h"
#include "foundation/LFile.h"
#include "app_support.h"

namespace
{
std::vector<std::string> RecoveryFiles()
{
    std::vector<std::string> paths;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(gAppTestRoot + "/data/Quendrel/Shared", ec))
        if (e.path().extension() == ".zqp")
            paths.push_back(e.path().string());
    return paths;
}

// The type keys of the elements a recovery file holds, empty when it can't be read.
std::vector<std::string> ElementsOf(const std::string& path, const LList<QDEffectFactory>& factories)
{
    QDProject project(1024, 768);
    LProcessInterfaceVoid quiet;
    std::vector<std::string> types;
    if (QDProjectFileLoad(quiet, project, nullptr, path.c_str(), factories) != LProcessResultSuccess)
        return types;
    for (QDImagePipelineElement* e = project.pipeline.GetFirstElement(); e; e = e->GetNextItem())
        types.push_back(e->GetTypeIdentifier());
    return types;
}
} // namespace

TEST(CrashRecovery, AKilledProgramsThreeEditsComeBackAtTheNextStart)
{
    AppTestApp();
    // A project of this process would take the child's recovery name and delete its file.
    QDProjectReserveRecoveryNumbers(100000);
    for (const std::string& f : RecoveryFiles())
        std::filesystem::remove(f);
    const std::string photo = MakePicture("crash.png", "-seed 21 -size 200x150 plasma:fractal");
    const std::vector<std::string> edits{"blur", "sharpen", "noise"};
    const std::vector<std::string> expected{"original_image", "blur", "sharpen", "noise"};

    ChildProcess program;
    ASSERT_TRUE(program.Start({photo}));
    LNamedPipeRef probe;
    ASSERT_TRUE(PumpUntil([&] { return probe.Open("Quendrel"); }, 20000));
    probe.Close();
    for (const std::string& edit : edits)
    {
        ChildProcess second;
        ASSERT_TRUE(second.Start({edit}));
        ASSERT_EQ(second.Wait(15000), 0) << edit;
    }
    // The recovery file follows each finished render; once it holds all three, the crash.
    QDEffectCatalogue catalogue;
    catalogue.Register();
    std::string recovery;
    ASSERT_TRUE(PumpUntil(
        [&]
        {
            for (const std::string& f : RecoveryFiles())
                if (ElementsOf(f, catalogue.lFactories) == expected)
                    recovery = f;
            return !recovery.empty();
        },
        30000))
        << "the running program never wrote its three edits";
    kill(program.pid, SIGKILL);
    EXPECT_EQ(program.Wait(5000), 128 + SIGKILL);

    // The next start, in this process: one question, and the project as it was.
    deleteThread.StartThread(LThreadPriorityNormal);
    ScriptedToolkit toolkit;
    {
        MainDialog dialog(toolkit);
        ASSERT_TRUE(dialog.InitApplication());
        ASSERT_TRUE(dialog.CreateMainWindow());
        toolkit.responder.dqAnswers = {"Recover My Projects"};
        // The start-up timer offers the recovery once the window stands.
        ASSERT_TRUE(PumpUntil([&] { return dialog.GetProjectCount() == 1; }, 10000));
        ASSERT_EQ(toolkit.responder.vAsked.size(), 1u);
        EXPECT_EQ(toolkit.responder.vAsked[0].szTitle, "File Recovery");
        QDProject* p = dialog.GetCurrentProject();
        ASSERT_TRUE(p);
        std::vector<std::string> types;
        for (QDImagePipelineElement* e = p->pipeline.GetFirstElement(); e; e = e->GetNextItem())
            types.push_back(e->GetTypeIdentifier());
        EXPECT_EQ(types, expected);
        unsigned w = 0, h = 0;
        p->GetDimensions(w, h);
        EXPECT_EQ(w, 200u);
        EXPECT_EQ(h, 150u);
        EXPECT_TRUE(p->HasUnsavedChanges());
        EXPECT_FALSE(std::filesystem::exists(recovery));
        while (QDProject* open = dialog.GetFirstProject())
            dialog.CloseProject(open);
        dialog.DestroyMainWindow();
    }
}
