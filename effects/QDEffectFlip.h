#pragma once
// Flip: mirrors the picture horizontally, vertically or both, in place.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectFlipProperties
{
    bool bHorizontal = false;
    bool bVertical = false;
    bool operator==(const QDEffectFlipProperties&) const = default;
};

class QDEffectFlip : public QDImagePipelineElementWithWrappedProperties<QDEffectFlipProperties>
{
public:
    QDEffectFlip();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    void SetDimensions(const LBoundingBox2T<double>& box) override;
    void EvPropertiesChanged(const QDEffectFlipProperties& oOld) override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // 0 none, 1 horizontal, 2 vertical, 3 both.
    static int GetDirection(const QDEffectFlipProperties& p)
    {
        return (p.bHorizontal ? 1 : 0) | (p.bVertical ? 2 : 0);
    }

private:
    void UpdateTransform();
};
