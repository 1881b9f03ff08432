#include "effects/QDEffectVignette.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProVignette.h"

namespace
{
constexpr int kCommandId = 6033;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectVignetteProperties, dSize, 5, 0.25, 0.0, 0.5, "size", "Size")
        .Slider("Narrow", "Wide", 0, 50, QDScaleHundredth),
    QD_PROPERTY(QDEffectVignetteProperties, fStrength, 78, 1.0, 0.0, 2.0, "strength", "Strength")
        .Slider("Less", "More", 0, 200, QDScaleHundredth),
    // The colour as the high bytes of its channels.
    QD_PROPERTY(QDEffectVignetteProperties, iRed, 9, 0, 0, 255, "red", "Red").In(8),
    QD_PROPERTY(QDEffectVignetteProperties, iGreen, 10, 0, 0, 255, "green", "Green").In(8),
    QD_PROPERTY(QDEffectVignetteProperties, iBlue, 11, 0, 0, 255, "blue", "Blue").In(8),
};
} // namespace

QDEffectVignette::QDEffectVignette() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectVignette::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectVignette::GetName() const
{
    return QDEffectElementName(kCommandId);
}

std::vector<QDChunkDeclaration> QDEffectVignette::GetExtraChunkDeclarations() const
{
    return {{8, LSDFTypeContainer, "colour"}};
}

LProcessResult QDEffectVignette::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectVignetteProperties p = GetPropertiesSnapshot();
    LImgProVignette vignette;
    vignette.dSize = p.dSize;
    vignette.dStrength = p.fStrength;
    vignette.iRed = uint16_t(p.iRed << 8);
    vignette.iGreen = uint16_t(p.iGreen << 8);
    vignette.iBlue = uint16_t(p.iBlue << 8);
    // The kernel can't be stopped; a stop asked for meanwhile is honoured after it.
    LProcessInterfaceVoid quiet;
    if (LApplyImageProcess(buffer, vignette, quiet) != LProcessResultSuccess)
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
