#include "image/LImgProTiles.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <numbers>

#include "image/LImgProColour.h"
#include "image/LImgProRowLoop.h"

namespace
{
constexpr float kSin30 = 0.5f;
constexpr float kCos30 = 0.8660254f;

// Where the tiles sit: square cells of fSize from the top left, or hexagons with flat sides left
// and right, fSize apart in a row, rows shifted by half a tile in turn. What depends on the
// column alone is worked out once per column.
struct TileGrid
{
    bool bHex;
    float fSize, fRowPitch;
    int nCols, nRows;
    // Per column, for each of the two row shifts: the cell column and its centre, exact and
    // rounded to whole pixels.
    std::vector<int> arCol[2];
    std::vector<float> arCentre[2];
    std::vector<int> arCentreX[2];

    // What a row needs: its candidate cell rows (one for squares, two for hexagons) with their
    // centres.
    struct Row
    {
        int arJ[2];
        float arY[2];
        int arCentreY[2];
    };

    TileGrid(bool hex, float size, int w, int h) : bHex(hex), fSize(size)
    {
        // A hexagon's corner radius is size / (2 cos 30); rows are one radius plus sin 30 of it
        // apart.
        fRowPitch = hex ? size / (2 * kCos30) * (1 + kSin30) : size;
        nCols = int(w / size) + (hex ? 3 : 1);
        nRows = int(h / fRowPitch) + (hex ? 3 : 1);
        for (int k = 0; k < (hex ? 2 : 1); ++k)
        {
            arCol[k].resize(size_t(w));
            arCentre[k].resize(size_t(w));
            arCentreX[k].resize(size_t(w));
            const float shift = k ? fSize * 0.5f : 0.0f;
            for (int x = 0; x < w; ++x)
            {
                const int i =
                    hex ? int(std::floor((x - shift) / fSize + 0.5f)) : std::min(int(x / fSize), nCols - 1);
                arCol[k][x] = i;
                arCentre[k][x] = hex ? i * fSize + shift : (i + 0.5f) * fSize - 0.5f;
                arCentreX[k][x] = int(Round(arCentre[k][x]));
            }
        }
    }

    Row GetRow(int y) const
    {
        Row r;
        if (!bHex)
        {
            r.arJ[0] = r.arJ[1] = std::min(int(y / fSize), nRows - 1);
            r.arY[0] = r.arY[1] = (r.arJ[0] + 0.5f) * fSize - 0.5f;
        }
        else
            for (int k = 0; k < 2; ++k)
            {
                // Only the rows just above and below can hold the nearest centre.
                r.arJ[k] = int(y / fRowPitch) + k;
                r.arY[k] = r.arJ[k] * fRowPitch;
            }
        for (int k = 0; k < 2; ++k)
            r.arCentreY[k] = int(Round(r.arY[k]));
        return r;
    }

    // The cell of pixel (x, y) and its centre in whole pixels.
    int Cell(int x, int y, const Row& row, int& cx, int& cy) const
    {
        if (!bHex)
        {
            cx = arCentreX[0][x];
            cy = row.arCentreY[0];
            return row.arJ[0] * nCols + arCol[0][x];
        }
        int k = 0;
        float best = 0;
        for (int c = 0; c < 2; ++c)
        {
            const int p = row.arJ[c] & 1;
            const float ox = arCentre[p][x], oy = row.arY[c];
            const float d = (x - ox) * (x - ox) + (y - oy) * (y - oy);
            if (c == 0 || d < best)
                best = d, k = c;
        }
        const int p = row.arJ[k] & 1;
        cx = arCentreX[p][x];
        cy = row.arCentreY[k];
        return std::min(row.arJ[k], nRows - 1) * nCols + std::clamp(arCol[p][x] + 1, 0, nCols - 1);
    }
};

float SegmentDistance(float px, float py, float x0, float y0, float x1, float y1)
{
    const float dx = x1 - x0, dy = y1 - y0, len2 = dx * dx + dy * dy;
    float t = len2 > 0 ? ((px - x0) * dx + (py - y0) * dy) / len2 : 0;
    t = std::clamp(t, 0.0f, 1.0f);
    const float ex = px - (x0 + t * dx), ey = py - (y0 + t * dy);
    return std::sqrt(ex * ex + ey * ey);
}
} // namespace

void LImgProTiles::DrawPolygon(Tile& t, const float* xs, const float* ys, int n)
{
    const int r = t.iRadius, side = 2 * r + 1;
    for (int my = 0; my < side; ++my)
        for (int mx = 0; mx < side; ++mx)
        {
            int inside = 0;
            for (int sy = 0; sy < 4; ++sy)
                for (int sx = 0; sx < 4; ++sx)
                {
                    const float px = mx - r + (sx + 0.5f) / 4 - 0.5f, py = my - r + (sy + 0.5f) / 4 - 0.5f;
                    // Corners run one way round, so inside is one side of every edge.
                    bool in = true;
                    for (int k = 0; k < n && in; ++k)
                    {
                        const int k1 = (k + 1) % n;
                        in = (xs[k1] - xs[k]) * (py - ys[k]) - (ys[k1] - ys[k]) * (px - xs[k]) >= 0;
                    }
                    inside += in;
                }
            t.arCoverage[size_t(my) * side + mx] = uint8_t(inside * 255 / 16);
        }
}

void LImgProTiles::DrawBrush(Tile& t, float fX, float fY, float fBevel)
{
    const int r = t.iRadius, side = 2 * r + 1;
    const int x0 = std::max(0, int(std::floor(fX - fBevel)) + r),
              x1 = std::min(side - 1, int(std::ceil(fX + fBevel)) + r);
    const int y0 = std::max(0, int(std::floor(fY - fBevel)) + r),
              y1 = std::min(side - 1, int(std::ceil(fY + fBevel)) + r);
    for (int my = y0; my <= y1; ++my)
        for (int mx = x0; mx <= x1; ++mx)
        {
            const float dx = mx - r - fX, dy = my - r - fY;
            float& h = t.arHeight[size_t(my) * side + mx];
            h = std::min(h, std::sqrt(dx * dx + dy * dy) / fBevel);
        }
}

void LImgProTiles::DrawEdges(Tile& t, const float* xs, const float* ys, int n, float fBevel)
{
    const int r = t.iRadius, side = 2 * r + 1;
    std::fill(t.arHeight.begin(), t.arHeight.end(), 1.0f);
    // The brush swept along an edge leaves the distance to the edge, so only the band of samples
    // near each edge needs a visit.
    for (int k = 0; k < n; ++k)
    {
        const int k1 = (k + 1) % n;
        const int x0 = std::max(0, int(std::floor(std::min(xs[k], xs[k1]) - fBevel)) + r);
        const int x1 = std::min(side - 1, int(std::ceil(std::max(xs[k], xs[k1]) + fBevel)) + r);
        const int y0 = std::max(0, int(std::floor(std::min(ys[k], ys[k1]) - fBevel)) + r);
        const int y1 = std::min(side - 1, int(std::ceil(std::max(ys[k], ys[k1]) + fBevel)) + r);
        for (int my = y0; my <= y1; ++my)
            for (int mx = x0; mx <= x1; ++mx)
            {
                float& h = t.arHeight[size_t(my) * side + mx];
                h = std::min(h, SegmentDistance(mx - r, my - r, xs[k], ys[k], xs[k1], ys[k1]) / fBevel);
            }
        // Round corners, as a round brush leaves them.
        DrawBrush(t, xs[k], ys[k], fBevel);
    }
}

void LImgProTiles::ShadeTile(Tile& t)
{
    const int r = t.iRadius, side = 2 * r + 1;
    auto h = [&](int x, int y)
    { return t.arHeight[size_t(std::clamp(y, 0, side - 1)) * side + std::clamp(x, 0, side - 1)]; };
    std::vector<float> v(t.arHeight.size(), 0.0f);
    float lo = 1000, hi = -1000;
    for (int y = 0; y < side; ++y)
        for (int x = 0; x < side; ++x)
        {
            // Rising towards the bottom right means the slope faces the light at the top left.
            const float s = (h(x + 1, y) + h(x, y + 1) + 2 * h(x + 1, y + 1)) -
                            (h(x - 1, y) + h(x, y - 1) + 2 * h(x - 1, y - 1));
            v[size_t(y) * side + x] = s;
            if (t.arCoverage[size_t(y) * side + x])
            {
                lo = std::min(lo, s);
                hi = std::max(hi, s);
            }
        }
    const float span = hi - lo;
    for (size_t i = 0; i < v.size(); ++i)
    {
        if (!(span > 1e-6f))
        {
            t.arShade[i] = 0;
            continue;
        }
        const float shade = (v[i] - lo) / span * 255, flat = -lo / span * 255;
        t.arShade[i] = int16_t(Round((shade - flat) * 0.6f));
    }
}

void LImgProTiles::CreateTile(Tile& t, float fSize) const
{
    const float pad = std::clamp(fPadding, 0.0f, 0.45f) * fSize;
    const float bevel = std::max(1.0f, fSize * (0.08f + std::max(fPadding, 0.0f)));
    float xs[6], ys[6];
    int n;
    if (bHexagonal)
    {
        const float radius = std::max(fSize / (2 * kCos30) - pad * 0.5f / kCos30, 0.75f);
        n = 6;
        for (int i = 0; i < 6; ++i)
        {
            const float a = float((i * 60 + 30) * std::numbers::pi / 180);
            xs[i] = radius * std::cos(a);
            ys[i] = radius * std::sin(a);
        }
        t.iRadius = int(std::ceil(fSize / (2 * kCos30))) + 1;
    }
    else
    {
        const float half = std::max(fSize * 0.5f - pad * 0.5f, 0.75f);
        n = 4;
        const float cx[4] = {-half, half, half, -half}, cy[4] = {-half, -half, half, half};
        std::copy(cx, cx + 4, xs);
        std::copy(cy, cy + 4, ys);
        t.iRadius = int(std::ceil(fSize * 0.5f)) + 1;
    }
    const size_t samples = size_t(2 * t.iRadius + 1) * (2 * t.iRadius + 1);
    t.arCoverage.assign(samples, 0);
    t.arHeight.assign(samples, 1.0f);
    t.arShade.assign(samples, 0);
    DrawPolygon(t, xs, ys, n);
    DrawEdges(t, xs, ys, n, bevel);
    ShadeTile(t);
}

template <class F>
LProcessResult LImgProTiles::Draw(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    const int w = oImage.GetWidth(), h = oImage.GetHeight();
    if (!(fTileCount > 0))
        return LProcessResultSuccess;
    // A tile larger than the shorter side shows nothing more and only costs memory.
    const float shorter = float(std::min(w, h));
    const float size = std::max(std::min(shorter / fTileCount, shorter), 3.0f);
    Tile tile;
    CreateTile(tile, size);
    const TileGrid grid(bHexagonal, size, w, h);
    const size_t cells = size_t(grid.nCols) * grid.nRows;
    oProcess.SetProgress(0.0);

    // Each tile's colour is the mean of the pixels of its cell. Bands count into sums of their own,
    // added up under a lock: integer sums don't depend on the order.
    std::vector<uint64_t> sums(cells * 4, 0);
    std::mutex lock;
    std::atomic<int> done{0};
    LImgProBandRunner runner(h, 16);
    if (runner.Run(oProcess,
                   [&](const LImgProBand& band, LImgProBandRunner& run)
                   {
                       std::vector<uint64_t> local(cells * 4, 0);
                       for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                       {
                           if (run.IsToStop(band))
                               return false;
                           const F* row = reinterpret_cast<const F*>(oImage.GetRow(y));
                           const TileGrid::Row cells = grid.GetRow(y);
                           for (int x = 0; x < w; ++x)
                           {
                               int cx = 0, cy = 0;
                               uint64_t* s = &local[size_t(grid.Cell(x, y, cells, cx, cy)) * 4];
                               const LPixelColour c = LImgProReadWide(row[x]);
                               s[0] += c.b;
                               s[1] += c.g;
                               s[2] += c.r;
                               ++s[3];
                           }
                           run.SetProgress(band, 0.5 * ++done / h);
                       }
                       std::lock_guard<std::mutex> guard(lock);
                       for (size_t i = 0; i < local.size(); ++i)
                           sums[i] += local[i];
                       return true;
                   }))
        return LProcessResultCancelled;
    std::vector<LPixelColour> colours(cells);
    for (size_t i = 0; i < cells; ++i)
    {
        const uint64_t n = std::max<uint64_t>(sums[i * 4 + 3], 1);
        colours[i] = LPixelColour(uint8_t(sums[i * 4] / n), uint8_t(sums[i * 4 + 1] / n),
                                  uint8_t(sums[i * 4 + 2] / n), 255);
    }

    const int r = tile.iRadius, side = 2 * r + 1;
    return LImgProForEachRow(
        oProcess, h,
        [&](int y)
        {
            F* row = reinterpret_cast<F*>(oImage.GetRow(y));
            const TileGrid::Row cells = grid.GetRow(y);
            for (int x = 0; x < w; ++x)
            {
                int cx = 0, cy = 0;
                const LPixelColour& t = colours[size_t(grid.Cell(x, y, cells, cx, cy))];
                const size_t m =
                    size_t(std::clamp(y - cy + r, 0, side - 1)) * side + std::clamp(x - cx + r, 0, side - 1);
                const int cover = tile.arCoverage[m], shade = tile.arShade[m];
                const LPixelColour in = LImgProReadWide(row[x]);
                // Lit tile over a joint of the tile's colour at three eighths.
                auto mix = [&](int c)
                {
                    const int lit = std::clamp(c + shade, 0, 255), joint = c * 3 / 8;
                    return uint8_t((lit * cover + joint * (255 - cover) + 127) / 255);
                };
                LImgProWriteWide(row[x], LPixelColour(mix(t.b), mix(t.g), mix(t.r), in.a));
            }
        },
        LImgProStopBeforeRow, 16, 0.5, 0.5);
}

LProcessResult LImgProTiles::DrawTiles(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    if (!oImage.IsValid())
        return LProcessResultFailed;
    switch (oImage.GetPixelFormat())
    {
    case B8G8R8A8:
        return Draw<LPFB8G8R8A8>(oProcess, oImage);
    case B8G8R8:
        return Draw<LPFB8G8R8>(oProcess, oImage);
    case B5G6R5:
        return Draw<LPFB5G6R5>(oProcess, oImage);
    case B5G5R5A1:
        return Draw<LPFB5G5R5A1>(oProcess, oImage);
    case B5G5R5X1:
        return Draw<LPFB5G5R5X1>(oProcess, oImage);
    default:
        return LProcessResultFailed;
    }
}
