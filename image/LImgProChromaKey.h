#pragma once
// Colour removal: pixels close to a key colour become transparent, with a soft band between two
// thresholds in which the key's spill is taken out of the colour. Chroma mode measures closeness
// in the Cb/Cr plane, luma mode by brightness alone. The distances and fade factors of every
// possible pixel are tabulated once, before the pixel loop.

#include <cstdint>
#include <memory>

#include "image/LImgProRowLoop.h"

enum LImgProChromaKeyMode
{
    LImgProChromaKeyLuma = 0,
    LImgProChromaKeyChroma = 1,
    LImgProChromaKeyAutomatic = 2,
};

class LImgProChromaKey
{
public:
    // The key starts as pure green. Automatic mode keys in luma when that key's spread (largest
    // minus smallest channel) is below 5; it decides here, once.
    explicit LImgProChromaKey(LImgProChromaKeyMode eMode = LImgProChromaKeyAutomatic);

    // Changes the key without revisiting the mode.
    void SetPickedColor(uint8_t byRed, uint8_t byGreen, uint8_t byBlue);
    // Builds the tables for the key and thresholds; false when they can't be allocated.
    bool CalculateChromaKey();

    // Chroma: Cr, Cb of the pixel (truncated) index the tables. Below threshold A the pixel
    // becomes all zero, from B on it stays; between, each colour loses the key times the fade
    // factor, is scaled by alpha/255, and alpha drops to min((1 - f)*255, alpha). Luma: the same
    // by the luma distance, with f = d/219 taken off the colour itself.
    void LPixApplyEffect(const LPFB8G8R8A8& oIn, LPFB8G8R8A8& oOut) const;
    void LPixApplyEffect(const LPFB8G8R8& oIn, LPFB8G8R8& oOut) const;

    // All five formats through the generic loop. A at 0 with B below 2 changes nothing; tables not
    // calculated give 2.
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const;

    uint8_t byKeyBlue = 0, byKeyGreen = 255, byKeyRed = 0;
    uint8_t byThresholdA = 15;
    uint8_t byThresholdB = 30;
    bool bLuma = false;
    LImgProChromaKeyMode eMode;
    // Chroma: 65536 entries at Cb*256 + Cr. Luma: arDistance alone, 220 entries by luma.
    std::unique_ptr<double[]> arDistance;
    std::unique_ptr<double[]> arFactor;

    // A row of n pixels of the 8-bit formats (bpp 4 or 3), in place.
    void ApplyRow(uint8_t* p, int n, int bpp) const;

private:
    // Colour channels as blue, green, red; alpha 255 for pixels without one.
    void Apply(uint8_t* bgr, uint8_t& alpha) const;

    // The per-channel terms of Cr, Cb and luma, 256 each, in the order their expressions add
    // them, so that the sums round exactly as the expressions do.
    std::unique_ptr<double[]> arTerms;
};

// Cr and Cb as the key compares them, truncated.
inline int LImgProChromaCr(int r, int g, int b)
{
    return int(0.5 * r + 128 - 0.418688 * g - 0.081312 * b);
}
inline int LImgProChromaCb(int r, int g, int b)
{
    return int(-0.168736 * r + 128 - 0.331264 * g + 0.5 * b);
}
// Luma from 16, truncated, before the offset is taken off.
inline int LImgProChromaLuma(int r, int g, int b)
{
    return int(0.2567890625 * r + 16 + 0.50412890625 * g + 0.09790625 * b);
}

template <class F>
int LImgProChromaKey::ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    if (!oImage.IsValid())
        return LProcessResultFailed;
    if (byThresholdA == 0 && byThresholdB < 2)
        return LProcessResultSuccess;
    if (!arDistance || !arFactor || !arTerms)
        return LProcessResultFailed;
    oProcess.SetProgress(0.0);
    const int w = oImage.GetWidth();
    return LImgProForEachRow(oProcess, oImage.GetHeight(),
                             [&](int y)
                             {
                                 F* p = reinterpret_cast<F*>(oImage.GetRow(y));
                                 if constexpr (LImgProIs8Bit<F>)
                                     ApplyRow(reinterpret_cast<uint8_t*>(p), w, int(sizeof(F)));
                                 else
                                     for (int x = 0; x < w; ++x)
                                         ::LPixApplyEffect(*this, p[x], p[x]);
                             });
}
