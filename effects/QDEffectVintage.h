#pragma once
// Vintage: an aged print. A bleach round flattens the colours toward their own grey and lays the
// grey over them for contrast, lifting the blacks and warming the tones; a vignette round darkens
// the corners.

#include <cstdint>

#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "effects/QDMultiThreadedEffect.h"

struct QDEffectVintageProperties
{
    bool bBleach = true;
    float fBleachStrength = 0.75f;
    bool bVignette = true;
    float fVignetteSize = 0.2f;
    float fVignetteStrength = 0.3f;
    bool operator==(const QDEffectVintageProperties&) const = default;
};

class QDEffectVintage : public QDImagePipelineElementWithWrappedProperties<QDEffectVintageProperties>,
                        public QDMultiThreadedEffect
{
public:
    QDEffectVintage();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // The bleach round on the pixels of one band, with the strength of the render under way.
    void Render(LImageIterator& iterator) const override;
    // One pixel of the bleach round.
    LPixelColour Bleach(LPixelColour c, float strength) const;
    // The factor a pixel's channels are kept by in the vignette round, for its distance from the
    // centre measured in half sides (1 at the middle of an edge).
    static float VignetteKeep(float distance, float size, float strength);

    // The faded print's response: blacks lifted, whites held back, a gentle S between.
    uint8_t arFade[256];

private:
    // Set before each bleach round; renders of one element never overlap.
    float fRoundStrength = 0;
};
