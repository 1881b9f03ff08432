#pragma once
// Liquid Resize: content-aware resizing by seam carving. Paths of low edge energy are taken out,
// or doubled, so what matters in the picture keeps its shape. The height is carved on the picture
// turned by a quarter.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectLiquidResizeProperties
{
    int32_t iWidth = -1; // -1: as the input
    int32_t iHeight = -1;
    bool operator==(const QDEffectLiquidResizeProperties&) const = default;
};

class QDEffectLiquidResize
    : public QDImagePipelineElementWithWrappedProperties<QDEffectLiquidResizeProperties>
{
public:
    QDEffectLiquidResize();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    unsigned GetWidth() const override;
    unsigned GetHeight() const override;
    void SetDimensions(const LBoundingBox2T<double>& box) override;
    void EvPropertiesChanged(const QDEffectLiquidResizeProperties& oOld) override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // Both sizes from the element's picture; a side below 1 keeps its value.
    void Reset();

    // One pass from the picture's width to iTargetWidth by |W - iTargetWidth| seams: fewer
    // columns, or as many more with each seam doubled. At most the whole width can be doubled.
    static LProcessResult LiquidResize(LProcessInterface& process, LImageBuffer& image, int iTargetWidth);
    // Both sides: the part of the change they share by plain scaling, then the width and the
    // height by seams, in steps that never grow a side by more than half.
    static LProcessResult Carve(LProcessInterface& process, LImageBuffer& image, int iTargetWidth,
                                int iTargetHeight);

private:
    void UpdateTransform();
};
