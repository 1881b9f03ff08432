#include "effects/QDEffectTint.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectPixels.h"
#include "image/LImgProColour.h"

namespace
{
constexpr int kCommandId = 6017;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectTintProperties, dIntensity, 38, 0.5, 0.0, 1.0, "intensity", "Intensity")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
    QD_PROPERTY(QDEffectTintProperties, dHue, 39, 0.5, 0.0, 1.0, "hue", "Hue"),
    QD_PROPERTY(QDEffectTintProperties, dLightness, 40, 0.5, 0.0, 1.0, "lightness", "Lightness"),
    QD_PROPERTY(QDEffectTintProperties, dSaturation, 41, 0.5, 0.0, 1.0, "saturation", "Saturation"),
};
} // namespace

QDEffectTint::QDEffectTint() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectTint::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectTint::GetName() const
{
    return QDEffectElementName(kCommandId);
}

void QDEffectTint::MakeMap(const QDEffectTintProperties& p, LImgProChannelMap& map)
{
    LColourRGB tint;
    tint = LColourHLS(p.dHue, p.dSaturation, p.dLightness);
    for (int c = 0; c < 256; ++c)
    {
        map.arRed[c] = uint8_t(int((tint.r - c) * p.dIntensity + c));
        map.arGreen[c] = uint8_t(int((tint.g - c) * p.dIntensity + c));
        map.arBlue[c] = uint8_t(int((tint.b - c) * p.dIntensity + c));
    }
    map.Update();
}

void QDEffectTint::Render(LImageIterator& iterator) const
{
    QDMapPixels(iterator, [this](LPixelColour c)
                { return LPixelColour(oMap.arBlue[c.b], oMap.arGreen[c.g], oMap.arRed[c.r], c.a); });
}

LProcessResult QDEffectTint::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    MakeMap(GetPropertiesSnapshot(), oMap);
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (pf == B8G8R8A8 || pf == B8G8R8)
    {
        if (LImgProMapChannels(process, buffer, oMap) == LProcessResultCancelled)
            return LProcessResultCancelled;
    }
    else
        RenderMultiThreaded(buffer);
    return FinishRender(process, buffer);
}
