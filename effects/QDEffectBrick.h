#pragma once
// Brick: the picture laid out in raised tiles, square or hexagonal, each in the colour of the part
// it covers.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectBrickProperties
{
    int32_t iBrickCount = 20;
    float fPadding = 0.05f;
    bool bHexagonal = false;
    bool operator==(const QDEffectBrickProperties&) const = default;
};

class QDEffectBrick : public QDImagePipelineElementWithWrappedProperties<QDEffectBrickProperties>
{
public:
    QDEffectBrick();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    // The count spans the shorter side, so the preview shows the same bricks.
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
};
