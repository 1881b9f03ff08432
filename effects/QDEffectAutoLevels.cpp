#include "effects/QDEffectAutoLevels.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectHistograms.h"
#include "effects/QDEffectPixels.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProAutoLevels.h"

namespace
{
constexpr int kCommandId = 6011;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(double, 5, 1.0, 0.0, 1.0, "strength", "Strength")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
};
} // namespace

QDEffectAutoLevels::QDEffectAutoLevels() : QDImagePipelineElementWithDoubleProperties(kTable) {}

const char* QDEffectAutoLevels::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectAutoLevels::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectAutoLevels::MakeMap(LProcessInterface& process, const LImageBuffer& buffer,
                                           LImgProChannelMap& map)
{
    QDHistograms h;
    if (QDCountHistograms(process, buffer, h, false) != LProcessResultSuccess)
        return LProcessResultCancelled;
    const uint64_t threshold = uint64_t(buffer.GetWidth()) * uint64_t(buffer.GetHeight()) / 99;
    uint8_t* tables[3] = {map.arRed, map.arGreen, map.arBlue};
    for (int c = 0; c < 3; ++c)
    {
        int lo, hi;
        LImgProAutoLevels::FindRange(h.arCounts[QDHistograms::Red + c], threshold, lo, hi);
        LImgProAutoLevels::MakeTable(lo, hi, tables[c]);
    }
    map.Update();
    return LProcessResultSuccess;
}

LProcessResult QDEffectAutoLevels::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    // The stretch is a table per channel, so it runs in place: alpha is never written, and the
    // strength blend folds into the tables instead of needing the original beside it.
    LImgProChannelMap map;
    if (MakeMap(process, buffer, map) != LProcessResultSuccess)
        return LProcessResultCancelled;
    QDBlendChannelMap(map, float(GetPropertiesSnapshot()));
    if (LImgProMapChannels(process, buffer, map) != LProcessResultSuccess)
        return LProcessResultCancelled;
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
