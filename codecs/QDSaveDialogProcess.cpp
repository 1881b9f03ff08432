#include "codecs/QDSaveDialogProcess.h"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "codecs/LImageMemoryCodec.h"
#include "codecs/LImageProcess.h"
#include "foundation/LFileAtomicWriter.h"
#include "image/LImgProBands.h"

bool QDSaveFormat::IsSameFile(const QDSaveFormat& o) const
{
    if (codec.id != o.codec.id)
        return false;
    switch (codec.id)
    {
    case LImageCodecJPEG:
        return settings.jpeg.iQuality == o.settings.jpeg.iQuality;
    case LImageCodecGIF:
        return bDither == o.bDither && bFastGif == o.bFastGif;
    case LImageCodecJPEG2000:
        return settings.jpeg2000.iMode == o.settings.jpeg2000.iMode &&
               (settings.jpeg2000.iMode == 0 || settings.jpeg2000.iQuality == o.settings.jpeg2000.iQuality);
    case LImageCodecPNM:
        return settings.pnm.iType == o.settings.pnm.iType &&
               settings.pnm.iBinThreshold == o.settings.pnm.iBinThreshold;
    case LImageCodecWEBP:
        return settings.webp.iQuality == o.settings.webp.iQuality;
    default:
        return true; // BMP is always 24 bits here; the rest have no options
    }
}

bool LImageIsOpaque(LProcessInterface& process, const LImageBuffer& image)
{
    if (image.GetPixelFormat() != B8G8R8A8)
        return true;
    std::atomic<bool> opaque{true};
    LImgProBandRunner runner(image.GetHeight());
    const int width = image.GetWidth();
    runner.Run(process,
               [&](const LImgProBand& band, LImgProBandRunner&)
               {
                   for (int y = band.iFirst;
                        y < band.iFirst + band.iCount && opaque.load(std::memory_order_relaxed); ++y)
                   {
                       const uint8_t* s = image.GetRow(y);
                       uint8_t all = 255;
                       for (int x = 0; x < width; ++x)
                           all &= s[4 * x + 3];
                       if (all != 255)
                           opaque = false;
                   }
                   return true;
               });
    return opaque;
}

bool QDSaveFormatNeedsFlattening(LImageCodec codec)
{
    return codec.id == LImageCodecJPEG || codec.id == LImageCodecGIF;
}

LProcessResult QDSaveGetSourceImage(LProcessInterface& process, LImageCodec codec, const LImageBuffer& image,
                                    LImageBuffer& flattened, const LImageBuffer*& source)
{
    source = &image;
    if (!QDSaveFormatNeedsFlattening(codec) || image.GetPixelFormat() != B8G8R8A8)
        return LProcessResultSuccess;
    if (!flattened.IsValid() || flattened.GetWidth() != image.GetWidth() ||
        flattened.GetHeight() != image.GetHeight())
    {
        // An opaque picture is its own flattened copy, as every photo is.
        if (LImageIsOpaque(process, image))
            return LProcessResultSuccess;
        const LProcessResult r = LImageFlattenOnWhite(process, image, flattened);
        if (r != LProcessResultSuccess)
            return r;
    }
    source = &flattened;
    return LProcessResultSuccess;
}

namespace
{
// The messages of the registry's dispatch are not the dialog's: it words failures itself.
class QuietProcess : public LProcessInterfaceNested
{
public:
    using LProcessInterfaceNested::LProcessInterfaceNested;
    void SetError(const char*) override {}
};

// The file's bytes count for most of the work; decoding them back the rest.
constexpr double kEncodeShare = 0.6;
} // namespace

LProcessResult QDSaveEncodeFile(LProcessInterface& process, const LImageBuffer& source,
                                const QDSaveFormat& format, std::vector<uint8_t>& file)
{
    file.clear();
    switch (format.codec.id)
    {
    case LImageCodecBMP:
        return LImageEncodeWith<LProcessBMPSave>(
            process, source, file,
            [](auto& d) { d.settings.SetPixelFormat(LCODEC_BMP_EncodeSettings::Bits24); });
    case LImageCodecGIF:
        // With or without the fast box, the file is the own encoder's.
        return LGIFEncodeAnimatedFrame(process, source, format.bDither, file);
    case LImageCodecJPEG:
        return LImageEncodeWith<LProcessJPEGSave>(
            process, source, file, [&](auto& d) { d.iQuality = format.settings.jpeg.iQuality; });
    case LImageCodecPNG:
        return LImageEncodeWith<LProcessPNGSave>(process, source, file, [](auto&) {});
    case LImageCodecTIFF:
        return LImageEncodeWith<LProcessTIFFSave>(process, source, file, [](auto&) {});
    default:
    {
        QuietProcess quiet(process);
        return LImageEncodeToMemory(quiet, source, format.codec, format.settings, file);
    }
    }
}

LProcessResult Process(LProcessInterface& process, QDSaveDialogProcessPreview& d)
{
    d.vFile.clear();
    d.preview.Destroy();
    d.bDecoded = false;
    d.szCaption[0] = 0;
    if (!d.lpImage || !d.lpImage->IsValid() || !d.format.codec.IsValid())
        return LProcessResultFailed;
    LImageBuffer localFlattened;
    LImageBuffer& flattened = d.lpFlattened ? *d.lpFlattened : localFlattened;
    const LImageBuffer* source = nullptr;
    LProcessResult r;
    {
        LProcessInterfaceSubProcess sub(process, 0.0, 0.1);
        r = QDSaveGetSourceImage(sub, d.format.codec, *d.lpImage, flattened, source);
    }
    if (r != LProcessResultSuccess)
        return r;
    {
        LProcessInterfaceSubProcess sub(process, 0.1, kEncodeShare - 0.1);
        r = QDSaveEncodeFile(sub, *source, d.format, d.vFile);
    }
    if (r != LProcessResultSuccess)
    {
        d.vFile.clear();
        return r;
    }
    if (process.IsToStop())
        return LProcessResultCancelled;

    LProcessInterfaceSubProcess sub(process, kEncodeShare, 1.0 - kEncodeShare);
    switch (d.format.codec.id)
    {
    case LImageCodecBMP:
        snprintf(d.szCaption, sizeof(d.szCaption), "BMP Preview");
        r = LImageDecodeWith<LProcessBMPLoad>(sub, d.vFile.data(), d.vFile.size(), d.preview);
        break;
    case LImageCodecGIF:
        snprintf(d.szCaption, sizeof(d.szCaption), "GIF Preview");
        if (!d.format.bFastGif)
            r = LGIFDecodeOwn(sub, d.vFile.data(), d.vFile.size(), d.preview);
        else if (d.format.bDither)
            // The fast conversion is the dithered median cut the file holds too; only the loop block
            // differs, which the platform decoder passes over.
            r = LImageDecodeWith<LProcessGIFLoad>(sub, d.vFile.data(), d.vFile.size(), d.preview);
        else
        {
            // The fast conversion dithers whatever the box says; the file doesn't.
            std::vector<uint8_t> fast;
            r = LImageEncodeWith<LProcessGIFSave>(sub, *source, fast, [](auto&) {});
            if (r == LProcessResultSuccess)
                r = LImageDecodeWith<LProcessGIFLoad>(sub, fast.data(), fast.size(), d.preview);
        }
        break;
    case LImageCodecJPEG:
        snprintf(d.szCaption, sizeof(d.szCaption), "JPEG Preview - %d Quality",
                 d.format.settings.jpeg.iQuality);
        r = LImageDecodeWith<LProcessJPEGLoad>(sub, d.vFile.data(), d.vFile.size(), d.preview);
        break;
    case LImageCodecPNG:
    case LImageCodecTIFF:
        // Lossless: the picture itself shows.
        snprintf(d.szCaption, sizeof(d.szCaption), "%s Preview", d.format.codec.GetName());
        r = LProcessResultSuccess;
        break;
    default:
    {
        snprintf(d.szCaption, sizeof(d.szCaption), "%s Preview", d.format.codec.GetName());
        QuietProcess quiet(sub);
        r = LImageDecodeFromMemory(quiet, d.vFile.data(), d.vFile.size(), d.format.codec, d.preview);
        break;
    }
    }
    if (r != LProcessResultSuccess)
    {
        d.vFile.clear();
        d.preview.Destroy();
        return r;
    }
    d.bDecoded = d.preview.IsValid();
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}

LProcessResult Process(LProcessInterface& process, QDSaveDialogProcessSave& d)
{
    if (!d.lpImage || !d.lpImage->IsValid() || !d.szFilePath[0])
        return LProcessResultFailed;
    std::vector<uint8_t> encoded;
    const std::vector<uint8_t>* file = d.lpFile;
    if (!file || file->empty())
    {
        LImageBuffer localFlattened;
        LImageBuffer& flattened = d.lpFlattened ? *d.lpFlattened : localFlattened;
        const LImageBuffer* source = nullptr;
        LProcessResult r = QDSaveGetSourceImage(process, d.format.codec, *d.lpImage, flattened, source);
        if (r == LProcessResultSuccess)
        {
            LProcessInterfaceSubProcess sub(process, 0.0, 0.9);
            r = QDSaveEncodeFile(sub, *source, d.format, encoded);
        }
        if (r != LProcessResultSuccess)
            return r;
        file = &encoded;
    }
    if (process.IsToStop())
        return LProcessResultCancelled;
    if (LFileWriteAtomic(d.szFilePath, file->data(), file->size()) != LFileAtomicWriterSuccess)
        return LProcessResultFailed;
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
