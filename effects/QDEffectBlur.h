#pragma once
// Blur: a Gaussian (stacked boxes), or a spin or zoom blur about the centre. The preview scales
// the radius with the buffer so that it looks like the full render.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectBlurProperties
{
    double dRadius = 20.0;
    int32_t iBlurType = 0; // QDEffectBlur::BlurType
    bool operator==(const QDEffectBlurProperties&) const = default;
};

class QDEffectBlur : public QDImagePipelineElementWithWrappedProperties<QDEffectBlurProperties>
{
public:
    enum BlurType : int32_t
    {
        Standard = 0,
        Spin = 1,
        Zoom = 2,
    };

    QDEffectBlur();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // The panel's slider: radius = (ratio * 20)^2.1, and back.
    static double RatioToRadius(double ratio);
    static double RadiusToRatio(double radius);

private:
    LProcessResult Render(LProcessInterface& process, LImageBuffer& buffer, double scale) const;
};

// A Gaussian blur of radius r in place; 2 without a message when it fails.
LProcessResult BlurGaussian(LProcessInterface& process, LImageBuffer& buffer, double r);
