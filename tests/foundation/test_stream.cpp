#include <gtest/gtest.h>

#include "foundation/LStream.h"
#include "foundation_test_support.h"

#include <chrono>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{
std::string Pattern(size_t size)
{
    std::string data(size, '\0');
    for (size_t i = 0; i < size; ++i)
        data[i] = char((i * 7 + i / 251) & 0xFF);
    return data;
}

// Reads every typed form from a stream over 01 02 03 ... 0F, then checks that each form fails
// where fewer bytes remain than it needs.
template <class Stream>
void CheckTypedReads(Stream& s)
{
    uint8_t b;
    uint16_t u16, u16be;
    uint32_t u32, u32be;
    int32_t s32;
    uint64_t u64;
    ASSERT_TRUE(s.ReadUInt8(b) && s.ReadUInt16LE(u16) && s.ReadUInt16BE(u16be) && s.ReadUInt32LE(u32) &&
                s.ReadUInt32BE(u32be));
    EXPECT_EQ(b, 0x01);
    EXPECT_EQ(u16, 0x0302);
    EXPECT_EQ(u16be, 0x0405);
    EXPECT_EQ(u32, 0x09080706u);
    EXPECT_EQ(u32be, 0x0A0B0C0Du);
    EXPECT_EQ(s.Tell64(), 13);
    // Two bytes left.
    EXPECT_FALSE(s.ReadUInt32LE(u32) || (s.Seek64(13), s.ReadUInt32BE(u32)) ||
                 (s.Seek64(13), s.ReadSInt32LE(s32)) || (s.Seek64(13), s.ReadUInt64LE(u64)));
    ASSERT_TRUE(s.Seek64(13) && s.ReadUInt16LE(u16));
    EXPECT_EQ(u16, 0x0F0E);
    EXPECT_FALSE(s.ReadUInt8(b) || s.ReadUInt16LE(u16) || s.ReadUInt16BE(u16));
    ASSERT_TRUE(s.Seek64(0) && s.ReadUInt64LE(u64));
    EXPECT_EQ(u64, 0x0807060504030201ull);
    EXPECT_FALSE(s.Seek64(16) || s.Seek64(-1));
    EXPECT_TRUE(s.SeekOffset64(-8));
    EXPECT_EQ(s.Tell64(), 0);
}

const uint8_t kSequence[15] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
} // namespace

TEST(Stream, TypedReadsAndEndOfDataOnEveryBase)
{
    LInputStream<LInputStreamBuffer> buffer(kSequence, sizeof(kSequence));
    CheckTypedReads(buffer);

    TestTempFolder dir;
    ASSERT_TRUE(TestWriteFile(dir.File("seq"), std::string(reinterpret_cast<const char*>(kSequence), 15)));
    LInputStream<LInputStreamFile> file;
    ASSERT_TRUE(file.Open(dir.File("seq").c_str()));
    EXPECT_EQ(file.GetSize64(), 15);
    CheckTypedReads(file);

    int32_t s32;
    const uint8_t negative[4] = {0xFE, 0xFF, 0xFF, 0xFF};
    LInputStream<LInputStreamBuffer> neg(negative, 4);
    ASSERT_TRUE(neg.ReadSInt32LE(s32));
    EXPECT_EQ(s32, -2);
}

TEST(Stream, FileReadsAcrossBufferBoundariesAndSeeks)
{
    TestTempFolder dir;
    const std::string data = Pattern(50000);
    ASSERT_TRUE(TestWriteFile(dir.File("big"), data));
    LInputStream<LInputStreamFile> s;
    ASSERT_TRUE(s.Open(dir.File("big").c_str()));

    // Mixed sizes, small and larger than the buffer, must give the bytes in order.
    std::string got;
    const size_t sizes[] = {1, 8190, 5, 3, 20000, 7, 8192, 100};
    for (size_t n : sizes)
    {
        std::string part(n, '\0');
        ASSERT_TRUE(s.Read(part.data(), n));
        got += part;
    }
    EXPECT_EQ(got, data.substr(0, got.size()));
    EXPECT_EQ(s.Tell64(), int64_t(got.size()));

    // Rest of the file; a read asking for more than remains fails and stops at the end.
    std::string rest(data.size() - got.size() + 1, '\0');
    EXPECT_FALSE(s.Read(rest.data(), rest.size()));
    EXPECT_EQ(s.Tell64(), int64_t(data.size()));

    // Backward and forward seeks land on the right bytes.
    for (int64_t pos : {0, 49999, 8191, 8192, 30000, 3})
    {
        uint8_t b;
        ASSERT_TRUE(s.Seek64(pos) && s.ReadUInt8(b));
        EXPECT_EQ(b, uint8_t(data[size_t(pos)])) << pos;
    }
    ASSERT_TRUE(s.Seek64(100));
    ASSERT_TRUE(s.SeekOffset64(900));
    EXPECT_EQ(s.Tell64(), 1000);
    EXPECT_FALSE(s.SeekOffset64(60000));
}

TEST(Stream, OutputFileWritesSeeksAndCreatesPrivateFiles)
{
    TestTempFolder dir;
    const std::string path = dir.File("out");
    const mode_t old = umask(022);
    {
        LOutputStream<LOutputStreamFile> s;
        ASSERT_TRUE(s.Open(path.c_str()));
        ASSERT_TRUE(s.WriteUInt32LE(0)); // placeholder patched below
        ASSERT_TRUE(s.WriteUInt16BE(0x1234));
        const std::string big = Pattern(100000);
        ASSERT_TRUE(s.Write(big.data(), big.size()));
        ASSERT_TRUE(s.WriteUInt64LE(0x1122334455667788ull));
        EXPECT_EQ(s.Tell64(), 4 + 2 + 100000 + 8);
        ASSERT_TRUE(s.Seek64(0));
        ASSERT_TRUE(s.WriteSInt32LE(-3));
        EXPECT_TRUE(s.Close());
    }
    umask(old);
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    const std::string file = TestReadFile(path);
    ASSERT_EQ(file.size(), 100014u);
    EXPECT_EQ(file.substr(0, 6), std::string("\xFD\xFF\xFF\xFF\x12\x34", 6));
    EXPECT_EQ(file.substr(6, 100000), Pattern(100000));
    EXPECT_EQ(file.substr(100006), std::string("\x88\x77\x66\x55\x44\x33\x22\x11", 8));

    // Opening again truncates.
    LOutputStream<LOutputStreamFile> again;
    ASSERT_TRUE(again.Open(path.c_str()));
    ASSERT_TRUE(again.WriteUInt8(7));
    EXPECT_TRUE(again.Close());
    EXPECT_EQ(TestReadFile(path), "\x07");
}

TEST(Stream, OutputFileCloseReportsDataThatNeverArrived)
{
    LOutputStream<LOutputStreamFile> s;
    ASSERT_TRUE(s.Open("/dev/full"));
    EXPECT_TRUE(s.WriteUInt32LE(1)); // buffered, so the failure shows later
    EXPECT_FALSE(s.Close());
    EXPECT_FALSE(s.Open("/nonexistent-folder/x"));
}

TEST(Stream, ByteArrayGrowsAndFillsGapsAfterSeekingPastTheEnd)
{
    LOutputStream<LOutputStreamByteArray> s;
    ASSERT_TRUE(s.WriteUInt16LE(0xABCD));
    ASSERT_TRUE(s.Seek64(6));
    ASSERT_TRUE(s.WriteUInt8(9));
    ASSERT_TRUE(s.Seek64(1));
    ASSERT_TRUE(s.WriteUInt8(0xEE));
    EXPECT_EQ(s.Tell64(), 2);
    const std::vector<uint8_t> expected = {0xCD, 0xEE, 0, 0, 0, 0, 9};
    EXPECT_EQ(std::vector<uint8_t>(s.GetData(), s.GetData() + s.GetSize()), expected);
    EXPECT_FALSE(s.Seek64(-1));
}

namespace
{
// A child process that holds a lock on path for holdMs; returns its pid once the lock is held.
pid_t HoldLockInChild(const std::string& path, int operation, int holdMs)
{
    int ready[2];
    if (pipe(ready) != 0)
        return -1;
    pid_t pid = fork();
    if (pid == 0)
    {
        int fd = open(path.c_str(), O_RDWR);
        if (fd < 0 || flock(fd, operation) != 0)
            _exit(1);
        char c = 1;
        if (write(ready[1], &c, 1) != 1)
            _exit(1);
        usleep(useconds_t(holdMs) * 1000);
        _exit(0);
    }
    close(ready[1]);
    char c;
    bool ok = read(ready[0], &c, 1) == 1;
    close(ready[0]);
    return ok ? pid : -1;
}

int64_t ElapsedMs(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
        .count();
}
} // namespace

TEST(Stream, LockHeldByAnotherProcessWaitsThenFailsOrSucceeds)
{
    TestTempFolder dir;
    const std::string path = dir.File("locked");
    ASSERT_TRUE(TestWriteFile(path, "keep"));

    // A writer's lock held for longer than the time-out: the reader waits, then fails.
    pid_t pid = HoldLockInChild(path, LOCK_EX, 1500);
    ASSERT_GT(pid, 0);
    auto start = std::chrono::steady_clock::now();
    LInputStreamFile reader;
    EXPECT_FALSE(reader.Open(path.c_str(), LFileLockShared, 200));
    EXPECT_GE(ElapsedMs(start), 200);
    EXPECT_LT(ElapsedMs(start), 1400);
    // A writer that can't get its lock must not have truncated the file.
    LOutputStreamFile writer;
    EXPECT_FALSE(writer.Open(path.c_str(), LFileLockExclusive, 50));
    EXPECT_EQ(TestReadFile(path), "keep");
    // Released within the time-out: the open succeeds once the child lets go.
    start = std::chrono::steady_clock::now();
    EXPECT_TRUE(reader.Open(path.c_str(), LFileLockShared, 5000));
    EXPECT_GE(ElapsedMs(start), 500);
    int status;
    waitpid(pid, &status, 0);
    reader.Close();

    // Readers share.
    pid = HoldLockInChild(path, LOCK_SH, 1000);
    ASSERT_GT(pid, 0);
    start = std::chrono::steady_clock::now();
    EXPECT_TRUE(reader.Open(path.c_str(), LFileLockShared, 2000));
    EXPECT_LT(ElapsedMs(start), 500);
    EXPECT_FALSE(writer.Open(path.c_str(), LFileLockExclusive, 100));
    waitpid(pid, &status, 0);
}
