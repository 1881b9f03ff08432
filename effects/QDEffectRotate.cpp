#include "effects/QDEffectRotate.h"

#include <algorithm>
#include <cmath>

#include "document/LQDCacheStore.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectGeometry.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImageTransform.h"
#include "image/LImgProScale.h"

namespace
{
constexpr int kCommandId = 6042;
constexpr int kSimpleCommandId = 6031;
constexpr double kPi = 3.14159265358979323846;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectRotateProperties, bClipping, 143, false, 0, 1, "clip", "Crop corners")
        .Control(QDControlCheck),
    QD_PROPERTY(QDEffectRotateProperties, dRotation, 5, 0.0, -3600.0, 3600.0, "degrees",
                "Rotation (degrees):")
        .Control(QDControlNumber),
};

// Rounding up a span that floating point put a hair above a whole number would add a pixel.
int CeilSpan(double v)
{
    return std::max(int(std::ceil(v - 1e-7)), 1);
}

// The turn handed to the rotation: angles past a full turn, either way, are brought into it, so
// that -90 is the exact quarter turn 270; a full turn itself stays as it is.
double TurnsOf(double degrees)
{
    if (degrees < 0 || degrees > 360)
    {
        degrees = std::fmod(degrees, 360.0);
        if (degrees < 0)
            degrees += 360.0;
    }
    return degrees / 360.0;
}
} // namespace

QDEffectRotate::QDEffectRotate() : QDImagePipelineElementWithWrappedProperties(kTable) {}

QDEffectRotate::~QDEffectRotate()
{
    LQDCacheInvalidate(iInputCacheId.load());
}

const char* QDEffectRotate::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectRotate::GetName() const
{
    return QDEffectElementName(kCommandId);
}

const char* QDEffectRotateSimple::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kSimpleCommandId);
}

const char* QDEffectRotateSimple::GetName() const
{
    return QDEffectElementName(kSimpleCommandId);
}

bool QDEffectRotate::IsFrameTurned(double degrees)
{
    double a = std::fmod(degrees, 360.0);
    if (a < 0)
        a += 360.0;
    return (a > 45 && a < 135) || (a > 225 && a < 315);
}

void QDEffectRotate::GetRotatedSize(const QDEffectRotateProperties& p, int w, int h, int& W, int& H)
{
    W = w, H = h;
    if (w <= 0 || h <= 0)
        return;
    if (p.bClipping)
    {
        if (IsFrameTurned(p.dRotation))
            std::swap(W, H);
        return;
    }
    const double t = p.dRotation / 360.0 - std::floor(p.dRotation / 360.0);
    if (t == 0.25 || t == 0.75)
        std::swap(W, H);
    else if (t != 0 && t != 0.5)
    {
        const double a = t * 2 * kPi, c = std::fabs(std::cos(a)), s = std::fabs(std::sin(a));
        W = CeilSpan(w * c + h * s);
        H = CeilSpan(w * s + h * c);
    }
}

double QDEffectRotate::GetClipScale(double degrees, int w, int h)
{
    if (w <= 0 || h <= 0)
        return 1.0;
    double theta = std::remainder(degrees * 0.01745329251, 2 * kPi);
    theta = std::fabs(theta);
    if (theta > kPi / 2)
        theta = kPi - theta;
    const double c = std::cos(theta), s = std::sin(theta);
    // Both sides of the scaled rectangle, turned, must fit in the turned picture.
    return std::min(w / (w * c + h * s), h / (w * s + h * c));
}

double QDEffectRotate::NextQuarterTurn(double degrees, int direction)
{
    const double q = degrees / 90.0;
    const double r = std::round(q);
    if (std::fabs(q - r) < 1e-9)
        return (r + (direction > 0 ? 1 : -1)) * 90.0;
    return (direction > 0 ? std::ceil(q) : std::floor(q)) * 90.0;
}

unsigned QDEffectRotate::GetWidth() const
{
    int w, h;
    GetRotatedSize(GetPropertiesSnapshot(), int(iWidth), int(iHeight), w, h);
    return unsigned(w);
}

unsigned QDEffectRotate::GetHeight() const
{
    int w, h;
    GetRotatedSize(GetPropertiesSnapshot(), int(iWidth), int(iHeight), w, h);
    return unsigned(h);
}

void QDEffectRotate::SetDimensions(const LBoundingBox2T<double>& box)
{
    QDImagePipelineElementWithWrappedProperties::SetDimensions(box);
    UpdateTransform();
}

void QDEffectRotate::EvPropertiesChanged(const QDEffectRotateProperties& oOld)
{
    UpdateTransform();
    QDImagePipelineElementWithWrappedProperties::EvPropertiesChanged(oOld);
}

void QDEffectRotate::UpdateTransform()
{
    const QDEffectRotateProperties& p = GetProperties();
    double scale = 1.0;
    if (p.bClipping)
    {
        const bool turned = IsFrameTurned(p.dRotation);
        const double s = GetClipScale(p.dRotation - (turned ? 90.0 : 0.0), int(turned ? iHeight : iWidth),
                                      int(turned ? iWidth : iHeight));
        scale = s > 0 ? 1.0 / s : 1.0;
    }
    int w, h;
    GetRotatedSize(p, int(iWidth), int(iHeight), w, h);
    QDSetRotationTransform(*this, p.dRotation, scale, unsigned(w), unsigned(h));
}

void QDEffectRotate::SetRotation(double degrees, bool bRegisterUndo)
{
    QDEffectRotateProperties p = GetProperties();
    p.dRotation = std::clamp(degrees, -3600.0, 3600.0);
    SetProperties(p, bRegisterUndo);
}

void QDEffectRotate::SetClipping(bool bClipping, bool bRegisterUndo)
{
    QDEffectRotateProperties p = GetProperties();
    p.bClipping = bClipping;
    SetProperties(p, bRegisterUndo);
}

LProcessResult QDEffectRotate::Render(LProcessInterface& process, LImageBuffer& buffer, bool bFullSize)
{
    if (!buffer.IsValid())
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    const QDEffectRotateProperties p = GetPropertiesSnapshot();
    // The rotation handle shows the picture as it enters, turning under the mouse.
    if (bFullSize)
    {
        const int32_t id = iInputCacheId.load(std::memory_order_acquire);
        if (id < 0)
            iInputCacheId.store(LQDCacheNewImage(buffer), std::memory_order_release);
        else
            LQDCacheSaveImage(buffer, id);
    }
    if (p.dRotation == 0)
        return QDMultiThreadedEffect::FinishRender(process, buffer);

    const double turns = TurnsOf(p.dRotation);
    const bool quarter = turns == 0 || turns == 0.25 || turns == 0.5 || turns == 0.75;
    // Any angle but a quarter turn needs 32 bits, for the transparent corners.
    LImageBuffer wide;
    const LImageBuffer* source = &buffer;
    if (!quarter && buffer.GetPixelFormat() != B8G8R8A8)
    {
        if (!LImage::New(wide, buffer.GetWidth(), buffer.GetHeight(), B8G8R8A8) || !wide.IsValid())
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
        LConvertPixelFormat(wide, buffer);
        source = &wide;
    }
    LImageBuffer rotated;
    LProcessResult result = LImage::Rotate(process, *source, rotated, turns);
    wide.Destroy();
    if (result == LProcessResultSuccess && !rotated.IsValid())
        result = LProcessResultFailed;
    if (result != LProcessResultSuccess)
    {
        if (result == LProcessResultFailed)
            process.SetError("Out of memory");
        return result;
    }
    process.SetProgress(0.7);

    if (lpBackground && lpBackground->alpha > 0 && rotated.GetPixelFormat() == B8G8R8A8)
    {
        LImageBuffer under;
        if (!LCreateBlankImage(under, rotated.GetWidth(), rotated.GetHeight(), lpBackground->ToPixel()))
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
        QDAlphaBlendOver(under, rotated);
        rotated.Assign(under);
    }

    const int w = buffer.GetWidth(), h = buffer.GetHeight();
    if (!p.bClipping)
    {
        int W, H;
        GetRotatedSize(p, w, h, W, H);
        if (!QDFitCentred(rotated, W, H))
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
        buffer.Assign(rotated);
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    }

    // Cut the corners: the largest upright rectangle of the frame's proportions, scaled back to the
    // frame's size by nearest neighbour.
    const bool turned = IsFrameTurned(p.dRotation);
    const int fw = turned ? h : w, fh = turned ? w : h;
    const double s = GetClipScale(p.dRotation - (turned ? 90.0 : 0.0), fw, fh);
    const int cw = std::max(int(std::floor(fw * s)), 1), ch = std::max(int(std::floor(fh * s)), 1);
    LImageBuffer clipped;
    if (!LImage::New(clipped, fw, fh, rotated.GetPixelFormat()) || !clipped.IsValid())
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    LImgProScaleNe nearest;
    nearest.dLeft = (rotated.GetWidth() - cw) / 2;
    nearest.dTop = (rotated.GetHeight() - ch) / 2;
    nearest.dWidth = cw;
    nearest.dHeight = ch;
    result = LApplyImageProcess(clipped, rotated, nearest, process);
    if (result != LProcessResultSuccess)
    {
        if (result == LProcessResultFailed)
            process.SetError("Out of memory");
        return result;
    }
    buffer.Assign(clipped);
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}

LProcessResult QDEffectRotate::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    return Render(process, buffer, buffer.GetWidth() == int(iWidth) && buffer.GetHeight() == int(iHeight));
}

LProcessResult QDEffectRotate::RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    return Render(process, buffer, false);
}

QDEffectRotateFactory::QDEffectRotateFactory()
    : QDEffectFactory(QDEffectCatalogueFind(kCommandId)->szName,
                      QDEffectCatalogueFind(kCommandId)->szDescription,
                      QDEffectCatalogueFind(kCommandId)->sIconId, QDEffectTypeIdentifier(kCommandId))
{
}

QDImagePipelineElement* QDEffectRotateFactory::CreateLayer(QDProject& project, LWindow*, bool bAddUndo)
{
    QDEffectRotate* element = new QDEffectRotate;
    element->lpBackground = &project.crBackground;
    project.AddPipelineElement(element, bAddUndo);
    return element;
}

QDImagePipelineElement* QDEffectRotateFactory::CreateLayer(QDImagePipeline& pipeline)
{
    QDEffectRotate* element = new QDEffectRotate;
    pipeline.AddElement(element);
    return element;
}

QDImagePipelineElement* QDEffectRotateFactory::CreateLayer() const
{
    return new QDEffectRotate;
}
