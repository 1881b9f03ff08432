#pragma once
// Scaling: the integer Bresenham bilinear stepper used for previews and zoomed views, nearest
// neighbour over a source rectangle, and a separable bilinear scaler for 32-bit images that
// averages properly when shrinking.

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>

#include "image/LImgProFrame.h"

// Entry n is trunc(255/n), entry 0 is 0: table[n+1] turns a run of n skipped steps into a
// fixed-point fraction of 255.
extern const uint8_t arScaleBiHelperDivTable[256];

// Bilinear by a Bresenham stepper: no per-pixel division, integer arithmetic only. Two buffers,
// the destination allocated at the wanted size in the source's format. A width or height of 1 on
// either side fails.
class LImgProScaleBi
{
public:
    LImgProScaleBi() : arTable(arScaleBiHelperDivTable) {}

    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource) const;
    template <class F>
    int ProcessImage(LProcessInterface&, LImageBuffer&) const
    {
        return LProcessResultFailed;
    }

    // The planar video forms: each plane on its own.
    LProcessResult ProcessYUV420P(LProcessInterface& oProcess, LImageBuffer& oDest,
                                  const LImageBuffer& oSource) const;

    const uint8_t (&arTable)[256];
};
// The capture path's fixed-point 32-bit and per-plane forms repeat the same scheme.
using LImgProScaleBiYUV420P = LImgProScaleBi;
using LImgProScaleBiFast = LImgProScaleBi;

// Nearest neighbour from the rectangle dLeft, dTop, dWidth, dHeight of the source (clipped to
// it; the default sizes mean "to the edge") to the whole destination.
class LImgProScaleNe
{
public:
    double dLeft = 0, dTop = 0, dWidth = 4294967295.0, dHeight = 4294967295.0;

    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest, const LImageBuffer& oSource) const;
    template <class F>
    int ProcessImage(LProcessInterface&, LImageBuffer&) const
    {
        return LProcessResultFailed;
    }
};

// Separable bilinear for 32-bit images: a triangle filter widened to the scale when shrinking, so
// every source pixel contributes; exact on identity. oDest is allocated by the caller at the
// wanted size. Rows are banded over the processors.
LProcessResult LImgProScaleLinear(LProcessInterface& oProcess, LImageBuffer& oDest,
                                  const LImageBuffer& oSource);

// The per-format pixel moves of the stepper; in the header for the templates.
namespace LScaleBiDetail
{
// The table's entry for a run, past its end too: a scale of more than 255 times runs longer, and
// trunc(255/n) is 0 there.
inline int Fraction(const uint8_t* table, int n)
{
    return n < 256 ? table[n] : 0;
}
inline uint8_t Lerp8(int a, int b, int t)
{
    return uint8_t(((a << 8) + (b - a) * t) >> 8);
}
template <class T>
struct Pix;
template <>
struct Pix<LPFB8G8R8A8>
{
    static LPFB8G8R8A8 Lerp(const LPFB8G8R8A8& a, const LPFB8G8R8A8& b, int t)
    {
        return LPFB8G8R8A8(Lerp8(a.b, b.b, t), Lerp8(a.g, b.g, t), Lerp8(a.r, b.r, t), Lerp8(a.a, b.a, t));
    }
};
template <>
struct Pix<LPFB8G8R8>
{
    static LPFB8G8R8 Lerp(const LPFB8G8R8& a, const LPFB8G8R8& b, int t)
    {
        LPFB8G8R8 o;
        o.b = Lerp8(a.b, b.b, t);
        o.g = Lerp8(a.g, b.g, t);
        o.r = Lerp8(a.r, b.r, t);
        return o;
    }
};
template <>
struct Pix<uint8_t>
{
    static uint8_t Lerp(uint8_t a, uint8_t b, int t) { return Lerp8(a, b, t); }
};

template <class T>
struct Pix
{
    static T Lerp(const T& a, const T& b, int t)
    {
        // Short formats go through 8 bits and back, the alpha flag as 0 or 255.
        LPFB8G8R8A8 wa, wb;
        wa.Set(a);
        wb.Set(b);
        T out;
        out.Set(Pix<LPFB8G8R8A8>::Lerp(wa, wb, t));
        return out;
    }
};
// d and s are the destination and source widths minus one.
template <class T>
void DrawLine(T* out, const T* in, int d, int s, const uint8_t* table)
{
    using P = Pix<T>;
    out[0] = in[0];
    int run = 0, o = 0, i = 0;
    if (d < s)
    {
        int e = 2 * d - s;
        for (int n = 0; n < s; ++n, ++i)
            if (e >= 0)
            {
                e += 2 * (d - s);
                if (o < d)
                    ++o;
                out[o] = run ? P::Lerp(in[i], in[i + 1], Fraction(table, run + 1)) : in[i + 1];
                run = 0;
            }
            else
            {
                ++run;
                e += 2 * d;
            }
        if (e < 0)
            out[o] = run ? P::Lerp(in[i - 1], in[i], Fraction(table, run + 1)) : in[i];
        return;
    }
    // Enlarging. A step lands on a new source pixel only when the error is strictly positive,
    // so that the skipped pixels lie between two source pixels: 2 to 3 puts the mean in the
    // middle.
    int e = 2 * s - d;
    for (int n = 0; n < d; ++n)
        if (e > 0)
        {
            ++i;
            e += 2 * (s - d);
            out[++o] = in[i];
            for (int k = 1; k <= run; ++k)
                out[o - run - 1 + k] = P::Lerp(in[i - 1], in[i], k * Fraction(table, run + 1));
            run = 0;
        }
        else
        {
            e += 2 * s;
            ++run;
            ++o;
        }
    for (int k = 0; k < run; ++k)
        out[o - k] = in[i];
}

template <class T>
void LerpRow(T* out, const T* a, const T* b, int n, int t)
{
    for (int x = 0; x < n; ++x)
        out[x] = Pix<T>::Lerp(a[x], b[x], t);
}

// One plane: rows addressed from a base by a signed stride, so bottom-up buffers work alike.
template <class T>
int ScalePlane(LProcessInterface& oProcess, uint8_t* dBase, ptrdiff_t dStride, int dW, int dH,
               const uint8_t* sBase, ptrdiff_t sStride, int sW, int sH, const uint8_t* table)
{
    auto drow = [&](int y) { return reinterpret_cast<T*>(dBase + y * dStride); };
    auto srow = [&](int y) { return reinterpret_cast<const T*>(sBase + y * sStride); };
    const int d = dW - 1, s = sW - 1, dh = dH - 1, sh = sH - 1;
    if (dh < sh)
    {
        int e = 2 * dh - sh, count = 0, sr = 0, dr = 0;
        for (int n = 0; n < sh; ++n, ++sr)
        {
            if (oProcess.IsToStop())
                return LProcessResultCancelled;
            if (e >= 0)
            {
                e += 2 * (dh - sh);
                if (dr < dh)
                    ++dr;
                if (count)
                {
                    // The first and last destination rows are scratch until the end.
                    DrawLine(drow(0), srow(sr), d, s, table);
                    DrawLine(drow(dh), srow(sr + 1), d, s, table);
                    LerpRow(drow(dr), drow(0), drow(dh), dW, Fraction(table, count + 1));
                    count = 0;
                }
                else
                    DrawLine(drow(dr), srow(sr + 1), d, s, table);
            }
            else
            {
                ++count;
                e += 2 * dh;
            }
        }
        if (count)
        {
            DrawLine(drow(0), srow(sr - 1), d, s, table);
            DrawLine(drow(dh), srow(sr), d, s, table);
            LerpRow(drow(dr), drow(0), drow(dh), dW, Fraction(table, count + 1));
        }
        DrawLine(drow(0), srow(0), d, s, table);
        DrawLine(drow(dh), srow(sh), d, s, table);
        return LProcessResultSuccess;
    }
    int e = 2 * sh - dh, run = 0, sr = 0, dr = 0;
    DrawLine(drow(0), srow(0), d, s, table);
    for (int n = 0; n < dh; ++n)
    {
        if (oProcess.IsToStop())
            return LProcessResultCancelled;
        if (e > 0)
        {
            ++sr;
            e += 2 * (sh - dh);
            ++dr;
            DrawLine(drow(dr), srow(sr), d, s, table);
            for (int k = 1; k <= run; ++k)
                LerpRow(drow(dr - run - 1 + k), drow(dr - run - 1), drow(dr), dW,
                        k * Fraction(table, run + 1));
            run = 0;
        }
        else
        {
            e += 2 * sh;
            ++run;
            ++dr;
        }
    }
    for (int k = 0; k < run; ++k)
        memcpy(drow(dr - k), drow(dr - run), sizeof(T) * dW);
    return LProcessResultSuccess;
}

inline ptrdiff_t Stride(const LImageBuffer& b)
{
    return b.GetFormat().bUpsideDown ? -ptrdiff_t(b.GetWidthBytes()) : ptrdiff_t(b.GetWidthBytes());
}
} // namespace LScaleBiDetail

template <class F>
int LImgProScaleBi::ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest,
                                 const LImageBuffer& oSource) const
{
    if (!oDest.IsValid() || !oSource.IsValid() || oDest.GetWidth() < 2 || oDest.GetHeight() < 2 ||
        oSource.GetWidth() < 2 || oSource.GetHeight() < 2)
        return LProcessResultFailed;
    return LScaleBiDetail::ScalePlane<F>(
        oProcess, oDest.GetRow(0), LScaleBiDetail::Stride(oDest), oDest.GetWidth(), oDest.GetHeight(),
        oSource.GetRow(0), LScaleBiDetail::Stride(oSource), oSource.GetWidth(), oSource.GetHeight(), arTable);
}

template <class F>
int LImgProScaleNe::ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest,
                                 const LImageBuffer& oSource) const
{
    if (!oDest.IsValid() || !oSource.IsValid())
        return LProcessResultFailed;
    const int sw = oSource.GetWidth(), sh = oSource.GetHeight();
    const int W = oDest.GetWidth(), H = oDest.GetHeight();
    const double left = std::clamp(dLeft, 0.0, double(sw)), top = std::clamp(dTop, 0.0, double(sh));
    const double width = std::clamp(dWidth, 0.0, sw - left), height = std::clamp(dHeight, 0.0, sh - top);
    int* xs = new (std::nothrow) int[W];
    if (!xs)
        return LProcessResultFailed;
    for (int i = 0; i < W; ++i)
        xs[i] = std::min(int((i + 0.5) * width / W + left), sw - 1);
    for (int j = 0; j < H; ++j)
    {
        if (oProcess.IsToStop())
        {
            delete[] xs;
            return LProcessResultCancelled;
        }
        const int y = std::min(int((j + 0.5) * height / H + top), sh - 1);
        const F* s = reinterpret_cast<const F*>(oSource.GetRow(y));
        F* d = reinterpret_cast<F*>(oDest.GetRow(j));
        for (int i = 0; i < W; ++i)
            d[i] = s[xs[i]];
    }
    delete[] xs;
    return LProcessResultSuccess;
}
