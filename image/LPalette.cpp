#include "image/LPalette.h"

#include <algorithm>

static uint32_t Pack(const LPFB8G8R8& c, int index)
{
    return uint32_t(c.r) << 24 | uint32_t(c.g) << 16 | uint32_t(c.b) << 8 | uint32_t(index);
}

LColorMapCacheTable::LColorMapCacheTable(const LPalette<LPFB8G8R8>& palette)
{
    const int count = palette.GetCount();
    if (count <= 0 || count > 256)
        return;
    for (int i = 0; i < count; ++i)
        if (i != palette.iTransparentIndex)
            arPalette.push_back(Pack(palette[i], i));
    if (arPalette.empty())
        return;
    arBlocks.resize(4096);
    // Every slot starts with a colour that doesn't belong in it, so nothing is found by chance.
    arRecent.resize(size_t(1) << kRecentBits);
    for (uint32_t s = 0; s < arRecent.size(); ++s)
        arRecent[s] = Slot(0) == s ? 1u << 8 : 0u;
    bValid = true;
}

void LColorMapCacheTable::Prepare(LColorMapIndexedBlock& block, unsigned r, unsigned g, unsigned b)
{
    const int lo[3] = {int(r) << 4, int(g) << 4, int(b) << 4};
    auto distances = [&lo](uint32_t e, int& nearest, int& farthest)
    {
        nearest = farthest = 0;
        for (int c = 0; c < 3; ++c)
        {
            const int v = int(e >> (24 - 8 * c) & 255), hi = lo[c] + 15;
            const int inside = v < lo[c] ? lo[c] - v : v > hi ? v - hi : 0;
            const int outside = std::max(v - lo[c], hi - v);
            nearest += inside * inside;
            farthest += outside * outside;
        }
    };
    int bound = 1 << 30;
    for (uint32_t e : arPalette)
    {
        int nearest, farthest;
        distances(e, nearest, farthest);
        bound = std::min(bound, farthest);
    }
    block.iFirst = uint32_t(arCandidates.size());
    for (uint32_t e : arPalette)
    {
        int nearest, farthest;
        distances(e, nearest, farthest);
        if (nearest <= bound)
            arCandidates.push_back({e, uint32_t(nearest)});
    }
    std::stable_sort(arCandidates.begin() + block.iFirst, arCandidates.end(),
                     [](const LColorMapCandidate& a, const LColorMapCandidate& b)
                     { return a.iBlockDistance < b.iBlockDistance; });
    block.nCount = uint16_t(arCandidates.size() - block.iFirst);
    block.bReady = true;
}
