#include "codecs/LCodecCamRAW.h"

#include <algorithm>
#include <memory>
#include <new>
#include <vector>

#include <libraw/libraw.h>

namespace
{
struct Hook
{
    LProcessInterface* lpProcess;
    bool bStopped;
    bool bDataError;
};

// Damaged or missing sensor data; the library would print it and go on with zeros.
void DataErrorFn(void* data, const char*, const int)
{
    static_cast<Hook*>(data)->bDataError = true;
}

// LibRaw reports its stages; a nonzero answer makes it stop.
int ProgressFn(void* data, LibRaw_progress stage, int iteration, int expected)
{
    Hook* hook = static_cast<Hook*>(data);
    // Stages are single bits in order; their position is a fair measure of the way done.
    int bit = 0;
    while (bit < 31 && (1 << bit) < int(stage))
        ++bit;
    double f = 0.1 + 0.8 * bit / 20.0;
    if (expected > 0)
        f += 0.8 / 20.0 * iteration / expected;
    hook->lpProcess->SetProgress(std::min(f, 0.9));
    if (hook->lpProcess->IsToStop())
    {
        hook->bStopped = true;
        return 1;
    }
    return 0;
}

constexpr int64_t kMaxRawFile = int64_t(2) << 30;

LProcessResult Develop(LProcessInterface& process, const uint8_t* data, size_t size, LImageBuffer& image)
{
    std::unique_ptr<LibRaw> raw(new LibRaw(LIBRAW_OPTIONS_NONE));
    Hook hook{&process, false, false};
    raw->set_progress_handler(ProgressFn, &hook);
    raw->set_dataerror_handler(DataErrorFn, &hook);
    libraw_output_params_t& params = raw->imgdata.params;
    params.output_bps = 8;
    params.output_color = 1; // sRGB
    params.use_camera_wb = 1;
    params.use_camera_matrix = 1;
    params.no_auto_bright = 0;
    // Patterned pixel grouping: the default interpolation allocates inside its parallel loop, where
    // a failed allocation ends the process instead of reaching us.
    params.user_qual = 2;
    // The library's own buffers follow the picture limit.
    params.max_raw_memory_mb = unsigned(std::clamp<uint64_t>(LCodecGetPixelLimit() * 16 >> 20, 64, 2048));
    if (raw->open_buffer(const_cast<uint8_t*>(data), size) != LIBRAW_SUCCESS)
        return LProcessResultFailed;
    const libraw_image_sizes_t& sizes = raw->imgdata.sizes;
    if (!LCodecCheckPicture(process, std::max(sizes.width, sizes.iwidth),
                            std::max(sizes.height, sizes.iheight), int64_t(size), kLCodecMaxPixelsPerByte))
        return LProcessResultFailed;
    if (raw->unpack() != LIBRAW_SUCCESS || hook.bDataError || raw->dcraw_process() != LIBRAW_SUCCESS ||
        hook.bDataError)
        return hook.bStopped ? LProcessResultCancelled : LProcessResultFailed;
    int error = 0;
    libraw_processed_image_t* out = raw->dcraw_make_mem_image(&error);
    if (!out)
        return LProcessResultFailed;
    std::unique_ptr<libraw_processed_image_t, void (*)(libraw_processed_image_t*)> holder(
        out, [](libraw_processed_image_t* p) { LibRaw::dcraw_clear_mem(p); });
    if (out->type != LIBRAW_IMAGE_BITMAP || out->bits != 8 || (out->colors != 3 && out->colors != 1))
        return LProcessResultFailed;
    if (uint64_t(out->width) * out->height * out->colors > out->data_size)
        return LProcessResultFailed;
    if (!LCodecAllocate(image, out->width, out->height))
        return LProcessResultFailed;
    const size_t stride = size_t(out->width) * out->colors;
    for (int y = 0; y < image.GetHeight(); ++y)
    {
        const uint8_t* s = out->data + size_t(y) * stride;
        uint8_t* d = image.GetRow(y);
        for (int x = 0; x < image.GetWidth(); ++x, d += 4, s += out->colors)
        {
            d[0] = s[out->colors == 3 ? 2 : 0];
            d[1] = s[out->colors == 3 ? 1 : 0];
            d[2] = s[0];
            d[3] = 255;
        }
        if (y % 64 == 0)
        {
            process.SetProgress(0.9 + 0.1 * y / image.GetHeight());
            if (process.IsToStop())
            {
                image.Destroy();
                return LProcessResultCancelled;
            }
        }
    }
    return LProcessResultSuccess;
}

// LibRaw reports exhausted memory, and some damage, by exceptions (its own or std::bad_alloc);
// none may leave the decoder.
LProcessResult DevelopGuarded(LProcessInterface& process, const uint8_t* data, size_t size,
                              LImageBuffer& image)
{
    try
    {
        return Develop(process, data, size, image);
    }
    catch (...)
    {
        image.Destroy();
        return LProcessResultFailed;
    }
}
} // namespace

LProcessResult LCodecCamRAWDecode(LProcessInterface& process, LCodecReader& input, LImageCodecID codec,
                                  LImageBuffer& image, int& bitDepth)
{
    process.SetStatusF(0, "Decoding %s image",
                       LImageCodec(codec).IsValid() ? LImageCodec(codec).GetName() : "RAW");
    bitDepth = 0;
    // LibRaw wants random access to the whole file; memory input is used where it lies.
    const int64_t start = input.Tell();
    const int64_t size = input.GetSize();
    if (size <= start || size - start > kMaxRawFile)
        return LProcessResultFailed;
    std::vector<uint8_t> copy;
    const uint8_t* data = input.GetMemory();
    if (data)
        data += start;
    else
    {
        try
        {
            copy.resize(size_t(size - start));
        }
        catch (const std::bad_alloc&)
        {
            return LProcessResultFailed;
        }
        const size_t block = 1 << 20;
        for (size_t off = 0; off < copy.size(); off += block)
        {
            const size_t n = std::min(block, copy.size() - off);
            if (input.Read(copy.data() + off, n) != n)
                return LProcessResultFailed;
            process.SetProgress(0.1 * double(off + n) / double(copy.size()));
            if (process.IsToStop())
                return LProcessResultCancelled;
        }
        data = copy.data();
    }

    const LProcessResult r = DevelopGuarded(process, data, size_t(size - start), image);
    if (r == LProcessResultSuccess)
        bitDepth = 48; // the sensor's own depth; the developed picture has 16 bits before it is narrowed
    return r;
}
