// The toolbar's effect pictures, drawn by the effects on the shipped sample: every effect of the
// Color tab has one, also those at rest by default, and a moved slider shows its own direction.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "app/QDEffectIcons.h"
#include "codecs/LImage.h"
#include "image/LConvertPixelFormat.h"
#include "effects/QDEffectCatalogue.h"

namespace
{
// Mean of the blue, green and red bytes.
double MeanLevel(const LImageBuffer& image)
{
    double sum = 0;
    for (int y = 0; y < image.GetHeight(); ++y)
        for (int x = 0; x < image.GetWidth(); ++x)
        {
            const uint8_t* p = image.GetRow(y) + 4 * x;
            sum += p[0] + p[1] + p[2];
        }
    return sum / (3.0 * image.GetWidth() * image.GetHeight());
}

// Mean of max - min over the colour bytes: how far the pixels are from grey.
double MeanChroma(const LImageBuffer& image)
{
    double sum = 0;
    for (int y = 0; y < image.GetHeight(); ++y)
        for (int x = 0; x < image.GetWidth(); ++x)
        {
            const uint8_t* p = image.GetRow(y) + 4 * x;
            sum += std::max({p[0], p[1], p[2]}) - std::min({p[0], p[1], p[2]});
        }
    return sum / (double(image.GetWidth()) * image.GetHeight());
}
} // namespace

TEST(EffectIcons, TheColorTabHasAPictureForEveryEffectAndEachShowsItsWay)
{
    QDEffectIcons icons;
    const std::string sample = std::string(QUENDREL_SOURCE_DIR) + "/resources/icons/sample.png";
    ASSERT_TRUE(icons.LoadSample(sample.c_str()));
    QDEffectCatalogue catalogue;
    catalogue.Register();
    icons.Render(catalogue.lFactories);

    int checked = 0;
    for (const QDEffectCatalogueRow& row : QDEffectCatalogueRows())
    {
        if (!row.szTab || strncmp(row.szTab, "Color", 5) != 0 ||
            !catalogue.MapCommandIdToEffectFactory(row.iCommandId))
            continue;
        EXPECT_NE(icons.Get(row.iCommandId), nullptr) << row.szName;
        ++checked;
    }
    EXPECT_GE(checked, 10);
    // A picture that loses its alpha channel (Cartoon), and one whose default barely moves the
    // small sample (Lens Distortion), still get theirs.
    EXPECT_NE(icons.Get(6004), nullptr);
    EXPECT_NE(icons.Get(6025), nullptr);

    LImageBuffer plain;
    ASSERT_TRUE(LImage::Load(plain, sample.c_str()));
    LImageBuffer original;
    ASSERT_TRUE(LImage::New(original, plain.GetWidth(), plain.GetHeight()));
    LConvertPixelFormat(original, plain);
    const LImageBuffer* brightness = icons.Get(6003);
    const LImageBuffer* saturation = icons.Get(6014);
    ASSERT_TRUE(brightness && saturation);
    EXPECT_GT(MeanLevel(*brightness), MeanLevel(original) + 10);
    EXPECT_GT(MeanChroma(*saturation), MeanChroma(original) * 1.2);
}
