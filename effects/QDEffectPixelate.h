#pragma once
// Pixelate: the picture in square blocks of their mean colour. The block scales with the buffer,
// so the preview shows the same blocks.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

class QDEffectPixelate : public QDImagePipelineElementWithIntProperties
{
public:
    QDEffectPixelate();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
};
