#pragma once
// Oil painting: every pixel takes the mean colour of the most frequent grey value in the square
// around it. The window's histograms are updated incrementally along a serpentine path, so a step
// costs 2*(2r+1) updates whatever the radius.

#include "image/LImgProFrame.h"

class LImgProOilPainting
{
public:
    explicit LImgProOilPainting(int radius = 3) : iRadius(radius) {}

    // Two buffers of one size, all five formats; different sizes give 2. The window of half-width
    // iRadius is clipped to the image; ties between bins go to the lowest grey value. Alpha is
    // copied from the source. Bands of rows run on the processors, each with its own path.
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource) const;
    // The filter needs the untouched source beside the output.
    template <class F>
    int ProcessImage(LProcessInterface&, LImageBuffer&) const
    {
        return LProcessResultFailed;
    }

    int iRadius;
};

extern template int LImgProOilPainting::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&,
                                                                  const LImageBuffer&) const;
extern template int LImgProOilPainting::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&,
                                                                const LImageBuffer&) const;
extern template int LImgProOilPainting::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&,
                                                                const LImageBuffer&) const;
extern template int LImgProOilPainting::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&,
                                                                  const LImageBuffer&) const;
extern template int LImgProOilPainting::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&,
                                                                  const LImageBuffer&) const;
