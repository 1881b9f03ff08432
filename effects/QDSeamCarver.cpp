#include "effects/QDSeamCarver.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace
{
// Costs saturate below the marker of a missing neighbour, so that a tall picture with strong
// edges can't wrap them round.
constexpr int32_t kNone = 0x7fffffff;
constexpr int64_t kMaxCost = 0x7ffffffe;
// A mesh never takes more than this many nodes: the same bound a picture's size has.
constexpr int64_t kMaxNodes = int64_t(1) << 31;
} // namespace

bool QDSeamCarver::Build(const LImageBuffer& image, const LImageBuffer& grey)
{
    const int w = image.GetWidth(), h = image.GetHeight();
    if (!image.IsValid() || !grey.IsValid() || grey.GetWidth() != w || grey.GetHeight() != h ||
        grey.GetPixelFormat() != B8G8R8 || w <= 0 || h <= 0 || int64_t(w) * h >= kMaxNodes)
        return false;
    lpNodes.reset(new (std::nothrow) QDPixelNode[size_t(w) * size_t(h)]);
    if (!lpNodes)
        return false;
    arRowFirst.assign(size_t(h), 0);
    iWidth = w;
    iHeight = h;
    const LImageConstIterator::ReadFunc read = LGetPixelReadFunc(image.GetPixelFormat());
    const bool direct = image.GetPixelFormat() == B8G8R8A8;
    const int bpp = LGetPixelFormatBits(image.GetPixelFormat()) / 8;
    for (int y = 0; y < h; ++y)
    {
        const uint8_t* src = image.GetRow(y);
        const uint8_t* e = grey.GetRow(y);
        QDPixelNode* row = lpNodes.get() + size_t(y) * size_t(w);
        arRowFirst[size_t(y)] = int32_t(size_t(y) * size_t(w));
        for (int x = 0; x < w; ++x)
        {
            QDPixelNode& n = row[x];
            n.oColour = direct ? reinterpret_cast<const LPixelColour*>(src)[x] : read(src + size_t(x) * bpp);
            n.iEnergy = int32_t(e[x * 3]) * int32_t(e[x * 3]);
            n.iCost = 0;
            n.bRemoved = false;
            const int32_t i = int32_t(size_t(y) * size_t(w) + size_t(x));
            n.iUp = y > 0 ? i - w : -1;
            n.iDown = y + 1 < h ? i + w : -1;
            n.iLeft = x > 0 ? i - 1 : -1;
            n.iRight = x + 1 < w ? i + 1 : -1;
        }
    }
    return true;
}

void QDSeamCarver::CalculateSeams()
{
    QDPixelNode* nodes = lpNodes.get();
    const size_t w = size_t(iWidth);
    for (int y = 0; y < iHeight; ++y)
    {
        QDPixelNode* row = nodes + size_t(y) * w;
        for (size_t x = 0; x < w; ++x)
        {
            QDPixelNode& n = row[x];
            if (n.bRemoved)
                continue;
            int64_t best = 0;
            if (n.iUp >= 0)
            {
                const QDPixelNode& up = nodes[n.iUp];
                int32_t m = up.iCost;
                if (up.iLeft >= 0)
                    m = std::min(m, nodes[up.iLeft].iCost);
                if (up.iRight >= 0)
                    m = std::min(m, nodes[up.iRight].iCost);
                best = m;
            }
            n.iCost = int32_t(std::min<int64_t>(int64_t(n.iEnergy) + best, kMaxCost));
        }
    }
}

void QDSeamCarver::AddEnergy(int32_t a, int32_t b)
{
    QDPixelNode& na = lpNodes[size_t(a)];
    QDPixelNode& nb = lpNodes[size_t(b)];
    const int32_t g = std::abs(Luma(na.oColour) - Luma(nb.oColour)) * 2;
    na.iEnergy = int32_t(std::min<int64_t>(int64_t(na.iEnergy) + g, kMaxCost));
    nb.iEnergy = int32_t(std::min<int64_t>(int64_t(nb.iEnergy) + g, kMaxCost));
}

bool QDSeamCarver::MarkBestSeam(std::vector<int32_t>* seam)
{
    if (iHeight <= 0)
        return false;
    QDPixelNode* nodes = lpNodes.get();
    int32_t best = arRowFirst[size_t(iHeight - 1)];
    if (best < 0)
        return false;
    for (int32_t i = nodes[best].iRight; i >= 0; i = nodes[i].iRight)
        if (nodes[i].iCost <= nodes[best].iCost)
            best = i;
    if (seam)
        seam->clear();
    int row = iHeight - 1;
    for (int32_t at = best; at >= 0; --row)
    {
        if (seam)
            seam->push_back(at);
        QDPixelNode& n = nodes[at];
        n.bRemoved = true;
        const int32_t left = n.iLeft, right = n.iRight;
        if (left >= 0)
            nodes[left].iRight = right;
        else
            arRowFirst[size_t(row)] = right;
        if (right >= 0)
            nodes[right].iLeft = left;
        if (left >= 0 && right >= 0)
            AddEnergy(left, right);

        const int32_t up = n.iUp;
        if (up < 0)
            break;
        const QDPixelNode& u = nodes[up];
        const int32_t a = u.iLeft >= 0 ? nodes[u.iLeft].iCost : kNone;
        const int32_t b = u.iRight >= 0 ? nodes[u.iRight].iCost : kNone;
        const int32_t c = u.iCost;
        int32_t next = up;
        if ((a < b && a < c) || (b < a && b < c))
        {
            // The seam leaves the column: the node above stays and takes over the down link of the
            // one the seam goes through, so every live node keeps a live node above and below.
            next = a < b ? u.iLeft : u.iRight;
            const int32_t keep = a < b ? nodes[next].iRight : nodes[next].iLeft;
            const int32_t lower = nodes[next].iDown;
            nodes[keep].iDown = lower;
            if (lower >= 0)
            {
                nodes[lower].iUp = keep;
                AddEnergy(keep, lower);
            }
        }
        at = next;
    }
    return true;
}

bool QDSeamCarver::Write(LImageBuffer& out, bool bEnlarge) const
{
    if (!out.IsValid() || out.GetHeight() != iHeight)
        return false;
    const int W = out.GetWidth();
    const bool direct = out.GetPixelFormat() == B8G8R8A8;
    const LImageIterator::WriteFunc write = LGetPixelWriteFunc(out.GetPixelFormat());
    const int bpp = LGetPixelFormatBits(out.GetPixelFormat()) / 8;
    const QDPixelNode* nodes = lpNodes.get();
    for (int y = 0; y < iHeight; ++y)
    {
        uint8_t* dst = out.GetRow(y);
        int x = 0;
        auto put = [&](const LPixelColour& c)
        {
            if (x >= W)
                return;
            if (direct)
                reinterpret_cast<LPixelColour*>(dst)[x] = c;
            else
                write(dst + size_t(x) * bpp, c);
            ++x;
        };
        if (!bEnlarge)
        {
            for (int32_t i = arRowFirst[size_t(y)]; i >= 0; i = nodes[i].iRight)
                put(nodes[i].oColour);
        }
        else
        {
            const QDPixelNode* row = nodes + size_t(y) * size_t(iWidth);
            for (int i = 0; i < iWidth; ++i)
            {
                const QDPixelNode& n = row[i];
                put(n.oColour);
                if (!n.bRemoved)
                    continue;
                if (n.iRight < 0)
                    put(n.oColour);
                else
                {
                    const LPixelColour& r = nodes[n.iRight].oColour;
                    put(LPixelColour(uint8_t((n.oColour.b + r.b) >> 1), uint8_t((n.oColour.g + r.g) >> 1),
                                     uint8_t((n.oColour.r + r.r) >> 1), uint8_t((n.oColour.a + r.a) >> 1)));
                }
            }
        }
        if (x != W)
            return false;
    }
    return true;
}
