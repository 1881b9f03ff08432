#include "image/LImgProColorLevels.h"

#include <cmath>

#include "image/LImgProChannelMap.h"
#include "image/LImgProColour.h"

bool LColorLevelSettings::IsIdentity() const
{
    return byInputLow == 0 && byInputHigh >= 255 && fMidtone == 0.5f && byOutputLow == 0 &&
           byOutputHigh >= 255;
}

LImgProColorLevels::LImgProColorLevels(const LColorLevelSettings& oRGB, const LColorLevelSettings& oRed,
                                       const LColorLevelSettings& oGreen, const LColorLevelSettings& oBlue)
    : arSettings{oRGB, oRed, oGreen, oBlue}
{
}

void LImgProColorLevels::MapValues(std::span<uint8_t, 256> arTable, const LColorLevelSettings& s)
{
    const double g = std::pow(double(2.2f), (double(s.fMidtone) - 0.5) * 6);
    const int lo = s.byInputLow, hi = s.byInputHigh;
    for (int i = 0; i < 256; ++i)
    {
        if (i <= lo)
            arTable[i] = s.byOutputLow;
        else if (i >= hi)
            arTable[i] = s.byOutputHigh;
        else
        {
            const double f = std::pow(double(i - lo) / (hi - lo), g);
            arTable[i] = uint8_t(Round(s.byOutputHigh * f + (1 - f) * s.byOutputLow));
        }
    }
}

LProcessResult LImgProColorLevels::Process(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    if (!oImage.IsValid() || oImage.GetPixelFormat() > B5G5R5X1)
        return LProcessResultFailed;
    uint8_t tables[4][256];
    const uint8_t* use[4];
    bool any = false;
    for (int c = 0; c < 4; ++c)
    {
        use[c] = nullptr;
        if (arSettings[c].IsIdentity())
            continue;
        MapValues(tables[c], arSettings[c]);
        use[c] = tables[c];
        any = true;
    }
    if (any)
    {
        const uint8_t* id = LImgProChannelMap::IdentityTable();
        LImgProChannelMap map;
        map.Then(use[Red] ? use[Red] : id, use[Green] ? use[Green] : id, use[Blue] ? use[Blue] : id);
        if (use[RGB])
            map.Then(use[RGB], use[RGB], use[RGB]);
        LImgProMapChannels(oProcess, oImage, map, LImgProStopNever);
    }
    return oProcess.IsToStop() ? LProcessResultCancelled : LProcessResultSuccess;
}
