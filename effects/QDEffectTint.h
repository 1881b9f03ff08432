#pragma once
// Tint: every channel moves toward one colour, chosen by hue, saturation and lightness, by the
// intensity.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProChannelMap.h"

struct QDEffectTintProperties
{
    double dIntensity = 0.5;
    double dHue = 0.5;
    double dLightness = 0.5;
    double dSaturation = 0.5;
    bool operator==(const QDEffectTintProperties&) const = default;
};

class QDEffectTint : public QDImagePipelineElementWithWrappedProperties<QDEffectTintProperties>,
                     public QDMultiThreadedEffect
{
public:
    QDEffectTint();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    void Render(LImageIterator& iterator) const override;

    // Per channel trunc((tint - c) * intensity + c), in double.
    static void MakeMap(const QDEffectTintProperties& p, LImgProChannelMap& map);

private:
    LImgProChannelMap oMap;
};
