#pragma once
// A picture in the form the paint surface draws fastest: 32-bit, top-down, alpha premultiplied.
// It is a display copy only; nothing reads its pixels back as image data.

#include "image/LImageBuffer.h"

class LGuiImage
{
public:
    LGuiImage() = default;
    LGuiImage(const LGuiImage&) = delete;
    LGuiImage& operator=(const LGuiImage&) = delete;

    // Takes a copy of any 32-bit buffer. False (and empty) when memory runs out.
    bool SetFromImageBuffer(const LImageBuffer& buffer);
    // Takes the buffer itself when it is B8G8R8A8, leaving it empty; no copy is made.
    bool TakeImageBuffer(LImageBuffer& buffer);
    // A copy of any buffer enlarged or reduced to width × height by bilinear interpolation of the
    // premultiplied pixels: for showing a small render at the page's size. The present pixel
    // memory is reused when it already has that size.
    bool SetStretched(const LImageBuffer& source, int width, int height);
    // Gives the pixel memory back for reuse, e.g. as the target of the next resize.
    void ReleaseInto(LImageBuffer& buffer);
    void Clear();

    bool IsEmpty() const { return !buffer.IsValid(); }
    int GetWidth() const { return buffer.GetWidth(); }
    int GetHeight() const { return buffer.GetHeight(); }
    // No pixel is transparent: a backdrop behind it would never show.
    bool IsOpaque() const { return bOpaque; }
    // The premultiplied pixels, row 0 at the top.
    const LImageBuffer& GetBuffer() const { return buffer; }
    // Set by the caller who knows that the taken pixels have no transparency, to skip the scan.
    void TakeImageBufferKnownOpaque(LImageBuffer& buffer);

    // Every pixel of a B8G8R8A8 buffer has alpha 255.
    static bool IsBufferOpaque(const LImageBuffer& buffer);

private:
    void Premultiply();

    LImageBuffer buffer;
    bool bOpaque = true;
};
