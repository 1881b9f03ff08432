#pragma once
// Row loops shared by the tone and stylising kernels: a banded walk over the rows of an image with
// the usual stop test and progress, and the widening of a pixel of any kernel format to 8-bit
// channels and back (the same widening the generic loop uses).

#include <atomic>

#include "image/LImgProBands.h"
#include "image/LImgProFrame.h"

// Where a row loop asks IsToStop: the generic loop asks before each row, the kernels with their
// own loop (exposure, temperature) after it, and some kernels can't be stopped at all.
enum LImgProRowStop
{
    LImgProStopNever,
    LImgProStopBeforeRow,
    LImgProStopAfterRow,
};

// Calls fn(y) for every row index 0..iRows-1, on bands over the processors. Only the caller's
// band asks the process interface (the others follow a shared flag) and reports progress by the
// rows done so far, mapped into dProgressStart + dProgressRange * fraction; the result is 1 when
// stopped. fn must only write its own row.
template <class Fn>
LProcessResult LImgProForEachRow(LProcessInterface& oProcess, int iRows, Fn fn,
                                 LImgProRowStop eStop = LImgProStopBeforeRow, int iMinRowsPerBand = 16,
                                 double dProgressStart = 0, double dProgressRange = 1)
{
    std::atomic<int> done{0};
    LImgProBandRunner runner(iRows, iMinRowsPerBand);
    const int r = runner.Run(oProcess,
                             [&](const LImgProBand& band, LImgProBandRunner& run)
                             {
                                 for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                                 {
                                     if (eStop == LImgProStopBeforeRow && run.IsToStop(band))
                                         return false;
                                     fn(y);
                                     const int n = done.fetch_add(1, std::memory_order_relaxed) + 1;
                                     if (eStop == LImgProStopAfterRow && run.IsToStop(band))
                                         return false;
                                     run.SetProgress(band, dProgressStart + dProgressRange * n / iRows);
                                 }
                                 return true;
                             });
    return r ? LProcessResultCancelled : LProcessResultSuccess;
}

// A pixel of a kernel format as 8-bit channels; formats without alpha read as opaque.
template <class F>
inline LPixelColour LImgProReadWide(const F& p)
{
    LPixelColour c;
    c.Set(p);
    return c;
}
template <>
inline LPixelColour LImgProReadWide<LPFB8G8R8A8>(const LPFB8G8R8A8& p)
{
    return p;
}

// Narrows 8-bit channels to the format; alpha is dropped where the format has none.
template <class F>
inline void LImgProWriteWide(F& p, const LPixelColour& c)
{
    p.Set(c);
}

// True for the two 8-bit formats, where kernels take their direct paths.
template <class F>
constexpr bool LImgProIs8Bit = std::is_same_v<F, LPFB8G8R8A8> || std::is_same_v<F, LPFB8G8R8>;

template <class F>
constexpr bool LImgProHasAlpha = std::is_same_v<F, LPFB8G8R8A8> || std::is_same_v<F, LPFB5G5R5A1>;
