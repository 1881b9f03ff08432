#include "effects/QDEffectBorder.h"

#include <algorithm>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProBorder.h"

namespace
{
constexpr int kCommandId = 6000;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectBorderProperties, bOval, 116, false, 0, 1, "oval", "Shape").Radio("Rectangular|Oval"),
    QD_PROPERTY(QDEffectBorderProperties, fRoundness, 114, 0.0, 0.0, 1.0, "roundness", "Corners")
        .Slider("Sharp", "Round", 0, 100, QDScaleHundredth),
    QD_PROPERTY(QDEffectBorderProperties, fAspect, 117, 0.0, -1.0, 1.0, "aspect", "Proportions")
        .Slider("Tall", "Wide", -100, 100, QDScaleHundredth),
    QD_PROPERTY(QDEffectBorderProperties, fWidth, 109, 0.05, 0.0, 0.5, "width", "Width")
        .Slider("Narrow", "Wide", 1, 15, QDScaleHundredth),
    QD_PROPERTY(QDEffectBorderProperties, iRed, 9, 255, 0, 255, "red", "Red").In(110),
    QD_PROPERTY(QDEffectBorderProperties, iGreen, 10, 255, 0, 255, "green", "Green").In(110),
    QD_PROPERTY(QDEffectBorderProperties, iBlue, 11, 255, 0, 255, "blue", "Blue").In(110),
    QD_PROPERTY(QDEffectBorderProperties, bInner, 111, false, 0, 1, "inner", "Inner Border")
        .Control(QDControlCheck),
    QD_PROPERTY(QDEffectBorderProperties, fInnerWidth, 112, 0.02, 0.0, 0.5, "innerwidth", "Inner width")
        .Slider("Narrow", "Wide", 0, 15, QDScaleHundredth),
    QD_PROPERTY(QDEffectBorderProperties, iInnerRed, 9, 0, 0, 255, "innerred", "Inner red").In(113),
    QD_PROPERTY(QDEffectBorderProperties, iInnerGreen, 10, 0, 0, 255, "innergreen", "Inner green").In(113),
    QD_PROPERTY(QDEffectBorderProperties, iInnerBlue, 11, 0, 0, 255, "innerblue", "Inner blue").In(113),
    QD_PROPERTY(QDEffectBorderProperties, bShadow, 115, false, 0, 1, "shadow", "Display Shadow")
        .Control(QDControlCheck),
};

// The depths of the shadows of the inner and the outer outline, at a 400-pixel side.
constexpr double kInnerShadow = 5, kOuterShadow = 8;
constexpr int kShadowOpacity = 180;

double ShadowDepth(double depth, int w, int h)
{
    return depth * std::max(std::min(w, h), 1) / 400.0;
}
} // namespace

QDEffectBorder::QDEffectBorder() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectBorder::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectBorder::GetName() const
{
    return QDEffectElementName(kCommandId);
}

std::vector<QDChunkDeclaration> QDEffectBorder::GetExtraChunkDeclarations() const
{
    return {{110, LSDFTypeContainer, "colour"}, {113, LSDFTypeContainer, "inner colour"}};
}

LFrameShape QDEffectBorder::GetFramePath(const QDEffectBorderProperties& p, int w, int h, bool bInner)
{
    const double width = bInner ? p.fWidth + p.fInnerWidth : p.fWidth;
    return LFrameShape::Bounds(w, h, width).Path(p.bOval, p.fRoundness, p.fAspect);
}

LProcessResult QDEffectBorder::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectBorderProperties p = GetPropertiesSnapshot();
    const int w = buffer.GetWidth(), h = buffer.GetHeight();
    LImageBuffer wide;
    LImageBuffer* target = &buffer;
    if (buffer.GetPixelFormat() != B8G8R8A8 && buffer.GetPixelFormat() != B8G8R8)
    {
        if (!LImage::New(wide, w, h, B8G8R8A8) || !wide.IsValid())
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
        LConvertPixelFormat(wide, buffer);
        target = &wide;
    }
    // The inner border first, so the outer one covers all but its own band.
    struct Pass
    {
        LFrameShape shape;
        double dDepth;
        LPixelColour colour;
    };
    const Pass passes[2] = {
        {GetFramePath(p, w, h, true), kInnerShadow,
         LPixelColour(uint8_t(p.iInnerBlue), uint8_t(p.iInnerGreen), uint8_t(p.iInnerRed), 255)},
        {GetFramePath(p, w, h, false), kOuterShadow,
         LPixelColour(uint8_t(p.iBlue), uint8_t(p.iGreen), uint8_t(p.iRed), 255)},
    };
    for (int i = p.bInner ? 0 : 1; i < 2; ++i)
    {
        LProcessInterfaceSubProcess step(process, i * 0.5, 0.5);
        LProcessResult r = LProcessResultSuccess;
        if (p.bShadow)
            r = LImgProDrawFrameShadow(step, *target, passes[i].shape, ShadowDepth(passes[i].dDepth, w, h),
                                       kShadowOpacity);
        if (r == LProcessResultSuccess)
            r = LImgProDrawFrame(step, *target, passes[i].shape, passes[i].colour);
        if (r != LProcessResultSuccess)
        {
            if (r == LProcessResultFailed)
                process.SetError("Out of memory");
            return r;
        }
    }
    if (target == &wide)
        LConvertPixelFormat(buffer, wide);
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
