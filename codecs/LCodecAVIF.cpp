#include "codecs/LCodecAVIF.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include <avif/avif.h>

#include "codecs/LCodecIO.h"

namespace
{
// Rows converted between colour models at a time: progress and a stop are seen at each band.
constexpr int kBand = 64;

struct DecoderDeleter
{
    void operator()(avifDecoder* d) const { avifDecoderDestroy(d); }
};
struct EncoderDeleter
{
    void operator()(avifEncoder* e) const { avifEncoderDestroy(e); }
};
struct ImageDeleter
{
    void operator()(avifImage* i) const { avifImageDestroy(i); }
};
using ImagePtr = std::unique_ptr<avifImage, ImageDeleter>;

int Orientation(const avifImage* img)
{
    const int turns = img->transformFlags & AVIF_TRANSFORM_IROT ? img->irot.angle & 3 : 0;
    // The box's mode 0 exchanges top and bottom, 1 left and right.
    const int mirror = img->transformFlags & AVIF_TRANSFORM_IMIR ? (img->imir.mode ? 2 : 1) : 0;
    return LCodecOrientationFromRotateMirror(turns, mirror);
}

void KeepMetadata(const avifImage* img, LImageMetadata& metadata)
{
    metadata.Clear();
    LCodecSetExif(metadata.arExif, img->exif.data, img->exif.size);
    if (img->xmp.size)
        metadata.arXmp.assign(img->xmp.data, img->xmp.data + img->xmp.size);
    if (img->icc.size)
        metadata.arIcc.assign(img->icc.data, img->icc.data + img->icc.size);
}
} // namespace

LProcessResult LCodecAVIFDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth, LImageMetadata* metadata)
{
    process.SetStatus("Decoding AVIF image", 0);
    bitDepth = 0;
    LCodecWholeInput whole;
    if (const LProcessResult r = whole.Read(process, input, 0.1); r != LProcessResultSuccess)
        return r;
    std::unique_ptr<avifDecoder, DecoderDeleter> dec(avifDecoderCreate());
    if (!dec)
        return LProcessResultFailed;
    dec->maxThreads = LCodecLibraryThreads();
    // Phones and converters write files that bend the rules in harmless ways.
    dec->strictFlags = AVIF_STRICT_DISABLED;
    dec->imageSizeLimit = uint32_t(std::min<uint64_t>(LCodecGetPixelLimit(), AVIF_DEFAULT_IMAGE_SIZE_LIMIT));
    dec->imageDimensionLimit = uint32_t(kLCodecMaxSide);
    if (avifDecoderSetIOMemory(dec.get(), whole.GetData(), whole.GetSize()) != AVIF_RESULT_OK ||
        avifDecoderParse(dec.get()) != AVIF_RESULT_OK)
        return LProcessResultFailed;
    const avifImage* head = dec->image;
    if (!LCodecCheckPicture(process, head->width, head->height, int64_t(whole.GetSize()),
                            kLCodecMaxPixelsPerByte))
        return LProcessResultFailed;
    if (process.IsToStop())
        return LProcessResultCancelled;
    if (avifDecoderNextImage(dec.get()) != AVIF_RESULT_OK)
        return LProcessResultFailed;
    if (process.IsToStop())
        return LProcessResultCancelled;
    const avifImage* img = dec->image;
    if (!img->yuvPlanes[AVIF_CHAN_Y] || !LCodecAllocate(image, img->width, img->height))
        return LProcessResultFailed;
    ImagePtr view(avifImageCreateEmpty());
    if (!view)
        return LProcessResultFailed;
    LCodecProgress progress(process, 0.6, 0.35);
    const int h = int(img->height);
    for (int y = 0; y < h; y += kBand)
    {
        // Bands start on even rows, so they stay on chroma rows of subsampled pictures.
        const avifCropRect rect = {0, uint32_t(y), img->width, uint32_t(std::min(kBand, h - y))};
        if (avifImageSetViewRect(view.get(), img, &rect) != AVIF_RESULT_OK)
            return image.Destroy(), LProcessResultFailed;
        avifRGBImage rgb;
        avifRGBImageSetDefaults(&rgb, view.get());
        rgb.format = AVIF_RGB_FORMAT_BGRA;
        rgb.depth = 8;
        rgb.alphaPremultiplied = AVIF_FALSE;
        rgb.pixels = image.GetRow(y);
        rgb.rowBytes = image.GetWidthBytes();
        if (avifImageYUVToRGB(view.get(), &rgb) != AVIF_RESULT_OK)
            return image.Destroy(), LProcessResultFailed;
        if (!progress.Row(y + rect.height, h))
            return image.Destroy(), LProcessResultCancelled;
    }
    if (!LCodecApplyOrientation(image, Orientation(img)))
        return image.Destroy(), LProcessResultFailed;
    const bool grey = img->yuvFormat == AVIF_PIXEL_FORMAT_YUV400;
    bitDepth = int(img->depth) * ((grey ? 1 : 3) + (img->alphaPlane ? 1 : 0));
    if (metadata)
        KeepMetadata(img, *metadata);
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}

LProcessResult LCodecAVIFEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                                const LCODEC_AVIF_EncodeSettings& settings,
                                const LImageMetadata* metadata)
{
    process.SetStatus("Encoding AVIF image", 0);
    LCodecSourceRows source(image);
    if (!source.IsValid())
        return LProcessResultFailed;
    const int w = source.GetWidth(), h = source.GetHeight();
    const int quality = std::clamp(settings.iQuality, 0, 100);
    const bool lossless = quality == 100;
    const bool alpha = !source.IsOpaque();
    ImagePtr img(avifImageCreate(uint32_t(w), uint32_t(h), 8, AVIF_PIXEL_FORMAT_YUV444));
    if (!img)
        return LProcessResultFailed;
    img->yuvRange = AVIF_RANGE_FULL;
    // Lossless coding needs the colour untransformed; a photograph is better served by BT.601.
    img->matrixCoefficients = lossless ? AVIF_MATRIX_COEFFICIENTS_IDENTITY : AVIF_MATRIX_COEFFICIENTS_BT601;
    img->colorPrimaries = AVIF_COLOR_PRIMARIES_BT709;
    img->transferCharacteristics = AVIF_TRANSFER_CHARACTERISTICS_SRGB;
    avifImageAllocatePlanes(img.get(), alpha ? AVIF_PLANES_ALL : AVIF_PLANES_YUV);
    if (!img->yuvPlanes[AVIF_CHAN_Y] || (alpha && !img->alphaPlane))
        return LProcessResultFailed;
    if (metadata)
    {
        if (!metadata->arIcc.empty())
            avifImageSetProfileICC(img.get(), metadata->arIcc.data(), metadata->arIcc.size());
        if (!metadata->arExif.empty())
            avifImageSetMetadataExif(img.get(), metadata->arExif.data(), metadata->arExif.size());
        if (!metadata->arXmp.empty())
            avifImageSetMetadataXMP(img.get(), metadata->arXmp.data(), metadata->arXmp.size());
    }
    // The library converts the whole picture in one call, from rows at one stride: the buffer's
    // own when they lie so, else a copy.
    std::unique_ptr<uint8_t[]> copy;
    const uint8_t* pixels = image.GetPixelFormat() == B8G8R8A8 ? image.GetRow(0) : nullptr;
    const size_t rowBytes = image.GetWidthBytes();
    if (h > 1 && pixels && image.GetRow(1) != pixels + rowBytes)
        pixels = nullptr;
    if (!pixels)
    {
        copy = LCodecAllocateArray<uint8_t>(size_t(w) * 4 * size_t(h));
        if (!copy)
            return LProcessResultFailed;
        LCodecProgress progress(process, 0.0, 0.1);
        for (int y = 0; y < h; ++y)
        {
            memcpy(copy.get() + size_t(y) * w * 4, source.Row(y), size_t(w) * 4);
            if (!progress.Row(y + 1, h))
                return LProcessResultCancelled;
        }
        pixels = copy.get();
    }
    avifRGBImage rgb;
    avifRGBImageSetDefaults(&rgb, img.get());
    rgb.format = AVIF_RGB_FORMAT_BGRA;
    rgb.depth = 8;
    rgb.ignoreAlpha = alpha ? AVIF_FALSE : AVIF_TRUE;
    rgb.pixels = const_cast<uint8_t*>(pixels);
    rgb.rowBytes = uint32_t(copy ? size_t(w) * 4 : rowBytes);
    if (avifImageRGBToYUV(img.get(), &rgb) != AVIF_RESULT_OK)
        return LProcessResultFailed;
    copy.reset();
    process.SetProgress(0.2);
    if (process.IsToStop())
        return LProcessResultCancelled;
    std::unique_ptr<avifEncoder, EncoderDeleter> enc(avifEncoderCreate());
    if (!enc)
        return LProcessResultFailed;
    enc->maxThreads = LCodecLibraryThreads();
    enc->speed = std::clamp(settings.iSpeed, AVIF_SPEED_SLOWEST, AVIF_SPEED_FASTEST);
    const int quantizer = (100 - quality) * AVIF_QUANTIZER_WORST_QUALITY / 100;
    enc->minQuantizer = enc->maxQuantizer = quantizer;
    // Transparency edges show every coding error, so alpha is always kept exactly.
    enc->minQuantizerAlpha = enc->maxQuantizerAlpha = AVIF_QUANTIZER_LOSSLESS;
    avifRWData out = AVIF_DATA_EMPTY;
    const avifResult result = avifEncoderWrite(enc.get(), img.get(), &out);
    if (process.IsToStop())
    {
        avifRWDataFree(&out);
        return LProcessResultCancelled;
    }
    const bool ok = result == AVIF_RESULT_OK && output.Write(out.data, out.size);
    avifRWDataFree(&out);
    process.SetProgress(1.0);
    return ok ? LProcessResultSuccess : LProcessResultFailed;
}
