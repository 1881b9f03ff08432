#pragma once
// Exposure: one table on blue, green and red, shaped like film's response, so that a factor above
// 1 brightens the shadows most and never clips highlights abruptly. Alpha is copied.

#include <cstdint>

#include "image/LImgProFrame.h"

class LImgProExposure
{
public:
    LImgProExposure() { SetExposure(1.0); }
    explicit LImgProExposure(double k) { SetExposure(k); }

    // v = (1 - exp(k * ln(1 - i/256))) * 256 + 0.5, clamped to 0..255 and truncated; 1 is the
    // identity.
    void SetExposure(double k);

    // Formats 0 and 1 only; any other format gives 2 rather than being walked with the wrong pixel
    // size. IsToStop is asked and progress set after each row.
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oImage) const;
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        return Process(oProcess, oImage);
    }

    double dExposure = 1;
    uint8_t arTable[256];
};
