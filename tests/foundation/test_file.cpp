#include <gtest/gtest.h>

#include "foundation/LFile.h"
#include "foundation_test_support.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{
mode_t ModeOf(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}
} // namespace

TEST(File, PathPieces)
{
    char out[LFILE_MAX_PATH];
    struct Case
    {
        const char *path, *extension, *name, *folder;
    };
    const Case cases[] = {
        {"/a/b.x.jpg", ".jpg", "b.x.jpg", "/a"},
        {"/b.png", ".png", "b.png", "/"},
        {"plain", "", "plain", ""},
        {"/home/u/.hidden", "", ".hidden", "/home/u"},
        {"/a.dir/file", "", "file", "/a.dir"},
        {"rel/x.TIFF", ".TIFF", "x.TIFF", "rel"},
    };
    for (const Case& c : cases)
    {
        ASSERT_TRUE(LFile::_GetFileExtensionFromPath(out, c.path));
        EXPECT_STREQ(out, c.extension) << c.path;
        ASSERT_TRUE(LFile::_GetFileNameFromPath(out, c.path));
        EXPECT_STREQ(out, c.name) << c.path;
        ASSERT_TRUE(LFile::_GetFolderFromPath(out, c.path));
        EXPECT_STREQ(out, c.folder) << c.path;
    }

    EXPECT_TRUE(LFile::_MakeFilePath(out, "/a", "b", ".jpg") && strcmp(out, "/a/b.jpg") == 0);
    EXPECT_TRUE(LFile::_MakeFilePath(out, "/a/", "b", "png") && strcmp(out, "/a/b.png") == 0);
    EXPECT_TRUE(LFile::_MakeFilePath(out, nullptr, "b", nullptr) && strcmp(out, "b") == 0);

    // A path that doesn't fit a fixed buffer fails cleanly instead of overrunning it.
    std::string longName(LFILE_MAX_PATH, 'n');
    memset(out, 'x', sizeof(out));
    EXPECT_FALSE(LFile::_MakeFilePath(out, "/a", longName.c_str(), ".jpg"));
    EXPECT_STREQ(out, "");
    std::string exact(LFILE_MAX_PATH - 1 - 3, 'n');
    EXPECT_TRUE(LFile::_MakeFilePath(out, "/a", exact.c_str(), nullptr));
    EXPECT_EQ(strlen(out), LFILE_MAX_PATH - 1);
}

TEST(File, ExistenceAndReadOnly)
{
    TestTempFolder dir;
    const std::string file = dir.File("f.txt");
    ASSERT_TRUE(TestWriteFile(file, "x"));
    EXPECT_TRUE(LFile::TestFileExists(file.c_str()));
    EXPECT_FALSE(LFile::TestFolderExists(file.c_str()));
    EXPECT_FALSE(LFile::TestFileExists(dir.Path().c_str()));

    EXPECT_FALSE(LFile::TestFileReadOnly(file.c_str()));
    EXPECT_FALSE(LFile::TestFileReadOnly(dir.File("missing").c_str()));
    chmod(file.c_str(), 0400);
    // root may write anything, so only a normal user sees the file as read-only.
    EXPECT_EQ(LFile::TestFileReadOnly(file.c_str()), geteuid() != 0);

    const std::string nested = dir.File("a/b/c");
    EXPECT_TRUE(LFile::CreateFolder(nested.c_str()));
    EXPECT_TRUE(LFile::CreateFolder(nested.c_str()));
    EXPECT_EQ(ModeOf(nested) & 0077, 0u);
    EXPECT_FALSE(LFile::CreateFolder((file + "/sub").c_str()));
}

TEST(File, FolderIteration)
{
    TestTempFolder dir;
    ASSERT_TRUE(TestWriteFile(dir.File("one.jpg"), "1"));
    ASSERT_TRUE(TestWriteFile(dir.File("two.JPG"), "2"));
    ASSERT_TRUE(TestWriteFile(dir.File("three.png"), "3"));
    ASSERT_TRUE(LFile::CreateFolder(dir.File("sub").c_str()));
    ASSERT_TRUE(LFile::CreateFolder(dir.File(".hid").c_str()));

    std::set<std::string> all, folders, hidden, dots;
    for (LFile::FolderIteratorAllFiles it(dir.Path().c_str()); it.Next();)
    {
        all.insert(it.GetName());
        EXPECT_EQ(std::string(it.GetPath()), dir.File(it.GetName()));
        if (it.IsFolder())
            folders.insert(it.GetName());
        if (it.IsHiddenFolder())
            hidden.insert(it.GetName());
        if (it.IsDotFolder())
            dots.insert(it.GetName());
    }
    EXPECT_EQ(all, (std::set<std::string>{".", "..", "one.jpg", "two.JPG", "three.png", "sub", ".hid"}));
    EXPECT_EQ(folders, (std::set<std::string>{".", "..", "sub", ".hid"}));
    EXPECT_EQ(hidden, (std::set<std::string>{".hid"}));
    EXPECT_EQ(dots, (std::set<std::string>{".", ".."}));

    std::set<std::string> jpegs;
    for (LFile::FolderIterator it(dir.Path().c_str(), "*.jpg"); it.Next();)
        jpegs.insert(it.GetName());
    EXPECT_EQ(jpegs, (std::set<std::string>{"one.jpg", "two.JPG"}));

    LFile::FolderIteratorAllFiles missing(dir.File("nope").c_str());
    EXPECT_FALSE(missing.IsValid());
    EXPECT_FALSE(missing.Next());
}

TEST(File, TempPathsAreUniqueAndBesideTheTarget)
{
    TestTempFolder dir;
    const std::string target = dir.File("photo.jpg");
    char a[LFILE_MAX_PATH], b[LFILE_MAX_PATH], folder[LFILE_MAX_PATH], ext[LFILE_MAX_PATH];
    ASSERT_TRUE(LFileTempPath(a, target.c_str(), ".jpg") && LFileTempPath(b, target.c_str(), ".jpg"));
    EXPECT_STRNE(a, b);
    LFile::_GetFolderFromPath(folder, a);
    LFile::_GetFileExtensionFromPath(ext, a);
    EXPECT_EQ(std::string(folder) + " " + ext, dir.Path() + " .jpg");
    EXPECT_TRUE(LFile::TestFileExists(a)); // reserved, so no one else takes the name
    EXPECT_EQ(ModeOf(a), 0600u);

    ScopedEnv tmp("TMPDIR", dir.Path() + "/");
    ASSERT_TRUE(LFile::GetTempFolder(folder));
    EXPECT_EQ(std::string(folder), dir.Path());
    ASSERT_TRUE(LFileTempPathInTempFolder(a, nullptr));
    LFile::_GetFolderFromPath(folder, a);
    EXPECT_EQ(std::string(folder), dir.Path());
}

TEST(File, MoveAndCopyReplaceTheTargetWhole)
{
    TestTempFolder dir;
    const std::string from = dir.File("from"), to = dir.File("to");
    ASSERT_TRUE(TestWriteFile(from, "new contents"));
    ASSERT_TRUE(TestWriteFile(to, "old"));
    EXPECT_TRUE(LFile::MoveFile(from.c_str(), to.c_str()));
    EXPECT_FALSE(LFile::TestFileExists(from.c_str()));
    EXPECT_FALSE(LFile::MoveFile(from.c_str(), to.c_str())); // a failed move leaves the target
    EXPECT_EQ(TestReadFile(to), "new contents");

    EXPECT_TRUE(LFile::CopyFile(to.c_str(), from.c_str()));
    EXPECT_EQ(TestReadFile(from), "new contents");
    EXPECT_TRUE(LFile::TestFileExists(to.c_str()));
    EXPECT_FALSE(LFile::CopyFile(dir.File("missing").c_str(), to.c_str()));
    EXPECT_EQ(TestReadFile(to), "new contents");
}

TEST(File, MoveAcrossFileSystemsNeverShowsAHalfWrittenTarget)
{
    struct statfs a, b;
    if (statfs("/tmp", &a) != 0 || statfs("/dev/shm", &b) != 0 || access("/dev/shm", W_OK) != 0 ||
        memcmp(&a.f_fsid, &b.f_fsid, sizeof(a.f_fsid)) == 0)
        GTEST_SKIP() << "/tmp and /dev/shm are not two writable file systems";
    TestTempFolder source("/dev/shm"), target("/tmp");
    const std::string from = source.File("big"), to = target.File("big");
    const std::string oldData(1000, 'o'), newData(8 << 20, 'n');
    ASSERT_TRUE(TestWriteFile(from, newData));
    ASSERT_TRUE(TestWriteFile(to, oldData));
    chmod(from.c_str(), 0640);

    // A watcher reads the target over and over during the move; it must only ever see the old
    // or the new contents, never a part.
    int result[2];
    ASSERT_EQ(pipe(result), 0);
    pid_t pid = fork();
    if (pid == 0)
    {
        char bad = 0;
        for (int i = 0; i < 2000; ++i)
        {
            std::string seen = TestReadFile(to);
            if (seen != oldData && seen != newData)
                bad = 1;
            if (seen == newData)
                break;
        }
        (void)!write(result[1], &bad, 1);
        _exit(0);
    }
    EXPECT_TRUE(LFile::MoveFile(from.c_str(), to.c_str()));
    char bad = 1;
    EXPECT_EQ(read(result[0], &bad, 1), 1);
    EXPECT_EQ(bad, 0);
    waitpid(pid, nullptr, 0);
    close(result[0]);
    close(result[1]);

    EXPECT_TRUE(TestReadFile(to) == newData);
    EXPECT_EQ(ModeOf(to), 0640u);
    EXPECT_FALSE(LFile::TestFileExists(from.c_str()));
    int entries = 0; // no temporary left behind
    for (LFile::FolderIteratorAllFiles it(target.Path().c_str()); it.Next();)
        entries += !it.IsDotFolder();
    EXPECT_EQ(entries, 1);
}

TEST(File, ApplicationFoldersFollowTheEnvironment)
{
    TestTempFolder dir;
    ScopedEnv data("XDG_DATA_HOME", dir.File("data"));
    ScopedEnv cache("XDG_CACHE_HOME", dir.File("cache"));
    char path[LFILE_MAX_PATH];
    const std::pair<bool (*)(char*), const char*> folders[] = {
        {LFile::GetUserDataFolderApp, "data/Quendrel"},
        {LFile::GetSharedDataFolderApp, "data/Quendrel/Shared"},
        {[](char* p) { return LFile::GetUserDataFolderAppSubFolder("Presets", p); }, "data/Quendrel/Presets"},
        {LFile::GetCacheFolder, "cache/Quendrel/cache"},
    };
    for (const auto& [get, expected] : folders)
    {
        ASSERT_TRUE(get(path));
        EXPECT_EQ(std::string(path), dir.File(expected));
        EXPECT_EQ(ModeOf(path), 0700u) << expected; // made, and private
    }

    // A relative value is not a valid base folder and falls back to the home folder.
    ScopedEnv home("HOME", dir.File("home"));
    ScopedEnv relative("XDG_DATA_HOME", "relative");
    ASSERT_TRUE(LFile::GetUserDataFolderApp(path));
    EXPECT_EQ(std::string(path), dir.File("home/.local/share/Quendrel"));

    ASSERT_TRUE(LFile::GetUserPicturesFolder(path));
    EXPECT_TRUE(LFile::TestFolderExists(path));
    ASSERT_TRUE(LFile::GetResourcesFolder(path));
    EXPECT_EQ(std::string(path), std::string(QUENDREL_SOURCE_DIR) + "/resources");
}
