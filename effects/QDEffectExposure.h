#pragma once
// Exposure: the film-like response curve of LImgProExposure with the factor 10^exposure, so the
// slider's ends are a tenth and ten times the light.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

class QDEffectExposure : public QDImagePipelineElementWithDoubleProperties
{
public:
    QDEffectExposure();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
};
