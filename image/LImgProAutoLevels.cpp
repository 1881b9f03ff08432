#include "image/LImgProAutoLevels.h"

#include <cstring>
#include <mutex>

#include "image/LImgProRowLoop.h"

namespace
{
// Byte stores leave alpha alone without reading the destination first. The tables come in as
// arguments, so the stores don't make the compiler fetch their addresses again for every pixel.
template <int BPP>
void MapRow(const uint8_t* s, uint8_t* d, int n, const uint8_t* red, const uint8_t* green,
            const uint8_t* blue)
{
    for (int x = 0; x < n; ++x, s += BPP, d += BPP)
    {
        const uint8_t b = s[0], g = s[1], r = s[2];
        d[0] = blue[b];
        d[1] = green[g];
        d[2] = red[r];
    }
}
} // namespace

void LImgProAutoLevels::FindRange(const uint64_t* hist, uint64_t threshold, int& lo, int& hi)
{
    uint64_t sum = 0;
    for (lo = 0; lo < 255; ++lo)
        if ((sum += hist[lo]) >= threshold)
            break;
    sum = 0;
    for (hi = 255; hi > 0; --hi)
        if ((sum += hist[hi]) >= threshold)
            break;
}

void LImgProAutoLevels::MakeTable(int lo, int hi, uint8_t* t)
{
    const int span = hi - lo + 1;
    for (int v = 0; v < 256; ++v)
    {
        if (span > 1)
            t[v] = v <= lo ? 0 : v >= hi ? 255 : uint8_t(((v - lo) << 8) / span);
        else
            t[v] = v == lo ? 128 : v > lo ? 255 : 0;
    }
}

LProcessResult LImgProAutoLevels::Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                                          const LImageBuffer& oSource) const
{
    const pixelformat_t pf = oSource.GetPixelFormat();
    if (!oSource.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return LProcessResultFailed;
    if (&oDest != &oSource && !LImgProPrepareDest(oDest, oSource))
        return LProcessResultFailed;
    const int w = oSource.GetWidth(), h = oSource.GetHeight(), bpp = pf == B8G8R8A8 ? 4 : 3;
    oProcess.SetProgress(0.0);

    // Each band counts into its own histograms, merged under a lock at its end; sums don't depend
    // on the order.
    uint64_t hist[3][256] = {};
    std::mutex lock;
    std::atomic<int> done{0};
    LImgProBandRunner runner(h, 64);
    if (runner.Run(oProcess,
                   [&](const LImgProBand& band, LImgProBandRunner& run)
                   {
                       // Four sets, by the pixel's position modulo 4: runs of one colour then
                       // don't wait on the increment of one counter.
                       uint32_t local[4][3][256] = {};
                       for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                       {
                           const uint8_t* s = oSource.GetRow(y);
                           int x = 0;
                           for (; x + 4 <= w; x += 4, s += 4 * bpp)
                               for (int k = 0; k < 4; ++k)
                               {
                                   ++local[k][0][s[k * bpp + 2]];
                                   ++local[k][1][s[k * bpp + 1]];
                                   ++local[k][2][s[k * bpp]];
                               }
                           for (; x < w; ++x, s += bpp)
                           {
                               ++local[0][0][s[2]];
                               ++local[0][1][s[1]];
                               ++local[0][2][s[0]];
                           }
                           if (run.IsToStop(band))
                               return false;
                           run.SetProgress(band, 0.25 * ++done / h);
                       }
                       std::lock_guard<std::mutex> guard(lock);
                       for (int c = 0; c < 3; ++c)
                           for (int i = 0; i < 256; ++i)
                               hist[c][i] +=
                                   local[0][c][i] + local[1][c][i] + local[2][c][i] + local[3][c][i];
                       return true;
                   }))
        return LProcessResultCancelled;

    const uint64_t threshold = uint64_t(w) * uint64_t(h) / 99;
    uint8_t table[3][256];
    for (int c = 0; c < 3; ++c)
    {
        int lo, hi;
        FindRange(hist[c], threshold, lo, hi);
        MakeTable(lo, hi, table[c]);
    }
    // The three channel passes are independent, so one walk does all of them.
    return LImgProForEachRow(
        oProcess, h,
        [&](int y)
        {
            if (bpp == 4)
                MapRow<4>(oSource.GetRow(y), oDest.GetRow(y), w, table[0], table[1], table[2]);
            else
                MapRow<3>(oSource.GetRow(y), oDest.GetRow(y), w, table[0], table[1], table[2]);
        },
        LImgProStopAfterRow, 64, 0.25, 0.75);
}
