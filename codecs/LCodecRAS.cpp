#include "codecs/LCodecRAS.h"

#include <algorithm>
#include <vector>

#include "codecs/LCodecIO.h"

void LCODEC_RAS_Header::Parse(const uint8_t* p)
{
    uint32_t* fields[8] = {&iMagic, &iWidth, &iHeight, &iDepth, &iLength, &iType, &iMapType, &iMapLength};
    for (int i = 0; i < 8; ++i, p += 4)
        *fields[i] = uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

void LCODEC_RAS_Header::Format(uint8_t* p) const
{
    const uint32_t fields[8] = {iMagic, iWidth, iHeight, iDepth, iLength, iType, iMapType, iMapLength};
    for (int i = 0; i < 8; ++i, p += 4)
        p[0] = uint8_t(fields[i] >> 24), p[1] = uint8_t(fields[i] >> 16), p[2] = uint8_t(fields[i] >> 8),
        p[3] = uint8_t(fields[i]);
}

namespace
{

// Rows of the file, plain or run-length; a run that doesn't fit a row carries into the next.
template <class Base>
class RASRowReader
{
public:
    RASRowReader(LCodecByteReader<Base>& in, bool rle) : lpIn(&in), bRLE(rle) {}

    bool Fill(uint8_t* out, size_t count)
    {
        if (!bRLE)
            return lpIn->Read(out, count);
        while (count > 0)
        {
            if (iRunLeft > 0)
            {
                const size_t n = std::min<size_t>(iRunLeft, count);
                memset(out, iRunValue, n);
                out += n, count -= n, iRunLeft -= int(n);
                continue;
            }
            uint8_t c;
            if (!lpIn->GetByte(c))
                return false;
            if (c != 128)
            {
                *out++ = c, --count;
                continue;
            }
            uint8_t n;
            if (!lpIn->GetByte(n))
                return false;
            if (n == 0)
                *out++ = 128, --count;
            else
            {
                if (!lpIn->GetByte(iRunValue))
                    return false;
                iRunLeft = n + 1;
            }
        }
        return true;
    }

private:
    LCodecByteReader<Base>* lpIn;
    bool bRLE;
    int iRunLeft = 0;
    uint8_t iRunValue = 0;
};

} // namespace

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessRASLoad<Base>& data)
{
    process.SetStatusF(0, "Decoding %s image", "RAS");
    if (!data.lpStream || !data.lpImage || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    uint8_t raw[LCODEC_RAS_Header::kSize];
    if (!data.lpStream->Read(raw, sizeof raw))
        return LProcessResultFailed;
    LCODEC_RAS_Header h;
    h.Parse(raw);
    if (h.iMagic != LCODEC_RAS_Header::kMagic || h.iType > 3)
        return LProcessResultFailed;
    const uint32_t depth = h.iDepth;
    // Other depths would read through to no picture at all (and depth 0 through no data).
    if (depth != 1 && depth != 8 && depth != 24 && depth != 32)
        return LProcessResultFailed;
    if ((depth == 8 && h.iMapType > 1) || ((depth == 24 || depth == 32) && h.iMapType != 0))
        return LProcessResultFailed;
    if (h.iWidth == 0 || h.iHeight == 0 || h.iWidth > 0x7FFFFFFF || h.iHeight > 0x7FFFFFFF)
        return LProcessResultFailed;
    const int width = int(h.iWidth), height = int(h.iHeight);

    LCodecByteReader<Base> in(*data.lpStream);
    if (int64_t(h.iMapLength) > in.Remaining())
        return LProcessResultFailed;
    std::vector<uint8_t> map(h.iMapLength);
    if (!in.Read(map.data(), map.size()))
        return LProcessResultFailed;

    uint64_t rowBytes = (uint64_t(h.iWidth) * depth) >> 3;
    const uint64_t usedBytes = rowBytes;
    rowBytes += rowBytes & 1;
    // A run of three bytes gives at most 256; refuse files that can't hold what they claim. In
    // floating point, since depth and size together may pass 64 bits.
    const double total = double(rowBytes) * height;
    const double minimum = h.iType == 2 ? total / 256 * 3 - 3 : total;
    if (double(in.Remaining()) < minimum)
        return LProcessResultFailed;
    LImageBuffer& image = *data.lpImage;
    if (!LCodecCheckPicture(process, uint64_t(width), uint64_t(height), 0, 0) ||
        !LCodecAllocateTarget(image, width, height, depth == 32))
        return LProcessResultFailed;
    auto line = LCodecAllocateArray<uint8_t>(size_t(rowBytes));
    if (!line)
        return LProcessResultFailed;

    // A map of three planes: the first goes to blue, the second to green, the third to red.
    const bool mapped = h.iMapType == 1 && (depth == 8 || !map.empty());
    const size_t third = map.size() / 3;
    uint32_t lookup[256];
    for (unsigned i = 0; i < 256; ++i)
        lookup[i] = mapped ? (i < third ? uint32_t(map[i]) | uint32_t(map[third + i]) << 8 |
                                              uint32_t(map[2 * third + i]) << 16
                                        : 0)
                           : i * 0x010101u;
    if (depth == 1 && !mapped)
        lookup[0] = 0xFFFFFF, lookup[1] = 0;

    RASRowReader<Base> rows(in, h.iType == 2);
    LCodecProgress progress(process, 0.0, 1.0, false);
    for (int y = 0; y < height; ++y)
    {
        if (!rows.Fill(line.get(), size_t(rowBytes)))
            return LProcessResultFailed;
        uint8_t* dst = image.GetRow(y);
        const uint8_t* src = line.get();
        if (depth == 24 || depth == 32)
            memcpy(dst, src, size_t(width) * (depth / 8));
        else if (depth == 8)
        {
            for (int x = 0; x < width; ++x, dst += 3)
            {
                const uint32_t v = lookup[src[x]];
                dst[0] = uint8_t(v), dst[1] = uint8_t(v >> 8), dst[2] = uint8_t(v >> 16);
            }
        }
        else if (depth == 1)
        {
            // The row length truncates, so pixels past its last whole byte stay black.
            const int bitsInRow = int(std::min<uint64_t>(uint64_t(width), usedBytes * 8));
            int x = 0;
            for (; x < bitsInRow; ++x, dst += 3)
            {
                const uint32_t v = lookup[(src[x >> 3] >> (7 - (x & 7))) & 1];
                dst[0] = uint8_t(v), dst[1] = uint8_t(v >> 8), dst[2] = uint8_t(v >> 16);
            }
            memset(dst, 0, size_t(width - x) * 3);
        }
        if (!progress.Step(double(y + 1) / height))
            return LProcessResultCancelled;
    }
    data.iBitDepth = 24;
    return LProcessResultSuccess;
}

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessRASSave<Base>& data)
{
    process.SetStatusF(0, "Encoding %s image", "RAS");
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid() || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    const LImageBuffer& image = *data.lpImage;
    const int width = image.GetWidth(), height = image.GetHeight();
    LCODEC_RAS_Header h;
    h.iWidth = uint32_t(width);
    h.iHeight = uint32_t(height);
    h.iDepth = 24;
    h.iType = 1;
    uint8_t raw[LCODEC_RAS_Header::kSize];
    h.Format(raw);

    const size_t rowBytes = (size_t(width) * 3 + 1) & ~size_t(1);
    auto pix = LCodecAllocateArray<uint32_t>(size_t(width));
    auto line = LCodecAllocateArray<uint8_t>(rowBytes);
    if (!pix || !line)
        return LProcessResultFailed;
    line[rowBytes - 1] = 0;
    LCodecByteWriter<Base> out(*data.lpStream);
    out.Write(raw, sizeof raw);
    for (int y = 0; y < height; ++y)
    {
        const uint8_t* src = image.GetRow(y);
        if (image.GetPixelFormat() == B8G8R8)
            memcpy(line.get(), src, size_t(width) * 3);
        else
        {
            LCodecReadRowBGRA(image, y, pix.get());
            uint8_t* p = line.get();
            for (int x = 0; x < width; ++x, p += 3)
                p[0] = uint8_t(pix[x]), p[1] = uint8_t(pix[x] >> 8), p[2] = uint8_t(pix[x] >> 16);
        }
        out.Write(line.get(), rowBytes);
    }
    return out.Finish() ? LProcessResultSuccess : LProcessResultFailed;
}

template LProcessResult Process(LProcessInterface&, LProcessRASLoad<LInputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessRASLoad<LInputStreamBuffer>&);
template LProcessResult Process(LProcessInterface&, LProcessRASSave<LOutputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessRASSave<LOutputStreamByteArray>&);
