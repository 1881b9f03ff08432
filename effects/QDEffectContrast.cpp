#include "effects/QDEffectContrast.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectCurves.h"
#include "image/LImgProColour.h"

namespace
{
constexpr int kCommandId = 6005;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(double, 5, 0.0, -1.0, 1.0, "contrast", "Contrast")
        .Slider("Low", "High", -100, 100, QDScaleHundredth),
};
} // namespace

QDEffectContrast::QDEffectContrast() : QDImagePipelineElementWithDoubleProperties(kTable) {}

const char* QDEffectContrast::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectContrast::GetName() const
{
    return QDEffectElementName(kCommandId);
}

int QDEffectContrast::PointOffset(double c)
{
    return int(Round(float(c) * 16));
}

LProcessResult QDEffectContrast::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const double c = GetPropertiesSnapshot();
    if (c == 0)
        return LProcessResultSuccess;
    const int o = PointOffset(c);
    LCurveSettings curve;
    curve.AddPoint(64 + o, 64 - o);
    curve.AddPoint(192 - o, 192 + o);
    curve.UpdateCurveValues();
    return QDRenderRGBCurve(process, buffer, curve);
}
