#pragma once
// Levels: per channel (RGB, red, green, blue) an input range and a midtone. The output ranges are
// kept at their defaults: the project file has no place for them, so the panel offers none that
// a save would lose. At full resolution the effect first counts the histograms of its input for
// the panel.

#include "effects/QDEffectHistograms.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "image/LImgProChannelMap.h"
#include "image/LImgProColorLevels.h"

struct QDEffectLevelsProperties
{
    // RGB, red, green, blue: LImgProColorLevels' order.
    LColorLevelSettings arLevels[4];
    bool operator==(const QDEffectLevelsProperties&) const = default;
};

class QDEffectLevels : public QDImagePipelineElementWithWrappedProperties<QDEffectLevelsProperties>,
                       public QDRenderInputHistograms
{
public:
    QDEffectLevels();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    std::vector<QDChunkDeclaration> GetExtraChunkDeclarations() const override;
    std::span<const QDTextProperty> GetTextProperties() const override;
    bool SetTextProperty(const char* name, const char* text, bool bRegisterUndo) override;
    std::string GetTextProperty(const char* name) const override;

    // What LImgProColorLevels does with these settings, as one table per channel.
    static void MakeMap(const QDEffectLevelsProperties& p, LImgProChannelMap& map);

protected:
    bool SDFWriteMoreProperties(LSDFFileWriter& writer, const QDEffectLevelsProperties& p) override;
    void SDFLoadMoreProperty(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk,
                             QDEffectLevelsProperties& p) override;
};
