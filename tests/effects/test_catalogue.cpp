// The catalogue and the walk over it. The walk is driven by the table: every row whose element
// exists must make it, keep its defaults and values through a project file, render odd sizes in
// both pixel formats, and fit the one namespace of chunk ids. An effect added later without that
// fails here.

#include <cmath>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <set>

#include "document/QDOriginalImage.h"
#include "document/QDProject.h"
#include "document/QDProjectFile.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectCategory.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "effects_test_support.h"

namespace
{
// A value of the row away from its default, inside the range.
double OtherValue(const QDPropertyDesc& row)
{
    if (row.eType == QDPropertyBool)
        return row.dDefault != 0 ? 0.0 : 1.0;
    if (row.eType == QDPropertyInt)
    {
        // Whole numbers are often sizes in pixels; a third of their range would make pictures far
        // too big for a walk over every effect.
        const double v = std::round(row.dDefault + std::min((row.dMax - row.dMin) / 3, 40.0));
        return v > row.dMax ? row.dMin : v;
    }
    double v = row.dDefault + (row.dMax - row.dMin) / 3;
    if (v > row.dMax)
        v = row.dMin;
    v += 0.125; // not a round value, so a float64 saved as a float shows
    return std::min(v, row.dMax);
}

std::unique_ptr<QDImagePipelineElement> Make(const QDEffectFactory& f)
{
    return std::unique_ptr<QDImagePipelineElement>(f.CreateLayer());
}
} // namespace

TEST(QDEffectCatalogue, HoldsEveryCommandOnceWithConsistentColumns)
{
    const auto rows = QDEffectCatalogueRows();
    ASSERT_EQ(rows.size(), 62u);
    std::set<int> ids;
    std::set<std::string> keys;
    for (const QDEffectCatalogueRow& row : rows)
    {
        ids.insert(row.iCommandId);
        EXPECT_TRUE(keys.insert(row.szTypeIdentifier).second) << row.szTypeIdentifier;
        // The batch flag and the batch order name the same rows.
        EXPECT_EQ(row.bBatch,
                  std::count(std::begin(kQDBatchOrder), std::end(kQDBatchOrder), row.iCommandId) == 1)
            << row.iCommandId;
    }
    EXPECT_EQ(*ids.begin(), 6000);
    EXPECT_EQ(*ids.rbegin(), 6061);
    EXPECT_EQ(ids.size(), 62u);
    ASSERT_NE(QDEffectCatalogueFindType("simple rotate"), nullptr);
    EXPECT_EQ(QDEffectCatalogueFindType("simple rotate")->iCommandId, 6031);
    EXPECT_EQ(QDEffectCatalogueFindType("simplerotate"), nullptr);
    // Every toolbar item is a catalogue row, a separator or an application command.
    for (const QDToolbarTab& tab : QDEffectToolbarTabs())
        for (int id : tab.items)
            EXPECT_TRUE(id == 0 || id < 6000 || QDEffectCatalogueFind(id)) << tab.szName << " " << id;
    EXPECT_STREQ(QDEffectCatalogueFind(6026)->GetToolbarLabel(), "Paint by #");
    EXPECT_EQ(QDEffectCatalogueFind(6042)->GetToolbarIconId(), 684);
    EXPECT_EQ(QDEffectCatalogueFind(6022)->GetToolbarIconId(), 640);
}

TEST(QDEffectCatalogue, RegistersFactoriesInRowOrder)
{
    QDEffectCatalogue catalogue;
    catalogue.Register();
    catalogue.Register();
    const QDEffectCatalogueRow* last = nullptr;
    size_t count = 0;
    for (QDEffectFactory* f = catalogue.lFactories.GetFirst(); f; f = f->GetNextItem(), ++count)
    {
        const QDEffectCatalogueRow* row = QDEffectCatalogueFind(f->iCommandId);
        ASSERT_NE(row, nullptr);
        EXPECT_TRUE(row->fnCreateFactory);
        EXPECT_STREQ(f->szTypeIdentifier, row->szTypeIdentifier);
        EXPECT_STREQ(f->szName, row->szName);
        EXPECT_EQ(f->sIconId, row->sIconId);
        EXPECT_TRUE(!last || last < row) << "row order";
        last = row;
    }
    size_t withFactory = 0;
    for (const QDEffectCatalogueRow& row : QDEffectCatalogueRows())
        withFactory += row.fnCreateFactory != nullptr;
    EXPECT_EQ(count, withFactory);
    EXPECT_EQ(catalogue.arSpecialFactories[0], catalogue.MapCommandIdToEffectFactory(6035));
    ASSERT_TRUE(catalogue.arSpecialFactories[0]);
    EXPECT_EQ(catalogue.MapTypeIdToEffectFactory("original_image"), catalogue.arSpecialFactories[0]);
    EXPECT_EQ(catalogue.MapTypeIdToEffectFactory("Blur"), nullptr) << "type keys compare exactly";
    // The batch list follows the offering order, whatever the row order.
    std::vector<int> batch;
    for (QDEffectFactory* f : catalogue.vBatchFactories)
        batch.push_back(f->iCommandId);
    std::vector<int> expected;
    for (int id : kQDBatchOrder)
        if (catalogue.MapCommandIdToEffectFactory(id))
            expected.push_back(id);
    EXPECT_EQ(batch, expected);
}

TEST(QDEffectCatalogue, EveryAvailableEffectWalksThrough)
{
    QDEffectCatalogue catalogue;
    catalogue.Register();
    for (QDEffectFactory* f = catalogue.lFactories.GetFirst(); f; f = f->GetNextItem())
    {
        SCOPED_TRACE(f->szTypeIdentifier);
        const QDEffectCatalogueRow& row = *QDEffectCatalogueFind(f->iCommandId);
        auto element = Make(*f);
        ASSERT_TRUE(element);
        EXPECT_STREQ(element->GetTypeIdentifier(), row.szTypeIdentifier);
        EXPECT_STREQ(element->GetName(), row.GetElementName());
        // A base element needs a picture of its own; the project file tests carry it.
        if (element->bBaseElement)
            continue;
        auto* wrapped = dynamic_cast<QDWrappedPropertiesElement*>(element.get());
        const QDPropertyTable table = wrapped ? wrapped->GetPropertyTable() : QDPropertyTable();
        std::set<std::string> names;
        for (size_t i = 0; i < table.size(); ++i)
        {
            const QDPropertyDesc& d = table[i];
            EXPECT_TRUE(names.insert(d.szName).second) << d.szName;
            for (const char* c = d.szName; *c; ++c)
                EXPECT_TRUE(islower(*c) || isdigit(*c)) << d.szName;
            EXPECT_LE(d.dMin, d.dDefault);
            EXPECT_GE(d.dMax, d.dDefault);
            EXPECT_NEAR(wrapped->GetPropertyValue(i), d.dDefault, 1e-6 * std::max(1.0, std::fabs(d.dDefault)))
                << d.szName;
        }
        EXPECT_TRUE(wrapped == nullptr || wrapped->IsAtDefaults());

        // Defaults in one element, other values in a second, through a project file.
        LImageBuffer picture;
        MakeTestPicture(picture, 7, 5);
        QDProject project(7, 5);
        QDOriginalImageFactory::CreateLayer(project, picture, false, false, nullptr);
        auto* atDefaults = dynamic_cast<QDWrappedPropertiesElement*>(f->CreateLayer(project, nullptr, false));
        auto* changed = dynamic_cast<QDWrappedPropertiesElement*>(f->CreateLayer(project, nullptr, false));
        for (size_t i = 0; changed && i < table.size(); ++i)
            changed->SetPropertyValue(i, OtherValue(table[i]), true);
        // Properties held as text take their example, which differs from the default.
        const auto texts = wrapped ? wrapped->GetTextProperties() : std::span<const QDTextProperty>();
        for (const QDTextProperty& t : texts)
        {
            EXPECT_NE(changed->GetTextProperty(t.szName), t.szExample) << t.szName;
            EXPECT_TRUE(changed->SetTextProperty(t.szName, t.szExample, true)) << t.szName;
            EXPECT_EQ(changed->GetTextProperty(t.szName), t.szExample) << t.szName;
        }
        const std::string path = gEffectsTestRoot + "/walk.qdj";
        LProcessInterfaceVoid silent;
        ASSERT_EQ(QDProjectFileSave(silent, project, path.c_str()), 0);
        QDProject loaded(1, 1);
        ASSERT_EQ(QDProjectFileLoad(silent, loaded, nullptr, path.c_str(), catalogue.lFactories), 0);
        ASSERT_EQ(loaded.GetNumElements(), 3u);
        auto* loadedDefaults = dynamic_cast<QDWrappedPropertiesElement*>(loaded.pipeline.GetElement(1));
        auto* loadedChanged = dynamic_cast<QDWrappedPropertiesElement*>(loaded.pipeline.GetElement(2));
        ASSERT_EQ(loadedDefaults != nullptr, atDefaults != nullptr);
        for (size_t i = 0; loadedDefaults && i < table.size(); ++i)
        {
            EXPECT_EQ(loadedDefaults->GetPropertyValue(i), atDefaults->GetPropertyValue(i))
                << table[i].szName;
            const double expected =
                table[i].bSaved ? changed->GetPropertyValue(i) : atDefaults->GetPropertyValue(i);
            EXPECT_EQ(loadedChanged->GetPropertyValue(i), expected) << table[i].szName;
        }
        for (const QDTextProperty& t : texts)
        {
            EXPECT_EQ(loadedDefaults->GetTextProperty(t.szName), atDefaults->GetTextProperty(t.szName));
            EXPECT_EQ(loadedChanged->GetTextProperty(t.szName), t.szExample) << t.szName;
        }

        // Renders at both resolutions, odd sizes and a single pixel, 24 and 32 bits. Brightness
        // and Contrast at 0 return at once, without a word of progress.
        const bool quietAtRest = f->iCommandId == 6003 || f->iCommandId == 6005;
        for (QDImagePipelineElement* e : {loaded.pipeline.GetElement(1), loaded.pipeline.GetElement(2)})
            for (pixelformat_t pf : {B8G8R8A8, B8G8R8})
                for (auto [w, h] : {std::pair{1, 1}, std::pair{7, 5}, std::pair{3, 17}})
                {
                    SCOPED_TRACE(testing::Message() << w << "x" << h << " pf " << pf);
                    e->SetDimensions(LBoundingBox2T<double>(0, 0, w * 2, h * 2));
                    LImageBuffer buffer;
                    MakeTestPicture(buffer, w, h, pf);
                    RecordingProcess process;
                    EXPECT_EQ(e->RenderLowResImage(process, buffer), 0) << process.szError;
                    EXPECT_TRUE(buffer.IsValid());
                    MakeTestPicture(buffer, w, h, pf);
                    e->SetDimensions(LBoundingBox2T<double>(0, 0, w, h));
                    EXPECT_EQ(e->RenderHighResImage(process, buffer), 0) << process.szError;
                    EXPECT_TRUE(buffer.IsValid());
                    EXPECT_EQ(process.dProgress,
                              quietAtRest && e == loaded.pipeline.GetElement(1) ? -1.0 : 1.0);
                }
    }
}

// Chunk ids are one namespace: an id means the same kind of value wherever it stands. Where the
// file format itself gives an id two types, each element reads it by its own table, and the pair is
// listed here.
TEST(QDEffectCatalogue, ChunkIdsKeepOneMeaning)
{
    const std::map<uint16_t, std::set<uint16_t>> formatClashes = {
        {5, {LSDFTypeFloat, LSDFTypeFloat64}}, // a strength: float in Grayscale, float64 elsewhere
        {9, {LSDFTypeInt, LSDFTypeFloat}},     // red: int in a colour, float in Color Balance
        {10, {LSDFTypeInt, LSDFTypeFloat}},    // green, likewise
        {11, {LSDFTypeInt, LSDFTypeFloat}},    // blue, likewise
        {14, {LSDFTypeInt, LSDFTypeFloat64}},  // x: int in curve points, the radius (float64) of a circle
        {15, {LSDFTypeInt, LSDFTypeFloat64}},  // y: int in curve points, float64 in a circle
        {37, {LSDFTypeBool, LSDFTypeInt}},     // bool in Resize, int in Resize Simple
    };
    std::map<uint16_t, std::map<uint16_t, std::set<std::string>>> meanings;
    auto add = [&](uint16_t id, uint16_t type, const std::string& meaning)
    { meanings[id][type].insert(meaning); };
    for (auto [id, type, meaning] : std::initializer_list<std::tuple<uint16_t, uint16_t, const char*>>{
             {0, LSDFTypeContainer, "root"},
             {1, LSDFTypeContainer, "element properties"},
             {2, LSDFTypeContainer, "element"},
             {3, LSDFTypeString, "type key"},
             {4, LSDFTypeContainer, "pipeline"},
             {7, LSDFTypeBlob, "original_image PNG"},
             {9, LSDFTypeInt, "background red"},
             {10, LSDFTypeInt, "background green"},
             {11, LSDFTypeInt, "background blue"},
             {139, LSDFTypeInt, "background alpha"},
             {19, LSDFTypeFloat64, "circle x"},
             {15, LSDFTypeFloat64, "circle y"},
             {14, LSDFTypeFloat64, "circle radius"},
         })
        add(id, type, meaning);
    QDEffectCatalogue catalogue;
    catalogue.Register();
    for (QDEffectFactory* f = catalogue.lFactories.GetFirst(); f; f = f->GetNextItem())
    {
        auto element = Make(*f);
        auto* wrapped = dynamic_cast<QDWrappedPropertiesElement*>(element.get());
        if (!wrapped)
            continue;
        for (const QDPropertyDesc& d : wrapped->GetPropertyTable())
            if (d.bSaved)
                add(d.iChunkId, d.eType, std::string(f->szTypeIdentifier) + "." + d.szName);
        for (const QDChunkDeclaration& c : wrapped->GetExtraChunkDeclarations())
            add(c.iChunkId, c.iType, std::string(f->szTypeIdentifier) + "." + c.szMeaning);
    }
    for (const auto& [id, types] : meanings)
    {
        std::string line = "chunk " + std::to_string(id) + ":";
        std::set<uint16_t> kinds;
        for (const auto& [type, who] : types)
        {
            kinds.insert(type);
            line += std::string(" ") + QDPropertyTypeName(type) + " (";
            for (const std::string& w : who)
                line += (w == *who.begin() ? "" : ", ") + w;
            line += ")";
        }
        std::cout << line << "\n";
        if (kinds.size() > 1)
        {
            const auto allowed = formatClashes.find(id);
            EXPECT_TRUE(
                allowed != formatClashes.end() &&
                std::includes(allowed->second.begin(), allowed->second.end(), kinds.begin(), kinds.end()))
                << "an id with two kinds of value: " << line;
        }
    }
}

TEST(QDEffectCategory, WritesPopUpsAndWalksItsEffects)
{
    QDEffectCatalogue catalogue;
    catalogue.Register();
    QDEffectCategory empty("Nothing");
    EXPECT_EQ(empty.GetMenuItemCount(), 1u);
    EXPECT_FALSE(QDEffectCategoryEffectIterator(empty).IsValid());

    QDEffectCategory category("Detail");
    category.AddSection()->vFactories = {catalogue.MapCommandIdToEffectFactory(6022),
                                         catalogue.MapCommandIdToEffectFactory(6023)};
    category.AddSection(); // an empty section still separates
    category.AddSection()->vFactories = {catalogue.MapCommandIdToEffectFactory(6044)};
    std::vector<QDEffectMenuItem> items;
    category.GetMenuItems(items);
    std::vector<std::pair<int, std::string>> got;
    for (const QDEffectMenuItem& i : items)
        got.push_back({i.iCommandId, i.szText});
    EXPECT_EQ(got, (std::vector<std::pair<int, std::string>>{{-1, "Detail"},
                                                             {6022, "Blur"},
                                                             {6023, "Sharpen"},
                                                             {0, ""},
                                                             {0, ""},
                                                             {6044, "Noise Reduction"},
                                                             {-1, ""}}));
    EXPECT_EQ(category.GetEffectCount(), 3u);
    EXPECT_EQ(category.GetMenuItemCount(), got.size());
    std::vector<int> walked;
    for (QDEffectCategoryEffectIterator it(category); it.IsValid(); it.Next())
        walked.push_back(it->iCommandId);
    EXPECT_EQ(walked, (std::vector<int>{6022, 6023, 6044}));
}
