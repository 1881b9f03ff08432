#pragma once
// Shared by the effect tests: a private cache and data folder, pictures whose every pixel
// differs, and a process interface that keeps what it was told.

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "document/DeleteFileThread.h"
#include "image/LImageBuffer.h"

inline const std::string gEffectsTestRoot = []
{
    char templ[] = "/tmp/quendrel-effects-XXXXXX";
    std::string root = mkdtemp(templ) ? templ : "";
    setenv("XDG_CACHE_HOME", (root + "/cache").c_str(), 1);
    setenv("XDG_DATA_HOME", (root + "/data").c_str(), 1);
    return root;
}();

struct EffectsTestCleanup : ::testing::Environment
{
    void TearDown() override
    {
        deleteThread.StopThreadNow();
        std::error_code ec;
        if (!gEffectsTestRoot.empty())
            std::filesystem::remove_all(gEffectsTestRoot, ec);
    }
};
inline ::testing::Environment* const gEffectsTestCleanup =
    ::testing::AddGlobalTestEnvironment(new EffectsTestCleanup);

// B8G8R8A8 or B8G8R8; every pixel differs and alpha varies, so a kernel that mixes up channels or
// drops alpha shows.
inline void MakeTestPicture(LImageBuffer& b, int w, int h, pixelformat_t pf = B8G8R8A8)
{
    LImage::New(b, w, h, pf);
    const int bpp = pf == B8G8R8A8 ? 4 : 3;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            uint8_t* p = b.GetRow(y) + x * bpp;
            p[0] = uint8_t(37 * x + 11 * y);
            p[1] = uint8_t(5 * y * y + 3 * x);
            p[2] = uint8_t((x * y * 29) ^ 0x5A);
            if (bpp == 4)
                p[3] = uint8_t(255 - 7 * ((x + y) % 9));
        }
}

inline bool SamePixels(const LImageBuffer& a, const LImageBuffer& b)
{
    if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight() ||
        a.GetPixelFormat() != b.GetPixelFormat())
        return false;
    const size_t bytes = size_t(a.GetWidth()) * (a.GetPixelFormat() == B8G8R8A8 ? 4 : 3);
    for (int y = 0; y < a.GetHeight(); ++y)
        if (memcmp(a.GetRow(y), b.GetRow(y), bytes) != 0)
            return false;
    return true;
}

inline void CopyPicture(LImageBuffer& to, const LImageBuffer& from)
{
    LImage::New(to, from.GetWidth(), from.GetHeight(), from.GetPixelFormat());
    LImageBufferCopy(to, from);
}

class RecordingProcess : public LProcessInterfaceVoid
{
public:
    bool IsToStop() override { return bStop; }
    void SetError(const char* text) override { szError = text; }
    void SetProgress(double f) override { dProgress = f; }
    bool bStop = false;
    std::string szError;
    double dProgress = -1;
};
