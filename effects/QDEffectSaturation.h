#pragma once
// Saturation: the property is added to every pixel's HLS saturation, clamped to 0..1. Adding
// rather than scaling lets the "Vibrant" end colour nearly grey pixels too.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProColour.h"

class QDEffectSaturation : public QDImagePipelineElementWithDoubleProperties, public QDMultiThreadedEffect
{
public:
    struct Pixel
    {
        double dOffset;
        LPixelColour operator()(LPixelColour c) const
        {
            LColourHLS hls;
            hls = LColourRGB(c);
            const double s = hls.dSaturation + dOffset;
            hls.dSaturation = s < 0 ? 0 : s > 1 ? 1 : s;
            LColourRGB rgb;
            rgb = hls;
            return rgb.ToPixel(c.a);
        }
    };

    QDEffectSaturation();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    void Render(LImageIterator& iterator) const override;

private:
    Pixel oPixel{0};
};
