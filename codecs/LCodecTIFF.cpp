#include "codecs/LCodecTIFF.h"

#include <cstring>
#include <mutex>
#include <vector>

#include <tiffio.h>

namespace
{
// libtiff's handlers are process-wide and only print; failures come back as return values.
void Quiet(const char*, const char*, va_list) {}

void InstallQuietHandlers()
{
    static std::once_flag once;
    std::call_once(once,
                   []
                   {
                       TIFFSetErrorHandler(Quiet);
                       TIFFSetWarningHandler(Quiet);
                   });
}

tsize_t ReadProc(thandle_t h, tdata_t data, tsize_t size)
{
    return tsize_t(static_cast<LCodecReader*>(h)->Read(data, size_t(size)));
}

tsize_t NoWriteProc(thandle_t, tdata_t, tsize_t)
{
    return 0;
}

toff_t SeekProc(thandle_t h, toff_t offset, int whence)
{
    LCodecReader* in = static_cast<LCodecReader*>(h);
    int64_t base = 0;
    if (whence == SEEK_CUR)
        base = in->Tell();
    else if (whence == SEEK_END)
        base = in->GetSize();
    const int64_t target = base + int64_t(offset);
    if (target < 0 || !in->Seek(target))
        return toff_t(-1);
    return toff_t(target);
}

int CloseProc(thandle_t)
{
    return 0;
}

toff_t SizeProc(thandle_t h)
{
    const int64_t s = static_cast<LCodecReader*>(h)->GetSize();
    return s < 0 ? 0 : toff_t(s);
}

int MapProc(thandle_t, tdata_t*, toff_t*)
{
    return 0;
}

void UnmapProc(thandle_t, tdata_t, toff_t) {}

// A growing file in memory for the writer, which seeks back to patch its directory.
struct MemoryFile
{
    std::vector<uint8_t> data;
    uint64_t pos = 0;
};

tsize_t MemRead(thandle_t h, tdata_t buf, tsize_t size)
{
    MemoryFile* f = static_cast<MemoryFile*>(h);
    if (f->pos >= f->data.size())
        return 0;
    const size_t n = std::min<size_t>(size_t(size), f->data.size() - size_t(f->pos));
    memcpy(buf, f->data.data() + f->pos, n);
    f->pos += n;
    return tsize_t(n);
}

tsize_t MemWrite(thandle_t h, tdata_t buf, tsize_t size)
{
    MemoryFile* f = static_cast<MemoryFile*>(h);
    if (f->pos + uint64_t(size) > f->data.size())
        f->data.resize(size_t(f->pos + uint64_t(size)));
    memcpy(f->data.data() + f->pos, buf, size_t(size));
    f->pos += uint64_t(size);
    return size;
}

toff_t MemSeek(thandle_t h, toff_t offset, int whence)
{
    MemoryFile* f = static_cast<MemoryFile*>(h);
    int64_t base = whence == SEEK_CUR ? int64_t(f->pos) : whence == SEEK_END ? int64_t(f->data.size()) : 0;
    const int64_t target = base + int64_t(offset);
    if (target < 0)
        return toff_t(-1);
    f->pos = uint64_t(target);
    return toff_t(target);
}

toff_t MemSize(thandle_t h)
{
    return toff_t(static_cast<MemoryFile*>(h)->data.size());
}

struct TIFFCloser
{
    TIFF* t;
    ~TIFFCloser()
    {
        if (t)
            TIFFClose(t);
    }
};
} // namespace

LProcessResult LCodecTIFFDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth)
{
    process.SetStatus("Decoding TIFF image", 0);
    bitDepth = 0;
    InstallQuietHandlers();
    // "m": never map the file, the stream is the only way in.
    TIFFCloser tif{TIFFClientOpen("image", "rm", &input, ReadProc, NoWriteProc, SeekProc, CloseProc, SizeProc,
                                  MapProc, UnmapProc)};
    if (!tif.t)
        return LProcessResultFailed;
    uint16_t bps = 0, spp = 0;
    TIFFGetFieldDefaulted(tif.t, TIFFTAG_BITSPERSAMPLE, &bps);
    TIFFGetFieldDefaulted(tif.t, TIFFTAG_SAMPLESPERPIXEL, &spp);
    char message[1024];
    if (!TIFFRGBAImageOK(tif.t, message))
        return LProcessResultFailed;
    TIFFRGBAImage img;
    if (!TIFFRGBAImageBegin(&img, tif.t, 1, message)) // stop at the first damaged strip
        return LProcessResultFailed;
    struct EndImage
    {
        TIFFRGBAImage* p;
        ~EndImage() { TIFFRGBAImageEnd(p); }
    } end{&img};
    if (!LCodecAllocate(image, img.width, img.height))
        return LProcessResultFailed;
    const int w = image.GetWidth(), h = image.GetHeight();
    img.req_orientation = ORIENTATION_TOPLEFT;
    // Bands of rows straight into the buffer (rows of 32 bits have no padding) when the file is
    // stored top-down; other orientations need the whole picture at once.
    uint16_t orientation = ORIENTATION_TOPLEFT;
    TIFFGetFieldDefaulted(tif.t, TIFFTAG_ORIENTATION, &orientation);
    LCodecProgress progress(process);
    if (orientation == ORIENTATION_TOPLEFT)
    {
        const int band = 64;
        for (int y = 0; y < h; y += band)
        {
            const int n = std::min(band, h - y);
            img.row_offset = y;
            img.col_offset = 0;
            if (!TIFFRGBAImageGet(&img, reinterpret_cast<uint32_t*>(image.GetRow(y)), uint32_t(w),
                                  uint32_t(n)))
            {
                image.Destroy();
                return LProcessResultFailed;
            }
            if (!progress.Row(y + n, h))
            {
                image.Destroy();
                return LProcessResultCancelled;
            }
        }
    }
    else if (!TIFFRGBAImageGet(&img, reinterpret_cast<uint32_t*>(image.GetData()), uint32_t(w), uint32_t(h)))
    {
        image.Destroy();
        return LProcessResultFailed;
    }
    // The library gives R, G, B, A in memory with the alpha multiplied in; turn that into B, G, R, A
    // with straight alpha.
    const bool hasAlpha = img.alpha != 0;
    for (int y = 0; y < h; ++y)
    {
        uint8_t* p = image.GetRow(y);
        for (int x = 0; x < w; ++x, p += 4)
        {
            std::swap(p[0], p[2]);
            const unsigned a = p[3];
            if (hasAlpha && a != 255)
            {
                if (a == 0)
                    p[0] = p[1] = p[2] = 0;
                else
                    for (int c = 0; c < 3; ++c)
                        p[c] = uint8_t(std::min(255u, (p[c] * 255u + a / 2) / a));
            }
        }
    }
    float xres = 0, yres = 0;
    uint16_t unit = RESUNIT_INCH;
    if (TIFFGetField(tif.t, TIFFTAG_XRESOLUTION, &xres) && TIFFGetField(tif.t, TIFFTAG_YRESOLUTION, &yres))
    {
        TIFFGetFieldDefaulted(tif.t, TIFFTAG_RESOLUTIONUNIT, &unit);
        const double perMetre = unit == RESUNIT_CENTIMETER ? 100.0
                                : unit == RESUNIT_INCH     ? 100.0 / 2.54
                                                           : 0.0;
        if (perMetre > 0 && xres > 0 && yres > 0 && xres < 1e6f && yres < 1e6f)
        {
            image.imf.HorizontalResolution = uint32_t(xres * perMetre + 0.5);
            image.imf.VerticalResolution = uint32_t(yres * perMetre + 0.5);
        }
    }
    bitDepth = int(bps) * int(spp);
    return LProcessResultSuccess;
}

LProcessResult LCodecTIFFEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image)
{
    process.SetStatus("Encoding TIFF image", 0);
    InstallQuietHandlers();
    LCodecSourceRows source(image);
    if (!source.IsValid())
        return LProcessResultFailed;
    const int w = image.GetWidth(), h = image.GetHeight();
    const bool alpha = !source.IsOpaque();
    const int spp = alpha ? 4 : 3;
    MemoryFile file;
    {
        TIFFCloser tif{TIFFClientOpen("image", "w", &file, MemRead, MemWrite, MemSeek, CloseProc, MemSize,
                                      MapProc, UnmapProc)};
        if (!tif.t)
            return LProcessResultFailed;
        TIFFSetField(tif.t, TIFFTAG_IMAGEWIDTH, uint32_t(w));
        TIFFSetField(tif.t, TIFFTAG_IMAGELENGTH, uint32_t(h));
        TIFFSetField(tif.t, TIFFTAG_BITSPERSAMPLE, 8);
        TIFFSetField(tif.t, TIFFTAG_SAMPLESPERPIXEL, spp);
        TIFFSetField(tif.t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
        TIFFSetField(tif.t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(tif.t, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
        TIFFSetField(tif.t, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
        TIFFSetField(tif.t, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
        if (alpha)
        {
            const uint16_t extra[1] = {EXTRASAMPLE_UNASSALPHA};
            TIFFSetField(tif.t, TIFFTAG_EXTRASAMPLES, 1, extra);
        }
        if (image.imf.HorizontalResolution && image.imf.VerticalResolution)
        {
            TIFFSetField(tif.t, TIFFTAG_RESOLUTIONUNIT, RESUNIT_CENTIMETER);
            TIFFSetField(tif.t, TIFFTAG_XRESOLUTION, float(image.imf.HorizontalResolution / 100.0));
            TIFFSetField(tif.t, TIFFTAG_YRESOLUTION, float(image.imf.VerticalResolution / 100.0));
        }
        TIFFSetField(tif.t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tif.t, 0));
        std::vector<uint8_t> row(size_t(w) * size_t(spp));
        LCodecProgress progress(process, 0.0, 0.9);
        for (int y = 0; y < h; ++y)
        {
            const uint8_t* s = source.Row(y);
            uint8_t* d = row.data();
            for (int x = 0; x < w; ++x, s += 4, d += spp)
            {
                d[0] = s[2], d[1] = s[1], d[2] = s[0];
                if (alpha)
                    d[3] = s[3];
            }
            if (TIFFWriteScanline(tif.t, row.data(), uint32_t(y), 0) < 0)
                return LProcessResultFailed;
            if (!progress.Row(y + 1, h))
                return LProcessResultCancelled;
        }
        if (!TIFFWriteDirectory(tif.t))
            return LProcessResultFailed;
    }
    const size_t block = 1 << 20;
    for (size_t off = 0; off < file.data.size(); off += block)
        if (!output.Write(file.data.data() + off, std::min(block, file.data.size() - off)))
            return LProcessResultFailed;
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
