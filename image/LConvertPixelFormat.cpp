#include "image/LConvertPixelFormat.h"

#include <cstring>

#if defined(__x86_64__)
#include <tmmintrin.h>
#define QUENDREL_HAVE_SSSE3 1
#endif

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

namespace
{
// Three words of source hold four pixels; each becomes one word with alpha set.
void RowRGBtoRGBA(const uint8_t* s, uint8_t* d, int width)
{
    int x = 0;
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

#if QUENDREL_HAVE_SSSE3
// Sixteen pixels per step: three loads, a byte shuffle per group of four, four stores. Large
// images bypass the cache on the way out, as the whole-buffer copy does.
__attribute__((target("ssse3"))) void RowRGBtoRGBA_SSSE3(const uint8_t* s, uint8_t* d, int width, bool stream)
{
    const __m128i mask = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    const __m128i alpha = _mm_set1_epi32(int(0xFF000000u));
    int x = 0;
    if (stream)
    {
        // Stream only from a 16-byte aligned destination; up to three pixels go first.
        const int lead = int(((16 - (reinterpret_cast<uintptr_t>(d) & 15)) & 15) >> 2);
        const int head = lead < width ? lead : width;
        RowRGBtoRGBA(s, d, head);
        x = head, s += 3 * head, d += 4 * head;
    }
    for (; x + 16 <= width; x += 16, s += 48, d += 64)
    {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16));
        const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 32));
        const __m128i p0 = _mm_or_si128(_mm_shuffle_epi8(a, mask), alpha);
        const __m128i p1 = _mm_or_si128(_mm_shuffle_epi8(_mm_alignr_epi8(b, a, 12), mask), alpha);
        const __m128i p2 = _mm_or_si128(_mm_shuffle_epi8(_mm_alignr_epi8(c, b, 8), mask), alpha);
        const __m128i p3 = _mm_or_si128(_mm_shuffle_epi8(_mm_srli_si128(c, 4), mask), alpha);
        __m128i* o = reinterpret_cast<__m128i*>(d);
        if (stream)
        {
            _mm_stream_si128(o, p0);
            _mm_stream_si128(o + 1, p1);
            _mm_stream_si128(o + 2, p2);
            _mm_stream_si128(o + 3, p3);
        }
        else
        {
            _mm_storeu_si128(o, p0);
            _mm_storeu_si128(o + 1, p1);
            _mm_storeu_si128(o + 2, p2);
            _mm_storeu_si128(o + 3, p3);
        }
    }
    RowRGBtoRGBA(s, d, width - x);
}
#endif
} // namespace

void LConvertPixelFormatRGBtoRGBA(LImageBuffer& destination, const LImageBuffer& source)
{
    if (!SameGeometry(destination, source) || source.imf.pf != B8G8R8 || destination.imf.pf != B8G8R8A8)
        return;
    const int width = source.imf.iWidth, height = source.imf.iHeight;
#if QUENDREL_HAVE_SSSE3
    if (__builtin_cpu_supports("ssse3"))
    {
        const bool stream = destination.imf.CalculateBufferSize64() >= (uint64_t(1) << 22);
        for (int y = 0; y < height; ++y)
            RowRGBtoRGBA_SSSE3(source.GetRow(y), destination.GetRow(y), width, stream);
        if (stream)
            _mm_sfence();
        return;
    }
#endif
    for (int y = 0; y < height; ++y)
        RowRGBtoRGBA(source.GetRow(y), destination.GetRow(y), width);
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
