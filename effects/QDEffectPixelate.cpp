#include "effects/QDEffectPixelate.h"

#include <algorithm>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectGeometry.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProColour.h"
#include "image/LImgProPixelate.h"

namespace
{
constexpr int kCommandId = 6027;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(int32_t, 6, 25, 1, 100, "size", "Block size")
        .Slider("Pixelate Less", "Pixelate More", 1, 100, QDScalePosition),
};
} // namespace

QDEffectPixelate::QDEffectPixelate() : QDImagePipelineElementWithIntProperties(kTable) {}

const char* QDEffectPixelate::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectPixelate::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectPixelate::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const int32_t size = GetPropertiesSnapshot();
    if (size <= 1)
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    const int block = std::max(int(Round(size * QDPreviewScale(*this, buffer))), 1);
    LImageBuffer out;
    LImgProPixelate pixelate(block);
    const LProcessResult r = LApplyImageProcess(out, buffer, pixelate, process);
    if (r != LProcessResultSuccess || !out.IsValid())
    {
        if (r == LProcessResultCancelled)
            return r;
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    buffer.Assign(out);
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
