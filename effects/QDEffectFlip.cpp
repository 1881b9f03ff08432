#include "effects/QDEffectFlip.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectGeometry.h"
#include "image/LImgProFlip.h"

namespace
{
constexpr int kCommandId = 6038;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectFlipProperties, bHorizontal, 17, false, 0, 1, "horizontal", "Horizontal")
        .Control(QDControlCheck),
    QD_PROPERTY(QDEffectFlipProperties, bVertical, 18, false, 0, 1, "vertical", "Vertical")
        .Control(QDControlCheck),
};
} // namespace

QDEffectFlip::QDEffectFlip() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectFlip::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectFlip::GetName() const
{
    return QDEffectElementName(kCommandId);
}

void QDEffectFlip::SetDimensions(const LBoundingBox2T<double>& box)
{
    QDImagePipelineElementWithWrappedProperties::SetDimensions(box);
    UpdateTransform();
}

void QDEffectFlip::EvPropertiesChanged(const QDEffectFlipProperties& oOld)
{
    UpdateTransform();
    QDImagePipelineElementWithWrappedProperties::EvPropertiesChanged(oOld);
}

void QDEffectFlip::UpdateTransform()
{
    const QDEffectFlipProperties& p = GetProperties();
    const double w = iWidth, h = iHeight;
    QDSetAxisTransform(*this, p.bHorizontal ? -1 : 1, p.bHorizontal ? w - 1 : 0, p.bVertical ? -1 : 1,
                       p.bVertical ? h - 1 : 0, iWidth, iHeight);
}

LProcessResult QDEffectFlip::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    LImgProFlip flip(GetDirection(GetPropertiesSnapshot()));
    const LProcessResult result = LApplyImageProcess(buffer, flip, process);
    if (result == LProcessResultCancelled)
        return result;
    if (result != LProcessResultSuccess || !buffer.IsValid())
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
