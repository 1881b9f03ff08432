#pragma once
// Automatic levels: each of red, green and blue is stretched so that about one percent of the
// pixels clip at each end, judged from the channel's histogram.

#include <cstdint>

#include "image/LImgProFrame.h"

class LImgProAutoLevels
{
public:
    // The clip points of one channel: lo is the first bin from 0 up at which the running count
    // reaches iThreshold, hi the first from 255 down. A threshold of 0 gives 0 and 255.
    static void FindRange(const uint64_t* arHistogram, uint64_t iThreshold, int& lo, int& hi);
    // The stretch from lo..hi to 0..255; a range of one value sends it to 128, above to 255.
    static void MakeTable(int lo, int hi, uint8_t* arTable);

    // Formats 0 and 1; oDest is made like oSource when it doesn't match it, and may be oSource.
    // Blue, green and red of oDest are written, alpha never (the effect restores it). Progress runs
    // over four passes' worth of rows: the histograms, then the stretch. The threshold is
    // (W*H)/99.
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                           const LImageBuffer& oSource) const;

    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource) const
    {
        return Process(oProcess, oDest, oSource);
    }
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        return Process(oProcess, oImage, oImage);
    }
};
