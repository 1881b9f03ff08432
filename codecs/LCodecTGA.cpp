#include "codecs/LCodecTGA.h"

#include <algorithm>
#include <vector>

#include "codecs/LCodecIO.h"

void LCODEC_TGA_Header::Parse(const uint8_t* p)
{
    iIdLength = p[0];
    iColourMapType = p[1];
    iImageType = p[2];
    iFirstMapEntry = uint16_t(p[3] | p[4] << 8);
    iMapLength = uint16_t(p[5] | p[6] << 8);
    iMapEntryBits = p[7];
    iXOrigin = uint16_t(p[8] | p[9] << 8);
    iYOrigin = uint16_t(p[10] | p[11] << 8);
    iWidth = uint16_t(p[12] | p[13] << 8);
    iHeight = uint16_t(p[14] | p[15] << 8);
    iDepth = p[16];
    iDescriptor = p[17];
}

void LCODEC_TGA_Header::Format(uint8_t* p) const
{
    p[0] = iIdLength;
    p[1] = iColourMapType;
    p[2] = iImageType;
    p[3] = uint8_t(iFirstMapEntry), p[4] = uint8_t(iFirstMapEntry >> 8);
    p[5] = uint8_t(iMapLength), p[6] = uint8_t(iMapLength >> 8);
    p[7] = iMapEntryBits;
    p[8] = uint8_t(iXOrigin), p[9] = uint8_t(iXOrigin >> 8);
    p[10] = uint8_t(iYOrigin), p[11] = uint8_t(iYOrigin >> 8);
    p[12] = uint8_t(iWidth), p[13] = uint8_t(iWidth >> 8);
    p[14] = uint8_t(iHeight), p[15] = uint8_t(iHeight >> 8);
    p[16] = iDepth;
    p[17] = iDescriptor;
}

namespace
{

enum TGAPixelKind
{
    TGAGrey8,
    TGAGrey16,
    TGA555,
    TGA24,
    TGA32,
    TGAIndex,
};

inline uint32_t TGAWiden5(unsigned c)
{
    return (c << 3) | (c >> 2);
}

inline uint32_t TGAFrom555(unsigned w)
{
    return TGAWiden5(w & 31) | TGAWiden5((w >> 5) & 31) << 8 | TGAWiden5((w >> 10) & 31) << 16 | 0xFF000000u;
}

// Turns n file pixels into 32-bit values; false on a colour index past the table.
bool TGAConvert(TGAPixelKind kind, const uint8_t* src, int n, uint32_t* out, const std::vector<uint32_t>& map)
{
    switch (kind)
    {
    case TGAGrey8:
        for (int i = 0; i < n; ++i)
            out[i] = uint32_t(src[i]) * 0x010101u | 0xFF000000u;
        break;
    case TGAGrey16:
        for (int i = 0; i < n; ++i, src += 2)
            out[i] = uint32_t(src[0]) * 0x010101u | uint32_t(src[1]) << 24;
        break;
    case TGA555:
        for (int i = 0; i < n; ++i, src += 2)
            out[i] = TGAFrom555(src[0] | src[1] << 8);
        break;
    case TGA24:
        for (int i = 0; i < n; ++i, src += 3)
            out[i] = uint32_t(src[0]) | uint32_t(src[1]) << 8 | uint32_t(src[2]) << 16 | 0xFF000000u;
        break;
    case TGA32:
        for (int i = 0; i < n; ++i, src += 4)
            out[i] =
                uint32_t(src[0]) | uint32_t(src[1]) << 8 | uint32_t(src[2]) << 16 | uint32_t(src[3]) << 24;
        break;
    case TGAIndex:
    {
        const size_t size = map.size();
        for (int i = 0; i < n; ++i)
        {
            if (src[i] >= size)
                return false;
            out[i] = map[src[i]];
        }
        break;
    }
    }
    return true;
}

// Places one decoded file row into the image, mirrored when the origin is on the right.
void TGAStoreRow(uint8_t* dst, const uint32_t* pix, int width, bool alpha, bool rightToLeft)
{
    const int step = rightToLeft ? -1 : 1;
    const uint32_t* p = rightToLeft ? pix + width - 1 : pix;
    if (alpha)
    {
        for (int x = 0; x < width; ++x, p += step, dst += 4)
        {
            const uint32_t v = *p;
            dst[0] = uint8_t(v), dst[1] = uint8_t(v >> 8), dst[2] = uint8_t(v >> 16),
            dst[3] = uint8_t(v >> 24);
        }
    }
    else
    {
        for (int x = 0; x < width; ++x, p += step, dst += 3)
        {
            const uint32_t v = *p;
            dst[0] = uint8_t(v), dst[1] = uint8_t(v >> 8), dst[2] = uint8_t(v >> 16);
        }
    }
}

} // namespace

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessTGALoad<Base>& data)
{
    process.SetStatusF(0, "Decoding %s image", "TGA");
    if (!data.lpStream || !data.lpImage || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    uint8_t raw[LCODEC_TGA_Header::kSize];
    if (!data.lpStream->Read(raw, sizeof raw))
        return LProcessResultFailed;
    LCODEC_TGA_Header h;
    h.Parse(raw);
    if (h.iImageType >= 16 || h.iWidth == 0 || h.iHeight == 0)
        return LProcessResultFailed;
    const int kind = h.iImageType & 7;
    const bool rle = (h.iImageType & 8) != 0;

    bool alpha = false;
    TGAPixelKind pixelKind;
    switch (kind)
    {
    case 2:
        if (h.iDepth == 15 || h.iDepth == 16)
            pixelKind = TGA555;
        else if (h.iDepth == 24)
            pixelKind = TGA24;
        else if (h.iDepth == 32 && ((h.iDescriptor & 15) == 0 || (h.iDescriptor & 15) == 8))
        {
            pixelKind = TGA32;
            alpha = (h.iDescriptor & 15) == 8;
        }
        else
            return LProcessResultFailed;
        break;
    case 3:
        if (h.iDepth == 8)
            pixelKind = TGAGrey8;
        else if (h.iDepth == 16)
        {
            pixelKind = TGAGrey16;
            alpha = true;
        }
        else
            return LProcessResultFailed;
        break;
    case 1:
        if (h.iColourMapType != 1 || h.iMapLength == 0 || h.iDepth != 8)
            return LProcessResultFailed;
        pixelKind = TGAIndex;
        alpha = h.iMapEntryBits == 32;
        break;
    default:
        return LProcessResultFailed;
    }
    if (h.iColourMapType > 1 || (h.iColourMapType == 0 && h.iMapLength != 0))
        return LProcessResultFailed;

    LCodecByteReader<Base> in(*data.lpStream);
    if (!in.Skip(h.iIdLength))
        return LProcessResultFailed;

    // The table as stored after the skipped first entries; indices address it uncorrected.
    std::vector<uint32_t> map;
    if (h.iColourMapType == 1 && h.iMapLength > 0)
    {
        const unsigned entryBytes = (h.iMapEntryBits + 7u) >> 3;
        if (kind != 1)
        {
            if (!in.Skip(uint64_t(h.iMapLength) * entryBytes))
                return LProcessResultFailed;
        }
        else
        {
            const unsigned bits = h.iMapEntryBits;
            if (bits != 15 && bits != 16 && bits != 24 && bits != 32)
                return LProcessResultFailed;
            if (!in.Skip(uint64_t(h.iFirstMapEntry) * entryBytes))
                return LProcessResultFailed;
            const int count = h.iMapLength > h.iFirstMapEntry ? h.iMapLength - h.iFirstMapEntry : 0;
            std::vector<uint8_t> entries(size_t(count) * entryBytes);
            if (!in.Read(entries.data(), entries.size()))
                return LProcessResultFailed;
            map.resize(size_t(count));
            TGAConvert(bits == 24   ? TGA24
                       : bits == 32 ? TGA32
                                    : TGA555,
                       entries.data(), count, map.data(), map);
        }
    }

    const int width = h.iWidth, height = h.iHeight;
    const int bpp = (h.iDepth + 7) >> 3;
    const uint64_t pixels = uint64_t(width) * uint64_t(height);
    // Refuse before allocating when the file can't hold the pixels it claims.
    const uint64_t minimum = rle ? (pixels + 127) / 128 * uint64_t(1 + bpp) : pixels * uint64_t(bpp);
    if (uint64_t(in.Remaining()) < minimum)
        return LProcessResultFailed;
    LImageBuffer& image = *data.lpImage;
    if (!LCodecCheckPicture(process, uint64_t(width), uint64_t(height), 0, 0) ||
        !LCodecAllocateTarget(image, width, height, alpha))
        return LProcessResultFailed;

    const bool topDown = (h.iDescriptor & 0x20) != 0;
    const bool rightToLeft = (h.iDescriptor & 0x10) != 0;
    auto rowBytes = LCodecAllocateArray<uint8_t>(size_t(width) * size_t(bpp));
    auto rowPix = LCodecAllocateArray<uint32_t>(size_t(width));
    if (!rowBytes || !rowPix)
        return LProcessResultFailed;

    LCodecProgress progress(process, 0.0, 1.0, false);
    int packetLeft = 0;
    bool packetRepeat = false;
    uint32_t repeatValue = 0;
    uint8_t one[4];
    for (int r = 0; r < height; ++r)
    {
        if (!rle)
        {
            if (!in.Read(rowBytes.get(), size_t(width) * size_t(bpp)) ||
                !TGAConvert(pixelKind, rowBytes.get(), width, rowPix.get(), map))
                return LProcessResultFailed;
        }
        else
        {
            // Packets may run on into the next row, so their state lives outside the row.
            int filled = 0;
            while (filled < width)
            {
                if (packetLeft == 0)
                {
                    uint8_t code;
                    if (!in.GetByte(code))
                        return LProcessResultFailed;
                    packetLeft = (code & 127) + 1;
                    packetRepeat = (code & 128) != 0;
                    if (packetRepeat &&
                        (!in.Read(one, size_t(bpp)) || !TGAConvert(pixelKind, one, 1, &repeatValue, map)))
                        return LProcessResultFailed;
                }
                const int n = std::min(packetLeft, width - filled);
                if (packetRepeat)
                    std::fill_n(rowPix.get() + filled, n, repeatValue);
                else if (!in.Read(rowBytes.get(), size_t(n) * size_t(bpp)) ||
                         !TGAConvert(pixelKind, rowBytes.get(), n, rowPix.get() + filled, map))
                    return LProcessResultFailed;
                filled += n;
                packetLeft -= n;
            }
        }
        TGAStoreRow(image.GetRow(topDown ? r : height - 1 - r), rowPix.get(), width, alpha, rightToLeft);
        if (!progress.Step(double(r + 1) / height))
            return LProcessResultCancelled;
    }
    data.iBitDepth = h.iDepth;
    return LProcessResultSuccess;
}

namespace
{

// Up to 256 distinct colours with their indices; open addressing in a table four times that.
class TGAColourSet
{
public:
    static constexpr int kSlots = 1024;

    TGAColourSet() { std::fill_n(arUsed, kSlots, false); }
    // False once a 257th colour comes.
    bool Insert(uint32_t v)
    {
        int slot = Find(v);
        if (arUsed[slot])
            return true;
        if (nCount == 256)
            return false;
        arUsed[slot] = true;
        arValue[slot] = v;
        arColours[nCount++] = v;
        return true;
    }
    int Index(uint32_t v) const { return arIndex[Find(v)]; }
    // Sorts the colours and numbers them in that order.
    void Finish()
    {
        std::sort(arColours, arColours + nCount);
        for (int i = 0; i < nCount; ++i)
            arIndex[Find(arColours[i])] = uint8_t(i);
    }
    int Count() const { return nCount; }
    uint32_t Colour(int i) const { return arColours[i]; }

private:
    int Find(uint32_t v) const
    {
        int slot = int((v * 2654435761u) >> 22);
        while (arUsed[slot] && arValue[slot] != v)
            slot = (slot + 1) & (kSlots - 1);
        return slot;
    }

    bool arUsed[kSlots];
    uint32_t arValue[kSlots];
    uint8_t arIndex[kSlots];
    uint32_t arColours[256];
    int nCount = 0;
};

enum TGALayout
{
    TGATrueColour = 2,
    TGAGrey = 3,
    TGAMapped = 1,
};

// One image row in the layout's pixel bytes.
void TGAEncodeRow(TGALayout layout, bool alpha, const uint32_t* pix, int width, const TGAColourSet& set,
                  uint8_t* out)
{
    switch (layout)
    {
    case TGATrueColour:
        if (alpha)
            memcpy(out, pix, size_t(width) * 4);
        else
            for (int x = 0; x < width; ++x, out += 3)
                out[0] = uint8_t(pix[x]), out[1] = uint8_t(pix[x] >> 8), out[2] = uint8_t(pix[x] >> 16);
        break;
    case TGAGrey:
        if (alpha)
            for (int x = 0; x < width; ++x, out += 2)
                out[0] = uint8_t(pix[x] >> 16), out[1] = uint8_t(pix[x] >> 24);
        else
            for (int x = 0; x < width; ++x)
                out[x] = uint8_t(pix[x] >> 16);
        break;
    case TGAMapped:
    {
        uint32_t last = ~pix[0];
        uint8_t lastIndex = 0;
        for (int x = 0; x < width; ++x)
        {
            if (pix[x] != last)
                last = pix[x], lastIndex = uint8_t(set.Index(last));
            out[x] = lastIndex;
        }
        break;
    }
    }
}

// Packs one row; false when the output would pass end. A packet covers at most 128 pixels of
// this row; a repeat covers one pixel fewer than its run, whose last pixel opens the next packet.
template <int P>
bool TGAPackRow(const uint8_t* row, int width, uint8_t*& out, const uint8_t* end)
{
    auto same = [row](int a, int b) { return memcmp(row + a * P, row + b * P, P) == 0; };
    int x = 0;
    while (x < width)
    {
        const int window = std::min(128, width - x);
        if (window >= 3 && same(x, x + 1) && same(x, x + 2))
        {
            int run = 3;
            while (run < window && same(x, x + run))
                ++run;
            const int count = run - 1;
            if (end - out < 1 + P)
                return false;
            *out++ = uint8_t(0x80 | (count - 1));
            memcpy(out, row + x * P, P);
            out += P;
            x += count;
        }
        else
        {
            int q = x + 1;
            while (q < x + window && !(q + 2 < x + window && same(q, q + 1) && same(q, q + 2)))
                ++q;
            const int count = q - x;
            if (end - out < 1 + count * P)
                return false;
            *out++ = uint8_t(count - 1);
            memcpy(out, row + x * P, size_t(count) * P);
            out += count * P;
            x = q;
        }
    }
    return true;
}

bool TGAPackRowAny(int bpp, const uint8_t* row, int width, uint8_t*& out, const uint8_t* end)
{
    switch (bpp)
    {
    case 1:
        return TGAPackRow<1>(row, width, out, end);
    case 2:
        return TGAPackRow<2>(row, width, out, end);
    case 3:
        return TGAPackRow<3>(row, width, out, end);
    default:
        return TGAPackRow<4>(row, width, out, end);
    }
}

} // namespace

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessTGASave<Base>& data)
{
    process.SetStatusF(0, "Encoding %s image", "TGA");
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid() || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    const LImageBuffer& image = *data.lpImage;
    const int width = image.GetWidth(), height = image.GetHeight();
    if (width > 65535 || height > 65535)
        return LProcessResultFailed;
    auto pix = LCodecAllocateArray<uint32_t>(size_t(width));
    std::unique_ptr<TGAColourSet> set(new (std::nothrow) TGAColourSet);
    if (!pix || !set)
        return LProcessResultFailed;

    // Which layouts can hold the picture: palette, grey, and whether any alpha needs keeping.
    bool anyAlpha = false, allGrey = true, palette = true;
    LCodecProgress progress(process, 0.0, 1.0, false);
    for (int y = 0; y < height; ++y)
    {
        LCodecReadRowBGRA(image, y, pix.get());
        uint32_t last = ~pix[0];
        for (int x = 0; x < width; ++x)
        {
            const uint32_t v = pix[x];
            if (v == last)
                continue;
            last = v;
            anyAlpha |= (v >> 24) != 255;
            const uint8_t b = uint8_t(v), g = uint8_t(v >> 8), r = uint8_t(v >> 16);
            allGrey &= (b == g) & (g == r);
            if (palette && !set->Insert(v))
                palette = false;
        }
        if (!palette && !allGrey && anyAlpha)
            break;
        if (!progress.Step(0.3 * (y + 1) / height))
            return LProcessResultCancelled;
    }
    set->Finish();

    const uint64_t pixels = uint64_t(width) * uint64_t(height);
    const unsigned b = anyAlpha ? 4 : 3;
    TGALayout layout = TGATrueColour;
    uint64_t size = b * pixels;
    if (palette && b * uint64_t(set->Count()) + pixels <= size)
        layout = TGAMapped, size = b * uint64_t(set->Count()) + pixels;
    if (allGrey && (anyAlpha ? 2 : 1) * pixels < size)
        layout = TGAGrey;
    const int bpp = layout == TGATrueColour ? int(b) : layout == TGAGrey ? (anyAlpha ? 2 : 1) : 1;
    const size_t rowSize = size_t(width) * size_t(bpp);
    auto rowBytes = LCodecAllocateArray<uint8_t>(rowSize);
    if (!rowBytes)
        return LProcessResultFailed;

    // Run-length packets into a buffer as large as the plain pixel data; if they don't fit the
    // plain form is written instead. A stop here ends the packing without being reported.
    const size_t plainSize = size_t(pixels) * size_t(bpp);
    auto packed = LCodecAllocateArray<uint8_t>(plainSize);
    uint8_t* packedEnd = packed.get();
    bool rle = packed != nullptr;
    for (int y = 0; rle && y < height; ++y)
    {
        LCodecReadRowBGRA(image, y, pix.get());
        TGAEncodeRow(layout, anyAlpha, pix.get(), width, *set, rowBytes.get());
        if (!TGAPackRowAny(bpp, rowBytes.get(), width, packedEnd, packed.get() + plainSize))
            rle = false;
        else if (!progress.Step(0.3 + 0.6 * (y + 1) / height))
            break;
    }

    LCODEC_TGA_Header h;
    h.iColourMapType = layout == TGAMapped ? 1 : 0;
    h.iImageType = uint8_t(layout + (rle ? 8 : 0));
    if (layout == TGAMapped)
    {
        h.iMapLength = uint16_t(set->Count());
        h.iMapEntryBits = uint8_t(anyAlpha ? 32 : 24);
    }
    h.iWidth = uint16_t(width);
    h.iHeight = uint16_t(height);
    h.iDepth = uint8_t(layout == TGATrueColour ? b * 8 : layout == TGAGrey ? bpp * 8 : 8);
    h.iDescriptor = uint8_t(32 + (anyAlpha ? 8 : 0));
    uint8_t raw[LCODEC_TGA_Header::kSize];
    h.Format(raw);

    LCodecByteWriter<Base> out(*data.lpStream);
    out.Write(raw, sizeof raw);
    if (layout == TGAMapped)
        for (int i = 0; i < set->Count(); ++i)
        {
            const uint32_t v = set->Colour(i);
            const uint8_t entry[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
            out.Write(entry, anyAlpha ? 4 : 3);
        }
    if (rle)
        out.Write(packed.get(), size_t(packedEnd - packed.get()));
    else
    {
        packed.reset();
        for (int y = 0; y < height; ++y)
        {
            LCodecReadRowBGRA(image, y, pix.get());
            TGAEncodeRow(layout, anyAlpha, pix.get(), width, *set, rowBytes.get());
            out.Write(rowBytes.get(), rowSize);
            if (!progress.Step(0.3 + 0.7 * (y + 1) / height))
                return LProcessResultCancelled;
        }
    }
    return out.Finish() ? LProcessResultSuccess : LProcessResultFailed;
}

template LProcessResult Process(LProcessInterface&, LProcessTGALoad<LInputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessTGALoad<LInputStreamBuffer>&);
template LProcessResult Process(LProcessInterface&, LProcessTGASave<LOutputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessTGASave<LOutputStreamByteArray>&);
