#pragma once
// Whole-image geometry: resizing, rotation by any angle, and rectangle copies.

#include "image/LImageBuffer.h"

namespace LImage
{
enum ResizeFilter : int
{
    ResizeNearest = 0,
    ResizeBilinear = 1,
};

// Into oDest in oSource's format. With bKeepAspect the image fits inside iWidth x iHeight.
// Bilinear on a 32-bit image uses the separable scaler, on other formats the stepper (which
// can't take a side of 1 pixel). An unknown filter returns 0 and leaves oDest empty.
LProcessResult Resize(LProcessInterface& oProcess, const LImageBuffer& oSource, LImageBuffer& oDest,
                      int iWidth, int iHeight, bool bKeepAspect, ResizeFilter eFilter);

// Clockwise by dTurns of a full turn. Quarter turns keep the format and move pixels exactly;
// other angles need a 32-bit source and give a 32-bit image with transparent corners, sized to
// the rotated bounding box.
LProcessResult Rotate(LProcessInterface& oProcess, const LImageBuffer& oSource, LImageBuffer& oDest,
                      double dTurns);

// Copies a rectangle between buffers of one packed format, clipped to both. False when the
// formats differ or either buffer is invalid.
bool Copy(const LImageBuffer& oSource, LImageBuffer& oDest, int iDestX, int iDestY, int iSourceX,
          int iSourceY, int iWidth, int iHeight);
} // namespace LImage

// A new 32-bit image of one colour; false leaves an invalid buffer.
bool LCreateBlankImage(LImageBuffer& oImage, int iWidth, int iHeight, LPixelColour oColour);
