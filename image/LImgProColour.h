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

// Overlay of channel value b onto a: below a's middle it multiplies, above it screens, each
// rounded. x = a/255, y = b/255: x < 0.5 gives Round(y*2*x*255), else Round((1 - 2(1-x)(1-y))*255).
uint8_t OverlayValues(uint8_t a, uint8_t b);
// OverlayValues for every pair, at [a][b]: per-pixel loops look it up. Three readable bytes follow
// the last entry, for code that reads a word at a time.
const uint8_t (*OverlayValuesTable())[256];
// Per channel the overlay of second onto first, then ColorBlend(first, overlay, fAmount); alpha
// from the first.
LPixelColour ColorOverlay(LPixelColour oFirst, LPixelColour oSecond, float fAmount);
