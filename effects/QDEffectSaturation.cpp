#include "effects/QDEffectSaturation.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectPixels.h"

namespace
{
constexpr int kCommandId = 6014;

// The slider's ratio reaches half a unit either way; scripts may go to a whole one.
constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(double, 5, 0.0, -1.0, 1.0, "saturation", "Saturation")
        .Slider("Dull", "Vibrant", -100, 100, QDScaleRatio),
};
} // namespace

QDEffectSaturation::QDEffectSaturation() : QDImagePipelineElementWithDoubleProperties(kTable) {}

const char* QDEffectSaturation::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectSaturation::GetName() const
{
    return QDEffectElementName(kCommandId);
}

void QDEffectSaturation::Render(LImageIterator& iterator) const
{
    QDMapPixels(iterator, [this](LPixelColour c) { return oKernel.Apply(c); });
}

LProcessResult QDEffectSaturation::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    oKernel.eMode = LImgProHLSAdjust::OffsetSaturation;
    oKernel.dOffset = GetPropertiesSnapshot();
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (pf == B8G8R8A8 || pf == B8G8R8)
    {
        if (oKernel.Process(process, buffer) == LProcessResultCancelled)
            return LProcessResultCancelled;
    }
    else
        RenderMultiThreaded(buffer);
    return FinishRender(process, buffer);
}
