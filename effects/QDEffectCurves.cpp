#include "effects/QDEffectCurves.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"

namespace
{
constexpr int kCommandId = 6010;
constexpr uint16_t kChunkFirstCurve = 102; // 102 to 105: RGB, red, green, blue
constexpr uint16_t kChunkPoint = 106;
constexpr uint16_t kChunkX = 14;
constexpr uint16_t kChunkY = 15;
// More than any panel makes; a file that claims more is damaged.
constexpr int kMaxPoints = 256;

const QDTextProperty kTextProperties[] = {
    {"rgb", "X/Y+X/Y+... from 0 to 255", "0/0+64/48+192/208+255/255"},
    {"red", "X/Y+X/Y+... from 0 to 255", "0/20+255/255"},
    {"green", "X/Y+X/Y+... from 0 to 255", "0/0+128/150+255/255"},
    {"blue", "X/Y+X/Y+... from 0 to 255", "0/0+255/230"},
};

int ChannelOf(const char* name)
{
    for (int i = 0; i < 4; ++i)
        if (name && strcmp(name, kTextProperties[i].szName) == 0)
            return i;
    return -1;
}
} // namespace

QDEffectCurves::QDEffectCurves() : QDImagePipelineElementWithWrappedProperties(QDPropertyTable()) {}

const char* QDEffectCurves::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectCurves::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDRenderRGBCurve(LProcessInterface& process, LImageBuffer& buffer, const LCurveSettings& rgb)
{
    // The same table the curves kernel would apply, on the banded pass: no workers to start on
    // every slider move.
    LImgProChannelMap map;
    map.SetIdentity();
    if (!rgb.IsIdentity())
        map.Then(rgb.arValues, rgb.arValues, rgb.arValues);
    const LProcessResult r = QDMapChannelsCounting(process, buffer, map, nullptr);
    if (r == LProcessResultCancelled)
        return r;
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}

void QDEffectCurves::MakeMap(const QDEffectCurvesProperties& p, LImgProChannelMap& map)
{
    // Each channel through its own curve, then all three through the RGB curve; identity curves
    // are skipped, as the kernel skips them.
    const uint8_t* id = LImgProChannelMap::IdentityTable();
    auto table = [&](const LCurveSettings& c) { return c.IsIdentity() ? id : c.arValues; };
    map.SetIdentity();
    map.Then(table(p.arCurves[LImgProCurves::Red]), table(p.arCurves[LImgProCurves::Green]),
             table(p.arCurves[LImgProCurves::Blue]));
    const uint8_t* rgb = table(p.arCurves[LImgProCurves::RGB]);
    map.Then(rgb, rgb, rgb);
}

LProcessResult QDEffectCurves::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    QDEffectCurvesProperties p = GetPropertiesSnapshot();
    for (LCurveSettings& c : p.arCurves)
        c.UpdateCurveValues();
    LImgProChannelMap map;
    MakeMap(p, map);
    // The histograms a panel shows are those of the full picture; they are counted in the pass
    // that maps it, so the effect reads the picture once.
    const bool full = iWidth && buffer.GetWidth() == int(iWidth) && IsHistogramWanted();
    QDHistograms histograms;
    const LProcessResult r = QDMapChannelsCounting(process, buffer, map, full ? &histograms : nullptr);
    if (r == LProcessResultCancelled)
        return r;
    if (r == LProcessResultSuccess && full)
        NotifyRenderInputChanged(histograms);
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}

std::vector<QDChunkDeclaration> QDEffectCurves::GetExtraChunkDeclarations() const
{
    return {{102, LSDFTypeContainer, "rgb curve"},
            {103, LSDFTypeContainer, "red curve"},
            {104, LSDFTypeContainer, "green curve"},
            {105, LSDFTypeContainer, "blue curve"},
            {106, LSDFTypeContainer, "curve point"},
            {14, LSDFTypeInt, "point x"},
            {15, LSDFTypeInt, "point y"}};
}

bool QDEffectCurves::SDFWriteMoreProperties(LSDFFileWriter& writer, const QDEffectCurvesProperties& p)
{
    for (int c = 0; c < 4; ++c)
    {
        const uint16_t id = uint16_t(kChunkFirstCurve + c);
        if (!writer.StartContainer(id))
            return false;
        for (const LCurvePoint* pt = p.arCurves[c].listPoints.GetFirst(); pt; pt = pt->GetNextItem())
            if (!writer.StartContainer(kChunkPoint) || !writer.WriteInt(kChunkX, pt->iX) ||
                !writer.WriteInt(kChunkY, pt->iY) || !writer.EndContainer(kChunkPoint))
                return false;
        if (!writer.EndContainer(id))
            return false;
    }
    return true;
}

void QDEffectCurves::SDFLoadMoreProperty(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk,
                                         QDEffectCurvesProperties& p)
{
    if (!chunk.IsContainer() || chunk.iId < kChunkFirstCurve || chunk.iId >= kChunkFirstCurve + 4)
        return;
    LCurveSettings curve;
    curve.RemoveAllPoints();
    int count = 0;
    for (LSDFMemoryChunkIterator it(reader, chunk); it.IsValid() && count < kMaxPoints; it.Next())
    {
        if (it->iId != kChunkPoint || !it->IsContainer())
            continue;
        int32_t x = -1, y = -1;
        for (LSDFMemoryChunkIterator v(reader, it.Get()); v.IsValid(); v.Next())
        {
            double d;
            if (v->iId == kChunkX && v->ReadNumber(d))
                x = int32_t(std::clamp(d, -1.0, 256.0));
            else if (v->iId == kChunkY && v->ReadNumber(d))
                y = int32_t(std::clamp(d, -1.0, 256.0));
        }
        // A point without both coordinates, or off the grid, is damage: it is left out.
        if (x < 0 || x > 255 || y < 0 || y > 255)
            continue;
        curve.AddPoint(x, y);
        ++count;
    }
    // Fewer than two points draw no curve; the channel keeps what it had.
    if (curve.listPoints.GetCount() < 2)
        return;
    curve.UpdateCurveValues();
    p.arCurves[chunk.iId - kChunkFirstCurve] = curve;
}

std::string QDEffectCurves::FormatPoints(const LCurveSettings& curve)
{
    std::string text;
    for (const LCurvePoint* pt = curve.listPoints.GetFirst(); pt; pt = pt->GetNextItem())
        text += (text.empty() ? "" : "+") + std::to_string(pt->iX) + "/" + std::to_string(pt->iY);
    return text;
}

bool QDEffectCurves::ParsePoints(const char* text, LCurveSettings& curve)
{
    LCurveSettings parsed;
    parsed.RemoveAllPoints();
    const char* at = text;
    while (at && *at)
    {
        char* end;
        const long x = strtol(at, &end, 10);
        if (end == at || *end != '/')
            return false;
        at = end + 1;
        const long y = strtol(at, &end, 10);
        if (end == at || (*end && *end != '+') || x < 0 || x > 255 || y < 0 || y > 255 ||
            parsed.listPoints.GetCount() >= size_t(kMaxPoints))
            return false;
        parsed.AddPoint(int(x), int(y));
        at = *end ? end + 1 : end;
    }
    if (parsed.listPoints.GetCount() < 2)
        return false;
    parsed.UpdateCurveValues();
    curve = parsed;
    return true;
}

std::span<const QDTextProperty> QDEffectCurves::GetTextProperties() const
{
    return kTextProperties;
}

bool QDEffectCurves::SetTextProperty(const char* name, const char* text, bool bRegisterUndo)
{
    const int c = ChannelOf(name);
    QDEffectCurvesProperties p = GetProperties();
    if (c < 0 || !ParsePoints(text, p.arCurves[c]))
        return false;
    SetProperties(p, bRegisterUndo);
    return true;
}

std::string QDEffectCurves::GetTextProperty(const char* name) const
{
    const int c = ChannelOf(name);
    return c < 0 ? std::string() : FormatPoints(GetPropertiesSnapshot().arCurves[c]);
}
