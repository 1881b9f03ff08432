#include "effects/QDEffectCartoon.h"

#include <algorithm>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProRowLoop.h"
#include "image/LImgProSS.h"
#include "image/LImgProSimple.h"
#include "image/LImgProSobelEdgeDetector.h"
#include "image/LMedianCut.h"
#include "image/LPalette.h"

namespace
{
constexpr int kCommandId = 6004;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectCartoonProperties, iColorCount, 79, 3, 2, 256, "colors", "Colors:")
        .Control(QDControlNumber),
    QD_PROPERTY(QDEffectCartoonProperties, iEdgeThreshold, 80, 128, 0, 255, "edges", "Edges")
        .Slider("Fewer Edges", "More Edges", 0, 255, QDScalePosition)
        .Inverted(),
    QD_PROPERTY(QDEffectCartoonProperties, dBlurRadius, 5, 5.0, 0.0, 10.0, "radius", "Detail")
        .Slider("Less Detail", "More Detail", 0, 1000, QDScaleHundredth)
        .Inverted(),
};
} // namespace

QDEffectCartoon::QDEffectCartoon() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectCartoon::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectCartoon::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectCartoon::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectCartoonProperties p = GetPropertiesSnapshot();
    const int w = buffer.GetWidth(), h = buffer.GetHeight();
    LImageBuffer image;
    if (!image.AllocateNewBuffer(LImageFormat(B8G8R8, w, h, false)) || !image.IsValid())
        return LProcessResultFailed;
    LConvertPixelFormat(image, buffer);
    buffer.Destroy();

    // Blurred into the scratch and back, so both hold the blurred picture.
    LImageBuffer scratch;
    LImgProSS blur;
    blur.SetRadius(-p.dBlurRadius, true);
    LProcessInterfaceSubProcess blurring(process, 0.0, 0.4);
    LProcessResult r = blur.Process(blurring, scratch, image);
    if (r != LProcessResultSuccess || !scratch.IsValid())
        return r == LProcessResultCancelled ? r : LProcessResultFailed;
    LImageBufferCopy(image, scratch);

    // Edges of the blurred picture, grey; the border rows have none.
    scratch.Clear(LPixelColour(0, 0, 0, 255));
    LProcessInterfaceSubProcess edging(process, 0.4, 0.2);
    r = LImgProSobelEdgeDetector().Process(edging, scratch, image);
    if (r != LProcessResultSuccess)
        return r;
    LImageProcessBlackAndWhite grey;
    LApplyImageProcess(scratch, grey);

    LPalette<LPFB8G8R8> palette;
    LMedianCutColor cut(image, p.iColorCount, true);
    LProcessInterfaceSubProcess cutting(process, 0.6, 0.1);
    r = cut.GetOptimizedPalette(cutting, palette);
    if (r != LProcessResultSuccess)
        return r;
    if (palette.GetCount() == 0)
        return LProcessResultFailed;

    const int threshold = p.iEdgeThreshold;
    LImgProBandRunner runner(h, 16);
    LProcessInterfaceSubProcess mapping(process, 0.7, 0.3);
    const bool stopped =
        runner.Run(mapping,
                   [&](const LImgProBand& band, LImgProBandRunner& run)
                   {
                       // The colour cache isn't shared between threads.
                       LColorMapCacheTable map(palette);
                       for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                       {
                           if (run.IsToStop(band))
                               return false;
                           uint8_t* px = image.GetRow(y);
                           const uint8_t* e = scratch.GetRow(y);
                           for (int x = 0; x < w; ++x, px += 3, e += 3)
                           {
                               const int index =
                                   map.IsValid()
                                       ? map.GetIndex(px[2], px[1], px[0])
                                       : palette.GetIndexOfClosestMatch(*reinterpret_cast<LPFB8G8R8*>(px));
                               const LPFB8G8R8& c = palette[index];
                               const int ink = *e < threshold ? 0 : *e;
                               px[0] = uint8_t(std::max(c.b - ink, 0));
                               px[1] = uint8_t(std::max(c.g - ink, 0));
                               px[2] = uint8_t(std::max(c.r - ink, 0));
                           }
                           run.SetProgress(band, double(y - band.iFirst + 1) / band.iCount);
                       }
                       return true;
                   });
    if (stopped)
        return LProcessResultCancelled;
    buffer.Assign(image);
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
