#include "image/LImgProPixelate.h"

#include <algorithm>

#include "image/LImgProRowLoop.h"

template <class F>
int LImgProPixelate::ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest,
                                  const LImageBuffer& oSource) const
{
    if (!oSource.IsValid() || !oDest.IsValid() || oDest.GetWidth() != oSource.GetWidth() ||
        oDest.GetHeight() != oSource.GetHeight())
        return LProcessResultFailed;
    const int w = oSource.GetWidth(), h = oSource.GetHeight(), bs = std::max(iBlockSize, 1);
    const int blockRows = (h + bs - 1) / bs;
    oProcess.SetProgress(0.0);
    // A band is a run of whole block rows: each block is read in full before it is written, so
    // in place works too.
    return LImgProForEachRow(
        oProcess, blockRows,
        [&](int by)
        {
            const int y0 = by * bs, y1 = std::min(y0 + bs, h);
            for (int x0 = 0; x0 < w; x0 += bs)
            {
                const int x1 = std::min(x0 + bs, w);
                uint64_t sum[4] = {0, 0, 0, 0};
                for (int y = y0; y < y1; ++y)
                {
                    const F* row = reinterpret_cast<const F*>(oSource.GetRow(y));
                    for (int x = x0; x < x1; ++x)
                    {
                        const LPixelColour c = LImgProReadWide(row[x]);
                        sum[0] += c.b;
                        sum[1] += c.g;
                        sum[2] += c.r;
                        sum[3] += c.a;
                    }
                }
                const uint64_t n = uint64_t(y1 - y0) * (x1 - x0);
                const LPixelColour mean(uint8_t(sum[0] / n), uint8_t(sum[1] / n), uint8_t(sum[2] / n),
                                        uint8_t(sum[3] / n));
                F value;
                LImgProWriteWide(value, mean);
                for (int y = y0; y < y1; ++y)
                    std::fill_n(reinterpret_cast<F*>(oDest.GetRow(y)) + x0, x1 - x0, value);
            }
        },
        LImgProStopBeforeRow, 1);
}

template int LImgProPixelate::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&,
                                                        const LImageBuffer&) const;
template int LImgProPixelate::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&,
                                                      const LImageBuffer&) const;
template int LImgProPixelate::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&,
                                                      const LImageBuffer&) const;
template int LImgProPixelate::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&,
                                                        const LImageBuffer&) const;
template int LImgProPixelate::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&,
                                                        const LImageBuffer&) const;
