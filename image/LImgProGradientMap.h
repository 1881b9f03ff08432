#pragma once
// Gradient map: every pixel is replaced by the colour of a gradient at its grey value. The
// gradient, given by coloured markers, is sampled once into a table of 256 colours.

#include "foundation/LList.h"
#include "image/LImgProFrame.h"

struct LGradientMarker : LListItem<LGradientMarker>
{
    LGradientMarker() = default;
    LGradientMarker(LPixelColour colour, float position) : oColour(colour), fPosition(position) {}
    LPixelColour oColour{0, 0, 0, 255};
    float fPosition = 0;
};

class LImgProGradientMap
{
public:
    // Black to white.
    LImgProGradientMap();
    explicit LImgProGradientMap(const LList<LGradientMarker>& listMarkers) { FillColorArray(listMarkers); }

    // Markers are taken in position order. Entry i samples p = i/256 between the pair of markers
    // around it, mixing in float and rounding; past the last marker its colour holds. Alpha 255.
    // No markers leave the grey ramp.
    void FillColorArray(const LList<LGradientMarker>& listMarkers);

    // Grey (R*76 + G*155 + B*25) >> 8 picks the entry, alpha included, so the image turns
    // opaque. Formats 0 to 4, the 16-bit ones through the iterator's pixel access.
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oImage) const;
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        return Process(oProcess, oImage);
    }

    LPixelColour arColors[256];
};
