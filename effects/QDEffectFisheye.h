#pragma once
// Lens Distortion: bends the picture outward like a fisheye lens, or inward like a pincushion, and
// zooms. The preview samples the nearest pixel, the full render mixes four.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectFisheyeProperties
{
    float fStrength = 0.5f; // 0.5 is no distortion; below bulges, above pinches
    float fZoom = 1.0f;     // above 1 zooms in
    bool operator==(const QDEffectFisheyeProperties&) const = default;
};

class QDEffectFisheye : public QDImagePipelineElementWithWrappedProperties<QDEffectFisheyeProperties>
{
public:
    QDEffectFisheye();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // The kernel's power and zoom for the properties.
    static float GetPower(const QDEffectFisheyeProperties& p) { return (1.0f - p.fStrength) * 24.0f - 12.0f; }
    static float GetKernelZoom(const QDEffectFisheyeProperties& p) { return 2.0f - p.fZoom; }

private:
    LProcessResult Render(LProcessInterface& process, LImageBuffer& buffer, bool bSmooth) const;
};
