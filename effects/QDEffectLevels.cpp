#include "effects/QDEffectLevels.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"

namespace
{
constexpr int kCommandId = 6013;
constexpr uint16_t kChunkFirstChannel = 98; // 98 to 101: RGB, red, green, blue
constexpr uint16_t kChunkInputLow = 95;
constexpr uint16_t kChunkInputHigh = 96;
constexpr uint16_t kChunkMidtone = 97;

const QDTextProperty kTextProperties[] = {
    {"rgb", "LOW/HIGH/MIDTONE: input 0 to 255, midtone 0 to 1", "20/235/0.6"},
    {"red", "LOW/HIGH/MIDTONE: input 0 to 255, midtone 0 to 1", "0/240/0.5"},
    {"green", "LOW/HIGH/MIDTONE: input 0 to 255, midtone 0 to 1", "10/255/0.45"},
    {"blue", "LOW/HIGH/MIDTONE: input 0 to 255, midtone 0 to 1", "0/255/0.55"},
};

int ChannelOf(const char* name)
{
    for (int i = 0; i < 4; ++i)
        if (name && strcmp(name, kTextProperties[i].szName) == 0)
            return i;
    return -1;
}
} // namespace

QDEffectLevels::QDEffectLevels() : QDImagePipelineElementWithWrappedProperties(QDPropertyTable()) {}

const char* QDEffectLevels::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectLevels::GetName() const
{
    return QDEffectElementName(kCommandId);
}

void QDEffectLevels::MakeMap(const QDEffectLevelsProperties& p, LImgProChannelMap& map)
{
    // The channel's own table first, then the RGB table; identity channels make none.
    uint8_t tables[4][256];
    const uint8_t* use[4];
    for (int c = 0; c < 4; ++c)
    {
        use[c] = LImgProChannelMap::IdentityTable();
        if (!p.arLevels[c].IsIdentity())
        {
            LImgProColorLevels::MapValues(tables[c], p.arLevels[c]);
            use[c] = tables[c];
        }
    }
    map.SetIdentity();
    map.Then(use[LImgProColorLevels::Red], use[LImgProColorLevels::Green], use[LImgProColorLevels::Blue]);
    map.Then(use[LImgProColorLevels::RGB], use[LImgProColorLevels::RGB], use[LImgProColorLevels::RGB]);
}

LProcessResult QDEffectLevels::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    LImgProChannelMap map;
    MakeMap(GetPropertiesSnapshot(), map);
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

std::vector<QDChunkDeclaration> QDEffectLevels::GetExtraChunkDeclarations() const
{
    return {{98, LSDFTypeContainer, "rgb levels"},
            {99, LSDFTypeContainer, "red levels"},
            {100, LSDFTypeContainer, "green levels"},
            {101, LSDFTypeContainer, "blue levels"},
            {95, LSDFTypeInt, "input low"},
            {96, LSDFTypeInt, "input high"},
            {97, LSDFTypeFloat, "midtone"}};
}

bool QDEffectLevels::SDFWriteMoreProperties(LSDFFileWriter& writer, const QDEffectLevelsProperties& p)
{
    for (int c = 0; c < 4; ++c)
    {
        const uint16_t id = uint16_t(kChunkFirstChannel + c);
        const LColorLevelSettings& s = p.arLevels[c];
        if (!writer.StartContainer(id) || !writer.WriteInt(kChunkInputLow, s.byInputLow) ||
            !writer.WriteInt(kChunkInputHigh, s.byInputHigh) ||
            !writer.WriteFloat(kChunkMidtone, s.fMidtone) || !writer.EndContainer(id))
            return false;
    }
    return true;
}

void QDEffectLevels::SDFLoadMoreProperty(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk,
                                         QDEffectLevelsProperties& p)
{
    if (!chunk.IsContainer() || chunk.iId < kChunkFirstChannel || chunk.iId >= kChunkFirstChannel + 4)
        return;
    // A fresh channel: the output range of a loaded effect is the default whatever it was.
    LColorLevelSettings s;
    for (LSDFMemoryChunkIterator it(reader, chunk); it.IsValid(); it.Next())
    {
        double d;
        if (!it->ReadNumber(d) || std::isnan(d))
            continue;
        if (it->iId == kChunkInputLow)
            s.byInputLow = uint8_t(std::clamp(d, 0.0, 255.0));
        else if (it->iId == kChunkInputHigh)
            s.byInputHigh = uint8_t(std::clamp(d, 0.0, 255.0));
        else if (it->iId == kChunkMidtone)
            s.fMidtone = float(std::clamp(d, 0.0, 1.0));
    }
    p.arLevels[chunk.iId - kChunkFirstChannel] = s;
}

std::span<const QDTextProperty> QDEffectLevels::GetTextProperties() const
{
    return kTextProperties;
}

bool QDEffectLevels::SetTextProperty(const char* name, const char* text, bool bRegisterUndo)
{
    const int c = ChannelOf(name);
    int lo, hi, used = 0;
    float mid;
    if (c < 0 || !text || sscanf(text, "%d/%d/%f%n", &lo, &hi, &mid, &used) != 3 || text[used] || lo < 0 ||
        lo > 255 || hi < 0 || hi > 255 || !(mid >= 0.0f && mid <= 1.0f))
        return false;
    QDEffectLevelsProperties p = GetProperties();
    p.arLevels[c].byInputLow = uint8_t(lo);
    p.arLevels[c].byInputHigh = uint8_t(hi);
    p.arLevels[c].fMidtone = mid;
    SetProperties(p, bRegisterUndo);
    return true;
}

std::string QDEffectLevels::GetTextProperty(const char* name) const
{
    const int c = ChannelOf(name);
    if (c < 0)
        return {};
    const LColorLevelSettings s = GetPropertiesSnapshot().arLevels[c];
    char text[64];
    snprintf(text, sizeof text, "%d/%d/%.6g", s.byInputLow, s.byInputHigh, double(s.fMidtone));
    return text;
}
