#pragma once
// A palette of colours with its nearest-entry search, and a cache that makes the same search
// cheap when a whole image is mapped to the palette.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "image/LPixelFormats.h"

template <class T>
class LPalette
{
public:
    int GetCount() const { return int(arColours.size()); }
    void SetCount(int count) { arColours.resize(size_t(count > 0 ? count : 0)); }
    void Add(const T& colour) { arColours.push_back(colour); }
    void Clear()
    {
        arColours.clear();
        iTransparentIndex = -1;
    }
    T& operator[](int index) { return arColours[size_t(index)]; }
    const T& operator[](int index) const { return arColours[size_t(index)]; }

    // Squared RGB distance in integers, the transparent entry left out; ties go to the lowest
    // index. -1 when no entry can be chosen.
    template <class C>
    int GetIndexOfClosestMatch(const C& colour) const
    {
        int best = -1;
        long bestDistance = 0;
        const int count = GetCount();
        for (int i = 0; i < count; ++i)
        {
            if (i == iTransparentIndex)
                continue;
            const T& e = arColours[size_t(i)];
            const long dr = long(colour.r) - e.r, dg = long(colour.g) - e.g, db = long(colour.b) - e.b;
            const long d = dr * dr + dg * dg + db * db;
            if (best < 0 || d < bestDistance)
            {
                best = i;
                bestDistance = d;
                if (d == 0)
                    break;
            }
        }
        return best;
    }

    std::vector<T> arColours;
    int iTransparentIndex = -1;
};

// A palette entry as red, green, blue and index, high byte first, with its squared distance to
// the nearest point of a block.
struct LColorMapCandidate
{
    uint32_t iColour;
    uint32_t iBlockDistance;
};

// One block of the colour cube, 16 values a side: where its list of the palette entries that can
// be nearest to some colour inside it starts, and how long it is.
struct LColorMapIndexedBlock
{
    uint32_t iFirst = 0; // in the table's list of candidates
    uint16_t nCount = 0;
    bool bReady = false;
};

// Answers GetIndexOfClosestMatch exactly for up to 256 entries. An entry can be nearest to a
// colour of a block only if its distance to the block is no more than the smallest distance at
// which some entry covers the whole block, so the search runs over those candidates alone,
// which a block works out on first use. Answers for exact colours are remembered in a small
// table that stays in the processor's cache.
class LColorMapCacheTable
{
public:
    explicit LColorMapCacheTable(const LPalette<LPFB8G8R8>& palette);
    LColorMapCacheTable(const LColorMapCacheTable&) = delete;
    LColorMapCacheTable& operator=(const LColorMapCacheTable&) = delete;

    // False when the palette is empty, larger than 256, or holds only the transparent entry.
    bool IsValid() const { return bValid; }

    int GetIndex(unsigned r, unsigned g, unsigned b)
    {
        const uint32_t key = r << 16 | g << 8 | b;
        uint32_t& cached = arRecent[Slot(key)];
        if ((cached >> 8) == key)
            return int(cached & 0xFF);
        const int index = Search(r, g, b);
        cached = key << 8 | uint32_t(index);
        return index;
    }

    // The search without the table of recent colours.
    int Search(unsigned r, unsigned g, unsigned b)
    {
        LColorMapIndexedBlock& block = arBlocks[(r >> 4) << 8 | (g >> 4) << 4 | (b >> 4)];
        if (!block.bReady)
            Prepare(block, r >> 4, g >> 4, b >> 4);
        // Candidates come nearest to the block first; once the block's own distance to the next
        // one is beyond the best found, no later one can win or tie. The index rides in the low
        // byte of the key, so equal distances go to the lower index.
        const LColorMapCandidate* c = arCandidates.data() + block.iFirst;
        uint32_t best = ~0u;
        for (unsigned i = 0; i < block.nCount && c[i].iBlockDistance <= best >> 8; ++i)
        {
            const uint32_t e = c[i].iColour;
            const int dr = int(e >> 24) - int(r), dg = int(e >> 16 & 255) - int(g),
                      db = int(e >> 8 & 255) - int(b);
            const uint32_t key = uint32_t(dr * dr + dg * dg + db * db) << 8 | (e & 255);
            best = key < best ? key : best;
        }
        return int(best & 255);
    }

private:
    static constexpr int kRecentBits = 14;
    static uint32_t Slot(uint32_t key) { return (key * 2654435761u) >> (32 - kRecentBits); }

    void Prepare(LColorMapIndexedBlock& block, unsigned r, unsigned g, unsigned b);

    std::vector<uint32_t> arPalette; // usable entries, packed as the candidates
    std::vector<LColorMapIndexedBlock> arBlocks;
    std::vector<LColorMapCandidate> arCandidates;
    std::vector<uint32_t> arRecent; // colour << 8 | index
    bool bValid = false;
};
