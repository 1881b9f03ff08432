#pragma once
// Grayscale: a weighted sum of the channels, the weights chosen by a colour filter as in black and
// white film photography, mixed with the original by the strength.

#include <memory>

#include "effects/QDEffectPixels.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "effects/QDMultiThreadedEffect.h"

struct QDEffectGreyScaleProperties
{
    float fStrength = 1.0f;
    int32_t iFilter = 0; // QDEffectGreyScale::Filter
    bool operator==(const QDEffectGreyScaleProperties&) const = default;
};

class QDEffectGreyScale : public QDImagePipelineElementWithWrappedProperties<QDEffectGreyScaleProperties>,
                          public QDMultiThreadedEffect
{
public:
    enum Filter : int32_t
    {
        Default = 0,
        RedFilter = 1,
        GreenFilter = 2,
        BlueFilter = 3,
    };
    // The weights of red, green and blue; an unknown filter weighs them alike.
    static void GetFilter(int32_t filter, double& wr, double& wg, double& wb);

    // trunc(R*wr + G*wg + B*wb) in double on all three, then blended back over the original when
    // lpBlend is set.
    struct Pixel
    {
        double wr, wg, wb;
        const QDBlendTable* lpBlend;
        LPixelColour operator()(LPixelColour c) const
        {
            const uint8_t y = uint8_t(int(c.r * wr + c.g * wg + c.b * wb));
            if (!lpBlend)
                return LPixelColour(y, y, y, c.a);
            const uint8_t* row = lpBlend->Row(y);
            return LPixelColour(row[c.b], row[c.g], row[c.r], c.a);
        }
    };

    QDEffectGreyScale();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    void Render(LImageIterator& iterator) const override;

private:
    Pixel oPixel{0.2126, 0.7152, 0.0722, nullptr};
};
