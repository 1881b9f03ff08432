#include "effects/QDEffectNoise.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProNoise.h"

namespace
{
constexpr int kCommandId = 6044;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectNoiseProperties, fNoise, 63, 0.5, 0.0, 1.0, "noise", "Noise Reduction")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
    QD_PROPERTY(QDEffectNoiseProperties, fSmoothing, 64, 0.5, 0.0, 1.0, "smoothing", "Smoothing")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
    QD_PROPERTY(QDEffectNoiseProperties, iPatchRadius, 0, 3, 0, 10, "patch", "Patch radius").Unsaved(),
    QD_PROPERTY(QDEffectNoiseProperties, iSearchRadius, 0, 10, 0, 20, "search", "Search radius").Unsaved(),
};
} // namespace

QDEffectNoise::QDEffectNoise() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectNoise::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectNoise::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectNoise::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectNoiseProperties p = GetPropertiesSnapshot();
    LImgProNoiseSettings settings;
    settings.fNoise = p.fNoise;
    settings.fSmoothing = p.fSmoothing;
    settings.iPatchRadius = p.iPatchRadius;
    settings.iSearchRadius = p.iSearchRadius;
    const LProcessResult result = LImgProNoiseReduction(process, buffer, settings);
    if (result == LProcessResultFailed)
        process.SetError("Out of memory");
    if (result != LProcessResultSuccess)
        return result;
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}

LProcessResult QDEffectNoise::RenderLowResImage(LProcessInterface& process, LImageBuffer&)
{
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
