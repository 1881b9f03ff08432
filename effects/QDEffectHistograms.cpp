#include "effects/QDEffectHistograms.h"

#include <cstring>
#include <mutex>

#include "image/LImgProRowLoop.h"

void QDRenderInputHistograms::NotifyRenderInputChanged(const QDHistograms& histograms)
{
    PostNotifyFromSender(0, &histograms, sizeof histograms);
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
struct BandCounts
{
    uint64_t arCounts[4][256];
};

template <int BPP>
void CountRow(const uint8_t* p, int n, BandCounts& c)
{
    for (int x = 0; x < n; ++x, p += BPP)
    {
        const unsigned b = p[0], g = p[1], r = p[2];
        ++c.arCounts[QDHistograms::Mean][(r + g + b) / 3];
        ++c.arCounts[QDHistograms::Red][r];
        ++c.arCounts[QDHistograms::Green][g];
        ++c.arCounts[QDHistograms::Blue][b];
    }
}
} // namespace

LProcessResult QDCountHistograms(LProcessInterface& process, const LImageBuffer& buffer, QDHistograms& out)
{
    memset(&out, 0, sizeof out);
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (!buffer.IsValid() || pf > B5G5R5X1)
        return LProcessResultSuccess;
    const int w = buffer.GetWidth(), h = buffer.GetHeight();
    LImgProBandRunner runner(h, 64);
    std::mutex lock;
    const int bpp = LGetPixelFormatBits(pf) / 8;
    const LImageConstIterator::ReadFunc read = LGetPixelReadFunc(pf);
    const int stopped = runner.Run(process,
                                   [&](const LImgProBand& band, LImgProBandRunner& run)
                                   {
                                       // Counters of its own per band, summed at its end, so bands never
                                       // share one.
                                       BandCounts c;
                                       memset(&c, 0, sizeof c);
                                       for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                                       {
                                           if (run.IsToStop(band))
                                               return false;
                                           const uint8_t* p = buffer.GetScanLine(y);
                                           if (pf == B8G8R8A8)
                                               CountRow<4>(p, w, c);
                                           else if (pf == B8G8R8)
                                               CountRow<3>(p, w, c);
                                           else
                                               for (int x = 0; x < w; ++x, p += bpp)
                                               {
                                                   const LPixelColour v = read(p);
                                                   uint8_t wide[3] = {v.b, v.g, v.r};
                                                   CountRow<3>(wide, 1, c);
                                               }
                                       }
                                       std::lock_guard<std::mutex> guard(lock);
                                       for (int k = 0; k < 4; ++k)
                                           for (int i = 0; i < 256; ++i)
                                               out.arCounts[k][i] += c.arCounts[k][i];
                                       return true;
                                   });
    return stopped ? LProcessResultCancelled : LProcessResultSuccess;
}
