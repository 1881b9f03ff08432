// Saving pictures: whatever makes a save fail, the file that was there stays byte for byte, with
// nothing left beside it; a save that works goes through links and past the old 260-byte limit.

#include <csignal>
#include <cstring>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <memory>
#include <unistd.h>
#include <vector>

#include "codecs/LImage.h"
#include "doc_test_support.h"
#include "document/QDProject.h"

namespace
{
const std::string kOld = "the old picture's bytes";

std::string TestReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool TestWriteFile(const std::string& path, const std::string& data)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << data;
    out.close();
    return out.good();
}

struct Recorder : LProcessInterfaceVoid
{
    void SetError(const char* text) override { strError = text; }
    std::string strError;
};

// A folder nested deep enough that its path passes `length` bytes, made by descriptors because
// the system refuses such paths whole. Short() reaches a file in it through the descriptor.
class DeepFolder
{
public:
    DeepFolder(const std::string& base, size_t length) : sPath(base)
    {
        iFolder = open(base.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        while (iFolder >= 0 && sPath.size() < length)
        {
            const std::string name(std::min<size_t>(200, length - sPath.size() + 1), 'd');
            mkdirat(iFolder, name.c_str(), 0700);
            const int next = openat(iFolder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            close(iFolder);
            iFolder = next;
            sPath += "/" + name;
        }
    }
    ~DeepFolder() { close(iFolder); }
    const std::string& Path() const { return sPath; }
    std::string Short(const char* name = "") const
    {
        return "/proc/self/fd/" + std::to_string(iFolder) + "/" + name;
    }

private:
    std::string sPath;
    int iFolder = -1;
};

int CountEntries(const std::string& folder)
{
    int n = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        n += entry.exists() || entry.is_symlink();
    return n;
}

// Files may not grow past 4 KiB while alive: a disk that fills up half way through a save.
class SmallDisk
{
public:
    SmallDisk() : lpfnOld(signal(SIGXFSZ, SIG_IGN))
    {
        getrlimit(RLIMIT_FSIZE, &oOld);
        struct rlimit small = oOld;
        small.rlim_cur = 4096;
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~SmallDisk()
    {
        setrlimit(RLIMIT_FSIZE, &oOld);
        signal(SIGXFSZ, lpfnOld);
    }

private:
    struct rlimit oOld;
    void (*lpfnOld)(int);
};

class Save : public ::testing::Test
{
protected:
    void SetUp() override
    {
        MakePattern(oPicture, 200, 150); // 90 KB as BMP: past the small disk and the write buffer
        sFolder = gTestRoot + "/save-" + std::to_string(++iRun);
        std::filesystem::create_directories(sFolder);
    }
    void TearDown() override
    {
        // rm walks by descriptors, so it also takes folders nested past the path limit.
        chmod(sFolder.c_str(), 0700);
        EXPECT_EQ(std::system(("rm -rf '" + sFolder + "'").c_str()), 0);
    }
    bool SaveTo(const std::string& path)
    {
        oRecorder.strError.clear();
        return LImage::Save(oRecorder, oPicture, path.c_str(), LImageEncodeSettings());
    }
    bool LoadsAsThePicture(const std::string& path)
    {
        LImageBuffer read, back;
        return LImage::Load(read, path.c_str()) > 0 && LImage::New(back, read.GetWidth(), read.GetHeight()) &&
               (LConvertPixelFormat(back, read), Differences(back, oPicture) == 0);
    }

    static inline int iRun = 0;
    LImageBuffer oPicture;
    std::string sFolder;
    Recorder oRecorder;
};
} // namespace

TEST_F(Save, FailuresLeaveTheOldFileByteForByte)
{
    struct Case
    {
        const char* szName;
        std::string sTarget; // holds the old bytes; saved to through sPath
        std::string sPath;
        bool bSmallDisk;
        const char* szMessage;
    };
    const std::string longFolder = sFolder + "/" + std::string(150, 'f');
    const std::string longPath = longFolder + "/" + std::string(295 - longFolder.size(), 'n') + ".bmp";
    ASSERT_EQ(longPath.size(), 300u);
    ASSERT_EQ(mkdir(longFolder.c_str(), 0700), 0);
    ASSERT_EQ(mkdir((sFolder + "/inner").c_str(), 0700), 0);
    ASSERT_EQ(mkdir((sFolder + "/folder.bmp").c_str(), 0700), 0);
    ASSERT_EQ(symlink("inner/linked.bmp", (sFolder + "/link.bmp").c_str()), 0);
    const Case cases[] = {
        {"encoder runs out of disk", sFolder + "/plain.bmp", sFolder + "/plain.bmp", true,
         "The image could not be saved"},
        {"through a link", sFolder + "/inner/linked.bmp", sFolder + "/link.bmp", true,
         "The image could not be saved"},
        {"a 300-byte path", longPath, longPath, true, "The image could not be saved"},
        {"a folder in the way", "", sFolder + "/folder.bmp", false, "The file could not be opened."},
    };
    auto entries = [&]
    { return CountEntries(sFolder) + CountEntries(sFolder + "/inner") + CountEntries(longFolder); };
    for (const Case& c : cases)
    {
        if (!c.sTarget.empty())
        {
            ASSERT_TRUE(TestWriteFile(c.sTarget, kOld)) << c.szName;
        }
        const int before = entries();
        bool saved;
        {
            std::unique_ptr<SmallDisk> disk(c.bSmallDisk ? new SmallDisk : nullptr);
            saved = SaveTo(c.sPath);
        }
        EXPECT_FALSE(saved) << c.szName;
        EXPECT_EQ(oRecorder.strError, c.szMessage) << c.szName;
        if (!c.sTarget.empty())
        {
            EXPECT_EQ(TestReadFile(c.sTarget), kOld) << c.szName;
        }
        EXPECT_EQ(entries(), before) << c.szName;
    }

    // A save stopped half way by the user.
    struct Stopping : Recorder
    {
        bool IsToStop() override { return ++iCalls > 20; }
        int iCalls = 0;
    } stopping;
    EXPECT_FALSE(LImage::Save(stopping, oPicture, (sFolder + "/plain.bmp").c_str(), LImageEncodeSettings()));
    EXPECT_EQ(TestReadFile(sFolder + "/plain.bmp"), kOld);
    EXPECT_TRUE(SaveTo(sFolder + "/plain.bmp")); // and nothing in the way of the next one
    EXPECT_TRUE(LoadsAsThePicture(sFolder + "/plain.bmp"));
}

TEST_F(Save, AReadOnlyFolderKeepsItsFile)
{
    const std::string target = sFolder + "/locked/old.bmp";
    ASSERT_EQ(mkdir((sFolder + "/locked").c_str(), 0777), 0);
    ASSERT_TRUE(TestWriteFile(target, kOld));
    chmod(gTestRoot.c_str(), 0755);
    chmod(sFolder.c_str(), 0755);
    chmod(target.c_str(), 0666);
    chmod((sFolder + "/locked").c_str(), 0555);
    // Root writes into read-only folders: the save runs as an ordinary user then.
    pid_t pid = fork();
    if (pid == 0)
    {
        struct stat st;
        // The system calls themselves: the library's forms also reach for the parent's
        // threads, which a forked child doesn't have.
        if (geteuid() == 0 && (syscall(SYS_setgid, 65534) != 0 || syscall(SYS_setuid, 65534) != 0))
            _exit(3);
        if (stat(target.c_str(), &st) != 0 || access(target.c_str(), W_OK) != 0)
            _exit(4); // the file itself must be reachable and writable
        _exit(SaveTo(target) ? 1 : oRecorder.strError == "The file could not be opened." ? 0 : 2);
    }
    int status = -1;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(TestReadFile(target), kOld);
    EXPECT_EQ(CountEntries(sFolder + "/locked"), 1);
    chmod(gTestRoot.c_str(), 0700);
}

TEST_F(Save, PathsTooLongForAnyStepAreRefusedBeforeAnythingIsWritten)
{
    // Past the system's limit, and short of it but with no room for the temporary name beside it.
    for (const size_t length : {size_t(LFILE_MAX_PATH + 100), size_t(LFILE_MAX_PATH - 12)})
    {
        DeepFolder deep(sFolder, length);
        const char* name = length > LFILE_MAX_PATH ? "old.bmp" : "o.bmp";
        ASSERT_TRUE(TestWriteFile(deep.Short(name), kOld));
        const std::string path = deep.Path() + "/" + name;
        EXPECT_FALSE(SaveTo(path)) << path.size();
        EXPECT_EQ(oRecorder.strError, "The file could not be opened.") << path.size();
        EXPECT_EQ(TestReadFile(deep.Short(name)), kOld);
        EXPECT_EQ(CountEntries(deep.Short()), 1);

        // The project refuses what it couldn't keep, and keeps its old path.
        QDProject project(100, 80);
        project.SetRenderedHighResImage(oPicture);
        ASSERT_TRUE(project.SetFilePath("/kept.bmp"));
        EXPECT_NE(project.Save(path.c_str(), LImageEncodeSettings()), ERROR_CODE_SAVE_SUCCESS);
        EXPECT_STREQ(project.szFilePath, "/kept.bmp");
        EXPECT_EQ(project.SetFilePath(path.c_str()), path.size() < QD_PATH_SIZE);
    }
}

TEST_F(Save, ALinkKeepsPointingAtTheSavedFileAndLongPathsAreWhole)
{
    const std::string target = sFolder + "/real.bmp", link = sFolder + "/link.bmp";
    ASSERT_TRUE(TestWriteFile(target, kOld));
    chmod(target.c_str(), 0640);
    ASSERT_EQ(symlink("real.bmp", link.c_str()), 0);
    ASSERT_TRUE(SaveTo(link));
    struct stat st;
    ASSERT_EQ(lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_TRUE(LoadsAsThePicture(target));
    ASSERT_EQ(stat(target.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_EQ(CountEntries(sFolder), 2);

    // Far past 260 bytes, kept whole by the project.
    DeepFolder deep(sFolder, 600);
    const std::string path = deep.Path() + "/picture.bmp";
    QDProject project(100, 80);
    project.SetRenderedHighResImage(oPicture);
    ASSERT_EQ(project.Save(path.c_str(), LImageEncodeSettings()), ERROR_CODE_SAVE_SUCCESS);
    EXPECT_EQ(std::string(project.szFilePath), path);
    EXPECT_TRUE(LoadsAsThePicture(path));
}
