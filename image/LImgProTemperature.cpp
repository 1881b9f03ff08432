#include "image/LImgProTemperature.h"

#include <algorithm>

#include "image/LImgProRowLoop.h"

void LImgProTemperature::SetTemperature(int t)
{
    iTemperature = t;
    if (t == 0)
        return;
    auto low = [](int v) { return uint8_t(v & 0xFF); };
    if (t < 0)
    {
        m0 = low(((t * 155) >> 7) - 1);
        m1 = m2 = low((t * -77) >> 7);
        m3 = 0;
        m4 = low(((t * 25) >> 6) - 1);
        m5 = low((t * -50) >> 7);
        m6 = m7 = 0;
        m8 = 255;
    }
    else
    {
        m0 = 255;
        m1 = m2 = 0;
        m3 = low((t * 50) >> 7);
        m4 = low(255 - ((t * 50) >> 7));
        m5 = 0;
        m6 = m7 = low((t * 77) >> 7);
        m8 = low(255 - ((t * 155) >> 7));
    }
}

namespace
{
template <int bpp>
void TemperatureRow(const LImgProTemperature& k, uint8_t* p, int n)
{
    const unsigned a0 = k.m0, a1 = k.m1, a2 = k.m2, a3 = k.m3, a4 = k.m4, a5 = k.m5, a6 = k.m6, a7 = k.m7,
                   a8 = k.m8;
    for (int x = 0; x < n; ++x, p += bpp)
    {
        const unsigned b = p[0], g = p[1], r = p[2];
        p[2] = uint8_t(std::min((a0 * r + a3 * g + a6 * b) >> 8, 255u));
        p[1] = uint8_t(std::min((a1 * r + a4 * g + a7 * b) >> 8, 255u));
        p[0] = uint8_t(std::min((a2 * r + a5 * g + a8 * b) >> 8, 255u));
    }
}
} // namespace

LProcessResult LImgProTemperature::Process(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    const pixelformat_t pf = oImage.GetPixelFormat();
    if (!oImage.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return LProcessResultFailed;
    if (iTemperature == 0)
    {
        oProcess.SetProgress(1.0);
        return LProcessResultSuccess;
    }
    oProcess.SetProgress(0.0);
    const int w = oImage.GetWidth();
    return LImgProForEachRow(
        oProcess, oImage.GetHeight(),
        [&](int y)
        {
            if (pf == B8G8R8A8)
                TemperatureRow<4>(*this, oImage.GetRow(y), w);
            else
                TemperatureRow<3>(*this, oImage.GetRow(y), w);
        },
        LImgProStopAfterRow, 64);
}
