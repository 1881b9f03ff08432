#pragma once
// Noise Reduction: non-local means at full resolution only. The preview shows the unfiltered
// picture, since this is by far the slowest effect of the program.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectNoiseProperties
{
    float fNoise = 0.5f;
    float fSmoothing = 0.5f;
    // Not in the file: a loaded effect has the defaults.
    int32_t iPatchRadius = 3;
    int32_t iSearchRadius = 10;
    bool operator==(const QDEffectNoiseProperties&) const = default;
};

class QDEffectNoise : public QDImagePipelineElementWithWrappedProperties<QDEffectNoiseProperties>
{
public:
    QDEffectNoise();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override;
};
