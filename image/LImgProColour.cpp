#include "image/LImgProColour.h"

#include <algorithm>

LColourHLS& LColourHLS::operator=(const LColourRGB& rgb)
{
    const int r = rgb.r, g = rgb.g, b = rgb.b;
    const int max = std::max(r, std::max(g, b));
    const int min = std::min(r, std::min(g, b));
    dLightness = (max + min) / 510.0;
    dHue = 0;
    if (max == min)
    {
        dSaturation = 0;
        return *this;
    }
    const double delta = max - min;
    dSaturation = delta / (dLightness < 0.5 ? 510 * dLightness : 510 - 510 * dLightness);
    // The order of the tests settles ties between equal maxima.
    if (r == max && r != g)
        dHue = (g - b) / (6 * delta);
    else if (g == max && g != b)
        dHue = (b - r) / (6 * delta) + 1.0 / 3.0;
    else
        dHue = (r - g) / (6 * delta) + 2.0 / 3.0;
    return *this;
}

LColourRGB& LColourRGB::operator=(const LColourHLS& hls)
{
    const double h = hls.dHue, s = hls.dSaturation, l = hls.dLightness;
    const double x = (h - std::floor(h)) * 6;
    double c[3];
    if (x < 2)
    {
        c[0] = std::min(2 - x, 1.0);
        c[1] = std::min(x, 1.0);
        c[2] = 0;
    }
    else if (x < 4)
    {
        c[0] = 0;
        c[1] = std::min(4 - x, 1.0);
        c[2] = std::min(x - 2, 1.0);
    }
    else
    {
        c[0] = std::min(x - 4, 1.0);
        c[1] = 0;
        c[2] = std::min(6 - x, 1.0);
    }
    uint8_t out[3];
    for (int i = 0; i < 3; ++i)
    {
        const double cs = c[i] * 2 * s + 1 - s;
        const double v = l < 0.5 ? cs * l * 255 + 0.5 : (cs * (1 - l) + 2 * l - 1) * 255 + 0.5;
        out[i] = uint8_t(int(v));
    }
    r = out[0];
    g = out[1];
    b = out[2];
    return *this;
}

LPixelColour ColorBlend(LPixelColour oFirst, LPixelColour oSecond, float fAmount)
{
    if (fAmount >= -1.1920929e-7f && fAmount <= 1.1920929e-7f)
        return oFirst;
    const float keep = 1 - fAmount;
    auto mix = [&](uint8_t a, uint8_t b) { return uint8_t(int(b * fAmount + a * keep) & 0xFF); };
    return LPixelColour(mix(oFirst.b, oSecond.b), mix(oFirst.g, oSecond.g), mix(oFirst.r, oSecond.r),
                        oFirst.a);
}

uint8_t OverlayValues(uint8_t a, uint8_t b)
{
    const double x = a / 255.0, y = b / 255.0;
    if (x < 0.5)
        return uint8_t(Round(y * 2 * x * 255));
    return uint8_t(Round((1 - 2 * (1 - x) * (1 - y)) * 255));
}

const uint8_t (*OverlayValuesTable())[256]
{
    // Vector code reads a word at a time: the last entries have bytes to spare behind them.
    static const struct Table
    {
        uint8_t v[256][256];
        uint8_t spare[4] = {};
        Table()
        {
            for (int a = 0; a < 256; ++a)
                for (int b = 0; b < 256; ++b)
                    v[a][b] = OverlayValues(uint8_t(a), uint8_t(b));
        }
    } table;
    return table.v;
}

LPixelColour ColorOverlay(LPixelColour oFirst, LPixelColour oSecond, float fAmount)
{
    const LPixelColour overlay(OverlayValues(oFirst.b, oSecond.b), OverlayValues(oFirst.g, oSecond.g),
                               OverlayValues(oFirst.r, oSecond.r), oFirst.a);
    return ColorBlend(oFirst, overlay, fAmount);
}
