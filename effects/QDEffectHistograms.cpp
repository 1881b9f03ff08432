#include "effects/QDEffectHistograms.h"

#include <cstring>
#include <memory>
#include <mutex>

#include "image/LImgProChannelMap.h"

#include "image/LImgProRowLoop.h"

void QDRenderInputHistograms::NotifyRenderInputChanged(const QDHistograms& histograms)
{
    PostNotifyFromSender(0, &histograms, sizeof histograms);
}

void QDRenderInputHistograms::AddHistogramNotifyee(QDHistogramNotifyee* notifyee)
{
    lHistogramNotifyees.AddNotifyee(notifyee);
    bWanted = true;
}

void QDRenderInputHistograms::EvQueuedNotifyData(int, void* data, size_t size)
{
    if (!data || size != sizeof(QDHistograms))
        return;
    if (!pLatest)
        pLatest.reset(new QDHistograms);
    memcpy(pLatest.get(), data, sizeof(QDHistograms));
    lHistogramNotifyees.ForEachNotifyee([&](QDHistogramNotifyee* n) { n->EvHistogramsChanged(*pLatest); });
}

namespace
{
// Two sets of counters taken in turn: neighbouring pixels of a photo often share a value, and one
// set would make each count wait for the last one's store.
template <int BPP, bool MEAN>
void CountRow(const uint8_t* p, int n, uint32_t (*a)[256], uint32_t (*b)[256])
{
    int x = 0;
    for (; x + 2 <= n; x += 2, p += 2 * BPP)
    {
        const unsigned b0 = p[0], g0 = p[1], r0 = p[2];
        const unsigned b1 = p[BPP], g1 = p[BPP + 1], r1 = p[BPP + 2];
        if (MEAN)
        {
            ++a[QDHistograms::Mean][(r0 + g0 + b0) / 3];
            ++b[QDHistograms::Mean][(r1 + g1 + b1) / 3];
        }
        ++a[QDHistograms::Red][r0];
        ++b[QDHistograms::Red][r1];
        ++a[QDHistograms::Green][g0];
        ++b[QDHistograms::Green][g1];
        ++a[QDHistograms::Blue][b0];
        ++b[QDHistograms::Blue][b1];
    }
    if (x < n)
    {
        const unsigned b0 = p[0], g0 = p[1], r0 = p[2];
        if (MEAN)
            ++a[QDHistograms::Mean][(r0 + g0 + b0) / 3];
        ++a[QDHistograms::Red][r0];
        ++a[QDHistograms::Green][g0];
        ++a[QDHistograms::Blue][b0];
    }
}
} // namespace

namespace
{
// A band's counters: two sets of 32-bit counts filled row by row, emptied into 64-bit totals
// before they could overflow.
struct BandCounter
{
    uint64_t arTotals[4][256];
    uint32_t arSets[2][4][256];
    int64_t iPending = 0;
    bool bMean;

    explicit BandCounter(bool mean) : bMean(mean)
    {
        memset(arTotals, 0, sizeof arTotals);
        memset(arSets, 0, sizeof arSets);
    }
    void Flush()
    {
        for (int k = 0; k < 4; ++k)
            for (int i = 0; i < 256; ++i)
                arTotals[k][i] += uint64_t(arSets[0][k][i]) + arSets[1][k][i];
        memset(arSets, 0, sizeof arSets);
        iPending = 0;
    }
    void Row(const uint8_t* p, int w, pixelformat_t pf, LImageConstIterator::ReadFunc read, int bpp)
    {
        if (iPending + w > (int64_t(1) << 31))
            Flush();
        iPending += w;
        if (pf == B8G8R8A8)
            bMean ? CountRow<4, true>(p, w, arSets[0], arSets[1])
                  : CountRow<4, false>(p, w, arSets[0], arSets[1]);
        else if (pf == B8G8R8)
            bMean ? CountRow<3, true>(p, w, arSets[0], arSets[1])
                  : CountRow<3, false>(p, w, arSets[0], arSets[1]);
        else
            for (int x = 0; x < w; ++x, p += bpp)
            {
                const LPixelColour v = read(p);
                const uint8_t wide[3] = {v.b, v.g, v.r};
                CountRow<3, true>(wide, 1, arSets[0], arSets[1]);
            }
    }
    void AddTo(QDHistograms& out, std::mutex& lock)
    {
        Flush();
        std::lock_guard<std::mutex> guard(lock);
        for (int k = 0; k < 4; ++k)
            for (int i = 0; i < 256; ++i)
                out.arCounts[k][i] += arTotals[k][i];
    }
};
} // namespace

LProcessResult QDCountHistograms(LProcessInterface& process, const LImageBuffer& buffer, QDHistograms& out,
                                 bool bMean)
{
    memset(&out, 0, sizeof out);
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (!buffer.IsValid() || pf > B5G5R5X1)
        return LProcessResultSuccess;
    const int w = buffer.GetWidth();
    LImgProBandRunner runner(buffer.GetHeight(), 64);
    std::mutex lock;
    const int bpp = LGetPixelFormatBits(pf) / 8;
    const LImageConstIterator::ReadFunc read = LGetPixelReadFunc(pf);
    const int stopped = runner.Run(process,
                                   [&](const LImgProBand& band, LImgProBandRunner& run)
                                   {
                                       // Counters of its own per band, so bands never share one.
                                       std::unique_ptr<BandCounter> c(new BandCounter(bMean));
                                       for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                                       {
                                           if (run.IsToStop(band))
                                               return false;
                                           c->Row(buffer.GetScanLine(y), w, pf, read, bpp);
                                       }
                                       c->AddTo(out, lock);
                                       return true;
                                   });
    return stopped ? LProcessResultCancelled : LProcessResultSuccess;
}

LProcessResult QDMapChannelsCounting(LProcessInterface& process, LImageBuffer& buffer,
                                     const LImgProChannelMap& map, QDHistograms* counts)
{
    if (counts)
        memset(counts, 0, sizeof *counts);
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (!buffer.IsValid() || pf > B5G5R5X1)
        return LProcessResultFailed;
    const int w = buffer.GetWidth();
    LImgProBandRunner runner(buffer.GetHeight(), 64);
    std::mutex lock;
    const int bpp = LGetPixelFormatBits(pf) / 8;
    const LImageConstIterator::ReadFunc read = LGetPixelReadFunc(pf);
    const bool identity = map.IsIdentity();
    const int stopped =
        runner.Run(process,
                   [&](const LImgProBand& band, LImgProBandRunner& run)
                   {
                       std::unique_ptr<BandCounter> c(counts ? new BandCounter(true) : nullptr);
                       for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                       {
                           if (run.IsToStop(band))
                               return false;
                           uint8_t* row = buffer.GetScanLine(y);
                           if (c)
                               c->Row(row, w, pf, read, bpp);
                           if (!identity)
                               map.MapRow(row, w, pf);
                       }
                       if (c)
                           c->AddTo(*counts, lock);
                       return true;
                   });
    return stopped ? LProcessResultCancelled : LProcessResultSuccess;
}
