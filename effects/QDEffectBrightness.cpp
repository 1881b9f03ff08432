#include "effects/QDEffectBrightness.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectCurves.h"

namespace
{
constexpr int kCommandId = 6003;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(double, 5, 0.0, -1.0, 1.0, "brightness", "Brightness")
        .Slider("Dark", "Bright", -100, 100, QDScaleHundredth),
};
} // namespace

QDEffectBrightness::QDEffectBrightness() : QDImagePipelineElementWithDoubleProperties(kTable) {}

const char* QDEffectBrightness::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectBrightness::GetName() const
{
    return QDEffectElementName(kCommandId);
}

bool QDEffectBrightness::CurvePoint(double b, int& x, int& y)
{
    if (b == 0)
        return false;
    const float a = float(b < 0 ? -b : b);
    const int bent = int((1 - a) * 128 + a * 254);
    x = b < 0 ? bent : 128;
    y = b < 0 ? 128 : bent;
    return true;
}

LProcessResult QDEffectBrightness::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    int x, y;
    if (!CurvePoint(GetPropertiesSnapshot(), x, y))
        return LProcessResultSuccess;
    LCurveSettings curve;
    curve.AddPoint(x, y);
    curve.UpdateCurveValues();
    return QDRenderRGBCurve(process, buffer, curve);
}
