#pragma once
// Negative: every colour channel becomes its complement; alpha stays. Nothing to set.

#include "document/QDImagePipelineElement.h"

class QDEffectNegative : public QDImagePipelineElement
{
public:
    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
};
