#include "doc_test_util.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <strings.h>

#include "document/DeleteFileThread.h"

namespace
{
std::string gRoot;
std::string gCache;

// Points every folder of the engine at a private temporary tree before any test runs.
const bool kFolders = []
{
    char templ[] = "/tmp/quendrel-doc-XXXXXX";
    const char* made = mkdtemp(templ);
    gRoot = made ? made : "/tmp";
    setenv("XDG_CACHE_HOME", (gRoot + "/cache").c_str(), 1);
    setenv("XDG_DATA_HOME", (gRoot + "/data").c_str(), 1);
    gCache = gRoot + "/cache/Quendrel/cache";
    return true;
}();

class FolderCleanup : public ::testing::Environment
{
public:
    void TearDown() override
    {
        deleteThread.StopThreadNow();
        std::error_code ec;
        std::filesystem::remove_all(gRoot, ec);
    }
};
[[maybe_unused]] auto* gCleanup = ::testing::AddGlobalTestEnvironment(new FolderCleanup);
} // namespace

const std::string& TestCacheFolder()
{
    return gCache;
}

int CountCacheFiles()
{
    int n = 0;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator(gCache, ec))
    {
        std::string name = entry.path().filename().string();
        if (name.size() >= 4 && strcasecmp(name.c_str() + name.size() - 4, ".dat") == 0)
            ++n;
    }
    return n;
}

void MakePattern(LImageBuffer& buffer, int width, int height)
{
    LImage::New(buffer, width, height, B8G8R8A8);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            reinterpret_cast<uint32_t*>(buffer.GetRow(y))[x] =
                Bgra(unsigned(3 * x) & 255, unsigned(5 * y) & 255, unsigned(x + y) & 255, 255);
}

uint32_t ApplyTestOp(TestOp op, int amount, uint32_t pixel)
{
    unsigned c[3] = {pixel & 255, pixel >> 8 & 255, pixel >> 16 & 255};
    switch (op)
    {
    case TestOp::AddRed:
        c[2] = c[2] + unsigned(amount) > 255 ? 255 : c[2] + unsigned(amount);
        break;
    case TestOp::Invert:
        for (unsigned& v : c)
            v = 255 - v;
        break;
    case TestOp::Halve:
        for (unsigned& v : c)
            v /= 2;
        break;
    }
    return Bgra(c[0], c[1], c[2], pixel >> 24);
}

LProcessResult TestElement::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    ++iRenders;
    if (fnDuringRender)
        fnDuringRender();
    if (bFail)
    {
        process.SetError("Test element failed");
        return LProcessResultFailed;
    }
    if (!buffer.IsValid())
        return LProcessResultFailed;
    for (int y = 0; y < buffer.GetHeight(); ++y)
    {
        if (process.IsToStop())
            return LProcessResultCancelled;
        uint32_t* row = reinterpret_cast<uint32_t*>(buffer.GetRow(y));
        for (int x = 0; x < buffer.GetWidth(); ++x)
            row[x] = ApplyTestOp(eOp, iAmount, row[x]);
        process.SetProgress(double(y + 1) / buffer.GetHeight());
    }
    return LProcessResultSuccess;
}
