#pragma once
// Crop Simple, for the batch editor: the largest centred rectangle of an aspect ratio, whatever
// the picture's size. A ratio that is not above 0 leaves the picture alone.

#include "document/LBoundingBox2.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"

class QDEffectCropSimple : public QDImagePipelineElementWithDoubleProperties
{
public:
    QDEffectCropSimple();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    unsigned GetWidth() const override;
    unsigned GetHeight() const override;
    void SetDimensions(const LBoundingBox2T<double>& box) override;
    void EvPropertiesChanged(const double& oOld) override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // The rectangle of a width x height picture; the whole picture for a ratio of 0 or less.
    static LBoundingBox2T<int> GetFrame(double ratio, int width, int height);

private:
    void UpdateTransform();
};
