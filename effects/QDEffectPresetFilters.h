#pragma once
// The preset filters of the "Filters" tab: fixed recipes of levels, curves and overlays run over
// the picture and blended back over it by a strength. Every recipe stands in one table in the
// source file; the classes differ only in their row, their properties and their names.

#include <type_traits>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "image/LImgProChannelMap.h"
#include "image/LImgProColorLevels.h"

// Amber, Color Boost and Nocturnal: a midtone ("Dark" to "Bright") and a strength.
struct QDEffectPresetProperties
{
    float fMidtoneLevel = 0.5f;
    float fStrength = 1.0f;
    bool operator==(const QDEffectPresetProperties&) const = default;
};

// What a recipe does after its tables.
enum QDPresetStage : uint8_t
{
    QDPresetTablesOnly,
    // Each channel's distance from the pixel's grey (the integer black and white), around the
    // middle, overlaid on the channel: channels above the grey rise, those below sink, greys stay.
    // fStageAmount scales the distance.
    QDPresetChromaOverlay,
    // The result mixed toward a second look (arEdge over it) with the distance from the centre,
    // in 256ths, rounded.
    QDPresetVignette,
};

struct QDPresetCurve
{
    int nPoints;
    int arX[6], arY[6];
};

struct QDPresetRecipe
{
    int iCommandId;
    // Levels with the RGB midtone at 1 - fMidtoneLevel come first, for the filters that have one.
    bool bMidtoneLevels;
    // Levels, curves, levels: each in the order RGB, red, green, blue (curves red, green, blue).
    LColorLevelSettings arLevels[4];
    QDPresetCurve arCurves[3];
    LColorLevelSettings arLevelsAfter[4];
    // A colour overlaid on every pixel by fOverlayAmount (ColorOverlay); 0 for none.
    uint32_t iOverlayColour;
    float fOverlayAmount;
    QDPresetStage eStage;
    float fStageAmount;
    // The vignette: the second look, and where it starts and is complete, in squared distance
    // from the centre with the corners at 1.
    LColorLevelSettings arEdge[4];
    float fInner, fOuter;
};

// The recipe of a preset filter's catalogue row, or null.
const QDPresetRecipe* QDFindPresetRecipe(int commandId);

// The table part of a recipe, from the midtone levels to the colour overlay, as one map; a
// recipe's per-pixel stage comes after it.
void QDMakePresetMap(const QDPresetRecipe& recipe, float fMidtoneLevel, LImgProChannelMap& map);

// The whole recipe on a 24- or 32-bit picture, blended back over it by fStrength. 1 when stopped,
// 2 with "Out of memory" when a table can't be had.
LProcessResult QDRenderPresetFilter(LProcessInterface& process, LImageBuffer& buffer,
                                    const QDPresetRecipe& recipe, float fMidtoneLevel, float fStrength);

// The shared shape of the eight: T is QDEffectPresetProperties or a double strength.
template <class T>
class QDEffectPresetFilter : public QDImagePipelineElementWithWrappedProperties<T>
{
public:
    QDEffectPresetFilter(QDPropertyTable table, int commandId)
        : QDImagePipelineElementWithWrappedProperties<T>(table), iCommandId(commandId)
    {
    }
    const char* GetTypeIdentifier() const override { return QDEffectTypeIdentifier(iCommandId); }
    const char* GetName() const override { return QDEffectElementName(iCommandId); }
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override
    {
        const T p = this->GetPropertiesSnapshot();
        if constexpr (std::is_same_v<T, QDEffectPresetProperties>)
            return QDRenderPresetFilter(process, buffer, *QDFindPresetRecipe(iCommandId), p.fMidtoneLevel,
                                        p.fStrength);
        else
            return QDRenderPresetFilter(process, buffer, *QDFindPresetRecipe(iCommandId), 0.5f, float(p));
    }

private:
    int iCommandId;
};

class QDEffectAmber : public QDEffectPresetFilter<QDEffectPresetProperties>
{
public:
    QDEffectAmber();
};
class QDEffectColorBoost : public QDEffectPresetFilter<QDEffectPresetProperties>
{
public:
    QDEffectColorBoost();
};
class QDEffectNocturnal : public QDEffectPresetFilter<QDEffectPresetProperties>
{
public:
    QDEffectNocturnal();
};
class QDEffectAqua : public QDEffectPresetFilter<double>
{
public:
    QDEffectAqua();
};
// "Electric" on the toolbar.
class QDEffectBlueify : public QDEffectPresetFilter<double>
{
public:
    QDEffectBlueify();
};
class QDEffectRedwood : public QDEffectPresetFilter<double>
{
public:
    QDEffectRedwood();
};
class QDEffectSunglow : public QDEffectPresetFilter<double>
{
public:
    QDEffectSunglow();
};
// "Orchid Light" on the toolbar.
class QDEffectOrchid : public QDEffectPresetFilter<double>
{
public:
    QDEffectOrchid();
};
