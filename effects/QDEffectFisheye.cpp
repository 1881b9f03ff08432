#include "effects/QDEffectFisheye.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProFisheye.h"

namespace
{
constexpr int kCommandId = 6025;

// The strength slider runs from "Pincushion" to "Fisheye", which is from high strengths to low.
constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectFisheyeProperties, fStrength, 119, 0.5, 0.0, 1.0, "strength", "Distortion")
        .Slider("Pincushion", "Fisheye", 0, 100, QDScaleHundredth)
        .Inverted(),
    QD_PROPERTY(QDEffectFisheyeProperties, fZoom, 120, 1.0, 0.5, 1.5, "zoom", "Zoom")
        .Slider("Zoom-Out", "Zoom-In", 50, 150, QDScaleHundredth),
};
} // namespace

QDEffectFisheye::QDEffectFisheye() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectFisheye::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectFisheye::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectFisheye::Render(LProcessInterface& process, LImageBuffer& buffer, bool bSmooth) const
{
    const QDEffectFisheyeProperties p = GetPropertiesSnapshot();
    LImageBuffer out;
    if (!out.AllocateNewBuffer(
            LImageFormat(buffer.GetPixelFormat(), buffer.GetWidth(), buffer.GetHeight(), false)) ||
        !out.IsValid())
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    out.Clear(LPixelColour(0, 0, 0, 255));
    LImgProFisheye fisheye;
    fisheye.fPower = GetPower(p);
    fisheye.fZoom = GetKernelZoom(p);
    fisheye.bSmooth = bSmooth;
    const LProcessResult result = LApplyImageProcess(out, buffer, fisheye, process);
    if (result != LProcessResultSuccess)
    {
        if (result == LProcessResultFailed)
            process.SetError("Out of memory");
        return result;
    }
    buffer.Assign(out);
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}

LProcessResult QDEffectFisheye::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    return Render(process, buffer, true);
}

LProcessResult QDEffectFisheye::RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    return Render(process, buffer, false);
}
