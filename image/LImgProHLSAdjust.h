#pragma once
// Per-pixel changes in HLS: every pixel goes to hue, lightness and saturation, one of them is
// changed, and it comes back to RGB. The result is what LColourHLS and LColourRGB give for each
// pixel, to the bit: the vector path does the same double operations in the same order, four
// pixels at a time. Alpha is copied.

#include <cstdint>

#include "image/LImgProColour.h"
#include "image/LImgProFrame.h"

class LImgProHLSAdjust
{
public:
    enum Mode
    {
        TurnHue,          // hue += dTurn
        OffsetSaturation, // saturation += dOffset, clamped to 0..1
        RemapLightness,   // i = trunc(L*255): L = dAmount*arLightness[i] + (1 - dAmount)*L
    };

    Mode eMode = TurnHue;
    double dTurn = 0;
    double dOffset = 0;
    double dAmount = 0;
    double arLightness[256] = {};

    // One pixel, through the colour model's own conversions.
    LPixelColour Apply(LPixelColour c) const
    {
        LColourHLS hls;
        hls = LColourRGB(c);
        if (eMode == TurnHue)
            hls.dHue += dTurn;
        else if (eMode == OffsetSaturation)
        {
            const double s = hls.dSaturation + dOffset;
            hls.dSaturation = s < 0 ? 0 : s > 1 ? 1 : s;
        }
        else
        {
            const int i = int(hls.dLightness * 255);
            hls.dLightness = dAmount * arLightness[i] + (1 - dAmount) * hls.dLightness;
        }
        LColourRGB rgb;
        rgb = hls;
        return rgb.ToPixel(c.a);
    }

    // n pixels of format 0 or 1 in place; the vector path where the processor has it.
    void ApplyRow(uint8_t* p, int n, pixelformat_t pf) const;
    // Formats 0 and 1 on bands of rows; others give 2. IsToStop before each row.
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oImage) const;
    // For tests: the plain form only.
    static void SetVectorPath(bool bEnabled);
};
