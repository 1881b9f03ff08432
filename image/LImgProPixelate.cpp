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
    const int blockCols = (w + bs - 1) / bs;
    // A band is a run of whole block rows: each block is read in full before it is written, so
    // in place works too. Blocks are summed a chunk at a time, row by row, so that the reads run
    // along the rows.
    constexpr int kChunk = 64;
    return LImgProForEachRow(
        oProcess, blockRows,
        [&](int by)
        {
            const int y0 = by * bs, y1 = std::min(y0 + bs, h);
            for (int c0 = 0; c0 < blockCols; c0 += kChunk)
            {
                const int c1 = std::min(c0 + kChunk, blockCols);
                uint64_t sums[kChunk][4] = {};
                for (int y = y0; y < y1; ++y)
                {
                    const F* row = reinterpret_cast<const F*>(oSource.GetRow(y));
                    for (int bx = c0; bx < c1; ++bx)
                    {
                        uint64_t* s = sums[bx - c0];
                        for (int x = bx * bs; x < std::min(bx * bs + bs, w); ++x)
                        {
                            const LPixelColour c = LImgProReadWide(row[x]);
                            s[0] += c.b, s[1] += c.g, s[2] += c.r, s[3] += c.a;
                        }
                    }
                }
                for (int bx = c0; bx < c1; ++bx)
                {
                    const int x0 = bx * bs, x1 = std::min(x0 + bs, w);
                    const uint64_t n = uint64_t(y1 - y0) * (x1 - x0), *s = sums[bx - c0];
                    F value;
                    LImgProWriteWide(value, LPixelColour(uint8_t(s[0] / n), uint8_t(s[1] / n),
                                                         uint8_t(s[2] / n), uint8_t(s[3] / n)));
                    for (int y = y0; y < y1; ++y)
                        std::fill_n(reinterpret_cast<F*>(oDest.GetRow(y)) + x0, x1 - x0, value);
                }
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
