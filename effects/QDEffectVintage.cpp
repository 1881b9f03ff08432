#include "effects/QDEffectVintage.h"

#include <algorithm>
#include <cmath>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectOilPaint.h"
#include "image/LImgProColour.h"
#include "image/LImgProRowLoop.h"

namespace
{
constexpr int kCommandId = 6034;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectVintageProperties, bBleach, 81, true, 0, 1, "bleach", "Bleach")
        .Control(QDControlCheck),
    QD_PROPERTY(QDEffectVintageProperties, fBleachStrength, 82, 0.75, 0.0, 1.0, "bleachstrength", "Bleach")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
    QD_PROPERTY(QDEffectVintageProperties, bVignette, 83, true, 0, 1, "vignette", "Vignette")
        .Control(QDControlCheck),
    QD_PROPERTY(QDEffectVintageProperties, fVignetteSize, 84, 0.2, 0.0, 0.5, "vignettesize", "Vignette size")
        .Slider("Small", "Large", 0, 50, QDScaleHundredth),
    QD_PROPERTY(QDEffectVintageProperties, fVignetteStrength, 85, 0.3, 0.0, 1.5, "vignettestrength",
                "Vignette strength")
        .Slider("Less", "More", 0, 150, QDScaleHundredth),
};

constexpr uint8_t kBlack = 28, kWhite = 238;
} // namespace

QDEffectVintage::QDEffectVintage() : QDImagePipelineElementWithWrappedProperties(kTable)
{
    for (int v = 0; v < 256; ++v)
    {
        // The overlay of a value with itself is a soft S; squeezed into the print's range.
        const int s = QDOverlayValues(v, v);
        arFade[v] = uint8_t(kBlack + (s * (kWhite - kBlack) + 127) / 255);
    }
}

const char* QDEffectVintage::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectVintage::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LPixelColour QDEffectVintage::Bleach(LPixelColour c, float strength) const
{
    LColourHLS hls;
    hls = LColourRGB(c);
    // Half the colour goes, and the pixel's own grey is laid over what is left.
    hls.dSaturation *= 0.5;
    LColourRGB muted;
    muted = hls;
    const int grey = int(hls.dLightness * 255 + 0.5);
    const int in[3] = {c.r, c.g, c.b};
    const int mixed[3] = {QDOverlayValues(muted.r, grey), QDOverlayValues(muted.g, grey),
                          QDOverlayValues(muted.b, grey)};
    // Warm: red a little up, blue a little down, through the print's response.
    const int toned[3] = {std::min(arFade[mixed[0]] + 6, 255), arFade[mixed[1]],
                          std::max(arFade[mixed[2]] - 10, 0)};
    int out[3];
    for (int i = 0; i < 3; ++i)
        out[i] = int(in[i] + (toned[i] - in[i]) * strength);
    return LPixelColour(uint8_t(out[2]), uint8_t(out[1]), uint8_t(out[0]), c.a);
}

void QDEffectVintage::Render(LImageIterator& it) const
{
    const float strength = fRoundStrength;
    for (; !it.IsEnd(); it.Next())
        it.Write(Bleach(it.Read(), strength));
}

float QDEffectVintage::VignetteKeep(float distance, float size, float strength)
{
    // Darkening starts size/0.5 of the way in from the corners' circle and grows with the square.
    const float start = 1.0f - 1.2f * size;
    if (distance <= start)
        return 1.0f;
    const float t = std::min((distance - start) / (1.5f - start), 1.0f);
    return std::max(1.0f - strength * t * t, 0.0f);
}

LProcessResult QDEffectVintage::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectVintageProperties p = GetPropertiesSnapshot();
    if (p.bBleach)
    {
        fRoundStrength = std::clamp(p.fBleachStrength, 0.0f, 1.0f);
        RenderMultiThreaded(buffer);
        process.SetProgress(0.5);
    }
    if (p.bVignette && buffer.IsValid())
    {
        const int w = buffer.GetWidth(), h = buffer.GetHeight();
        const float hw = std::max(w / 2.0f, 0.5f), hh = std::max(h / 2.0f, 0.5f);
        const float size = std::clamp(p.fVignetteSize, 0.0f, 0.5f),
                    strength = std::max(p.fVignetteStrength, 0.0f);
        const LImageConstIterator::ReadFunc read = LGetPixelReadFunc(buffer.GetPixelFormat());
        const LImageIterator::WriteFunc write = LGetPixelWriteFunc(buffer.GetPixelFormat());
        const int bpp = std::max(LGetPixelFormatBits(buffer.GetPixelFormat()) / 8, 1);
        LProcessInterfaceVoid quiet;
        LImgProForEachRow(quiet, h,
                          [&](int y)
                          {
                              uint8_t* row = buffer.GetRow(y);
                              const float dy = (y + 0.5f - hh) / hh;
                              for (int x = 0; x < w; ++x)
                              {
                                  const float dx = (x + 0.5f - hw) / hw;
                                  const float keep =
                                      VignetteKeep(std::sqrt(dx * dx + dy * dy), size, strength);
                                  if (keep >= 1.0f)
                                      continue;
                                  uint8_t* at = row + size_t(x) * bpp;
                                  LPixelColour c = read(at);
                                  c.r = uint8_t(c.r * keep);
                                  c.g = uint8_t(c.g * keep);
                                  c.b = uint8_t(c.b * keep);
                                  write(at, c);
                              }
                          });
    }
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
