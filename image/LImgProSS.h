#pragma once
// A separable filter that approximates a Gaussian by a staircase of stacked boxes and serves both
// blurring (negative radius) and sharpening (positive radius, an unsharp mask of gain 1).
//
// Each output is sum_i weight_i * (sum of the level-i box around it) >> 16, the boxes clipped at
// the line ends with their weight scaled up to the true window. Inside the line that is a fixed
// symmetric integer kernel, which is how the fast path computes it: the integer result is the
// same, to the bit, as sliding one running sum per level.

#include "image/LImgProFrame.h"

class LImgProSS
{
public:
    static constexpr int kMaxLevels = 50;

    int iLevels = 0;
    double dRadius = 0;
    int arRadius[kMaxLevels] = {};
    int arWeight[kMaxLevels] = {};

    // bMaxLevels asks for up to 50 boxes (full resolution); otherwise max(ceil(|r|^0.4), 4).
    void SetRadius(double dRadius, bool bMaxLevels);
    // 257 means no fade; otherwise the filtered line is mixed with the input at fade/256.
    int GetFade() const;
    // Largest box radius; 0 when there is nothing to filter.
    int GetTopRadius() const { return iLevels > 0 ? arRadius[iLevels - 1] : 0; }

    // Formats 0 and 1; oDest is allocated like oSource when it doesn't match it, and may be
    // oSource itself.
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                           const LImageBuffer& oSource) const;

    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource) const
    {
        if constexpr (std::is_same_v<F, LPFB8G8R8A8> || std::is_same_v<F, LPFB8G8R8>)
            return Process(oProcess, oDest, oSource);
        else
            return LProcessResultFailed;
    }
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        return ProcessImage<F>(oProcess, oImage, oImage);
    }

    // One line of n samples; sample x of channel c is at in[x*iStride + c], c < iChannels. The
    // result goes to out[x*iOutStride + c]: the filtered value (blur) or 2*pixel minus it
    // (sharpen), faded against the input when fade is 256 or less. Scratch is reused between
    // calls; out may be in.
    struct Scratch;
    void FilterLine(const uint8_t* lpIn, int n, int iStride, int iChannels, uint8_t* lpOut, int iOutStride,
                    Scratch& oScratch, bool bSharpen, int iFade) const;
    // A row of n pixels of bpp bytes, without fade.
    void BlurRow(const uint8_t* lpIn, int n, int bpp, uint8_t* lpOut, Scratch& oScratch) const
    {
        FilterLine(lpIn, n, bpp, bpp, lpOut, bpp, oScratch, false, 257);
    }
    void SharpRow(const uint8_t* lpIn, int n, int bpp, uint8_t* lpOut, Scratch& oScratch) const
    {
        FilterLine(lpIn, n, bpp, bpp, lpOut, bpp, oScratch, true, 257);
    }
};

struct LImgProSS::Scratch
{
    ~Scratch();
    uint8_t* lpValues = nullptr;
    int32_t* lpPrefix = nullptr;
    int32_t* lpTotals = nullptr;
    size_t nValues = 0, nPrefix = 0, nTotals = 0;
    bool Reserve(size_t values, size_t prefix, size_t totals);
};
