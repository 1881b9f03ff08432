#include "image/LImgProChromaKey.h"

#include <algorithm>
#include <cmath>
#include <new>

int LImgProChromaCr(int r, int g, int b)
{
    return int(0.5 * r + 128 - 0.418688 * g - 0.081312 * b);
}

int LImgProChromaCb(int r, int g, int b)
{
    return int(-0.168736 * r + 128 - 0.331264 * g + 0.5 * b);
}

int LImgProChromaLuma(int r, int g, int b)
{
    return int(0.2567890625 * r + 16 + 0.50412890625 * g + 0.09790625 * b);
}

LImgProChromaKey::LImgProChromaKey(LImgProChromaKeyMode mode) : eMode(mode)
{
    if (mode == LImgProChromaKeyAutomatic)
    {
        const int hi = std::max({byKeyRed, byKeyGreen, byKeyBlue});
        const int lo = std::min({byKeyRed, byKeyGreen, byKeyBlue});
        bLuma = hi - lo < 5;
    }
    else
        bLuma = mode == LImgProChromaKeyLuma;
}

void LImgProChromaKey::SetPickedColor(uint8_t r, uint8_t g, uint8_t b)
{
    byKeyRed = r;
    byKeyGreen = g;
    byKeyBlue = b;
}

bool LImgProChromaKey::CalculateChromaKey()
{
    if (!arDistance)
        arDistance.reset(new (std::nothrow) double[65536]);
    if (!arFactor)
        arFactor.reset(new (std::nothrow) double[65536]);
    if (!arDistance || !arFactor)
        return false;
    if (bLuma)
    {
        const int y0 = LImgProChromaLuma(byKeyRed, byKeyGreen, byKeyBlue);
        for (int i = 0; i < 220; ++i)
            arDistance[i] = std::abs(i + 16 - y0);
        return true;
    }
    const int cr0 = LImgProChromaCr(byKeyRed, byKeyGreen, byKeyBlue);
    const int cb0 = LImgProChromaCb(byKeyRed, byKeyGreen, byKeyBlue);
    const double a = byThresholdA, b = byThresholdB;
    for (int cb = 0; cb < 256; ++cb)
        for (int cr = 0; cr < 256; ++cr)
        {
            const double d = std::sqrt(double((cr0 - cr) * (cr0 - cr) + (cb0 - cb) * (cb0 - cb)));
            arDistance[cb * 256 + cr] = d;
            // Only read between the thresholds, so A >= B needs no factor.
            arFactor[cb * 256 + cr] = b > a ? 1 - (d - a) / (b - a) : 0;
        }
    return true;
}

void LImgProChromaKey::Apply(uint8_t* c, uint8_t& alpha) const
{
    const int b = c[0], g = c[1], r = c[2];
    double d, f;
    int idx = 0;
    if (bLuma)
    {
        const int y = std::clamp(LImgProChromaLuma(r, g, b) - 16, 0, 219);
        d = arDistance[y];
    }
    else
    {
        idx = LImgProChromaCb(r, g, b) * 256 + LImgProChromaCr(r, g, b);
        d = arDistance[idx];
    }
    if (d < byThresholdA)
    {
        c[0] = c[1] = c[2] = 0;
        alpha = 0;
        return;
    }
    if (d >= byThresholdB)
        return;
    const double a = alpha / 255.0;
    if (bLuma)
    {
        f = d / 219;
        for (int k = 0; k < 3; ++k)
            c[k] = uint8_t(std::max(c[k] - c[k] * f, 0.0) * a);
        alpha = uint8_t(std::min(int(255 - 255 * f), int(alpha)));
        return;
    }
    f = arFactor[idx];
    const uint8_t key[3] = {byKeyBlue, byKeyGreen, byKeyRed};
    for (int k = 0; k < 3; ++k)
        c[k] = uint8_t(std::max(c[k] - key[k] * f, 0.0) * a);
    alpha = uint8_t(std::min(int((1 - f) * 255), int(alpha)));
}

void LImgProChromaKey::LPixApplyEffect(const LPFB8G8R8A8& oIn, LPFB8G8R8A8& oOut) const
{
    uint8_t c[3] = {oIn.b, oIn.g, oIn.r}, alpha = oIn.a;
    Apply(c, alpha);
    oOut = LPFB8G8R8A8(c[0], c[1], c[2], alpha);
}

void LImgProChromaKey::LPixApplyEffect(const LPFB8G8R8& oIn, LPFB8G8R8& oOut) const
{
    uint8_t c[3] = {oIn.b, oIn.g, oIn.r}, alpha = 255;
    Apply(c, alpha);
    oOut.b = c[0];
    oOut.g = c[1];
    oOut.r = c[2];
}
