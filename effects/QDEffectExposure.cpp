#include "effects/QDEffectExposure.h"

#include <cmath>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProExposure.h"

namespace
{
constexpr int kCommandId = 6008;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(double, 5, 0.0, -1.0, 1.0, "exposure", "Exposure")
        .Slider("Under", "Over", -100, 100, QDScaleHundredth),
};
} // namespace

QDEffectExposure::QDEffectExposure() : QDImagePipelineElementWithDoubleProperties(kTable) {}

const char* QDEffectExposure::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectExposure::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectExposure::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    LImgProExposure exposure(std::pow(10.0, GetPropertiesSnapshot()));
    const LProcessResult r = LApplyImageProcess(buffer, exposure, process);
    if (r != LProcessResultSuccess)
    {
        if (r == LProcessResultFailed)
            process.SetError("Out of memory");
        return r;
    }
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
