#include "codecs/LCodecIO.h"

void LCodecReadRowBGRA(const LImageBuffer& image, int y, uint32_t* out)
{
    const int width = image.GetWidth();
    const uint8_t* row = image.GetRow(y);
    switch (image.GetPixelFormat())
    {
    case B8G8R8A8:
        memcpy(out, row, size_t(width) * 4);
        return;
    case B8G8R8:
        for (int x = 0; x < width; ++x, row += 3)
            out[x] = uint32_t(row[0]) | uint32_t(row[1]) << 8 | uint32_t(row[2]) << 16 | 0xFF000000u;
        return;
    default:
        break;
    }
    LImageConstIterator it(image);
    it.MoveTo(0, image.imf.bUpsideDown ? image.GetHeight() - 1 - y : y);
    for (int x = 0; x < width; ++x, it.Next())
        out[x] = it.Read().ToUInt32();
}

bool LCodecAllocateTarget(LImageBuffer& image, int width, int height, bool alpha)
{
    return width > 0 && height > 0 &&
           LCodecAllocate(image, uint64_t(width), uint64_t(height), alpha ? B8G8R8A8 : B8G8R8);
}
