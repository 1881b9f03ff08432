#pragma once
// The frame every pixel kernel shares: dispatch over the five kernel pixel formats, the generic
// row loop with its progress marks and stop tests, and the widening of short pixels so that a
// kernel's arithmetic is written once, for 8-bit channels.

#include <type_traits>

#include "foundation/LProcessInterface.h"
#include "image/LImageBuffer.h"

// In place: calls K::ProcessImage<Format>(process, image). Formats above 4 fail.
template <class K>
LProcessResult LApplyImageProcess(LImageBuffer& oImage, K& oKernel, LProcessInterface& oProcess)
{
    switch (oImage.GetPixelFormat())
    {
    case B8G8R8A8:
        return LProcessResult(oKernel.template ProcessImage<LPFB8G8R8A8>(oProcess, oImage));
    case B8G8R8:
        return LProcessResult(oKernel.template ProcessImage<LPFB8G8R8>(oProcess, oImage));
    case B5G6R5:
        return LProcessResult(oKernel.template ProcessImage<LPFB5G6R5>(oProcess, oImage));
    case B5G5R5A1:
        return LProcessResult(oKernel.template ProcessImage<LPFB5G5R5A1>(oProcess, oImage));
    case B5G5R5X1:
        return LProcessResult(oKernel.template ProcessImage<LPFB5G5R5X1>(oProcess, oImage));
    default:
        return LProcessResultFailed;
    }
}

template <class K>
LProcessResult LApplyImageProcess(LImageBuffer& oImage, K& oKernel)
{
    LProcessInterfaceVoid oVoid;
    return LApplyImageProcess(oImage, oKernel, oVoid);
}

// Makes oDest a buffer of oSource's format, size and orientation unless it is one already.
bool LImgProPrepareDest(LImageBuffer& oDest, const LImageBuffer& oSource);

// Two buffers: dispatch on the destination; both must share the format. An empty destination is
// first made like the source.
template <class K>
LProcessResult LApplyImageProcess(LImageBuffer& oDest, const LImageBuffer& oSource, K& oKernel,
                                  LProcessInterface& oProcess)
{
    if (!oDest.IsValid() && !LImgProPrepareDest(oDest, oSource))
        return LProcessResultFailed;
    if (oDest.GetPixelFormat() != oSource.GetPixelFormat())
        return LProcessResultFailed;
    switch (oDest.GetPixelFormat())
    {
    case B8G8R8A8:
        return LProcessResult(oKernel.template ProcessImage<LPFB8G8R8A8>(oProcess, oDest, oSource));
    case B8G8R8:
        return LProcessResult(oKernel.template ProcessImage<LPFB8G8R8>(oProcess, oDest, oSource));
    case B5G6R5:
        return LProcessResult(oKernel.template ProcessImage<LPFB5G6R5>(oProcess, oDest, oSource));
    case B5G5R5A1:
        return LProcessResult(oKernel.template ProcessImage<LPFB5G5R5A1>(oProcess, oDest, oSource));
    case B5G5R5X1:
        return LProcessResult(oKernel.template ProcessImage<LPFB5G5R5X1>(oProcess, oDest, oSource));
    default:
        return LProcessResultFailed;
    }
}

template <class K>
LProcessResult LApplyImageProcess(LImageBuffer& oDest, const LImageBuffer& oSource, K& oKernel)
{
    LProcessInterfaceVoid oVoid;
    return LApplyImageProcess(oDest, oSource, oKernel, oVoid);
}

// The 8-bit pixel a short format widens to: with alpha when the format has an alpha bit.
template <class F>
struct LPixWide
{
    using Type = F;
};
template <>
struct LPixWide<LPFB5G6R5>
{
    using Type = LPFB8G8R8;
};
template <>
struct LPixWide<LPFB5G5R5A1>
{
    using Type = LPFB8G8R8A8;
};
template <>
struct LPixWide<LPFB5G5R5X1>
{
    using Type = LPFB8G8R8;
};

template <class F>
constexpr bool LPixIsShort = !std::is_same_v<typename LPixWide<F>::Type, F>;

// One pixel through a kernel's 8-bit form; in and out may be the same object.
template <class K, class F>
inline void LPixApplyEffect(const K& oKernel, const F& oIn, F& oOut)
{
    if constexpr (LPixIsShort<F>)
    {
        typename LPixWide<F>::Type w;
        w.Set(oIn);
        oKernel.LPixApplyEffect(w, w);
        oOut.Set(w);
    }
    else
        oKernel.LPixApplyEffect(oIn, oOut);
}

// The generic in-place loop: rows top to bottom, stop test before each row, progress when the
// row count passes the next mark (every tenth of the height; every row below 10 rows).
template <class F, class K>
LProcessResult ProcessImagePixelEffect(const K& oKernel, LImageBuffer& oImage, LProcessInterface& oProcess)
{
    oProcess.SetProgress(0.0);
    const int h = oImage.GetHeight(), w = oImage.GetWidth();
    const int step = h / 10;
    int mark = step, rows = 0;
    for (int y = 0; y < h; ++y)
    {
        if (oProcess.IsToStop())
            return LProcessResultCancelled;
        F* p = reinterpret_cast<F*>(oImage.GetRow(y));
        for (int x = 0; x < w; ++x)
            LPixApplyEffect(oKernel, p[x], p[x]);
        ++rows;
        if (rows > mark)
        {
            mark += step;
            oProcess.SetProgress(double(rows) / h);
        }
    }
    return LProcessResultSuccess;
}
