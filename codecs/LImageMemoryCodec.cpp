#include "codecs/LImageMemoryCodec.h"

#include <cstdio>
#include <unistd.h>

#include "codecs/LGIFDecoder.h"
#include "codecs/LGIFEncoder.h"
#include "codecs/LImageProcess.h"
#include "foundation/LFile.h"
#include "image/LImgProBands.h"

LProcessResult LImageEncodeToMemory(LProcessInterface& process, const LImageBuffer& image, LImageCodec codec,
                                    const LImageEncodeSettings& settings, std::vector<uint8_t>& out)
{
    out.clear();
    if (codec.id != LImageCodecPSD)
    {
        LOutputStream<LOutputStreamByteArray> stream;
        LProcessImageSave<LOutputStreamByteArray> save;
        save.lpImage = &image;
        save.codec = codec;
        save.settings = settings;
        save.lpStream = &stream;
        const LProcessResult r = Process(process, save);
        if (r == LProcessResultSuccess)
            out.swap(stream.GetArray());
        return r;
    }
    // The PSD writer goes back over what it wrote through the file stream alone.
    char temp[LFILE_MAX_PATH];
    if (!LFileTempPathInTempFolder(temp, ".psd"))
    {
        process.SetError("The image could not be saved");
        return LProcessResultFailed;
    }
    LProcessResult r;
    {
        LOutputStream<LOutputStreamFile> stream;
        if (!stream.Open(temp))
            r = LProcessResultFailed;
        else
        {
            LProcessImageSave<LOutputStreamFile> save;
            save.lpImage = &image;
            save.codec = codec;
            save.settings = settings;
            save.lpStream = &stream;
            r = Process(process, save);
            if (!stream.Close() && r == LProcessResultSuccess)
                r = LProcessResultFailed;
        }
    }
    if (r == LProcessResultSuccess)
    {
        LInputStream<LInputStreamFile> in;
        const int64_t size = in.Open(temp) ? in.GetSize64() : -1;
        out.resize(size > 0 ? size_t(size) : 0);
        if (size <= 0 || !in.Read(out.data(), out.size()))
        {
            out.clear();
            process.SetError("The image could not be saved");
            r = LProcessResultFailed;
        }
    }
    unlink(temp);
    return r;
}

LProcessResult LImageDecodeFromMemory(LProcessInterface& process, const uint8_t* data, size_t size,
                                      LImageCodec codec, LImageBuffer& image)
{
    LInputStream<LInputStreamBuffer> stream;
    stream.SetBuffer(data, size);
    LProcessImageLoad<LInputStreamBuffer> load;
    load.lpStream = &stream;
    load.codec = codec;
    load.lpImage = &image;
    return Process(process, load);
}

LProcessResult LGIFEncodeAnimatedFrame(LProcessInterface& process, const LImageBuffer& image, bool bDither,
                                       std::vector<uint8_t>& out)
{
    out.clear();
    process.SetStatusF(0, "Encoding %s image", "GIF");
    if (!image.IsValid())
        return LProcessResultFailed;
    LOutputStream<LOutputStreamByteArray> stream;
    LProcessResult r;
    {
        LGIFEncoder<LOutputStreamByteArray> encoder(stream, image.GetWidth(), image.GetHeight(), 0);
        encoder.bDither = bDither;
        encoder.iPaletteMethod = 1;
        r = encoder.AddFrame(process, image, 0, 0, 100, false, 256);
        if (r == LProcessResultSuccess && !encoder.Finalise())
            r = LProcessResultFailed;
    }
    if (r == LProcessResultSuccess)
        out.swap(stream.GetArray());
    return r;
}

LProcessResult LGIFDecodeOwn(LProcessInterface& process, const uint8_t* data, size_t size,
                             LImageBuffer& image)
{
    LInputStream<LInputStreamBuffer> stream;
    stream.SetBuffer(data, size);
    LGIFDecoder<LInputStreamBuffer> decoder(stream);
    LProcessResult r = decoder.Open(process);
    if (r != LProcessResultSuccess)
        return r;
    int bits = 0;
    r = decoder.GetFrame(process, image, bits, 0);
    if (r != LProcessResultSuccess)
        image.Destroy();
    return r;
}

LProcessResult LImageFlattenOnWhite(LProcessInterface& process, const LImageBuffer& image, LImageBuffer& out)
{
    out.Destroy();
    if (!image.IsValid())
        return LProcessResultFailed;
    if (!out.AllocateNewBuffer(LImageFormat(B8G8R8A8, image.GetWidth(), image.GetHeight())))
        return LProcessResultFailed;
    if (image.GetPixelFormat() != B8G8R8A8)
    {
        // Formats without alpha have nothing to flatten.
        LConvertPixelFormat(out, image);
        return LProcessResultSuccess;
    }
    LImgProBandRunner runner(image.GetHeight());
    const int width = image.GetWidth();
    const int stopped = runner.Run(process,
                                   [&](const LImgProBand& band, LImgProBandRunner& r)
                                   {
                                       for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                                       {
                                           if (r.IsToStop(band))
                                               return false;
                                           const uint8_t* s = image.GetRow(y);
                                           uint8_t* d = out.GetRow(y);
                                           for (int x = 0; x < width; ++x, s += 4, d += 4)
                                           {
                                               // White under the pixel: c * a + 255 * (255 - a), over 255,
                                               // rounded.
                                               const unsigned a = s[3], under = 255 * (255 - a);
                                               d[0] = uint8_t((s[0] * a + under + 127) / 255);
                                               d[1] = uint8_t((s[1] * a + under + 127) / 255);
                                               d[2] = uint8_t((s[2] * a + under + 127) / 255);
                                               d[3] = 255;
                                           }
                                           r.SetProgress(band, double(y - band.iFirst + 1) / band.iCount);
                                       }
                                       return true;
                                   });
    if (stopped)
    {
        out.Destroy();
        return LProcessResultCancelled;
    }
    return LProcessResultSuccess;
}
