#pragma once
// Gradient Map: every pixel takes the colour of a gradient at its grey value, optionally overlaid
// on the original colours, mixed with the original by the strength. The result is opaque.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "foundation/LList.h"
#include "image/LImgProGradientMap.h"

struct QDGradientMarkerValue
{
    uint32_t iColour = 0xFF000000u; // an LPixelColour as one word, blue in the low byte
    float fPosition = 0;
    bool operator==(const QDGradientMarkerValue&) const = default;
};

// Markers stand in the order they were made, not by position: a marker the user drags past
// another stays the one selected.
struct QDEffectGradientProperties
{
    static constexpr int kMaxMarkers = 32;

    int32_t nMarkers = 2;
    QDGradientMarkerValue arMarkers[kMaxMarkers] = {{0xFF000000u, 0.0f}, {0xFFFFFFFFu, 1.0f}};
    float fStrength = 1.0f;
    bool bOverlay = false;
    bool operator==(const QDEffectGradientProperties&) const = default;

    // False when the list is full. Opaque, position clamped to 0..1.
    bool AddMarker(LPixelColour colour, float position);
    // The last marker can't go: a gradient needs one colour.
    bool DeleteMarker(int index);
    void RemoveAllMarkers();
    void ToList(LList<LGradientMarker>& list) const;
};

class QDEffectGradient : public QDImagePipelineElementWithWrappedProperties<QDEffectGradientProperties>
{
public:
    QDEffectGradient();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    LProcessResult SDFLoadProperties(LProcessInterface& process, LSDFMemoryReader& reader,
                                     const LSDFMemoryChunk& chunk) override;

    std::vector<QDChunkDeclaration> GetExtraChunkDeclarations() const override;
    std::span<const QDTextProperty> GetTextProperties() const override;
    bool SetTextProperty(const char* name, const char* text, bool bRegisterUndo) override;
    std::string GetTextProperty(const char* name) const override;

protected:
    bool SDFWriteMoreProperties(LSDFFileWriter& writer, const QDEffectGradientProperties& p) override;
    void SDFLoadMoreProperty(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk,
                             QDEffectGradientProperties& p) override;

private:
    // Markers read so far by the load under way; the first one read replaces the defaults.
    int iLoadedMarkers = 0;
};
