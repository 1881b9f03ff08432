#include "image/LMedianCut.h"

#include <algorithm>
#include <new>

template <class Point>
LProcessResult LMedianCut<Point>::SplitBoxes(LProcessInterface& process, Point* points, size_t count,
                                             int colorCount)
{
    arBoxes.DeleteAll();
    if (count == 0 || colorCount < 1)
        return LProcessResultSuccess;
    auto* all = new (std::nothrow) Box(points, count);
    if (!all)
        return LProcessResultFailed;
    arBoxes.AddTail(all);
    auto longerFirst = [](const Box& a, const Box& b) { return a < b; };
    while (int(arBoxes.GetCount()) < colorCount)
    {
        // The head has the longest side; when it is a single colour, so is every box.
        Box* head = arBoxes.GetFirst();
        if (head->GetLongestDimensionDistance() == 0)
            break;
        arBoxes.DetachHead();
        Box* other = head->Split();
        arBoxes.AddOrdered(head, longerFirst);
        if (!other)
            return LProcessResultFailed;
        arBoxes.AddOrdered(other, longerFirst);
        process.SetProgress(double(arBoxes.GetCount()) / colorCount);
        if (process.IsToStop())
            return LProcessResultCancelled;
    }
    return LProcessResultSuccess;
}

template class LMedianCut<LMedianCutPoint<unsigned char, 3>>;
template class LMedianCut<LMedianCutCountedPoint>;

namespace
{
constexpr int kHistogramBits = 18;
constexpr uint64_t kMaxPixels = uint64_t(1) << 30; // keeps the bins' 32-bit sums from overflowing

// A bin of the histogram: the pixel count and the sums of the two low bits of each channel, which
// with the bin's own six bits give the mean colour.
struct Bin
{
    uint32_t n, r, g, b;
};

// The distinct colours of an image, while there are at most a given number of them.
class ExactColours
{
public:
    explicit ExactColours(int limit) : iLimit(limit)
    {
        size_t size = 16;
        while (size < size_t(limit) * 4)
            size <<= 1;
        arSlots.assign(size, 0);
    }
    // False once there are more colours than the limit; from then on it stays false.
    bool Add(uint32_t rgb)
    {
        if (bOver)
            return false;
        if (rgb == iLast && !arOrder.empty())
            return true;
        iLast = rgb;
        const size_t mask = arSlots.size() - 1;
        for (size_t i = (rgb * 2654435761u) >> 8 & mask;; i = (i + 1) & mask)
        {
            if (arSlots[i] == rgb + 1)
                return true;
            if (arSlots[i] == 0)
            {
                if (int(arOrder.size()) == iLimit)
                {
                    bOver = true;
                    arOrder.clear();
                    return false;
                }
                arSlots[i] = rgb + 1;
                arOrder.push_back(rgb);
                return true;
            }
        }
    }

    int iLimit;
    bool bOver = false;
    uint32_t iLast = 0;
    std::vector<uint32_t> arSlots; // colour + 1, 0 when free
    std::vector<uint32_t> arOrder; // in order of first appearance
};
} // namespace

LMedianCutColor::LMedianCutColor(const LImageBuffer& image, int colorCount, bool dither, bool useCounts)
    : oImage(image), iColorCount(colorCount), bDither(dither), bUseCounts(useCounts)
{
}

bool LMedianCutColor::KeepsTransparentEntry() const
{
    return !bDither && oImage.GetPixelFormat() == B8G8R8A8 && iColorCount >= 2;
}

LProcessResult LMedianCutColor::Init(LProcessInterface& process)
{
    const int width = oImage.GetWidth(), height = oImage.GetHeight();
    const bool alpha = oImage.GetPixelFormat() == B8G8R8A8;
    const bool skipTransparent = KeepsTransparentEntry();
    const int step = alpha ? 4 : 3;
    const int budget = iColorCount - (skipTransparent ? 1 : 0);

    std::vector<Bin> bins;
    if (bUseCounts)
        bins.assign(size_t(1) << kHistogramBits, Bin{0, 0, 0, 0});
    else
        arPoints.reserve(size_t(width) * size_t(height));
    ExactColours exact(budget);
    for (int y = 0; y < height; ++y)
    {
        const uint8_t* p = oImage.GetRow(y);
        for (int x = 0; x < width; ++x, p += step)
        {
            const unsigned b = p[0], g = p[1], r = p[2];
            if (skipTransparent && p[3] == 0)
            {
                arTransparentSum[0] += r, arTransparentSum[1] += g, arTransparentSum[2] += b;
                ++nTransparent;
                continue;
            }
            exact.Add(r << 16 | g << 8 | b);
            if (bUseCounts)
            {
                Bin& bin = bins[(r >> 2) | (g >> 2) << 6 | (b >> 2) << 12];
                ++bin.n;
                bin.r += r & 3, bin.g += g & 3, bin.b += b & 3;
            }
            else
                arPoints.push_back({{uint8_t(r), uint8_t(g), uint8_t(b)}});
        }
        if ((y & 15) == 15)
            process.SetProgress(0.5 * (y + 1) / height);
        if (process.IsToStop())
            return LProcessResultCancelled;
    }
    bExact = !exact.bOver;
    if (bExact)
    {
        arExactColours = std::move(exact.arOrder);
        arPoints.clear();
        return LProcessResultSuccess;
    }
    if (bUseCounts)
    {
        for (uint32_t i = 0; i < bins.size(); ++i)
        {
            const Bin& bin = bins[i];
            if (bin.n == 0)
                continue;
            auto mean = [&bin](uint32_t top, uint32_t low)
            { return uint8_t(top << 2 | (low + bin.n / 2) / bin.n); };
            LMedianCutCountedPoint point;
            point.v[0] = mean(i & 63, bin.r);
            point.v[1] = mean(i >> 6 & 63, bin.g);
            point.v[2] = mean(i >> 12, bin.b);
            point.iCount = bin.n;
            arCountedPoints.push_back(point);
        }
    }
    process.SetProgress(0.5);
    return LProcessResultSuccess;
}

LProcessResult LMedianCutColor::GetOptimizedPalette(LProcessInterface& process, LPalette<LPFB8G8R8>& palette)
{
    palette.Clear();
    const pixelformat_t pf = oImage.GetPixelFormat();
    if (!oImage.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8) || iColorCount < 1 ||
        uint64_t(oImage.GetWidth()) * uint64_t(oImage.GetHeight()) > kMaxPixels)
        return LProcessResultFailed;
    arPoints.clear(), arCountedPoints.clear(), arExactColours.clear();
    arTransparentSum[0] = arTransparentSum[1] = arTransparentSum[2] = 0;
    nTransparent = 0;
    LProcessResult r = Init(process);
    if (r != LProcessResultSuccess)
        return r;

    const int budget = iColorCount - (KeepsTransparentEntry() ? 1 : 0);
    if (bExact)
    {
        for (uint32_t c : arExactColours)
            palette.Add(LPFB8G8R8{uint8_t(c), uint8_t(c >> 8), uint8_t(c >> 16)});
    }
    else
    {
        LProcessInterfaceSubProcess sub(process, 0.5, 0.5);
        auto emit = [&palette](auto& cut)
        {
            for (auto* box = cut.arBoxes.GetFirst(); box; box = box->GetNextItem())
            {
                uint8_t rgb[3];
                box->GetAverage(rgb);
                palette.Add(LPFB8G8R8{rgb[2], rgb[1], rgb[0]});
            }
        };
        if (bUseCounts)
        {
            LMedianCut<LMedianCutCountedPoint> cut;
            r = cut.SplitBoxes(sub, arCountedPoints.data(), arCountedPoints.size(), budget);
            if (r == LProcessResultSuccess)
                emit(cut);
        }
        else
        {
            LMedianCut<LMedianCutPoint<unsigned char, 3>> cut;
            r = cut.SplitBoxes(sub, arPoints.data(), arPoints.size(), budget);
            if (r == LProcessResultSuccess)
                emit(cut);
        }
        if (r != LProcessResultSuccess)
        {
            palette.Clear();
            return r;
        }
    }
    if (nTransparent > 0)
    {
        auto mean = [this](int c)
        { return uint8_t((arTransparentSum[c] + nTransparent / 2) / nTransparent); };
        palette.Add(LPFB8G8R8{mean(2), mean(1), mean(0)});
        palette.iTransparentIndex = palette.GetCount() - 1;
    }
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
