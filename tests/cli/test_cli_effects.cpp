// The project commands of quendrel-cli end to end: a project written and rendered gives apply's
// pixels, mistakes name what is valid, the catalogue listing, and the recovery file left by a
// program killed at random moments.

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <map>
#include <random>
#include <spawn.h>
#include <thread>
#include <unistd.h>

#include "cli/QDCliRecoveryScript.h"
#include "cli_support.h"
#include "codecs/LImage.h"
#include "document/QDProject.h"
#include "document/QDProjectFile.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"

extern char** environ;

using namespace cli_test;

namespace
{
class CliEffectsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char templ[] = "/tmp/quendrel-cli-effects-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        szDir = templ;
        // This process loads project files too; its folders are the test's.
        setenv("XDG_CACHE_HOME", szDir.c_str(), 1);
        setenv("XDG_DATA_HOME", (szDir + "/data").c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(szDir); }
    std::string P(const char* name) const { return szDir + "/" + name; }

    std::string szDir;
};

bool SamePicture(const std::string& a, const std::string& b)
{
    LImageBuffer x, y;
    if (!LImage::Load(x, a.c_str()) || !LImage::Load(y, b.c_str()) || x.GetWidth() != y.GetWidth() ||
        x.GetHeight() != y.GetHeight() || x.GetPixelFormat() != y.GetPixelFormat())
        return false;
    const size_t bytes = size_t(x.GetWidth()) * (LGetPixelFormatBits(x.GetPixelFormat()) / 8);
    for (int row = 0; row < x.GetHeight(); ++row)
        if (memcmp(x.GetRow(row), y.GetRow(row), bytes) != 0)
            return false;
    return true;
}

// The project after the first n scripted edits: type keys and the values the script set.
struct Expected
{
    std::string szType;
    std::map<std::string, double> values;
};
std::vector<Expected> ScriptState(int n)
{
    std::vector<Expected> elements;
    for (int k = 1; k <= n; ++k)
    {
        const QDCliScriptEdit e = QDCliScriptEditAt(k);
        if (e.bAdd)
            elements.push_back({e.szType, {{e.szProperty, e.dValue}}});
        else
            elements[0].values[e.szProperty] = e.dValue;
    }
    return elements;
}

bool Holds(const QDProject& project, const std::vector<Expected>& expected)
{
    if (project.GetNumElements() != expected.size() + 1)
        return false;
    for (size_t i = 0; i < expected.size(); ++i)
    {
        auto* e = dynamic_cast<QDWrappedPropertiesElement*>(project.pipeline.GetElement(i + 1));
        if (!e || expected[i].szType != e->GetTypeIdentifier())
            return false;
        for (const auto& [name, value] : expected[i].values)
            if (e->GetPropertyValue(size_t(e->GetPropertyTable().FindByName(name.c_str()))) != value)
                return false;
    }
    return true;
}
} // namespace

TEST_F(CliEffectsTest, AProjectRendersToApplysPixels)
{
    ASSERT_EQ(system(("convert rose: -resize 97x61! " + P("photo.jpg")).c_str()), 0);
    const std::string effects = " blur:radius=6.5,type=0 sharpen:amount=80";
    ASSERT_EQ(RunCli("apply " + P("photo.jpg") + " " + P("a.png") + effects).iStatus, 0);
    ASSERT_EQ(RunCli("project " + P("photo.jpg") + " " + P("p.qdj") + effects).iStatus, 0);
    ASSERT_EQ(RunCli("render " + P("p.qdj") + " " + P("b.png")).iStatus, 0);
    EXPECT_TRUE(SamePicture(P("a.png"), P("b.png")));
    // Defaults when no values are given, and the effects did change the picture.
    ASSERT_EQ(RunCli("apply " + P("photo.jpg") + " " + P("c.png") + " blur sharpen").iStatus, 0);
    ASSERT_EQ(RunCli("convert " + P("photo.jpg") + " " + P("d.png")).iStatus, 0);
    EXPECT_FALSE(SamePicture(P("c.png"), P("d.png")));

    // A damaged project is refused with the reason.
    ASSERT_EQ(truncate(P("p.qdj").c_str(), 200), 0);
    RunResult r = RunCli("render " + P("p.qdj") + " " + P("e.png"), true);
    EXPECT_EQ(r.iStatus, 2);
    EXPECT_EQ(r.szOutput, "The project file is damaged.\n");
}

// Tone effects by type key, with the properties they hold as text: apply and a rendered project
// agree, and a malformed level names its syntax.
TEST_F(CliEffectsTest, ToneEffectsTakeTheirTextProperties)
{
    ASSERT_EQ(system(("convert rose: -resize 97x61! " + P("photo.jpg")).c_str()), 0);
    ASSERT_EQ(RunCli("convert " + P("photo.jpg") + " " + P("in.png")).iStatus, 0);
    ASSERT_EQ(RunCli("apply " + P("photo.jpg") + " " + P("rest.png") + " levels curves").iStatus, 0);
    EXPECT_TRUE(SamePicture(P("rest.png"), P("in.png"))) << "levels and curves at rest";
    ASSERT_EQ(RunCli("apply " + P("photo.jpg") + " " + P("amber.png") + " levels curves amber").iStatus, 0);
    EXPECT_FALSE(SamePicture(P("amber.png"), P("in.png")));
    const std::string effects =
        " levels:rgb=20/235/0.6,blue=0/255/0.4 curves:rgb=0/0+128/160+255/255 amber:strength=0.5";
    ASSERT_EQ(RunCli("apply " + P("photo.jpg") + " " + P("a.png") + effects).iStatus, 0);
    ASSERT_EQ(RunCli("project " + P("photo.jpg") + " " + P("p.qdj") + effects).iStatus, 0);
    ASSERT_EQ(RunCli("render " + P("p.qdj") + " " + P("b.png")).iStatus, 0);
    EXPECT_TRUE(SamePicture(P("a.png"), P("b.png")));
    EXPECT_FALSE(SamePicture(P("a.png"), P("in.png")));

    const RunResult r = RunCli("apply " + P("photo.jpg") + " " + P("c.png") + " levels:rgb=300/10", true);
    EXPECT_EQ(r.iStatus, 2);
    EXPECT_NE(r.szOutput.find("levels:rgb takes LOW/HIGH/MIDTONE"), std::string::npos) << r.szOutput;
}

TEST_F(CliEffectsTest, MistakesNameWhatIsValid)
{
    const std::string in = P("x.png");
    struct Case
    {
        const char* szArgs;
        const char* szMessage;
    };
    for (const Case& c : {
             Case{"bluur", "unknown effect \"bluur\"; the effects are: brick, brightness, balance, "},
             Case{"warp", "\"warp\" is not available yet; the effects are: brick, brightness, "},
             Case{"original_image", "\"original_image\" can't be applied"},
             Case{"blur:size=3", "blur has no property \"size\"; its properties are: radius, type"},
             Case{"noise:patch=2", "noise has no property \"patch\"; its properties are: noise, smoothing"},
             Case{"blur:radius=2000", "blur:radius takes a number from 0 to 1000, not \"2000\""},
             Case{"blur:type=1.5", "blur:type takes a whole number from 0 to 2, not \"1.5\""},
             Case{"sharpen:simple=maybe", "sharpen:simple takes true or false"},
             Case{"blur:radius", "blur:radius takes a number from 0 to 1000, not \"\""},
         })
    {
        for (const char* command : {"apply", "project"})
        {
            RunResult r = RunCli(std::string(command) + " " + in + " " + P("out.png") + " " + c.szArgs, true);
            EXPECT_EQ(r.iStatus, 2) << c.szArgs;
            EXPECT_NE(r.szOutput.find(c.szMessage), std::string::npos) << r.szOutput;
        }
    }
    EXPECT_FALSE(std::filesystem::exists(P("out.png")));
}

TEST_F(CliEffectsTest, ListsTheCatalogueWithRangesAndDefaults)
{
    RunResult r = RunCli("effects");
    ASSERT_EQ(r.iStatus, 0);
    for (const QDEffectCatalogueRow& row : QDEffectCatalogueRows())
        EXPECT_NE(r.szOutput.find(row.szTypeIdentifier), std::string::npos) << row.szTypeIdentifier;
    for (const char* line : {"blur             Blur                 available\n",
                             "    radius       float64  0 to 1000, default 20\n",
                             "    simple       bool     true or false, default true\n",
                             "    smoothing    float    0 to 1, default 0.5\n",
                             "warp             Warp                 not available yet\n",
                             "original_image   Original Image       base element\n"})
        EXPECT_NE(r.szOutput.find(line), std::string::npos) << line;
    EXPECT_EQ(r.szOutput.find("patch"), std::string::npos) << "unsaved properties aren't offered";
}

// The program is killed at moments spread over its run: after a random render has been reported,
// a random part of a render's time later. Whatever it was doing, the recovery file it leaves loads
// and holds every edit up to the last render it reported, or the one after it when the kill fell
// between writing the file and reporting.
TEST_F(CliEffectsTest, RecoveryFileSurvivesAKillAtAnyMoment)
{
    LImageBuffer picture;
    ASSERT_TRUE(LImage::New(picture, 48, 32));
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 48; ++x)
            memcpy(picture.GetRow(y) + 4 * x,
                   std::array<uint8_t, 4>{uint8_t(x * 5), uint8_t(y * 7), uint8_t(x ^ y), 255}.data(), 4);
    ASSERT_TRUE(LImage::Save(picture, P("in.png").c_str()));
    const int count = 30;
    const std::string cli = std::string(QUENDREL_BINARY_DIR) + "/cli/quendrel-cli";
    QDEffectCatalogue catalogue;
    catalogue.Register();

    // Runs the script with the recovery folder data<index>. With afterRender >= 0 it is killed
    // delayUs after reporting that render (0: as soon as it starts).
    auto run = [&](int index, int afterRender, int delayUs, int& lastRendered) -> std::string
    {
        const std::string data = P(("data" + std::to_string(index)).c_str());
        int out[2];
        EXPECT_EQ(pipe(out), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], 1);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        std::vector<std::string> env = {"XDG_DATA_HOME=" + data};
        for (char** e = environ; *e; ++e)
            if (strncmp(*e, "XDG_DATA_HOME=", 14) != 0)
                env.push_back(*e);
        std::vector<char*> envp;
        for (std::string& s : env)
            envp.push_back(s.data());
        envp.push_back(nullptr);
        const std::string countText = std::to_string(count);
        const std::string input = P("in.png");
        char* argv[] = {const_cast<char*>(cli.c_str()), const_cast<char*>("recovery-script"),
                        const_cast<char*>(input.c_str()), const_cast<char*>(countText.c_str()), nullptr};
        pid_t pid = 0;
        EXPECT_EQ(posix_spawn(&pid, cli.c_str(), &actions, nullptr, argv, envp.data()), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        std::string printed;
        char buffer[4096];
        const std::string mark = "rendered " + std::to_string(afterRender) + "\n";
        while (afterRender > 0 && printed.find(mark) == std::string::npos)
        {
            const ssize_t n = read(out[0], buffer, sizeof buffer);
            if (n <= 0)
                break;
            printed.append(buffer, size_t(n));
        }
        if (afterRender >= 0)
        {
            std::this_thread::sleep_for(std::chrono::microseconds(delayUs));
            kill(pid, SIGKILL);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        for (ssize_t n; (n = read(out[0], buffer, sizeof buffer)) > 0;)
            printed.append(buffer, size_t(n));
        close(out[0]);
        lastRendered = 0;
        for (size_t at = 0; (at = printed.find("rendered ", at)) != std::string::npos; at += 9)
            lastRendered = atoi(printed.c_str() + at + 9);
        return data + "/Quendrel/Shared/0.zqp";
    };

    // A whole run reports every render and, closing cleanly, leaves no recovery file.
    int last = 0;
    const auto start = std::chrono::steady_clock::now();
    const std::string cleanFile = run(0, -1, 0, last);
    const auto runUs =
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start);
    ASSERT_EQ(last, count);
    EXPECT_FALSE(std::filesystem::exists(cleanFile));
    const unsigned renderUs = unsigned(runUs.count() / count) + 1;

    std::mt19937 random(20240611);
    for (int i = 1; i <= 16; ++i)
    {
        // A few kills land before the first render is out.
        const int after = i <= 3 ? 0 : int(random() % unsigned(count - 1)) + 1;
        const int delay = i <= 3 ? int(random() % (3 * renderUs)) : int(random() % (2 * renderUs));
        const std::string file = run(i, after, delay, last);
        SCOPED_TRACE(testing::Message()
                     << "killed " << delay << " us after render " << after << ", last " << last);
        EXPECT_GE(last, after);
        if (!std::filesystem::exists(file))
        {
            // None yet, or the run had finished and closed the project cleanly.
            EXPECT_TRUE(last == 0 || last == count)
                << "a render was reported, so its recovery file was written";
            continue;
        }
        QDProject project(1, 1);
        LProcessInterfaceVoid silent;
        ASSERT_EQ(QDProjectFileLoad(silent, project, nullptr, file.c_str(), catalogue.lFactories), 0);
        EXPECT_TRUE(Holds(project, ScriptState(last)) ||
                    (last < count && Holds(project, ScriptState(last + 1))));
    }
}
