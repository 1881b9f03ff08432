#pragma once
// The colour model shared by the kernels: RGB and HLS with their conversions, the blend of two
// pixels and the rounding helper. Channel conversions truncate unless Round is named.

#include <cmath>
#include <cstdint>

#include "image/LImageBuffer.h"

// Halves go away from zero.
inline double Round(double x)
{
    return x < 0 ? std::ceil(x - 0.5) : std::floor(x + 0.5);
}
inline float Round(float x)
{
    return x < 0 ? std::ceil(x - 0.5f) : std::floor(x + 0.5f);
}

struct LColourHLS;

struct LColourRGB
{
    uint8_t r = 0, g = 0, b = 0;

    LColourRGB() = default;
    constexpr LColourRGB(uint8_t red, uint8_t green, uint8_t blue) : r(red), g(green), b(blue) {}
    explicit LColourRGB(const LPixelColour& c) : r(c.r), g(c.g), b(c.b) {}
    LColourRGB& operator=(const LColourHLS& hls);
    bool operator==(const LColourRGB& o) const { return r == o.r && g == o.g && b == o.b; }
    LPixelColour ToPixel(uint8_t alpha = 255) const { return LPixelColour(b, g, r, alpha); }
};

// Field order hue, saturation, lightness, whatever the name says: code copying by position
// depends on it. Hue is periodic and may lie outside 0..1.
struct LColourHLS
{
    double dHue = 0;
    double dSaturation = 0;
    double dLightness = 0;

    LColourHLS() = default;
    LColourHLS(double hue, double saturation, double lightness)
        : dHue(hue), dSaturation(saturation), dLightness(lightness)
    {
    }
    LColourHLS& operator=(const LColourRGB& rgb);
};

// Per-channel mix in float, truncated; alpha from the first. An amount within float epsilon of 0
// returns the first pixel untouched.
LPixelColour ColorBlend(LPixelColour oFirst, LPixelColour oSecond, float fAmount);
