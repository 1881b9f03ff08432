#pragma once
// Colour temperature: a 3x3 matrix of byte weights (in 256ths) that moves colours towards blue
// (below 0) or amber (above 0). Alpha is copied.

#include <cstdint>

#include "image/LImgProFrame.h"

class LImgProTemperature
{
public:
    LImgProTemperature() = default;
    explicit LImgProTemperature(int t) { SetTemperature(t); }

    // The effect passes -64 to 64. Each entry is the low byte of its expression, with arithmetic
    // shifts; 0 computes nothing.
    void SetTemperature(int t);

    // R' = (m0*R + m3*G + m6*B) >> 8, G' = (m1*R + m4*G + m7*B) >> 8, B' = (m2*R + m5*G + m8*B) >> 8,
    // each capped at 255. Formats 0 and 1 only; others give 2. At 0 only progress 1.0 is
    // reported. IsToStop is asked and progress set after each row.
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oImage) const;
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        return Process(oProcess, oImage);
    }

    int iTemperature = 0;
    uint8_t m0 = 255, m1 = 0, m2 = 0, m3 = 0, m4 = 255, m5 = 0, m6 = 0, m7 = 0, m8 = 255;
};
