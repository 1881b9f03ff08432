#include "image/LImgProRotate.h"

#include <immintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "image/LImgProBands.h"

int LImgProNormaliseAngle(int iAngle)
{
    return ((iAngle % 360) + 360) % 360;
}

namespace
{
// Destination rows handed out together for the fills and the straight copies.
constexpr int kGroupRows = 64;
// Destination tile side of the quarter turns; measured best from 256 to 400 on 4 KB pages.
constexpr int kTile = 256;

void Fill(uint8_t* d, int count, int bpp, const uint8_t* fill)
{
    if (bpp == 1)
    {
        memset(d, fill[0], count);
        return;
    }
    for (int i = 0; i < count; ++i)
        memcpy(d + size_t(i) * bpp, fill, bpp);
}

template <class T>
void Walk(bool up, uint8_t* d, const uint8_t* s, ptrdiff_t ss, int count)
{
    if (up)
        RotateLoopAdvance<T>(reinterpret_cast<T*>(d), s, ss, count);
    else
        RotateLoopAdvance270<T>(reinterpret_cast<T*>(d), s, ss, count);
}

void WalkAny(int bpp, bool up, uint8_t* d, const uint8_t* s, ptrdiff_t ss, int count)
{
    switch (bpp)
    {
    case 1:
        Walk<unsigned char>(up, d, s, ss, count);
        break;
    case 2:
        Walk<unsigned short>(up, d, s, ss, count);
        break;
    case 3:
        Walk<rgb_uint8_t>(up, d, s, ss, count);
        break;
    default:
        Walk<unsigned int>(up, d, s, ss, count);
        break;
    }
}

bool HasAVX2()
{
    static const bool b = __builtin_cpu_supports("avx2");
    return b;
}

// r[j] = element j of each of eight source rows (row k at src + k*step; element 7-j when
// reversed): an 8x8 transpose of 32-bit pixels.
template <bool reversed>
__attribute__((target("avx2"), always_inline)) inline void Transpose8(const uint8_t* src, ptrdiff_t step,
                                                                      __m256i* r)
{
    const __m256i rev = _mm256_setr_epi32(7, 6, 5, 4, 3, 2, 1, 0);
#pragma GCC unroll 8
    for (int k = 0; k < 8; ++k)
    {
        r[k] = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + k * step));
        if constexpr (reversed)
            r[k] = _mm256_permutevar8x32_epi32(r[k], rev);
    }
    __m256i t[8], u[8];
#pragma GCC unroll 4
    for (int k = 0; k < 8; k += 2)
    {
        t[k] = _mm256_unpacklo_epi32(r[k], r[k + 1]);
        t[k + 1] = _mm256_unpackhi_epi32(r[k], r[k + 1]);
    }
#pragma GCC unroll 2
    for (int k = 0; k < 8; k += 4)
    {
        u[k] = _mm256_unpacklo_epi64(t[k], t[k + 2]);
        u[k + 1] = _mm256_unpackhi_epi64(t[k], t[k + 2]);
        u[k + 2] = _mm256_unpacklo_epi64(t[k + 1], t[k + 3]);
        u[k + 3] = _mm256_unpackhi_epi64(t[k + 1], t[k + 3]);
    }
#pragma GCC unroll 4
    for (int j = 0; j < 4; ++j)
    {
        r[j] = _mm256_permute2x128_si256(u[j], u[j + 4], 0x20);
        r[j + 4] = _mm256_permute2x128_si256(u[j], u[j + 4], 0x31);
    }
}

// Eight destination rows of sixteen pixels from two groups of eight source rows. Each row gets
// a whole cache line, so where it is aligned the stores bypass the cache, as a large copy does.
template <bool reversed>
__attribute__((target("avx2"))) void Block16(uint8_t* d, ptrdiff_t ds, const uint8_t* srcA,
                                             const uint8_t* srcB, ptrdiff_t step)
{
    __m256i a[8], b[8];
    Transpose8<reversed>(srcA, step, a);
    Transpose8<reversed>(srcB, step, b);
#pragma GCC unroll 8
    for (int j = 0; j < 8; ++j)
    {
        uint8_t* q = d + j * ds;
        // Buffers promise 16-byte alignment only.
        if ((reinterpret_cast<uintptr_t>(q) & 15) == 0)
        {
            __m128i* v = reinterpret_cast<__m128i*>(q);
            _mm_stream_si128(v, _mm256_castsi256_si128(a[j]));
            _mm_stream_si128(v + 1, _mm256_extracti128_si256(a[j], 1));
            _mm_stream_si128(v + 2, _mm256_castsi256_si128(b[j]));
            _mm_stream_si128(v + 3, _mm256_extracti128_si256(b[j], 1));
        }
        else
        {
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(q), a[j]);
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(q + 32), b[j]);
        }
    }
}

struct Plane
{
    uint8_t* d;
    ptrdiff_t ds;
    int dw, dh;
    const uint8_t* s;
    ptrdiff_t ss;
    int sw, sh;
};

// dest(X, Y) = rotated(L + X, T + Y); rotated is the source turned clockwise by angle.
LProcessResult RotatePlane(LProcessInterface& oProcess, const Plane& p, int angle, const LRectangle& c,
                           int bpp, const uint8_t* outside, const uint8_t* blank)
{
    const bool quarter = angle == 90 || angle == 270;
    const int rw = quarter ? p.sh : p.sw, rh = quarter ? p.sw : p.sh;
    if (c.right <= 0 || c.left >= rw || c.bottom <= 0 || c.top >= rh)
    {
        for (int y = 0; y < p.dh; ++y)
        {
            if (oProcess.IsToStop())
                return LProcessResultCancelled;
            Fill(p.d + y * p.ds, p.dw, bpp, blank);
        }
        return LProcessResultSuccess;
    }
    // Valid destination columns and rows: where the rotated image lies.
    const int x0 = std::clamp(-c.left, 0, p.dw), x1 = std::clamp(rw - c.left, x0, p.dw);
    const int y0 = std::clamp(-c.top, 0, p.dh), y1 = std::clamp(rh - c.top, y0, p.dh);
    const int groups = (p.dh + kGroupRows - 1) / kGroupRows;
    LImgProBandRunner runner(groups, 1);
    const int r = runner.Run(
        oProcess,
        [&](const LImgProBand& band, LImgProBandRunner& run)
        {
            for (int g = band.iFirst; g < band.iFirst + band.iCount; ++g)
            {
                const int ya = g * kGroupRows, yb = std::min(p.dh, ya + kGroupRows);
                for (int y = ya; y < yb; ++y)
                {
                    if (run.IsToStop(band))
                        return false;
                    uint8_t* d = p.d + y * p.ds;
                    if (y < y0 || y >= y1)
                    {
                        Fill(d, p.dw, bpp, outside);
                        continue;
                    }
                    Fill(d, x0, bpp, outside);
                    Fill(d + size_t(x1) * bpp, p.dw - x1, bpp, outside);
                    if (angle == 0)
                        memcpy(d + size_t(x0) * bpp, p.s + (c.top + y) * p.ss + size_t(c.left + x0) * bpp,
                               size_t(x1 - x0) * bpp);
                    else if (angle == 180)
                    {
                        const uint8_t* s = p.s + (p.sh - 1 - c.top - y) * p.ss;
                        if (bpp == 4)
                        {
                            uint32_t* d4 = reinterpret_cast<uint32_t*>(d);
                            const uint32_t* s4 = reinterpret_cast<const uint32_t*>(s) + (p.sw - 1 - c.left);
                            for (int x = x0; x < x1; ++x)
                                d4[x] = s4[-x];
                        }
                        else
                            for (int x = x0; x < x1; ++x)
                                memcpy(d + size_t(x) * bpp, s + size_t(p.sw - 1 - c.left - x) * bpp, bpp);
                    }
                }
            }
            return true;
        });
    if (r || !quarter)
        return r ? LProcessResultCancelled : LProcessResultSuccess;

    // Quarter turns go by tiles of destination pixels, so that the pages of the tile's source and
    // destination lines stay mapped while it is done; inside a tile, blocks of 16 columns (16
    // source rows read along together) by 8 rows.
    auto at = [&](int X, int Y)
    {
        return angle == 90 ? p.s + (p.sh - 1 - c.left - X) * p.ss + size_t(c.top + Y) * bpp
                           : p.s + (c.left + X) * p.ss + size_t(p.sw - 1 - c.top - Y) * bpp;
    };
    const bool vector = bpp == 4 && HasAVX2();
    // Streaming stores must fill whole cache lines: blocks start where the destination rows
    // reach a line boundary, and the few columns before it are walked.
    int xs = x0;
    if (vector && p.ds % 64 == 0)
        xs = std::min(x1,
                      x0 + int(((64 - (reinterpret_cast<uintptr_t>(p.d + size_t(x0) * 4) & 63)) & 63) / 4));
    for (int y = y0; y < y1 && xs > x0; ++y)
        WalkAny(bpp, angle == 90, p.d + y * p.ds + size_t(x0) * bpp, at(x0, y), p.ss, xs - x0);
    const int tiles = (x1 - xs + kTile - 1) / kTile;
    LImgProBandRunner cols(tiles, 1);
    const int rc = cols.Run(
        oProcess,
        [&](const LImgProBand& band, LImgProBandRunner& run)
        {
            for (int t = band.iFirst; t < band.iFirst + band.iCount; ++t)
            {
                const int xt = xs + kTile * t, xte = std::min(x1, xt + kTile);
                for (int yt = y0; yt < y1; yt += kTile)
                {
                    if (run.IsToStop(band))
                        return false;
                    const int yte = std::min(y1, yt + kTile);
                    for (int X = xt; X < xte; X += 16)
                    {
                        const int n = std::min(16, xte - X);
                        int y = yt;
                        if (vector && n == 16)
                            for (; y + 8 <= yte; y += 8)
                            {
                                uint8_t* d = p.d + y * p.ds + size_t(X) * 4;
                                if (angle == 90)
                                    Block16<false>(d, p.ds, at(X, y), at(X + 8, y), -p.ss);
                                else
                                    Block16<true>(d, p.ds, at(X, y + 7), at(X + 8, y + 7), p.ss);
                            }
                        for (; y < yte; ++y)
                            WalkAny(bpp, angle == 90, p.d + y * p.ds + size_t(X) * bpp, at(X, y), p.ss, n);
                    }
                }
            }
            _mm_sfence();
            return true;
        });
    return rc ? LProcessResultCancelled : LProcessResultSuccess;
}

ptrdiff_t StrideOf(const LImageBuffer& b)
{
    return b.GetFormat().bUpsideDown ? -ptrdiff_t(b.GetWidthBytes()) : ptrdiff_t(b.GetWidthBytes());
}

LRectangle Ordered(const LRectangle& r)
{
    return {std::min(r.left, r.right), std::min(r.top, r.bottom), std::max(r.left, r.right),
            std::max(r.top, r.bottom)};
}
} // namespace

LProcessResult RotateClipBuffer(LImageBuffer& oDest, const LImageBuffer& oSource, int& iAngle,
                                unsigned long iBytesPerPixel, LRectangle& oClip)
{
    iAngle = LImgProNormaliseAngle(iAngle);
    if (iAngle % 90 || !oDest.IsValid() || !oSource.IsValid() || iBytesPerPixel < 1 || iBytesPerPixel > 4)
        return LProcessResultFailed;
    LProcessInterfaceVoid oVoid;
    const Plane p{oDest.GetRow(0),   StrideOf(oDest),   oDest.GetWidth(),   oDest.GetHeight(),
                  oSource.GetRow(0), StrideOf(oSource), oSource.GetWidth(), oSource.GetHeight()};
    static const uint8_t zero[4] = {0, 0, 0, 0};
    static const uint8_t opaque[4] = {0, 0, 0, 255};
    return RotatePlane(oVoid, p, iAngle, oClip, int(iBytesPerPixel), zero,
                       iBytesPerPixel == 4 ? opaque : zero);
}

LImgProRotoClip::LImgProRotoClip(int angle, const LRectangle& clip)
    : iAngle(LImgProNormaliseAngle(angle)), oClip(Ordered(clip))
{
}

LProcessResult LImgProRotoClip::Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                                        const LImageBuffer& oSource, int bpp) const
{
    if (iAngle % 90 || !oDest.IsValid() || !oSource.IsValid() ||
        oDest.GetPixelFormat() != oSource.GetPixelFormat())
        return LProcessResultFailed;
    const Plane p{oDest.GetRow(0),   StrideOf(oDest),   oDest.GetWidth(),   oDest.GetHeight(),
                  oSource.GetRow(0), StrideOf(oSource), oSource.GetWidth(), oSource.GetHeight()};
    static const uint8_t zero[4] = {0, 0, 0, 0};
    static const uint8_t opaque[4] = {0, 0, 0, 255};
    return RotatePlane(oProcess, p, iAngle, oClip, bpp, zero, bpp == 4 ? opaque : zero);
}

LProcessResult LImgProRotoClipYUV420P::Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                                               const LImageBuffer& oSource) const
{
    const pixelformat_t pf = oSource.GetPixelFormat();
    if ((pf != YUV420P && pf != YUVJ420P) || oDest.GetPixelFormat() != pf || iAngle % 90 ||
        !oDest.IsValid() || !oSource.IsValid())
        return LProcessResultFailed;
    const LImageFormat &df = oDest.GetFormat(), &sf = oSource.GetFormat();
    const int dw = df.iWidth, dh = df.iHeight, sw = sf.iWidth, sh = sf.iHeight;
    Plane y{oDest.GetData(),   ptrdiff_t(df.nWidthBytes), dw, dh,
            oSource.GetData(), ptrdiff_t(sf.nWidthBytes), sw, sh};
    LProcessResult r = RotatePlane(oProcess, y, iAngle, oClip, 1, &arFill[0], &arFill[0]);
    const LRectangle half{oClip.left >> 1, oClip.top >> 1, (oClip.right + 1) >> 1, (oClip.bottom + 1) >> 1};
    for (int plane = 1; plane < 3 && !r; ++plane)
    {
        const Plane c{plane == 1 ? oDest.GetFirstScanLineU() : oDest.GetFirstScanLineV(),
                      ptrdiff_t(plane == 1 ? df.nWidthBytesPlanarU : df.nWidthBytesPlanarV),
                      (dw + 1) >> 1,
                      (dh + 1) >> 1,
                      plane == 1 ? oSource.GetFirstScanLineU() : oSource.GetFirstScanLineV(),
                      ptrdiff_t(plane == 1 ? sf.nWidthBytesPlanarU : sf.nWidthBytesPlanarV),
                      (sw + 1) >> 1,
                      (sh + 1) >> 1};
        r = RotatePlane(oProcess, c, iAngle, half, 1, &arFill[plane], &arFill[plane]);
    }
    return r;
}

LProcessResult LImgProRotateBilinear(LProcessInterface& oProcess, LImageBuffer& oDest,
                                     const LImageBuffer& oSource, double dRadians)
{
    if (!oSource.IsValid() || !oDest.IsValid() || oSource.GetPixelFormat() != B8G8R8A8 ||
        oDest.GetPixelFormat() != B8G8R8A8)
        return LProcessResultFailed;
    const int sw = oSource.GetWidth(), sh = oSource.GetHeight(), dw = oDest.GetWidth(),
              dh = oDest.GetHeight();
    // Inverse map in 16.16 fixed point, from destination pixel centres to source pixel
    // coordinates (integer part the top-left neighbour).
    const double cs = std::cos(dRadians), sn = std::sin(dRadians);
    const int64_t one = 65536;
    const int64_t stepX = std::llround(cs * one), stepY = std::llround(-sn * one);
    LImgProBandRunner runner(dh, 8);
    const int r = runner.Run(
        oProcess,
        [&](const LImgProBand& band, LImgProBandRunner& run)
        {
            for (int Y = band.iFirst; Y < band.iFirst + band.iCount; ++Y)
            {
                if (run.IsToStop(band))
                    return false;
                const double dx = 0.5 - dw / 2.0, dy = Y + 0.5 - dh / 2.0;
                int64_t fx = std::llround((cs * dx + sn * dy + sw / 2.0 - 0.5) * one);
                int64_t fy = std::llround((-sn * dx + cs * dy + sh / 2.0 - 0.5) * one);
                uint8_t* out = oDest.GetRow(Y);
                const uint8_t* base = oSource.GetRow(0);
                const ptrdiff_t ss = oSource.GetFormat().bUpsideDown ? -ptrdiff_t(oSource.GetWidthBytes())
                                                                     : ptrdiff_t(oSource.GetWidthBytes());
                for (int X = 0; X < dw; ++X, fx += stepX, fy += stepY, out += 4)
                {
                    const int64_t ix = fx >> 16, iy = fy >> 16;
                    if (ix < -1 || iy < -1 || ix >= sw || iy >= sh)
                    {
                        memset(out, 0, 4);
                        continue;
                    }
                    const uint32_t ax = uint32_t((fx & 0xFFFF) >> 8), ay = uint32_t((fy & 0xFFFF) >> 8);
                    const uint32_t w[4] = {(256 - ax) * (256 - ay), ax * (256 - ay), (256 - ax) * ay,
                                           ax * ay};
                    if (ix >= 0 && iy >= 0 && ix < sw - 1 && iy < sh - 1)
                    {
                        // Inside with four opaque neighbours: plain bilinear.
                        const uint8_t* p0 = base + iy * ss + ix * 4;
                        const uint8_t* p2 = p0 + ss;
                        if ((p0[3] & p0[7] & p2[3] & p2[7]) == 255)
                        {
                            for (int c = 0; c < 3; ++c)
                                out[c] = uint8_t((w[0] * p0[c] + w[1] * p0[4 + c] + w[2] * p2[c] +
                                                  w[3] * p2[4 + c] + 32768) >>
                                                 16);
                            out[3] = 255;
                            continue;
                        }
                    }
                    const uint8_t* px[4];
                    for (int k = 0; k < 4; ++k)
                    {
                        const int64_t x = ix + (k & 1), y = iy + (k >> 1);
                        px[k] = x >= 0 && y >= 0 && x < sw && y < sh ? base + y * ss + x * 4 : nullptr;
                    }
                    uint64_t acc[3] = {0, 0, 0}, alpha = 0;
                    for (int k = 0; k < 4; ++k)
                        if (px[k])
                        {
                            const uint64_t wa = uint64_t(w[k]) * px[k][3];
                            alpha += wa;
                            for (int c = 0; c < 3; ++c)
                                acc[c] += wa * px[k][c];
                        }
                    out[3] = uint8_t((alpha + 32768) >> 16);
                    for (int c = 0; c < 3; ++c)
                        out[c] = alpha ? uint8_t((acc[c] + alpha / 2) / alpha) : 0;
                }
            }
            return true;
        });
    return r ? LProcessResultCancelled : LProcessResultSuccess;
}
