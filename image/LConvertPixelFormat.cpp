#include "image/LConvertPixelFormat.h"

#include <cstring>

namespace
{
bool SameGeometry(const LImageBuffer& destination, const LImageBuffer& source)
{
    return destination.IsValid() && source.IsValid() && destination.imf.iWidth == source.imf.iWidth &&
           destination.imf.iHeight == source.imf.iHeight;
}

// One row loop per pair of value classes; Set is inline, so each becomes a tight loop.
template <class D, class S>
void ConvertPacked(LImageBuffer& destination, const LImageBuffer& source)
{
    if (!SameGeometry(destination, source))
        return;
    const int width = source.imf.iWidth;
    for (int y = 0; y < source.imf.iHeight; ++y)
    {
        const S* s = reinterpret_cast<const S*>(source.GetRow(y));
        D* d = reinterpret_cast<D*>(destination.GetRow(y));
        for (int x = 0; x < width; ++x)
            d[x].Set(s[x]);
    }
}

void Copy(LImageBuffer& destination, const LImageBuffer& source)
{
    LImageBufferCopy(destination, source);
}

using F = LPFConvertFunction;
using P0 = LPFB8G8R8A8;
using P1 = LPFB8G8R8;
using P2 = LPFB5G6R5;
using P3 = LPFB5G5R5A1;
using P4 = LPFB5G5R5X1;
using P5 = LPFR8G8B8A8;

} // namespace

void LConvertPixelFormatRGBtoRGBA(LImageBuffer& destination, const LImageBuffer& source)
{
    if (!SameGeometry(destination, source) || source.imf.pf != B8G8R8 || destination.imf.pf != B8G8R8A8)
        return;
    const int width = source.imf.iWidth;
    for (int y = 0; y < source.imf.iHeight; ++y)
    {
        const uint8_t* s = source.GetRow(y);
        uint8_t* d = destination.GetRow(y);
        int x = 0;
        // Three words of source hold four pixels; each becomes one word with alpha set.
        for (; x + 4 <= width; x += 4, s += 12, d += 16)
        {
            uint32_t w[3];
            std::memcpy(w, s, 12);
            const uint32_t out[4] = {w[0] | 0xFF000000u, (w[0] >> 24) | (w[1] << 8) | 0xFF000000u,
                                     (w[1] >> 16) | (w[2] << 16) | 0xFF000000u, (w[2] >> 8) | 0xFF000000u};
            std::memcpy(d, out, 16);
        }
        for (; x < width; ++x, s += 3, d += 4)
        {
            d[0] = s[0];
            d[1] = s[1];
            d[2] = s[2];
            d[3] = 255;
        }
    }
}

// clang-format off
const LPFConvertFunction LPFConvertFunc[PixelFormatCount * PixelFormatCount] = {
    // from B8G8R8A8
    Copy, ConvertPacked<P1, P0>, ConvertPacked<P2, P0>, ConvertPacked<P3, P0>, ConvertPacked<P4, P0>,
    ConvertPacked<P5, P0>, LConvertRGBToYUV420PBase, LConvertRGBToYUV420PBase, LConvertRGBToYUVJ420PBase,
    nullptr, nullptr,
    // from B8G8R8
    LConvertPixelFormatRGBtoRGBA, Copy, ConvertPacked<P2, P1>, ConvertPacked<P3, P1>, ConvertPacked<P4, P1>,
    ConvertPacked<P5, P1>, nullptr, nullptr, nullptr, nullptr, nullptr,
    // from B5G6R5
    ConvertPacked<P0, P2>, ConvertPacked<P1, P2>, Copy, ConvertPacked<P3, P2>, ConvertPacked<P4, P2>,
    ConvertPacked<P5, P2>, nullptr, nullptr, nullptr, nullptr, nullptr,
    // from B5G5R5A1
    ConvertPacked<P0, P3>, ConvertPacked<P1, P3>, ConvertPacked<P2, P3>, Copy, ConvertPacked<P4, P3>,
    ConvertPacked<P5, P3>, nullptr, nullptr, nullptr, nullptr, nullptr,
    // from B5G5R5X1
    ConvertPacked<P0, P4>, ConvertPacked<P1, P4>, ConvertPacked<P2, P4>, ConvertPacked<P3, P4>, Copy,
    ConvertPacked<P5, P4>, nullptr, nullptr, nullptr, nullptr, nullptr,
    // from R8G8B8A8
    ConvertPacked<P0, P5>, ConvertPacked<P1, P5>, ConvertPacked<P2, P5>, ConvertPacked<P3, P5>,
    ConvertPacked<P4, P5>, Copy, nullptr, nullptr, nullptr, nullptr, nullptr,
    // from YUYV422
    LConvertYUVBaseCCIR, LConvertYUVBaseCCIR, LConvertYUVBaseCCIR, LConvertYUVBaseCCIR, LConvertYUVBaseCCIR,
    nullptr, Copy, LConvertYUYV422ToYUV420P, nullptr, nullptr, nullptr,
    // from YUV420P
    LConvertYUVBaseCCIR, LConvertYUVBaseCCIR, LConvertYUVBaseCCIR, LConvertYUVBaseCCIR, LConvertYUVBaseCCIR,
    nullptr, LConvertYUV420PToYUYV422, Copy, LConvertYUV420PToYUVJ420P, nullptr, nullptr,
    // from YUVJ420P
    LConvertYUVBase, LConvertYUVBase, LConvertYUVBase, LConvertYUVBase, LConvertYUVBase,
    nullptr, nullptr, LConvertYUVJ420PToYUV420P, Copy, nullptr, nullptr,
    // from 4-bit indexed
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    // from I8
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
};
// clang-format on

void LConvertPixelFormat(LImageBuffer& destination, const LImageBuffer& source)
{
    const int from = source.imf.pf, to = destination.imf.pf;
    if (from < 0 || from >= PixelFormatCount || to < 0 || to >= PixelFormatCount)
        return;
    if (!SameGeometry(destination, source))
        return;
    if (const LPFConvertFunction direct = LPFConvertFunc[from * PixelFormatCount + to])
    {
        direct(destination, source);
        return;
    }
    const LPFConvertFunction toCommon = LPFConvertFunc[from * PixelFormatCount + B8G8R8A8];
    const LPFConvertFunction fromCommon = LPFConvertFunc[B8G8R8A8 * PixelFormatCount + to];
    if (!toCommon || !fromCommon)
        return;
    LImageBuffer common;
    if (!common.AllocateNewBuffer(
            LImageFormat(B8G8R8A8, source.imf.iWidth, source.imf.iHeight, source.imf.bUpsideDown != 0)))
        return;
    toCommon(common, source);
    fromCommon(destination, common);
}
