#include "codecs/LCodecPNM.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "codecs/LCodecIO.h"

namespace
{

// Header and plain-form tokens: bytes below 33 are blanks, "#" runs to the end of the line.
template <class Base>
class PNMTokenReader
{
public:
    explicit PNMTokenReader(LCodecByteReader<Base>& in) : lpIn(&in) {}

    void SkipBlanks()
    {
        for (;;)
        {
            const int c = lpIn->PeekByte();
            if (c == '#')
            {
                uint8_t b;
                while (lpIn->GetByte(b) && b != '\n' && b != '\r')
                {
                }
            }
            else if (c >= 0 && c < 33)
                lpIn->Skip(1);
            else
                return;
        }
    }
    // A decimal number; values past 2^31 saturate, which every caller refuses or clamps.
    bool ReadNumber(uint32_t& v)
    {
        SkipBlanks();
        int c = lpIn->PeekByte();
        if (c < '0' || c > '9')
            return false;
        uint64_t value = 0;
        while (c >= '0' && c <= '9')
        {
            value = std::min<uint64_t>(value * 10 + uint64_t(c - '0'), 0x80000000u);
            lpIn->Skip(1);
            c = lpIn->PeekByte();
        }
        v = uint32_t(value);
        return true;
    }

private:
    LCodecByteReader<Base>* lpIn;
};

inline void PNMStore(uint8_t* dst, uint8_t r, uint8_t g, uint8_t b)
{
    dst[0] = b, dst[1] = g, dst[2] = r;
}

} // namespace

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPNMLoad<Base>& data)
{
    process.SetStatusF(0, "Decoding %s image", "PNM");
    if (!data.lpStream || !data.lpImage || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    LCodecByteReader<Base> in(*data.lpStream);
    PNMTokenReader<Base> tokens(in);
    uint8_t magic[2];
    if (!in.Read(magic, 2) || magic[0] != 'P' || magic[1] < '1' || magic[1] > '6')
        return LProcessResultFailed;
    const int type = magic[1] - '0';
    const bool plain = type <= 3;
    uint32_t width, height, maximum = 1;
    if (!tokens.ReadNumber(width) || !tokens.ReadNumber(height))
        return LProcessResultFailed;
    if (type != 1 && type != 4 && (!tokens.ReadNumber(maximum) || maximum == 0 || maximum > 65535))
        return LProcessResultFailed;
    if (!plain)
    {
        uint8_t blank;
        if (!in.GetByte(blank) || blank >= 33)
            return LProcessResultFailed;
    }
    if (width == 0 || height == 0 || width > 0x7FFFFFFF || height > 0x7FFFFFFF)
        return LProcessResultFailed;

    const int channels = (type == 3 || type == 6) ? 3 : 1;
    const int sampleBytes = maximum >= 256 ? 2 : 1;
    const uint64_t samples = uint64_t(width) * height * uint64_t(channels);
    const uint64_t rowBytes =
        type == 4 ? (uint64_t(width) + 7) / 8 : uint64_t(width) * channels * sampleBytes;
    // Plain samples need a character each and, but for P1, a blank between them.
    const uint64_t minimum = type == 1 ? samples : plain ? samples * 2 - 1 : rowBytes * height;
    if (uint64_t(in.Remaining()) < minimum)
        return LProcessResultFailed;
    LImageBuffer& image = *data.lpImage;
    if (!LCodecCheckPicture(process, uint64_t(width), uint64_t(height), 0, 0) ||
        !LCodecAllocateTarget(image, int(width), int(height), false))
        return LProcessResultFailed;

    std::vector<uint8_t> scale(maximum >= 256 ? 65536 : 256);
    for (size_t v = 0; v < scale.size(); ++v)
        scale[v] = uint8_t(std::min<uint64_t>(255, v * 255 / maximum));
    auto line = LCodecAllocateArray<uint8_t>(plain ? 1 : size_t(rowBytes));
    if (!line)
        return LProcessResultFailed;

    LCodecProgress progress(process, 0.0, 1.0, false);
    for (uint32_t y = 0; y < height; ++y)
    {
        uint8_t* dst = image.GetRow(int(y));
        if (type == 1)
        {
            for (uint32_t x = 0; x < width; ++x, dst += 3)
            {
                tokens.SkipBlanks();
                uint8_t c;
                if (!in.GetByte(c) || (c != '0' && c != '1'))
                    return LProcessResultFailed;
                const uint8_t v = c == '1' ? 0 : 255;
                PNMStore(dst, v, v, v);
            }
        }
        else if (plain)
        {
            uint32_t s[3];
            for (uint32_t x = 0; x < width; ++x, dst += 3)
            {
                for (int c = 0; c < channels; ++c)
                {
                    if (!tokens.ReadNumber(s[c]))
                        return LProcessResultFailed;
                    s[c] = s[c] < scale.size() ? scale[s[c]] : 255;
                }
                if (channels == 1)
                    PNMStore(dst, uint8_t(s[0]), uint8_t(s[0]), uint8_t(s[0]));
                else
                    PNMStore(dst, uint8_t(s[0]), uint8_t(s[1]), uint8_t(s[2]));
            }
        }
        else
        {
            if (!in.Read(line.get(), size_t(rowBytes)))
                return LProcessResultFailed;
            const uint8_t* src = line.get();
            if (type == 4)
            {
                for (uint32_t x = 0; x < width; ++x, dst += 3)
                {
                    const uint8_t v = (src[x >> 3] >> (7 - (x & 7))) & 1 ? 0 : 255;
                    PNMStore(dst, v, v, v);
                }
            }
            else if (sampleBytes == 1)
            {
                const uint8_t* lut = scale.data();
                if (channels == 1)
                    for (uint32_t x = 0; x < width; ++x, dst += 3)
                        dst[0] = dst[1] = dst[2] = lut[src[x]];
                else
                    for (uint32_t x = 0; x < width; ++x, dst += 3, src += 3)
                        PNMStore(dst, lut[src[0]], lut[src[1]], lut[src[2]]);
            }
            else
            {
                const uint8_t* lut = scale.data();
                auto sample = [lut](const uint8_t* p) { return lut[p[0] << 8 | p[1]]; };
                if (channels == 1)
                    for (uint32_t x = 0; x < width; ++x, dst += 3, src += 2)
                        dst[0] = dst[1] = dst[2] = sample(src);
                else
                    for (uint32_t x = 0; x < width; ++x, dst += 3, src += 6)
                        PNMStore(dst, sample(src), sample(src + 2), sample(src + 4));
            }
        }
        if (!progress.Step(double(y + 1) / height))
            return LProcessResultCancelled;
    }
    if (plain)
        process.SetProgress(1.0);
    data.iBitDepth = type == 1 || type == 4 ? 1 : (maximum >= 256 ? 16 : 8) * channels;
    return LProcessResultSuccess;
}

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessPNMSave<Base>& data)
{
    process.SetStatusF(0, "Encoding %s image", "PNM");
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid() || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    const int type = data.settings.iType;
    if (type < 0 || type > 5)
        return LProcessResultFailed;
    const LImageBuffer& image = *data.lpImage;
    const int width = image.GetWidth(), height = image.GetHeight();
    const bool mono = type == 0 || type == 3, grey = type == 1 || type == 4, plain = type <= 2;
    const int threshold = data.settings.iBinThreshold;

    char header[64];
    const int headerLength =
        mono ? snprintf(header, sizeof header, "P%d\n%d %d\n", type + 1, width, height)
             : snprintf(header, sizeof header, "P%d\n%d %d\n255\n", type + 1, width, height);

    // Decimal forms of all byte values, each with its trailing blank.
    char decimal[256][5];
    uint8_t decimalLength[256];
    for (int v = 0; v < 256; ++v)
        decimalLength[v] = uint8_t(snprintf(decimal[v], sizeof decimal[v], "%d ", v));

    const size_t lineSize = plain ? size_t(width) * 12 + 1 : size_t(width) * 3;
    auto pix = LCodecAllocateArray<uint32_t>(size_t(width));
    auto line = LCodecAllocateArray<uint8_t>(lineSize);
    auto sample = LCodecAllocateArray<uint8_t>(size_t(width));
    if (!pix || !line || !sample)
        return LProcessResultFailed;

    LCodecByteWriter<Base> out(*data.lpStream);
    out.Write(header, size_t(headerLength));
    LCodecProgress progress(process, 0.0, 1.0, false);
    for (int y = 0; y < height; ++y)
    {
        LCodecReadRowBGRA(image, y, pix.get());
        if (mono || grey)
        {
            // The black-and-white conversion; its red channel is the sample.
            for (int x = 0; x < width; ++x)
            {
                const uint32_t v = pix[x];
                const uint32_t b = v & 0xFF, g = (v >> 8) & 0xFF, r = (v >> 16) & 0xFF;
                const uint8_t l = uint8_t((r * 76 + g * 155 + b * 25) >> 8);
                sample[x] = mono ? (l >= threshold ? 1 : 0) : l;
            }
        }
        uint8_t* p = line.get();
        if (plain)
        {
            auto put = [&p, &decimal, &decimalLength](uint8_t v)
            {
                memcpy(p, decimal[v], 4);
                p += decimalLength[v];
            };
            if (type == 2)
                for (int x = 0; x < width; ++x)
                    put(uint8_t(pix[x] >> 16)), put(uint8_t(pix[x] >> 8)), put(uint8_t(pix[x]));
            else
                for (int x = 0; x < width; ++x)
                    put(sample[x]);
            if (p != line.get()) // the last blank ends the line
                p[-1] = '\n';
        }
        else if (type == 3)
        {
            memset(p, 0, size_t(width + 7) / 8);
            for (int x = 0; x < width; ++x)
                p[x >> 3] |= uint8_t(sample[x] << (7 - (x & 7)));
            p += (width + 7) / 8;
        }
        else if (type == 4)
        {
            memcpy(p, sample.get(), size_t(width));
            p += width;
        }
        else
        {
            for (int x = 0; x < width; ++x, p += 3)
                p[0] = uint8_t(pix[x] >> 16), p[1] = uint8_t(pix[x] >> 8), p[2] = uint8_t(pix[x]);
        }
        out.Write(line.get(), size_t(p - line.get()));
        if (!progress.Step(double(y + 1) / height))
            return LProcessResultCancelled;
    }
    return out.Finish() ? LProcessResultSuccess : LProcessResultFailed;
}

template LProcessResult Process(LProcessInterface&, LProcessPNMLoad<LInputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessPNMLoad<LInputStreamBuffer>&);
template LProcessResult Process(LProcessInterface&, LProcessPNMSave<LOutputStreamFile>&);
template LProcessResult Process(LProcessInterface&, LProcessPNMSave<LOutputStreamByteArray>&);
