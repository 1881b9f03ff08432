#include "codecs/LCodecJPEG.h"

#include <algorithm>
#include <climits>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <jpeglib.h>

namespace
{
constexpr size_t kBlock = 65536;

// Errors end in a long jump back to the caller's frame; the library never aborts the process and
// never prints.
struct ErrorManager
{
    jpeg_error_mgr mgr;
    jmp_buf jump;
};

void ErrorExit(j_common_ptr cinfo)
{
    longjmp(reinterpret_cast<ErrorManager*>(cinfo->err)->jump, 1);
}

void OutputMessage(j_common_ptr) {}

struct Source
{
    jpeg_source_mgr mgr;
    LCodecReader* lpInput;
    std::vector<JOCTET> arBuffer;
    bool bHitEnd = false;
};

void InitSource(j_decompress_ptr) {}

boolean FillInputBuffer(j_decompress_ptr cinfo)
{
    Source* src = reinterpret_cast<Source*>(cinfo->src);
    size_t n = src->lpInput->Read(src->arBuffer.data(), src->arBuffer.size());
    if (n == 0)
    {
        // A truncated file: end it cleanly for the library and remember that it was cut short.
        src->bHitEnd = true;
        src->arBuffer[0] = 0xFF;
        src->arBuffer[1] = JPEG_EOI;
        n = 2;
    }
    src->mgr.next_input_byte = src->arBuffer.data();
    src->mgr.bytes_in_buffer = n;
    return TRUE;
}

void SkipInputData(j_decompress_ptr cinfo, long count)
{
    Source* src = reinterpret_cast<Source*>(cinfo->src);
    if (count <= 0)
        return;
    if (size_t(count) <= src->mgr.bytes_in_buffer)
    {
        src->mgr.next_input_byte += count;
        src->mgr.bytes_in_buffer -= size_t(count);
        return;
    }
    const int64_t rest = count - int64_t(src->mgr.bytes_in_buffer);
    src->mgr.bytes_in_buffer = 0;
    const int64_t size = src->lpInput->GetSize();
    const int64_t target = src->lpInput->Tell() + rest;
    if (size >= 0 && target > size)
        src->lpInput->Seek(size);
    else
        src->lpInput->Seek(target);
}

void TermSource(j_decompress_ptr) {}

struct Destination
{
    jpeg_destination_mgr mgr;
    LCodecWriter* lpOutput;
    std::vector<JOCTET> arBuffer;
};

void InitDestination(j_compress_ptr cinfo)
{
    Destination* dst = reinterpret_cast<Destination*>(cinfo->dest);
    dst->mgr.next_output_byte = dst->arBuffer.data();
    dst->mgr.free_in_buffer = dst->arBuffer.size();
}

boolean EmptyOutputBuffer(j_compress_ptr cinfo)
{
    Destination* dst = reinterpret_cast<Destination*>(cinfo->dest);
    if (!dst->lpOutput->Write(dst->arBuffer.data(), dst->arBuffer.size()))
        ErrorExit(reinterpret_cast<j_common_ptr>(cinfo));
    dst->mgr.next_output_byte = dst->arBuffer.data();
    dst->mgr.free_in_buffer = dst->arBuffer.size();
    return TRUE;
}

void TermDestination(j_compress_ptr cinfo)
{
    Destination* dst = reinterpret_cast<Destination*>(cinfo->dest);
    const size_t n = dst->arBuffer.size() - dst->mgr.free_in_buffer;
    if (n && !dst->lpOutput->Write(dst->arBuffer.data(), n))
        ErrorExit(reinterpret_cast<j_common_ptr>(cinfo));
}

int FindOrientation(j_decompress_ptr cinfo)
{
    for (jpeg_saved_marker_ptr m = cinfo->marker_list; m; m = m->next)
        if (m->marker == JPEG_APP0 + 1)
        {
            const int o = LCodecExifOrientation(m->data, m->data_length);
            if (o != 1)
                return o;
        }
    return 1;
}

constexpr char kXmpSignature[] = "http://ns.adobe.com/xap/1.0/"; // then a NUL

void CollectMetadata(j_decompress_ptr cinfo, LImageMetadata& metadata)
{
    metadata.Clear();
    for (jpeg_saved_marker_ptr m = cinfo->marker_list; m; m = m->next)
    {
        if (m->marker != JPEG_APP0 + 1)
            continue;
        if (m->data_length >= 6 && memcmp(m->data, "Exif\0\0", 6) == 0 && metadata.arExif.empty())
            metadata.SetExif(m->data, m->data_length);
        else if (m->data_length > sizeof(kXmpSignature) &&
                 memcmp(m->data, kXmpSignature, sizeof(kXmpSignature)) == 0 && metadata.arXmp.empty())
            metadata.SetXmp(m->data + sizeof(kXmpSignature), m->data_length - sizeof(kXmpSignature));
    }
    JOCTET* icc = nullptr;
    unsigned int iccSize = 0;
    if (jpeg_read_icc_profile(cinfo, &icc, &iccSize) && icc)
    {
        metadata.SetIcc(icc, iccSize);
        free(icc);
    }
}

// Everything that lives across the long jump is kept here, outside the jumping frame's locals.
struct DecodeState
{
    jpeg_decompress_struct cinfo;
    ErrorManager err;
    Source src;
    std::vector<JSAMPLE> cmykRow;
    int64_t iFileBytes;
};

LProcessResult Decode(LProcessInterface& process, DecodeState& st, LCodecReader& input, LImageBuffer& image,
                      int& bitDepth, LImageMetadata* metadata)
{
    j_decompress_ptr cinfo = &st.cinfo;
    if (setjmp(st.err.jump))
        return LProcessResultFailed;
    jpeg_create_decompress(cinfo);
    st.src.lpInput = &input;
    st.src.arBuffer.resize(kBlock);
    st.src.mgr.init_source = InitSource;
    st.src.mgr.fill_input_buffer = FillInputBuffer;
    st.src.mgr.skip_input_data = SkipInputData;
    st.src.mgr.resync_to_restart = jpeg_resync_to_restart;
    st.src.mgr.term_source = TermSource;
    st.src.mgr.bytes_in_buffer = 0;
    st.src.mgr.next_input_byte = nullptr;
    cinfo->src = &st.src.mgr;
    jpeg_save_markers(cinfo, JPEG_APP0 + 1, 0xFFFF);
    if (metadata)
        jpeg_save_markers(cinfo, JPEG_APP0 + 2, 0xFFFF);
    if (jpeg_read_header(cinfo, TRUE) != JPEG_HEADER_OK || st.src.bHitEnd)
        return LProcessResultFailed;
    if (metadata)
        CollectMetadata(cinfo, *metadata);

    // Saved markers live only until the decompression finishes.
    const int orientation = FindOrientation(cinfo);
    const bool cmyk = cinfo->jpeg_color_space == JCS_CMYK || cinfo->jpeg_color_space == JCS_YCCK;
    if (cmyk)
        cinfo->out_color_space = JCS_CMYK;
    else if (cinfo->num_components == 1 || cinfo->num_components == 3)
        cinfo->out_color_space = JCS_EXT_BGRA;
    else
        return LProcessResultFailed;
    bitDepth = cinfo->num_components * cinfo->data_precision;
    jpeg_calc_output_dimensions(cinfo);
    // Progressive and arithmetic coding can claim a vast picture in a few bytes; the library's
    // own buffers (whole-picture coefficients for progressive files) are held to what that
    // picture may take.
    const uint64_t pixels = uint64_t(cinfo->output_width) * cinfo->output_height;
    if (!LCodecCheckPicture(process, cinfo->output_width, cinfo->output_height, st.iFileBytes,
                            kLCodecMaxPixelsPerByte))
        return LProcessResultFailed;
    cinfo->mem->max_memory_to_use = long(std::min<uint64_t>(pixels * 16 + (uint64_t(64) << 20), LONG_MAX));
    if (!LCodecAllocate(image, cinfo->output_width, cinfo->output_height))
        return LProcessResultFailed;
    jpeg_start_decompress(cinfo);
    const int w = image.GetWidth(), h = image.GetHeight();
    if (cmyk)
        st.cmykRow.resize(size_t(w) * 4);
    // Files from some programs store CMYK inverted, and say so with an Adobe marker.
    const bool inverted = cmyk && cinfo->saw_Adobe_marker;
    LCodecProgress progress(process);
    while (cinfo->output_scanline < cinfo->output_height)
    {
        const int y = int(cinfo->output_scanline);
        uint8_t* row = image.GetRow(y);
        JSAMPROW rows[1] = {cmyk ? st.cmykRow.data() : row};
        if (jpeg_read_scanlines(cinfo, rows, 1) != 1)
            return LProcessResultFailed;
        if (cmyk)
        {
            const uint8_t* s = st.cmykRow.data();
            for (int x = 0; x < w; ++x, s += 4, row += 4)
            {
                unsigned c = s[0], m = s[1], yy = s[2], k = s[3];
                if (!inverted)
                    c = 255 - c, m = 255 - m, yy = 255 - yy, k = 255 - k;
                row[0] = uint8_t((yy * k + 127) / 255);
                row[1] = uint8_t((m * k + 127) / 255);
                row[2] = uint8_t((c * k + 127) / 255);
                row[3] = 255;
            }
        }
        if (!progress.Row(y + 1, h))
            return LProcessResultCancelled;
        if (st.src.bHitEnd)
            return LProcessResultFailed;
    }
    jpeg_finish_decompress(cinfo);
    // A file cut short was padded out by the library; its missing part would show as grey.
    if (st.src.bHitEnd)
        return LProcessResultFailed;
    // The picture is turned upright once and for all; a save writes the orientation back as 1.
    if (!LCodecApplyOrientation(image, orientation))
        return LProcessResultFailed;
    return LProcessResultSuccess;
}

struct EncodeState
{
    jpeg_compress_struct cinfo;
    ErrorManager err;
    Destination dst;
    std::vector<uint8_t> row;
    std::vector<uint8_t> marker; // outside the jumping frame, so a long jump leaks nothing
};

LProcessResult Encode(LProcessInterface& process, EncodeState& st, LCodecWriter& output,
                      const LImageBuffer& image, LCodecSourceRows& source, const int quality,
                      const LImageMetadata* metadata)
{
    j_compress_ptr cinfo = &st.cinfo;
    if (setjmp(st.err.jump))
        return LProcessResultFailed;
    jpeg_create_compress(cinfo);
    st.dst.lpOutput = &output;
    st.dst.arBuffer.resize(kBlock);
    st.dst.mgr.init_destination = InitDestination;
    st.dst.mgr.empty_output_buffer = EmptyOutputBuffer;
    st.dst.mgr.term_destination = TermDestination;
    cinfo->dest = &st.dst.mgr;

    const pixelformat_t pf = image.GetPixelFormat();
    const bool direct = pf == B8G8R8A8 || pf == B8G8R8;
    if (!direct && !source.IsValid())
        return LProcessResultFailed;
    const int w = image.GetWidth(), h = image.GetHeight();
    if (w > JPEG_MAX_DIMENSION || h > JPEG_MAX_DIMENSION)
        return LProcessResultFailed;
    cinfo->image_width = JDIMENSION(w);
    cinfo->image_height = JDIMENSION(h);
    cinfo->input_components = pf == B8G8R8 ? 3 : 4;
    cinfo->in_color_space = pf == B8G8R8 ? JCS_EXT_BGR : JCS_EXT_BGRX; // alpha is dropped
    jpeg_set_defaults(cinfo);
    jpeg_set_quality(cinfo, quality, TRUE);
    if (quality >= 100)
    {
        // At the top quality keep the colour at full resolution.
        for (int c = 0; c < cinfo->num_components; ++c)
            cinfo->comp_info[c].h_samp_factor = cinfo->comp_info[c].v_samp_factor = 1;
    }
    if (image.imf.HorizontalResolution && image.imf.VerticalResolution)
    {
        // Resolutions are kept in pixels per metre; JFIF counts per centimetre.
        cinfo->density_unit = 2;
        cinfo->X_density = UINT16(std::min<uint32_t>(65535, (image.imf.HorizontalResolution + 50) / 100));
        cinfo->Y_density = UINT16(std::min<uint32_t>(65535, (image.imf.VerticalResolution + 50) / 100));
    }
    jpeg_start_compress(cinfo, TRUE);
    if (metadata)
    {
        // A marker holds at most 65533 bytes after its length.
        if (!metadata->arExif.empty() && metadata->arExif.size() + 6 <= 65533)
        {
            std::vector<uint8_t>& app1 = st.marker;
            app1.assign(6 + metadata->arExif.size(), 0);
            memcpy(app1.data(), "Exif\0\0", 6);
            memcpy(app1.data() + 6, metadata->arExif.data(), metadata->arExif.size());
            jpeg_write_marker(cinfo, JPEG_APP0 + 1, app1.data(), unsigned(app1.size()));
        }
        if (!metadata->arXmp.empty() && metadata->arXmp.size() + sizeof(kXmpSignature) <= 65533)
        {
            std::vector<uint8_t>& app1 = st.marker;
            app1.assign(sizeof(kXmpSignature) + metadata->arXmp.size(), 0);
            memcpy(app1.data(), kXmpSignature, sizeof(kXmpSignature));
            memcpy(app1.data() + sizeof(kXmpSignature), metadata->arXmp.data(), metadata->arXmp.size());
            jpeg_write_marker(cinfo, JPEG_APP0 + 1, app1.data(), unsigned(app1.size()));
        }
        if (!metadata->arIcc.empty())
            jpeg_write_icc_profile(cinfo, metadata->arIcc.data(), unsigned(metadata->arIcc.size()));
    }
    LCodecProgress progress(process);
    for (int y = 0; y < h; ++y)
    {
        JSAMPROW rows[1] = {const_cast<JSAMPLE*>(direct ? image.GetRow(y) : source.Row(y))};
        jpeg_write_scanlines(cinfo, rows, 1);
        if (!progress.Row(y + 1, h))
            return LProcessResultCancelled;
    }
    jpeg_finish_compress(cinfo);
    return LProcessResultSuccess;
}
} // namespace

LProcessResult LCodecJPEGDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth, LImageMetadata* metadata)
{
    process.SetStatus("Decoding JPEG image", 0);
    DecodeState st{};
    st.cinfo.err = jpeg_std_error(&st.err.mgr);
    st.err.mgr.error_exit = ErrorExit;
    st.err.mgr.output_message = OutputMessage;
    const int64_t size = input.GetSize();
    st.iFileBytes = size < 0 ? INT64_MAX : size - input.Tell();
    bitDepth = 0;
    const LProcessResult r = Decode(process, st, input, image, bitDepth, metadata);
    jpeg_destroy_decompress(&st.cinfo);
    if (r != LProcessResultSuccess)
    {
        image.Destroy();
        bitDepth = 0;
        if (metadata)
            metadata->Clear();
    }
    return r;
}

LProcessResult LCodecJPEGEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                                int quality, const LImageMetadata* metadata)
{
    process.SetStatus("Encoding JPEG image", 0);
    EncodeState st{};
    st.cinfo.err = jpeg_std_error(&st.err.mgr);
    st.err.mgr.error_exit = ErrorExit;
    st.err.mgr.output_message = OutputMessage;
    LCodecSourceRows source(image);
    const LProcessResult r =
        Encode(process, st, output, image, source, std::clamp(quality, 0, 100), metadata);
    jpeg_destroy_compress(&st.cinfo);
    return r;
}
