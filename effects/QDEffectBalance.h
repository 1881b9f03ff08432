#pragma once
// Color Balance: red, green and blue gains for shadows, midtones and highlights. Each pixel's
// gain mixes the three by how dark it is, so the shadows' setting fades out toward the middle
// grey and the highlights' toward black.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectBalanceProperties
{
    enum
    {
        Shadows = 0,
        Midtones = 1,
        Highlights = 2,
    };
    // [group][red, green, blue], each -1 (toward cyan, magenta, yellow) to 1 (red, green, blue).
    float arBalance[3][3] = {};
    bool operator==(const QDEffectBalanceProperties&) const = default;

    float GetBalanceRed(int iGroup) const { return arBalance[iGroup][0]; }
    float GetBalanceGreen(int iGroup) const { return arBalance[iGroup][1]; }
    float GetBalanceBlue(int iGroup) const { return arBalance[iGroup][2]; }
};

class QDEffectBalance : public QDImagePipelineElementWithWrappedProperties<QDEffectBalanceProperties>
{
public:
    QDEffectBalance();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    std::vector<QDChunkDeclaration> GetExtraChunkDeclarations() const override;
    std::span<const QDTextProperty> GetTextProperties() const override;
    bool SetTextProperty(const char* name, const char* text, bool bRegisterUndo) override;
    std::string GetTextProperty(const char* name) const override;

    // The gain of channel c (0 red, 1 green, 2 blue) in a group; all 1 at the defaults.
    static float Gain(const QDEffectBalanceProperties& p, int group, int c);

protected:
    bool SDFWriteMoreProperties(LSDFFileWriter& writer, const QDEffectBalanceProperties& p) override;
    void SDFLoadMoreProperty(LSDFMemoryReader& reader, const LSDFMemoryChunk& chunk,
                             QDEffectBalanceProperties& p) override;
};
