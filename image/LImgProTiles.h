#pragma once
// Tiles: the picture laid out in raised tiles, square or hexagonal, each in the mean colour of the
// part of the image it covers, with a bevelled border lit from the top left and dark joints
// between the tiles.

#include <cstdint>
#include <vector>

#include "image/LImgProFrame.h"

class LImgProTiles
{
public:
    // One tile's picture around its centre: (2*iRadius + 1) squared samples, row by row.
    struct Tile
    {
        int iRadius = 0;
        std::vector<uint8_t> arCoverage; // 0 outside the tile, 255 inside, partly on the edge
        std::vector<float> arHeight;     // 0 on the border, rising to 1 on the flat top
        std::vector<int16_t> arShade;    // brightness change: positive facing the light
    };

    // In place, all five formats; alpha stays. fTileCount tiles span the shorter side; a count of
    // 0 or less leaves the image alone. fPadding is the joint between tiles as a share of the tile
    // size, and widens the bevel with it.
    LProcessResult DrawTiles(LProcessInterface& oProcess, LImageBuffer& oImage) const;
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage) const
    {
        return DrawTiles(oProcess, oImage);
    }

    // The tile for a pitch of fSize pixels: its outline by DrawPolygon, its bevel by DrawEdges,
    // its light by ShadeTile.
    void CreateTile(Tile& oTile, float fSize) const;
    // Coverage of the convex polygon (corners relative to the tile's centre), sampled 4 x 4 per
    // pixel.
    static void DrawPolygon(Tile& oTile, const float* arX, const float* arY, int nCorners);
    // Walks the outline with the brush, so each sample's height becomes its distance to the
    // outline over fBevel, at most 1.
    static void DrawEdges(Tile& oTile, const float* arX, const float* arY, int nCorners, float fBevel);
    static void DrawBrush(Tile& oTile, float fX, float fY, float fBevel);
    // The slope of the height towards the top left, scaled so that the lowest and highest found
    // span 0 to 255, stored relative to the flat top's value.
    static void ShadeTile(Tile& oTile);

    float fTileCount = 20;
    float fPadding = 0.05f;
    bool bHexagonal = false;

private:
    template <class F>
    LProcessResult Draw(LProcessInterface& oProcess, LImageBuffer& oImage) const;
};
