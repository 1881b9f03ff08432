#include "effects/QDEffectBrick.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProTiles.h"

namespace
{
constexpr int kCommandId = 6002;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectBrickProperties, iBrickCount, 65, 20, 3, 100, "count", "Bricks")
        .Slider("Fewer Bricks", "More Bricks", 3, 100, QDScalePosition),
    QD_PROPERTY(QDEffectBrickProperties, fPadding, 66, 0.05, 0.0, 0.15, "spacing", "Spacing")
        .Slider("Less Spacing", "More Spacing", 0, 15, QDScaleHundredth),
    QD_PROPERTY(QDEffectBrickProperties, bHexagonal, 77, false, 0, 1, "hexagonal", "Shape")
        .Radio("Rectangular bricks|Hexagonal bricks"),
};
} // namespace

QDEffectBrick::QDEffectBrick() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectBrick::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectBrick::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectBrick::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectBrickProperties p = GetPropertiesSnapshot();
    LImgProTiles tiles;
    tiles.fTileCount = float(p.iBrickCount);
    tiles.fPadding = p.fPadding;
    tiles.bHexagonal = p.bHexagonal;
    const LProcessResult r = LApplyImageProcess(buffer, tiles, process);
    if (r != LProcessResultSuccess)
    {
        if (r == LProcessResultFailed)
            process.SetError("Out of memory");
        return r;
    }
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
