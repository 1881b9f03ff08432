#include "codecs/LCodecTIFF.h"

#include "codecs/LCodecIO.h"
#include "codecs/LCodecTIFFSamples.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include <sys/mman.h>

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

namespace
{
// How many pixels one byte of stored data can stand for under the file's compression: the
// coding's own limit where it has one, else the general bound.
double PixelsPerByte(uint16_t compression, double bitsPerPixel, uint32_t width)
{
    const double raw = 8.0 / std::max(bitsPerPixel, 1.0); // pixels in a byte of samples
    switch (compression)
    {
    case COMPRESSION_NONE:
        return raw;
    case COMPRESSION_PACKBITS:
        return raw * 64; // two bytes make a run of at most 128
    case COMPRESSION_LZW:
        return raw * 2048; // a 12-bit code stands for a few thousand bytes at most
    case COMPRESSION_DEFLATE:
    case COMPRESSION_ADOBE_DEFLATE:
        return raw * 1032;
    case COMPRESSION_CCITTRLE:
    case COMPRESSION_CCITTRLEW:
    case COMPRESSION_CCITTFAX3:
    case COMPRESSION_CCITTFAX4:
        return std::max(kLCodecMaxPixelsPerByte, 8.0 * width); // a blank row costs a bit
    default:
        return std::max(kLCodecMaxPixelsPerByte, raw * 1032);
    }
}

// Bytes the first image's strips or tiles really have in the file.
int64_t StoredBytes(TIFF* t, int64_t fileSize)
{
    const uint32_t n = TIFFIsTiled(t) ? TIFFNumberOfTiles(t) : TIFFNumberOfStrips(t);
    uint64_t sum = 0;
    for (uint32_t i = 0; i < n && sum < uint64_t(fileSize); ++i)
        sum += TIFFGetStrileByteCount(t, i);
    return int64_t(std::min<uint64_t>(sum, uint64_t(fileSize)));
}

// The 8-bit colour map; libtiff's reader and ImageMagick take a map whose entries all lie below 256
// for an old 8-bit one.
bool ReadColourMap(TIFF* t, LTIFFSamples& s)
{
    uint16_t *r, *g, *b;
    if (!TIFFGetField(t, TIFFTAG_COLORMAP, &r, &g, &b) || !r || !g || !b)
        return false;
    const size_t n = size_t(1) << s.iBits;
    bool wide = false;
    for (size_t i = 0; i < n && !wide; ++i)
        wide = r[i] >= 256 || g[i] >= 256 || b[i] >= 256;
    s.arRed.resize(n), s.arGreen.resize(n), s.arBlue.resize(n);
    for (size_t i = 0; i < n; ++i)
    {
        s.arRed[i] = uint8_t(wide ? (r[i] + 128) / 257 : r[i]);
        s.arGreen[i] = uint8_t(wide ? (g[i] + 128) / 257 : g[i]);
        s.arBlue[i] = uint8_t(wide ? (b[i] + 128) / 257 : b[i]);
    }
    return true;
}

enum class Route
{
    Samples, // our own conversion of decoded strips or tiles
    Library, // libtiff's RGBA reader, over the whole picture at once
    Refused,
};

// Works out how the samples of the first image are laid out, and whether this reader converts
// them itself or leaves them to libtiff's RGBA reader (old-style JPEG, CIE Lab, LogLuv, YCbCr
// in planes).
Route Describe(TIFF* t, LTIFFSamples& s)
{
    uint16_t bps = 1, spp = 1, format = SAMPLEFORMAT_UINT, planar = PLANARCONFIG_CONTIG;
    uint16_t photometric = 0, compression = COMPRESSION_NONE;
    TIFFGetFieldDefaulted(t, TIFFTAG_BITSPERSAMPLE, &bps);
    TIFFGetFieldDefaulted(t, TIFFTAG_SAMPLESPERPIXEL, &spp);
    TIFFGetFieldDefaulted(t, TIFFTAG_SAMPLEFORMAT, &format);
    TIFFGetFieldDefaulted(t, TIFFTAG_PLANARCONFIG, &planar);
    TIFFGetFieldDefaulted(t, TIFFTAG_COMPRESSION, &compression);
    if (!TIFFGetField(t, TIFFTAG_PHOTOMETRIC, &photometric))
        photometric = spp >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    if (spp == 0 || spp > 32 || bps == 0)
        return Route::Refused;
    if (compression == COMPRESSION_OJPEG)
        return Route::Library;
    if (compression == COMPRESSION_JPEG && photometric == PHOTOMETRIC_YCBCR &&
        planar == PLANARCONFIG_SEPARATE)
        return Route::Library; // the JPEG codec converts to RGB only samples side by side
    if (compression == COMPRESSION_JPEG && photometric == PHOTOMETRIC_YCBCR)
    {
        // The JPEG codec converts to RGB itself, subsampling and all.
        TIFFSetField(t, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        photometric = PHOTOMETRIC_RGB;
    }
    s.iBits = bps;
    s.iSamples = spp;
    s.bSeparate = planar == PLANARCONFIG_SEPARATE && spp > 1;
    switch (format)
    {
    case SAMPLEFORMAT_UINT:
    case SAMPLEFORMAT_VOID:
        s.kind = LTIFFSampleUnsigned;
        break;
    case SAMPLEFORMAT_INT:
        s.kind = LTIFFSampleSigned;
        break;
    case SAMPLEFORMAT_IEEEFP:
        s.kind = LTIFFSampleFloat;
        break;
    default:
        return Route::Refused; // complex samples
    }
    if (s.kind == LTIFFSampleFloat ? bps != 16 && bps != 24 && bps != 32 && bps != 64 : bps > 32)
        return Route::Refused;
    if (s.kind == LTIFFSampleFloat)
    {
        double lo = 0, hi = 1;
        // Without both, or with a useless range, floating point runs from 0 to 1.
        if (TIFFGetField(t, TIFFTAG_SMINSAMPLEVALUE, &lo) && TIFFGetField(t, TIFFTAG_SMAXSAMPLEVALUE, &hi) &&
            std::isfinite(lo) && std::isfinite(hi) && hi > lo)
            s.dMin = lo, s.dMax = hi;
    }
    int colourSamples;
    switch (photometric)
    {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
        s.colour = LTIFFColourGrey;
        s.bMinIsWhite = photometric == PHOTOMETRIC_MINISWHITE;
        colourSamples = 1;
        break;
    case PHOTOMETRIC_PALETTE:
        s.colour = LTIFFColourPalette;
        colourSamples = 1;
        if (s.kind == LTIFFSampleFloat || bps > 16 || !ReadColourMap(t, s))
            return Route::Refused;
        break;
    case PHOTOMETRIC_RGB:
        s.colour = LTIFFColourRGB;
        colourSamples = 3;
        break;
    case PHOTOMETRIC_SEPARATED:
    {
        uint16_t inks = INKSET_CMYK;
        TIFFGetFieldDefaulted(t, TIFFTAG_INKSET, &inks);
        if (inks != INKSET_CMYK)
            return Route::Refused;
        s.colour = LTIFFColourCMYK;
        colourSamples = 4;
        break;
    }
    case PHOTOMETRIC_YCBCR:
    {
        uint16_t h = 2, v = 2;
        TIFFGetFieldDefaulted(t, TIFFTAG_YCBCRSUBSAMPLING, &h, &v);
        if (s.bSeparate || spp != 3 || bps != 8 || s.kind != LTIFFSampleUnsigned)
            return Route::Library;
        if ((h != 1 && h != 2 && h != 4) || (v != 1 && v != 2 && v != 4))
            return Route::Refused;
        float *luma = nullptr, *reference = nullptr;
        if (!TIFFGetFieldDefaulted(t, TIFFTAG_YCBCRCOEFFICIENTS, &luma) ||
            !TIFFGetFieldDefaulted(t, TIFFTAG_REFERENCEBLACKWHITE, &reference) || !luma || !reference ||
            !LTIFFInitYCbCr(s, luma, reference))
            return Route::Refused;
        s.colour = LTIFFColourYCbCr;
        s.iSubH = h, s.iSubV = v;
        return Route::Samples;
    }
    default:
        return Route::Library;
    }
    if (spp < colourSamples)
        return Route::Refused;
    // The first extra sample is alpha, as other readers take it; without the tag, only a fourth
    // sample of RGB is.
    uint16_t extraCount = 0;
    uint16_t* extra = nullptr;
    if (TIFFGetField(t, TIFFTAG_EXTRASAMPLES, &extraCount, &extra) && extraCount > 0 && extra &&
        spp > colourSamples)
    {
        s.iAlpha = colourSamples;
        s.bAssociated = extra[0] == EXTRASAMPLE_ASSOCALPHA;
    }
    else if (photometric == PHOTOMETRIC_RGB && spp == 4)
        s.iAlpha = 3;
    return Route::Samples;
}

// Decodes the first image with this reader's own conversion into image, stored row order.
class SampleReader
{
public:
    SampleReader(TIFF* t, const LTIFFSamples& samples, LImageBuffer& picture, LCodecProgress& bar)
        : tif(t), s(samples), image(picture), progress(bar), w(uint32_t(picture.GetWidth())),
          h(uint32_t(picture.GetHeight()))
    {
    }

    LProcessResult Run()
    {
        if (TIFFIsTiled(tif))
            return Tiles();
        if (s.colour == LTIFFColourYCbCr || s.bSeparate)
            return Strips();
        return Scanlines();
    }

private:
    int Planes() const { return s.bSeparate ? s.iSamples : 1; }

    // Bytes one block row (a picture row, or a row of YCbCr units) of width pixels takes.
    uint64_t BlockRowBytes(uint64_t width) const
    {
        return s.colour == LTIFFColourYCbCr ? LTIFFYCbCrUnitRowBytes(s, width) : s.RowBytes(width);
    }
    uint32_t RowsPerBlockRow() const { return s.colour == LTIFFColourYCbCr ? uint32_t(s.iSubV) : 1; }

    // Converts rows of a decoded strip or tile: data[p] is plane p's block of `stride` bytes a
    // block row; count pixels from column x0 go to the picture rows from y0 on.
    void Convert(uint8_t* const* data, uint64_t stride, uint32_t rows, uint32_t x0, uint32_t y0,
                 uint32_t count)
    {
        const uint32_t per = RowsPerBlockRow();
        for (uint32_t r = 0; r < rows; r += per)
        {
            const uint64_t offset = uint64_t(r / per) * stride;
            if (s.colour == LTIFFColourYCbCr)
            {
                uint8_t* out[4];
                const uint32_t n = std::min(per, rows - r);
                for (uint32_t j = 0; j < n; ++j)
                    out[j] = image.GetRow(int(y0 + r + j)) + 4 * size_t(x0);
                LTIFFConvertYCbCrUnits(s, data[0] + offset, count, int(n), out);
            }
            else
            {
                const uint8_t* planes[32];
                for (int p = 0; p < Planes(); ++p)
                    planes[p] = data[p] + offset;
                LTIFFConvertRow(s, planes, count, image.GetRow(int(y0 + r)) + 4 * size_t(x0), scratch);
            }
        }
    }

    LProcessResult Scanlines()
    {
        const uint64_t bytes = s.RowBytes(w);
        if (TIFFScanlineSize64(tif) < bytes)
            return LProcessResultFailed;
        auto line = LCodecAllocateArray<uint8_t>(size_t(TIFFScanlineSize64(tif)));
        if (!line)
            return LProcessResultFailed;
        uint8_t* data[1] = {line.get()};
        for (uint32_t y = 0; y < h; ++y)
        {
            if (TIFFReadScanline(tif, line.get(), y, 0) < 0)
                return LProcessResultFailed;
            Convert(data, bytes, 1, 0, y, w);
            if (!progress.Row(y + 1, h))
                return LProcessResultCancelled;
        }
        return LProcessResultSuccess;
    }

    // Separate planes and YCbCr units, a strip at a time.
    LProcessResult Strips()
    {
        uint32_t rowsPerStrip = h;
        TIFFGetFieldDefaulted(tif, TIFFTAG_ROWSPERSTRIP, &rowsPerStrip);
        rowsPerStrip = std::clamp<uint32_t>(rowsPerStrip, 1, h);
        const uint32_t per = RowsPerBlockRow();
        const uint64_t stride = BlockRowBytes(w);
        const uint64_t size =
            std::max<uint64_t>(TIFFStripSize64(tif), (rowsPerStrip + per - 1) / per * stride);
        std::unique_ptr<uint8_t[]> buffers[32];
        uint8_t* data[32];
        for (int p = 0; p < Planes(); ++p)
            if (!(buffers[p] = LCodecAllocateArray<uint8_t>(size_t(size))))
                return LProcessResultFailed;
            else
                data[p] = buffers[p].get();
        for (uint32_t y = 0; y < h; y += rowsPerStrip)
        {
            const uint32_t rows = std::min(rowsPerStrip, h - y);
            const uint64_t needed = (rows + per - 1) / per * stride;
            for (int p = 0; p < Planes(); ++p)
            {
                const tmsize_t n =
                    TIFFReadEncodedStrip(tif, TIFFComputeStrip(tif, y, uint16_t(p)), data[p], tmsize_t(size));
                if (n < 0 || uint64_t(n) < needed)
                    return LProcessResultFailed;
            }
            Convert(data, stride, rows, 0, y, w);
            if (!progress.Row(y + rows, h))
                return LProcessResultCancelled;
        }
        return LProcessResultSuccess;
    }

    LProcessResult Tiles()
    {
        uint32_t tw = 0, th = 0;
        TIFFGetField(tif, TIFFTAG_TILEWIDTH, &tw);
        TIFFGetField(tif, TIFFTAG_TILELENGTH, &th);
        // A tile far larger than the picture is damage, and would be a huge buffer.
        if (tw == 0 || th == 0 || uint64_t(tw) * th > std::max<uint64_t>(uint64_t(w) * h * 4, 1u << 20))
            return LProcessResultFailed;
        const uint32_t per = RowsPerBlockRow();
        const uint64_t stride = BlockRowBytes(tw);
        const uint64_t needed = (th + per - 1) / per * stride;
        const uint64_t size = std::max<uint64_t>(TIFFTileSize64(tif), needed);
        std::unique_ptr<uint8_t[]> buffers[32];
        uint8_t* data[32];
        for (int p = 0; p < Planes(); ++p)
            if (!(buffers[p] = LCodecAllocateArray<uint8_t>(size_t(size))))
                return LProcessResultFailed;
            else
                data[p] = buffers[p].get();
        for (uint32_t y = 0; y < h; y += th)
        {
            const uint32_t rows = std::min(th, h - y);
            for (uint32_t x = 0; x < w; x += tw)
            {
                for (int p = 0; p < Planes(); ++p)
                {
                    const tmsize_t n = TIFFReadEncodedTile(tif, TIFFComputeTile(tif, x, y, 0, uint16_t(p)),
                                                           data[p], tmsize_t(size));
                    if (n < 0 || uint64_t(n) < needed)
                        return LProcessResultFailed;
                }
                Convert(data, stride, rows, x, y, std::min(tw, w - x));
            }
            if (!progress.Row(y + rows, h))
                return LProcessResultCancelled;
        }
        return LProcessResultSuccess;
    }

    TIFF* tif;
    const LTIFFSamples& s;
    LImageBuffer& image;
    LCodecProgress& progress;
    uint32_t w, h;
    LTIFFRowScratch scratch;
};

// libtiff's RGBA reader, asked for the whole picture at once: a band of rows at a time it
// misreads old-style JPEG and subsampled tiles. Rows come out in stored order.
LProcessResult ReadThroughLibrary(LProcessInterface& process, TIFF* t, LImageBuffer& image, int64_t bytesLeft,
                                  double pixelsPerByte)
{
    char message[1024];
    if (!TIFFRGBAImageOK(t, message))
        return LProcessResultFailed;
    TIFFRGBAImage img;
    if (!TIFFRGBAImageBegin(&img, t, 1, message)) // stop at the first damaged strip
        return LProcessResultFailed;
    struct EndImage
    {
        TIFFRGBAImage* p;
        ~EndImage() { TIFFRGBAImageEnd(p); }
    } end{&img};
    if (!LCodecCheckPicture(process, img.width, img.height, bytesLeft, pixelsPerByte) ||
        !LCodecAllocate(image, img.width, img.height))
        return LProcessResultFailed;
    img.req_orientation = img.orientation; // turned upright afterwards, like every other route
    process.SetProgress(0.05);
    if (process.IsToStop())
        return LProcessResultCancelled;
    if (!TIFFRGBAImageGet(&img, reinterpret_cast<uint32_t*>(image.GetData()), img.width, img.height))
        return LProcessResultFailed;
    // R, G, B, A in memory, with alpha multiplied in wherever there is alpha but for grey.
    const bool unmultiply = img.alpha != 0 && img.photometric != PHOTOMETRIC_MINISBLACK &&
                            img.photometric != PHOTOMETRIC_MINISWHITE;
    for (int y = 0; y < image.GetHeight(); ++y)
    {
        uint8_t* p = image.GetRow(y);
        for (int x = 0; x < image.GetWidth(); ++x, p += 4)
        {
            std::swap(p[0], p[2]);
            const unsigned a = p[3];
            if (unmultiply && a != 255)
                for (int c = 0; c < 3; ++c)
                    p[c] = a == 0 ? 0 : uint8_t(std::min(255u, (p[c] * 255u + a / 2) / a));
        }
    }
    return LProcessResultSuccess;
}

void ReadResolution(TIFF* t, LImageBuffer& image)
{
    float xres = 0, yres = 0;
    uint16_t unit = RESUNIT_INCH;
    if (TIFFGetField(t, TIFFTAG_XRESOLUTION, &xres) && TIFFGetField(t, TIFFTAG_YRESOLUTION, &yres))
    {
        TIFFGetFieldDefaulted(t, TIFFTAG_RESOLUTIONUNIT, &unit);
        const double perMetre = unit == RESUNIT_CENTIMETER ? 100.0
                                : unit == RESUNIT_INCH     ? 100.0 / 2.54
                                                           : 0.0;
        if (perMetre > 0 && xres > 0 && yres > 0 && xres < 1e6f && yres < 1e6f)
        {
            image.imf.HorizontalResolution = uint32_t(xres * perMetre + 0.5);
            image.imf.VerticalResolution = uint32_t(yres * perMetre + 0.5);
        }
    }
}

LProcessResult Decode(LProcessInterface& process, TIFF* t, int64_t fileSize, LImageBuffer& image,
                      int& bitDepth)
{
    uint32_t w = 0, h = 0;
    uint16_t bps = 1, spp = 1, compression = COMPRESSION_NONE, orientation = ORIENTATION_TOPLEFT;
    if (!TIFFGetField(t, TIFFTAG_IMAGEWIDTH, &w) || !TIFFGetField(t, TIFFTAG_IMAGELENGTH, &h))
        return LProcessResultFailed;
    TIFFGetFieldDefaulted(t, TIFFTAG_BITSPERSAMPLE, &bps);
    TIFFGetFieldDefaulted(t, TIFFTAG_SAMPLESPERPIXEL, &spp);
    TIFFGetFieldDefaulted(t, TIFFTAG_COMPRESSION, &compression);
    TIFFGetFieldDefaulted(t, TIFFTAG_ORIENTATION, &orientation);
    LTIFFSamples samples;
    const Route route = Describe(t, samples);
    // Subsampled chroma takes less room than a sample a pixel.
    const double bitsPerPixel =
        samples.colour == LTIFFColourYCbCr && route == Route::Samples
            ? 8.0 * (samples.iSubH * samples.iSubV + 2) / (samples.iSubH * samples.iSubV)
            : double(bps) * spp;
    const double pixelsPerByte = PixelsPerByte(compression, bitsPerPixel, w);
    // The whole file first, then what its strips really hold: counting those runs over every strip.
    if (route == Route::Refused || !LCodecCheckPicture(process, w, h, fileSize, pixelsPerByte))
        return LProcessResultFailed;
    const int64_t stored = compression == COMPRESSION_OJPEG ? fileSize : StoredBytes(t, fileSize);
    LProcessResult r;
    switch (route)
    {
    case Route::Samples:
    {
        if (!LCodecCheckPicture(process, w, h, stored, pixelsPerByte) || !LCodecAllocate(image, w, h))
            return LProcessResultFailed;
        LCodecProgress progress(process);
        r = SampleReader(t, samples, image, progress).Run();
        break;
    }
    case Route::Library:
        r = ReadThroughLibrary(process, t, image, stored, pixelsPerByte);
        break;
    default:
        return LProcessResultFailed;
    }
    if (r != LProcessResultSuccess)
        return r;
    ReadResolution(t, image);
    // Nothing keeps the tag, so the picture is turned upright once and for all.
    if (!LCodecApplyOrientation(image, orientation))
        return LProcessResultFailed;
    bitDepth = int(bps) * int(spp);
    return LProcessResultSuccess;
}

// libtiff's own allocations follow the picture limit, so that a fuzzed file can't make them large.
tmsize_t LibraryAllocationLimit()
{
    const uint64_t limit =
        std::clamp<uint64_t>(LCodecGetPixelLimit() * 16, uint64_t(64) << 20, uint64_t(1) << 30);
    return tmsize_t(limit);
}
} // namespace

static void ReadTiffMetadata(LCodecReader& input, LImageMetadata& metadata)
{
    const int64_t size = input.GetSize();
    if (size <= 0 || uint64_t(size) > SIZE_MAX)
        return;
    if (const uint8_t* memory = input.GetMemory())
    {
        LImageMetadataReadTiff(memory, size_t(size), metadata);
        return;
    }
    // Mapped, so that only the pages of the directories are read.
    const int fd = input.GetDescriptor();
    if (fd < 0)
        return;
    void* map = mmap(nullptr, size_t(size), PROT_READ, MAP_PRIVATE, fd, 0);
    if (map == MAP_FAILED)
        return;
    LImageMetadataReadTiff(static_cast<const uint8_t*>(map), size_t(size), metadata);
    munmap(map, size_t(size));
}

LProcessResult LCodecTIFFDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                                int& bitDepth, LImageMetadata* metadata)
{
    if (metadata)
        metadata->Clear();
    process.SetStatus("Decoding TIFF image", 0);
    bitDepth = 0;
    InstallQuietHandlers();
    struct Options
    {
        TIFFOpenOptions* p = TIFFOpenOptionsAlloc();
        ~Options() { TIFFOpenOptionsFree(p); }
    } options;
    if (!options.p)
        return LProcessResultFailed;
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.p, LibraryAllocationLimit());
    // "m": never map the file, the stream is the only way in.
    TIFFCloser tif{TIFFClientOpenExt("image", "rm", &input, ReadProc, NoWriteProc, SeekProc, CloseProc,
                                     SizeProc, MapProc, UnmapProc, options.p)};
    if (!tif.t)
        return LProcessResultFailed;
    const int64_t size = input.GetSize();
    const LProcessResult r = Decode(process, tif.t, size < 0 ? INT64_MAX : size, image, bitDepth);
    if (r != LProcessResultSuccess)
    {
        image.Destroy();
        bitDepth = 0;
    }
    else if (metadata)
        ReadTiffMetadata(input, *metadata);
    return r;
}

LProcessResult LCodecTIFFEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                                const LImageMetadata* metadata)
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
    // Photo information that can't be embedded is left out; the picture is still written.
    if (metadata)
        LImageMetadataEmbedInTiff(file.data, *metadata);
    const size_t block = 1 << 20;
    for (size_t off = 0; off < file.data.size(); off += block)
        if (!output.Write(file.data.data() + off, std::min(block, file.data.size() - off)))
            return LProcessResultFailed;
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
