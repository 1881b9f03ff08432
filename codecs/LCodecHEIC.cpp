#include "codecs/LCodecHEIC.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>

#include <libheif/heif.h>

namespace
{
struct ContextDeleter
{
    void operator()(heif_context* c) const { heif_context_free(c); }
};
struct HandleDeleter
{
    void operator()(heif_image_handle* h) const { heif_image_handle_release(h); }
};
struct ImageDeleter
{
    void operator()(heif_image* i) const { heif_image_release(i); }
};
struct EncoderDeleter
{
    void operator()(heif_encoder* e) const { heif_encoder_release(e); }
};
using ContextPtr = std::unique_ptr<heif_context, ContextDeleter>;
using HandlePtr = std::unique_ptr<heif_image_handle, HandleDeleter>;
using ImagePtr = std::unique_ptr<heif_image, ImageDeleter>;

// The library registers its coders once per process and keeps them to the end.
ContextPtr MakeContext()
{
    static std::once_flag once;
    std::call_once(once, [] { heif_init(nullptr); });
    return ContextPtr(heif_context_alloc());
}

void KeepMetadata(const heif_image_handle* handle, LImageMetadata& metadata)
{
    metadata.Clear();
    const int count = heif_image_handle_get_number_of_metadata_blocks(handle, nullptr);
    std::vector<heif_item_id> ids(size_t(std::max(count, 0)));
    heif_image_handle_get_list_of_metadata_block_IDs(handle, nullptr, ids.data(), count);
    for (heif_item_id id : ids)
    {
        const char* type = heif_image_handle_get_metadata_type(handle, id);
        const char* content = heif_image_handle_get_metadata_content_type(handle, id);
        const bool exif = type && strcmp(type, "Exif") == 0;
        const bool xmp =
            type && strcmp(type, "mime") == 0 && content && strcmp(content, "application/rdf+xml") == 0;
        std::vector<uint8_t>& target = exif ? metadata.arExif : metadata.arXmp;
        if ((!exif && !xmp) || !target.empty())
            continue;
        std::vector<uint8_t> block(heif_image_handle_get_metadata_size(handle, id));
        if (block.empty() || heif_image_handle_get_metadata(handle, id, block.data()).code != heif_error_Ok)
            continue;
        if (exif)
            LCodecSetExif(target, block.data(), block.size());
        else
            target = std::move(block);
    }
    const heif_color_profile_type icc = heif_image_handle_get_color_profile_type(handle);
    if (icc == heif_color_profile_type_prof || icc == heif_color_profile_type_rICC)
    {
        metadata.arIcc.resize(heif_image_handle_get_raw_color_profile_size(handle));
        if (metadata.arIcc.empty() ||
            heif_image_handle_get_raw_color_profile(handle, metadata.arIcc.data()).code != heif_error_Ok)
            metadata.arIcc.clear();
    }
}

heif_error WriteFn(heif_context*, const void* data, size_t size, void* user)
{
    if (static_cast<LCodecWriter*>(user)->Write(data, size))
        return {heif_error_Ok, heif_suberror_Unspecified, "ok"};
    return {heif_error_Encoding_error, heif_suberror_Cannot_write_output_data, "write failed"};
}
} // namespace

LProcessResult LCodecHEICDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth, LImageMetadata* metadata)
{
    process.SetStatus("Decoding HEIC image", 0);
    bitDepth = 0;
    LCodecWholeInput whole;
    if (const LProcessResult r = whole.Read(process, input, 0.1); r != LProcessResultSuccess)
        return r;
    ContextPtr ctx = MakeContext();
    if (!ctx ||
        heif_context_read_from_memory_without_copy(ctx.get(), whole.GetData(), whole.GetSize(), nullptr)
                .code != heif_error_Ok)
        return LProcessResultFailed;
    heif_image_handle* rawHandle = nullptr;
    if (heif_context_get_primary_image_handle(ctx.get(), &rawHandle).code != heif_error_Ok || !rawHandle)
        return LProcessResultFailed;
    HandlePtr handle(rawHandle);
    const int hw = heif_image_handle_get_width(handle.get()), hh = heif_image_handle_get_height(handle.get());
    if (hw <= 0 || hh <= 0 ||
        !LCodecCheckPicture(process, uint64_t(hw), uint64_t(hh), int64_t(whole.GetSize()),
                            kLCodecMaxPixelsPerByte))
        return LProcessResultFailed;
    if (process.IsToStop())
        return LProcessResultCancelled;
    const bool alpha = heif_image_handle_has_alpha_channel(handle.get()) != 0;
    heif_image* rawImage = nullptr;
    if (heif_decode_image(handle.get(), &rawImage, heif_colorspace_RGB, heif_chroma_interleaved_RGBA, nullptr)
                .code != heif_error_Ok ||
        !rawImage)
        return LProcessResultFailed;
    ImagePtr decoded(rawImage);
    if (process.IsToStop())
        return LProcessResultCancelled;
    // Sides after rotation and crop, which the header's may not be.
    const int w = heif_image_get_width(decoded.get(), heif_channel_interleaved);
    const int h = heif_image_get_height(decoded.get(), heif_channel_interleaved);
    int stride = 0;
    const uint8_t* plane = heif_image_get_plane_readonly(decoded.get(), heif_channel_interleaved, &stride);
    if (!plane || w <= 0 || h <= 0 || stride < w * 4 ||
        uint64_t(w) * uint64_t(h) > uint64_t(hw) * uint64_t(hh) * 4 ||
        !LCodecAllocate(image, uint64_t(w), uint64_t(h)))
        return LProcessResultFailed;
    const bool premultiplied = alpha && heif_image_handle_is_premultiplied_alpha(handle.get());
    LCodecProgress progress(process, 0.8, 0.2, false);
    for (int y = 0; y < h; ++y)
    {
        const uint8_t* s = plane + size_t(y) * size_t(stride);
        uint8_t* d = image.GetRow(y);
        for (int x = 0; x < w; ++x, s += 4, d += 4)
        {
            const uint8_t a = alpha ? s[3] : 255;
            if (premultiplied && a != 0 && a != 255)
                for (int c = 0; c < 3; ++c)
                    d[2 - c] = uint8_t(std::min(255, (s[c] * 255 + a / 2) / a));
            else
                d[0] = s[2], d[1] = s[1], d[2] = s[0];
            d[3] = a;
        }
        if (!progress.Row(y + 1, h))
            return image.Destroy(), LProcessResultCancelled;
    }
    const int depth = heif_image_handle_get_luma_bits_per_pixel(handle.get());
    bitDepth = std::max(depth, 1) * (alpha ? 4 : 3);
    if (metadata)
        KeepMetadata(handle.get(), *metadata);
    return LProcessResultSuccess;
}

LProcessResult LCodecHEICEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                                const LCODEC_HEIC_EncodeSettings& settings,
                                const LImageMetadata* metadata)
{
    process.SetStatus("Encoding HEIC image", 0);
    LCodecSourceRows source(image);
    if (!source.IsValid())
        return LProcessResultFailed;
    const int w = source.GetWidth(), h = source.GetHeight();
    const bool alpha = !source.IsOpaque();
    ContextPtr ctx = MakeContext();
    if (!ctx)
        return LProcessResultFailed;
    heif_encoder* rawEncoder = nullptr;
    if (heif_context_get_encoder_for_format(ctx.get(), heif_compression_HEVC, &rawEncoder).code !=
            heif_error_Ok ||
        !rawEncoder)
        return LProcessResultFailed;
    std::unique_ptr<heif_encoder, EncoderDeleter> encoder(rawEncoder);
    heif_encoder_set_lossy_quality(encoder.get(), std::clamp(settings.iQuality, 0, 100));
    heif_image* rawImage = nullptr;
    if (heif_image_create(w, h, heif_colorspace_RGB,
                          alpha ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB, &rawImage)
                .code != heif_error_Ok ||
        !rawImage)
        return LProcessResultFailed;
    ImagePtr img(rawImage);
    if (heif_image_add_plane(img.get(), heif_channel_interleaved, w, h, 8).code != heif_error_Ok)
        return LProcessResultFailed;
    int stride = 0;
    uint8_t* plane = heif_image_get_plane(img.get(), heif_channel_interleaved, &stride);
    if (!plane)
        return LProcessResultFailed;
    LCodecProgress progress(process, 0.0, 0.1);
    for (int y = 0; y < h; ++y)
    {
        const uint8_t* s = source.Row(y);
        uint8_t* d = plane + size_t(y) * size_t(stride);
        for (int x = 0; x < w; ++x, s += 4)
        {
            *d++ = s[2], *d++ = s[1], *d++ = s[0];
            if (alpha)
                *d++ = s[3];
        }
        if (!progress.Row(y + 1, h))
            return LProcessResultCancelled;
    }
    if (metadata && !metadata->arIcc.empty())
        heif_image_set_raw_color_profile(img.get(), "prof", metadata->arIcc.data(), metadata->arIcc.size());
    heif_image_handle* rawHandle = nullptr;
    if (heif_context_encode_image(ctx.get(), img.get(), encoder.get(), nullptr, &rawHandle).code !=
            heif_error_Ok ||
        !rawHandle)
        return LProcessResultFailed;
    HandlePtr handle(rawHandle);
    if (metadata && !metadata->arExif.empty())
        heif_context_add_exif_metadata(ctx.get(), handle.get(), metadata->arExif.data(),
                                       int(metadata->arExif.size()));
    if (metadata && !metadata->arXmp.empty())
        heif_context_add_XMP_metadata(ctx.get(), handle.get(), metadata->arXmp.data(),
                                      int(metadata->arXmp.size()));
    process.SetProgress(0.9);
    if (process.IsToStop())
        return LProcessResultCancelled;
    heif_writer writer = {1, WriteFn};
    if (heif_context_write(ctx.get(), &writer, &output).code != heif_error_Ok)
        return LProcessResultFailed;
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
