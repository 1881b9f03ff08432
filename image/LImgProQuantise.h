#pragma once
// Reducing an image to a palette: the palette from the image by median cut or colour octree, and
// the mapping of its pixels to palette indices, with or without Floyd-Steinberg dithering.
// Sources are B8G8R8A8 or B8G8R8.

#include "foundation/LProcessInterface.h"
#include "image/LColourOctree.h"
#include "image/LImageBuffer.h"
#include "image/LMedianCut.h"
#include "image/LPalette.h"

constexpr int kLPaletteMethodMedianCut = 1; // any other method value selects the colour octree

struct LProcessGeneratePaletteFromImage
{
    const LImageBuffer* lpImage = nullptr;
    int iColorCount = 256;
    int iMethod = kLPaletteMethodMedianCut;
    LPalette<LPFB8G8R8> palette; // result
    // The palette serves the whole picture: alpha is ignored and no entry is kept for
    // transparency. Otherwise a 32-bit image keeps one entry back, which the pixels of alpha 0
    // get (with their mean colour) when there are any.
    bool bDither = false;
};

// 0 done, 1 stopped, 2 failed ("Invalid source image" for an unsuitable source).
LProcessResult Process(LProcessInterface& process, LProcessGeneratePaletteFromImage& data);

// Maps a source to an I8 image of palette indices. Pixels of alpha 0 take the palette's
// transparent index when it has one; every other pixel takes its nearest entry.
template <class T>
class LProcessConvertImageToIndexed
{
public:
    const LImageBuffer* lpSource = nullptr;
    const LPalette<T>* lpPalette = nullptr; // at most 256 entries
    bool bDither = true;
    LImageBuffer imageIndexed; // result

    LProcessResult ConvertWithoutDithering(LProcessInterface& process);
    // The error left at each pixel goes 7/16 to the right, 3/16 below left, 5/16 below and 1/16
    // below right, each share rounded down.
    LProcessResult ConvertWithFloydSteinbergDithering(LProcessInterface& process);

private:
    LProcessResult Prepare(LProcessInterface& process);
};

template <class T>
LProcessResult Process(LProcessInterface& process, LProcessConvertImageToIndexed<T>& data)
{
    return data.bDither ? data.ConvertWithFloydSteinbergDithering(process)
                        : data.ConvertWithoutDithering(process);
}
