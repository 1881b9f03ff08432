#pragma once
// Colour octree: each level splits on one more bit of red, green and blue. Leaves gather the
// colours that reach them; merging the finest, least used nodes into their parents leaves as
// many leaves as palette entries.

#include <cstdint>
#include <vector>

#include "image/LPalette.h"

// What a node of the colour tree holds: the sums of the colours that reached it and their count.
// An item to insert also carries its colour, which chooses the path.
struct LColourOctreeData
{
    LColourOctreeData() = default;
    LColourOctreeData(uint8_t red, uint8_t green, uint8_t blue, uint64_t count = 1)
        : iRed(red * count), iGreen(green * count), iBlue(blue * count), nPixels(count), r(red), g(green),
          b(blue)
    {
    }
    // One bit of each channel, the most significant at level 0.
    int GetChildIndex(unsigned level) const
    {
        const unsigned shift = 7 - level;
        return (r >> shift & 1) << 2 | (g >> shift & 1) << 1 | (b >> shift & 1);
    }
    void Merge(const LColourOctreeData& o)
    {
        iRed += o.iRed, iGreen += o.iGreen, iBlue += o.iBlue, nPixels += o.nPixels;
    }
    uint64_t GetCount() const { return nPixels; }
    // Squared distance between the mean colours, in units of 1/256 of a value.
    uint64_t GetDistance(const LColourOctreeData& o) const
    {
        auto mean = [](uint64_t sum, uint64_t n) { return int64_t(n ? (sum << 8) / n : 0); };
        const int64_t dr = mean(iRed, nPixels) - mean(o.iRed, o.nPixels),
                      dg = mean(iGreen, nPixels) - mean(o.iGreen, o.nPixels),
                      db = mean(iBlue, nPixels) - mean(o.iBlue, o.nPixels);
        return uint64_t(dr * dr + dg * dg + db * db);
    }

    uint64_t iRed = 0, iGreen = 0, iBlue = 0, nPixels = 0;
    uint8_t r = 0, g = 0, b = 0;
};

// A node whose children are all leaves, as a candidate for merging. Deeper nodes merge first,
// then those with fewer pixels; the node number settles the rest so the order is total.
struct LOctreeMergeableNode
{
    uint32_t iNode;
    uint32_t iLevel;
    uint64_t nCount;

    // True when this node is to merge before o.
    bool operator<(const LOctreeMergeableNode& o) const
    {
        if (iLevel != o.iLevel)
            return iLevel > o.iLevel;
        if (nCount != o.nCount)
            return nCount < o.nCount;
        return iNode < o.iNode;
    }
};

template <class T>
class LOctree
{
public:
    // Depth 1 to 8: the number of levels below the root.
    explicit LOctree(unsigned long depth);

    // False when out of memory.
    bool Insert(const T& item);
    int GetLeafCount() const { return nLeaves; }
    // Merges nodes into their parents until target leaves remain (1 at the least), or as many as
    // there were when fewer.
    void MergeNodes(int target);
    // Calls f(data) for every leaf, children in index order.
    template <class F>
    void ForEachLeaf(F f) const
    {
        VisitLeaves(0, f);
    }

protected:
    struct Node
    {
        T data;
        uint32_t arChild[8]; // 0 for none: the root is nobody's child
        uint32_t iParent;
        uint8_t iLevel;
        uint8_t nChildren;
        bool bLeaf;
    };

    void FindSortedMergeNodes(std::vector<LOctreeMergeableNode>& out) const;
    bool FindBestMergeNode(std::vector<LOctreeMergeableNode>& heap, LOctreeMergeableNode& best) const;
    bool IsMergeable(uint32_t node) const;
    LOctreeMergeableNode MakeCandidate(uint32_t node) const;
    uint32_t NewNode(uint32_t parent, unsigned level);
    // Merges the child of node with the fewest items into the sibling nearest to it; node must
    // have two children or more, all leaves.
    void FoldLeastUsedChild(uint32_t node);
    template <class F>
    void VisitLeaves(uint32_t node, F& f) const
    {
        const Node& n = arNodes[node];
        if (n.bLeaf)
        {
            f(n.data);
            return;
        }
        for (uint32_t c : n.arChild)
            if (c)
                VisitLeaves(c, f);
    }

    unsigned iMaxDepth;
    int nLeaves = 0;
    uint32_t iFreeHead = 0; // merged nodes for reuse, chained through arChild[0]
    std::vector<Node> arNodes;
};

class LColourOctree : public LOctree<LColourOctreeData>
{
public:
    explicit LColourOctree(unsigned long depth);

    // Keeps the tree within kLeafLimit leaves by merging as it grows, so a photograph with a
    // million colours costs a bounded amount of memory. False when out of memory.
    bool Insert(const LColourOctreeData& item);
    bool Insert(uint8_t r, uint8_t g, uint8_t b, uint64_t count = 1)
    {
        return Insert(LColourOctreeData(r, g, b, count));
    }
    // Merges down to at most count leaves and gives their mean colours, rounded.
    void GetPalette(LPalette<LPFB8G8R8>& palette, int count);

    static constexpr int kLeafLimit = 1 << 16;
};
