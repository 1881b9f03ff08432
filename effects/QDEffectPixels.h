#pragma once
// What the per-pixel tone effects share: a banded walk over the pixels of a 24- or 32-bit picture
// with a function of one pixel, the same function through an iterator for the other formats, and
// the strength blend folded into tables. Every pixel of a tone effect depends on that pixel alone,
// so the preview of the smaller buffer is the same function of the same pixels.

#include <cstdint>
#include <cstring>
#include <memory>

#include "image/LImgProChannelMap.h"
#include "image/LImgProColour.h"
#include "image/LImgProRowLoop.h"

// fn(LPixelColour) returns the new pixel; alpha is whatever fn leaves in it, and a 24-bit picture
// goes in opaque and drops it again. Formats 0 and 1 only; the result is 1 when stopped, 2 for
// another format.
template <class Fn>
LProcessResult QDMapPixels(LProcessInterface& process, LImageBuffer& buffer, const Fn& fn)
{
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (!buffer.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return LProcessResultFailed;
    const int w = buffer.GetWidth();
    return LImgProForEachRow(
        process, buffer.GetHeight(),
        [&](int y)
        {
            uint8_t* p = buffer.GetScanLine(y);
            if (pf == B8G8R8A8)
            {
                // Rows of 32-bit pictures are 4-byte aligned: a pixel is one word.
                uint32_t* q = reinterpret_cast<uint32_t*>(p);
                for (int x = 0; x < w; ++x)
                    q[x] = fn(LPixelColour::FromUInt32(q[x])).ToUInt32();
            }
            else
                for (int x = 0; x < w; ++x, p += 3)
                {
                    const LPixelColour c = fn(LPixelColour(p[0], p[1], p[2], 255));
                    p[0] = c.b;
                    p[1] = c.g;
                    p[2] = c.r;
                }
        },
        LImgProStopBeforeRow, 32);
}

// The same function over every pixel an iterator yields, for any format the iterator knows.
template <class Fn>
void QDMapPixels(LImageIterator& it, const Fn& fn)
{
    for (; !it.IsEnd(); it.Next())
        it.Write(fn(it.Read()));
}

// ColorBlend(first, second, amount) of one channel, for every pair: at [second][first].
class QDBlendTable
{
public:
    explicit QDBlendTable(float fAmount);
    // False when memory ran out.
    bool IsValid() const { return arTable != nullptr; }
    uint8_t Get(uint8_t first, uint8_t second) const { return arTable[size_t(second) << 8 | first]; }
    // The row of one second value, indexed by the first.
    const uint8_t* Row(uint8_t second) const { return arTable.get() + (size_t(second) << 8); }
    // All of it, at second * 256 + first; three readable bytes follow the last entry.
    const uint8_t* Data() const { return arTable.get(); }

private:
    std::unique_ptr<uint8_t[]> arTable;
};

// Per channel table[v] blended back over v by fAmount: ColorBlend(v, table[v], amount), so a
// strength below 1 costs no second picture. Amount 1 or more keeps the table.
void QDBlendChannelMap(LImgProChannelMap& map, float fAmount);

// ColorBlend of two pictures of the same size and format (0 or 1), into first; alpha stays the
// first's. 1 when stopped.
LProcessResult QDBlendPictures(LProcessInterface& process, LImageBuffer& first, const LImageBuffer& second,
                               float fAmount);

// Copies src into a new picture of its format and size; false leaves dest invalid.
bool QDCopyPicture(LImageBuffer& dest, const LImageBuffer& src);
