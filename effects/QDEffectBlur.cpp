#include "effects/QDEffectBlur.h"

#include <cmath>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProMotionBlur.h"
#include "image/LImgProSS.h"

namespace
{
constexpr int kCommandId = 6022;

// The slider's top, (1 * 20)^2.1, with room above for scripts.
constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectBlurProperties, dRadius, 5, 20.0, 0.0, 1000.0, "radius", "Radius"),
    QD_PROPERTY(QDEffectBlurProperties, iBlurType, 6, 0, 0, 2, "type", "Blur type")
        .Choices("Standard Blur|Spin Blur|Zoom Blur"),
};
} // namespace

QDEffectBlur::QDEffectBlur() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectBlur::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectBlur::GetName() const
{
    return QDEffectElementName(kCommandId);
}

double QDEffectBlur::RatioToRadius(double ratio)
{
    return std::pow(ratio * 20.0, 2.1);
}

double QDEffectBlur::RadiusToRatio(double radius)
{
    return radius > 0 ? std::pow(radius, 1.0 / 2.1) / 20.0 : 0.0;
}

LProcessResult BlurGaussian(LProcessInterface& process, LImageBuffer& buffer, double r)
{
    LImgProSS ss;
    ss.SetRadius(-r, true);
    // The filter may work in place, which spares a second picture of the full size.
    return ss.Process(process, buffer, buffer);
}

LProcessResult QDEffectBlur::Render(LProcessInterface& process, LImageBuffer& buffer, double scale) const
{
    const QDEffectBlurProperties p = GetPropertiesSnapshot();
    const double r = p.dRadius * scale;
    LProcessResult result;
    if (p.iBlurType == Standard)
        result = BlurGaussian(process, buffer, r);
    else
    {
        result = LImgProMotionBlur(process, buffer, r, buffer.GetWidth() / 2, buffer.GetHeight() / 2,
                                   p.iBlurType == Spin);
        if (result == LProcessResultFailed)
            process.SetError("Out of memory");
    }
    if (result != LProcessResultSuccess)
        return result;
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}

LProcessResult QDEffectBlur::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    return Render(process, buffer, 1.0);
}

LProcessResult QDEffectBlur::RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    return Render(process, buffer, iWidth ? double(buffer.GetWidth()) / double(iWidth) : 1.0);
}
