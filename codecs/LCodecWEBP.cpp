#include "codecs/LCodecWEBP.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>

namespace
{
constexpr size_t kBlock = 65536;

void MakeOpaque(LImageBuffer& image)
{
    for (int y = 0; y < image.GetHeight(); ++y)
    {
        uint8_t* p = image.GetRow(y);
        for (int x = 0; x < image.GetWidth(); ++x)
            p[4 * x + 3] = 255;
    }
}

// The first frame of an animation, composed on its canvas.
LProcessResult DecodeAnimation(LCodecReader& input, std::vector<uint8_t>& data, LImageBuffer& image)
{
    uint8_t block[kBlock];
    size_t n;
    while ((n = input.Read(block, sizeof(block))) > 0)
        data.insert(data.end(), block, block + n);
    WebPAnimDecoderOptions options;
    if (!WebPAnimDecoderOptionsInit(&options))
        return LProcessResultFailed;
    options.color_mode = MODE_BGRA;
    options.use_threads = 0;
    WebPData webp = {data.data(), data.size()};
    WebPAnimDecoder* dec = WebPAnimDecoderNew(&webp, &options);
    if (!dec)
        return LProcessResultFailed;
    WebPAnimInfo info;
    uint8_t* frame = nullptr;
    int timestamp = 0;
    LProcessResult r = LProcessResultFailed;
    if (WebPAnimDecoderGetInfo(dec, &info) && LCodecAllocate(image, info.canvas_width, info.canvas_height) &&
        WebPAnimDecoderGetNext(dec, &frame, &timestamp))
    {
        for (uint32_t y = 0; y < info.canvas_height; ++y)
            memcpy(image.GetRow(int(y)), frame + size_t(y) * info.canvas_width * 4,
                   size_t(info.canvas_width) * 4);
        r = LProcessResultSuccess;
    }
    WebPAnimDecoderDelete(dec);
    return r;
}

struct Writer
{
    LCodecWriter* lpOutput;
    bool bFailed;
};

int WriteFn(const uint8_t* data, size_t size, const WebPPicture* picture)
{
    Writer* w = static_cast<Writer*>(picture->custom_ptr);
    if (!w->lpOutput->Write(data, size))
    {
        w->bFailed = true;
        return 0;
    }
    return 1;
}

struct ProgressHook
{
    LProcessInterface* lpProcess;
    bool bStopped;
};

int ProgressFn(int percent, const WebPPicture* picture)
{
    ProgressHook* hook = static_cast<ProgressHook*>(picture->user_data);
    hook->lpProcess->SetProgress(0.2 + 0.8 * percent / 100.0);
    if (hook->lpProcess->IsToStop())
    {
        hook->bStopped = true;
        return 0;
    }
    return 1;
}
} // namespace

LProcessResult LCodecWEBPDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth)
{
    process.SetStatus("Decoding WebP image", 0);
    bitDepth = 0;
    // Enough of the head for the features, then the rest in blocks through the incremental decoder.
    std::vector<uint8_t> head;
    WebPBitstreamFeatures features;
    for (;;)
    {
        uint8_t block[4096];
        const size_t n = input.Read(block, sizeof(block));
        head.insert(head.end(), block, block + n);
        const VP8StatusCode status = WebPGetFeatures(head.data(), head.size(), &features);
        if (status == VP8_STATUS_OK)
            break;
        if (status != VP8_STATUS_NOT_ENOUGH_DATA || n == 0 || head.size() > (1u << 24))
            return LProcessResultFailed;
    }
    if (process.IsToStop())
        return LProcessResultCancelled;
    // A lossless picture of one colour costs next to nothing, so a few bytes can claim gigapixels;
    // the library allocates the whole of it before it reads a pixel.
    const int64_t size = input.GetSize();
    const int64_t fileBytes = size < 0 ? INT64_MAX : int64_t(head.size()) + size - input.Tell();
    if (!LCodecCheckPicture(process, uint64_t(features.width), uint64_t(features.height), fileBytes,
                            kLCodecMaxPixelsPerByte))
        return LProcessResultFailed;
    if (features.has_animation)
    {
        const LProcessResult r = DecodeAnimation(input, head, image);
        if (r == LProcessResultSuccess)
        {
            bitDepth = features.has_alpha ? 32 : 24;
            if (!features.has_alpha)
                MakeOpaque(image);
        }
        else
            image.Destroy();
        return r;
    }
    if (!LCodecAllocate(image, uint64_t(features.width), uint64_t(features.height)))
        return LProcessResultFailed;
    WebPDecoderConfig config;
    if (!WebPInitDecoderConfig(&config))
        return LProcessResultFailed;
    const int w = image.GetWidth(), h = image.GetHeight();
    config.output.colorspace = MODE_BGRA;
    config.output.is_external_memory = 1;
    config.output.u.RGBA.rgba = image.GetData();
    config.output.u.RGBA.stride = int(image.GetWidthBytes());
    config.output.u.RGBA.size = size_t(image.GetFormat().CalculateBufferSize64());
    WebPIDecoder* dec = WebPIDecode(nullptr, 0, &config);
    if (!dec)
    {
        image.Destroy();
        return LProcessResultFailed;
    }
    LProcessResult r = LProcessResultFailed;
    VP8StatusCode status = WebPIAppend(dec, head.data(), head.size());
    LCodecProgress progress(process);
    std::vector<uint8_t> block(kBlock);
    while (status == VP8_STATUS_SUSPENDED)
    {
        const size_t n = input.Read(block.data(), block.size());
        if (n == 0)
            break; // cut short
        status = WebPIAppend(dec, block.data(), n);
        int lastY = 0;
        WebPIDecGetRGB(dec, &lastY, nullptr, nullptr, nullptr);
        if (!progress.Row(lastY, h))
        {
            status = VP8_STATUS_USER_ABORT;
            r = LProcessResultCancelled;
            break;
        }
    }
    if (status == VP8_STATUS_OK)
        r = LProcessResultSuccess;
    WebPIDelete(dec);
    WebPFreeDecBuffer(&config.output);
    (void)w;
    if (r != LProcessResultSuccess)
        image.Destroy();
    else
    {
        bitDepth = features.has_alpha ? 32 : 24;
        // The header says whether alpha is used; a lossless stream carries the channel either way.
        if (!features.has_alpha)
            MakeOpaque(image);
    }
    return r;
}

LProcessResult LCodecWEBPEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                                const LCODEC_WebP_EncodeSettings& settings)
{
    process.SetStatus("Encoding WebP image", 0);
    LCodecSourceRows source(image);
    if (!source.IsValid())
        return LProcessResultFailed;
    const int w = image.GetWidth(), h = image.GetHeight();
    if (w > WEBP_MAX_DIMENSION || h > WEBP_MAX_DIMENSION)
        return LProcessResultFailed;
    WebPConfig config;
    if (!WebPConfigInit(&config))
        return LProcessResultFailed;
    config.quality = float(std::clamp(settings.iQuality, 1, 100));
    WebPPicture picture;
    if (!WebPPictureInit(&picture))
        return LProcessResultFailed;
    picture.width = w;
    picture.height = h;
    picture.use_argb = 1;
    if (!WebPPictureAlloc(&picture))
        return LProcessResultFailed;
    // The picture holds 32-bit ARGB words, which are B, G, R, A bytes in memory on this machine.
    const bool alpha = !source.IsOpaque();
    for (int y = 0; y < h; ++y)
    {
        uint32_t* dst = picture.argb + size_t(y) * size_t(picture.argb_stride);
        const uint8_t* src = source.Row(y);
        for (int x = 0; x < w; ++x, src += 4)
            dst[x] = uint32_t(src[0]) | uint32_t(src[1]) << 8 | uint32_t(src[2]) << 16 |
                     uint32_t(alpha ? src[3] : 255) << 24;
        if (y % 64 == 0)
        {
            process.SetProgress(0.2 * y / h);
            if (process.IsToStop())
            {
                WebPPictureFree(&picture);
                return LProcessResultCancelled;
            }
        }
    }
    Writer writer{&output, false};
    picture.writer = WriteFn;
    picture.custom_ptr = &writer;
    ProgressHook hook{&process, false};
    picture.progress_hook = ProgressFn;
    picture.user_data = &hook;
    const int ok = WebPEncode(&config, &picture);
    WebPPictureFree(&picture);
    if (hook.bStopped)
        return LProcessResultCancelled;
    return ok && !writer.bFailed ? LProcessResultSuccess : LProcessResultFailed;
}
