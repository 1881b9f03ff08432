// The preset filters: Amber against its recipe as the design gives it, every recipe's tables
// against the same chain of levels, curves and overlays run through the kernels one after the
// other, and the look of all eight on a small photo against golden pictures.
//
// Goldens: tests/data/tone/golden/<type key>.png, the filter at its defaults on
// tests/data/tone/photo.png. They are written only when QUENDREL_UPDATE_GOLDENS=1 is set, never
// because one is missing. A failure leaves <key>-actual.png, <key>-expected.png and <key>-diff.png
// (differences times 32) in the build tree's tests/golden-failures.

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>

#include "codecs/LImage.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectPresetFilters.h"
#include "effects_test_support.h"
#include "image/LImageTransform.h"
#include "image/LImgProColorLevels.h"
#include "image/LImgProColour.h"
#include "image/LImgProCurves.h"

namespace
{
constexpr int kPresets[] = {6052, 6053, 6054, 6055, 6056, 6057, 6058, 6059};

bool LoadB8G8R8A8(LImageBuffer& out, const std::string& path)
{
    LImageBuffer loaded;
    if (!LImage::Load(loaded, path.c_str()) || !loaded.IsValid())
        return false;
    if (!out.AllocateNewBuffer(LImageFormat(B8G8R8A8, loaded.GetWidth(), loaded.GetHeight())))
        return false;
    LConvertPixelFormat(out, loaded);
    return true;
}

std::string DataPath(const std::string& name)
{
    return std::string(QUENDREL_SOURCE_DIR) + "/tests/data/tone/" + name;
}

void ApplyLevels(LImageBuffer& b, const LColorLevelSettings (&s)[4])
{
    LImgProColorLevels levels(s[0], s[1], s[2], s[3]);
    ASSERT_EQ(LApplyImageProcess(b, levels), 0);
}

void ApplyCurves(LImageBuffer& b, const std::vector<std::pair<int, int>> (&points)[3])
{
    LCurveSettings channel[3];
    for (int c = 0; c < 3; ++c)
        if (!points[c].empty())
        {
            channel[c].RemoveAllPoints();
            for (auto [x, y] : points[c])
                channel[c].AddPoint(x, y);
            channel[c].UpdateCurveValues();
        }
    LImgProCurves curves(LCurveSettings(), channel[0], channel[1], channel[2]);
    LProcessInterfaceVoid silent;
    ASSERT_EQ(curves.Process(silent, b), 0);
}

void BlendBack(LImageBuffer& result, const LImageBuffer& original, float strength)
{
    for (int y = 0; y < result.GetHeight(); ++y)
        for (int x = 0; x < result.GetWidth(); ++x)
        {
            uint32_t* r = reinterpret_cast<uint32_t*>(result.GetRow(y)) + x;
            const uint32_t o = reinterpret_cast<const uint32_t*>(original.GetRow(y))[x];
            *r = ColorBlend(LPixelColour::FromUInt32(o), LPixelColour::FromUInt32(*r), strength).ToUInt32();
        }
}

// A recipe's tables as the kernels run them, one after the other on the picture.
void KernelChain(LImageBuffer& b, const QDPresetRecipe& r, float midtone)
{
    const LColorLevelSettings k{};
    if (r.bMidtoneLevels)
    {
        const LColorLevelSettings m[4] = {{0, 255, 1 - midtone, 0, 255}, k, k, k};
        ApplyLevels(b, m);
    }
    ApplyLevels(b, r.arLevels);
    std::vector<std::pair<int, int>> points[3];
    for (int c = 0; c < 3; ++c)
        for (int i = 0; i < r.arCurves[c].nPoints; ++i)
            points[c].push_back({r.arCurves[c].arX[i], r.arCurves[c].arY[i]});
    ApplyCurves(b, points);
    ApplyLevels(b, r.arLevelsAfter);
    if (r.fOverlayAmount != 0)
        for (int y = 0; y < b.GetHeight(); ++y)
            for (int x = 0; x < b.GetWidth(); ++x)
            {
                uint32_t* p = reinterpret_cast<uint32_t*>(b.GetRow(y)) + x;
                *p = ColorOverlay(LPixelColour::FromUInt32(*p), LPixelColour::FromUInt32(r.iOverlayColour),
                                  r.fOverlayAmount)
                         .ToUInt32();
            }
}

void SavePNG(const LImageBuffer& b, const std::string& path)
{
    EXPECT_TRUE(LImage::Save(b, path.c_str())) << path;
}

void ExpectGolden(const LImageBuffer& actual, const std::string& key)
{
    const std::string path = DataPath("golden/" + key + ".png");
    const char* update = getenv("QUENDREL_UPDATE_GOLDENS");
    if (update && strcmp(update, "1") == 0)
    {
        std::filesystem::create_directories(DataPath("golden"));
        SavePNG(actual, path);
        return;
    }
    LImageBuffer expected;
    ASSERT_TRUE(LoadB8G8R8A8(expected, path))
        << "no golden at " << path << "; QUENDREL_UPDATE_GOLDENS=1 writes it from this build";
    ASSERT_EQ(expected.GetWidth(), actual.GetWidth());
    ASSERT_EQ(expected.GetHeight(), actual.GetHeight());
    // The levels tables go through pow, whose last bit may differ between C libraries, which can
    // move a rounded table entry by one: 1 level, on at most 1% of the pixels.
    LImageBuffer diff;
    CopyPicture(diff, actual);
    int largest = 0, differing = 0;
    for (int y = 0; y < actual.GetHeight(); ++y)
        for (int x = 0; x < actual.GetWidth(); ++x)
        {
            int most = 0;
            for (int c = 0; c < 4; ++c)
            {
                const int d = std::abs(actual.GetRow(y)[4 * x + c] - expected.GetRow(y)[4 * x + c]);
                most = std::max(most, d);
                diff.GetRow(y)[4 * x + c] = c == 3 ? 255 : uint8_t(std::min(255, d * 32));
            }
            largest = std::max(largest, most);
            differing += most > 0;
        }
    const bool ok = largest <= 1 && differing * 100 <= actual.GetWidth() * actual.GetHeight();
    EXPECT_TRUE(ok) << key << ": largest difference " << largest << ", " << differing << " pixels differ";
    if (!ok)
    {
        const std::string folder = std::string(QUENDREL_BINARY_DIR) + "/tests/golden-failures/";
        std::filesystem::create_directories(folder);
        SavePNG(actual, folder + key + "-actual.png");
        SavePNG(expected, folder + key + "-expected.png");
        SavePNG(diff, folder + key + "-diff.png");
    }
}
} // namespace

// The design's recipe, written out here from its numbers.
TEST(QDPresetFilters, AmberIsTheDesignsRecipe)
{
    LImageBuffer photo;
    ASSERT_TRUE(LoadB8G8R8A8(photo, DataPath("photo.png")));
    for (auto [midtone, strength] : {std::pair{0.5f, 1.0f}, std::pair{0.7f, 0.6f}, std::pair{0.25f, 0.0f}})
    {
        SCOPED_TRACE(testing::Message() << midtone << " " << strength);
        LImageBuffer expected;
        CopyPicture(expected, photo);
        const LColorLevelSettings k{};
        const LColorLevelSettings first[4] = {{0, 255, 1 - midtone, 0, 255}, k, k, k};
        ApplyLevels(expected, first);
        const std::vector<std::pair<int, int>> curves[3] = {
            {{0, 43}, {53, 134}, {107, 198}, {255, 255}},
            {{0, 27}, {56, 87}, {214, 219}, {255, 219}},
            {{0, 85}, {49, 85}, {122, 100}, {201, 167}, {255, 167}},
        };
        ApplyCurves(expected, curves);
        const LColorLevelSettings last[4] = {{0, 255, 0.5130f, 0, 250}, {0, 225, 0.4920f, 0, 255}, k, k};
        ApplyLevels(expected, last);
        BlendBack(expected, photo, strength);

        QDEffectAmber amber;
        amber.InitProperties({midtone, strength});
        LImageBuffer out;
        CopyPicture(out, photo);
        RecordingProcess process;
        ASSERT_EQ(amber.RenderHighResImage(process, out), 0);
        EXPECT_TRUE(SamePixels(out, expected));
    }
}

TEST(QDPresetFilters, RecipeTablesAreTheKernelChain)
{
    LImageBuffer in;
    MakeTestPicture(in, 64, 48);
    for (int id : kPresets)
    {
        SCOPED_TRACE(QDEffectTypeIdentifier(id));
        const QDPresetRecipe* r = QDFindPresetRecipe(id);
        ASSERT_NE(r, nullptr);
        for (float midtone : {0.5f, 0.3f})
        {
            LImageBuffer chain, mapped;
            CopyPicture(chain, in);
            KernelChain(chain, *r, midtone);
            CopyPicture(mapped, in);
            LImgProChannelMap map;
            QDMakePresetMap(*r, midtone, map);
            LProcessInterfaceVoid silent;
            ASSERT_EQ(LImgProMapChannels(silent, mapped, map), 0);
            EXPECT_TRUE(SamePixels(mapped, chain));
            if (r->eStage != QDPresetTablesOnly)
                continue;
            // With nothing after the tables, the filter is the chain blended back.
            BlendBack(chain, in, 0.4f);
            LImageBuffer out;
            CopyPicture(out, in);
            ASSERT_EQ(QDRenderPresetFilter(silent, out, *r, midtone, 0.4f), 0);
            EXPECT_TRUE(SamePixels(out, chain));
        }
    }
}

TEST(QDPresetFilters, StagesOnTopOfTheTables)
{
    LImageBuffer in;
    MakeTestPicture(in, 45, 21);
    const QDPresetRecipe* boost = QDFindPresetRecipe(6052);
    ASSERT_EQ(boost->eStage, QDPresetChromaOverlay);
    LImgProChannelMap map;
    QDMakePresetMap(*boost, 0.5f, map);
    LImageBuffer out, expected;
    CopyPicture(out, in);
    CopyPicture(expected, in);
    LProcessInterfaceVoid silent;
    ASSERT_EQ(QDRenderPresetFilter(silent, out, *boost, 0.5f, 0.8f), 0);
    // Each channel of the mapped pixel overlaid by 128 plus its distance from the pixel's grey.
    for (int y = 0; y < 21; ++y)
        for (int x = 0; x < 45; ++x)
        {
            uint8_t* p = expected.GetRow(y) + 4 * x;
            const int c[3] = {map.arBlue[p[0]], map.arGreen[p[1]], map.arRed[p[2]]};
            const int grey = (c[2] * 76 + c[1] * 155 + c[0] * 25) >> 8;
            for (int k = 0; k < 3; ++k)
            {
                const int over = std::clamp(128 + int(float(c[k] - grey) * boost->fStageAmount), 0, 255);
                p[k] = ColorBlend(LPixelColour(p[k], 0, 0, 0),
                                  LPixelColour(OverlayValues(uint8_t(c[k]), uint8_t(over)), 0, 0, 0), 0.8f)
                           .b;
            }
        }
    EXPECT_TRUE(SamePixels(out, expected));
    // A grey stays grey, bar the overlay's rounding at the middle: 128/255 is a hair over half.
    for (int v = 0; v < 256; ++v)
        EXPECT_LE(std::abs(OverlayValues(uint8_t(v), 128) - v), 1) << v;

    // The vignette: the centre has the first look, the corners the second.
    const QDPresetRecipe* orchid = QDFindPresetRecipe(6058);
    ASSERT_EQ(orchid->eStage, QDPresetVignette);
    LImageBuffer flat;
    LCreateBlankImage(flat, 41, 41, LPixelColour(90, 140, 200, 255));
    ASSERT_EQ(QDRenderPresetFilter(silent, flat, *orchid, 0.5f, 1.0f), 0);
    QDMakePresetMap(*orchid, 0.5f, map);
    LImgProChannelMap edge = map;
    uint8_t t[4][256];
    for (int c = 0; c < 4; ++c)
        LImgProColorLevels::MapValues(t[c], orchid->arEdge[c]);
    edge.Then(t[1], t[2], t[3]);
    edge.Then(t[0], t[0], t[0]);
    const uint8_t* centre = flat.GetRow(20) + 4 * 20;
    const uint8_t* corner = flat.GetRow(0);
    EXPECT_EQ(std::vector<int>(centre, centre + 3),
              (std::vector<int>{map.arBlue[90], map.arGreen[140], map.arRed[200]}));
    // The corner pixel's centre lies just inside the corner: within a level of the second look.
    EXPECT_NEAR(corner[0], edge.arBlue[90], 1);
    EXPECT_NEAR(corner[1], edge.arGreen[140], 1);
    EXPECT_NEAR(corner[2], edge.arRed[200], 1);
}

TEST(QDPresetFilters, LooksOnAPhotoMatchTheirGoldens)
{
    LImageBuffer photo;
    ASSERT_TRUE(LoadB8G8R8A8(photo, DataPath("photo.png")));
    QDEffectCatalogue catalogue;
    catalogue.Register();
    for (int id : kPresets)
    {
        std::unique_ptr<QDImagePipelineElement> e(catalogue.MapCommandIdToEffectFactory(id)->CreateLayer());
        e->SetDimensions(LBoundingBox2T<double>(0, 0, photo.GetWidth(), photo.GetHeight()));
        LImageBuffer out;
        CopyPicture(out, photo);
        RecordingProcess process;
        ASSERT_EQ(e->RenderHighResImage(process, out), 0);
        ExpectGolden(out, QDEffectTypeIdentifier(id));
    }
}
