#pragma once
// Shared by the document tests: a private cache and data folder for the run, the application
// object for the main loop, and a test element whose pixel changes are easy to work out by hand.

#include <QCoreApplication>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <strings.h>

#include "document/DeleteFileThread.h"
#include "document/LQDCacheStore.h"
#include "document/QDFolders.h"
#include "foundation/LFile.h"
#include "document/QDImagePipelineElement.h"
#include "foundation/LMainLoop.h"
#include "image/LImageBuffer.h"

// Set during start-up, before the engine first asks for its folders; removed after the last test.
inline const std::string gTestRoot = []
{
    char templ[] = "/tmp/quendrel-doc-XXXXXX";
    std::string root = mkdtemp(templ) ? templ : "";
    setenv("XDG_CACHE_HOME", (root + "/cache").c_str(), 1);
    setenv("XDG_DATA_HOME", (root + "/data").c_str(), 1);
    return root;
}();
// The cache folder shared by all processes, and this process's own sub-folder in it.
inline const std::string gTestCache = gTestRoot + "/cache/Quendrel/cache";
inline std::string OwnCacheFolder()
{
    char path[LFILE_MAX_PATH];
    return QDGetCacheFolder(path) ? path : "";
}

struct TestFolderCleanup : ::testing::Environment
{
    void TearDown() override
    {
        deleteThread.StopThreadNow();
        std::error_code ec;
        if (!gTestRoot.empty())
            std::filesystem::remove_all(gTestRoot, ec);
    }
};
inline ::testing::Environment* const gTestCleanup =
    ::testing::AddGlobalTestEnvironment(new TestFolderCleanup);

inline void EnsureApplication()
{
    static int argc = 1;
    static char name[] = "test_document";
    static char* argv[] = {name, nullptr};
    if (!QCoreApplication::instance())
        new QCoreApplication(argc, argv);
    LMainLoopBegin();
}

inline bool PumpUntil(std::function<bool()> done, int milliseconds = 10000)
{
    LMainLoopProcessEvents(
        milliseconds, [](void* c) { return (*static_cast<std::function<bool()>*>(c))(); }, &done);
    return done();
}

// The same for conditions no event announces: looks again every few milliseconds.
inline bool PollUntil(const std::function<bool()>& done, int milliseconds = 10000)
{
    for (int waited = 0; waited < milliseconds && !done(); waited += 5)
        LMainLoopProcessEvents(5);
    return done();
}

inline int CountCacheFiles(const std::string& folder = OwnCacheFolder())
{
    int n = 0;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ec))
        n += strcasecmp(entry.path().extension().c_str(), ".dat") == 0;
    return n;
}

inline uint32_t& PixelAt(const LImageBuffer& b, int x, int y)
{
    return reinterpret_cast<uint32_t*>(const_cast<uint8_t*>(b.GetRow(y)))[x];
}
inline uint32_t Bgra(unsigned b, unsigned g, unsigned r, unsigned a)
{
    return b | g << 8 | r << 16 | a << 24;
}

// A B8G8R8A8 picture whose every pixel differs: blue 3x, green 5y, red x+y, alpha 255.
inline void MakePattern(LImageBuffer& buffer, int width, int height)
{
    LImage::New(buffer, width, height, B8G8R8A8);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            PixelAt(buffer, x, y) =
                Bgra(unsigned(3 * x) & 255, unsigned(5 * y) & 255, unsigned(x + y) & 255, 255);
}

// Counts differing pixels (-1 for another size), reporting the first.
inline int Differences(const LImageBuffer& a, const LImageBuffer& b)
{
    if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight())
        return -1;
    int n = 0;
    for (int y = 0; y < a.GetHeight(); ++y)
        for (int x = 0; x < a.GetWidth(); ++x)
            if (PixelAt(a, x, y) != PixelAt(b, x, y) && n++ == 0)
                ADD_FAILURE() << "first difference at " << x << "," << y << ": " << std::hex
                              << PixelAt(a, x, y) << " against " << PixelAt(b, x, y);
    return n;
}

// Per-pixel operations on the three colour channels (alpha untouched).
enum class TestOp
{
    AddRed, // red + amount, clamped at 255
    Invert, // 255 - value
    Halve,  // value / 2
};

inline uint32_t ApplyTestOp(TestOp op, int amount, uint32_t pixel)
{
    unsigned c[3] = {pixel & 255, pixel >> 8 & 255, pixel >> 16 & 255};
    for (int i = 0; i < 3; ++i)
        c[i] = op == TestOp::Invert  ? 255 - c[i]
               : op == TestOp::Halve ? c[i] / 2
               : i == 2              ? std::min(c[i] + unsigned(amount), 255u)
                                     : c[i];
    return Bgra(c[0], c[1], c[2], pixel >> 24);
}

// An element doing one TestOp and counting its renders.
class TestElement : public QDImagePipelineElement
{
public:
    TestElement(TestOp op, int amount = 0) : eOp(op), iAmount(amount) {}
    const char* GetName() const override { return "Test"; }
    const char* GetTypeIdentifier() const override { return "test"; }
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override
    {
        ++iRenders;
        if (fnDuringRender)
            fnDuringRender();
        if (bFail)
        {
            process.SetError("Test element failed");
            return LProcessResultFailed;
        }
        for (int y = 0; y < buffer.GetHeight(); ++y)
        {
            if (process.IsToStop())
                return LProcessResultCancelled;
            for (int x = 0; x < buffer.GetWidth(); ++x)
                PixelAt(buffer, x, y) = ApplyTestOp(eOp, iAmount, PixelAt(buffer, x, y));
            process.SetProgress(double(y + 1) / buffer.GetHeight());
        }
        return buffer.IsValid() ? LProcessResultSuccess : LProcessResultFailed;
    }
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override
    {
        ++iLowRenders;
        return RenderHighResImage(process, buffer);
    }

    TestOp eOp;
    int iAmount;
    std::atomic<int> iRenders{0}; // both passes
    std::atomic<int> iLowRenders{0};
    std::function<void()> fnDuringRender;
    bool bFail = false;
};

// Valid cache entries at both resolutions, as after a render.
inline void MakeClean(QDImagePipelineElement* e)
{
    LImageBuffer b;
    MakePattern(b, 2, 2);
    for (int32_t* id : {&e->iHighResCacheId, &e->iLowResCacheId})
        *id < 0 ? void(*id = LQDCacheNewImage(b)) : void(LQDCacheSaveImage(b, *id));
}
