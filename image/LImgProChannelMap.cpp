#include "image/LImgProChannelMap.h"

#include <cstring>

#include "image/LImgProRowLoop.h"

const uint8_t* LImgProChannelMap::IdentityTable()
{
    static const struct Table
    {
        uint8_t v[256];
        Table()
        {
            for (int i = 0; i < 256; ++i)
                v[i] = uint8_t(i);
        }
    } table;
    return table.v;
}

void LImgProChannelMap::SetIdentity()
{
    for (int i = 0; i < 256; ++i)
        arRed[i] = arGreen[i] = arBlue[i] = uint8_t(i);
    Update();
}

void LImgProChannelMap::SetAll(const uint8_t* t)
{
    memcpy(arRed, t, 256);
    memcpy(arGreen, t, 256);
    memcpy(arBlue, t, 256);
    Update();
}

void LImgProChannelMap::Then(const uint8_t* r, const uint8_t* g, const uint8_t* b)
{
    for (int i = 0; i < 256; ++i)
    {
        arRed[i] = r[arRed[i]];
        arGreen[i] = g[arGreen[i]];
        arBlue[i] = b[arBlue[i]];
    }
    Update();
}

bool LImgProChannelMap::IsIdentity() const
{
    for (int i = 0; i < 256; ++i)
        if (arRed[i] != i || arGreen[i] != i || arBlue[i] != i)
            return false;
    return true;
}

void LImgProChannelMap::Update()
{
    for (int i = 0; i < 256; ++i)
    {
        arPackedBlue[i] = arBlue[i];
        arPackedGreen[i] = uint32_t(arGreen[i]) << 8;
        arPackedRed[i] = uint32_t(arRed[i]) << 16;
    }
}

void LImgProChannelMap::MapRow(uint8_t* p, int n, pixelformat_t pf) const
{
    switch (pf)
    {
    case B8G8R8A8:
    {
        // Whole words: rows of 32-bit images are 4-byte aligned.
        uint32_t* q = reinterpret_cast<uint32_t*>(p);
        int x = 0;
        for (; x + 2 <= n; x += 2)
        {
            const uint32_t a = q[x], b = q[x + 1];
            q[x] = (a & 0xFF000000u) | arPackedBlue[a & 255] | arPackedGreen[(a >> 8) & 255] |
                   arPackedRed[(a >> 16) & 255];
            q[x + 1] = (b & 0xFF000000u) | arPackedBlue[b & 255] | arPackedGreen[(b >> 8) & 255] |
                       arPackedRed[(b >> 16) & 255];
        }
        if (x < n)
        {
            const uint32_t a = q[x];
            q[x] = (a & 0xFF000000u) | arPackedBlue[a & 255] | arPackedGreen[(a >> 8) & 255] |
                   arPackedRed[(a >> 16) & 255];
        }
        break;
    }
    case B8G8R8:
        for (int x = 0; x < n; ++x, p += 3)
        {
            p[0] = arBlue[p[0]];
            p[1] = arGreen[p[1]];
            p[2] = arRed[p[2]];
        }
        break;
    default:
    {
        const LImageConstIterator::ReadFunc read = LGetPixelReadFunc(pf);
        const LImageIterator::WriteFunc write = LGetPixelWriteFunc(pf);
        const int bpp = LGetPixelFormatBits(pf) >> 3;
        for (int x = 0; x < n; ++x, p += bpp)
        {
            LPixelColour c = read(p);
            c = LPixelColour(arBlue[c.b], arGreen[c.g], arRed[c.r], c.a);
            write(p, c);
        }
        break;
    }
    }
}

LProcessResult LImgProMapChannels(LProcessInterface& oProcess, LImageBuffer& oImage,
                                  const LImgProChannelMap& oMap, LImgProRowStop eStop)
{
    const int w = oImage.GetWidth();
    const pixelformat_t pf = oImage.GetPixelFormat();
    return LImgProForEachRow(
        oProcess, oImage.GetHeight(), [&](int y) { oMap.MapRow(oImage.GetScanLine(y), w, pf); }, eStop, 64);
}
