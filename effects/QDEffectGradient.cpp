#include "effects/QDEffectGradient.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectPixels.h"
#include "effects/QDEffectVector.h"
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
// What the scalar pixel does, eight pixels at a time: the grey picks the colour, the overlay and
// the float mix follow per channel. Returns the pixels done.
QD_AVX2 inline __m256i Mix8(const float* mapped, const float* original, __m256i m, __m256i o)
{
    const __m256 sum = _mm256_add_ps(_mm256_i32gather_ps(mapped, m, 4), _mm256_i32gather_ps(original, o, 4));
    return _mm256_min_epi32(_mm256_max_epi32(_mm256_cvttps_epi32(sum), _mm256_setzero_si256()),
                            _mm256_set1_epi32(255));
}

QD_AVX2 int GradientRowAVX2(uint32_t* q, int n, const LPixelColour* colours, const uint8_t* overlay,
                            const float* mapped, const float* original)
{
    int x = 0;
    for (; x + 8 <= n; x += 8)
    {
        __m256i* at = reinterpret_cast<__m256i*>(q + x);
        __m256i b, g, r;
        QDSplit8(_mm256_loadu_si256(at), b, g, r);
        const __m256i grey = _mm256_srli_epi32(
            _mm256_add_epi32(_mm256_add_epi32(_mm256_mullo_epi32(r, _mm256_set1_epi32(76)),
                                              _mm256_mullo_epi32(g, _mm256_set1_epi32(155))),
                             _mm256_mullo_epi32(b, _mm256_set1_epi32(25))),
            8);
        __m256i mb, mg, mr;
        QDSplit8(QDLookup8(reinterpret_cast<const int32_t*>(colours), grey), mb, mg, mr);
        if (overlay)
        {
            mb = QDLookupBytes8(overlay, _mm256_or_si256(_mm256_slli_epi32(b, 8), mb));
            mg = QDLookupBytes8(overlay, _mm256_or_si256(_mm256_slli_epi32(g, 8), mg));
            mr = QDLookupBytes8(overlay, _mm256_or_si256(_mm256_slli_epi32(r, 8), mr));
        }
        _mm256_storeu_si256(at, QDJoin8(_mm256_set1_epi32(-1), Mix8(mapped, original, mb, b),
                                        Mix8(mapped, original, mg, g), Mix8(mapped, original, mr, r)));
    }
    return x;
}
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
    LImgProGradientMap map(markers);
    const pixelformat_t pf = buffer.GetPixelFormat();
    // Mapped, opaque and unmixed, it is the kernel's own result.
    if (p.fStrength >= 1 && !p.bOverlay && buffer.IsValid() && pf <= B5G5R5X1)
    {
        if (LApplyImageProcess(buffer, map, process) == LProcessResultCancelled)
            return LProcessResultCancelled;
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    }
    // out = trunc(m*s + Round(p*(1 - s))) in float: both terms come from tables of 256, and
    // their sum is the same float sum.
    const float s = p.fStrength;
    float mapped[256], original[256];
    for (int v = 0; v < 256; ++v)
    {
        mapped[v] = float(v) * s;
        original[v] = Round(float(v) * (1 - s));
    }
    auto mix = [&](uint8_t m, uint8_t o)
    { return uint8_t(std::clamp(int(mapped[m] + original[o]), 0, 255)); };
    const uint8_t(*overlay)[256] = p.bOverlay ? OverlayValuesTable() : nullptr;
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
        return LPixelColour(mix(mb, c.b), mix(mg, c.g), mix(mr, c.r), 255);
    };
    if (pf == B8G8R8A8 && QDUseVectorPaths())
    {
        const int w = buffer.GetWidth();
        const uint8_t* overlayBytes = overlay ? overlay[0] : nullptr;
        if (LImgProForEachRow(process, buffer.GetHeight(),
                              [&](int y)
                              {
                                  uint32_t* q = reinterpret_cast<uint32_t*>(buffer.GetScanLine(y));
                                  for (int x = GradientRowAVX2(q, w, map.arColors, overlayBytes, mapped,
                                                               original);
                                       x < w; ++x)
                                      q[x] = pixel(LPixelColour::FromUInt32(q[x])).ToUInt32();
                              }) == LProcessResultCancelled)
            return LProcessResultCancelled;
    }
    else if (pf == B8G8R8A8 || pf == B8G8R8)
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
