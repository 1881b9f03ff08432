#include "image/LImgProExposure.h"

#include <algorithm>
#include <cmath>

#include "image/LImgProChannelMap.h"

void LImgProExposure::SetExposure(double k)
{
    dExposure = k;
    for (int i = 0; i < 256; ++i)
    {
        const double v = (1 - std::exp(k * std::log(1 - i / 256.0))) * 256 + 0.5;
        arTable[i] = uint8_t(std::clamp(v, 0.0, 255.0));
    }
}

LProcessResult LImgProExposure::Process(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    const pixelformat_t pf = oImage.GetPixelFormat();
    if (!oImage.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return LProcessResultFailed;
    oProcess.SetProgress(0.0);
    LImgProChannelMap map;
    map.SetAll(arTable);
    if (map.IsIdentity())
    {
        oProcess.SetProgress(1.0);
        return LProcessResultSuccess;
    }
    return LImgProMapChannels(oProcess, oImage, map, LImgProStopAfterRow);
}
