#include "codecs/LCodecPCX.h"

#include <algorithm>
#include <cmath>

#include "codecs/LCodecIO.h"

void LCODEC_PCX_Header::Parse(const uint8_t* p)
{
    auto word = [p](int at) { return uint16_t(p[at] | p[at + 1] << 8); };
    iManufacturer = p[0];
    iVersion = p[1];
    iEncoding = p[2];
    iBitsPerPixel = p[3];
    iXMin = word(4), iYMin = word(6), iXMax = word(8), iYMax = word(10);
    iHorizontalDpi = word(12), iVerticalDpi = word(14);
    memcpy(arColourMap, p + 16, sizeof arColourMap);
    iPlanes = p[65];
    iBytesPerLine = word(66);
    iPaletteInfo = word(68);
}

void LCODEC_PCX_Header::Format(uint8_t* p) const
{
    auto word = [p](int at, uint16_t v) { p[at] = uint8_t(v), p[at + 1] = uint8_t(v >> 8); };
    memset(p, 0, kSize);
    p[0] = iManufacturer;
    p[1] = iVersion;
    p[2] = iEncoding;
    p[3] = iBitsPerPixel;
    word(4, iXMin), word(6, iYMin), word(8, iXMax), word(10, iYMax);
    word(12, iHorizontalDpi), word(14, iVerticalDpi);
    memcpy(p + 16, arColourMap, sizeof arColourMap);
    p[65] = iPlanes;
    word(66, iBytesPerLine);
    word(68, iPaletteInfo);
}

size_t LPCXRLEEncoder::Encode(const uint8_t* values, int count, uint8_t* out)
{
    uint8_t* start = out;
    int i = 0;
    while (i < count)
    {
        const uint8_t v = values[i];
        int run = 1;
        while (run < 63 && i + run < count && values[i + run] == v)
            ++run;
        if (run == 1 && v < 192)
            *out++ = v;
        else
            *out++ = uint8_t(192 | run), *out++ = v;
        i += run;
    }
    return size_t(out - start);
}

namespace
{

// Samples of the file: runs may continue across planes and rows, so the state is kept here.
template <class Base>
class PCXSampleReader
{
public:
    PCXSampleReader(LCodecByteReader<Base>& in, bool encoded) : lpIn(&in), bEncoded(encoded) {}

    bool Fill(uint8_t* out, int count)
    {
        if (!bEncoded)
            return lpIn->Read(out, size_t(count));
        while (count > 0)
        {
            if (iRunLeft > 0)
            {
                const int n = std::min(iRunLeft, count);
                memset(out, iRunValue, size_t(n));
                out += n, count -= n, iRunLeft -= n;
                continue;
            }
            uint8_t c;
            if (!lpIn->GetByte(c))
                return false;
            if (c >= 192)
            {
                iRunLeft = c & 63;
                if (!lpIn->GetByte(iRunValue))
                    return false;
            }
            else
                *out++ = c, --count;
        }
        return true;
    }
    bool HasRunLeft() const { return iRunLeft > 0; }

private:
    LCodecByteReader<Base>* lpIn;
    bool bEncoded;
    int iRunLeft = 0;
    uint8_t iRunValue = 0;
};

} // namespace

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPCXLoad<Base>& data)
{
    process.SetStatusF(0, "Decoding %s image", "PCX");
    if (!data.lpStream || !data.lpImage || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    uint8_t raw[LCODEC_PCX_Header::kSize];
    if (!data.lpStream->Read(raw, sizeof raw))
        return LProcessResultFailed;
    LCODEC_PCX_Header h;
    h.Parse(raw);
    const int bits = h.iBitsPerPixel, planes = h.iPlanes;
    if (h.iVersion == 1 || h.iVersion > 5)
        return LProcessResultFailed;
    if (!(bits == 8 || (bits == 1 && planes == 1)) || (planes != 1 && planes != 3))
        return LProcessResultFailed;
    if (h.iXMin > h.iXMax || h.iYMin > h.iYMax)
        return LProcessResultFailed;
    const int width = h.iXMax - h.iXMin + 1, height = h.iYMax - h.iYMin + 1;
    const int bytesPerLine = h.iBytesPerLine;
    if (bytesPerLine < (bits == 1 ? (h.iXMax - h.iXMin + 8) >> 3 : width))
        return LProcessResultFailed;

    LCodecByteReader<Base> in(*data.lpStream);
    const uint64_t samples = uint64_t(height) * uint64_t(planes) * uint64_t(bytesPerLine);
    // Two bytes give at most 63 samples.
    const uint64_t minimum = h.iEncoding ? (samples * 2 + 62) / 63 : samples;
    if (uint64_t(in.Remaining()) < minimum)
        return LProcessResultFailed;
    LImageBuffer& image = *data.lpImage;
    if (!LCodecCheckPicture(process, uint64_t(width), uint64_t(height), 0, 0) ||
        !LCodecAllocateTarget(image, width, height, false))
        return LProcessResultFailed;
    image.imf.HorizontalResolution = unsigned(h.iHorizontalDpi / 0.0254);
    image.imf.VerticalResolution = unsigned(h.iVerticalDpi / 0.0254);

    auto line = LCodecAllocateArray<uint8_t>(size_t(bytesPerLine));
    if (!line)
        return LProcessResultFailed;
    PCXSampleReader<Base> samplesIn(in, h.iEncoding != 0);
    LCodecProgress progress(process, 0.0, 1.0, false);
    for (int y = 0; y < height; ++y)
    {
        uint8_t* row = image.GetRow(y);
        for (int plane = 0; plane < planes; ++plane)
        {
            if (!samplesIn.Fill(line.get(), bytesPerLine))
                return LProcessResultFailed;
            if (bits == 1)
            {
                for (int x = 0; x < width; ++x)
                {
                    const uint8_t v = (line[x >> 3] >> (7 - (x & 7))) & 1 ? 255 : 0;
                    row[x * 3] = row[x * 3 + 1] = row[x * 3 + 2] = v;
                }
            }
            else
            {
                // Planes are red, green, blue; the pixel's bytes blue, green, red.
                uint8_t* dst = row + 2 - plane;
                for (int x = 0; x < width; ++x, dst += 3)
                    *dst = line[x];
            }
        }
        if (!progress.Step(double(y + 1) / height))
            return LProcessResultCancelled;
    }
    if (samplesIn.HasRunLeft())
        return LProcessResultFailed;

    if (bits == 8 && planes == 1)
    {
        // Indices stand in the red byte until the palette behind the pixels is known.
        uint8_t marker, palette[768];
        if (!in.GetByte(marker) || marker != 12 || !in.Read(palette, sizeof palette))
            return LProcessResultFailed;
        for (int y = 0; y < height; ++y)
        {
            uint8_t* p = image.GetRow(y);
            for (int x = 0; x < width; ++x, p += 3)
            {
                const uint8_t* entry = palette + p[2] * 3;
                p[0] = entry[2], p[1] = entry[1], p[2] = entry[0];
            }
        }
    }
    data.iBitDepth = planes * bits;
    return LProcessResultSuccess;
}

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPCXSave<Base>& data)
{
    process.SetStatusF(0, "Encoding %s image", "PCX");
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid() || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    const LImageBuffer& image = *data.lpImage;
    const int width = image.GetWidth(), height = image.GetHeight();
    if (width > 65534 || height > 65536)
        return LProcessResultFailed;

    LCODEC_PCX_Header h;
    h.iXMax = uint16_t(width - 1);
    h.iYMax = uint16_t(height - 1);
    h.iHorizontalDpi = uint16_t(std::min(65535.0, image.imf.HorizontalResolution * 0.0254));
    h.iVerticalDpi = uint16_t(std::min(65535.0, image.imf.VerticalResolution * 0.0254));
    h.iBytesPerLine = uint16_t((width + 1) & ~1);
    uint8_t raw[LCODEC_PCX_Header::kSize];
    h.Format(raw);

    auto pix = LCodecAllocateArray<uint32_t>(size_t(width));
    auto plane = LCodecAllocateArray<uint8_t>(size_t(width));
    auto packed = LCodecAllocateArray<uint8_t>(size_t(width) * 2 + 1);
    if (!pix || !plane || !packed)
        return LProcessResultFailed;
    LCodecByteWriter<Base> out(*data.lpStream);
    out.Write(raw, sizeof raw);
    LCodecProgress progress(process, 0.0, 1.0, false);
    for (int y = 0; y < height; ++y)
    {
        LCodecReadRowBGRA(image, y, pix.get());
        for (int shift = 16; shift >= 0; shift -= 8)
        {
            for (int x = 0; x < width; ++x)
                plane[x] = uint8_t(pix[x] >> shift);
            size_t n = LPCXRLEEncoder::Encode(plane.get(), width, packed.get());
            if (width & 1)
                packed[n++] = 0;
            out.Write(packed.get(), n);
        }
        if (!progress.Step(double(y + 1) / height))
            return LProcessResultCancelled;
    }
    return out.Finish() ? LProcessResultSuccess : LProcessResultFailed;
}

template LProcessResult Process(LProcessInterface&, LProcessPCXLoad<LInputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessPCXLoad<LInputStreamBuffer>&);
template LProcessResult Process(LProcessInterface&, LProcessPCXSave<LOutputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessPCXSave<LOutputStreamByteArray>&);
