#include "effects/QDEffectCrop.h"

#include <algorithm>
#include <cmath>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectGeometry.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImageTransform.h"
#include "image/LImgProColour.h"

namespace
{
constexpr int kCommandId = 6037;
constexpr int kMaxSide = 1000000;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectCropProperties, iCropX, 14, 0, 0, kMaxSide, "x", "Left"),
    QD_PROPERTY(QDEffectCropProperties, iCropY, 15, 0, 0, kMaxSide, "y", "Top"),
    QD_PROPERTY(QDEffectCropProperties, iCropWidth, 12, 0, 0, kMaxSide, "width", "Width:"),
    QD_PROPERTY(QDEffectCropProperties, iCropHeight, 13, 0, 0, kMaxSide, "height", "Height:"),
    // The ratio only steers the crop box; the file has no chunk for it.
    QD_PROPERTY(QDEffectCropProperties, dAspectRatio, 0, -1.0, -1.0, 100.0, "aspect", "Aspect Ratio:")
        .Unsaved(),
    QD_PROPERTY(QDEffectCropProperties, bEditing, 45, true, 0, 1, "editing", "Editing"),
    QD_PROPERTY(QDEffectCropProperties, bApplied, 46, false, 0, 1, "applied", "Applied"),
};
} // namespace

const QDAspectRatio arLandscapeRatios[] = {
    {"3 x 2", 1.5f},       {"4 x 3", 1.3333f},  {"5 x 4", 1.25f}, {"7 x 5", 1.4f},
    {"11 x 8.5", 1.2941f}, {"16 x 9", 1.7778f}, {nullptr, 0.0f},
};
const QDAspectRatio arPortraitRatios[] = {
    {"2 x 3", 0.6667f},    {"3 x 4", 0.75f},    {"4 x 5", 0.8f}, {"5 x 7", 0.7143f},
    {"8.5 x 11", 0.7727f}, {"9 x 16", 0.5625f}, {nullptr, 0.0f},
};

QDEffectCrop::QDEffectCrop() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectCrop::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectCrop::GetName() const
{
    return QDEffectElementName(kCommandId);
}

QDEffectCropProperties QDEffectCrop::DefaultFrame(QDEffectCropProperties p, unsigned width, unsigned height)
{
    p.iCropWidth = int32_t(double(width) * 0.7);
    p.iCropHeight = int32_t(double(height) * 0.7);
    p.iCropX = int32_t(0.3 * double(width) * 0.5);
    p.iCropY = int32_t(0.3 * double(height) * 0.5);
    return p;
}

LBoundingBox2T<int> QDEffectCrop::GetFrame(const QDEffectCropProperties& stored, int width, int height)
{
    QDEffectCropProperties p = stored;
    if (p.iCropWidth <= 0 || p.iCropHeight <= 0)
        p = DefaultFrame(p, unsigned(std::max(width, 0)), unsigned(std::max(height, 0)));
    const int64_t left = std::max<int64_t>(p.iCropX, 0), top = std::max<int64_t>(p.iCropY, 0);
    const int64_t right = std::min<int64_t>(int64_t(p.iCropX) + p.iCropWidth, width);
    const int64_t bottom = std::min<int64_t>(int64_t(p.iCropY) + p.iCropHeight, height);
    if (left >= right || top >= bottom)
        return LBoundingBox2T<int>();
    return LBoundingBox2T<int>(int(left), int(top), int(right), int(bottom));
}

unsigned QDEffectCrop::GetWidth() const
{
    const QDEffectCropProperties p = GetPropertiesSnapshot();
    const LBoundingBox2T<int> frame = GetFrame(p, int(iWidth), int(iHeight));
    return IsCutting(p) && !frame.IsEmpty() ? unsigned(frame.GetWidth()) : iWidth;
}

unsigned QDEffectCrop::GetHeight() const
{
    const QDEffectCropProperties p = GetPropertiesSnapshot();
    const LBoundingBox2T<int> frame = GetFrame(p, int(iWidth), int(iHeight));
    return IsCutting(p) && !frame.IsEmpty() ? unsigned(frame.GetHeight()) : iHeight;
}

void QDEffectCrop::SetDimensions(const LBoundingBox2T<double>& box)
{
    QDImagePipelineElementWithWrappedProperties::SetDimensions(box);
    const QDEffectCropProperties& p = GetProperties();
    if ((p.iCropWidth <= 0 || p.iCropHeight <= 0) && iWidth > 0 && iHeight > 0)
        InitProperties(DefaultFrame(p, iWidth, iHeight));
    else
        UpdateTransform();
}

void QDEffectCrop::EvPropertiesChanged(const QDEffectCropProperties& oOld)
{
    UpdateTransform();
    QDImagePipelineElementWithWrappedProperties::EvPropertiesChanged(oOld);
}

void QDEffectCrop::UpdateTransform()
{
    const QDEffectCropProperties& p = GetProperties();
    const LBoundingBox2T<int> frame = GetFrame(p, int(iWidth), int(iHeight));
    if (!IsCutting(p) || frame.IsEmpty())
        QDSetAxisTransform(*this, 1, 0, 1, 0, iWidth, iHeight);
    else
        QDSetAxisTransform(*this, 1, -frame.left, 1, -frame.top, unsigned(frame.GetWidth()),
                           unsigned(frame.GetHeight()));
}

void QDEffectCrop::Reset()
{
    QDEffectCropProperties p = DefaultFrame(GetProperties(), iWidth, iHeight);
    p.bEditing = true;
    p.dAspectRatio = -1.0;
    SetProperties(p, true);
}

void QDEffectCrop::SetCropPosition(int x, int y, bool bRegisterUndo)
{
    QDEffectCropProperties p = GetProperties();
    p.iCropX = std::clamp(x, 0, kMaxSide);
    p.iCropY = std::clamp(y, 0, kMaxSide);
    SetProperties(p, bRegisterUndo);
}

void QDEffectCrop::SetCropDimensions(int width, int height, bool bRegisterUndo)
{
    QDEffectCropProperties p = GetProperties();
    p.iCropWidth = std::clamp(width, 1, kMaxSide);
    p.iCropHeight = std::clamp(height, 1, kMaxSide);
    SetProperties(p, bRegisterUndo);
}

void QDEffectCrop::SetAspectRatio(double ratio, bool bRegisterUndo)
{
    QDEffectCropProperties p = GetProperties();
    p.dAspectRatio = ratio > 0 ? std::min(ratio, 100.0) : -1.0;
    SetProperties(p, bRegisterUndo);
}

QDEffectCropProperties QDEffectCrop::FitToAspect(QDEffectCropProperties p, double ratio, int width,
                                                 int height)
{
    p.dAspectRatio = ratio > 0 ? std::min(ratio, 100.0) : -1.0;
    if (!(ratio > 0) || p.iCropWidth <= 0)
        return p;
    int w = p.iCropWidth;
    int h = std::max(int(Round(w / ratio)), 1);
    if (width > 0 && p.iCropX + w > width)
    {
        w = std::max(width - p.iCropX, 1);
        h = std::max(int(Round(w / ratio)), 1);
    }
    if (height > 0 && p.iCropY + h > height)
    {
        h = std::max(height - p.iCropY, 1);
        w = std::max(int(Round(h * ratio)), 1);
    }
    p.iCropWidth = w;
    p.iCropHeight = h;
    return p;
}

void QDEffectCrop::ApplyAspectRatio(double ratio, bool bRegisterUndo)
{
    SetProperties(FitToAspect(GetProperties(), ratio, int(iWidth), int(iHeight)), bRegisterUndo);
}

void QDEffectCrop::SetEditing(bool bEditing, bool bRegisterUndo)
{
    QDEffectCropProperties p = GetProperties();
    p.bEditing = bEditing;
    SetProperties(p, bRegisterUndo);
}

void QDEffectCrop::SetApplied(bool bApplied, bool bRegisterUndo)
{
    QDEffectCropProperties p = GetProperties();
    p.bApplied = bApplied;
    SetProperties(p, bRegisterUndo);
}

LProcessResult QDEffectCrop::Render(LProcessInterface& process, LImageBuffer& buffer, double sx,
                                    double sy) const
{
    const QDEffectCropProperties p = GetPropertiesSnapshot();
    if (!IsCutting(p))
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    // The frame belongs to the element's picture; the preview's smaller buffer takes it scaled.
    QDEffectCropProperties scaled = p;
    if (p.iCropWidth <= 0 || p.iCropHeight <= 0)
        scaled = DefaultFrame(p, iWidth ? iWidth : unsigned(buffer.GetWidth()),
                              iHeight ? iHeight : unsigned(buffer.GetHeight()));
    scaled.iCropX = int32_t(scaled.iCropX * sx);
    scaled.iCropY = int32_t(scaled.iCropY * sy);
    scaled.iCropWidth = std::max(int32_t(scaled.iCropWidth * sx), 1);
    scaled.iCropHeight = std::max(int32_t(scaled.iCropHeight * sy), 1);
    const LBoundingBox2T<int> frame = GetFrame(scaled, buffer.GetWidth(), buffer.GetHeight());
    if (frame.IsEmpty() || (frame.GetWidth() == buffer.GetWidth() && frame.GetHeight() == buffer.GetHeight()))
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

LProcessResult QDEffectCrop::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    return Render(process, buffer, 1.0, 1.0);
}

LProcessResult QDEffectCrop::RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const double sx = iWidth ? double(buffer.GetWidth()) / iWidth : 1.0;
    const double sy = iHeight ? double(buffer.GetHeight()) / iHeight : 1.0;
    return Render(process, buffer, sx, sy);
}
