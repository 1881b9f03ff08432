#pragma once
// Contrast: an S-shaped tone curve through two points symmetric about the middle (or the reverse
// shape below 0), so the middle grey stays where it is.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

class QDEffectContrast : public QDImagePipelineElementWithDoubleProperties
{
public:
    QDEffectContrast();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    // 0 returns at once, progress untouched.
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // How far the two points (64 + o, 64 - o) and (192 - o, 192 + o) move for contrast c.
    static int PointOffset(double c);
};
