#include "effects/QDEffectBalance.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectPixels.h"
#include "effects/QDEffectVector.h"
#include "effects/QDMultiThreadedEffect.h"

namespace
{
constexpr int kCommandId = 6001;
constexpr uint16_t kChunkFirstGroup = 140; // 140 shadows, 141 midtones, 142 highlights
constexpr uint16_t kChunkRed = 9;

const QDTextProperty kTextProperties[] = {
    {"shadows", "RED/GREEN/BLUE, each from -1 to 1", "0.2/0/-0.1"},
    {"midtones", "RED/GREEN/BLUE, each from -1 to 1", "0/0.1/0"},
    {"highlights", "RED/GREEN/BLUE, each from -1 to 1", "0.3/0.3/-0.2"},
};

int GroupOf(const char* name)
{
    for (int i = 0; i < 3; ++i)
        if (name && strcmp(name, kTextProperties[i].szName) == 0)
            return i;
    return -1;
}

// Each channel's factor for every integer mean (R+G+B)/3, in the float arithmetic of the pixel
// formula: gShadow*wShadow + gMid*wMid + gHigh*wHigh.
struct Factors
{
    float arFactor[3][256];
    explicit Factors(const QDEffectBalanceProperties& p)
    {
        float g[3][3];
        for (int group = 0; group < 3; ++group)
            for (int c = 0; c < 3; ++c)
                g[group][c] = QDEffectBalance::Gain(p, group, c);
        for (int avg = 0; avg < 256; ++avg)
        {
            const int d = 128 - avg;
            const float wShadow = std::max(0.0f, d / 128.0f);
            const float wHigh = std::max(0.0f, -d / 128.0f);
            const float wMid = 1 - std::abs(d) / 128.0f;
            for (int c = 0; c < 3; ++c)
                arFactor[c][avg] = g[0][c] * wShadow + g[1][c] * wMid + g[2][c] * wHigh;
        }
    }
};

inline uint8_t Scale(uint8_t v, float f)
{
    return uint8_t(int(std::clamp(float(v) * f, 0.0f, 255.0f)));
}

QD_AVX2 inline __m256i Scale8(__m256i c, const float* factors, __m256i avg)
{
    const __m256 v = _mm256_mul_ps(_mm256_cvtepi32_ps(c), _mm256_i32gather_ps(factors, avg, 4));
    return _mm256_cvttps_epi32(_mm256_min_ps(_mm256_max_ps(v, _mm256_setzero_ps()), _mm256_set1_ps(255.0f)));
}

// Eight pixels at a time; (r + g + b) / 3 as a multiply and shift, exact up to 765. Returns the
// pixels done.
QD_AVX2 int BalanceRowAVX2(uint32_t* q, int n, const Factors& f)
{
    int x = 0;
    for (; x + 8 <= n; x += 8)
    {
        __m256i* at = reinterpret_cast<__m256i*>(q + x);
        const __m256i px = _mm256_loadu_si256(at);
        __m256i b, g, r;
        QDSplit8(px, b, g, r);
        const __m256i avg = _mm256_srli_epi32(
            _mm256_mullo_epi32(_mm256_add_epi32(_mm256_add_epi32(r, g), b), _mm256_set1_epi32(43691)), 17);
        _mm256_storeu_si256(at, QDJoin8(px, Scale8(b, f.arFactor[2], avg), Scale8(g, f.arFactor[1], avg),
                                        Scale8(r, f.arFactor[0], avg)));
    }
    return x;
}
} // namespace

QDEffectBalance::QDEffectBalance() : QDImagePipelineElementWithWrappedProperties(QDPropertyTable()) {}

const char* QDEffectBalance::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectBalance::GetName() const
{
    return QDEffectElementName(kCommandId);
}

float QDEffectBalance::Gain(const QDEffectBalanceProperties& p, int group, int c)
{
    const float* v = p.arBalance[group];
    const float self = v[c], o1 = v[(c + 1) % 3], o2 = v[(c + 2) % 3];
    switch (group)
    {
    case QDEffectBalanceProperties::Highlights:
    {
        // Highlights can only gain, up to twice.
        const float g = 2 * (self - (std::min(o1, o2) - 0.5f));
        return g > 1 ? std::min(g, 2.0f) : 1.0f;
    }
    case QDEffectBalanceProperties::Midtones:
    {
        const float g = (self - ((o1 + o2) * 0.5f - 1)) * 0.5f + 0.5f;
        return g > 0.5f ? std::min(g, 1.5f) : 0.5f;
    }
    default:
        // Shadows can only lose.
        return std::clamp(2 * (self - (std::max(o1, o2) - 0.5f)), 0.0f, 1.0f);
    }
}

LProcessResult QDEffectBalance::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const Factors f(GetPropertiesSnapshot());
    auto pixel = [&f](LPixelColour c)
    {
        const int avg = (c.r + c.g + c.b) / 3;
        return LPixelColour(Scale(c.b, f.arFactor[2][avg]), Scale(c.g, f.arFactor[1][avg]),
                            Scale(c.r, f.arFactor[0][avg]), c.a);
    };
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (pf == B8G8R8A8 && QDUseVectorPaths())
    {
        const int w = buffer.GetWidth();
        if (LImgProForEachRow(process, buffer.GetHeight(),
                              [&](int y)
                              {
                                  uint32_t* q = reinterpret_cast<uint32_t*>(buffer.GetScanLine(y));
                                  for (int x = BalanceRowAVX2(q, w, f); x < w; ++x)
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

std::vector<QDChunkDeclaration> QDEffectBalance::GetExtraChunkDeclarations() const
{
    return {{140, LSDFTypeContainer, "shadows"},    {141, LSDFTypeContainer, "midtones"},
            {142, LSDFTypeContainer, "highlights"}, {9, LSDFTypeFloat, "red balance"},
            {10, LSDFTypeFloat, "green balance"},   {11, LSDFTypeFloat, "blue balance"}};
}

bool QDEffectBalance::SDFWriteMoreProperties(LSDFFileWriter& writer, const QDEffectBalanceProperties& p)
{
    for (int group = 0; group < 3; ++group)
    {
        const uint16_t id = uint16_t(kChunkFirstGroup + group);
        if (!writer.StartContainer(id))
            return false;
        for (int c = 0; c < 3; ++c)
            if (!writer.WriteFloat(uint16_t(kChunkRed + c), p.arBalance[group][c]))
                return false;
        if (!writer.EndContainer(id))
            return false;
    }
    return true;
}

void QDEffectBalance::SDFLoadMoreProperty(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk,
                                          QDEffectBalanceProperties& p)
{
    if (!chunk.IsContainer() || chunk.iId < kChunkFirstGroup || chunk.iId >= kChunkFirstGroup + 3)
        return;
    for (LSDFMemoryChunkIterator it(reader, chunk); it.IsValid(); it.Next())
    {
        double d;
        if (it->iId >= kChunkRed && it->iId < kChunkRed + 3 && it->ReadNumber(d) && !std::isnan(d))
            p.arBalance[chunk.iId - kChunkFirstGroup][it->iId - kChunkRed] = float(std::clamp(d, -1.0, 1.0));
    }
}

std::span<const QDTextProperty> QDEffectBalance::GetTextProperties() const
{
    return kTextProperties;
}

bool QDEffectBalance::SetTextProperty(const char* name, const char* text, bool bRegisterUndo)
{
    const int group = GroupOf(name);
    float v[3];
    int used = 0;
    if (group < 0 || !text || sscanf(text, "%f/%f/%f%n", &v[0], &v[1], &v[2], &used) != 3 || text[used])
        return false;
    QDEffectBalanceProperties p = GetProperties();
    for (int c = 0; c < 3; ++c)
    {
        if (!(v[c] >= -1.0f && v[c] <= 1.0f))
            return false;
        p.arBalance[group][c] = v[c];
    }
    SetProperties(p, bRegisterUndo);
    return true;
}

std::string QDEffectBalance::GetTextProperty(const char* name) const
{
    const int group = GroupOf(name);
    if (group < 0)
        return {};
    const QDEffectBalanceProperties p = GetPropertiesSnapshot();
    const float* v = p.arBalance[group];
    char text[64];
    snprintf(text, sizeof text, "%.6g/%.6g/%.6g", double(v[0]), double(v[1]), double(v[2]));
    return text;
}
