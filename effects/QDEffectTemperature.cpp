#include "effects/QDEffectTemperature.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProTemperature.h"

namespace
{
constexpr int kCommandId = 6018;

// The matrix is made for -64..64, which is 128 times this range; beyond it its bytes wrap.
constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(double, 5, 0.0, -0.5, 0.5, "temperature", "Temperature")
        .Slider("Cool", "Warm", -100, 100, QDScaleRatio),
};
} // namespace

QDEffectTemperature::QDEffectTemperature() : QDImagePipelineElementWithDoubleProperties(kTable) {}

const char* QDEffectTemperature::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectTemperature::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectTemperature::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    LImgProTemperature temperature(int(128.0 * GetPropertiesSnapshot()));
    const LProcessResult r = LApplyImageProcess(buffer, temperature, process);
    if (r != LProcessResultSuccess)
    {
        if (r == LProcessResultFailed)
            process.SetError("Out of memory");
        return r;
    }
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
