// The picture cache: file layout, lazy deletion and the delete thread's clean-up.

#include <cstdio>
#include <cstring>
#include <fstream>
#include <thread>
#include <unistd.h>
#include <vector>

#include "doc_test_support.h"

namespace
{
std::string PathOf(int id)
{
    char path[260];
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
    EXPECT_EQ(PathOf(id), gTestCache + "/" + std::to_string(id) + ".dat");

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

    // Leftovers of an earlier run go at start, whatever the case of the extension.
    std::string stray = gTestCache + "/99999.DAT";
    std::string other = gTestCache + "/notes.txt";
    fclose(fopen(stray.c_str(), "w"));
    fclose(fopen(other.c_str(), "w"));

    deleteThread.StartThread(LThreadPriorityNormal);
    EXPECT_TRUE(WaitFor([&] { return access(stray.c_str(), F_OK) != 0; }));
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
