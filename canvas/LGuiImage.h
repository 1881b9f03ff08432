#pragma once
// A picture in the form the paint surface draws fastest: 32-bit, top-down, alpha premultiplied.
// It is a display copy only; nothing reads its pixels back as image data.

#include <memory>
#include <utility>
#include <vector>

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
    // A copy of any buffer enlarged to width × height by bilinear interpolation of the
    // premultiplied pixels: for showing a small render at the page's size. The enlargement is made
    // once, when the full size is first drawn; drawn small, only the small reductions are made.
    // The present pixel memory is reused when it already has that size.
    bool SetStretched(const LImageBuffer& source, int width, int height);
    void Clear();

    bool IsEmpty() const { return !bPending && !buffer.IsValid(); }
    int GetWidth() const { return bPending ? iPendingWidth : buffer.GetWidth(); }
    int GetHeight() const { return bPending ? iPendingHeight : buffer.GetHeight(); }
    // No pixel is transparent: a backdrop behind it would never show.
    bool IsOpaque() const { return bOpaque; }
    // The premultiplied pixels, row 0 at the top; a pending enlargement is made here.
    const LImageBuffer& GetBuffer() const;
    // The same, with only rows y0..y1 sure to be made: a magnified view enlarges what it shows.
    const LImageBuffer& GetBufferRows(int y0, int y1) const;
    // The picture at most twice as wide as width: itself, or a copy reduced by a power of two
    // (averaging each square of pixels), made on first need and kept until the pixels change.
    // Drawing a large picture small from it reads far less memory, and every pixel counts. A
    // stretched picture's reductions come from the small picture it was stretched from.
    const LGuiImage& GetReducedFor(int width) const;

    // Every pixel of a B8G8R8A8 buffer has alpha 255.
    static bool IsBufferOpaque(const LImageBuffer& buffer);

private:
    void Premultiply();
    void Changed();
    bool MakeReduced(const LImageBuffer& in, int factor, bool bSourceOpaque);
    bool Materialize() const;
    bool Materialize(int y0, int y1) const;

    static constexpr int kStripRows = 32;

    mutable LImageBuffer buffer;
    mutable bool bPending = false;
    mutable std::vector<uint8_t> vStripDone;
    int iPendingWidth = 0, iPendingHeight = 0;
    bool bOpaque = true;
    // The small picture a stretched one came from: its reductions are stretched from it too.
    LImageBuffer bufSource;
    mutable std::vector<std::pair<int, std::unique_ptr<LGuiImage>>> vReduced;
};
