#include "effects/QDEffectHue.h"

#include <cmath>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectPixels.h"

namespace
{
constexpr int kCommandId = 6016;

// In turns of the hue circle; the wheel gives -0.5 to 0.5, the range leaves room for scripts and
// keeps any number of turns a file holds.
constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(double, 5, 0.0, -100.0, 100.0, "rotation", "Rotation"),
};
} // namespace

QDEffectHue::QDEffectHue() : QDImagePipelineElementWithDoubleProperties(kTable) {}

const char* QDEffectHue::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectHue::GetName() const
{
    return QDEffectElementName(kCommandId);
}

double QDEffectHue::Turn(double rotation)
{
    return rotation - std::floor(rotation);
}

void QDEffectHue::Render(LImageIterator& iterator) const
{
    QDMapPixels(iterator, [this](LPixelColour c) { return oKernel.Apply(c); });
}

LProcessResult QDEffectHue::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    oKernel.eMode = LImgProHLSAdjust::TurnHue;
    oKernel.dTurn = Turn(GetPropertiesSnapshot());
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (pf == B8G8R8A8 || pf == B8G8R8)
    {
        if (oKernel.Process(process, buffer) == LProcessResultCancelled)
            return LProcessResultCancelled;
    }
    else
        RenderMultiThreaded(buffer);
    return FinishRender(process, buffer);
}
