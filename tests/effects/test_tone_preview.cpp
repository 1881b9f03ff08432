// What every tone effect and preset filter shares: at rest (levels 0 to 255, a straight curve, no
// exposure, no turn, no strength) it leaves every pixel alone; its preview is its full render
// reduced; and its bands give what one thread gives.

#include <cmath>
#include <memory>

#include "codecs/LImage.h"
#include "document/QDOriginalImage.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "effects_test_support.h"
#include "image/LImageTransform.h"
#include "image/LImgProBands.h"
#include "image/LImgProColorLevels.h"
#include "image/LImgProCurves.h"

namespace
{
// The Color and Filters tabs' effects of this family, and Auto Fix of the Retouch tab.
constexpr int kToneEffects[] = {6003, 6001, 6005, 6008, 6010, 6011, 6012, 6013, 6014, 6015, 6016, 6017,
                                6018, 6019, 6020, 6021, 6052, 6053, 6054, 6055, 6056, 6057, 6058, 6059};

struct Made
{
    std::unique_ptr<QDImagePipelineElement> pElement;
    QDWrappedPropertiesElement* lpWrapped;
};

Made Make(const QDEffectCatalogue& catalogue, int id)
{
    QDEffectFactory* f = catalogue.MapCommandIdToEffectFactory(id);
    EXPECT_NE(f, nullptr) << id;
    Made m;
    m.pElement.reset(f ? f->CreateLayer() : nullptr);
    m.lpWrapped = dynamic_cast<QDWrappedPropertiesElement*>(m.pElement.get());
    return m;
}

// Every property away from rest: two thirds up its range, and the examples of those held as text.
void Busy(QDWrappedPropertiesElement* e)
{
    if (!e)
        return;
    const QDPropertyTable table = e->GetPropertyTable();
    for (size_t i = 0; i < table.size(); ++i)
        if (table[i].eType != QDPropertyBool)
            e->SetPropertyValue(i, table[i].dMin + (table[i].dMax - table[i].dMin) * 2 / 3, false);
    for (const QDTextProperty& t : e->GetTextProperties())
        e->SetTextProperty(t.szName, t.szExample, false);
}

bool LoadPhoto(LImageBuffer& photo)
{
    LImageBuffer loaded;
    const std::string path = std::string(QUENDREL_SOURCE_DIR) + "/tests/data/tone/photo.png";
    if (!LImage::Load(loaded, path.c_str()) || !loaded.IsValid())
        return false;
    if (!photo.AllocateNewBuffer(LImageFormat(B8G8R8A8, loaded.GetWidth(), loaded.GetHeight())))
        return false;
    LConvertPixelFormat(photo, loaded);
    return true;
}

void Reduce(const LImageBuffer& b, LImageBuffer& out, int w, int h)
{
    LProcessInterfaceVoid silent;
    EXPECT_EQ(LImage::Resize(silent, b, out, w, h, false, LImage::ResizeNearest), 0);
}

struct Difference
{
    int iLargest = 0;
    int iPixels = 0;
};

Difference Compare(const LImageBuffer& a, const LImageBuffer& b)
{
    Difference d;
    for (int y = 0; y < a.GetHeight(); ++y)
        for (int x = 0; x < a.GetWidth(); ++x)
        {
            int most = 0;
            for (int c = 0; c < 4; ++c)
                most = std::max(most, std::abs(a.GetRow(y)[4 * x + c] - b.GetRow(y)[4 * x + c]));
            d.iLargest = std::max(d.iLargest, most);
            d.iPixels += most > 0;
        }
    return d;
}
} // namespace

TEST(QDToneEffects, AtRestEveryPixelStays)
{
    QDEffectCatalogue catalogue;
    catalogue.Register();
    // Property values that mean no change, by type key; a key's absence means its defaults do.
    const std::map<std::string, std::vector<std::pair<const char*, const char*>>> rest = {
        {"sepia", {{"strength", "0"}}},      {"grayscale", {{"strength", "0"}}},
        {"autolevels", {{"strength", "0"}}}, {"autofix", {{"strength", "0"}}},
        {"tint", {{"intensity", "0"}}},      {"gradient", {{"strength", "0"}}},
        {"levels", {{"rgb", "0/255/0.5"}}},  {"curves", {{"rgb", "0/0+255/255"}}},
    };
    for (int id : kToneEffects)
    {
        const char* key = QDEffectTypeIdentifier(id);
        SCOPED_TRACE(key);
        Made m = Make(catalogue, id);
        ASSERT_TRUE(m.pElement);
        const auto settings = rest.find(key);
        if (settings != rest.end())
            for (auto [name, value] : settings->second)
            {
                const long row = m.lpWrapped->GetPropertyTable().FindByName(name);
                if (row >= 0)
                    m.lpWrapped->SetPropertyValue(size_t(row), atof(value), false);
                else
                    EXPECT_TRUE(m.lpWrapped->SetTextProperty(name, value, false)) << name;
            }
        else if (m.lpWrapped && id >= 6052)
            m.lpWrapped->SetPropertyValue(size_t(m.lpWrapped->GetPropertyTable().FindByName("strength")), 0,
                                          false);
        if (id == 6019)
            continue; // Negative has nothing to set
        for (pixelformat_t pf : {B8G8R8A8, B8G8R8})
        {
            LImageBuffer in, out;
            MakeTestPicture(in, 17, 9, pf);
            // A gradient map makes the picture opaque even at no strength.
            if (id == 6015 && pf == B8G8R8A8)
                for (int y = 0; y < 9; ++y)
                    for (int x = 0; x < 17; ++x)
                        in.GetRow(y)[4 * x + 3] = 255;
            CopyPicture(out, in);
            RecordingProcess process;
            m.pElement->SetDimensions(LBoundingBox2T<double>(0, 0, 17, 9));
            ASSERT_EQ(m.pElement->RenderHighResImage(process, out), 0);
            EXPECT_TRUE(SamePixels(out, in)) << "format " << pf;
        }
    }
}

// The preview renders the same algorithm on the original's nearest-neighbour reduction, so for an
// effect that looks at each pixel alone the preview is exactly the reduction of the full render:
// tolerance 0. Three kinds differ, by amounts measured on this photo at a quarter of its size:
// - the vignettes of Sunglow and Orchid Light weigh a preview pixel at its own centre, up to half
//   a preview pixel from the full-size pixel the reduction picked: 2 levels per channel, allowed 2;
// - Auto Levels finds its clip points in the preview's own histograms, a bin or so off the full
//   picture's: 2 levels measured, 3 allowed;
// - Auto Fix adds its equalisation's histogram and a sharpening of radius 1, which at a quarter
//   of the size reaches four times as far into the picture: 16 levels measured at edges, 20
//   allowed.
TEST(QDToneEffects, PreviewIsTheFullRenderReduced)
{
    LImageBuffer photo;
    ASSERT_TRUE(LoadPhoto(photo));
    const int w = photo.GetWidth(), h = photo.GetHeight();
    const int lw = QDOriginalImage::LowResSize(w, 0.25f), lh = QDOriginalImage::LowResSize(h, 0.25f);
    const std::map<int, int> tolerance = {{6056, 2}, {6058, 2}, {6011, 3}, {6012, 20}};
    QDEffectCatalogue catalogue;
    catalogue.Register();
    for (int id : kToneEffects)
    {
        SCOPED_TRACE(QDEffectTypeIdentifier(id));
        Made m = Make(catalogue, id);
        ASSERT_TRUE(m.pElement);
        Busy(m.lpWrapped);
        m.pElement->SetDimensions(LBoundingBox2T<double>(0, 0, w, h));
        LImageBuffer full, low;
        CopyPicture(full, photo);
        LProcessInterfaceVoid silent;
        ASSERT_EQ(m.pElement->RenderHighResImage(silent, full), 0);
        LImageBuffer reduced, expected;
        Reduce(photo, reduced, lw, lh);
        ASSERT_EQ(m.pElement->RenderLowResImage(silent, reduced), 0);
        Reduce(full, expected, lw, lh);
        const Difference d = Compare(reduced, expected);
        const auto allowed = tolerance.find(id);
        EXPECT_LE(d.iLargest, allowed == tolerance.end() ? 0 : allowed->second)
            << d.iPixels << " pixels differ";
    }
}

TEST(QDToneEffects, BandsGiveWhatOneThreadGives)
{
    QDEffectCatalogue catalogue;
    catalogue.Register();
    LImageBuffer in;
    MakeTestPicture(in, 37, 203);
    for (int id : kToneEffects)
    {
        SCOPED_TRACE(QDEffectTypeIdentifier(id));
        Made m = Make(catalogue, id);
        ASSERT_TRUE(m.pElement);
        Busy(m.lpWrapped);
        m.pElement->SetDimensions(LBoundingBox2T<double>(0, 0, 37, 203));
        LImageBuffer banded, single;
        CopyPicture(banded, in);
        CopyPicture(single, in);
        LProcessInterfaceVoid silent;
        LImgProSetThreadCount(4);
        ASSERT_EQ(m.pElement->RenderHighResImage(silent, banded), 0);
        LImgProSetThreadCount(1);
        ASSERT_EQ(m.pElement->RenderHighResImage(silent, single), 0);
        LImgProSetThreadCount(0);
        EXPECT_TRUE(SamePixels(banded, single));
        // A stop before the first row leaves with 1.
        RecordingProcess stopped;
        stopped.bStop = true;
        EXPECT_EQ(m.pElement->RenderHighResImage(stopped, banded), 1);
    }
}
