#include "codecs/LCodecPNG.h"

#include <csetjmp>
#include <cstring>
#include <vector>

#include <png.h>

namespace
{
void ErrorFn(png_structp png, png_const_charp)
{
    png_longjmp(png, 1);
}

void WarningFn(png_structp, png_const_charp) {}

void ReadFn(png_structp png, png_bytep data, png_size_t size)
{
    LCodecReader* input = static_cast<LCodecReader*>(png_get_io_ptr(png));
    if (input->Read(data, size) != size)
        png_error(png, "truncated");
}

// Everything that lives across the long jump stays outside the jumping frame.
struct DecodeState
{
    png_structp png = nullptr;
    png_infop info = nullptr;
};

// Blocks that libpng has already checked (lengths, CRCs); text after the pixels is not looked for.
void CollectMetadata(png_structp png, png_infop info, LImageMetadata& metadata)
{
    metadata.Clear();
    png_uint_32 exifSize = 0;
    png_bytep exif = nullptr;
    if (png_get_eXIf_1(png, info, &exifSize, &exif) && exif)
        metadata.SetExif(exif, exifSize);
    png_charp name = nullptr;
    int method = 0;
    png_bytep icc = nullptr;
    png_uint_32 iccSize = 0;
    if (png_get_iCCP(png, info, &name, &method, &icc, &iccSize) && icc)
        metadata.SetIcc(icc, iccSize);
    png_textp text = nullptr;
    int count = 0;
    png_get_text(png, info, &text, &count);
    for (int i = 0; i < count; ++i)
        if (text[i].key && strcmp(text[i].key, "XML:com.adobe.xmp") == 0 && text[i].text)
        {
            const size_t size = text[i].compression > 0 ? text[i].itxt_length : text[i].text_length;
            metadata.SetXmp(reinterpret_cast<const uint8_t*>(text[i].text), size);
            break;
        }
}

LProcessResult Decode(LProcessInterface& process, DecodeState& st, LCodecReader& input, LImageBuffer& image,
                      int& bitDepth, LImageMetadata* metadata)
{
    png_structp png = st.png;
    png_infop info = st.info;
    if (setjmp(png_jmpbuf(png)))
        return LProcessResultFailed;
    png_set_read_fn(png, &input, ReadFn);
    png_set_user_limits(png, uint32_t(kLCodecMaxSide), uint32_t(kLCodecMaxSide));
    png_read_info(png, info);
    if (metadata)
        CollectMetadata(png, info, *metadata);
    png_uint_32 w, h;
    int depth, colourType, interlace;
    png_get_IHDR(png, info, &w, &h, &depth, &colourType, &interlace, nullptr, nullptr);
    bitDepth = depth * png_get_channels(png, info);
    // Deflate packs at most 1032 bytes into one, and a row takes its filter byte besides.
    const int64_t size = input.GetSize();
    const double bytesPerRow = double(png_get_rowbytes(png, info)) + 1;
    if (size >= 0 && double(h) * bytesPerRow > double(size - input.Tell()) * 1032 + 1032)
        return LProcessResultFailed;
    if (!LCodecCheckPicture(process, w, h, 0, 0) || !LCodecAllocate(image, w, h))
        return LProcessResultFailed;

    // Everything becomes 8-bit B, G, R, A.
    if (colourType == PNG_COLOR_TYPE_PALETTE)
        png_set_palette_to_rgb(png);
    if (colourType == PNG_COLOR_TYPE_GRAY && depth < 8)
        png_set_expand_gray_1_2_4_to_8(png);
    if (png_get_valid(png, info, PNG_INFO_tRNS))
        png_set_tRNS_to_alpha(png);
    if (depth == 16)
        png_set_scale_16(png);
    if (colourType == PNG_COLOR_TYPE_GRAY || colourType == PNG_COLOR_TYPE_GRAY_ALPHA)
        png_set_gray_to_rgb(png);
    png_set_bgr(png);
    png_set_add_alpha(png, 0xFF, PNG_FILLER_AFTER);
    const int passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != size_t(w) * 4)
        return LProcessResultFailed;

    png_uint_32 xres, yres;
    int unit;
    if (png_get_pHYs(png, info, &xres, &yres, &unit) && unit == PNG_RESOLUTION_METER)
    {
        image.imf.HorizontalResolution = xres;
        image.imf.VerticalResolution = yres;
    }
    LCodecProgress progress(process);
    const int64_t total = int64_t(passes) * h;
    for (int pass = 0; pass < passes; ++pass)
        for (png_uint_32 y = 0; y < h; ++y)
        {
            png_read_row(png, image.GetRow(int(y)), nullptr);
            if (!progress.Row(int64_t(pass) * h + y + 1, total))
                return LProcessResultCancelled;
        }
    // A file cut after its pixels is still refused: the end chunk proves it whole.
    png_read_end(png, nullptr);
    return LProcessResultSuccess;
}

} // namespace

LProcessResult LCodecPNGDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                               int& bitDepth, LImageMetadata* metadata)
{
    process.SetStatus("Decoding PNG image", 0);
    bitDepth = 0;
    DecodeState st;
    st.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, ErrorFn, WarningFn);
    if (!st.png)
        return LProcessResultFailed;
    st.info = png_create_info_struct(st.png);
    LProcessResult r = st.info ? Decode(process, st, input, image, bitDepth, metadata) : LProcessResultFailed;
    png_destroy_read_struct(&st.png, &st.info, nullptr);
    if (r != LProcessResultSuccess)
    {
        image.Destroy();
        bitDepth = 0;
        if (metadata)
            metadata->Clear();
    }
    return r;
}
