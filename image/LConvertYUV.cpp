// YUV conversions of video capture, with BT.601 coefficients. Video range puts luma in 16..235
// and chroma in 16..240; full range uses 0..255 for both.

#include "image/LConvertPixelFormat.h"

#include <algorithm>
#include <cstring>

namespace
{
constexpr double kKr = 0.299, kKb = 0.114, kKg = 1.0 - kKr - kKb;

constexpr int RoundToInt(double x)
{
    return int(x >= 0 ? x + 0.5 : x - 0.5);
}
inline uint8_t Clamp8(int v)
{
    return uint8_t(v < 0 ? 0 : v > 255 ? 255 : v);
}

bool SameGeometry(const LImageBuffer& destination, const LImageBuffer& source)
{
    return destination.IsValid() && source.IsValid() && destination.imf.iWidth == source.imf.iWidth &&
           destination.imf.iHeight == source.imf.iHeight;
}

// The three planes of a planar buffer, addressed by rows from the top of the image.
struct Planes
{
    uint8_t* y;
    uint8_t* u;
    uint8_t* v;
    size_t yRow, uRow, vRow;
    int height, planeHeight;
    bool upsideDown;

    explicit Planes(const LImageBuffer& b)
        : y(b.GetData()), u(b.GetFirstScanLineU()), v(b.GetFirstScanLineV()), yRow(b.imf.nWidthBytes),
          uRow(b.imf.nWidthBytesPlanarU), vRow(b.imf.nWidthBytesPlanarV), height(b.imf.iHeight),
          planeHeight((b.imf.iHeight + 1) >> 1), upsideDown(b.imf.bUpsideDown != 0)
    {
    }
    uint8_t* Y(int r) const { return y + size_t(upsideDown ? height - 1 - r : r) * yRow; }
    uint8_t* U(int r) const { return u + size_t(upsideDown ? planeHeight - 1 - r : r) * uRow; }
    uint8_t* V(int r) const { return v + size_t(upsideDown ? planeHeight - 1 - r : r) * vRow; }
};

// ---------------------------------------------------------------------------------------------
// YUV to RGB: each channel is a lookup in a clamping table at (luma term + chroma term) >> 10.

constexpr int kClampOffset = 512;

struct YUVToRGBTables
{
    int32_t luma[256];
    int32_t rFromV[256], gFromU[256], gFromV[256], bFromU[256];
    uint8_t clamp[1536];

    explicit YUVToRGBTables(bool videoRange)
    {
        const double lumaScale = videoRange ? 255.0 / 219.0 : 1.0;
        const double chromaScale = videoRange ? 255.0 / 224.0 : 1.0;
        const int lumaBase = videoRange ? 16 : 0;
        for (int i = 0; i < 256; ++i)
        {
            // Half a step is folded into the luma term, so that the shift rounds.
            luma[i] = RoundToInt((i - lumaBase) * lumaScale * 1024.0) + 512;
            const double c = (i - 128) * chromaScale * 1024.0;
            rFromV[i] = RoundToInt(c * 2.0 * (1.0 - kKr));
            bFromU[i] = RoundToInt(c * 2.0 * (1.0 - kKb));
            gFromU[i] = RoundToInt(-c * 2.0 * (1.0 - kKb) * kKb / kKg);
            gFromV[i] = RoundToInt(-c * 2.0 * (1.0 - kKr) * kKr / kKg);
        }
        for (int i = 0; i < 1536; ++i)
            clamp[i] = Clamp8(i - kClampOffset);
    }
    LPixelColour Pixel(int yv, int r, int g, int b) const
    {
        const int l = luma[yv];
        return LPixelColour(clamp[((l + b) >> 10) + kClampOffset], clamp[((l + g) >> 10) + kClampOffset],
                            clamp[((l + r) >> 10) + kClampOffset], 255);
    }
};

const YUVToRGBTables& Tables(bool videoRange)
{
    static const YUVToRGBTables video(true), full(false);
    return videoRange ? video : full;
}

template <class D>
void PlanarToRGB(LImageBuffer& destination, const LImageBuffer& source, const YUVToRGBTables& t)
{
    const Planes p(source);
    const int width = source.imf.iWidth;
    for (int row = 0; row < source.imf.iHeight; ++row)
    {
        const uint8_t* ys = p.Y(row);
        const uint8_t* us = p.U(row >> 1);
        const uint8_t* vs = p.V(row >> 1);
        D* d = reinterpret_cast<D*>(destination.GetRow(row));
        for (int x = 0; x < width; x += 2)
        {
            const int u = us[x >> 1], v = vs[x >> 1];
            const int r = t.rFromV[v], g = t.gFromU[u] + t.gFromV[v], b = t.bFromU[u];
            d[x].Set(t.Pixel(ys[x], r, g, b));
            if (x + 1 < width)
                d[x + 1].Set(t.Pixel(ys[x + 1], r, g, b));
        }
    }
}

template <class D>
void PackedToRGB(LImageBuffer& destination, const LImageBuffer& source, const YUVToRGBTables& t)
{
    const int width = source.imf.iWidth;
    for (int row = 0; row < source.imf.iHeight; ++row)
    {
        // Odd widths still have a whole last group: rows are padded to 4 bytes.
        const uint8_t* s = source.GetRow(row);
        D* d = reinterpret_cast<D*>(destination.GetRow(row));
        for (int x = 0; x < width; x += 2, s += 4)
        {
            const int u = s[1], v = s[3];
            const int r = t.rFromV[v], g = t.gFromU[u] + t.gFromV[v], b = t.bFromU[u];
            d[x].Set(t.Pixel(s[0], r, g, b));
            if (x + 1 < width)
                d[x + 1].Set(t.Pixel(s[2], r, g, b));
        }
    }
}

template <class D>
void YUVToRGB(LImageBuffer& destination, const LImageBuffer& source, const YUVToRGBTables& t)
{
    if (source.imf.pf == YUYV422)
        PackedToRGB<D>(destination, source, t);
    else
        PlanarToRGB<D>(destination, source, t);
}

void YUVToRGBAny(LImageBuffer& destination, const LImageBuffer& source, bool videoRange)
{
    if (!SameGeometry(destination, source))
        return;
    const pixelformat_t from = source.imf.pf;
    if (from != YUYV422 && from != YUV420P && from != YUVJ420P)
        return;
    const YUVToRGBTables& t = Tables(videoRange);
    switch (destination.imf.pf)
    {
    case B8G8R8A8:
        return YUVToRGB<LPFB8G8R8A8>(destination, source, t);
    case B8G8R8:
        return YUVToRGB<LPFB8G8R8>(destination, source, t);
    case B5G6R5:
        return YUVToRGB<LPFB5G6R5>(destination, source, t);
    case B5G5R5A1:
        return YUVToRGB<LPFB5G5R5A1>(destination, source, t);
    case B5G5R5X1:
        return YUVToRGB<LPFB5G5R5X1>(destination, source, t);
    default:
        return;
    }
}

// ---------------------------------------------------------------------------------------------
// RGB to YUV in 16-bit fixed point.

struct RGBToYUVCoefficients
{
    int yr, yg, yb, yBase;
    int ur, ug, ub;
    int vr, vg, vb;
};

constexpr RGBToYUVCoefficients MakeCoefficients(bool videoRange)
{
    const double ls = videoRange ? 219.0 / 255.0 : 1.0;
    const double cs = videoRange ? 224.0 / 255.0 : 1.0;
    const double f = 65536.0;
    const double ku = cs / (2.0 * (1.0 - kKb)), kv = cs / (2.0 * (1.0 - kKr));
    return RGBToYUVCoefficients{RoundToInt(kKr * ls * f),         RoundToInt(kKg * ls * f),
                                RoundToInt(kKb * ls * f),         videoRange ? 16 : 0,
                                RoundToInt(-kKr * ku * f),        RoundToInt(-kKg * ku * f),
                                RoundToInt((1.0 - kKb) * ku * f), RoundToInt((1.0 - kKr) * kv * f),
                                RoundToInt(-kKg * kv * f),        RoundToInt(-kKb * kv * f)};
}
constexpr RGBToYUVCoefficients kVideo = MakeCoefficients(true);
constexpr RGBToYUVCoefficients kFull = MakeCoefficients(false);

inline uint8_t Luma(const RGBToYUVCoefficients& c, const uint8_t* bgra)
{
    return Clamp8(((c.yr * bgra[2] + c.yg * bgra[1] + c.yb * bgra[0] + 32768) >> 16) + c.yBase);
}

// Chroma of the mean of n pixels (n = 1 << log2n) given channel sums.
inline void Chroma(const RGBToYUVCoefficients& c, int r, int g, int b, int log2n, uint8_t& u, uint8_t& v)
{
    const int shift = 16 + log2n;
    const int half = 1 << (shift - 1);
    u = Clamp8(((c.ur * r + c.ug * g + c.ub * b + half) >> shift) + 128);
    v = Clamp8(((c.vr * r + c.vg * g + c.vb * b + half) >> shift) + 128);
}

void RGBToPlanar(LImageBuffer& destination, const LImageBuffer& source, const RGBToYUVCoefficients& c)
{
    const Planes p(destination);
    const int width = source.imf.iWidth, height = source.imf.iHeight;
    for (int row = 0; row < height; row += 2)
    {
        const bool pair = row + 1 < height;
        const uint8_t* s0 = source.GetRow(row);
        const uint8_t* s1 = pair ? source.GetRow(row + 1) : s0;
        uint8_t* y0 = p.Y(row);
        uint8_t* y1 = pair ? p.Y(row + 1) : nullptr;
        uint8_t* u = p.U(row >> 1);
        uint8_t* v = p.V(row >> 1);
        for (int x = 0; x < width; x += 2)
        {
            const bool across = x + 1 < width;
            const uint8_t* a = s0 + size_t(x) * 4;
            const uint8_t* b = s1 + size_t(x) * 4;
            int sr = a[2], sg = a[1], sb = a[0];
            y0[x] = Luma(c, a);
            if (across)
            {
                y0[x + 1] = Luma(c, a + 4);
                sr += a[6], sg += a[5], sb += a[4];
            }
            if (pair)
            {
                y1[x] = Luma(c, b);
                sr += b[2], sg += b[1], sb += b[0];
                if (across)
                {
                    y1[x + 1] = Luma(c, b + 4);
                    sr += b[6], sg += b[5], sb += b[4];
                }
            }
            // With a lone row or column, repeat its pixels so the mean stays a power-of-two sum.
            int log2n = 2;
            if (!pair && !across)
                log2n = 0;
            else if (!pair || !across)
                log2n = 1;
            Chroma(c, sr, sg, sb, log2n, u[x >> 1], v[x >> 1]);
        }
    }
}

void RGBToPacked(LImageBuffer& destination, const LImageBuffer& source, const RGBToYUVCoefficients& c)
{
    const int width = source.imf.iWidth;
    for (int row = 0; row < source.imf.iHeight; ++row)
    {
        const uint8_t* s = source.GetRow(row);
        uint8_t* d = destination.GetRow(row);
        for (int x = 0; x < width; x += 2, s += 8, d += 4)
        {
            int sr = s[2], sg = s[1], sb = s[0];
            d[0] = Luma(c, s);
            int log2n = 0;
            if (x + 1 < width)
            {
                d[2] = Luma(c, s + 4);
                sr += s[6], sg += s[5], sb += s[4];
                log2n = 1;
            }
            else
                d[2] = d[0];
            Chroma(c, sr, sg, sb, log2n, d[1], d[3]);
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Range rescaling

struct RangeTables
{
    uint8_t lumaToVideo[256], chromaToVideo[256], lumaToFull[256], chromaToFull[256];
    RangeTables()
    {
        for (int i = 0; i < 256; ++i)
        {
            lumaToVideo[i] = Clamp8(RoundToInt(16.0 + i * 219.0 / 255.0));
            chromaToVideo[i] = Clamp8(RoundToInt(128.0 + (i - 128) * 224.0 / 255.0));
            lumaToFull[i] = Clamp8(RoundToInt((i - 16) * 255.0 / 219.0));
            chromaToFull[i] = Clamp8(RoundToInt(128.0 + (i - 128) * 255.0 / 224.0));
        }
    }
};

const RangeTables& Ranges()
{
    static const RangeTables tables;
    return tables;
}

void MapPlane(uint8_t* (Planes::*row)(int) const, const Planes& d, const Planes& s, int rows, int bytes,
              const uint8_t* table)
{
    for (int r = 0; r < rows; ++r)
    {
        const uint8_t* in = (s.*row)(r);
        uint8_t* out = (d.*row)(r);
        for (int x = 0; x < bytes; ++x)
            out[x] = table[in[x]];
    }
}

void Rescale(LImageBuffer& destination, const LImageBuffer& source, const uint8_t* luma,
             const uint8_t* chroma)
{
    const Planes d(destination), s(source);
    const int width = source.imf.iWidth, planeWidth = (width + 1) >> 1;
    MapPlane(&Planes::Y, d, s, source.imf.iHeight, width, luma);
    MapPlane(&Planes::U, d, s, s.planeHeight, planeWidth, chroma);
    MapPlane(&Planes::V, d, s, s.planeHeight, planeWidth, chroma);
}
} // namespace

void LConvertYUVBase(LImageBuffer& destination, const LImageBuffer& source)
{
    YUVToRGBAny(destination, source, false);
}

void LConvertYUVBaseCCIR(LImageBuffer& destination, const LImageBuffer& source)
{
    YUVToRGBAny(destination, source, true);
}

void LConvertRGBToYUV420PBase(LImageBuffer& destination, const LImageBuffer& source)
{
    if (!SameGeometry(destination, source) || source.imf.pf != B8G8R8A8)
        return;
    if (destination.imf.pf == YUV420P)
        RGBToPlanar(destination, source, kVideo);
    else if (destination.imf.pf == YUYV422)
        RGBToPacked(destination, source, kVideo);
}

void LConvertRGBToYUVJ420PBase(LImageBuffer& destination, const LImageBuffer& source)
{
    if (!SameGeometry(destination, source) || source.imf.pf != B8G8R8A8 || destination.imf.pf != YUVJ420P)
        return;
    RGBToPlanar(destination, source, kFull);
}

void LConvertYUVJ420PToYUV420P(LImageBuffer& destination, const LImageBuffer& source)
{
    if (!SameGeometry(destination, source) || source.imf.pf != YUVJ420P || destination.imf.pf != YUV420P)
        return;
    Rescale(destination, source, Ranges().lumaToVideo, Ranges().chromaToVideo);
}

void LConvertYUV420PToYUVJ420P(LImageBuffer& destination, const LImageBuffer& source)
{
    if (!SameGeometry(destination, source) || source.imf.pf != YUV420P || destination.imf.pf != YUVJ420P)
        return;
    Rescale(destination, source, Ranges().lumaToFull, Ranges().chromaToFull);
}

void LConvertYUYV422ToYUV420P(LImageBuffer& destination, const LImageBuffer& source)
{
    if (!SameGeometry(destination, source) || source.imf.pf != YUYV422 || destination.imf.pf != YUV420P)
        return;
    const Planes d(destination);
    const int width = source.imf.iWidth, height = source.imf.iHeight;
    for (int row = 0; row < height; row += 2)
    {
        const uint8_t* s0 = source.GetRow(row);
        const uint8_t* s1 = row + 1 < height ? source.GetRow(row + 1) : s0;
        uint8_t* y0 = d.Y(row);
        uint8_t* y1 = row + 1 < height ? d.Y(row + 1) : nullptr;
        uint8_t* u = d.U(row >> 1);
        uint8_t* v = d.V(row >> 1);
        for (int x = 0; x < width; x += 2)
        {
            const uint8_t* a = s0 + size_t(x) * 2;
            const uint8_t* b = s1 + size_t(x) * 2;
            y0[x] = a[0];
            if (x + 1 < width)
                y0[x + 1] = a[2];
            if (y1)
            {
                y1[x] = b[0];
                if (x + 1 < width)
                    y1[x + 1] = b[2];
            }
            u[x >> 1] = uint8_t((a[1] + b[1] + 1) >> 1);
            v[x >> 1] = uint8_t((a[3] + b[3] + 1) >> 1);
        }
    }
}

void LConvertYUV420PToYUYV422(LImageBuffer& destination, const LImageBuffer& source)
{
    if (!SameGeometry(destination, source) || source.imf.pf != YUV420P || destination.imf.pf != YUYV422)
        return;
    const Planes s(source);
    const int width = source.imf.iWidth;
    for (int row = 0; row < source.imf.iHeight; ++row)
    {
        const uint8_t* ys = s.Y(row);
        const uint8_t* us = s.U(row >> 1);
        const uint8_t* vs = s.V(row >> 1);
        uint8_t* d = destination.GetRow(row);
        for (int x = 0; x < width; x += 2, d += 4)
        {
            d[0] = ys[x];
            d[1] = us[x >> 1];
            d[2] = x + 1 < width ? ys[x + 1] : ys[x];
            d[3] = vs[x >> 1];
        }
    }
}
