#pragma once
// Three byte tables applied to the red, green and blue channels of whole rows: the inner loop of
// levels, curves and exposure. Alpha and row padding are never touched.

#include <cstdint>

#include "image/LImgProRowLoop.h"

class LImgProChannelMap
{
public:
    LImgProChannelMap() { SetIdentity(); }

    void SetIdentity();
    // The same table on all three channels.
    void SetAll(const uint8_t* lpTable);
    // Chains second after what is there: each channel's table becomes second[table[v]].
    void Then(const uint8_t* lpRed, const uint8_t* lpGreen, const uint8_t* lpBlue);
    bool IsIdentity() const;
    // 0 to 255 in order, for channels that stay as they are.
    static const uint8_t* IdentityTable();
    // Rebuilds the packed tables of the 32-bit path; call once after changing the byte tables,
    // before mapping.
    void Update();

    // n pixels of format pf at p. The 16-bit formats go through the iterator's pixel access, so a
    // 1-5-5-5 pixel is written as the iterator writes it (alpha at bit 7).
    void MapRow(uint8_t* p, int n, pixelformat_t pf) const;

    uint8_t arRed[256], arGreen[256], arBlue[256];

private:
    // A channel's output already in its place in the 32-bit word, so a pixel costs three loads
    // and three ors.
    uint32_t arPackedBlue[256], arPackedGreen[256], arPackedRed[256];
};

// Maps every row of the image (formats 0 to 4), banded over the processors; the result is 1 when
// stopped.
LProcessResult LImgProMapChannels(LProcessInterface& oProcess, LImageBuffer& oImage,
                                  const LImgProChannelMap& oMap, LImgProRowStop eStop = LImgProStopBeforeRow);
