// The PNG writer. Rows are filtered and deflated on the band pool, each band as a raw deflate
// stream of its own that ends on a byte boundary (a sync flush) without the final bit, so the
// streams joined in order are one valid zlib stream; the checksum is joined the same way. Since
// no band refers back into another, the result doesn't depend on the number of bands, except for
// the few bytes of the flush markers.

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include <zlib.h>

#include "codecs/LCodecIO.h"
#include "codecs/LCodecPNG.h"
#include "image/LImgProBands.h"

namespace
{
constexpr uint8_t kSignature[8] = {137, 80, 78, 71, 13, 10, 26, 10};
// Compressed output is kept in blocks of this size, each written as one IDAT chunk or less.
constexpr size_t kBlock = 1 << 20;
// A band below this many raw bytes isn't worth a thread of its own.
constexpr size_t kMinBandBytes = 256 << 10;

enum FilterMode
{
    FilterNone,     // for stored output, where filtering gains nothing
    FilterAdaptive, // the best of the five per row by the sum of absolute signed bytes
};

void PutBE32(uint8_t* p, uint32_t v)
{
    p[0] = uint8_t(v >> 24);
    p[1] = uint8_t(v >> 16);
    p[2] = uint8_t(v >> 8);
    p[3] = uint8_t(v);
}

struct Piece
{
    const uint8_t* lpData;
    size_t nSize;
};

// One chunk made of several pieces, so that the compressed blocks are written where they lie.
bool WriteChunk(LCodecWriter& out, const char* type, const Piece* pieces, size_t count)
{
    size_t total = 0;
    for (size_t i = 0; i < count; ++i)
        total += pieces[i].nSize;
    if (total > 0x7FFFFFFFu)
        return false;
    uint8_t head[8];
    PutBE32(head, uint32_t(total));
    memcpy(head + 4, type, 4);
    uLong crc = crc32(0, head + 4, 4);
    for (size_t i = 0; i < count; ++i)
        if (pieces[i].nSize > 0) // a null buffer would restart the sum
            crc = crc32(crc, pieces[i].lpData, uInt(pieces[i].nSize));
    uint8_t tail[4];
    PutBE32(tail, uint32_t(crc));
    if (!out.Write(head, 8))
        return false;
    for (size_t i = 0; i < count; ++i)
        if (!out.Write(pieces[i].lpData, pieces[i].nSize))
            return false;
    return out.Write(tail, 4);
}

bool WriteChunk(LCodecWriter& out, const char* type, const void* data, size_t size)
{
    const Piece piece{static_cast<const uint8_t*>(data), size};
    return WriteChunk(out, type, &piece, 1);
}

// Blue, green, red(, alpha) in; red, green, blue(, alpha) out.
void PackRow(const uint8_t* in, int inBpp, uint8_t* out, int outBpp, int width)
{
    if (outBpp == 4)
        for (int x = 0; x < width; ++x, in += 4, out += 4)
        {
            out[0] = in[2];
            out[1] = in[1];
            out[2] = in[0];
            out[3] = in[3];
        }
    else
        for (int x = 0; x < width; ++x, in += inBpp, out += 3)
        {
            out[0] = in[2];
            out[1] = in[1];
            out[2] = in[0];
        }
}

inline uint32_t Cost(uint8_t v)
{
    return v < 128 ? v : 256u - v;
}

inline uint8_t Paeth(int a, int b, int c)
{
    const int pa = std::abs(b - c), pb = std::abs(a - c), pc = std::abs(a + b - 2 * c);
    return uint8_t(pa <= pb && pa <= pc ? a : pb <= pc ? b : c);
}

// Filters cur (prev is the row above, zeros for the first) into out[0..4], each a filter type
// byte then n bytes, and returns the chosen one.
const uint8_t* FilterRow(FilterMode mode, const uint8_t* cur, const uint8_t* prev, size_t n, int bpp,
                         uint8_t* const out[5])
{
    uint8_t* z = out[0];
    z[0] = 0;
    memcpy(z + 1, cur, n);
    if (mode == FilterNone)
        return z;

    const size_t b = size_t(bpp);
    uint8_t *s = out[1], *u = out[2], *a = out[3], *p = out[4];
    s[0] = 1;
    u[0] = 2;
    a[0] = 3;
    p[0] = 4;
    for (size_t i = 0; i < b; ++i)
        s[1 + i] = cur[i];
    for (size_t i = b; i < n; ++i)
        s[1 + i] = uint8_t(cur[i] - cur[i - b]);
    uint32_t cz = 0, cs = 0, cu = 0, ca = 0, cp = 0;
    for (size_t i = 0; i < b; ++i)
    {
        u[1 + i] = uint8_t(cur[i] - prev[i]);
        a[1 + i] = uint8_t(cur[i] - (prev[i] >> 1));
        p[1 + i] = uint8_t(cur[i] - prev[i]); // Paeth of (0, up, 0) is up
    }
    for (size_t i = b; i < n; ++i)
    {
        const int left = cur[i - b], up = prev[i], ul = prev[i - b];
        u[1 + i] = uint8_t(cur[i] - up);
        a[1 + i] = uint8_t(cur[i] - ((left + up) >> 1));
        p[1 + i] = uint8_t(cur[i] - Paeth(left, up, ul));
    }
    for (size_t i = 1; i <= n; ++i)
    {
        cz += Cost(z[i]);
        cs += Cost(s[i]);
        cu += Cost(u[i]);
        ca += Cost(a[i]);
        cp += Cost(p[i]);
    }
    const uint8_t* best = z;
    uint32_t c = cz;
    if (cs < c)
        c = cs, best = s;
    if (cu < c)
        c = cu, best = u;
    if (ca < c)
        c = ca, best = a;
    if (cp < c)
        best = p;
    return best;
}

struct BandOutput
{
    std::vector<std::unique_ptr<uint8_t[]>> arBlocks;
    size_t nLastFill = 0; // bytes used in the last block
    uLong iAdler = 1;
    uint64_t nRaw = 0;
    bool bFailed = false;
};

struct EncodeJob
{
    const LImageBuffer* lpImage;
    int iWidth, iHeight;
    int iOutBpp; // 3 or 4
    int iLevel;
    int iStrategy;
    FilterMode filter;
    BandOutput* arBands;
};

class BandDeflater
{
public:
    explicit BandDeflater(BandOutput& out) : o(out) {}
    ~BandDeflater()
    {
        if (bInit)
            deflateEnd(&zs);
    }
    bool Init(int level, int strategy)
    {
        bInit = deflateInit2(&zs, level, Z_DEFLATED, -15, 8, strategy) == Z_OK;
        return bInit;
    }
    // flush is Z_NO_FLUSH, Z_SYNC_FLUSH (end of a middle band) or Z_FINISH (end of the last).
    bool Feed(const uint8_t* data, size_t size, int flush)
    {
        zs.next_in = const_cast<Bytef*>(data);
        zs.avail_in = uInt(size);
        for (;;)
        {
            if (o.arBlocks.empty() || o.nLastFill == kBlock)
            {
                std::unique_ptr<uint8_t[]> block(new (std::nothrow) uint8_t[kBlock]);
                if (!block)
                    return false;
                o.arBlocks.push_back(std::move(block));
                o.nLastFill = 0;
            }
            zs.next_out = o.arBlocks.back().get() + o.nLastFill;
            zs.avail_out = uInt(kBlock - o.nLastFill);
            const int r = deflate(&zs, flush);
            o.nLastFill = kBlock - zs.avail_out;
            if (r == Z_STREAM_ERROR)
                return false;
            if (flush == Z_FINISH ? r == Z_STREAM_END : zs.avail_in == 0 && zs.avail_out > 0)
                return true;
        }
    }

private:
    BandOutput& o;
    z_stream zs{};
    bool bInit = false;
};

bool EncodeBand(const EncodeJob& job, const LImgProBand& band, LImgProBandRunner& runner, int bandIndex)
{
    BandOutput& out = job.arBands[bandIndex];
    const LImageBuffer& image = *job.lpImage;
    const int w = job.iWidth;
    const size_t n = size_t(w) * size_t(job.iOutBpp);
    const pixelformat_t pf = image.GetPixelFormat();
    const bool direct = pf == B8G8R8A8 || pf == B8G8R8;
    const int inBpp = pf == B8G8R8 ? 3 : 4;
    // Two packed rows, five filtered candidates, and a BGRA row for formats read by conversion.
    const size_t filtered = n + 1;
    // The BGRA row starts on a 4-byte boundary: it is written as whole pixels.
    const size_t convertedAt = (2 * n + 5 * filtered + 3) & ~size_t(3);
    std::unique_ptr<uint8_t[]> mem(new (std::nothrow) uint8_t[convertedAt + (direct ? 0 : 4 * size_t(w))]);
    if (!mem)
    {
        out.bFailed = true;
        return false;
    }
    uint8_t* prev = mem.get();
    uint8_t* cur = prev + n;
    uint8_t* const cand[5] = {cur + n, cur + n + filtered, cur + n + 2 * filtered, cur + n + 3 * filtered,
                              cur + n + 4 * filtered};
    uint32_t* converted = direct ? nullptr : reinterpret_cast<uint32_t*>(mem.get() + convertedAt);
    auto pack = [&](int y, uint8_t* dst)
    {
        if (direct)
            PackRow(image.GetRow(y), inBpp, dst, job.iOutBpp, w);
        else
        {
            LCodecReadRowBGRA(image, y, converted);
            PackRow(reinterpret_cast<const uint8_t*>(converted), 4, dst, job.iOutBpp, w);
        }
    };
    if (band.iFirst > 0)
        pack(band.iFirst - 1, prev);
    else
        memset(prev, 0, n);

    BandDeflater deflater(out);
    if (!deflater.Init(job.iLevel, job.iStrategy))
    {
        out.bFailed = true;
        return false;
    }
    const int end = band.iFirst + band.iCount;
    const bool lastBand = end == job.iHeight;
    double nextReport = 0.01;
    for (int y = band.iFirst; y < end; ++y)
    {
        pack(y, cur);
        const uint8_t* row = FilterRow(job.filter, cur, prev, n, job.iOutBpp, cand);
        out.iAdler = adler32(out.iAdler, row, uInt(filtered));
        out.nRaw += filtered;
        const int flush = y + 1 < end ? Z_NO_FLUSH : lastBand ? Z_FINISH : Z_SYNC_FLUSH;
        if (!deflater.Feed(row, filtered, flush))
        {
            out.bFailed = true;
            return false;
        }
        std::swap(prev, cur);
        if (runner.IsToStop(band))
            return false;
        const double done = double(y + 1 - band.iFirst) / band.iCount;
        if (done >= nextReport)
        {
            runner.SetProgress(band, done);
            nextReport = done + 0.01;
        }
    }
    return true;
}

bool WriteMetadataChunks(LCodecWriter& output, const LImageMetadata& m)
{
    if (!m.arIcc.empty())
    {
        static const char name[] = "ICC Profile";
        uLongf size = compressBound(uLong(m.arIcc.size()));
        std::vector<uint8_t> chunk(sizeof(name) + 1 + size);
        memcpy(chunk.data(), name, sizeof(name)); // the terminator included
        chunk[sizeof(name)] = 0;                  // deflate
        if (compress2(chunk.data() + sizeof(name) + 1, &size, m.arIcc.data(), uLong(m.arIcc.size()), 9) !=
            Z_OK)
            return false;
        chunk.resize(sizeof(name) + 1 + size);
        if (!WriteChunk(output, "iCCP", chunk.data(), chunk.size()))
            return false;
    }
    if (!m.arExif.empty() && !WriteChunk(output, "eXIf", m.arExif.data(), m.arExif.size()))
        return false;
    if (!m.arXmp.empty())
    {
        // Keyword, no compression (flag and method), empty language and translated keyword: the
        // literal's own terminator ends the last.
        static const char head[] = "XML:com.adobe.xmp\0\0\0\0";
        const Piece pieces[2] = {{reinterpret_cast<const uint8_t*>(head), sizeof(head)},
                                 {m.arXmp.data(), m.arXmp.size()}};
        if (!WriteChunk(output, "iTXt", pieces, 2))
            return false;
    }
    return true;
}
} // namespace

LProcessResult LCodecPNGEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                               int compressionLevel, const LImageMetadata* metadata)
{
    process.SetStatus("Encoding PNG image", 0);
    const int w = image.GetWidth(), h = image.GetHeight();
    if (!image.IsValid() || w <= 0 || h <= 0)
        return LProcessResultFailed;

    // Alpha is written only when some pixel is not opaque.
    bool alpha = false;
    const pixelformat_t pf = image.GetPixelFormat();
    if (pf == B8G8R8A8)
    {
        for (int y = 0; y < h && !alpha; ++y)
        {
            const uint8_t* row = image.GetRow(y);
            for (int x = 0; x < w; ++x)
                if (row[4 * x + 3] != 0xFF)
                {
                    alpha = true;
                    break;
                }
        }
    }
    else if (pf != B8G8R8)
    {
        std::unique_ptr<uint32_t[]> row(new (std::nothrow) uint32_t[size_t(w)]);
        if (!row)
            return LProcessResultFailed;
        for (int y = 0; y < h && !alpha; ++y)
        {
            LCodecReadRowBGRA(image, y, row.get());
            for (int x = 0; x < w && !alpha; ++x)
                alpha = (row[size_t(x)] >> 24) != 0xFF;
        }
    }

    EncodeJob job;
    job.lpImage = &image;
    job.iWidth = w;
    job.iHeight = h;
    job.iOutBpp = alpha ? 4 : 3;
    // With the five filters a light deflate already makes smaller files than zlib's default over
    // unfiltered rows, in a fraction of the time; the heavier levels are there for who asks.
    const int level = compressionLevel < 0 || compressionLevel > 9 ? 2 : compressionLevel;
    job.iLevel = level;
    job.filter = level == 0 ? FilterNone : FilterAdaptive;
    job.iStrategy = level >= 4 ? Z_FILTERED : Z_DEFAULT_STRATEGY;

    const size_t rowBytes = size_t(w) * size_t(job.iOutBpp) + 1;
    const int minRows = int(std::clamp<size_t>(kMinBandBytes / rowBytes, 1, size_t(h)));
    LImgProBandRunner runner(h, minRows);
    BandOutput bands[LImgProBandRunner::kMaxBands];
    job.arBands = bands;
    std::atomic<bool> failed{false};
    const int stopped = runner.Run(process,
                                   [&](const LImgProBand& band, LImgProBandRunner& r) -> bool
                                   {
                                       // Bands are equal slices of the rows but the last, which
                                       // takes the remainder.
                                       const int index = std::min(band.iFirst / (h / r.iBands), r.iBands - 1);
                                       if (EncodeBand(job, band, r, index))
                                           return true;
                                       if (job.arBands[index].bFailed)
                                           failed = true;
                                       return false;
                                   });
    if (failed)
        return LProcessResultFailed;
    if (stopped)
        return LProcessResultCancelled;

    uint8_t ihdr[13];
    PutBE32(ihdr, uint32_t(w));
    PutBE32(ihdr + 4, uint32_t(h));
    ihdr[8] = 8;
    ihdr[9] = alpha ? 6 : 2;
    ihdr[10] = ihdr[11] = ihdr[12] = 0;
    if (!output.Write(kSignature, 8) || !WriteChunk(output, "IHDR", ihdr, 13))
        return LProcessResultFailed;
    if (image.imf.HorizontalResolution && image.imf.VerticalResolution)
    {
        uint8_t phys[9];
        PutBE32(phys, image.imf.HorizontalResolution);
        PutBE32(phys + 4, image.imf.VerticalResolution);
        phys[8] = 1; // per metre
        if (!WriteChunk(output, "pHYs", phys, 9))
            return LProcessResultFailed;
    }
    if (metadata && !WriteMetadataChunks(output, *metadata))
        return LProcessResultFailed;

    // The zlib header's check bits make it a multiple of 31; the level bits are only a hint.
    const uint8_t zheader[2] = {0x78, uint8_t(level <= 1   ? 0x01
                                              : level <= 5 ? 0x5E
                                              : level == 6 ? 0x9C
                                                           : 0xDA)};
    uLong adler = bands[0].iAdler;
    for (int i = 1; i < runner.iBands; ++i)
        adler = adler32_combine(adler, bands[i].iAdler, z_off_t(bands[i].nRaw));
    uint8_t ztrailer[4];
    PutBE32(ztrailer, uint32_t(adler));

    std::vector<Piece> pieces;
    pieces.push_back({zheader, 2});
    for (int i = 0; i < runner.iBands; ++i)
    {
        const BandOutput& b = bands[i];
        for (size_t k = 0; k < b.arBlocks.size(); ++k)
            pieces.push_back({b.arBlocks[k].get(), k + 1 < b.arBlocks.size() ? kBlock : b.nLastFill});
    }
    pieces.push_back({ztrailer, 4});
    // Small pieces (band ends, header, trailer) join their neighbours in one chunk.
    for (size_t i = 0; i < pieces.size();)
    {
        size_t j = i, size = 0;
        while (j < pieces.size() && (j == i || size + pieces[j].nSize <= kBlock + 8))
            size += pieces[j++].nSize;
        if (!WriteChunk(output, "IDAT", pieces.data() + i, j - i))
            return LProcessResultFailed;
        i = j;
    }
    if (!WriteChunk(output, "IEND", static_cast<const void*>(nullptr), 0))
        return LProcessResultFailed;
    return LProcessResultSuccess;
}
