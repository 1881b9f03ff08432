#pragma once
// Saturation: the property is added to every pixel's HLS saturation, clamped to 0..1. Adding
// rather than scaling lets the "Vibrant" end colour nearly grey pixels too.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProHLSAdjust.h"

class QDEffectSaturation : public QDImagePipelineElementWithDoubleProperties, public QDMultiThreadedEffect
{
public:
    QDEffectSaturation();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    void Render(LImageIterator& iterator) const override;

private:
    LImgProHLSAdjust oKernel;
};
