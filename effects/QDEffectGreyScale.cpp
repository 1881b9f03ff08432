#include "effects/QDEffectGreyScale.h"

#include "effects/QDEffectCatalogue.h"

namespace
{
constexpr int kCommandId = 6021;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectGreyScaleProperties, fStrength, 5, 1.0, 0.0, 1.0, "strength", "Strength")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
    QD_PROPERTY(QDEffectGreyScaleProperties, iFilter, 6, 0, 0, 3, "filter", "Color Filter:")
        .Choices("Default|Red Filter|Green Filter|Blue Filter"),
};
} // namespace

QDEffectGreyScale::QDEffectGreyScale() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectGreyScale::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectGreyScale::GetName() const
{
    return QDEffectElementName(kCommandId);
}

void QDEffectGreyScale::GetFilter(int32_t filter, double& wr, double& wg, double& wb)
{
    switch (filter)
    {
    case Default:
        wr = 0.2126, wg = 0.7152, wb = 0.0722;
        break;
    case RedFilter:
        wr = 1, wg = 0, wb = 0;
        break;
    // Blue carries a third of it: the program's own green filter.
    case GreenFilter:
        wr = 0, wg = 2.0 / 3.0, wb = 1.0 / 3.0;
        break;
    case BlueFilter:
        wr = 0, wg = 0, wb = 1;
        break;
    default:
        wr = wg = wb = 1.0 / 3.0;
        break;
    }
}

void QDEffectGreyScale::Render(LImageIterator& iterator) const
{
    QDMapPixels(iterator, oPixel);
}

LProcessResult QDEffectGreyScale::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectGreyScaleProperties p = GetPropertiesSnapshot();
    GetFilter(p.iFilter, oPixel.wr, oPixel.wg, oPixel.wb);
    // Below full strength the grey is blended back over the original in the same pass, which
    // spares the copy of the picture.
    std::unique_ptr<QDBlendTable> blend;
    oPixel.lpBlend = nullptr;
    if (p.fStrength < 1)
    {
        blend.reset(new QDBlendTable(p.fStrength));
        if (!blend->IsValid())
            return LProcessResultFailed;
        oPixel.lpBlend = blend.get();
    }
    const pixelformat_t pf = buffer.GetPixelFormat();
    LProcessResult r = LProcessResultSuccess;
    if (pf == B8G8R8A8 || pf == B8G8R8)
        r = QDMapPixels(process, buffer, oPixel);
    else
        RenderMultiThreaded(buffer);
    oPixel.lpBlend = nullptr;
    if (r == LProcessResultCancelled)
        return r;
    return FinishRender(process, buffer);
}
