#pragma once
// Shared by the batch tests: private folders for the run's settings, cache and files, the
// catalogue's batch effects, pictures written in real formats, and a process interface that
// keeps what it was told.

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "batch/QDBatchProcess.h"
#include "batch/QDBatchScript.h"
#include "batch/QDBatchState.h"
#include "codecs/LImage.h"
#include "document/DeleteFileThread.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"

inline const std::string gBatchTestRoot = []
{
    char templ[] = "/tmp/quendrel-batch-XXXXXX";
    std::string root = mkdtemp(templ) ? templ : "";
    setenv("XDG_CONFIG_HOME", (root + "/config").c_str(), 1);
    setenv("XDG_CACHE_HOME", (root + "/cache").c_str(), 1);
    setenv("XDG_DATA_HOME", (root + "/data").c_str(), 1);
    return root;
}();

struct BatchTestCleanup : ::testing::Environment
{
    void TearDown() override
    {
        deleteThread.StopThreadNow();
        std::error_code ec;
        if (!gBatchTestRoot.empty())
            std::filesystem::remove_all(gBatchTestRoot, ec);
    }
};
inline ::testing::Environment* const gBatchTestCleanup =
    ::testing::AddGlobalTestEnvironment(new BatchTestCleanup);

using Bytes = std::vector<uint8_t>;

inline Bytes ReadBytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

inline bool WriteBytes(const std::string& path, const Bytes& data)
{
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(data.data()), std::streamsize(data.size()));
    return bool(out);
}

// A folder of its own for each test.
class BatchTempDir
{
public:
    BatchTempDir()
    {
        std::string templ = gBatchTestRoot + "/t-XXXXXX";
        szPath = mkdtemp(templ.data()) ? templ : "";
    }
    ~BatchTempDir()
    {
        std::error_code ec;
        std::filesystem::remove_all(szPath, ec);
    }
    std::string operator/(const std::string& name) const { return szPath + "/" + name; }
    // Names of the entries, sorted.
    std::vector<std::string> List(const std::string& sub = "") const
    {
        std::vector<std::string> names;
        std::error_code ec;
        for (const auto& e : std::filesystem::directory_iterator(sub.empty() ? szPath : *this / sub, ec))
            names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
    std::string szPath;
};

// Smooth gradients with some detail, so that encoders and effects both have work; tint moves
// the colours so that two pictures are told apart by their mean.
inline void MakePhoto(LImageBuffer& image, int w, int h, int tint = 0, bool alpha = false)
{
    LImage::New(image, w, h, B8G8R8A8);
    for (int y = 0; y < h; ++y)
    {
        uint8_t* p = image.GetRow(y);
        for (int x = 0; x < w; ++x, p += 4)
        {
            p[0] = uint8_t(std::clamp(x * 200 / w + tint, 0, 255));
            p[1] = uint8_t((y * 180 / h + ((x / 4 + y / 4) % 2) * 30) & 255);
            p[2] = uint8_t(std::clamp(255 - tint - x * 100 / w, 0, 255));
            p[3] = alpha ? uint8_t(255 - (x * 255 / w) / 2) : 255;
        }
    }
}

inline bool WritePhoto(const std::string& path, int w, int h, int tint = 0, bool alpha = false)
{
    LImageBuffer image;
    MakePhoto(image, w, h, tint, alpha);
    LImageEncodeSettings settings;
    settings.jpeg.SetQuality(95);
    return LImage::Save(image, path.c_str(), settings, 3000);
}

inline bool SamePixels(const LImageBuffer& a, const LImageBuffer& b)
{
    if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight() ||
        a.GetPixelFormat() != b.GetPixelFormat())
        return false;
    const size_t row = size_t(a.GetWidth()) * (a.GetPixelFormat() == B8G8R8A8 ? 4 : 3);
    for (int y = 0; y < a.GetHeight(); ++y)
        if (memcmp(a.GetRow(y), b.GetRow(y), row) != 0)
            return false;
    return true;
}

// Mean of a channel (0 blue, 1 green, 2 red) of a B8G8R8A8 picture.
inline double MeanChannel(const LImageBuffer& image, int channel)
{
    double sum = 0;
    for (int y = 0; y < image.GetHeight(); ++y)
        for (int x = 0; x < image.GetWidth(); ++x)
            sum += image.GetRow(y)[4 * x + channel];
    return sum / (double(image.GetWidth()) * image.GetHeight());
}

class RecordingProcess : public LProcessInterfaceVoid
{
public:
    bool IsToStop() override { return fnStop ? fnStop() : false; }
    void SetError(const char* text) override { vErrors.emplace_back(text ? text : ""); }
    void SetStatus(const char* text, int line) override
    {
        szStatus[line & 1] = text ? text : "";
        if (fnStatus)
            fnStatus(szStatus[line & 1], line);
    }
    void SetProgress(double f) override
    {
        vProgress.push_back(f);
        if (fnProgress)
            fnProgress(f);
    }

    std::vector<std::string> vErrors;
    std::string szStatus[2];
    std::vector<double> vProgress;
    std::function<bool()> fnStop;
    std::function<void(double)> fnProgress;
    std::function<void(const std::string&, int)> fnStatus;
};

// The catalogue's batch effects on a state, and a way to add one with values by property name.
class BatchStateFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        catalogue.Register();
        QDBatchStateInitFromCatalogue(state, catalogue);
    }
    QDImagePipelineElement* AddEffect(const char* type,
                                      std::vector<std::pair<const char*, double>> values = {})
    {
        QDEffectFactory* f = state.FindAvailableEffect(type);
        EXPECT_NE(f, nullptr) << type;
        if (!f)
            return nullptr;
        QDImagePipelineElement* e = f->CreateLayer();
        auto* w = dynamic_cast<QDWrappedPropertiesElement*>(e);
        for (const auto& [name, value] : values)
        {
            const long row = w ? w->GetPropertyTable().FindByName(name) : -1;
            EXPECT_GE(row, 0) << name;
            if (row >= 0)
                w->SetPropertyValue(size_t(row), value, false);
        }
        state.effects.AddTail(e);
        return e;
    }
    static double Value(QDImagePipelineElement* e, const char* name)
    {
        auto* w = dynamic_cast<QDWrappedPropertiesElement*>(e);
        const long row = w ? w->GetPropertyTable().FindByName(name) : -1;
        return row >= 0 ? w->GetPropertyValue(size_t(row)) : -1e300;
    }

    QDEffectCatalogue catalogue;
    QDBatchStateData state;
};
