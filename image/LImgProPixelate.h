#pragma once
// Pixelation: the image in square blocks, each filled with the mean of its pixels.

#include "image/LImgProFrame.h"

class LImgProPixelate
{
public:
    explicit LImgProPixelate(int blockSize = 8) : iBlockSize(blockSize) {}

    // Blocks of iBlockSize (at least 1) from the top left, smaller at the right and bottom edges;
    // each gets the integer mean of every channel, alpha included. Two buffers of one size (else
    // 2), or one in place; all five formats.
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource) const;
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        return ProcessImage<F>(oProcess, oImage, oImage);
    }

    int iBlockSize;
};

extern template int LImgProPixelate::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&,
                                                               const LImageBuffer&) const;
extern template int LImgProPixelate::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&,
                                                             const LImageBuffer&) const;
extern template int LImgProPixelate::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&,
                                                             const LImageBuffer&) const;
extern template int LImgProPixelate::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&,
                                                               const LImageBuffer&) const;
extern template int LImgProPixelate::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&,
                                                               const LImageBuffer&) const;
