#include "effects/QDEffectCropSimple.h"

#include <algorithm>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectGeometry.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImageTransform.h"
#include "image/LImgProColour.h"

namespace
{
constexpr int kCommandId = 6007;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(double, 5, -1.0, -1.0, 100.0, "ratio", "Aspect Ratio:"),
};
} // namespace

QDEffectCropSimple::QDEffectCropSimple() : QDImagePipelineElementWithDoubleProperties(kTable) {}

const char* QDEffectCropSimple::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectCropSimple::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LBoundingBox2T<int> QDEffectCropSimple::GetFrame(double ratio, int width, int height)
{
    if (!(ratio > 0) || width <= 0 || height <= 0)
        return LBoundingBox2T<int>(0, 0, std::max(width, 0), std::max(height, 0));
    // The full height first; only when the ratio wants more width than there is does the height
    // give way instead.
    const double needed = Round(ratio * height);
    if (needed < width)
    {
        const int w = std::max(int(needed), 1);
        const int left = (width - w) / 2;
        return LBoundingBox2T<int>(left, 0, left + w, height);
    }
    const int h = std::clamp(int(Round(width / ratio)), 1, height);
    const int top = (height - h) / 2;
    return LBoundingBox2T<int>(0, top, width, top + h);
}

unsigned QDEffectCropSimple::GetWidth() const
{
    return unsigned(GetFrame(GetPropertiesSnapshot(), int(iWidth), int(iHeight)).GetWidth());
}

unsigned QDEffectCropSimple::GetHeight() const
{
    return unsigned(GetFrame(GetPropertiesSnapshot(), int(iWidth), int(iHeight)).GetHeight());
}

void QDEffectCropSimple::SetDimensions(const LBoundingBox2T<double>& box)
{
    QDImagePipelineElementWithDoubleProperties::SetDimensions(box);
    UpdateTransform();
}

void QDEffectCropSimple::EvPropertiesChanged(const double& oOld)
{
    UpdateTransform();
    QDImagePipelineElementWithDoubleProperties::EvPropertiesChanged(oOld);
}

void QDEffectCropSimple::UpdateTransform()
{
    const LBoundingBox2T<int> frame = GetFrame(GetProperties(), int(iWidth), int(iHeight));
    QDSetAxisTransform(*this, 1, -frame.left, 1, -frame.top, unsigned(frame.GetWidth()),
                       unsigned(frame.GetHeight()));
}

LProcessResult QDEffectCropSimple::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const LBoundingBox2T<int> frame =
        GetFrame(GetPropertiesSnapshot(), buffer.GetWidth(), buffer.GetHeight());
    if (frame.GetWidth() == buffer.GetWidth() && frame.GetHeight() == buffer.GetHeight())
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    LImageBuffer cut;
    if (!LImage::New(cut, frame.GetWidth(), frame.GetHeight(), buffer.GetPixelFormat()) || !cut.IsValid())
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    LImage::Copy(buffer, cut, 0, 0, frame.left, frame.top, frame.GetWidth(), frame.GetHeight());
    buffer.Assign(cut);
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
