// One instance per user: the message, the listener and its connections in this process, and two
// real processes of the program, the second handing its arguments to the first.

#include <fstream>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include "app/LInstancePipe.h"
#include "foundation/LUserSettings.h"
#include "app_support.h"

namespace
{
constexpr const char* kName = "QuendrelPipeTest";

class RecordingHandler : public LZORAPIServerHandler
{
public:
    int ExecuteCommand(int count, const char* const* arguments, std::string& result) override
    {
        std::vector<std::string> call;
        for (int i = 0; i < count; ++i)
            call.push_back(arguments[i]);
        vCalls.push_back(call);
        bOnMainThread = bOnMainThread && LMainLoopIsMainThread();
        result = "OK";
        return 0;
    }
    void BringForward() override { ++iBroughtForward; }

    std::vector<std::vector<std::string>> vCalls;
    int iBroughtForward = 0;
    bool bOnMainThread = true;
};

std::string SocketPath(const char* name)
{
    char path[LFILE_MAX_PATH];
    return LNamedPipeRef::MakeFilePath(path, name) ? path : "";
}

// Sends raw bytes as a hostile or broken sender would.
bool SendRaw(const char* name, const void* data, size_t size)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof(address.sun_path), "%s", SocketPath(name).c_str());
    const int s = socket(AF_UNIX, SOCK_STREAM, 0);
    if (s < 0 || connect(s, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0)
    {
        if (s >= 0)
            close(s);
        return false;
    }
    const bool ok = send(s, data, size, MSG_NOSIGNAL) == ssize_t(size);
    close(s);
    return ok;
}

class PipeTest : public ::testing::Test
{
protected:
    void SetUp() override { AppTestApp(); }
    void TearDown() override
    {
        listener.Stop();
        runner.ThreadRunOnMainThreadDestroy();
    }
    bool Send(const std::vector<std::string>& arguments)
    {
        LNamedPipeRef pipe;
        if (!pipe.Open(kName))
            return false;
        LMainWindowSendThread sender(pipe);
        LPipeMessageFromArguments(sender.message, arguments);
        return sender.Start(LThreadPriorityNormal) && sender.WaitToStop(10000) && sender.bSent;
    }

    RecordingHandler handler;
    LThreadRunOnMainThread runner;
    LPipeListenerWithThreads<LMainWindowListenerPipe> listener{&handler, &runner};
};
} // namespace

TEST(PipeMessage, HoldsAtMost128ArgumentsInSlotsOf260AndRefusesWhatIsNoMessage)
{
    std::vector<std::string> arguments{"quendrel"};
    for (int i = 0; i < 140; ++i)
        arguments.push_back("a" + std::to_string(i));
    LPipeMessage message;
    LPipeMessageFromArguments(message, arguments);
    EXPECT_EQ(message.iCount, 128);
    EXPECT_STREQ(message.arArguments[127], "a126");

    // A file named from this process's folder reaches the other as a whole path; an argument
    // too long for its slot is left out rather than cut.
    const std::string picture = MakePicture("relative.png", "-size 4x4 xc:red");
    const std::string folder = FilesFolder();
    char cwd[LFILE_MAX_PATH];
    ASSERT_TRUE(getcwd(cwd, sizeof(cwd)));
    ASSERT_EQ(chdir(folder.c_str()), 0);
    LPipeMessageFromArguments(message, {"quendrel", "relative.png", std::string(300, 'x'), "blur"});
    ASSERT_EQ(chdir(cwd), 0);
    ASSERT_EQ(message.iCount, 3);
    EXPECT_EQ(std::string(message.arArguments[1]), std::filesystem::canonical(picture).string());
    EXPECT_STREQ(message.arArguments[2], "blur");

    message.iCount = 500;
    EXPECT_TRUE(LPipeMessageValidate(message));
    EXPECT_EQ(message.iCount, 128);
    message.iCount = -1;
    EXPECT_FALSE(LPipeMessageValidate(message));
    message.iCount = 2;
    memset(message.arArguments[1], 'z', sizeof(message.arArguments[1]));
    EXPECT_FALSE(LPipeMessageValidate(message));
}

TEST_F(PipeTest, ArgumentsReachTheHandlerOnTheMainThreadWithoutTheProgramsPath)
{
    ASSERT_TRUE(listener.Start(kName));
    struct stat st;
    ASSERT_EQ(stat(SocketPath(kName).c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    ASSERT_TRUE(Send({"quendrel", "/tmp/a.jpg", "blur"}));
    ASSERT_TRUE(PumpUntil([&] { return handler.vCalls.size() == 1; }));
    EXPECT_EQ(handler.vCalls[0], (std::vector<std::string>{"/tmp/a.jpg", "blur"}));
    EXPECT_TRUE(handler.bOnMainThread);
    // The program's path alone: the window comes forward and nothing runs.
    ASSERT_TRUE(Send({"quendrel"}));
    ASSERT_TRUE(PumpUntil([&] { return handler.iBroughtForward == 1; }));
    EXPECT_EQ(handler.vCalls.size(), 1u);

    listener.Stop();
    EXPECT_FALSE(std::filesystem::exists(SocketPath(kName)));
    LNamedPipeRef pipe;
    EXPECT_FALSE(pipe.Open(kName));
}

TEST_F(PipeTest, TheSocketOfACrashedInstanceAnswersNothingAndIsReplaced)
{
    // Bound and left behind without a listener, as a killed process leaves it.
    const std::string path = SocketPath(kName);
    std::filesystem::remove(path);
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        snprintf(address.sun_path, sizeof(address.sun_path), "%s", path.c_str());
        const int s = socket(AF_UNIX, SOCK_STREAM, 0);
        ASSERT_EQ(bind(s, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
        close(s);
    }
    ASSERT_TRUE(std::filesystem::exists(path));
    LNamedPipeRef stale;
    EXPECT_FALSE(stale.Open(kName));
    EXPECT_FALSE(stale.IsOpen());

    ASSERT_TRUE(listener.Start(kName));
    ASSERT_TRUE(Send({"quendrel", "sharpen"}));
    ASSERT_TRUE(PumpUntil([&] { return handler.vCalls.size() == 1; }));
}

TEST_F(PipeTest, ShortOversizedAndMalformedMessagesAreRefusedAndTheListenerGoesOn)
{
    ASSERT_TRUE(listener.Start(kName));
    LPipeMessage message;
    LPipeMessageFromArguments(message, {"quendrel", "blur"});
    std::vector<char> bytes(reinterpret_cast<char*>(&message),
                            reinterpret_cast<char*>(&message) + sizeof(message));

    EXPECT_TRUE(SendRaw(kName, bytes.data(), 100));
    std::vector<char> oversized = bytes;
    oversized.resize(bytes.size() + 64, 'x');
    EXPECT_TRUE(SendRaw(kName, oversized.data(), oversized.size()));
    LPipeMessage negative = message;
    negative.iCount = -7;
    EXPECT_TRUE(SendRaw(kName, &negative, sizeof(negative)));
    LPipeMessage unterminated = message;
    memset(unterminated.arArguments[1], 'q', kLPipeArgumentSize);
    EXPECT_TRUE(SendRaw(kName, &unterminated, sizeof(unterminated)));
    PumpFor(600);
    EXPECT_TRUE(handler.vCalls.empty());

    // A count past the table is cut, not refused.
    LPipeMessage many = message;
    many.iCount = 1000;
    for (int i = 2; i < kLPipeMaxArguments; ++i)
        snprintf(many.arArguments[i], kLPipeArgumentSize, "x%d", i);
    EXPECT_TRUE(SendRaw(kName, &many, sizeof(many)));
    ASSERT_TRUE(PumpUntil([&] { return handler.vCalls.size() == 1; }));
    EXPECT_EQ(handler.vCalls[0].size(), 127u);
    // Every connection's thread has ended and gone.
    EXPECT_TRUE(PumpUntil([&] { return listener.GetConnectionCount() == 0; }, 5000));
}

// Two real processes: a second start hands its file to the first and exits at once.
TEST(InstancePipe, ASecondStartOpensItsFileInTheFirst)
{
    AppTestApp();
    // No question about recovery may stand in the first start's way.
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(gAppTestRoot + "/data/Quendrel/Shared", ec))
        std::filesystem::remove(e.path());
    const std::string photo = MakePicture("second.png", "-size 64x48 xc:salmon");
    LUserSettingSetString("Settings", "LastPhotoLoaded", "");
    ChildProcess first;
    ASSERT_TRUE(first.Start({}));
    LNamedPipeRef probe;
    ASSERT_TRUE(PumpUntil([&] { return probe.Open("Quendrel"); }, 20000)) << "the first start never listened";
    probe.Close();

    ChildProcess second;
    ASSERT_TRUE(second.Start({photo}));
    EXPECT_EQ(second.Wait(15000), 0);
    char last[LUSERSETTING_MAX_STRING] = {};
    EXPECT_TRUE(PumpUntil(
        [&]
        {
            _LUserSettingGetString("Settings", "LastPhotoLoaded", "", last);
            return photo == last;
        },
        20000))
        << "the first start never opened " << photo;

    // Commands without an answer channel end the second start just the same.
    ChildProcess version;
    ASSERT_TRUE(version.Start({"-version"}));
    EXPECT_EQ(version.Wait(15000), 0);
    first.Kill();
}
