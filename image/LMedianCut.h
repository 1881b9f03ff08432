#pragma once
// Median cut: the colours of an image as points, split in boxes along their longest side until
// there are as many boxes as palette entries; each box gives one colour.

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "foundation/LList.h"
#include "foundation/LProcessInterface.h"
#include "image/LImageBuffer.h"
#include "image/LPalette.h"

// Channels in the order red, green, blue.
template <class T, int N>
struct LMedianCutPoint
{
    T v[N];
    static constexpr int kAxes = N;
    uint32_t GetCount() const { return 1; }
};

// One bin of the colour histogram: its mean colour and how many pixels fell in it.
struct LMedianCutCountedPoint : LMedianCutPoint<unsigned char, 3>
{
    uint32_t iCount;
    uint32_t GetCount() const { return iCount; }
};

// Orders points along axis; ties are broken by the other axes so that the order doesn't depend
// on the sort.
template <class Point, int axis>
int LMedianCutPointCompareFunc(const void* a, const void* b)
{
    const Point& p = *static_cast<const Point*>(a);
    const Point& q = *static_cast<const Point*>(b);
    for (int k = 0; k < Point::kAxes; ++k)
    {
        const int i = (axis + k) % Point::kAxes;
        if (p.v[i] != q.v[i])
            return p.v[i] < q.v[i] ? -1 : 1;
    }
    return 0;
}

template <class T, class Point>
class LMedianCutBox : public LListItem<LMedianCutBox<T, Point>>
{
public:
    static constexpr int kAxes = Point::kAxes;

    LMedianCutBox(Point* first, size_t count) : lpFirst(first), nCount(count) { Shrink(); }

    // Lowest and highest value per axis, and the weight, from the points.
    void Shrink()
    {
        nWeight = 0;
        for (int a = 0; a < kAxes; ++a)
            arLow[a] = lpFirst[0].v[a], arHigh[a] = lpFirst[0].v[a];
        for (size_t i = 0; i < nCount; ++i)
        {
            for (int a = 0; a < kAxes; ++a)
            {
                const T v = lpFirst[i].v[a];
                arLow[a] = v < arLow[a] ? v : arLow[a];
                arHigh[a] = v > arHigh[a] ? v : arHigh[a];
            }
            nWeight += lpFirst[i].GetCount();
        }
    }
    int GetLongestDimensionIndex() const
    {
        int best = 0;
        for (int a = 1; a < kAxes; ++a)
            if (arHigh[a] - arLow[a] > arHigh[best] - arLow[best])
                best = a;
        return best;
    }
    int GetLongestDimensionDistance() const
    {
        const int a = GetLongestDimensionIndex();
        return int(arHigh[a]) - int(arLow[a]);
    }
    // The box with the longer side comes first.
    bool operator<(const LMedianCutBox& o) const
    {
        return GetLongestDimensionDistance() > o.GetLongestDimensionDistance();
    }

    void Sort(int axis)
    {
        static_assert(kAxes == 3, "the comparison functions are made for three axes");
        using Compare = int (*)(const void*, const void*);
        static constexpr Compare compare[3] = {LMedianCutPointCompareFunc<Point, 0>,
                                               LMedianCutPointCompareFunc<Point, 1>,
                                               LMedianCutPointCompareFunc<Point, 2>};
        qsort(lpFirst, nCount, sizeof(Point), compare[axis]);
    }

    // Sorts along the longest side and gives away the points behind the point where half of the
    // weight is reached. Null when the box holds one colour only, or out of memory.
    LMedianCutBox* Split()
    {
        if (nCount < 2 || GetLongestDimensionDistance() == 0)
            return nullptr;
        Sort(GetLongestDimensionIndex());
        uint64_t below = 0;
        size_t at = 0;
        while (at < nCount - 1 && below * 2 < nWeight)
            below += lpFirst[at++].GetCount();
        if (at == 0)
            at = 1;
        auto* other = new (std::nothrow) LMedianCutBox(lpFirst + at, nCount - at);
        if (!other)
            return nullptr;
        nCount = at;
        Shrink();
        return other;
    }

    // The mean of the points, weighted by their counts and rounded.
    void GetAverage(uint8_t out[kAxes]) const
    {
        for (int a = 0; a < kAxes; ++a)
        {
            uint64_t sum = 0;
            for (size_t i = 0; i < nCount; ++i)
                sum += uint64_t(lpFirst[i].v[a]) * lpFirst[i].GetCount();
            out[a] = uint8_t((sum + nWeight / 2) / nWeight);
        }
    }

    Point* lpFirst;
    size_t nCount;
    uint64_t nWeight = 0;
    T arLow[kAxes];
    T arHigh[kAxes];
};

template <class Point>
class LMedianCut
{
public:
    using Box = LMedianCutBox<unsigned char, Point>;

    // Splits the points (which must stay alive) into at most colorCount boxes; fewer when the
    // points hold fewer colours. 0 done, 1 stopped, 2 out of memory.
    LProcessResult SplitBoxes(LProcessInterface& process, Point* points, size_t count, int colorCount);

    LList<Box> arBoxes;
};

// The palette of an image by median cut. Pixels are counted in a histogram of 6 bits a channel
// first (bUseCounts), so a photograph gives at most 2^18 points instead of one per pixel.
class LMedianCutColor
{
public:
    // bDither: the palette serves the whole picture, so alpha is ignored and no entry is kept for
    // transparency. Otherwise a 32-bit image keeps one entry back for its pixels of alpha 0.
    LMedianCutColor(const LImageBuffer& image, int colorCount, bool dither, bool useCounts = true);

    // 0 done, 1 stopped, 2 failed (an unsuitable image or no memory).
    LProcessResult GetOptimizedPalette(LProcessInterface& process, LPalette<LPFB8G8R8>& palette);

    const LImageBuffer& oImage;
    int iColorCount;
    bool bDither;
    bool bUseCounts;

private:
    LProcessResult Init(LProcessInterface& process);
    bool KeepsTransparentEntry() const;

    std::vector<uint32_t> arHistogram; // 2^18 bins
    std::vector<LMedianCutCountedPoint> arCountedPoints;
    std::vector<LMedianCutPoint<unsigned char, 3>> arPoints;
    // The image's own colours while there are no more than iColorCount of them; given as they
    // are instead of the boxes' means.
    std::vector<uint32_t> arExactColours;
    bool bExact = false;
    uint64_t arTransparentSum[3] = {0, 0, 0};
    uint64_t nTransparent = 0;
};
