#pragma once
// Levels: per channel an input range, a midtone gamma and an output range, turned into a byte
// table. Four settings in the order RGB, red, green, blue; each channel goes through its own
// table first, then all three through the RGB table.

#include <cstdint>
#include <span>

#include "image/LImgProFrame.h"

struct LColorLevelSettings
{
    uint8_t byInputLow = 0;
    uint8_t byInputHigh = 255;
    float fMidtone = 0.5f;
    uint8_t byOutputLow = 0;
    uint8_t byOutputHigh = 255;

    // Input 0 to 255, midtone exactly 0.5, output 0 to 255.
    bool IsIdentity() const;
    bool operator==(const LColorLevelSettings& o) const = default;
};

class LImgProColorLevels
{
public:
    enum
    {
        RGB = 0,
        Red = 1,
        Green = 2,
        Blue = 3
    };

    LImgProColorLevels() = default;
    // Sets the RGB channel; the others stay at their defaults.
    explicit LImgProColorLevels(const LColorLevelSettings& oRGB) { arSettings[RGB] = oRGB; }
    LImgProColorLevels(const LColorLevelSettings& oRGB, const LColorLevelSettings& oRed,
                       const LColorLevelSettings& oGreen, const LColorLevelSettings& oBlue);

    // The gamma is 2.2 (as a float) to the power (midtone - 0.5) * 6. Inputs at or below the low
    // input give the low output (tested first), at or above the high input the high output.
    static void MapValues(std::span<uint8_t, 256> arTable, const LColorLevelSettings& oSettings);

    // Formats 0 to 4, the 16-bit ones through the iterator's pixel access. An invalid buffer gives
    // 2; otherwise the result is IsToStop, asked once at the end.
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oImage) const;
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        return Process(oProcess, oImage);
    }

    LColorLevelSettings arSettings[4];
};
