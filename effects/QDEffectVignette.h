#pragma once
// Vignette: a colour that closes in from the edges, outside an ellipse of the picture's
// proportions.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectVignetteProperties
{
    double dSize = 0.25;
    float fStrength = 1.0f;
    int32_t iRed = 0, iGreen = 0, iBlue = 0; // 0 to 255
    bool operator==(const QDEffectVignetteProperties&) const = default;
};

class QDEffectVignette : public QDImagePipelineElementWithWrappedProperties<QDEffectVignetteProperties>
{
public:
    QDEffectVignette();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    std::vector<QDChunkDeclaration> GetExtraChunkDeclarations() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
};
