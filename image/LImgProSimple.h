#pragma once
// The simple per-pixel kernels: negative, greyscale by luma in double, and the integer black and
// white used to turn edge images grey.

#include "image/LImgProFrame.h"

// Complements blue, green and red; alpha is copied. Formats 0 and 1.
class LImgProNegative
{
public:
    void LPixApplyEffect(const LPFB8G8R8A8& oIn, LPFB8G8R8A8& oOut) const
    {
        oOut = LPFB8G8R8A8(uint8_t(~oIn.b), uint8_t(~oIn.g), uint8_t(~oIn.r), oIn.a);
    }
    void LPixApplyEffect(const LPFB8G8R8& oIn, LPFB8G8R8& oOut) const
    {
        oOut.b = uint8_t(~oIn.b);
        oOut.g = uint8_t(~oIn.g);
        oOut.r = uint8_t(~oIn.r);
    }
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        if constexpr (std::is_same_v<F, LPFB8G8R8A8> || std::is_same_v<F, LPFB8G8R8>)
            return ProcessImagePixelEffect<F>(*this, oImage, oProcess);
        else
            return LProcessResultFailed;
    }
};

// Y = (R*76 + G*155 + B*25) >> 8 on all three colour channels; alpha left alone. All five formats.
class LImageProcessBlackAndWhite
{
public:
    static uint8_t Luma(unsigned r, unsigned g, unsigned b)
    {
        return uint8_t((r * 76 + g * 155 + b * 25) >> 8);
    }
    void LPixApplyEffect(const LPFB8G8R8A8& oIn, LPFB8G8R8A8& oOut) const
    {
        const uint8_t y = Luma(oIn.r, oIn.g, oIn.b);
        oOut = LPFB8G8R8A8(y, y, y, oIn.a);
    }
    void LPixApplyEffect(const LPFB8G8R8& oIn, LPFB8G8R8& oOut) const
    {
        const uint8_t y = Luma(oIn.r, oIn.g, oIn.b);
        oOut.b = oOut.g = oOut.r = y;
    }
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        return ProcessImagePixelEffect<F>(*this, oImage, oProcess);
    }
};

// Y = trunc(0.2126*R + 0.7152*G + 0.0722*B) in double on all three colour channels, alpha copied.
// Own loop with a stop test and a progress report after every row; a 32-bit and a 24-bit form,
// chosen by the format field: 0 is 32-bit, anything else 24-bit.
class LImgProGreyScale
{
public:
    static uint8_t Luma(unsigned r, unsigned g, unsigned b)
    {
        return uint8_t(int(0.2126 * r + 0.7152 * g + 0.0722 * b));
    }
    // In place.
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oImage) const;
    // Into oDest, which is allocated like oSource when it doesn't match it.
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                           const LImageBuffer& oSource) const;

    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        return Process(oProcess, oImage);
    }
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource) const
    {
        return Process(oProcess, oDest, oSource);
    }
};
