#pragma once
// Sharpen: in simple mode an unsharp mask whose radius grows with the square of the amount and the
// picture's size; in advanced mode a thresholded sharpen of the luminance with its own radius and
// amount. The preview runs the same code on the smaller buffer.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectSharpenProperties
{
    bool bSimple = true;
    int32_t iAmount = 50;
    int32_t iThreshold = 5;
    double dRadius = 5.0;
    double dAdvancedAmount = 1.0;
    bool operator==(const QDEffectSharpenProperties&) const = default;
};

class QDEffectSharpen : public QDImagePipelineElementWithWrappedProperties<QDEffectSharpenProperties>
{
public:
    QDEffectSharpen();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    LProcessResult RenderSimple(LProcessInterface& process, LImageBuffer& buffer,
                                const QDEffectSharpenProperties& p) const;
    LProcessResult RenderAdvanced(LProcessInterface& process, LImageBuffer& buffer,
                                  const QDEffectSharpenProperties& p) const;
};

// The advanced sharpen's two passes over the image against its sharpened copy: a soft knee
// below the threshold, the differences scaled so the largest is 255, each channel moved by its
// share of the luminance. Formats 0 and 1, both of the same size.
LProcessResult QDSharpenThresholded(LProcessInterface& process, LImageBuffer& image,
                                    const LImageBuffer& sharpened, int threshold, double amount);
