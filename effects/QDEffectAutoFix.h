#pragma once
// Auto Fix: two thirds of Auto Levels, a partial equalisation of lightness and a fine sharpening,
// mixed with the original by the strength.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "image/LImgProChannelMap.h"

class QDEffectAutoFix : public QDImagePipelineElementWithDoubleProperties
{
public:
    QDEffectAutoFix();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // Moves every pixel's HLS lightness fAmount of the way to where a flat histogram of lightness
    // would put it; hue and saturation stay. Formats 0 and 1; 1 when stopped.
    LProcessResult Equalize(LProcessInterface& process, LImageBuffer& image, float fAmount) const;

private:
    // Maps the picture through map and counts its lightness bins as mapped, in one pass.
    static LProcessResult MapCountingLightness(LProcessInterface& process, LImageBuffer& image,
                                               const LImgProChannelMap* map, uint64_t* hist);
    // Equalize with the lightness bins counted already.
    static LProcessResult EqualizeCounted(LProcessInterface& process, LImageBuffer& image,
                                          const uint64_t* hist, float fAmount);
};
