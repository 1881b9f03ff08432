#include "codecs/LCodecWBMP.h"

#include <cmath>
#include <cstdlib>

#include "codecs/LCodecIO.h"

int LWBMPEncodeMultiByte(uint32_t value, uint8_t* out)
{
    if (value >= (1u << 28))
        return 0;
    int groups = 1;
    while (groups < 4 && (value >> (7 * groups)) != 0)
        ++groups;
    for (int i = 0; i < groups; ++i)
    {
        const int shift = 7 * (groups - 1 - i);
        out[i] = uint8_t(((value >> shift) & 0x7F) | (i + 1 < groups ? 0x80 : 0));
    }
    return groups;
}

namespace
{

// At most five bytes, so the value stays within 32 bits; longer forms are refused.
template <class Base>
bool WBMPReadMultiByte(LCodecByteReader<Base>& in, uint32_t& value)
{
    uint64_t v = 0;
    for (int i = 0; i < 5; ++i)
    {
        uint8_t b;
        if (!in.GetByte(b))
            return false;
        v = v << 7 | (b & 0x7F);
        if (!(b & 0x80))
        {
            if (v > 0xFFFFFFFFu)
                return false;
            value = uint32_t(v);
            return true;
        }
    }
    return false;
}

} // namespace

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessWBMPLoad<Base>& data)
{
    process.SetStatusF(0, "Decoding %s image", "WBMP");
    if (!data.lpStream || !data.lpImage || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    LCodecByteReader<Base> in(*data.lpStream);
    uint32_t type, width, height;
    uint8_t fixed;
    if (!WBMPReadMultiByte(in, type) || type != 0 || !in.GetByte(fixed) || fixed != 0 ||
        !WBMPReadMultiByte(in, width) || !WBMPReadMultiByte(in, height))
        return LProcessResultFailed;
    if (width == 0 || height == 0 || width > 0x7FFFFFFF || height > 0x7FFFFFFF)
        return LProcessResultFailed;
    const uint64_t rowBytes = (uint64_t(width) + 7) / 8;
    if (uint64_t(in.Remaining()) < rowBytes * height)
        return LProcessResultFailed;
    LImageBuffer& image = *data.lpImage;
    if (!LCodecCheckPicture(process, uint64_t(width), uint64_t(height), 0, 0) ||
        !LCodecAllocateTarget(image, int(width), int(height), false))
        return LProcessResultFailed;
    auto line = LCodecAllocateArray<uint8_t>(size_t(rowBytes));
    if (!line)
        return LProcessResultFailed;
    LCodecProgress progress(process, 0.0, 1.0, false);
    for (uint32_t y = 0; y < height; ++y)
    {
        if (!in.Read(line.get(), size_t(rowBytes)))
            return LProcessResultFailed;
        uint8_t* dst = image.GetRow(int(y));
        for (uint32_t x = 0; x < width; ++x, dst += 3)
            dst[0] = dst[1] = dst[2] = (line[x >> 3] >> (7 - (x & 7))) & 1 ? 255 : 0;
        if (!progress.Step(double(y + 1) / height))
            return LProcessResultCancelled;
    }
    data.iBitDepth = 2;
    return LProcessResultSuccess;
}

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessWBMPSave<Base>& data)
{
    process.SetStatusF(0, "Encoding %s image", "WBMP");
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid() || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    const LImageBuffer& image = *data.lpImage;
    const int width = image.GetWidth(), height = image.GetHeight();
    uint8_t header[10] = {0, 0};
    int length = 2, n;
    if ((n = LWBMPEncodeMultiByte(uint32_t(width), header + length)) == 0)
        return LProcessResultFailed;
    length += n;
    if ((n = LWBMPEncodeMultiByte(uint32_t(height), header + length)) == 0)
        return LProcessResultFailed;
    length += n;

    const size_t rowBytes = (size_t(width) + 7) / 8;
    auto pix = LCodecAllocateArray<uint32_t>(size_t(width));
    auto line = LCodecAllocateArray<uint8_t>(rowBytes);
    if (!pix || !line)
        return LProcessResultFailed;
    LCodecByteWriter<Base> out(*data.lpStream);
    out.Write(header, size_t(length));
    double counter = 0; // pixels written so far in the image
    for (int y = 0; y < height; ++y)
    {
        LCodecReadRowBGRA(image, y, pix.get());
        memset(line.get(), 0, rowBytes);
        for (int x = 0; x < width; ++x, counter += 1)
        {
            const uint32_t v = pix[x];
            const double l = double(v & 0xFF) / 255 * 0.11 + double((v >> 8) & 0xFF) / 255 * 0.59 +
                             double((v >> 16) & 0xFF) / 255 * 0.3;
            const double t = (double(rand() % 1000) / 999 - 0.5) * 0.5 + 0.5;
            bool white;
            if (l <= 0.1)
                white = false;
            else if (l >= 0.9)
                white = true;
            else
            {
                // Light and dark shares of a period of a + b pixels, laid out along the counter.
                const double a = l < 0.5 ? 1.0 : l / (1 - l);
                const double b = l < 0.5 ? (1 - l) / l : 1.0;
                const double p = a + b;
                const double m = counter - p * std::trunc(counter / p);
                white = (rand() & 1) ? a > m : l > t;
            }
            if (white)
                line[x >> 3] |= uint8_t(0x80 >> (x & 7));
        }
        out.Write(line.get(), rowBytes);
    }
    return out.Finish() ? LProcessResultSuccess : LProcessResultFailed;
}

template LProcessResult Process(LProcessInterface&, LProcessWBMPLoad<LInputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessWBMPLoad<LInputStreamBuffer>&);
template LProcessResult Process(LProcessInterface&, LProcessWBMPSave<LOutputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessWBMPSave<LOutputStreamByteArray>&);
