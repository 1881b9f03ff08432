#include "effects/QDEffectSepia.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectPixels.h"

namespace
{
constexpr int kCommandId = 6020;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(double, 5, 1.0, 0.0, 1.0, "strength", "Strength")
        .Slider("Original", "Sepia", 0, 100, QDScaleHundredth),
};
} // namespace

QDEffectSepia::QDEffectSepia() : QDImagePipelineElementWithDoubleProperties(kTable) {}

const char* QDEffectSepia::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectSepia::GetName() const
{
    return QDEffectElementName(kCommandId);
}

void QDEffectSepia::Render(LImageIterator& iterator) const
{
    QDMapPixels(iterator, oPixel);
}

LProcessResult QDEffectSepia::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    oPixel.dStrength = GetPropertiesSnapshot();
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (pf == B8G8R8A8 || pf == B8G8R8)
    {
        if (QDMapPixels(process, buffer, oPixel) == LProcessResultCancelled)
            return LProcessResultCancelled;
    }
    else
        RenderMultiThreaded(buffer);
    return FinishRender(process, buffer);
}
