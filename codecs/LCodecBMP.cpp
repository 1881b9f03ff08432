#include "codecs/LCodecBMP.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace
{
template <class Base>
bool ReadDIBHeader(LInputStream<Base>& s, LCODEC_DIB_Header& h)
{
    if (!s.ReadUInt32LE(h.biSize))
        return false;
    if (h.biSize == 12)
    {
        uint16_t w, ht;
        if (!s.ReadUInt16LE(w) || !s.ReadUInt16LE(ht) || !s.ReadUInt16LE(h.biPlanes) ||
            !s.ReadUInt16LE(h.biBitCount))
            return false;
        h.biWidth = w;
        h.biHeight = ht;
        h.biClrUsed = h.biBitCount <= 8 ? 1u << h.biBitCount : 0;
        return true;
    }
    // Smaller headers other than the short layout don't exist in practice; a huge one is damage.
    if (h.biSize < 40 || h.biSize > 65536)
        return false;
    uint32_t x, y;
    if (!s.ReadSInt32LE(h.biWidth) || !s.ReadSInt32LE(h.biHeight) || !s.ReadUInt16LE(h.biPlanes) ||
        !s.ReadUInt16LE(h.biBitCount) || !s.ReadUInt32LE(h.biCompression) || !s.ReadUInt32LE(h.biSizeImage) ||
        !s.ReadUInt32LE(x) || !s.ReadUInt32LE(y) || !s.ReadUInt32LE(h.biClrUsed) ||
        !s.ReadUInt32LE(h.biClrImportant))
        return false;
    h.biXPelsPerMeter = int32_t(x);
    h.biYPelsPerMeter = int32_t(y);
    if (h.biSize < 56)
    {
        if (!s.SeekOffset64(int64_t(h.biSize) - 40))
            return false;
    }
    else if (!s.ReadUInt32LE(h.uRedMask) || !s.ReadUInt32LE(h.uGreenMask) || !s.ReadUInt32LE(h.uBlueMask) ||
             !s.ReadUInt32LE(h.uAlphaMask) || !s.SeekOffset64(int64_t(h.biSize) - 56))
        return false;
    if (h.biClrUsed == 0 && h.biBitCount <= 8)
        h.biClrUsed = 1u << h.biBitCount;
    return true;
}

inline void PutPixel(uint8_t* row, int x, bool rgba, LPixelColour c)
{
    if (rgba)
        memcpy(row + 4 * size_t(x), &c, 4);
    else
    {
        uint8_t* p = row + 3 * size_t(x);
        p[0] = c.b, p[1] = c.g, p[2] = c.r;
    }
}

// Run-length data, always bottom-up. A literal run is padded to a whole 16-bit word of data.
// Some writers encode each row up to its 4-byte boundary; pixels in that padding are dropped,
// anything further out is damage.
template <class Base>
LProcessResult DecodeRLE(LProcessInterface& process, LInputStream<Base>& s, LImageBuffer& image,
                         const LPixelColour* palette, uint32_t colours, bool rle4)
{
    const int w = image.GetWidth(), h = image.GetHeight();
    const int padded = rle4 ? int(((int64_t(w) * 4 + 31) / 32) * 8) : int(((int64_t(w) * 8 + 31) / 32) * 4);
    LCodecProgress progress(process, 0.0, 1.0, false);
    int row = 0, col = 0;
    bool end = false;
    auto put = [&](unsigned index) -> bool
    {
        if (index >= colours || row >= h || col >= padded)
            return false;
        if (col < w)
            PutPixel(image.GetRow(h - 1 - row), col, false, palette[index]);
        ++col;
        return true;
    };
    while (row <= h && col <= padded && !end)
    {
        uint8_t count, value;
        if (!s.ReadUInt8(count) || !s.ReadUInt8(value))
            return LProcessResultFailed;
        if (count > 0)
        {
            for (int i = 0; i < count; ++i)
                if (!put(rle4 ? (i & 1 ? value & 15 : value >> 4) : value))
                    return LProcessResultFailed;
        }
        else if (value == 0)
        {
            if (col < w)
                return LProcessResultFailed;
            ++row;
            col = 0;
            if (!progress.Row(row, h))
                return LProcessResultCancelled;
        }
        else if (value == 1)
        {
            if (int64_t(row) * w + std::min(col, w) < int64_t(w) * h)
                return LProcessResultFailed; // a bitmap must be completely filled
            end = true;
        }
        else if (value == 2)
            return LProcessResultFailed; // delta codes leave pixels undefined; not supported
        else
        {
            uint8_t data[256];
            const int bytes = rle4 ? (value + 1) / 2 : value;
            if (!s.Read(data, size_t(bytes)))
                return LProcessResultFailed;
            for (int i = 0; i < value; ++i)
                if (!put(rle4 ? (i & 1 ? data[i / 2] & 15 : data[i / 2] >> 4) : data[i]))
                    return LProcessResultFailed;
            uint8_t pad;
            if (bytes & 1 && !s.ReadUInt8(pad))
                return LProcessResultFailed;
        }
    }
    return end ? LProcessResultSuccess : LProcessResultFailed;
}
} // namespace

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessDIBLoad<Base>& d)
{
    if (!d.lpStream || !d.lpImage)
        return LProcessResultFailed;
    LInputStream<Base>& s = *d.lpStream;
    LImageBuffer& image = *d.lpImage;
    if (d.bSetStatus)
        process.SetStatus("Decoding DIB image", 0);

    LCODEC_DIB_Header h;
    if (!ReadDIBHeader(s, h))
        return LProcessResultFailed;
    const unsigned bits = h.biBitCount;
    const uint32_t comp = h.biCompression;
    if (comp > 3 || h.biClrUsed > 256)
        return LProcessResultFailed;
    if (bits != 1 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32)
        return LProcessResultFailed;
    if ((comp == 1 && bits != 8) || (comp == 2 && bits != 4) || (comp == 3 && bits != 16 && bits != 32))
        return LProcessResultFailed;

    LCODEC_DIB_MaskCode mr, mg, mb, ma;
    if (comp == 3)
    {
        const uint32_t m[4] = {h.uRedMask, h.uGreenMask, h.uBlueMask, h.uAlphaMask};
        for (int i = 0; i < 4; ++i)
        {
            if (bits == 16 && m[i] > 65535)
                return LProcessResultFailed;
            for (int j = i + 1; j < 4; ++j)
                if (m[i] & m[j])
                    return LProcessResultFailed;
        }
        mr.Init(h.uRedMask), mg.Init(h.uGreenMask), mb.Init(h.uBlueMask), ma.Init(h.uAlphaMask);
    }
    else if (bits == 16)
        mr.Init(31744), mg.Init(992), mb.Init(31), ma.Init(0);

    bool topDown = false;
    int64_t height = h.biHeight;
    if (height < 0)
    {
        height = -height;
        topDown = true;
    }
    if (topDown && (comp == 1 || comp == 2))
        return LProcessResultFailed;
    if (h.biWidth <= 0 || height <= 0)
        return LProcessResultFailed;
    const int64_t width = h.biWidth;

    // The whole palette is read as 32-bit entries in every layout; an entry is used as it stands.
    LPixelColour palette[256];
    for (uint32_t i = 0; i < h.biClrUsed; ++i)
    {
        uint32_t v;
        if (!s.ReadUInt32LE(v))
            return LProcessResultFailed;
        palette[i] = LPixelColour::FromUInt32(v);
    }
    if (d.iExpectedPixelOffset != 0 && s.Tell64() != d.iExpectedPixelOffset)
        return LProcessResultFailed;

    // A damaged header must not make us allocate far more than the file can fill.
    const uint64_t rowBytes = ((uint64_t(bits) * uint64_t(width) + 7) >> 3);
    const uint64_t stride = (rowBytes + 3) & ~uint64_t(3);
    const int64_t size = s.GetSize64();
    if (size >= 0)
    {
        const int64_t left = size - s.Tell64();
        if (comp == 1 || comp == 2)
        {
            const uint64_t minimum = uint64_t(height) * (2 + 2 * ((uint64_t(width) + 254) / 255));
            if (left < 0 || uint64_t(left) < minimum)
                return LProcessResultFailed;
        }
        else if (left < 0 || uint64_t(left) < stride * uint64_t(height - 1) + rowBytes)
            return LProcessResultFailed;
    }

    const bool rgba = bits == 32;
    if (!LCodecCheckPicture(process, uint64_t(width), uint64_t(height), 0, 0) ||
        !LCodecAllocate(image, uint64_t(width), uint64_t(height), rgba ? B8G8R8A8 : B8G8R8))
        return LProcessResultFailed;
    const int w = image.GetWidth(), ht = image.GetHeight();

    LProcessResult result = LProcessResultSuccess;
    if (comp == 1 || comp == 2)
        result = DecodeRLE(process, s, image, palette, h.biClrUsed, comp == 2);
    else
    {
        LCodecProgress progress(process, 0.0, 1.0, false);
        std::vector<uint8_t> rowData;
        rowData.resize(size_t(stride));
        const bool straight = comp == 0 && (bits == 24 || bits == 32);
        LPixelColour last(0, 0, 0, 255); // a channel without mask keeps its last value
        for (int i = 0; i < ht; ++i)
        {
            uint8_t* dst = image.GetRow(topDown ? i : ht - 1 - i);
            if (straight)
            {
                if (!s.Read(dst, size_t(rowBytes)))
                    return LProcessResultFailed;
                if (stride > rowBytes && i + 1 < ht && !s.SeekOffset64(int64_t(stride - rowBytes)))
                    return LProcessResultFailed;
            }
            else
            {
                // The last row may lack its padding at the very end of the file.
                if (!s.Read(rowData.data(), size_t(rowBytes)))
                    return LProcessResultFailed;
                if (stride > rowBytes && i + 1 < ht && !s.SeekOffset64(int64_t(stride - rowBytes)))
                    return LProcessResultFailed;
                const uint8_t* src = rowData.data();
                if (bits <= 8)
                {
                    const unsigned mask = (1u << bits) - 1;
                    for (int x = 0; x < w; ++x)
                    {
                        const uint64_t bit = uint64_t(x) * bits;
                        const unsigned index = src[bit >> 3] >> (8 - bits - (bit & 7)) & mask;
                        if (index >= h.biClrUsed)
                            return LProcessResultFailed;
                        PutPixel(dst, x, false, palette[index]);
                    }
                }
                else
                {
                    for (int x = 0; x < w; ++x)
                    {
                        uint32_t p;
                        if (bits == 16)
                            p = uint32_t(src[2 * x]) | uint32_t(src[2 * x + 1]) << 8;
                        else
                            p = uint32_t(src[4 * x]) | uint32_t(src[4 * x + 1]) << 8 |
                                uint32_t(src[4 * x + 2]) << 16 | uint32_t(src[4 * x + 3]) << 24;
                        if (mr.uMask)
                            last.r = mr.Read(p);
                        if (mg.uMask)
                            last.g = mg.Read(p);
                        if (mb.uMask)
                            last.b = mb.Read(p);
                        if (ma.uMask)
                            last.a = ma.Read(p);
                        PutPixel(dst, x, rgba, last);
                    }
                }
            }
            if (!progress.Row(i + 1, ht))
                return LProcessResultCancelled;
        }
    }
    if (result != LProcessResultSuccess)
        return result;

    image.imf.HorizontalResolution = uint32_t(h.biXPelsPerMeter);
    image.imf.VerticalResolution = uint32_t(h.biYPelsPerMeter);
    if (rgba)
    {
        // All alpha bytes zero means the file carries no alpha channel.
        bool any = false;
        for (int y = 0; y < ht && !any; ++y)
        {
            const uint8_t* r = image.GetRow(y);
            for (int x = 0; x < w; ++x)
                if (r[4 * x + 3])
                {
                    any = true;
                    break;
                }
        }
        if (!any)
            for (int y = 0; y < ht; ++y)
            {
                uint8_t* r = image.GetRow(y);
                for (int x = 0; x < w; ++x)
                    r[4 * x + 3] = 255;
            }
    }
    d.iBitDepth = int(bits);
    return LProcessResultSuccess;
}

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessBMPLoad<Base>& d)
{
    if (!d.lpStream || !d.lpImage)
        return LProcessResultFailed;
    LInputStream<Base>& s = *d.lpStream;
    process.SetStatus("Decoding BMP image", 0);
    const int64_t start = s.Tell64();
    LCODEC_BMP_Header fh;
    if (!s.ReadUInt16LE(fh.bfType) || !s.ReadUInt32LE(fh.bfSize) || !s.SeekOffset64(4) ||
        !s.ReadUInt32LE(fh.bfOffBits))
        return LProcessResultFailed;
    if (fh.bfType != 19778)
        return LProcessResultFailed;
    LProcessDIBLoad<Base> dib;
    dib.lpStream = &s;
    dib.lpImage = d.lpImage;
    dib.iExpectedPixelOffset = start + int64_t(fh.bfOffBits);
    dib.bSetStatus = false;
    LProcessInterfaceSubProcess sub(process, 0.0, 1.0);
    const LProcessResult r = Process(sub, dib);
    if (r == LProcessResultSuccess)
        d.iBitDepth = dib.iBitDepth;
    return r;
}

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessDIBSave<Base>& d)
{
    if (!d.lpStream || !d.lpImage || !d.lpImage->IsValid())
        return LProcessResultFailed;
    LOutputStream<Base>& s = *d.lpStream;
    const LImageBuffer& image = *d.lpImage;
    if (d.bSetStatus)
        process.SetStatus("Encoding DIB image", 0);
    bool rgba;
    if (d.lpSettings)
        rgba = d.lpSettings->PixelFormat == LCODEC_BMP_EncodeSettings::Bits32;
    else if (image.GetPixelFormat() == B8G8R8A8 || image.GetPixelFormat() == B8G8R8)
        rgba = image.GetPixelFormat() == B8G8R8A8;
    else
        return LProcessResultFailed;
    const pixelformat_t pf = image.GetPixelFormat();
    const bool direct = pf == (rgba ? B8G8R8A8 : B8G8R8);
    LCodecSourceRows source(image);
    if (!direct && !source.IsValid())
        return LProcessResultFailed;

    const int w = image.GetWidth(), h = image.GetHeight();
    const int bits = rgba ? 32 : 24;
    const size_t rowBytes = size_t(w) * size_t(bits / 8);
    const size_t stride = (rowBytes + 3) & ~size_t(3);
    const int64_t start = s.Tell64();
    const uint32_t xres = image.imf.HorizontalResolution, yres = image.imf.VerticalResolution;
    if (!s.WriteUInt32LE(40) || !s.WriteSInt32LE(w) || !s.WriteSInt32LE(h) || !s.WriteUInt16LE(1) ||
        !s.WriteUInt16LE(uint16_t(bits)) || !s.WriteUInt32LE(0) || !s.WriteUInt32LE(0) ||
        !s.WriteUInt32LE(xres) || !s.WriteUInt32LE(yres) || !s.WriteUInt32LE(0) || !s.WriteUInt32LE(0))
        return LProcessResultFailed;

    std::vector<uint8_t> row(stride, 0);
    const LPixelColour bg =
        d.lpSettings ? d.lpSettings->GetBackgroundColour() : LPixelColour(255, 255, 255, 255);
    for (int i = 0; i < h; ++i)
    {
        const int y = h - 1 - i;
        if (direct)
            memcpy(row.data(), image.GetRow(y), rowBytes);
        else
        {
            const uint8_t* src = source.Row(y);
            uint8_t* dst = row.data();
            for (int x = 0; x < w; ++x, src += 4)
            {
                if (rgba)
                    dst[0] = src[0], dst[1] = src[1], dst[2] = src[2], dst[3] = 255, dst += 4;
                else
                {
                    const unsigned a = src[3];
                    if (a < 255)
                    {
                        // The divisor is 256 on purpose: blended channels come out slightly dark.
                        dst[0] = uint8_t((src[0] * a + bg.b * (255 - a)) >> 8);
                        dst[1] = uint8_t((src[1] * a + bg.g * (255 - a)) >> 8);
                        dst[2] = uint8_t((src[2] * a + bg.r * (255 - a)) >> 8);
                    }
                    else
                        dst[0] = src[0], dst[1] = src[1], dst[2] = src[2];
                    dst += 3;
                }
            }
        }
        if (!s.Write(row.data(), stride))
            return LProcessResultFailed;
        process.SetProgress(double(i + 1) / h * 0.8 + 0.2);
        if (process.IsToStop())
            return LProcessResultCancelled;
    }
    const int64_t end = s.Tell64();
    if (!s.Seek64(start + 20) || !s.WriteUInt32LE(uint32_t(stride * size_t(h))) || !s.Seek64(end))
        return LProcessResultFailed;
    return LProcessResultSuccess;
}

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessBMPSave<Base>& d)
{
    if (!d.lpStream || !d.lpImage || !d.lpImage->IsValid())
        return LProcessResultFailed;
    LOutputStream<Base>& s = *d.lpStream;
    process.SetStatus("Encoding BMP image", 0);
    const int64_t start = s.Tell64();
    if (!s.WriteUInt16LE(19778) || !s.WriteUInt32LE(0) || !s.WriteUInt32LE(0) || !s.WriteUInt32LE(0))
        return LProcessResultFailed;
    LProcessDIBSave<Base> dib;
    dib.lpStream = &s;
    dib.lpImage = d.lpImage;
    dib.lpSettings = &d.settings;
    dib.bSetStatus = false;
    const LProcessResult r = Process(process, dib);
    if (r != LProcessResultSuccess)
        return r;
    const uint32_t offBits = 54; // no palette is written
    const int64_t end = s.Tell64();
    if (!s.Seek64(start + 2) || !s.WriteUInt32LE(uint32_t(end - start)) || !s.Seek64(start + 10) ||
        !s.WriteUInt32LE(offBits) || !s.Seek64(end))
        return LProcessResultFailed;
    return LProcessResultSuccess;
}

template LProcessResult Process(LProcessInterface&, LProcessDIBLoad<LInputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessDIBLoad<LInputStreamBuffer>&);
template LProcessResult Process(LProcessInterface&, LProcessBMPLoad<LInputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessBMPLoad<LInputStreamBuffer>&);
template LProcessResult Process(LProcessInterface&, LProcessDIBSave<LOutputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessDIBSave<LOutputStreamByteArray>&);
template LProcessResult Process(LProcessInterface&, LProcessBMPSave<LOutputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessBMPSave<LOutputStreamByteArray>&);
