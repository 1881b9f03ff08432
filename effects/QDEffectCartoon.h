#pragma once
// Cartoon: flat colours with dark outlines. The picture is blurred, reduced to a few colours by
// median cut, and its edges above a threshold are taken off as ink.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectCartoonProperties
{
    int32_t iColorCount = 3;
    int32_t iEdgeThreshold = 128;
    double dBlurRadius = 5.0;
    bool operator==(const QDEffectCartoonProperties&) const = default;
};

class QDEffectCartoon : public QDImagePipelineElementWithWrappedProperties<QDEffectCartoonProperties>
{
public:
    QDEffectCartoon();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    // The result is 24-bit: a cartoon has no transparency.
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
};
