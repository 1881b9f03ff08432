// Saving through a temporary file: the target is either the old file or the new one, links are
// kept, and whatever fails leaves the old bytes and no stray file behind.

#include <gtest/gtest.h>

#include "foundation/LFileAtomicWriter.h"
#include "foundation_test_support.h"

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
const std::string kOld = "old contents, byte for byte";

mode_t ModeOf(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_mode & 07777 : 0;
}

bool IsLink(const std::string& path)
{
    struct stat st;
    return lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode);
}

int CountEntries(const std::string& folder)
{
    int n = 0;
    for (LFile::FolderIteratorAllFiles it(folder.c_str()); it.Next();)
        n += !it.IsDotFolder();
    return n;
}

class ScopedUmask
{
public:
    explicit ScopedUmask(mode_t mask) : iOld(umask(mask)) {}
    ~ScopedUmask() { umask(iOld); }

private:
    mode_t iOld;
};

} // namespace

TEST(FileAtomicWriter, ReplacesWholeKeepsTheModeAndWritesThroughLinks)
{
    TestTempFolder dir;
    ScopedUmask mask(022);
    const std::string target = dir.File("photo.png");
    ASSERT_TRUE(TestWriteFile(target, kOld));
    chmod(target.c_str(), 0640);
    ASSERT_EQ(LFileWriteAtomic(target.c_str(), "new", 3), LFileAtomicWriterSuccess);
    EXPECT_EQ(TestReadFile(target), "new");
    EXPECT_EQ(ModeOf(target), 0640u);

    // New files: the user's usual permissions for documents, private ones on request.
    ASSERT_EQ(LFileWriteAtomic(dir.File("new.png").c_str(), "n", 1), LFileAtomicWriterSuccess);
    EXPECT_EQ(ModeOf(dir.File("new.png")), 0644u);
    ASSERT_EQ(LFileWriteAtomic(dir.File("key").c_str(), "k", 1, LFileModePrivate), LFileAtomicWriterSuccess);
    EXPECT_EQ(ModeOf(dir.File("key")), 0600u);

    // A chain of links, one of them relative, ends at the file that is replaced; the links stay.
    ASSERT_EQ(mkdir(dir.File("sub").c_str(), 0700), 0);
    ASSERT_EQ(symlink("../photo.png", dir.File("sub/inner").c_str()), 0);
    ASSERT_EQ(symlink(dir.File("sub/inner").c_str(), dir.File("outer").c_str()), 0);
    LFileAtomicWriter writer;
    ASSERT_EQ(writer.Begin(dir.File("outer").c_str()), LFileAtomicWriterSuccess);
    EXPECT_EQ(std::string(writer.GetTargetPath()), dir.File("sub/../photo.png"));
    ASSERT_TRUE(writer.GetStream().Write("through links", 13));
    ASSERT_EQ(writer.Commit(), LFileAtomicWriterSuccess);
    EXPECT_TRUE(IsLink(dir.File("outer")) && IsLink(dir.File("sub/inner")));
    EXPECT_EQ(TestReadFile(target), "through links");
    EXPECT_EQ(ModeOf(target), 0640u);

    // A link to nothing yet makes the file it names.
    ASSERT_EQ(symlink("later.png", dir.File("dangling").c_str()), 0);
    ASSERT_EQ(LFileWriteAtomic(dir.File("dangling").c_str(), "made", 4), LFileAtomicWriterSuccess);
    EXPECT_TRUE(IsLink(dir.File("dangling")));
    EXPECT_EQ(TestReadFile(dir.File("later.png")), "made");

    // Nothing else was left in the folders.
    EXPECT_EQ(CountEntries(dir.Path()), 7);
    EXPECT_EQ(CountEntries(dir.File("sub")), 1);
}

// The save tests walk the ways a picture save fails; these are the writer's own refusals.
TEST(FileAtomicWriter, RefusesBeforeWritingAnythingAndReportsTheDisksError)
{
    TestTempFolder dir;
    ASSERT_EQ(mkdir(dir.File("folder").c_str(), 0700), 0);
    ASSERT_EQ(symlink("loop2", dir.File("loop1").c_str()), 0);
    ASSERT_EQ(symlink("loop1", dir.File("loop2").c_str()), 0);
    ASSERT_EQ(symlink(std::string(LFILE_MAX_PATH - 10, 'x').c_str(), dir.File("far").c_str()), 0);
    const std::pair<std::string, LFileAtomicWriterResult> cases[] = {
        {dir.Path() + "/" + std::string(LFILE_MAX_PATH, 'p'), LFileAtomicWriterPathTooLong},
        {dir.File(std::string(300, 'n').c_str()), LFileAtomicWriterPathTooLong}, // past NAME_MAX
        {dir.File("far"), LFileAtomicWriterPathTooLong}, // the link's folder and target together
        {dir.File("folder"), LFileAtomicWriterNotAFile},
        {dir.File("loop1"), LFileAtomicWriterNotAFile},
        {dir.File("missing/x.png"), LFileAtomicWriterCannotCreate},
    };
    for (const auto& [path, expected] : cases)
    {
        LFileAtomicWriter writer;
        EXPECT_EQ(writer.Begin(path.c_str()), expected) << path.substr(0, 80);
        EXPECT_EQ(writer.Commit(), LFileAtomicWriterNotStarted);
    }
    EXPECT_EQ(CountEntries(dir.Path()), 4);

    // A disk that fills up: files may not grow past 4 KiB for this process.
    const std::string target = dir.File("photo.bmp");
    ASSERT_TRUE(TestWriteFile(target, kOld));
    struct rlimit old;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    auto oldSignal = signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = old;
    small.rlim_cur = 4096;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const std::string big(200000, 'b');
    LFileAtomicWriter writer;
    LFileAtomicWriterResult begun = writer.Begin(target.c_str());
    const bool written = writer.GetStream().Write(big.data(), big.size());
    LFileAtomicWriterResult committed = writer.Commit();
    setrlimit(RLIMIT_FSIZE, &old);
    signal(SIGXFSZ, oldSignal);
    EXPECT_EQ(begun, LFileAtomicWriterSuccess);
    EXPECT_FALSE(written);
    EXPECT_EQ(committed, LFileAtomicWriterCannotWrite);
    EXPECT_EQ(writer.GetError(), EFBIG);
    EXPECT_EQ(TestReadFile(target), kOld);
    EXPECT_EQ(CountEntries(dir.Path()), 5);
}

TEST(FileAtomicWriter, CommitNoReplaceKeepsWhicheverCameFirst)
{
    TestTempFolder dir;
    const std::string key = dir.File("settings.key");
    LFileAtomicWriter first, second;
    ASSERT_EQ(first.Begin(key.c_str(), LFileModePrivate), LFileAtomicWriterSuccess);
    ASSERT_EQ(second.Begin(key.c_str(), LFileModePrivate), LFileAtomicWriterSuccess);
    ASSERT_TRUE(first.GetStream().Write("first", 5) && second.GetStream().Write("second", 6));
    EXPECT_EQ(first.CommitNoReplace(), LFileAtomicWriterSuccess);
    EXPECT_EQ(second.CommitNoReplace(), LFileAtomicWriterExists);
    EXPECT_EQ(TestReadFile(key), "first");
    EXPECT_EQ(CountEntries(dir.Path()), 1);
}
