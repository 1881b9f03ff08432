#pragma once
// Toolkit colours: three 16-bit channels with the value in the high byte (grey 190 is 0xBE00),
// and a form with an opacity from 0 to 1.

#include <cstdint>

#include "image/LImageBuffer.h"

struct LGuiColor
{
    uint16_t red = 0, green = 0, blue = 0;
};

struct LGuiColorAlpha : LGuiColor
{
    float alpha = 0.0f;

    LGuiColorAlpha() = default;
    LGuiColorAlpha(uint16_t r, uint16_t g, uint16_t b, float a) { red = r, green = g, blue = b, alpha = a; }
    // The 8-bit pixel of this colour; opacity is truncated like every channel conversion.
    LPixelColour ToPixel() const
    {
        float a = alpha < 0.0f ? 0.0f : alpha > 1.0f ? 1.0f : alpha;
        return LPixelColour(uint8_t(blue >> 8), uint8_t(green >> 8), uint8_t(red >> 8), uint8_t(a * 255.0f));
    }
};
