#pragma once
// Border: a coloured border round the picture, rectangular with round corners or oval, with an
// optional inner border of a second colour and a shadow cast onto the picture.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct LFrameShape;

struct QDEffectBorderProperties
{
    bool bOval = false;
    float fRoundness = 0.0f; // 0 sharp corners, 1 half the shorter side
    float fAspect = 0.0f;    // the oval: below 0 taller, above 0 wider
    float fWidth = 0.05f;    // a share of the shorter side
    int32_t iRed = 255, iGreen = 255, iBlue = 255;
    bool bInner = false;
    float fInnerWidth = 0.02f;
    int32_t iInnerRed = 0, iInnerGreen = 0, iInnerBlue = 0;
    bool bShadow = false;
    bool operator==(const QDEffectBorderProperties&) const = default;
};

class QDEffectBorder : public QDImagePipelineElementWithWrappedProperties<QDEffectBorderProperties>
{
public:
    QDEffectBorder();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    std::vector<QDChunkDeclaration> GetExtraChunkDeclarations() const override;
    // Shares of the picture's side throughout, so the preview draws the same border.
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // The outer and inner outlines for a picture of width x height.
    static LFrameShape GetFramePath(const QDEffectBorderProperties& p, int width, int height, bool bInner);
};
