#pragma once
// Brightness bends the tone curve through one point instead of adding an offset, so black stays
// black and white stays white whatever the setting.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

class QDEffectBrightness : public QDImagePipelineElementWithDoubleProperties
{
public:
    QDEffectBrightness();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    // 0 returns at once, progress untouched.
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // The curve's point for brightness b: (x, 128) below 0, (128, y) above; false at 0.
    static bool CurvePoint(double b, int& x, int& y);
};
