#include "image/LColourOctree.h"

#include <algorithm>

template <class T>
LOctree<T>::LOctree(unsigned long depth) : iMaxDepth(unsigned(std::clamp<unsigned long>(depth, 1, 8)))
{
    NewNode(0, 0);
}

template <class T>
uint32_t LOctree<T>::NewNode(uint32_t parent, unsigned level)
{
    Node n{};
    n.iParent = parent;
    n.iLevel = uint8_t(level);
    n.bLeaf = level == iMaxDepth;
    if (n.bLeaf)
        ++nLeaves;
    if (iFreeHead)
    {
        const uint32_t i = iFreeHead;
        iFreeHead = arNodes[i].arChild[0];
        arNodes[i] = n;
        return i;
    }
    arNodes.push_back(n);
    return uint32_t(arNodes.size() - 1);
}

template <class T>
bool LOctree<T>::Insert(const T& item)
{
    uint32_t node = 0;
    for (unsigned level = 0;; ++level)
    {
        if (arNodes[node].bLeaf)
        {
            arNodes[node].data.Merge(item);
            return true;
        }
        const int c = item.GetChildIndex(level);
        uint32_t child = arNodes[node].arChild[c];
        if (!child)
        {
            child = NewNode(node, level + 1);
            arNodes[node].arChild[c] = child;
            ++arNodes[node].nChildren;
        }
        node = child;
    }
}

template <class T>
bool LOctree<T>::IsMergeable(uint32_t node) const
{
    const Node& n = arNodes[node];
    if (n.bLeaf || n.nChildren == 0)
        return false;
    for (uint32_t c : n.arChild)
        if (c && !arNodes[c].bLeaf)
            return false;
    return true;
}

template <class T>
LOctreeMergeableNode LOctree<T>::MakeCandidate(uint32_t node) const
{
    uint64_t count = 0;
    for (uint32_t c : arNodes[node].arChild)
        if (c)
            count += arNodes[c].data.GetCount();
    return {node, arNodes[node].iLevel, count};
}

template <class T>
void LOctree<T>::FindSortedMergeNodes(std::vector<LOctreeMergeableNode>& out) const
{
    out.clear();
    std::vector<uint32_t> stack{0};
    while (!stack.empty())
    {
        const uint32_t node = stack.back();
        stack.pop_back();
        if (IsMergeable(node))
            out.push_back(MakeCandidate(node));
        else if (!arNodes[node].bLeaf)
            for (uint32_t c : arNodes[node].arChild)
                if (c)
                    stack.push_back(c);
    }
    std::sort(out.begin(), out.end());
}

// The heap keeps the candidate that merges first at its front.
static bool MergesLater(const LOctreeMergeableNode& a, const LOctreeMergeableNode& b)
{
    return b < a;
}

template <class T>
bool LOctree<T>::FindBestMergeNode(std::vector<LOctreeMergeableNode>& heap, LOctreeMergeableNode& best) const
{
    if (heap.empty())
        return false;
    std::pop_heap(heap.begin(), heap.end(), MergesLater);
    best = heap.back();
    heap.pop_back();
    return true;
}

template <class T>
void LOctree<T>::MergeNodes(int target)
{
    target = std::max(target, 1);
    if (nLeaves <= target)
        return;
    std::vector<LOctreeMergeableNode> heap;
    FindSortedMergeNodes(heap);
    std::make_heap(heap.begin(), heap.end(), MergesLater);
    LOctreeMergeableNode best;
    while (nLeaves > target && FindBestMergeNode(heap, best))
    {
        // Folding the whole node would leave fewer leaves than asked for: its least used
        // children go into their nearest siblings one by one instead, so the palette is full.
        if (arNodes[best.iNode].nChildren - 1 > nLeaves - target)
        {
            while (nLeaves > target)
                FoldLeastUsedChild(best.iNode);
            break;
        }
        Node& n = arNodes[best.iNode];
        for (uint32_t& c : n.arChild)
        {
            if (!c)
                continue;
            n.data.Merge(arNodes[c].data);
            arNodes[c].arChild[0] = iFreeHead;
            iFreeHead = c;
            c = 0;
        }
        nLeaves -= n.nChildren - 1;
        n.nChildren = 0;
        n.bLeaf = true;
        if (best.iNode != 0 && IsMergeable(n.iParent))
        {
            heap.push_back(MakeCandidate(n.iParent));
            std::push_heap(heap.begin(), heap.end(), MergesLater);
        }
    }
}

template <class T>
void LOctree<T>::FoldLeastUsedChild(uint32_t node)
{
    Node& n = arNodes[node];
    uint32_t* least = nullptr;
    for (uint32_t& c : n.arChild)
        if (c && (!least || arNodes[c].data.GetCount() < arNodes[*least].data.GetCount()))
            least = &c;
    uint32_t nearest = 0;
    for (uint32_t c : n.arChild)
        if (c && c != *least &&
            (!nearest || arNodes[c].data.GetDistance(arNodes[*least].data) <
                             arNodes[nearest].data.GetDistance(arNodes[*least].data)))
            nearest = c;
    arNodes[nearest].data.Merge(arNodes[*least].data);
    arNodes[*least].arChild[0] = iFreeHead;
    iFreeHead = *least;
    *least = 0;
    --n.nChildren;
    --nLeaves;
}

template class LOctree<LColourOctreeData>;

LColourOctree::LColourOctree(unsigned long depth) : LOctree<LColourOctreeData>(depth) {}

bool LColourOctree::Insert(const LColourOctreeData& item)
{
    if (!LOctree<LColourOctreeData>::Insert(item))
        return false;
    if (nLeaves > kLeafLimit)
        MergeNodes(kLeafLimit / 2);
    return true;
}

void LColourOctree::GetPalette(LPalette<LPFB8G8R8>& palette, int count)
{
    palette.Clear();
    MergeNodes(count);
    ForEachLeaf(
        [&palette](const LColourOctreeData& d)
        {
            if (d.nPixels == 0)
                return;
            auto mean = [&d](uint64_t sum) { return uint8_t((sum + d.nPixels / 2) / d.nPixels); };
            palette.Add(LPFB8G8R8{mean(d.iBlue), mean(d.iGreen), mean(d.iRed)});
        });
}
