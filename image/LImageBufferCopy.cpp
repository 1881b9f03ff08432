#include "image/LImageBuffer.h"

#include <algorithm>
#include <cstring>

#if defined(__x86_64__) || defined(_M_X64)
#include <emmintrin.h>
#define QUENDREL_HAVE_SSE2 1
#endif

void LOptLargeMemCpy(void* destination, const void* source, size_t bytes)
{
#if QUENDREL_HAVE_SSE2
    // Streaming stores pay off only when the copy is far larger than the caches it would evict.
    constexpr size_t kStreamingThreshold = size_t(1) << 20;
    if (bytes >= kStreamingThreshold)
    {
        uint8_t* d = static_cast<uint8_t*>(destination);
        const uint8_t* s = static_cast<const uint8_t*>(source);
        const size_t head = (16 - (reinterpret_cast<uintptr_t>(d) & 15)) & 15;
        std::memcpy(d, s, head);
        d += head;
        s += head;
        bytes -= head;
        const size_t blocks = bytes / 64;
        if ((reinterpret_cast<uintptr_t>(s) & 15) == 0)
        {
            for (size_t i = 0; i < blocks; ++i, d += 64, s += 64)
            {
                const __m128i a = _mm_load_si128(reinterpret_cast<const __m128i*>(s));
                const __m128i b = _mm_load_si128(reinterpret_cast<const __m128i*>(s + 16));
                const __m128i c = _mm_load_si128(reinterpret_cast<const __m128i*>(s + 32));
                const __m128i e = _mm_load_si128(reinterpret_cast<const __m128i*>(s + 48));
                _mm_stream_si128(reinterpret_cast<__m128i*>(d), a);
                _mm_stream_si128(reinterpret_cast<__m128i*>(d + 16), b);
                _mm_stream_si128(reinterpret_cast<__m128i*>(d + 32), c);
                _mm_stream_si128(reinterpret_cast<__m128i*>(d + 48), e);
            }
        }
        else
        {
            for (size_t i = 0; i < blocks; ++i, d += 64, s += 64)
            {
                const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s));
                const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 16));
                const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 32));
                const __m128i e = _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + 48));
                _mm_stream_si128(reinterpret_cast<__m128i*>(d), a);
                _mm_stream_si128(reinterpret_cast<__m128i*>(d + 16), b);
                _mm_stream_si128(reinterpret_cast<__m128i*>(d + 32), c);
                _mm_stream_si128(reinterpret_cast<__m128i*>(d + 48), e);
            }
        }
        // Streaming stores are weakly ordered; another thread may read the buffer next.
        _mm_sfence();
        std::memcpy(d, s, bytes - blocks * 64);
        return;
    }
#endif
    std::memcpy(destination, source, bytes);
}

namespace
{
// Row y of a plane counted from the top of the image, whatever the orientation.
template <class T>
inline T* PlaneRow(T* first, size_t rowBytes, int rows, bool upsideDown, int y)
{
    return first + size_t(upsideDown ? rows - 1 - y : y) * rowBytes;
}

void CopyPlane(uint8_t* dst, size_t dstRow, bool dstUp, const uint8_t* src, size_t srcRow, bool srcUp,
               int rows, size_t bytes)
{
    bytes = std::min({bytes, dstRow, srcRow});
    for (int y = 0; y < rows; ++y)
        std::memcpy(PlaneRow(dst, dstRow, rows, dstUp, y), PlaneRow(src, srcRow, rows, srcUp, y), bytes);
}
} // namespace

void LImageBufferCopy(LImageBuffer& destination, const LImageBuffer& source)
{
    if (!destination.IsValid() || !source.IsValid())
        return;
    if (destination.lpImageStore == source.lpImageStore || destination.GetData() == source.GetData())
        return;
    const LImageFormat& d = destination.imf;
    const LImageFormat& s = source.imf;
    if (d.pf != s.pf || d.iWidth != s.iWidth || d.iHeight != s.iHeight)
        return;
    if (d.bUpsideDown == s.bUpsideDown && d.iBufferEncoding == 0 && s.iBufferEncoding == 0 &&
        d.nWidthBytes == s.nWidthBytes && d.nWidthBytesPlanarU == s.nWidthBytesPlanarU &&
        d.nWidthBytesPlanarV == s.nWidthBytesPlanarV)
    {
        LOptLargeMemCpy(destination.GetData(), source.GetData(), size_t(s.CalculateBufferSize64()));
        return;
    }
    const bool dUp = d.bUpsideDown != 0, sUp = s.bUpsideDown != 0;
    if (LIsPlanarPixelFormat(s.pf))
    {
        const int planeRows = (s.iHeight + 1) >> 1;
        const size_t planeBytes = (size_t(s.iWidth) + 1) >> 1;
        CopyPlane(destination.GetData(), d.nWidthBytes, dUp, source.GetData(), s.nWidthBytes, sUp, s.iHeight,
                  size_t(s.iWidth));
        CopyPlane(destination.GetFirstScanLineU(), d.nWidthBytesPlanarU, dUp, source.GetFirstScanLineU(),
                  s.nWidthBytesPlanarU, sUp, planeRows, planeBytes);
        CopyPlane(destination.GetFirstScanLineV(), d.nWidthBytesPlanarV, dUp, source.GetFirstScanLineV(),
                  s.nWidthBytesPlanarV, sUp, planeRows, planeBytes);
        return;
    }
    // Rounded up so that a last half-byte pixel of 4-bit rows comes along.
    const size_t rowBytes = (size_t(s.iWidth) * LGetPixelFormatBits(s.pf) + 7) >> 3;
    CopyPlane(destination.GetData(), d.nWidthBytes, dUp, source.GetData(), s.nWidthBytes, sUp, s.iHeight,
              rowBytes);
}
