#include "effects/QDEffectOilPaint.h"

#include <algorithm>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectGeometry.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProColour.h"
#include "image/LImgProOilPainting.h"
#include "image/LImgProRowLoop.h"
#include "image/LImgProSimple.h"

namespace
{
constexpr int kCommandId = 6028;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectOilPaintProperties, iBrushSize, 6, 5, 0, 25, "brush", "Brush size")
        .Slider("Small Brush", "Large Brush", 0, 25, QDScalePosition),
    QD_PROPERTY(QDEffectOilPaintProperties, bUsePastels, 94, false, 0, 1, "pastels", "Use pastel colors")
        .Control(QDControlCheck),
};

// Each channel of the picture overlaid with the inverted grey of its own pixel. Formats 0 and 1.
void Pastels(LImageBuffer& image, const LImageBuffer& invertedGrey)
{
    const int w = image.GetWidth(), bpp = image.GetPixelFormat() == B8G8R8A8 ? 4 : 3;
    LProcessInterfaceVoid quiet;
    LImgProForEachRow(quiet, image.GetHeight(),
                      [&](int y)
                      {
                          uint8_t* p = image.GetRow(y);
                          const uint8_t* g = invertedGrey.GetRow(y);
                          for (int x = 0; x < w; ++x, p += bpp, g += bpp)
                              for (int c = 0; c < 3; ++c)
                                  p[c] = QDOverlayValues(p[c], g[c]);
                      });
}
} // namespace

QDEffectOilPaint::QDEffectOilPaint() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectOilPaint::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectOilPaint::GetName() const
{
    return QDEffectElementName(kCommandId);
}

int QDEffectOilPaint::GetRadius(int brushSize, double scale)
{
    return std::clamp(int(Round(brushSize * scale)), 3, 21);
}

LProcessResult QDEffectOilPaint::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectOilPaintProperties p = GetPropertiesSnapshot();
    if (p.iBrushSize <= 0)
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    LImageBuffer out;
    if (!out.AllocateNewBuffer(
            LImageFormat(buffer.GetPixelFormat(), buffer.GetWidth(), buffer.GetHeight(), false)) ||
        !out.IsValid())
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    out.Clear(LPixelColour(0, 0, 0, 255));
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (p.bUsePastels && (pf == B8G8R8A8 || pf == B8G8R8))
    {
        LImgProGreyScale grey;
        LImgProNegative negative;
        LProcessInterfaceVoid quiet;
        if (grey.Process(quiet, out, buffer) != LProcessResultSuccess ||
            LApplyImageProcess(out, negative) != LProcessResultSuccess)
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
        Pastels(buffer, out);
    }
    if (process.IsToStop())
        return LProcessResultCancelled;
    LImgProOilPainting oil(GetRadius(p.iBrushSize, QDPreviewScale(*this, buffer)));
    const LProcessResult r = LApplyImageProcess(out, buffer, oil, process);
    if (r != LProcessResultSuccess)
    {
        if (r == LProcessResultFailed)
            process.SetError("Out of memory");
        return r;
    }
    buffer.Assign(out);
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
