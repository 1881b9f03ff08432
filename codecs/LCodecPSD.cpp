#include "codecs/LCodecPSD.h"

#include <algorithm>

#include "codecs/LCodecIO.h"

void LCODEC_PSD_Header::Parse(const uint8_t* p)
{
    memcpy(arSignature, p, 4);
    iVersion = uint16_t(p[4] << 8 | p[5]);
    memcpy(arReserved, p + 6, 6);
    iChannels = uint16_t(p[12] << 8 | p[13]);
    iRows = uint32_t(p[14]) << 24 | uint32_t(p[15]) << 16 | uint32_t(p[16]) << 8 | p[17];
    iColumns = uint32_t(p[18]) << 24 | uint32_t(p[19]) << 16 | uint32_t(p[20]) << 8 | p[21];
    iDepth = uint16_t(p[22] << 8 | p[23]);
    iColourMode = uint16_t(p[24] << 8 | p[25]);
}

void LCODEC_PSD_Header::Format(uint8_t* p) const
{
    memcpy(p, arSignature, 4);
    p[4] = uint8_t(iVersion >> 8), p[5] = uint8_t(iVersion);
    memcpy(p + 6, arReserved, 6);
    p[12] = uint8_t(iChannels >> 8), p[13] = uint8_t(iChannels);
    p[14] = uint8_t(iRows >> 24), p[15] = uint8_t(iRows >> 16), p[16] = uint8_t(iRows >> 8),
    p[17] = uint8_t(iRows);
    p[18] = uint8_t(iColumns >> 24), p[19] = uint8_t(iColumns >> 16), p[20] = uint8_t(iColumns >> 8),
    p[21] = uint8_t(iColumns);
    p[22] = uint8_t(iDepth >> 8), p[23] = uint8_t(iDepth);
    p[24] = uint8_t(iColourMode >> 8), p[25] = uint8_t(iColourMode);
}

// The sample source. For raw data its count starts at the whole number of sample bytes, so it
// hands out bytes without ever looking for a PackBits code. Past the end of the data it gives 0.
template <class Base>
class LPSDDecoder
{
public:
    LPSDDecoder(LCodecByteReader<Base>& in, bool sixteen, int64_t count)
        : lpIn(&in), b16(sixteen), iCount(count)
    {
    }

    // One sample; for 16 bits the high byte, the low one dropped.
    uint8_t operator()()
    {
        const uint8_t v = Get();
        if (b16)
            Get();
        return v;
    }

    // n samples in a row, in blocks where the data allow.
    void GetRow(uint8_t* out, int n)
    {
        if (b16)
        {
            for (int i = 0; i < n; ++i)
                out[i] = (*this)();
            return;
        }
        while (n > 0)
        {
            if (iCount == 0 && !NextCode())
            {
                memset(out, 0, size_t(n));
                return;
            }
            if (iCount < 0)
            {
                const int k = int(std::min<int64_t>(-iCount, n));
                memset(out, iRunValue, size_t(k));
                iCount += k, out += k, n -= k;
            }
            else
            {
                const int k = int(std::min<int64_t>(iCount, n));
                const size_t got = lpIn->ReadUpTo(out, size_t(k));
                if (got < size_t(k))
                {
                    bEnd = true;
                    memset(out + got, 0, size_t(n) - got);
                    return;
                }
                iCount -= k, out += k, n -= k;
            }
        }
    }

private:
    uint8_t Get()
    {
        if (iCount == 0 && !NextCode())
            return 0;
        if (iCount < 0)
        {
            ++iCount;
            return iRunValue;
        }
        uint8_t v;
        if (!lpIn->GetByte(v))
        {
            bEnd = true;
            return 0;
        }
        --iCount;
        return v;
    }
    // Reads codes until one gives samples; false at the end of the data.
    bool NextCode()
    {
        while (iCount == 0 && !bEnd)
        {
            uint8_t byte;
            if (!lpIn->GetByte(byte))
                break;
            const int code = int8_t(byte);
            if (code == -128)
                continue;
            if (code <= 0)
            {
                if (!lpIn->GetByte(iRunValue))
                    break;
                iCount = code - 1;
            }
            else
                iCount = code + 1;
        }
        if (iCount == 0)
            bEnd = true;
        return iCount != 0;
    }

    LCodecByteReader<Base>* lpIn;
    bool b16;
    bool bEnd = false;
    int64_t iCount;
    uint8_t iRunValue = 0;
};

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPSDLoad<Base>& data)
{
    process.SetStatusF(0, "Decoding %s image", "PSD");
    if (!data.lpStream || !data.lpImage || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    uint8_t raw[LCODEC_PSD_Header::kSize];
    if (!data.lpStream->Read(raw, sizeof raw))
        return LProcessResultFailed;
    LCODEC_PSD_Header h;
    h.Parse(raw);
    static const uint8_t zeros[6] = {};
    if (memcmp(h.arSignature, "8BPS", 4) != 0 || h.iVersion != 1 || memcmp(h.arReserved, zeros, 6) != 0)
        return LProcessResultFailed;
    if (h.iChannels < 1 || h.iChannels > 24 || h.iRows < 1 || h.iRows > 30000 || h.iColumns < 1 ||
        h.iColumns > 30000 || (h.iDepth != 1 && h.iDepth != 8 && h.iDepth != 16))
        return LProcessResultFailed;

    LCodecByteReader<Base> in(*data.lpStream);
    uint8_t lengthBytes[4];
    auto readLength = [&in, &lengthBytes](uint32_t& v)
    {
        if (!in.Read(lengthBytes, 4))
            return false;
        v = uint32_t(lengthBytes[0]) << 24 | uint32_t(lengthBytes[1]) << 16 | uint32_t(lengthBytes[2]) << 8 |
            lengthBytes[3];
        return true;
    };
    const int mode = h.iColourMode, depth = h.iDepth, fileChannels = h.iChannels;
    uint32_t length;
    uint8_t palette[768];
    if (!readLength(length))
        return LProcessResultFailed;
    if (mode == 2)
    {
        if (length != 768 || !in.Read(palette, sizeof palette))
            return LProcessResultFailed;
    }
    else if (!in.Skip(length))
        return LProcessResultFailed;

    int channels = 0;
    bool alpha = false;
    const bool depthOK = depth == 8 || depth == 16;
    if (mode == 1 && depthOK)
        channels = fileChannels == 1 ? 1 : 2;
    else if (mode == 2 && depth == 8 && fileChannels == 1)
        channels = 1;
    else if (mode == 3 && depthOK && fileChannels >= 3)
        channels = fileChannels == 3 ? 3 : 4;
    else if (mode == 4 && depthOK && fileChannels >= 4)
        channels = fileChannels == 4 ? 4 : 5;
    else
        return LProcessResultFailed;
    alpha = (mode == 1 && channels == 2) || (mode == 3 && channels == 4) || (mode == 4 && channels == 5);

    // Image resources, then the layer and mask section: neither is read.
    for (int section = 0; section < 2; ++section)
        if (!readLength(length) || !in.Skip(length))
            return LProcessResultFailed;
    uint8_t codeBytes[2];
    if (!in.Read(codeBytes, 2))
        return LProcessResultFailed;
    const int compression = codeBytes[0] << 8 | codeBytes[1];
    const int width = int(h.iColumns), height = int(h.iRows);
    int64_t count;
    if (compression == 0)
        count = (int64_t(channels) * width * height * depth + 7) >> 3;
    else if (compression == 1)
    {
        // The row-length table isn't needed: the codes themselves say how long each run is.
        if (!in.Skip(uint64_t(fileChannels) * uint64_t(height) * 2))
            return LProcessResultFailed;
        count = 0;
    }
    else
        return LProcessResultFailed;

    // Missing pixel data reads as zeros, but a file holding less than the densest packing of
    // its samples (two bytes for 128) is cut too short to be worth the memory.
    const uint64_t sampleBytes =
        uint64_t(channels) * uint64_t(width) * uint64_t(height) * uint64_t(depth / 8);
    if (uint64_t(in.Remaining()) < sampleBytes / 64)
        return LProcessResultFailed;
    LImageBuffer& image = *data.lpImage;
    if (!LCodecCheckPicture(process, uint64_t(width), uint64_t(height), 0, 0) ||
        !LCodecAllocateTarget(image, width, height, alpha))
        return LProcessResultFailed;
    auto samples = LCodecAllocateArray<uint8_t>(size_t(width));
    if (!samples)
        return LProcessResultFailed;

    LPSDDecoder<Base> decoder(in, depth == 16, count);
    const int step = alpha ? 4 : 3;
    const int64_t rowsToRead = int64_t(channels) * height;
    int64_t rowsRead = 0;
    double reported = 0;
    for (int c = 0; c < channels; ++c)
    {
        for (int y = 0; y < height; ++y)
        {
            decoder.GetRow(samples.get(), width);
            const uint8_t* s = samples.get();
            uint8_t* p = image.GetRow(y);
            if (c == 0 && mode == 1)
                for (int x = 0; x < width; ++x, p += step)
                    p[0] = p[1] = p[2] = s[x];
            else if (mode == 2)
                for (int x = 0; x < width; ++x, p += step)
                    p[0] = palette[512 + s[x]], p[1] = palette[256 + s[x]], p[2] = palette[s[x]];
            else if (c == 3 && mode == 4)
            {
                // Black scales the three stored inks, which the file keeps as 255 minus coverage.
                for (int x = 0; x < width; ++x, p += step)
                {
                    const uint32_t k = s[x] * 257u;
                    p[0] = uint8_t((p[0] * k + 255) >> 16);
                    p[1] = uint8_t((p[1] * k + 255) >> 16);
                    p[2] = uint8_t((p[2] * k + 255) >> 16);
                }
            }
            else
            {
                // Red, green, blue (or the inks) by turns, then alpha.
                const int offset = (c == channels - 1 && alpha) ? 3 : 2 - c;
                p += offset;
                for (int x = 0; x < width; ++x, p += step)
                    *p = s[x];
            }
            const double done = double(++rowsRead) / double(rowsToRead);
            if (done - reported >= 0.01)
            {
                reported = done;
                if (process.IsToStop())
                    return LProcessResultCancelled;
                process.SetProgress(done);
            }
        }
    }
    data.iBitDepth = fileChannels * depth;
    return LProcessResultSuccess;
}

template <class Base>
LProcessResult LProcessPSDSave<Base>::CompressChannel(LProcessInterface& process, const uint8_t* source,
                                                      int width, int rows, uint8_t* target,
                                                      uint64_t& resultSize, bool& gaveUp)
{
    if (gaveUp)
        return LProcessResultSuccess;
    if (width <= 4)
    {
        resultSize = 0;
        return LProcessResultSuccess;
    }
    uint8_t* table = target;
    uint8_t* out = target + size_t(rows) * 2;
    int64_t budget = int64_t(width - 2) * rows;
    for (int r = 0; r < rows; ++r)
    {
        const uint8_t* row = source + size_t(r) * size_t(width);
        const uint8_t* rowStart = out;
        int x = 0;
        while (x < width)
        {
            int run = 1;
            while (run < 128 && x + run < width && row[x + run] == row[x])
                ++run;
            if (run >= 2)
            {
                if (budget < 3)
                    return LProcessResultFailed;
                *out++ = uint8_t(1 - run);
                *out++ = row[x];
                budget -= 2;
                x += run;
                continue;
            }
            int length = 0;
            while (x + length < width && length < 128)
            {
                const int q = x + length;
                if (q + 2 < width && row[q] == row[q + 1] && row[q] == row[q + 2])
                    break;
                ++length;
            }
            if (budget <= length)
            {
                gaveUp = true;
                return LProcessResultSuccess;
            }
            *out++ = uint8_t(length - 1);
            memcpy(out, row + x, size_t(length));
            out += length;
            budget -= length + 1;
            x += length;
        }
        const size_t rowLength = size_t(out - rowStart);
        table[2 * r] = uint8_t(rowLength >> 8);
        table[2 * r + 1] = uint8_t(rowLength);
        process.SetProgress(double(r + 1) / rows);
        if (process.IsToStop())
            return LProcessResultCancelled;
    }
    resultSize = uint64_t(width) * uint64_t(rows) - uint64_t(budget);
    return LProcessResultSuccess;
}

namespace
{

// Splits the picture into planes of red, green, blue and alpha. The 24-bit source keeps its
// historical order: the row padding is added before the last pixel of each row is taken.
bool PSDMakePlanes(const LImageBuffer& image, uint8_t* planes, bool alpha)
{
    const int width = image.GetWidth(), height = image.GetHeight();
    const size_t n = size_t(width) * size_t(height);
    uint8_t *r = planes, *g = planes + n, *b = planes + 2 * n, *a = alpha ? planes + 3 * n : nullptr;
    const uint8_t* data = image.GetData();
    switch (image.GetPixelFormat())
    {
    case B8G8R8A8:
        for (size_t i = 0; i < n; ++i, data += 4)
            b[i] = data[0], g[i] = data[1], r[i] = data[2], a[i] = data[3];
        return true;
    case B8G8R8:
    {
        const size_t padding = image.GetWidthBytes() - size_t(width) * 3;
        int column = 0;
        for (size_t i = 0; i < n; ++i, data += 3)
        {
            if (++column == width)
                column = 0, data += padding;
            b[i] = data[0], g[i] = data[1], r[i] = data[2];
        }
        return true;
    }
    case B5G6R5:
    case B5G5R5A1:
    {
        const bool is565 = image.GetPixelFormat() == B5G6R5;
        size_t i = 0;
        for (int y = 0; y < height; ++y)
        {
            const uint8_t* row = image.GetScanLine(y);
            for (int x = 0; x < width; ++x, ++i)
            {
                const unsigned v = unsigned(row[2 * x] | row[2 * x + 1] << 8);
                b[i] = uint8_t((v << 3) | ((v >> 2) & 7));
                if (is565)
                {
                    g[i] = uint8_t((v >> 3) | ((v >> 9) & 3));
                    r[i] = uint8_t((v >> 8) | (v >> 13));
                }
                else
                {
                    g[i] = uint8_t((v >> 2) | ((v >> 7) & 7));
                    r[i] = uint8_t((v >> 7) | ((v >> 12) & 7));
                    a[i] = (v & 0x8000) ? 255 : 0;
                }
            }
        }
        return true;
    }
    default:
        return false;
    }
}

// Writes a block in pieces, moving the progress from start over range.
template <class Base>
void PSDWriteWithProgress(LProcessInterface& process, LCodecByteWriter<Base>& out, const uint8_t* data,
                          uint64_t size, double start, double range)
{
    const uint64_t piece = 1 << 20;
    for (uint64_t done = 0; done < size;)
    {
        const uint64_t n = std::min(piece, size - done);
        out.Write(data + done, size_t(n));
        done += n;
        process.SetProgress(start + range * double(done) / double(size));
    }
}

// The merged picture: all planes as one channel of planes times height rows, PackBits when
// that comes out smaller.
template <class Base>
LProcessResult PSDWriteMerged(LProcessInterface& process, LCodecByteWriter<Base>& out, const uint8_t* planes,
                              int planeCount, int width, int height, uint8_t* target, double start,
                              double range, double writeStart)
{
    uint64_t size = 0;
    bool gaveUp = false;
    LProcessInterfaceSubProcess compressProgress(process, start, range);
    const LProcessResult result = LProcessPSDSave<Base>::CompressChannel(
        compressProgress, planes, width, height * planeCount, target, size, gaveUp);
    if (result != LProcessResultSuccess)
        return result;
    const bool compressed = !gaveUp && size > 0;
    out.PutUInt16BE(compressed ? 1 : 0);
    if (compressed)
        PSDWriteWithProgress(process, out, target, size, writeStart, 1.0 - writeStart);
    else
        PSDWriteWithProgress(process, out, planes, uint64_t(width) * height * planeCount, writeStart,
                             1.0 - writeStart);
    return LProcessResultSuccess;
}

} // namespace

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPSDSave<Base>& data)
{
    process.SetStatusF(0, "Encoding %s image", "PSD");
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid() || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    const LImageBuffer& image = *data.lpImage;
    const pixelformat_t pf = image.GetPixelFormat();
    if (pf != B8G8R8A8 && pf != B8G8R8 && pf != B5G6R5 && pf != B5G5R5A1)
        return LProcessResultFailed;
    const int width = image.GetWidth(), height = image.GetHeight();
    if (width > 30000 || height > 30000)
        return LProcessResultFailed;
    const bool alpha = pf == B8G8R8A8 || pf == B5G5R5A1;
    const int planeCount = alpha ? 4 : 3;
    const uint64_t planeSize = uint64_t(width) * uint64_t(height);
    auto planes = LCodecAllocateArray<uint8_t>(size_t(planeSize * planeCount));
    auto target = LCodecAllocateArray<uint8_t>(size_t(planeSize * planeCount));
    if (!planes || !target || !PSDMakePlanes(image, planes.get(), alpha))
        return LProcessResultFailed;

    LCODEC_PSD_Header h;
    h.iChannels = uint16_t(planeCount);
    h.iRows = uint32_t(height);
    h.iColumns = uint32_t(width);
    uint8_t raw[LCODEC_PSD_Header::kSize];
    h.Format(raw);
    LCodecByteWriter<Base> out(*data.lpStream);
    out.Write(raw, sizeof raw);
    out.PutUInt32BE(0); // no colour mode data
    out.PutUInt32BE(0); // no image resources

    if (!alpha)
    {
        out.PutUInt32BE(0); // no layer section
        const LProcessResult result =
            PSDWriteMerged(process, out, planes.get(), 3, width, height, target.get(), 0.0, 0.5, 0.5);
        if (result != LProcessResultSuccess)
            return result;
        return out.Finish() ? LProcessResultSuccess : LProcessResultFailed;
    }

    // One layer holding the whole picture, each channel packed by itself.
    static const double starts[4] = {0.0, 0.2, 0.3, 0.5};
    uint64_t sizes[4] = {};
    bool gaveUp = false;
    for (int c = 0; c < 4; ++c)
    {
        LProcessInterfaceSubProcess sub(process, starts[c], 0.2);
        const LProcessResult result = LProcessPSDSave<Base>::CompressChannel(
            sub, planes.get() + c * planeSize, width, height, target.get() + c * planeSize, sizes[c], gaveUp);
        if (result != LProcessResultSuccess)
            return result;
    }
    const bool compressed = !gaveUp && sizes[0] > 0;
    uint64_t lengths[4], total = 76;
    for (int c = 0; c < 4; ++c)
        total += lengths[c] = (compressed ? sizes[c] : planeSize) + 2;
    if (total > 0xFFFFFFFFu)
        return LProcessResultFailed;
    out.PutUInt32BE(uint32_t(total));
    out.PutUInt32BE(uint32_t(total - 4));
    out.PutUInt16BE(1);
    out.PutUInt32BE(0);
    out.PutUInt32BE(0);
    out.PutUInt32BE(uint32_t(height));
    out.PutUInt32BE(uint32_t(width));
    out.PutUInt16BE(4);
    static const uint16_t ids[4] = {0, 1, 2, 0xFFFF};
    for (int c = 0; c < 4; ++c)
    {
        out.PutUInt16BE(ids[c]);
        out.PutUInt32BE(uint32_t(lengths[c]));
    }
    out.Write("8BIMnorm", 8);
    const uint8_t blending[4] = {255, 0, 0, 0};
    out.Write(blending, 4);
    out.PutUInt32BE(12);
    const uint8_t extra[12] = {};
    out.Write(extra, 12);
    for (int c = 0; c < 4; ++c)
    {
        out.PutUInt16BE(compressed ? 1 : 0);
        if (compressed)
            out.Write(target.get() + c * planeSize, size_t(sizes[c]));
        else
            out.Write(planes.get() + c * planeSize, size_t(planeSize));
    }

    const LProcessResult result =
        PSDWriteMerged(process, out, planes.get(), 4, width, height, target.get(), 0.7, 0.05, 0.75);
    if (result != LProcessResultSuccess)
        return result;
    return out.Finish() ? LProcessResultSuccess : LProcessResultFailed;
}

template LProcessResult Process(LProcessInterface&, LProcessPSDLoad<LInputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessPSDLoad<LInputStreamBuffer>&);
template struct LProcessPSDSave<LOutputStreamFile>;
template LProcessResult Process(LProcessInterface&, LProcessPSDSave<LOutputStreamFile>&);
template struct LProcessPSDSave<LOutputStreamByteArray>;
template LProcessResult Process(LProcessInterface&, LProcessPSDSave<LOutputStreamByteArray>&);
