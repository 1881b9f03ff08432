#include "effects/QDEffectSharpen.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProBands.h"
#include "image/LImgProColour.h"
#include "image/LImgProSS.h"

namespace
{
constexpr int kCommandId = 6023;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectSharpenProperties, bSimple, 59, true, 0, 1, "simple", "Simple"),
    QD_PROPERTY(QDEffectSharpenProperties, iAmount, 60, 50, 0, 100, "amount", "Amount")
        .Slider("Less", "More", 0, 100, QDScalePosition),
    QD_PROPERTY(QDEffectSharpenProperties, iThreshold, 61, 5, 0, 255, "threshold", "Threshold:")
        .Control(QDControlNumber),
    QD_PROPERTY(QDEffectSharpenProperties, dRadius, 19, 5.0, 0.0, 100.0, "radius", "Radius (pixels):")
        .Control(QDControlNumber),
    QD_PROPERTY(QDEffectSharpenProperties, dAdvancedAmount, 62, 1.0, 0.0, 10.0, "advamount", "Amount:")
        .Control(QDControlNumber),
};

inline double Luma(const uint8_t* p)
{
    return 0.299 * p[2] + 0.587 * p[1] + 0.114 * p[0];
}
} // namespace

QDEffectSharpen::QDEffectSharpen() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectSharpen::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectSharpen::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectSharpen::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectSharpenProperties p = GetPropertiesSnapshot();
    return p.bSimple ? RenderSimple(process, buffer, p) : RenderAdvanced(process, buffer, p);
}

LProcessResult QDEffectSharpen::RenderSimple(LProcessInterface& process, LImageBuffer& buffer,
                                             const QDEffectSharpenProperties& p) const
{
    // The radius is a share of the picture at full size, so the preview on its smaller buffer
    // sharpens the same share of it.
    const double elementWidth = iWidth ? double(iWidth) : double(buffer.GetWidth());
    const double elementHeight = iHeight ? double(iHeight) : double(buffer.GetHeight());
    const double a = p.iAmount / 100.0;
    const double r =
        a * a * std::min(elementWidth, elementHeight) / 40.0 * (buffer.GetWidth() / elementWidth);
    LImgProSS ss;
    ss.SetRadius(r, double(buffer.GetWidth()) == elementWidth);
    LImageBuffer out;
    const LProcessResult result = ss.Process(process, out, buffer);
    if (result == LProcessResultCancelled)
        return result;
    if (result != LProcessResultSuccess || !out.IsValid())
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    if (buffer.GetPixelFormat() == B8G8R8A8)
        for (int y = 0; y < buffer.GetHeight(); ++y)
        {
            const uint8_t* s = buffer.GetScanLine(y) + 3;
            uint8_t* d = out.GetScanLine(y) + 3;
            for (int x = 0; x < buffer.GetWidth(); ++x, s += 4, d += 4)
                *d = *s;
        }
    buffer.Assign(out);
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}

LProcessResult QDSharpenThresholded(LProcessInterface& process, LImageBuffer& image,
                                    const LImageBuffer& sharpened, int threshold, double amount)
{
    const int w = image.GetWidth(), h = image.GetHeight();
    const int bpp = image.GetPixelFormat() == B8G8R8A8 ? 4 : 3;
    LImgProBandRunner runner(h, 16);
    std::vector<double> bandMax(size_t(runner.iBands), 0.0);
    const int per = h / runner.iBands;
    auto bandIndex = [&](const LImgProBand& band)
    { return std::min(per ? band.iFirst / per : 0, runner.iBands - 1); };
    if (runner.Run(process,
                   [&](const LImgProBand& band, LImgProBandRunner& run)
                   {
                       double m = 0;
                       for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                       {
                           if (run.IsToStop(band))
                               return false;
                           const uint8_t* a = image.GetScanLine(y);
                           const uint8_t* s = sharpened.GetScanLine(y);
                           for (int x = 0; x < w; ++x, a += bpp, s += bpp)
                               m = std::max(m, std::fabs(Luma(s) - Luma(a)));
                       }
                       bandMax[size_t(bandIndex(band))] = m;
                       return true;
                   }))
        return LProcessResultCancelled;
    const double maxAbs = *std::max_element(bandMax.begin(), bandMax.end());
    process.SetProgress(0.85);
    // Nothing passes the test when nothing differs.
    if (maxAbs == 0)
        return LProcessResultSuccess;
    const double t = threshold, t3 = t * t * t;
    static constexpr double weight[3] = {0.114, 0.587, 0.299}; // blue, green, red
    if (runner.Run(process,
                   [&](const LImgProBand& band, LImgProBandRunner& run)
                   {
                       for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                       {
                           if (run.IsToStop(band))
                               return false;
                           uint8_t* a = image.GetScanLine(y);
                           const uint8_t* s = sharpened.GetScanLine(y);
                           for (int x = 0; x < w; ++x, a += bpp, s += bpp)
                           {
                               double d = Luma(s) - Luma(a);
                               if (std::fabs(d) < t)
                               {
                                   const double d2 = d * d;
                                   d = (d < 0 ? -1.0 : 1.0) * d2 * d2 / t3;
                               }
                               d = d / maxAbs * 255.0;
                               if (std::fabs(d) <= 0.08)
                                   continue;
                               for (int c = 0; c < 3; ++c)
                                   a[c] =
                                       uint8_t(std::clamp(Round(a[c] + weight[c] * d * amount), 0.0, 255.0));
                           }
                       }
                       return true;
                   }))
        return LProcessResultCancelled;
    return LProcessResultSuccess;
}

LProcessResult QDEffectSharpen::RenderAdvanced(LProcessInterface& process, LImageBuffer& buffer,
                                               const QDEffectSharpenProperties& p) const
{
    LImgProSS ss;
    ss.SetRadius(p.dRadius, true);
    LImageBuffer sharpened;
    LProcessResult result = ss.Process(process, sharpened, buffer);
    if (result == LProcessResultCancelled)
        return result;
    if (result != LProcessResultSuccess || !sharpened.IsValid())
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    process.SetProgress(0.6);
    result = QDSharpenThresholded(process, buffer, sharpened, p.iThreshold, p.dAdvancedAmount);
    if (result != LProcessResultSuccess)
        return result;
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
