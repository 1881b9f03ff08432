#pragma once
// Color Curves: four tone curves (RGB, red, green, blue), each a list of points through which a
// spline is drawn. Each channel goes through its own curve, then all three through the RGB curve.
// At full resolution the effect first counts the histograms of its input for the panel.

#include "effects/QDEffectHistograms.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "image/LImgProChannelMap.h"
#include "image/LImgProCurves.h"

struct QDEffectCurvesProperties
{
    // RGB, red, green, blue: LImgProCurves' order. Equal when their points are.
    LCurveSettings arCurves[4];
    bool operator==(const QDEffectCurvesProperties&) const = default;
};

class QDEffectCurves : public QDImagePipelineElementWithWrappedProperties<QDEffectCurvesProperties>,
                       public QDRenderInputHistograms
{
public:
    QDEffectCurves();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    std::vector<QDChunkDeclaration> GetExtraChunkDeclarations() const override;
    std::span<const QDTextProperty> GetTextProperties() const override;
    bool SetTextProperty(const char* name, const char* text, bool bRegisterUndo) override;
    std::string GetTextProperty(const char* name) const override;

    // What LImgProCurves does with these curves (their tables drawn), as one table per channel.
    static void MakeMap(const QDEffectCurvesProperties& p, LImgProChannelMap& map);
    // "X/Y+X/Y+..." and back; false for text that isn't two or more points inside 0..255.
    static std::string FormatPoints(const LCurveSettings& curve);
    static bool ParsePoints(const char* text, LCurveSettings& curve);

protected:
    bool SDFWriteMoreProperties(LSDFFileWriter& writer, const QDEffectCurvesProperties& p) override;
    void SDFLoadMoreProperty(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk,
                             QDEffectCurvesProperties& p) override;
};

// The RGB curve alone through LImgProCurves, as Brightness and Contrast use it: progress 1.0 and 0
// when done, "Out of memory" and 2 for a buffer that isn't valid.
LProcessResult QDRenderRGBCurve(LProcessInterface& process, LImageBuffer& buffer, const LCurveSettings& rgb);
