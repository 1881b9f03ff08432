// The project file: what a save lays down, what a load brings back, the frozen files of
// tests/data/project (written from the format's description by make_fixtures.py, not by this
// program) that must keep loading, refusals of damaged files, saves that fail without touching the
// old file, and the recovery file.

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

#include "doc_test_support.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"
#include "document/QDProjectFile.h"
#include "effects/QDEffectBlur.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectNoise.h"
#include "effects/QDEffectSharpen.h"

namespace
{
std::vector<uint8_t> ReadFile(const std::string& path)
{
    std::ifstream f(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(f), {});
}

std::string Fixture(const char* name)
{
    return std::string(QUENDREL_SOURCE_DIR) + "/tests/data/project/" + name;
}

class KeepError : public LProcessInterfaceVoid
{
public:
    void SetError(const char* text) override { szError = text; }
    std::string szError;
};

class StoppedProcess : public LProcessInterfaceVoid
{
public:
    bool IsToStop() override { return true; }
};

// An element whose save fails half-way, after its type key is out.
class FailingElement : public QDImagePipelineElement
{
public:
    const char* GetName() const override { return "Failing"; }
    LProcessResult SDFWriteElement(LProcessInterface& process, LSDFFileWriter& writer) override
    {
        QDImagePipelineElement::SDFWriteElement(process, writer);
        process.SetError("failed on purpose");
        return LProcessResultFailed;
    }
};

class ProjectFileTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        catalogue.Register();
        szFolder = gTestRoot + "/" + ::testing::UnitTest::GetInstance()->current_test_info()->name();
        std::filesystem::create_directories(szFolder);
    }
    std::string Path(const char* name) const { return szFolder + "/" + name; }
    LProcessResult Load(QDProject& project, const std::string& path, KeepError* process = nullptr)
    {
        KeepError local;
        return QDProjectFileLoad(process ? *process : local, project, nullptr, path.c_str(),
                                 catalogue.lFactories);
    }
    // The type keys of a project's elements, in order.
    static std::vector<std::string> Types(const QDProject& project)
    {
        std::vector<std::string> types;
        for (QDImagePipelineElement* e = project.pipeline.GetFirstElement(); e; e = e->GetNextItem())
            types.push_back(e->GetTypeIdentifier());
        return types;
    }
    template <class T>
    static T* At(const QDProject& project, size_t index)
    {
        return dynamic_cast<T*>(project.pipeline.GetElement(index));
    }
    std::vector<std::string> FolderEntries() const
    {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(szFolder))
            names.push_back(e.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    QDEffectCatalogue catalogue;
    std::string szFolder;
};

void ExpectPixels(const QDProject& project, const LImageBuffer& expected)
{
    auto* original = dynamic_cast<QDOriginalImage*>(project.GetOriginalImage());
    ASSERT_NE(original, nullptr);
    LImageBuffer source;
    ASSERT_TRUE(LQDCacheLoadImage(source, original->iSourceCacheId));
    EXPECT_EQ(Differences(source, expected), 0);
}
} // namespace

TEST_F(ProjectFileTest, EmptyProjectHoldsTheBackgroundAndAnEmptyPipeline)
{
    QDProject project(10, 10);
    project.crBackground = LGuiColorAlpha(0x1200, 0x34FF, 0xFF00, 0.5f);
    KeepError process;
    ASSERT_EQ(QDProjectFileSave(process, project, Path("e.qdj").c_str()), 0);
    const std::vector<uint8_t> file = ReadFile(Path("e.qdj"));
    LSDFMemoryStream s;
    s.SetBuffer(file.data(), file.size());
    LSDFMemoryReader r;
    ASSERT_TRUE(r.Open(s, 2));
    std::vector<std::pair<int, int32_t>> chunks;
    for (LSDFMemoryChunkIterator it(r); it.IsValid(); it.Next())
    {
        int32_t v = -1;
        if (it->IsContainer())
            v = int32_t(it->iSize);
        else
            it->ReadInt(v);
        chunks.push_back({it->iId, v});
    }
    // High bytes of the channels, alpha as 0..255, and chunk 4 with no data.
    EXPECT_EQ(chunks,
              (std::vector<std::pair<int, int32_t>>{{9, 0x12}, {10, 0x34}, {11, 0xFF}, {139, 128}, {4, 0}}));
    EXPECT_TRUE(r.Close());
}

TEST_F(ProjectFileTest, RoundTripsElementsPropertiesPixelsAndBackground)
{
    LImageBuffer pattern;
    MakePattern(pattern, 7, 5);
    QDProject project(7, 5);
    QDOriginalImageFactory::CreateLayer(project, pattern, false, false, nullptr);
    auto* blur = static_cast<QDEffectBlur*>(
        catalogue.MapTypeIdToEffectFactory("blur")->CreateLayer(project, nullptr, true));
    blur->SetProperties({33.25, QDEffectBlur::Spin}, true);
    auto* sharpen = static_cast<QDEffectSharpen*>(
        catalogue.MapTypeIdToEffectFactory("sharpen")->CreateLayer(project, nullptr, true));
    sharpen->SetProperties({false, 7, 11, 2.75, 3.5}, true);
    auto* noise = static_cast<QDEffectNoise*>(
        catalogue.MapTypeIdToEffectFactory("noise")->CreateLayer(project, nullptr, true));
    noise->SetProperties({0.125f, 0.875f, 5, 4}, true);
    noise->bVisible = false;
    project.crBackground = LGuiColorAlpha(100 << 8, 150 << 8, 200 << 8, 0.6f);
    KeepError process;
    ASSERT_EQ(QDProjectFileSave(process, project, Path("p.qdj").c_str()), 0);

    QDProject loaded(1024, 768);
    ASSERT_EQ(Load(loaded, Path("p.qdj")), 0);
    EXPECT_EQ(Types(loaded), (std::vector<std::string>{"original_image", "blur", "sharpen", "noise"}));
    // Visibility isn't stored: everything comes back shown.
    EXPECT_EQ(loaded.GetNumVisibleElements(), 4u);
    EXPECT_EQ(At<QDEffectBlur>(loaded, 1)->GetProperties(), blur->GetProperties());
    EXPECT_EQ(At<QDEffectSharpen>(loaded, 2)->GetProperties(), sharpen->GetProperties());
    // The patch and search radii aren't in the file.
    EXPECT_EQ(At<QDEffectNoise>(loaded, 3)->GetProperties(),
              (QDEffectNoiseProperties{0.125f, 0.875f, 3, 10}));
    // A load registers what it loaded: nothing to undo.
    EXPECT_EQ(loaded.undoStack.GetNumItems(), 0u);
    EXPECT_EQ(At<QDEffectBlur>(loaded, 1)->GetRegisteredProperties(), blur->GetProperties());
    ExpectPixels(loaded, pattern);
    EXPECT_EQ(loaded.viewport.GetBounds(), LBoundingBox2T<double>(0, 0, 7, 5));
    EXPECT_EQ(loaded.crBackground.red, 100 << 8);
    EXPECT_EQ(loaded.crBackground.blue, 200 << 8);
    EXPECT_FLOAT_EQ(loaded.crBackground.alpha, 153 / 255.0f);
}

TEST_F(ProjectFileTest, FrozenFilesKeepLoading)
{
    {
        QDProject p(1024, 768);
        ASSERT_EQ(Load(p, Fixture("effects.qdj")), 0);
        EXPECT_EQ(Types(p),
                  (std::vector<std::string>{"original_image", "blur", "sharpen", "noise", "focusfix"}));
        EXPECT_EQ(At<QDEffectBlur>(p, 1)->GetProperties(), (QDEffectBlurProperties{7.5, QDEffectBlur::Zoom}));
        EXPECT_EQ(At<QDEffectSharpen>(p, 2)->GetProperties(),
                  (QDEffectSharpenProperties{false, 30, 9, 2.5, 1.5}));
        EXPECT_EQ(At<QDEffectNoise>(p, 3)->GetProperties(), (QDEffectNoiseProperties{0.25f, 0.75f, 3, 10}));
        // Chunks the file lacks keep their defaults.
        EXPECT_EQ(At<QDEffectSharpen>(p, 4)->GetProperties(),
                  (QDEffectSharpenProperties{false, 80, 5, 5.0, 1.0}));
        EXPECT_EQ(p.crBackground.green, 20 << 8);
        LImageBuffer expected;
        LImage::New(expected, 3, 2);
        const uint32_t px[6] = {Bgra(0, 0, 255, 255),  Bgra(0, 255, 0, 255),    Bgra(255, 0, 0, 255),
                                Bgra(30, 20, 10, 255), Bgra(50, 100, 200, 255), Bgra(255, 255, 255, 255)};
        for (int i = 0; i < 6; ++i)
            PixelAt(expected, i % 3, i / 3) = px[i];
        ExpectPixels(p, expected);
    }
    {
        // Chunks of a later version, wherever they stand, are passed over.
        QDProject p(1024, 768);
        ASSERT_EQ(Load(p, Fixture("later_chunks.qdj")), 0);
        EXPECT_EQ(Types(p), (std::vector<std::string>{"original_image", "blur"}));
        EXPECT_EQ(At<QDEffectBlur>(p, 1)->GetProperties(), (QDEffectBlurProperties{12.0, 0}));
        EXPECT_EQ(p.crBackground.alpha, 0.0f);
    }
    {
        QDProject p(1024, 768);
        ASSERT_EQ(Load(p, Fixture("empty.qdj")), 0);
        EXPECT_EQ(p.GetNumElements(), 0u);
        EXPECT_EQ(p.crBackground.red, 255 << 8);
        EXPECT_EQ(p.crBackground.alpha, 1.0f);
    }
    {
        // An element of an unknown type ends the load; what came before it stays.
        QDProject p(1024, 768);
        KeepError process;
        EXPECT_EQ(Load(p, Fixture("unknown_element.qdj"), &process), 2);
        EXPECT_EQ(Types(p), (std::vector<std::string>{"original_image", "blur"}));
        EXPECT_NE(process.szError.find("future_effect"), std::string::npos) << process.szError;
    }
}

TEST_F(ProjectFileTest, RefusesWhatIsNoSoundProjectFile)
{
    const std::vector<uint8_t> good = ReadFile(Fixture("effects.qdj"));
    auto load = [&](const std::vector<uint8_t>& bytes, std::string* message = nullptr)
    {
        QDProject p(1024, 768);
        KeepError process;
        const LProcessResult r =
            QDProjectFileLoadMemory(process, p, nullptr, bytes.data(), bytes.size(), catalogue.lFactories);
        if (message)
            *message = process.szError;
        if (r == LProcessResultFailed)
        {
            EXPECT_FALSE(process.szError.empty());
        }
        return r;
    };
    std::string message;
    std::vector<uint8_t> f = good;
    f[4] = 2;
    EXPECT_EQ(load(f, &message), 2);
    EXPECT_EQ(message, "The project file was made by a newer version.");
    f = good;
    f[6] = 3;
    EXPECT_EQ(load(f, &message), 2);
    EXPECT_EQ(message, "The file is not a project file.");
    // Only the trailing magic missing: the contents load before the failure is seen.
    f.assign(good.begin(), good.end() - 4);
    {
        QDProject p(1024, 768);
        KeepError process;
        EXPECT_EQ(QDProjectFileLoadMemory(process, p, nullptr, f.data(), f.size(), catalogue.lFactories), 2);
        EXPECT_EQ(p.GetNumElements(), 5u);
    }
    for (size_t n = 0; n + 4 < good.size(); ++n)
        EXPECT_EQ(load(std::vector<uint8_t>(good.begin(), good.begin() + long(n))), 2) << n;
    // Any flip: a result, never a crash (AddressSanitizer watches the reads).
    for (size_t i = 0; i < good.size(); ++i)
    {
        f = good;
        f[i] ^= uint8_t(0x81 >> (i % 8));
        const LProcessResult r = load(f);
        EXPECT_TRUE(r == 0 || r == 2) << i;
    }
    // Nesting far deeper than any file the program writes.
    LOutputStream<LOutputStreamByteArray> deep;
    LSDFWriter<LOutputStream<LOutputStreamByteArray>> w;
    w.Open(deep, 2, 0);
    for (int i = 0; i < 40; ++i)
        w.StartContainer(4);
    for (int i = 0; i < 40; ++i)
        w.EndContainer(4);
    ASSERT_TRUE(w.Close());
    EXPECT_EQ(load(deep.GetArray(), &message), 2);
    EXPECT_EQ(message, "The project file is damaged.");

    KeepError process;
    QDProject p(1024, 768);
    EXPECT_EQ(QDProjectFileLoad(process, p, nullptr, Path("none.qdj").c_str(), catalogue.lFactories), 2);
    EXPECT_EQ(process.szError, "The file could not be found.");
}

TEST_F(ProjectFileTest, AnEmbeddedPictureMustFitItsBytes)
{
    const std::vector<uint8_t> file = ReadFile(Fixture("effects.qdj"));
    const uint8_t sig[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    const auto at = std::search(file.begin(), file.end(), sig, sig + 8);
    ASSERT_NE(at, file.end());
    std::vector<uint8_t> png(at, at + 70);
    EXPECT_TRUE(QDProjectFilePngIsPlausible(png.data(), png.size()));
    // The same few bytes claiming 60000 x 60000 pixels would need a 10 GB picture.
    png[17] = 0xEA, png[18] = 0x60, png[19] = 0x00, png[21] = 0xEA, png[22] = 0x60, png[23] = 0x00;
    EXPECT_FALSE(QDProjectFilePngIsPlausible(png.data(), png.size()));
    EXPECT_FALSE(QDProjectFilePngIsPlausible(png.data(), 20));
}

TEST_F(ProjectFileTest, AFailedSaveLeavesTheOldFileByteForByte)
{
    LImageBuffer pattern;
    MakePattern(pattern, 4, 4);
    QDProject project(4, 4);
    QDOriginalImageFactory::CreateLayer(project, pattern, false, false, nullptr);
    const std::string path = Path("keep.qdj");
    KeepError process;
    ASSERT_EQ(QDProjectFileSave(process, project, path.c_str()), 0);
    const std::vector<uint8_t> before = ReadFile(path);
    const std::vector<std::string> entries = FolderEntries();
    // A new file takes the user's umask; this one was made under the test's.
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    const mode_t mask = umask(0);
    umask(mask);
    EXPECT_EQ(st.st_mode & 0777, 0666 & ~mask);

    project.AddPipelineElement(new FailingElement, false);
    EXPECT_EQ(QDProjectFileSave(process, project, path.c_str()), 2);
    EXPECT_EQ(process.szError, "failed on purpose");
    StoppedProcess stopped;
    EXPECT_EQ(QDProjectFileSave(stopped, project, path.c_str()), 1);
    EXPECT_EQ(ReadFile(path), before);
    EXPECT_EQ(FolderEntries(), entries) << "no temporary file is left behind";

    EXPECT_EQ(QDProjectFileSave(process, project, szFolder.c_str()), 2) << "a folder is never replaced";
    EXPECT_EQ(QDProjectFileSave(process, project, Path("no/such/folder/p.qdj").c_str()), 2);
    EXPECT_EQ(process.szError, "The file could not be opened.");
}

TEST_F(ProjectFileTest, SavingThroughALinkReplacesItsTarget)
{
    QDProject project(2, 2);
    KeepError process;
    const std::string target = Path("target.qdj"), link = Path("link.qdj");
    ASSERT_EQ(QDProjectFileSave(process, project, target.c_str()), 0);
    chmod(target.c_str(), 0640);
    ASSERT_EQ(symlink(target.c_str(), link.c_str()), 0);
    project.crBackground = LGuiColorAlpha(0x4000, 0, 0, 1.0f);
    ASSERT_EQ(QDProjectFileSave(process, project, link.c_str()), 0);
    struct stat st;
    ASSERT_EQ(lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    ASSERT_EQ(stat(target.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u) << "a replaced file keeps its mode";
    QDProject loaded(1, 1);
    ASSERT_EQ(Load(loaded, target), 0);
    EXPECT_EQ(loaded.crBackground.red, 0x4000);
}

TEST_F(ProjectFileTest, RecoveryFileFollowsTheSavedState)
{
    LImageBuffer pattern;
    MakePattern(pattern, 5, 3);
    std::string path;
    {
        QDProject project(5, 3);
        auto* original = QDOriginalImageFactory::CreateLayer(project, pattern, false, false, nullptr);
        catalogue.MapTypeIdToEffectFactory("blur")->CreateLayer(project, nullptr, true);
        ASSERT_TRUE(QDProjectFileGetRecoveryPath(project, path));
        ASSERT_TRUE(QDProjectFileSaveRecovery(project));
        struct stat st;
        ASSERT_EQ(stat(path.c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0600u);
        QDProject recovered(1, 1);
        ASSERT_EQ(Load(recovered, path), 0);
        EXPECT_EQ(Types(recovered), (std::vector<std::string>{"original_image", "blur"}));

        // The source is encoded once and shared until its pixels change.
        LProcessInterfaceVoid silent;
        const auto png = original->GetEncodedSource(silent);
        EXPECT_EQ(original->GetEncodedSource(silent), png);
        original->SourceChanged();
        EXPECT_NE(original->GetEncodedSource(silent), png);
        // A loaded original keeps the file's own bytes.
        auto* again = dynamic_cast<QDOriginalImage*>(recovered.GetOriginalImage());
        EXPECT_EQ(*again->GetEncodedSource(silent), *png);

        // Saved under a name: the file goes; unsaved again: it comes back.
        project.undoStack.MarkCurrentStateAsSaved();
        strcpy(project.szName, "p.jpg");
        ASSERT_TRUE(QDProjectFileSaveRecovery(project));
        EXPECT_FALSE(std::filesystem::exists(path));
        project.szName[0] = 0;
        ASSERT_TRUE(QDProjectFileSaveRecovery(project));
        EXPECT_TRUE(std::filesystem::exists(path));
    }
    EXPECT_FALSE(std::filesystem::exists(path)) << "a clean close deletes it";
}

TEST_F(ProjectFileTest, ColourAndCircleHelpersUseTheirFixedIds)
{
    const std::string path = Path("helpers.sdf");
    KeepError process;
    LGuiColor colour;
    colour.red = 0x12FF, colour.green = 0x3400, colour.blue = 0xFF00;
    ASSERT_EQ(QDSDFFileSave(process, path.c_str(), 2, 0,
                            [&](LSDFFileWriter& w)
                            {
                                const bool ok =
                                    QDProjectFileWriteColor(w, 8, colour) && w.StartContainer(20) &&
                                    QDProjectFileWriteCircle(w, 1.5, -2.25, 7.0) && w.EndContainer(20);
                                return ok ? LProcessResultSuccess : LProcessResultFailed;
                            }),
              0);
    std::vector<uint16_t> circleIds;
    LGuiColor read;
    double x = 0, y = 0, radius = 0;
    ASSERT_EQ(QDSDFFileLoad(process, path.c_str(), 2,
                            [&](LSDFMemoryReader& r)
                            {
                                for (LSDFMemoryChunkIterator it(r); it.IsValid(); it.Next())
                                    if (it->iId == 8)
                                        QDProjectFileLoadColor(r, it.Get(), read);
                                    else if (it->iId == 20)
                                    {
                                        for (LSDFMemoryChunkIterator c(r, it.Get()); c.IsValid(); c.Next())
                                            circleIds.push_back(c->iId);
                                        QDProjectFileLoadCircle(r, it.Get(), x, y, radius);
                                    }
                                return LProcessResultSuccess;
                            }),
              0);
    // Only the high bytes travel, and come back multiplied by 256.
    EXPECT_EQ(read.red, 0x1200);
    EXPECT_EQ(read.green, 0x3400);
    EXPECT_EQ(read.blue, 0xFF00);
    EXPECT_EQ(circleIds, (std::vector<uint16_t>{19, 15, 14}));
    EXPECT_EQ(x, 1.5);
    EXPECT_EQ(y, -2.25);
    EXPECT_EQ(radius, 7.0);
}
