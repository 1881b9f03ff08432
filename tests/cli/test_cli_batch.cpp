// quendrel-cli batch end to end: a line per file and the exit status, mistakes that name what is
// valid, files from standard input spread over processes by xargs into one folder, and a stop by
// signal that leaves only whole files.

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "batch/QDBatchProcess.h"
#include "batch/QDBatchScript.h"
#include "cli_support.h"
#include "codecs/LImage.h"
#include "effects/QDEffectCatalogue.h"

using namespace cli_test;

namespace
{
std::string Cli()
{
    return std::string(QUENDREL_BINARY_DIR) + "/cli/quendrel-cli";
}

std::vector<uint8_t> Bytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

std::vector<std::string> Lines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

class CliBatch : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char templ[] = "/tmp/quendrel-cli-batch-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        szDir = templ;
        setenv("XDG_CACHE_HOME", szDir.c_str(), 1);
        setenv("XDG_DATA_HOME", (szDir + "/data").c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(szDir); }
    std::string P(const std::string& name) const { return szDir + "/" + name; }
    // Runs in the test's folder, so that the lines name files as given.
    RunResult Run(const std::string& args, bool errOnly = false) const
    {
        return RunCommand("cd '" + szDir + "' && " + Cli() + " " + args +
                          (errOnly ? " 2>&1 >/dev/null" : " 2>/dev/null"));
    }
    void Photo(const std::string& name, int w = 96, int h = 64, int tint = 0) const
    {
        LImageBuffer image;
        LImage::New(image, w, h, B8G8R8A8);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
            {
                uint8_t* p = image.GetRow(y) + 4 * x;
                p[0] = uint8_t(x * 255 / w);
                p[1] = uint8_t(y * 255 / h + tint);
                p[2] = uint8_t((x ^ y) * 3 + tint);
                p[3] = 255;
            }
        ASSERT_TRUE(LImage::Save(image, P(name).c_str()));
    }

    std::string szDir;
};
} // namespace

TEST_F(CliBatch, OneLinePerFileAndTheStatus)
{
    Photo("a.jpg");
    Photo("b.png");
    std::ofstream(P("c.jpg")) << "not a picture";
    Photo("d.psd");
    std::ofstream(P("e.txt")) << "text";
    ASSERT_EQ(Run("batch --write-script s.qdb blur:radius=2 sharpen:amount=70").iStatus, 0);
    const RunResult r = Run("batch s.qdb --out out --format png a.jpg b.png c.jpg d.psd e.txt");
    EXPECT_EQ(r.iStatus, 2);
    EXPECT_EQ(Lines(r.szOutput), (std::vector<std::string>{
                                     "e.txt: skipped: The file type is not recognized.",
                                     "a.jpg: ok -> out/a.png",
                                     "b.png: ok -> out/b.png",
                                     "c.jpg: failed: The image could not be loaded.",
                                     "d.psd: skipped: The file format is not supported for output.",
                                     "2 ok, 2 skipped, 1 failed",
                                 }));

    // The run in this process, on the same script, writes the same bytes.
    QDEffectCatalogue catalogue;
    catalogue.Register();
    QDBatchStateData state;
    QDBatchStateInitFromCatalogue(state, catalogue);
    QDBatchFileLoadData load(state);
    strcpy(load.szFilePath, P("s.qdb").c_str());
    LProcessInterfaceVoid process;
    ASSERT_EQ(Process(process, load), LProcessResultSuccess);
    ASSERT_EQ(state.effects.GetCount(), 2u);
    state.AddFile(P("a.jpg").c_str());
    state.output.bSaveSameFileFormat = false;
    state.output.iSaveFileFormat = LImageCodecPNG;
    state.output.bSameOutputFolder = false;
    strcpy(state.output.szOutputFolder, P("here").c_str());
    std::filesystem::create_directory(P("here"));
    ASSERT_EQ(Process(process, state), LProcessResultSuccess);
    EXPECT_EQ(Bytes(P("here/a.png")), Bytes(P("out/a.png")));

    // Everything fine: 0; an empty list re-encodes in place.
    ASSERT_EQ(Run("batch --write-script none.qdb").iStatus, 0);
    const auto before = Bytes(P("a.jpg"));
    const RunResult again = Run("batch none.qdb --quality 40 a.jpg");
    EXPECT_EQ(again.iStatus, 0);
    EXPECT_EQ(Lines(again.szOutput),
              (std::vector<std::string>{"a.jpg: ok -> a.jpg", "1 ok, 0 skipped, 0 failed"}));
    EXPECT_NE(Bytes(P("a.jpg")), before);
}

TEST_F(CliBatch, MistakesNameWhatIsValid)
{
    RunResult r = Run("batch --write-script s.qdb focusfix", true);
    EXPECT_EQ(r.iStatus, 2);
    EXPECT_NE(r.szOutput.find("\"focusfix\" is not offered for batches; the batch effects are: "),
              std::string::npos)
        << r.szOutput;
    EXPECT_NE(r.szOutput.find(" blur, "), std::string::npos) << r.szOutput;
    EXPECT_FALSE(std::filesystem::exists(P("s.qdb")));
    ASSERT_EQ(Run("batch --write-script s.qdb blur").iStatus, 0);
    r = Run("batch s.qdb --format dng x.jpg", true);
    EXPECT_EQ(r.iStatus, 2);
    EXPECT_NE(r.szOutput.find("--format takes one of bmp, gif, jpg, jp2"), std::string::npos) << r.szOutput;
    r = Run("batch missing.qdb x.jpg", true);
    EXPECT_EQ(r.iStatus, 2);
    EXPECT_NE(r.szOutput.find("The file could not be found."), std::string::npos) << r.szOutput;
    std::ofstream(P("bad.qdb")) << "lsdf but not really";
    r = Run("batch bad.qdb x.jpg", true);
    EXPECT_EQ(r.iStatus, 2);
    EXPECT_NE(r.szOutput.find("batch script"), std::string::npos) << r.szOutput;
    EXPECT_EQ(Run("batch s.qdb").iStatus, 2);
    EXPECT_EQ(Run("batch s.qdb --quality 101 x.jpg").iStatus, 2);
}

TEST_F(CliBatch, FilesFromStandardInputSpreadOverProcessesIntoOneFolder)
{
    std::string list;
    for (int i = 0; i < 12; ++i)
    {
        const std::string name = "p" + std::to_string(i) + (i % 3 ? ".png" : ".jpg");
        Photo(name, 80 + i, 60, i * 9);
        list += name + "\n";
    }
    std::ofstream(P("list.txt")) << list;
    ASSERT_EQ(Run("batch --write-script s.qdb blur:radius=4 noise").iStatus, 0);
    // One process reading the list...
    const RunResult one = Run("batch s.qdb --out one --format jpg --quality 85 - < list.txt");
    ASSERT_EQ(one.iStatus, 0) << one.szOutput;
    EXPECT_EQ(Lines(one.szOutput).back(), "12 ok, 0 skipped, 0 failed");
    // ...and two at a time, three files each, all writing into the same folder.
    const RunResult spread = RunCommand("cd '" + szDir + "' && xargs -P 2 -n 3 " + Cli() +
                                        " batch s.qdb --out many --format jpg --quality 85 < list.txt 2>&1");
    ASSERT_EQ(spread.iStatus, 0) << spread.szOutput;
    size_t ok = 0;
    for (const std::string& line : Lines(spread.szOutput))
        ok += line.find(": ok -> many/") != std::string::npos;
    EXPECT_EQ(ok, 12u);
    std::vector<std::string> files;
    for (const auto& e : std::filesystem::directory_iterator(P("many")))
        files.push_back(e.path().filename().string());
    EXPECT_EQ(files.size(), 12u);
    for (const std::string& f : files)
        EXPECT_EQ(Bytes(P("many/" + f)), Bytes(P("one/" + f))) << f;
}

TEST_F(CliBatch, ASignalStopsWithOnlyWholeFilesWritten)
{
    std::string names;
    for (int i = 0; i < 10; ++i)
    {
        Photo("s" + std::to_string(i) + ".png", 900, 700, i);
        names += " s" + std::to_string(i) + ".png";
    }
    ASSERT_EQ(Run("batch --write-script slow.qdb blur:radius=60 noise blur:radius=30").iStatus, 0);
    // The shell says its own number, then becomes the command.
    FILE* p = popen(("cd '" + szDir + "' && sh -c 'echo $$; exec " + Cli() +
                     " batch slow.qdb --out out --jobs 2" + names + "' 2>/dev/null")
                        .c_str(),
                    "r");
    ASSERT_NE(p, nullptr);
    char line[4096];
    ASSERT_NE(fgets(line, sizeof line, p), nullptr);
    const pid_t pid = pid_t(atoi(line));
    std::vector<std::string> lines;
    bool signalled = false;
    while (fgets(line, sizeof line, p))
    {
        lines.emplace_back(line);
        if (!signalled && lines.back().find(": ok -> ") != std::string::npos)
        {
            kill(pid, SIGINT);
            signalled = true;
        }
    }
    const int status = pclose(p);
    ASSERT_TRUE(signalled);
    EXPECT_EQ(WEXITSTATUS(status), 1);
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.back().find(", stopped"), std::string::npos) << lines.back();
    size_t written = 0;
    for (const std::string& l : lines)
        written += l.find(": ok -> ") != std::string::npos;
    EXPECT_LT(written, 10u);
    // Exactly the files reported, each whole; no temporary file left behind.
    size_t found = 0;
    for (const auto& e : std::filesystem::directory_iterator(P("out")))
    {
        ++found;
        LImageBuffer image;
        EXPECT_GT(LImage::Load(image, e.path().c_str()), 0) << e.path();
        EXPECT_EQ(image.GetWidth(), 900);
    }
    EXPECT_EQ(found, written);
}
