// The picture cache: file layout, lazy deletion and the delete thread's clean-up.

#include <csignal>
#include <fcntl.h>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "doc_test_support.h"

namespace
{
std::string PathOf(int id)
{
    char path[LFILE_MAX_PATH];
    EXPECT_TRUE(LQDCacheStore::MakeCacheFilePath(path, id));
    return path;
}

std::vector<uint8_t> ReadFile(int id)
{
    std::ifstream in(PathOf(id), std::ios::binary);
    return std::vector<uint8_t>((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

bool FileExists(int id)
{
    return access(PathOf(id).c_str(), F_OK) == 0;
}

bool WaitFor(const std::function<bool()>& done)
{
    for (int i = 0; i < 300 && !done(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return done();
}
} // namespace

TEST(CacheStore, FileIsTheFormatHeaderThenThePixels)
{
    LImageBuffer image;
    MakePattern(image, 5, 3);
    int id = LQDCacheNewImage(image);
    ASSERT_GE(id, 0);
    EXPECT_EQ(PathOf(id), OwnCacheFolder() + "/" + std::to_string(id) + ".dat");

    std::vector<uint8_t> bytes = ReadFile(id);
    ASSERT_EQ(bytes.size(), 56u + 5 * 3 * 4);
    int32_t header[14];
    memcpy(header, bytes.data(), 56);
    EXPECT_EQ(header[0], 0);  // B8G8R8A8
    EXPECT_EQ(header[1], 5);  // width
    EXPECT_EQ(header[2], 3);  // height
    EXPECT_EQ(header[5], 20); // row bytes
    EXPECT_EQ(memcmp(bytes.data() + 56, image.GetData(), 60), 0);

    LImageBuffer back;
    ASSERT_TRUE(LQDCacheLoadImage(back, id));
    EXPECT_EQ(Differences(back, image), 0);

    // Rewriting an id replaces the file; ids are never handed out twice.
    LImageBuffer other;
    MakePattern(other, 2, 2);
    ASSERT_TRUE(LQDCacheSaveImage(other, id));
    EXPECT_EQ(ReadFile(id).size(), 56u + 16);
    EXPECT_NE(LQDCacheNewImage(other), id);

    EXPECT_FALSE(LQDCacheLoadImage(back, -1));
    EXPECT_FALSE(LQDCacheValid(-1));
    EXPECT_EQ(LQDCacheNewImage(LImageBuffer()), -1);
}

TEST(CacheStore, OtherFormatsComeBackAsFourChannels)
{
    LImageBuffer rgb;
    ASSERT_TRUE(LImage::New(rgb, 3, 2, B8G8R8));
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
        {
            uint8_t* p = rgb.GetRow(y) + x * 3;
            p[0] = uint8_t(10 * x), p[1] = uint8_t(20 * y), p[2] = 77;
        }
    LImageBuffer back;
    ASSERT_TRUE(LQDCacheLoadImage(back, LQDCacheNewImage(rgb)));
    ASSERT_EQ(back.GetPixelFormat(), B8G8R8A8);
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            EXPECT_EQ(PixelAt(back, x, y), Bgra(unsigned(10 * x), unsigned(20 * y), 77, 255));
}

TEST(CacheStore, DamagedFilesAreMissesNotCrashes)
{
    LImageBuffer image;
    MakePattern(image, 8, 8);
    int id = LQDCacheNewImage(image);
    const std::string path = PathOf(id);
    ASSERT_EQ(truncate(path.c_str(), 56 + 100), 0); // pixels cut short
    LImageBuffer back;
    EXPECT_FALSE(LQDCacheLoadImage(back, id));
    EXPECT_FALSE(back.IsValid());
    EXPECT_FALSE(LQDCacheValid(id)); // marked for deletion

    ASSERT_TRUE(LQDCacheSaveImage(image, id)); // a write revives the id
    EXPECT_TRUE(LQDCacheValid(id));
    ASSERT_EQ(truncate(path.c_str(), 30), 0); // header cut short
    EXPECT_FALSE(LQDCacheLoadImage(back, id));

    // A header claiming an absurd size.
    ASSERT_TRUE(LQDCacheSaveImage(image, id));
    FILE* f = fopen(path.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    int32_t huge[3] = {0, 1 << 30, 1 << 30};
    fwrite(huge, sizeof(huge), 1, f);
    fclose(f);
    EXPECT_FALSE(LQDCacheLoadImage(back, id));
}

TEST(CacheStore, MarkedIdsReadInvalidUntilLoadedAndTheThreadRemovesTheRest)
{
    deleteThread.StopThreadNow();
    LImageBuffer image;
    MakePattern(image, 4, 4);
    int kept = LQDCacheNewImage(image);
    int dropped = LQDCacheNewImage(image);

    // Marked but still on disk: invalid, and a load takes it back.
    LQDCacheInvalidate(kept);
    LQDCacheInvalidate(dropped);
    EXPECT_TRUE(FileExists(kept));
    EXPECT_FALSE(LQDCacheValid(kept));
    LImageBuffer back;
    EXPECT_TRUE(LQDCacheLoadImage(back, kept));
    EXPECT_TRUE(LQDCacheValid(kept));

    // Leftovers of an earlier run go at start, whatever the case of the extension: this
    // process's own, and the loose ones older versions kept in the shared folder.
    std::string stray = OwnCacheFolder() + "/99999.DAT";
    std::string loose = gTestCache + "/12.dat";
    std::string other = gTestCache + "/notes.txt";
    fclose(fopen(loose.c_str(), "w"));
    fclose(fopen(stray.c_str(), "w"));
    fclose(fopen(other.c_str(), "w"));

    deleteThread.StartThread(LThreadPriorityNormal);
    EXPECT_TRUE(
        WaitFor([&] { return access(stray.c_str(), F_OK) != 0 && access(loose.c_str(), F_OK) != 0; }));
    EXPECT_EQ(access(other.c_str(), F_OK), 0);
    // The start-up clean-up took every file; from here on only marked ids go.
    int fresh = LQDCacheNewImage(image);
    LQDCacheInvalidate(fresh);
    EXPECT_TRUE(WaitFor([&] { return !FileExists(fresh); }));
    int live = LQDCacheNewImage(image);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(LQDCacheValid(live));

    // A clean stop leaves the folder without cache files.
    deleteThread.StopThreadNow();
    EXPECT_EQ(CountCacheFiles(), 0);
    EXPECT_EQ(access(other.c_str(), F_OK), 0);
    unlink(other.c_str());
    deleteThread.StartThread(LThreadPriorityNormal);
}

namespace
{
struct stat StatOf(int id)
{
    struct stat st = {};
    EXPECT_EQ(stat(PathOf(id).c_str(), &st), 0) << id;
    return st;
}

int LoadDifferences(int id, const LImageBuffer& want)
{
    LImageBuffer got;
    return LQDCacheLoadImage(got, id) ? Differences(got, want) : -2;
}
} // namespace

TEST(CacheStore, SharedFilesBehaveAsSeparateCopies)
{
    if (!deleteThread.IsRunning())
        deleteThread.StartThread(LThreadPriorityNormal);
    LImageBuffer first, second;
    MakePattern(first, 6, 4);
    MakePattern(second, 6, 4);
    PixelAt(second, 2, 1) ^= 0xff;

    const int a = LQDCacheNewImage(first);
    const int b = LQDCacheNewImageAs(first, a);
    ASSERT_GE(b, 0);
    ASSERT_NE(a, b);
    EXPECT_EQ(StatOf(a).st_ino, StatOf(b).st_ino); // no copy was written
    EXPECT_EQ(StatOf(a).st_nlink, 2u);

    // A write to one leaves the other its pixels, also for a reader holding the file open.
    const int reader = open(PathOf(a).c_str(), O_RDONLY);
    ASSERT_GE(reader, 0);
    ASSERT_TRUE(LQDCacheSaveImage(second, b));
    EXPECT_EQ(LoadDifferences(a, first), 0);
    EXPECT_EQ(LoadDifferences(b, second), 0);
    EXPECT_EQ(StatOf(a).st_nlink, 1u);
    uint32_t pixel = 0;
    EXPECT_EQ(pread(reader, &pixel, 4, off_t(56 + 1 * 24 + 2 * 4)), 4);
    EXPECT_EQ(pixel, PixelAt(first, 2, 1));
    close(reader);

    // Shared again over an existing id; then the lazy delete of one leaves the other.
    ASSERT_TRUE(LQDCacheSaveImageAs(first, b, a));
    EXPECT_EQ(StatOf(a).st_ino, StatOf(b).st_ino);
    LQDCacheInvalidate(a);
    ASSERT_TRUE(WaitFor([&] { return !FileExists(a); }));
    EXPECT_TRUE(LQDCacheValid(b));
    EXPECT_EQ(LoadDifferences(b, first), 0);

    // No file to share (a is gone), or one of another size: the picture is written instead.
    const int c = LQDCacheNewImageAs(first, a);
    ASSERT_GE(c, 0);
    EXPECT_EQ(StatOf(c).st_nlink, 1u);
    EXPECT_EQ(LoadDifferences(c, first), 0);
    LImageBuffer small;
    MakePattern(small, 2, 2);
    ASSERT_TRUE(LQDCacheSaveImageAs(small, c, b));
    EXPECT_NE(StatOf(c).st_ino, StatOf(b).st_ino);
    EXPECT_EQ(LoadDifferences(c, small), 0);
    EXPECT_EQ(LoadDifferences(b, first), 0);
    EXPECT_EQ(LQDCacheNewImageAs(LImageBuffer(), b), -1);
}

namespace
{
// Another instance of the program: this test program run as the child test below, with its cache
// under root. It reports the path of a picture it cached and holds it until told to end.
struct Instance
{
    pid_t iPid = -1;
    int iControl = -1; // closing it tells the instance to end
    std::string sPicture;

    bool Start(const std::string& root)
    {
        int control[2], report[2];
        // Close on exec: no instance may keep another's control pipe open.
        if (pipe2(control, O_CLOEXEC) != 0 || pipe2(report, O_CLOEXEC) != 0)
            return false;
        std::vector<std::string> env;
        for (char** e = environ; *e; ++e)
            env.push_back(*e);
        env.push_back("QUENDREL_TEST_SHARED_CACHE=" + root);
        std::vector<char*> envp;
        for (std::string& e : env)
            envp.push_back(e.data());
        envp.push_back(nullptr);
        char filter[] = "--gtest_filter=CacheChild.DISABLED_Instance";
        char disabled[] = "--gtest_also_run_disabled_tests";
        char name[] = "test_document";
        char* argv[] = {name, filter, disabled, nullptr};
        iPid = fork();
        if (iPid == 0)
        {
            dup2(control[0], 0);
            dup2(report[1], 3);
            // This program by its own name: under a checker /proc/self/exe is the checker.
            execve(strchr(program_invocation_name, '/') ? program_invocation_name : "/proc/self/exe", argv,
                   envp.data());
            _exit(127);
        }
        close(control[0]);
        close(report[1]);
        iControl = control[1];
        char c;
        while (read(report[0], &c, 1) == 1 && c != '\n')
            sPicture += c;
        close(report[0]);
        return iPid > 0 && !sPicture.empty();
    }
    // A clean end, or a crash that leaves everything behind.
    int End(bool crash)
    {
        if (crash)
            kill(iPid, SIGKILL);
        close(iControl);
        int status = 0;
        waitpid(iPid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

int CountFolders(const std::string& root)
{
    int n = 0;
    for (const auto& entry : std::filesystem::directory_iterator(root))
        n += entry.is_directory();
    return n;
}
} // namespace

TEST(CacheStore, TwoInstancesNeverRemoveEachOthersPictures)
{
    const std::string root = gTestRoot + "/shared";
    const std::string cache = root + "/Quendrel/cache";
    Instance first, second, third;
    ASSERT_TRUE(first.Start(root));
    // A second instance cleans up at start: what the first holds is not for it to take.
    ASSERT_TRUE(second.Start(root));
    EXPECT_EQ(access(first.sPicture.c_str(), F_OK), 0);
    EXPECT_NE(first.sPicture.substr(0, cache.size() + 8), second.sPicture.substr(0, cache.size() + 8));
    EXPECT_EQ(CountFolders(cache), 2);

    // A clean end takes the instance's folder with it; a crash leaves the folder, unlocked, for
    // the next start to remove.
    EXPECT_EQ(second.End(false), 0);
    EXPECT_EQ(CountFolders(cache), 1);
    first.End(true);
    EXPECT_EQ(access(first.sPicture.c_str(), F_OK), 0);
    ASSERT_TRUE(third.Start(root));
    EXPECT_NE(access(first.sPicture.c_str(), F_OK), 0);
    EXPECT_EQ(CountFolders(cache), 1);
    EXPECT_EQ(third.End(false), 0);
    EXPECT_EQ(CountFolders(cache), 0);
}

// Run only as a child process of the test above.
TEST(CacheChild, DISABLED_Instance)
{
    const char* root = getenv("QUENDREL_TEST_SHARED_CACHE");
    ASSERT_NE(root, nullptr);
    setenv("XDG_CACHE_HOME", root, 1); // before the cache folder is first asked for
    deleteThread.StopThreadNow();
    ASSERT_TRUE(deleteThread.StartThread(LThreadPriorityNormal));
    LImageBuffer image;
    MakePattern(image, 4, 4);
    const std::string report = PathOf(LQDCacheNewImage(image)) + "\n";
    ASSERT_EQ(write(3, report.data(), report.size()), ssize_t(report.size()));
    char c;
    while (read(0, &c, 1) > 0)
    {
    }
}
