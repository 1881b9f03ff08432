#pragma once
// The pixel mesh of liquid resize: one node per pixel, linked to its four neighbours, from which
// seams (connected paths of one pixel per row, top to bottom) are unlinked in place, so that
// taking a seam costs only its own length. Costs are brought up to date by a full pass only when
// the caller asks; between passes seams are picked from stale costs, with the energy of the
// pixels that a seam brings together raised along it, so the next seam avoids the fresh edge.

#include <cstdint>
#include <memory>
#include <vector>

#include "image/LImageBuffer.h"

// 32 bytes; the links are indices into the mesh, -1 at the picture's edges.
struct QDPixelNode
{
    LPixelColour oColour;
    int32_t iEnergy;
    int32_t iCost; // cumulative, from the top row down, as of the last cost pass
    bool bRemoved; // taken by a seam
    int32_t iUp, iLeft, iRight, iDown;
};
static_assert(sizeof(QDPixelNode) == 32, "a mesh node is 32 bytes");

class QDSeamCarver
{
public:
    // Nodes for every pixel of image (any packed format), with the energy e*e of grey's first
    // channel (a B8G8R8 picture of the same size). False when memory runs out or sizes differ.
    bool Build(const LImageBuffer& image, const LImageBuffer& grey);
    // The full cost pass: every live node's cost is its energy plus the least cost of the node
    // above it and that node's left and right neighbours. Rows go in memory order, so the pass
    // streams through the mesh instead of chasing links.
    void CalculateSeams();
    // Takes the cheapest seam by the present costs, ties to the right at the bottom and straight
    // up on the way. seam, when given, receives the node indices from the bottom row up. False
    // when no pixel is left to take.
    bool MarkBestSeam(std::vector<int32_t>* seam = nullptr);
    // out, allocated by the caller: shrinking, the live nodes of each row; enlarging, every node,
    // those taken twice (the second copy the mean of it and its right neighbour). out's width must
    // be what that gives.
    bool Write(LImageBuffer& out, bool bEnlarge) const;

    int GetWidth() const { return iWidth; }
    int GetHeight() const { return iHeight; }
    const QDPixelNode& GetNode(int32_t index) const { return lpNodes[size_t(index)]; }
    // The first live node of a row, -1 when the row is empty.
    int32_t GetRowFirst(int row) const { return arRowFirst[size_t(row)]; }

    static int Luma(const LPixelColour& c) { return (c.r * 76 + c.g * 155 + c.b * 25) >> 8; }

private:
    void AddEnergy(int32_t a, int32_t b);

    int iWidth = 0;
    int iHeight = 0;
    std::unique_ptr<QDPixelNode[]> lpNodes;
    std::vector<int32_t> arRowFirst;
};
