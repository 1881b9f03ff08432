#pragma once
// Oil Paint: each pixel takes the mean colour of the most common grey in a brush around it. With
// pastels the contrast is flattened first.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectOilPaintProperties
{
    int32_t iBrushSize = 5;
    bool bUsePastels = false;
    bool operator==(const QDEffectOilPaintProperties&) const = default;
};

class QDEffectOilPaint : public QDImagePipelineElementWithWrappedProperties<QDEffectOilPaintProperties>
{
public:
    QDEffectOilPaint();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    // The brush scales with the buffer, so the preview shows the same strokes.
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // The filter's radius for a brush on a buffer that is scale of the element's picture.
    static int GetRadius(int brushSize, double scale);
};

// The overlay blend of one channel value over another, rounded: darkens below the middle of a,
// lightens above it.
inline uint8_t QDOverlayValues(int a, int b)
{
    const double x = a / 255.0, y = b / 255.0;
    const double v = x < 0.5 ? y * 2 * x * 255 : (1 - 2 * (1 - x) * (1 - y)) * 255;
    return uint8_t(v < 0 ? 0 : v > 255 ? 255 : int(v + 0.5));
}
