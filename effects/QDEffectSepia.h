#pragma once
// Sepia: the classic brown-toning matrix, mixed with the original by the strength.

#include <algorithm>

#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProColour.h"

class QDEffectSepia : public QDImagePipelineElementWithDoubleProperties, public QDMultiThreadedEffect
{
public:
    // In double: each toned channel capped at 255, then trunc(c + (toned - c) * strength).
    struct Pixel
    {
        double dStrength;
        LPixelColour operator()(LPixelColour c) const
        {
            const double r = c.r, g = c.g, b = c.b;
            const double tr = std::min(255.0, 0.393 * r + 0.769 * g + 0.189 * b);
            const double tg = std::min(255.0, 0.349 * r + 0.686 * g + 0.168 * b);
            const double tb = std::min(255.0, 0.272 * r + 0.534 * g + 0.131 * b);
            return LPixelColour(uint8_t(int(b + (tb - b) * dStrength)),
                                uint8_t(int(g + (tg - g) * dStrength)),
                                uint8_t(int(r + (tr - r) * dStrength)), c.a);
        }
    };

    QDEffectSepia();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    void Render(LImageIterator& iterator) const override;

private:
    Pixel oPixel{1};
};
