#pragma once
// Temperature: LImgProTemperature's colour matrix, from bluish (cool) to amber (warm).

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

class QDEffectTemperature : public QDImagePipelineElementWithDoubleProperties
{
public:
    QDEffectTemperature();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
};
