#include "effects/QDEffectResize.h"

#include <algorithm>
#include <cmath>

#include "document/QDProject.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectFactoryDefault.h"
#include "effects/QDEffectGeometry.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImageTransform.h"
#include "image/LImgProColour.h"

namespace
{
constexpr int kCommandId = 6039;
constexpr int kSimpleCommandId = 6040;
constexpr int kMaxSide = 100000;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectResizeProperties, iWidth, 12, 0, 0, kMaxSide, "width", "Width:"),
    QD_PROPERTY(QDEffectResizeProperties, iHeight, 13, 0, 0, kMaxSide, "height", "Height:"),
    QD_PROPERTY(QDEffectResizeProperties, iSourceWidth, 35, 0, 0, kMaxSide, "sourcewidth", "Source width"),
    QD_PROPERTY(QDEffectResizeProperties, iSourceHeight, 36, 0, 0, kMaxSide, "sourceheight", "Source height"),
    QD_PROPERTY(QDEffectResizeProperties, bKeepAspect, 37, true, 0, 1, "keepaspect", "Keep Aspect Ratio")
        .Control(QDControlCheck),
};

constexpr QDPropertyDesc kSimpleTable[] = {
    QD_PROPERTY(QDEffectResizeSimpleProperties, iResizeType, 37, 0, 0, 3, "type", "Resize by")
        .Radio("Fit|Auto Height|Auto Width|Percent"),
    QD_PROPERTY(QDEffectResizeSimpleProperties, iResizeWidth, 12, 800, 1, kMaxSide, "width", "Width:")
        .Control(QDControlNumber),
    QD_PROPERTY(QDEffectResizeSimpleProperties, iResizeHeight, 13, 600, 1, kMaxSide, "height", "Height:")
        .Control(QDControlNumber),
    QD_PROPERTY(QDEffectResizeSimpleProperties, fPercent, 5, 1.0, 0.01, 10.0, "percent", "%")
        .Control(QDControlNumber),
};

int ClampSide(double v)
{
    return int(std::clamp(v, 1.0, double(kMaxSide)));
}
} // namespace

LProcessResult QDResizeBuffer(LProcessInterface& process, LImageBuffer& buffer, int width, int height)
{
    if (buffer.GetWidth() == width && buffer.GetHeight() == height)
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    LImageBuffer scaled;
    const LProcessResult result =
        LImage::Resize(process, buffer, scaled, width, height, false, LImage::ResizeBilinear);
    if (result == LProcessResultCancelled)
        return result;
    if (result != LProcessResultSuccess || !scaled.IsValid())
    {
        // The stepper can't take a side of one pixel; nearest neighbour can.
        if (result == LProcessResultSuccess || buffer.GetPixelFormat() == B8G8R8A8 ||
            LImage::Resize(process, buffer, scaled, width, height, false, LImage::ResizeNearest) !=
                LProcessResultSuccess ||
            !scaled.IsValid())
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
    }
    buffer.Assign(scaled);
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}

// ---- Resize

QDEffectResize::QDEffectResize(unsigned* ppi)
    : QDImagePipelineElementWithWrappedProperties(kTable), lpPPI(ppi)
{
}

const char* QDEffectResize::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectResize::GetName() const
{
    return QDEffectElementName(kCommandId);
}

unsigned QDEffectResize::GetWidth() const
{
    const int32_t w = GetPropertiesSnapshot().iWidth;
    return w > 0 ? unsigned(w) : iWidth;
}

unsigned QDEffectResize::GetHeight() const
{
    const int32_t h = GetPropertiesSnapshot().iHeight;
    return h > 0 ? unsigned(h) : iHeight;
}

void QDEffectResize::SetDimensions(const LBoundingBox2T<double>& box)
{
    QDImagePipelineElementWithWrappedProperties::SetDimensions(box);
    QDEffectResizeProperties p = GetProperties();
    if ((p.iWidth <= 0 || p.iHeight <= 0) && iWidth > 0 && iHeight > 0)
    {
        p.iWidth = p.iSourceWidth = ClampSide(iWidth);
        p.iHeight = p.iSourceHeight = ClampSide(iHeight);
        InitProperties(p);
    }
    else
        UpdateTransform();
}

void QDEffectResize::EvPropertiesChanged(const QDEffectResizeProperties& oOld)
{
    UpdateTransform();
    QDImagePipelineElementWithWrappedProperties::EvPropertiesChanged(oOld);
}

void QDEffectResize::UpdateTransform()
{
    const unsigned w = GetWidth(), h = GetHeight();
    const double sx = iWidth ? double(w) / iWidth : 1.0, sy = iHeight ? double(h) / iHeight : 1.0;
    // Pixel centres map onto pixel centres.
    QDSetAxisTransform(*this, sx, 0.5 * sx - 0.5, sy, 0.5 * sy - 0.5, w, h);
}

LProcessResult QDEffectResize::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectResizeProperties p = GetPropertiesSnapshot();
    if (p.iWidth <= 0 || p.iHeight <= 0)
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    return QDResizeBuffer(process, buffer, p.iWidth, p.iHeight);
}

LProcessResult QDEffectResize::RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectResizeProperties p = GetPropertiesSnapshot();
    if (p.iWidth <= 0 || p.iHeight <= 0)
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    // The preview scales the size by the buffer's share of the picture that enters.
    const double inW = iWidth ? iWidth : (p.iSourceWidth > 0 ? p.iSourceWidth : buffer.GetWidth());
    const double inH = iHeight ? iHeight : (p.iSourceHeight > 0 ? p.iSourceHeight : buffer.GetHeight());
    const int w = std::max(int(Round(p.iWidth * buffer.GetWidth() / inW)), 1);
    const int h = std::max(int(Round(p.iHeight * buffer.GetHeight() / inH)), 1);
    return QDResizeBuffer(process, buffer, w, h);
}

double QDEffectResize::ToUnit(int pixels, int source, ResizeUnitType unit) const
{
    switch (unit)
    {
    case Percentage:
        return source > 0 ? double(pixels) / source * 100.0 : 100.0;
    case Inches:
        return double(pixels) / GetPPI();
    case Millimeters:
        return double(pixels) / GetPPI() * 25.4;
    default:
        return pixels;
    }
}

int QDEffectResize::FromUnit(double value, int source, ResizeUnitType unit) const
{
    switch (unit)
    {
    case Percentage:
        return ClampSide(Round(value * source / 100.0));
    case Inches:
        return ClampSide(Round(value * GetPPI()));
    case Millimeters:
        return ClampSide(Round(value / 25.4 * GetPPI()));
    default:
        return ClampSide(Round(value));
    }
}

double QDEffectResize::GetResizeWidth(ResizeUnitType unit) const
{
    const QDEffectResizeProperties& p = GetProperties();
    return ToUnit(p.iWidth, p.iSourceWidth, unit);
}

double QDEffectResize::GetResizeHeight(ResizeUnitType unit) const
{
    const QDEffectResizeProperties& p = GetProperties();
    return ToUnit(p.iHeight, p.iSourceHeight, unit);
}

void QDEffectResize::SetResizeWidth(double value, ResizeUnitType unit, bool bRegisterUndo)
{
    QDEffectResizeProperties p = GetProperties();
    p.iWidth = FromUnit(value, p.iSourceWidth, unit);
    if (p.bKeepAspect && p.iSourceWidth > 0)
        p.iHeight = ClampSide(Round(double(p.iWidth) * p.iSourceHeight / p.iSourceWidth));
    SetProperties(p, bRegisterUndo);
}

void QDEffectResize::SetResizeHeight(double value, ResizeUnitType unit, bool bRegisterUndo)
{
    QDEffectResizeProperties p = GetProperties();
    p.iHeight = FromUnit(value, p.iSourceHeight, unit);
    if (p.bKeepAspect && p.iSourceHeight > 0)
        p.iWidth = ClampSide(Round(double(p.iHeight) * p.iSourceWidth / p.iSourceHeight));
    SetProperties(p, bRegisterUndo);
}

void QDEffectResize::SetKeepAspect(bool bKeep, bool bRegisterUndo)
{
    QDEffectResizeProperties p = GetProperties();
    p.bKeepAspect = bKeep;
    SetProperties(p, bRegisterUndo);
}

void QDEffectResize::SetPPI(unsigned ppi)
{
    if (lpPPI && ppi > 0)
        *lpPPI = ppi;
    Notify();
}

void QDEffectResize::Reset()
{
    QDEffectResizeProperties p = GetProperties();
    if (iWidth > 0 && iHeight > 0)
    {
        p.iSourceWidth = ClampSide(iWidth);
        p.iSourceHeight = ClampSide(iHeight);
    }
    p.iWidth = p.iSourceWidth;
    p.iHeight = p.iSourceHeight;
    p.bKeepAspect = true;
    if (lpPPI)
        *lpPPI = 300;
    SetProperties(p, true);
}

QDEffectResizeFactory::QDEffectResizeFactory()
    : QDEffectFactory(QDEffectCatalogueFind(kCommandId)->szName,
                      QDEffectCatalogueFind(kCommandId)->szDescription,
                      QDEffectCatalogueFind(kCommandId)->sIconId, QDEffectTypeIdentifier(kCommandId))
{
}

QDImagePipelineElement* QDEffectResizeFactory::CreateLayer(QDProject& project, LWindow*, bool bAddUndo)
{
    QDEffectResize* element = new QDEffectResize(&project.GetPPIRef());
    element->lpBackground = &project.crBackground;
    project.AddPipelineElement(element, bAddUndo);
    return element;
}

QDImagePipelineElement* QDEffectResizeFactory::CreateLayer(QDImagePipeline& pipeline)
{
    QDEffectResize* element = new QDEffectResize;
    pipeline.AddElement(element);
    return element;
}

QDImagePipelineElement* QDEffectResizeFactory::CreateLayer() const
{
    return new QDEffectResize;
}

// ---- Resize Simple

QDEffectResizeSimple::QDEffectResizeSimple() : QDImagePipelineElementWithWrappedProperties(kSimpleTable) {}

const char* QDEffectResizeSimple::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kSimpleCommandId);
}

const char* QDEffectResizeSimple::GetName() const
{
    return QDEffectElementName(kSimpleCommandId);
}

void QDEffectResizeSimple::GetTargetSize(const QDEffectResizeSimpleProperties& p, int w, int h, int& W,
                                         int& H)
{
    W = w, H = h;
    if (w <= 0 || h <= 0)
        return;
    const double a = double(w) / h;
    switch (p.iResizeType)
    {
    case Fit:
    {
        const double s = std::min(double(p.iResizeWidth) / w, double(p.iResizeHeight) / h);
        W = ClampSide(Round(w * s));
        H = ClampSide(Round(h * s));
        break;
    }
    case AutoHeight:
        W = ClampSide(p.iResizeWidth);
        H = ClampSide(Round(p.iResizeWidth / a));
        break;
    case AutoWidth:
        W = ClampSide(Round(p.iResizeHeight * a));
        H = ClampSide(p.iResizeHeight);
        break;
    default:
        W = ClampSide(Round(w * double(p.fPercent)));
        H = ClampSide(Round(h * double(p.fPercent)));
        break;
    }
}

unsigned QDEffectResizeSimple::GetWidth() const
{
    int w, h;
    GetTargetSize(GetPropertiesSnapshot(), int(iWidth), int(iHeight), w, h);
    return unsigned(w);
}

unsigned QDEffectResizeSimple::GetHeight() const
{
    int w, h;
    GetTargetSize(GetPropertiesSnapshot(), int(iWidth), int(iHeight), w, h);
    return unsigned(h);
}

void QDEffectResizeSimple::SetDimensions(const LBoundingBox2T<double>& box)
{
    QDImagePipelineElementWithWrappedProperties::SetDimensions(box);
    UpdateTransform();
}

void QDEffectResizeSimple::EvPropertiesChanged(const QDEffectResizeSimpleProperties& oOld)
{
    UpdateTransform();
    QDImagePipelineElementWithWrappedProperties::EvPropertiesChanged(oOld);
}

void QDEffectResizeSimple::UpdateTransform()
{
    const unsigned w = GetWidth(), h = GetHeight();
    const double sx = iWidth ? double(w) / iWidth : 1.0, sy = iHeight ? double(h) / iHeight : 1.0;
    QDSetAxisTransform(*this, sx, 0.5 * sx - 0.5, sy, 0.5 * sy - 0.5, w, h);
}

LProcessResult QDEffectResizeSimple::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    int w, h;
    GetTargetSize(GetPropertiesSnapshot(), buffer.GetWidth(), buffer.GetHeight(), w, h);
    return QDResizeBuffer(process, buffer, w, h);
}

LProcessResult QDEffectResizeSimple::RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    if (!iWidth || !iHeight)
        return RenderHighResImage(process, buffer);
    int w, h;
    GetTargetSize(GetPropertiesSnapshot(), int(iWidth), int(iHeight), w, h);
    return QDResizeBuffer(process, buffer, std::max(int(Round(double(w) * buffer.GetWidth() / iWidth)), 1),
                          std::max(int(Round(double(h) * buffer.GetHeight() / iHeight)), 1));
}
