#pragma once
// Hue: every colour turns by the same angle on the hue circle, lightness and saturation kept.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProHLSAdjust.h"

class QDEffectHue : public QDImagePipelineElementWithDoubleProperties, public QDMultiThreadedEffect
{
public:
    QDEffectHue();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    void Render(LImageIterator& iterator) const override;

    // Whole turns drop out: 1.25 turns as 0.25.
    static double Turn(double rotation);

private:
    LImgProHLSAdjust oKernel;
};
