#include "effects/QDEffectGradient.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectPixels.h"
#include "effects/QDMultiThreadedEffect.h"

namespace
{
constexpr int kCommandId = 6015;
constexpr uint16_t kChunkMarker = 90;
constexpr uint16_t kChunkPosition = 91;
constexpr uint16_t kChunkRed = 9, kChunkGreen = 10, kChunkBlue = 11;

constexpr QDPropertyDesc kTable[] = {
    QD_PROPERTY(QDEffectGradientProperties, fStrength, 92, 1.0, 0.0, 1.0, "strength", "Strength")
        .Slider("Less", "More", 0, 100, QDScaleHundredth),
    QD_PROPERTY(QDEffectGradientProperties, bOverlay, 93, false, 0, 1, "overlay", "Overlay Colors"),
};

const QDTextProperty kTextProperties[] = {
    {"markers", "RRGGBB@POSITION+RRGGBB@POSITION+..., positions from 0 to 1", "20104a@0+e05030@0.5+fff0c0@1"},
};
} // namespace

bool QDEffectGradientProperties::AddMarker(LPixelColour colour, float position)
{
    if (nMarkers >= kMaxMarkers || nMarkers < 0)
        return false;
    colour.a = 255;
    arMarkers[nMarkers++] = {colour.ToUInt32(), std::clamp(position, 0.0f, 1.0f)};
    return true;
}

bool QDEffectGradientProperties::DeleteMarker(int index)
{
    if (nMarkers <= 1 || index < 0 || index >= nMarkers)
        return false;
    std::copy(arMarkers + index + 1, arMarkers + nMarkers, arMarkers + index);
    arMarkers[--nMarkers] = QDGradientMarkerValue();
    return true;
}

void QDEffectGradientProperties::RemoveAllMarkers()
{
    nMarkers = 0;
    std::fill(std::begin(arMarkers), std::end(arMarkers), QDGradientMarkerValue());
}

void QDEffectGradientProperties::ToList(LList<LGradientMarker>& list) const
{
    list.DeleteAll();
    for (int i = 0; i < std::clamp(nMarkers, 0, kMaxMarkers); ++i)
        list.AddTail(
            new LGradientMarker(LPixelColour::FromUInt32(arMarkers[i].iColour), arMarkers[i].fPosition));
}

QDEffectGradient::QDEffectGradient() : QDImagePipelineElementWithWrappedProperties(kTable) {}

const char* QDEffectGradient::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectGradient::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectGradient::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const QDEffectGradientProperties p = GetPropertiesSnapshot();
    LList<LGradientMarker> markers;
    p.ToList(markers);
    const LImgProGradientMap map(markers);
    // out = trunc(m*s + Round(p*(1 - s))) in float, for every mapped m and original p: one table.
    std::unique_ptr<uint8_t[]> mix(new (std::nothrow) uint8_t[65536]);
    if (!mix)
    {
        process.SetError("Out of memory");
        return LProcessResultFailed;
    }
    const float s = p.fStrength;
    for (int m = 0; m < 256; ++m)
        for (int o = 0; o < 256; ++o)
            mix[size_t(m) << 8 | size_t(o)] =
                uint8_t(std::clamp(int(float(m) * s + Round(float(o) * (1 - s))), 0, 255));
    const uint8_t(*overlay)[256] = p.bOverlay ? OverlayValuesTable() : nullptr;
    const uint8_t* mixTable = mix.get();
    auto pixel = [&](LPixelColour c)
    {
        const LPixelColour g = map.arColors[(c.r * 76 + c.g * 155 + c.b * 25) >> 8];
        uint8_t mb = g.b, mg = g.g, mr = g.r;
        if (overlay)
        {
            mb = overlay[c.b][mb];
            mg = overlay[c.g][mg];
            mr = overlay[c.r][mr];
        }
        return LPixelColour(mixTable[size_t(mb) << 8 | c.b], mixTable[size_t(mg) << 8 | c.g],
                            mixTable[size_t(mr) << 8 | c.r], 255);
    };
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (pf == B8G8R8A8 || pf == B8G8R8)
    {
        if (QDMapPixels(process, buffer, pixel) == LProcessResultCancelled)
            return LProcessResultCancelled;
    }
    else if (buffer.IsValid())
    {
        LImageIterator it(buffer);
        QDMapPixels(it, pixel);
    }
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}

std::vector<QDChunkDeclaration> QDEffectGradient::GetExtraChunkDeclarations() const
{
    return {{90, LSDFTypeContainer, "marker"},
            {91, LSDFTypeFloat, "marker position"},
            {9, LSDFTypeInt, "marker red"},
            {10, LSDFTypeInt, "marker green"},
            {11, LSDFTypeInt, "marker blue"}};
}

bool QDEffectGradient::SDFWriteMoreProperties(LSDFFileWriter& writer, const QDEffectGradientProperties& p)
{
    for (int i = 0; i < std::clamp(p.nMarkers, 0, p.kMaxMarkers); ++i)
    {
        const LPixelColour c = LPixelColour::FromUInt32(p.arMarkers[i].iColour);
        if (!writer.StartContainer(kChunkMarker) ||
            !writer.WriteFloat(kChunkPosition, p.arMarkers[i].fPosition) ||
            !writer.WriteInt(kChunkRed, c.r) || !writer.WriteInt(kChunkGreen, c.g) ||
            !writer.WriteInt(kChunkBlue, c.b) || !writer.EndContainer(kChunkMarker))
            return false;
    }
    return true;
}

LProcessResult QDEffectGradient::SDFLoadProperties(LProcessInterface& process, LSDFMemoryReader& reader,
                                                   const LSDFMemoryChunk& chunk)
{
    iLoadedMarkers = 0;
    return QDImagePipelineElementWithWrappedProperties::SDFLoadProperties(process, reader, chunk);
}

void QDEffectGradient::SDFLoadMoreProperty(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk,
                                           QDEffectGradientProperties& p)
{
    if (chunk.iId != kChunkMarker || !chunk.IsContainer())
        return;
    if (iLoadedMarkers++ == 0)
        p.RemoveAllMarkers();
    double position = 0, rgb[3] = {0, 0, 0};
    for (LSDFMemoryChunkIterator it(reader, chunk); it.IsValid(); it.Next())
    {
        double d;
        if (!it->ReadNumber(d) || std::isnan(d))
            continue;
        if (it->iId == kChunkPosition)
            position = std::clamp(d, 0.0, 1.0);
        else if (it->iId >= kChunkRed && it->iId <= kChunkBlue)
            rgb[it->iId - kChunkRed] = std::clamp(d, 0.0, 255.0);
    }
    p.AddMarker(LPixelColour(uint8_t(rgb[2]), uint8_t(rgb[1]), uint8_t(rgb[0]), 255), float(position));
}

std::span<const QDTextProperty> QDEffectGradient::GetTextProperties() const
{
    return kTextProperties;
}

bool QDEffectGradient::SetTextProperty(const char* name, const char* text, bool bRegisterUndo)
{
    if (!name || strcmp(name, "markers") != 0 || !text)
        return false;
    QDEffectGradientProperties p = GetProperties();
    p.RemoveAllMarkers();
    for (const char* at = text; *at;)
    {
        unsigned rgb;
        float position;
        int used = 0;
        if (sscanf(at, "%6x@%f%n", &rgb, &position, &used) != 2 || used < 8 || at[6] != '@' ||
            !(position >= 0.0f && position <= 1.0f) || (at[used] && at[used] != '+'))
            return false;
        if (!p.AddMarker(LPixelColour(uint8_t(rgb), uint8_t(rgb >> 8), uint8_t(rgb >> 16), 255), position))
            return false;
        at += used + (at[used] ? 1 : 0);
    }
    if (p.nMarkers == 0)
        return false;
    SetProperties(p, bRegisterUndo);
    return true;
}

std::string QDEffectGradient::GetTextProperty(const char* name) const
{
    if (!name || strcmp(name, "markers") != 0)
        return {};
    const QDEffectGradientProperties p = GetPropertiesSnapshot();
    std::string text;
    for (int i = 0; i < p.nMarkers; ++i)
    {
        const LPixelColour c = LPixelColour::FromUInt32(p.arMarkers[i].iColour);
        char one[40];
        snprintf(one, sizeof one, "%s%02x%02x%02x@%.6g", i ? "+" : "", c.r, c.g, c.b,
                 double(p.arMarkers[i].fPosition));
        text += one;
    }
    return text;
}
