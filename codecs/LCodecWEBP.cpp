#include "codecs/LCodecWEBP.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <webp/decode.h>
#include <webp/demux.h>
#include <webp/encode.h>
#include <webp/mux.h>

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

static LProcessResult DecodePixels(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                   int& bitDepth);

namespace
{
uint32_t LE32(const uint8_t* p)
{
    return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

// Walks the RIFF chunks from start for ICCP, EXIF and "XMP "; the first of each counts.
void ReadMetadata(LCodecReader& input, int64_t start, LImageMetadata& metadata)
{
    metadata.Clear();
    uint8_t head[12];
    if (!input.Seek(start) || input.Read(head, 12) != 12 || memcmp(head, "RIFF", 4) != 0 ||
        memcmp(head + 8, "WEBP", 4) != 0)
        return;
    int64_t end = start + 8 + int64_t(LE32(head + 4));
    const int64_t size = input.GetSize();
    if (size >= 0)
        end = std::min(end, size);
    std::vector<uint8_t> block;
    for (int64_t pos = start + 12; pos + 8 <= end;)
    {
        uint8_t chunk[8];
        if (!input.Seek(pos) || input.Read(chunk, 8) != 8)
            return;
        const int64_t n = LE32(chunk + 4), data = pos + 8;
        if (n > end - data)
            return;
        const bool icc = memcmp(chunk, "ICCP", 4) == 0, exif = memcmp(chunk, "EXIF", 4) == 0,
                   xmp = memcmp(chunk, "XMP ", 4) == 0;
        if ((icc || exif || xmp) && n > 0 && uint64_t(n) <= kLImageMetadataMaxBlock)
        {
            block.resize(size_t(n));
            if (input.Read(block.data(), block.size()) != block.size())
                return;
            if (icc && metadata.arIcc.empty())
                metadata.SetIcc(block.data(), block.size());
            else if (exif && metadata.arExif.empty())
                metadata.SetExif(block.data(), block.size());
            else if (xmp && metadata.arXmp.empty())
                metadata.SetXmp(block.data(), block.size());
        }
        pos = data + n + (n & 1);
    }
}
bool WriteWithMetadata(LCodecWriter& output, const WebPMemoryWriter& memory, const LImageMetadata& metadata)
{
    const WebPData picture = {memory.mem, memory.size};
    WebPMux* mux = WebPMuxCreate(&picture, 0);
    if (!mux)
        return false;
    bool ok = true;
    const std::pair<const char*, const std::vector<uint8_t>*> chunks[] = {
        {"ICCP", &metadata.arIcc}, {"EXIF", &metadata.arExif}, {"XMP ", &metadata.arXmp}};
    for (const auto& [fourcc, block] : chunks)
        if (!block->empty())
        {
            const WebPData data = {block->data(), block->size()};
            ok = ok && WebPMuxSetChunk(mux, fourcc, &data, 0) == WEBP_MUX_OK;
        }
    WebPData assembled;
    WebPDataInit(&assembled);
    ok = ok && WebPMuxAssemble(mux, &assembled) == WEBP_MUX_OK;
    ok = ok && output.Write(assembled.bytes, assembled.size);
    WebPDataClear(&assembled);
    WebPMuxDelete(mux);
    return ok;
}
} // namespace

LProcessResult LCodecWEBPDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth, LImageMetadata* metadata)
{
    if (!metadata)
        return DecodePixels(process, input, image, bitDepth);
    const int64_t start = input.Tell();
    const LProcessResult r = DecodePixels(process, input, image, bitDepth);
    if (r == LProcessResultSuccess)
        ReadMetadata(input, start, *metadata);
    else
        metadata->Clear();
    return r;
}

static LProcessResult DecodePixels(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
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
                                const LCODEC_WebP_EncodeSettings& settings, const LImageMetadata* metadata)
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
    // With photo information the picture is made in memory and the chunks joined to it there.
    const bool withMetadata = metadata && !metadata->IsEmpty();
    Writer writer{&output, false};
    WebPMemoryWriter memory;
    WebPMemoryWriterInit(&memory);
    picture.writer = withMetadata ? WebPMemoryWrite : WriteFn;
    picture.custom_ptr = withMetadata ? static_cast<void*>(&memory) : static_cast<void*>(&writer);
    ProgressHook hook{&process, false};
    picture.progress_hook = ProgressFn;
    picture.user_data = &hook;
    const int ok = WebPEncode(&config, &picture);
    WebPPictureFree(&picture);
    if (hook.bStopped || !ok)
    {
        WebPMemoryWriterClear(&memory);
        return hook.bStopped ? LProcessResultCancelled : LProcessResultFailed;
    }
    if (withMetadata)
    {
        const bool written = WriteWithMetadata(output, memory, *metadata);
        WebPMemoryWriterClear(&memory);
        return written ? LProcessResultSuccess : LProcessResultFailed;
    }
    return !writer.bFailed ? LProcessResultSuccess : LProcessResultFailed;
}
