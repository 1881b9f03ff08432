#include "effects/QDEffectPixels.h"

#include <atomic>
#include <new>

#include "effects/QDEffectVector.h"

QDBlendTable::QDBlendTable(float fAmount) : arTable(new (std::nothrow) uint8_t[65536 + 4])
{
    if (!arTable)
        return;
    memset(arTable.get() + 65536, 0, 4);
    for (int second = 0; second < 256; ++second)
        for (int first = 0; first < 256; ++first)
            arTable[size_t(second) << 8 | size_t(first)] =
                ColorBlend(LPixelColour(uint8_t(first), 0, 0, 0), LPixelColour(uint8_t(second), 0, 0, 0),
                           fAmount)
                    .b;
}

void QDBlendChannelMap(LImgProChannelMap& map, float fAmount)
{
    if (fAmount >= 1.0f)
        return;
    for (int v = 0; v < 256; ++v)
    {
        const LPixelColour c =
            ColorBlend(LPixelColour(uint8_t(v), uint8_t(v), uint8_t(v), 0),
                       LPixelColour(map.arBlue[v], map.arGreen[v], map.arRed[v], 0), fAmount);
        map.arBlue[v] = c.b;
        map.arGreen[v] = c.g;
        map.arRed[v] = c.r;
    }
    map.Update();
}

LProcessResult QDBlendPictures(LProcessInterface& process, LImageBuffer& first, const LImageBuffer& second,
                               float fAmount)
{
    const pixelformat_t pf = first.GetPixelFormat();
    if (!first.IsValid() || !second.IsValid() || pf != second.GetPixelFormat() ||
        first.GetWidth() != second.GetWidth() || first.GetHeight() != second.GetHeight() ||
        (pf != B8G8R8A8 && pf != B8G8R8))
        return LProcessResultFailed;
    const QDBlendTable blend(fAmount);
    if (!blend.IsValid())
        return LProcessResultFailed;
    const int bpp = pf == B8G8R8A8 ? 4 : 3;
    const size_t n = size_t(first.GetWidth()) * size_t(bpp);
    return LImgProForEachRow(process, first.GetHeight(),
                             [&](int y)
                             {
                                 uint8_t* a = first.GetRow(y);
                                 const uint8_t* b = second.GetRow(y);
                                 for (size_t i = 0; i < n; i += size_t(bpp))
                                     for (int c = 0; c < 3; ++c)
                                         a[i + size_t(c)] = blend.Get(a[i + size_t(c)], b[i + size_t(c)]);
                             });
}

bool QDCopyPicture(LImageBuffer& dest, const LImageBuffer& src)
{
    if (!dest.AllocateNewBuffer(src.GetFormat()))
        return false;
    LImageBufferCopy(dest, src);
    return true;
}

namespace
{
std::atomic<bool> gVectorPaths{true};
}

bool QDUseVectorPaths()
{
    static const bool avx2 = __builtin_cpu_supports("avx2");
    return avx2 && gVectorPaths.load(std::memory_order_relaxed);
}

void QDSetVectorPaths(bool bEnabled)
{
    gVectorPaths = bEnabled;
}
