#include "codecs/LCodecJPEG2000.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include <openjpeg.h>

namespace
{
void Quiet(const char*, void*) {}

OPJ_SIZE_T ReadFn(void* buffer, OPJ_SIZE_T size, void* user)
{
    const size_t n = static_cast<LCodecReader*>(user)->Read(buffer, size);
    return n == 0 ? OPJ_SIZE_T(-1) : n;
}

OPJ_OFF_T SkipFn(OPJ_OFF_T count, void* user)
{
    LCodecReader* in = static_cast<LCodecReader*>(user);
    const int64_t size = in->GetSize();
    int64_t target = in->Tell() + count;
    if (target < 0 || (size >= 0 && target > size))
        return -1;
    return in->Seek(target) ? count : -1;
}

OPJ_BOOL SeekFn(OPJ_OFF_T position, void* user)
{
    LCodecReader* in = static_cast<LCodecReader*>(user);
    const int64_t size = in->GetSize();
    if (position < 0 || (size >= 0 && position > size))
        return OPJ_FALSE;
    return in->Seek(position) ? OPJ_TRUE : OPJ_FALSE;
}

OPJ_SIZE_T WriteFn(void* buffer, OPJ_SIZE_T size, void* user)
{
    return static_cast<LCodecWriter*>(user)->Write(buffer, size) ? size : OPJ_SIZE_T(-1);
}

// The library skips only at the end of what it wrote, to patch the gap later.
OPJ_OFF_T WriteSkipFn(OPJ_OFF_T count, void* user)
{
    static const uint8_t zeros[256] = {};
    LCodecWriter* out = static_cast<LCodecWriter*>(user);
    for (OPJ_OFF_T left = count; left > 0; left -= OPJ_OFF_T(sizeof(zeros)))
        if (!out->Write(zeros, size_t(std::min<OPJ_OFF_T>(left, sizeof(zeros)))))
            return -1;
    return count;
}

OPJ_BOOL WriteSeekFn(OPJ_OFF_T position, void* user)
{
    return static_cast<LCodecWriter*>(user)->Seek(position) ? OPJ_TRUE : OPJ_FALSE;
}

void SilenceCodec(opj_codec_t* codec)
{
    opj_set_info_handler(codec, Quiet, nullptr);
    opj_set_warning_handler(codec, Quiet, nullptr);
    opj_set_error_handler(codec, Quiet, nullptr);
}

// One component sample at picture position (x, y), widened to 8 bits.
inline int Sample(const opj_image_comp_t& c, uint32_t x, uint32_t y, uint32_t x0, uint32_t y0)
{
    uint32_t cx = (x0 + x) / c.dx, cy = (y0 + y) / c.dy;
    const uint32_t ox = (c.x0 + 0), oy = (c.y0 + 0);
    cx = cx > ox ? cx - ox : 0;
    cy = cy > oy ? cy - oy : 0;
    if (cx >= c.w)
        cx = c.w - 1;
    if (cy >= c.h)
        cy = c.h - 1;
    int v = c.data[size_t(cy) * c.w + cx];
    if (c.sgnd)
        v += 1 << (c.prec - 1);
    if (c.prec > 8)
        v >>= (c.prec - 8);
    else if (c.prec < 8)
        v = v * 255 / ((1 << c.prec) - 1);
    return std::clamp(v, 0, 255);
}

struct Holder
{
    opj_stream_t* stream = nullptr;
    opj_codec_t* codec = nullptr;
    opj_image_t* image = nullptr;
    ~Holder()
    {
        if (image)
            opj_image_destroy(image);
        if (codec)
            opj_destroy_codec(codec);
        if (stream)
            opj_stream_destroy(stream);
    }
};
} // namespace

LProcessResult LCodecJPEG2000Decode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                    int& bitDepth)
{
    process.SetStatus("Decoding JPEG 2000 image", 0);
    bitDepth = 0;
    // JP2 boxes or a bare codestream: the first bytes tell which the library must expect.
    uint8_t magic[4] = {};
    const int64_t start = input.Tell();
    if (input.Read(magic, 4) != 4 || !input.Seek(start))
        return LProcessResultFailed;
    const bool bare = magic[0] == 0xFF && magic[1] == 0x4F && magic[2] == 0xFF && magic[3] == 0x51;
    Holder h;
    h.stream = opj_stream_create(1 << 16, OPJ_TRUE);
    if (!h.stream)
        return LProcessResultFailed;
    opj_stream_set_user_data(h.stream, &input, nullptr);
    const int64_t size = input.GetSize();
    opj_stream_set_user_data_length(h.stream, size >= 0 ? OPJ_UINT64(size - start) : 0);
    opj_stream_set_read_function(h.stream, ReadFn);
    opj_stream_set_skip_function(h.stream, SkipFn);
    opj_stream_set_seek_function(h.stream, SeekFn);
    h.codec = opj_create_decompress(bare ? OPJ_CODEC_J2K : OPJ_CODEC_JP2);
    if (!h.codec)
        return LProcessResultFailed;
    SilenceCodec(h.codec);
    opj_dparameters_t params;
    opj_set_default_decoder_parameters(&params);
    if (!opj_setup_decoder(h.codec, &params) || !opj_read_header(h.stream, h.codec, &h.image) || !h.image)
        return LProcessResultFailed;
    // The library decodes the whole picture into 32-bit samples of every component before we see
    // a pixel, and empty packets let a few bytes claim any size: the picture must be within what
    // the data can carry and what memory allows, and so must the samples.
    if (h.image->x1 <= h.image->x0 || h.image->y1 <= h.image->y0)
        return LProcessResultFailed;
    const uint64_t hw = uint64_t(h.image->x1) - h.image->x0, hh = uint64_t(h.image->y1) - h.image->y0;
    if (!LCodecCheckPicture(process, hw, hh, size >= 0 ? size - start : INT64_MAX, kLCodecMaxPixelsPerByte))
        return LProcessResultFailed;
    uint64_t sampleBytes = 0;
    for (uint32_t c = 0; c < h.image->numcomps; ++c)
    {
        const opj_image_comp_t& comp = h.image->comps[c];
        if (comp.dx == 0 || comp.dy == 0)
            return LProcessResultFailed;
        sampleBytes += (hw / comp.dx + 1) * (hh / comp.dy + 1) * 4;
    }
    if (sampleBytes > LCodecGetPixelLimit() * 16)
        return LProcessResultFailed;
    // The whole picture is decoded at once; the library offers no row callback.
    process.SetProgress(0.05);
    if (process.IsToStop())
        return LProcessResultCancelled;
    if (!opj_decode(h.codec, h.stream, h.image) || !opj_end_decompress(h.codec, h.stream))
        return LProcessResultFailed;
    opj_image_t* im = h.image;
    const uint32_t w = im->x1 - im->x0, ht = im->y1 - im->y0;
    if (im->numcomps < 1 || im->x1 <= im->x0 || im->y1 <= im->y0)
        return LProcessResultFailed;
    const uint32_t n = std::min<uint32_t>(im->numcomps, 4);
    for (uint32_t c = 0; c < n; ++c)
        if (!im->comps[c].data || im->comps[c].w == 0 || im->comps[c].h == 0 || im->comps[c].dx == 0 ||
            im->comps[c].dy == 0 || im->comps[c].prec < 1 || im->comps[c].prec > 31)
            return LProcessResultFailed;
    if (!LCodecAllocate(image, w, ht))
        return LProcessResultFailed;
    for (uint32_t c = 0; c < im->numcomps; ++c)
        bitDepth += int(im->comps[c].prec);
    const bool grey = n < 3 || im->color_space == OPJ_CLRSPC_GRAY;
    const bool sycc = !grey && im->color_space == OPJ_CLRSPC_SYCC;
    const bool alpha = grey ? n >= 2 : n >= 4;
    LCodecProgress progress(process, 0.1, 0.9);
    for (uint32_t y = 0; y < ht; ++y)
    {
        uint8_t* row = image.GetRow(int(y));
        for (uint32_t x = 0; x < w; ++x, row += 4)
        {
            int r, g, b;
            if (grey)
                r = g = b = Sample(im->comps[0], x, y, im->x0, im->y0);
            else
            {
                r = Sample(im->comps[0], x, y, im->x0, im->y0);
                g = Sample(im->comps[1], x, y, im->x0, im->y0);
                b = Sample(im->comps[2], x, y, im->x0, im->y0);
                if (sycc)
                {
                    const double yy = r, cb = g - 128.0, cr = b - 128.0;
                    r = std::clamp(int(std::lround(yy + 1.402 * cr)), 0, 255);
                    g = std::clamp(int(std::lround(yy - 0.344136 * cb - 0.714136 * cr)), 0, 255);
                    b = std::clamp(int(std::lround(yy + 1.772 * cb)), 0, 255);
                }
            }
            row[0] = uint8_t(b), row[1] = uint8_t(g), row[2] = uint8_t(r);
            row[3] = alpha ? uint8_t(Sample(im->comps[grey ? 1 : 3], x, y, im->x0, im->y0)) : 255;
        }
        if (!progress.Row(y + 1, ht))
        {
            image.Destroy();
            return LProcessResultCancelled;
        }
    }
    return LProcessResultSuccess;
}

LProcessResult LCodecJPEG2000Encode(LProcessInterface& process, LCodecWriter& output,
                                    const LImageBuffer& image, const LCODEC_JPEG2000_EncodeSettings& settings)
{
    process.SetStatus("Encoding JPEG 2000 image", 0);
    LCodecSourceRows source(image);
    if (!source.IsValid())
        return LProcessResultFailed;
    const uint32_t w = uint32_t(image.GetWidth()), h = uint32_t(image.GetHeight());
    const bool alpha = !source.IsOpaque();
    const uint32_t n = alpha ? 4 : 3;
    opj_image_cmptparm_t parms[4];
    memset(parms, 0, sizeof(parms));
    for (uint32_t c = 0; c < n; ++c)
    {
        parms[c].dx = parms[c].dy = 1;
        parms[c].w = w;
        parms[c].h = h;
        parms[c].prec = 8;
        parms[c].sgnd = 0;
    }
    Holder hd;
    hd.image = opj_image_create(n, parms, OPJ_CLRSPC_SRGB);
    if (!hd.image)
        return LProcessResultFailed;
    hd.image->x0 = hd.image->y0 = 0;
    hd.image->x1 = w;
    hd.image->y1 = h;
    if (alpha)
        hd.image->comps[3].alpha = 1;
    LCodecProgress progress(process, 0.0, 0.2);
    for (uint32_t y = 0; y < h; ++y)
    {
        const uint8_t* s = source.Row(int(y));
        const size_t o = size_t(y) * w;
        for (uint32_t x = 0; x < w; ++x, s += 4)
        {
            hd.image->comps[0].data[o + x] = s[2];
            hd.image->comps[1].data[o + x] = s[1];
            hd.image->comps[2].data[o + x] = s[0];
            if (alpha)
                hd.image->comps[3].data[o + x] = s[3];
        }
        if (!progress.Row(y + 1, h))
            return LProcessResultCancelled;
    }
    opj_cparameters_t params;
    opj_set_default_encoder_parameters(&params);
    params.tcp_numlayers = 1;
    params.cp_disto_alloc = 1;
    params.tcp_mct = 1;
    if (settings.iMode == 0)
    {
        params.irreversible = 0;
        params.tcp_rates[0] = 0; // every bit kept
    }
    else
    {
        // The quality maps to a compression ratio: 100 keeps everything the irreversible
        // transform leaves, each fifteen points less halves the size.
        const int q = std::clamp(settings.iQuality, 0, 100);
        params.irreversible = 1;
        params.tcp_rates[0] = q >= 100 ? 0.0f : float(2.0 * std::pow(2.0, (100 - q) / 15.0));
    }
    // Each resolution level halves the picture; a small picture allows fewer.
    while (params.numresolution > 1 && (1u << (params.numresolution - 1)) > std::min(w, h))
        --params.numresolution;
    hd.codec = opj_create_compress(OPJ_CODEC_JP2);
    if (!hd.codec)
        return LProcessResultFailed;
    SilenceCodec(hd.codec);
    if (!opj_setup_encoder(hd.codec, &params, hd.image))
        return LProcessResultFailed;
    hd.stream = opj_stream_create(1 << 16, OPJ_FALSE);
    if (!hd.stream)
        return LProcessResultFailed;
    opj_stream_set_user_data(hd.stream, &output, nullptr);
    opj_stream_set_write_function(hd.stream, WriteFn);
    opj_stream_set_skip_function(hd.stream, WriteSkipFn);
    opj_stream_set_seek_function(hd.stream, WriteSeekFn);
    process.SetProgress(0.2);
    if (process.IsToStop())
        return LProcessResultCancelled;
    if (!opj_start_compress(hd.codec, hd.image, hd.stream) || !opj_encode(hd.codec, hd.stream) ||
        !opj_end_compress(hd.codec, hd.stream))
        return LProcessResultFailed;
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
