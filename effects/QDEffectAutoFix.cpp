#include "effects/QDEffectAutoFix.h"

#include <algorithm>
#include <cmath>
#include <mutex>

#include "effects/QDEffectAutoLevels.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectPixels.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProHLSAdjust.h"
#include "image/LImgProSS.h"

namespace
{
constexpr int kCommandId = 6012;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY_VALUE(double, 5, 1.0, 0.0, 1.0, "strength", "Strength")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
};

// HLS lightness depends on max + min alone: its bin, Round(L * 255), for each sum.
struct LightnessBins
{
    uint8_t arBin[511];
    LightnessBins()
    {
        for (int sum = 0; sum < 511; ++sum)
            arBin[sum] = uint8_t(Round(sum / 510.0 * 255));
    }
};

inline int MaxPlusMin(LPixelColour c)
{
    return std::max(c.r, std::max(c.g, c.b)) + std::min(c.r, std::min(c.g, c.b));
}
} // namespace

QDEffectAutoFix::QDEffectAutoFix() : QDImagePipelineElementWithDoubleProperties(kTable) {}

const char* QDEffectAutoFix::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectAutoFix::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectAutoFix::MapCountingLightness(LProcessInterface& process, LImageBuffer& image,
                                                     const LImgProChannelMap* map, uint64_t* hist)
{
    static const LightnessBins bins;
    std::fill(hist, hist + 256, 0);
    std::mutex lock;
    const int w = image.GetWidth();
    const pixelformat_t pf = image.GetPixelFormat();
    const int bpp = pf == B8G8R8A8 ? 4 : 3;
    return LImgProForEachRow(process, image.GetHeight(),
                             [&](int y)
                             {
                                 uint8_t* p = image.GetScanLine(y);
                                 // Counted while the row is still in the cache from its mapping.
                                 if (map)
                                     map->MapRow(p, w, pf);
                                 uint64_t row[256] = {};
                                 for (int x = 0; x < w; ++x, p += bpp)
                                     ++row[bins.arBin[MaxPlusMin(LPixelColour(p[0], p[1], p[2], 0))]];
                                 std::lock_guard<std::mutex> guard(lock);
                                 for (int i = 0; i < 256; ++i)
                                     hist[i] += row[i];
                             });
}

LProcessResult QDEffectAutoFix::Equalize(LProcessInterface& process, LImageBuffer& image, float fAmount) const
{
    uint64_t hist[256];
    if (MapCountingLightness(process, image, nullptr, hist) != LProcessResultSuccess)
        return LProcessResultCancelled;
    return EqualizeCounted(process, image, hist, fAmount);
}

LProcessResult QDEffectAutoFix::EqualizeCounted(LProcessInterface& process, LImageBuffer& image,
                                                const uint64_t* hist, float fAmount)
{
    // lut[i] is 255 times the share of pixels strictly darker than bin i, summed in float.
    LImgProHLSAdjust kernel;
    kernel.eMode = LImgProHLSAdjust::RemapLightness;
    kernel.dAmount = fAmount;
    const float total = float(uint64_t(image.GetWidth()) * uint64_t(image.GetHeight()));
    float sum = 0;
    for (int i = 0; i < 256; ++i)
    {
        kernel.arLightness[i] = std::floor(255.0f * sum) / 255.0;
        sum += float(hist[i]) / total;
    }
    return kernel.Process(process, image);
}

LProcessResult QDEffectAutoFix::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const float strength = float(GetPropertiesSnapshot());
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (!buffer.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    // The sharpening looks at neighbours, so a partial strength needs the original beside it.
    LImageBuffer original;
    if (strength < 1 && !QDCopyPicture(original, buffer))
        return LProcessResultFailed;

    // Two thirds levelled: the stretch and its blend are one table per channel.
    LImgProChannelMap map;
    if (QDEffectAutoLevels::MakeMap(process, buffer, map) != LProcessResultSuccess)
        return LProcessResultCancelled;
    QDBlendChannelMap(map, 0.67f);
    uint64_t hist[256];
    if (MapCountingLightness(process, buffer, &map, hist) != LProcessResultSuccess || process.IsToStop())
        return LProcessResultCancelled;
    if (EqualizeCounted(process, buffer, hist, 0.4f) != LProcessResultSuccess || process.IsToStop())
        return LProcessResultCancelled;

    LImgProSS ss;
    ss.SetRadius(1.0, true);
    LImageBuffer sharpened;
    const LProcessResult r = ss.Process(process, sharpened, buffer);
    if (r == LProcessResultCancelled)
        return r;
    if (r != LProcessResultSuccess || !sharpened.IsValid())
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    // Sharpening is for the colours; transparency keeps its edges.
    if (pf == B8G8R8A8)
        for (int y = 0; y < buffer.GetHeight(); ++y)
        {
            const uint8_t* s = buffer.GetScanLine(y) + 3;
            uint8_t* d = sharpened.GetScanLine(y) + 3;
            for (int x = 0; x < buffer.GetWidth(); ++x, s += 4, d += 4)
                *d = *s;
        }
    buffer.Assign(sharpened);
    if (process.IsToStop())
        return LProcessResultCancelled;
    if (strength < 1)
    {
        process.SetProgress(0.5);
        // The blend's first picture keeps its alpha, which is the original's.
        const LProcessResult blended = QDBlendPictures(process, original, buffer, strength);
        if (blended == LProcessResultCancelled)
            return blended;
        if (blended != LProcessResultSuccess)
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
        buffer.Assign(original);
    }
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
