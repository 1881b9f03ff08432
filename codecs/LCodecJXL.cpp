#include "codecs/LCodecJXL.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>

#include <jxl/decode.h>
#include <jxl/encode.h>
#include <jxl/thread_parallel_runner.h>

#include "codecs/LCodecIO.h"

namespace
{
// Input is handed to the decoder in steps of this, so that progress moves and a stop is seen.
constexpr size_t kInputStep = size_t(1) << 20;
// A metadata box larger than this is no photo's metadata; compressed boxes could otherwise grow
// without bound.
constexpr size_t kMaxBox = size_t(16) << 20;

struct DecoderDeleter
{
    void operator()(JxlDecoder* d) const { JxlDecoderDestroy(d); }
};
struct EncoderDeleter
{
    void operator()(JxlEncoder* e) const { JxlEncoderDestroy(e); }
};
struct RunnerDeleter
{
    void operator()(void* r) const { JxlThreadParallelRunnerDestroy(r); }
};
using RunnerPtr = std::unique_ptr<void, RunnerDeleter>;

RunnerPtr MakeRunner()
{
    return RunnerPtr(JxlThreadParallelRunnerCreate(nullptr, size_t(LCodecLibraryThreads())));
}

// The box being filled, if it is one worth keeping.
struct BoxReader
{
    std::vector<uint8_t>* lpTarget = nullptr;
    std::vector<uint8_t> arData;

    void Begin(JxlDecoder* dec, LImageMetadata& metadata)
    {
        JxlBoxType type;
        lpTarget = nullptr;
        if (JxlDecoderGetBoxType(dec, type, JXL_TRUE) != JXL_DEC_SUCCESS)
            return;
        if (memcmp(type, "Exif", 4) == 0)
            lpTarget = &metadata.arExif;
        else if (memcmp(type, "xml ", 4) == 0)
            lpTarget = &metadata.arXmp;
        else
            return;
        arData.assign(65536, 0);
        JxlDecoderSetBoxBuffer(dec, arData.data(), arData.size());
    }
    bool Grow(JxlDecoder* dec)
    {
        const size_t used = arData.size() - JxlDecoderReleaseBoxBuffer(dec);
        if (arData.size() >= kMaxBox)
            return false;
        arData.resize(arData.size() * 2);
        JxlDecoderSetBoxBuffer(dec, arData.data() + used, arData.size() - used);
        return true;
    }
    void End(JxlDecoder* dec)
    {
        if (!lpTarget)
            return;
        arData.resize(arData.size() - JxlDecoderReleaseBoxBuffer(dec));
        if (lpTarget->empty()) // the first of a kind counts
            *lpTarget = std::move(arData);
        lpTarget = nullptr;
    }
};

void SwapRedBlue(LImageBuffer& image, bool premultiplied)
{
    for (int y = 0; y < image.GetHeight(); ++y)
    {
        uint8_t* p = image.GetRow(y);
        for (int x = 0; x < image.GetWidth(); ++x, p += 4)
        {
            std::swap(p[0], p[2]);
            if (premultiplied && p[3] != 0 && p[3] != 255)
                for (int c = 0; c < 3; ++c)
                    p[c] = uint8_t(std::min(255, (p[c] * 255 + p[3] / 2) / p[3]));
        }
    }
}
} // namespace

LProcessResult LCodecJXLDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                               int& bitDepth, LImageMetadata* metadata)
{
    process.SetStatus("Decoding JPEG XL image", 0);
    bitDepth = 0;
    LCodecWholeInput whole;
    if (const LProcessResult r = whole.Read(process, input, 0.1); r != LProcessResultSuccess)
        return r;
    const uint8_t* data = whole.GetData();
    const size_t size = whole.GetSize();
    std::unique_ptr<JxlDecoder, DecoderDeleter> dec(JxlDecoderCreate(nullptr));
    RunnerPtr runner = MakeRunner();
    if (!dec || !runner ||
        JxlDecoderSetParallelRunner(dec.get(), JxlThreadParallelRunner, runner.get()) != JXL_DEC_SUCCESS)
        return LProcessResultFailed;
    int events = JXL_DEC_BASIC_INFO | JXL_DEC_COLOR_ENCODING | JXL_DEC_FULL_IMAGE;
    LImageMetadata found;
    if (metadata)
    {
        events |= JXL_DEC_BOX;
        JxlDecoderSetDecompressBoxes(dec.get(), JXL_TRUE);
    }
    if (JxlDecoderSubscribeEvents(dec.get(), events) != JXL_DEC_SUCCESS)
        return LProcessResultFailed;
    size_t fed = std::min(size, kInputStep);
    JxlDecoderSetInput(dec.get(), data, fed);
    if (fed == size)
        JxlDecoderCloseInput(dec.get());
    JxlBasicInfo info = {};
    JxlPixelFormat format = {4, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
    BoxReader box;
    bool haveImage = false, haveInfo = false;
    LCodecProgress progress(process, 0.1, 0.85);
    auto fail = [&](LProcessResult r)
    {
        image.Destroy();
        return r;
    };
    for (;;)
    {
        const JxlDecoderStatus status = JxlDecoderProcessInput(dec.get());
        if (status == JXL_DEC_ERROR)
            return fail(LProcessResultFailed);
        if (status == JXL_DEC_NEED_MORE_INPUT)
        {
            if (fed == size)
            {
                if (!haveImage)
                    return fail(LProcessResultFailed);
                break; // metadata cut short costs the metadata, not the picture
            }
            const size_t consumed = fed - JxlDecoderReleaseInput(dec.get());
            fed = std::min(size, fed + kInputStep);
            JxlDecoderSetInput(dec.get(), data + consumed, fed - consumed);
            if (fed == size)
                JxlDecoderCloseInput(dec.get());
            if (!progress.Row(int64_t(fed), int64_t(size)))
                return fail(LProcessResultCancelled);
            continue;
        }
        if (status == JXL_DEC_BOX || status == JXL_DEC_SUCCESS)
        {
            box.End(dec.get());
            if (status == JXL_DEC_SUCCESS)
                break;
            box.Begin(dec.get(), found);
            continue;
        }
        if (status == JXL_DEC_BOX_NEED_MORE_OUTPUT)
        {
            if (!box.Grow(dec.get()))
                return fail(LProcessResultFailed);
            continue;
        }
        if (status == JXL_DEC_BASIC_INFO)
        {
            if (JxlDecoderGetBasicInfo(dec.get(), &info) != JXL_DEC_SUCCESS ||
                !LCodecCheckPicture(process, info.xsize, info.ysize, int64_t(size), kLCodecMaxPixelsPerByte))
                return fail(LProcessResultFailed);
            haveInfo = true;
            if (process.IsToStop())
                return fail(LProcessResultCancelled);
            continue;
        }
        if (status == JXL_DEC_COLOR_ENCODING)
        {
            size_t iccSize = 0;
            if (metadata &&
                JxlDecoderGetICCProfileSize(dec.get(), nullptr, JXL_COLOR_PROFILE_TARGET_ORIGINAL,
                                            &iccSize) == JXL_DEC_SUCCESS &&
                iccSize > 0 && iccSize <= kMaxBox)
            {
                found.arIcc.resize(iccSize);
                if (JxlDecoderGetColorAsICCProfile(dec.get(), nullptr, JXL_COLOR_PROFILE_TARGET_ORIGINAL,
                                                   found.arIcc.data(), iccSize) != JXL_DEC_SUCCESS)
                    found.arIcc.clear();
            }
            // The format's own colour space has no display meaning; sRGB is what the editor works in.
            if (!info.uses_original_profile)
            {
                JxlColorEncoding srgb;
                JxlColorEncodingSetToSRGB(&srgb, info.num_color_channels == 1);
                JxlDecoderSetPreferredColorProfile(dec.get(), &srgb);
            }
            continue;
        }
        if (status == JXL_DEC_NEED_IMAGE_OUT_BUFFER)
        {
            if (haveImage || !haveInfo)
                break; // a second frame: the first one is the picture
            // Sides as they come out, that is after the orientation is applied.
            const bool swap = info.orientation >= JXL_ORIENT_TRANSPOSE;
            size_t bytes = 0;
            if (!LCodecAllocate(image, swap ? info.ysize : info.xsize, swap ? info.xsize : info.ysize) ||
                JxlDecoderImageOutBufferSize(dec.get(), &format, &bytes) != JXL_DEC_SUCCESS ||
                bytes != size_t(image.GetWidthBytes()) * size_t(image.GetHeight()) ||
                JxlDecoderSetImageOutBuffer(dec.get(), &format, image.GetData(), bytes) != JXL_DEC_SUCCESS)
                return fail(LProcessResultFailed);
            continue;
        }
        if (status == JXL_DEC_FULL_IMAGE)
        {
            haveImage = true;
            if (!metadata)
                break;
            continue;
        }
        // Events not subscribed to are not expected; anything else is damage.
        return fail(LProcessResultFailed);
    }
    if (!haveImage)
        return fail(LProcessResultFailed);
    SwapRedBlue(image, info.alpha_bits > 0 && info.alpha_premultiplied);
    bitDepth = int(info.bits_per_sample) * int(info.num_color_channels + (info.alpha_bits > 0 ? 1 : 0));
    if (metadata)
    {
        metadata->Clear();
        LCodecSetExif(metadata->arExif, found.arExif.data(), found.arExif.size());
        metadata->arXmp = std::move(found.arXmp);
        metadata->arIcc = std::move(found.arIcc);
    }
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}

float LCodecJXLDistance(int quality)
{
    const int q = std::clamp(quality, 0, 99);
    if (q >= 30)
        return 0.1f + float(100 - q) * 0.09f;
    return 6.4f + std::pow(2.5f, float(30 - q) / 5.0f) / 6.25f;
}

LProcessResult LCodecJXLEncode(LProcessInterface& process, LCodecWriter& output, const LImageBuffer& image,
                               const LCODEC_JXL_EncodeSettings& settings,
                               const LImageMetadata* metadata)
{
    process.SetStatus("Encoding JPEG XL image", 0);
    LCodecSourceRows source(image);
    if (!source.IsValid())
        return LProcessResultFailed;
    const int w = source.GetWidth(), h = source.GetHeight();
    const bool lossless = settings.iMode == 0;
    const bool alpha = !source.IsOpaque();
    const uint32_t channels = alpha ? 4 : 3;
    std::unique_ptr<JxlEncoder, EncoderDeleter> enc(JxlEncoderCreate(nullptr));
    RunnerPtr runner = MakeRunner();
    if (!enc || !runner ||
        JxlEncoderSetParallelRunner(enc.get(), JxlThreadParallelRunner, runner.get()) != JXL_ENC_SUCCESS)
        return LProcessResultFailed;
    JxlBasicInfo info;
    JxlEncoderInitBasicInfo(&info);
    info.xsize = uint32_t(w);
    info.ysize = uint32_t(h);
    info.bits_per_sample = 8;
    info.num_color_channels = 3;
    info.alpha_bits = alpha ? 8 : 0;
    info.num_extra_channels = alpha ? 1 : 0;
    info.uses_original_profile = lossless ? JXL_TRUE : JXL_FALSE;
    if (JxlEncoderSetBasicInfo(enc.get(), &info) != JXL_ENC_SUCCESS)
        return LProcessResultFailed;
    JxlColorEncoding srgb;
    JxlColorEncodingSetToSRGB(&srgb, JXL_FALSE);
    const bool icc =
        metadata && !metadata->arIcc.empty() &&
        JxlEncoderSetICCProfile(enc.get(), metadata->arIcc.data(), metadata->arIcc.size()) == JXL_ENC_SUCCESS;
    if (!icc && JxlEncoderSetColorEncoding(enc.get(), &srgb) != JXL_ENC_SUCCESS)
        return LProcessResultFailed;
    if (metadata && (!metadata->arExif.empty() || !metadata->arXmp.empty()))
    {
        JxlEncoderUseBoxes(enc.get());
        if (!metadata->arExif.empty())
        {
            // The box starts with the offset of the TIFF header, which follows at once.
            std::vector<uint8_t> exif(4, 0);
            exif.insert(exif.end(), metadata->arExif.begin(), metadata->arExif.end());
            JxlEncoderAddBox(enc.get(), "Exif", exif.data(), exif.size(), JXL_FALSE);
        }
        if (!metadata->arXmp.empty())
            JxlEncoderAddBox(enc.get(), "xml ", metadata->arXmp.data(), metadata->arXmp.size(), JXL_FALSE);
        JxlEncoderCloseBoxes(enc.get());
    }
    JxlEncoderFrameSettings* frame = JxlEncoderFrameSettingsCreate(enc.get(), nullptr);
    if (!frame)
        return LProcessResultFailed;
    if (lossless)
        JxlEncoderSetFrameLossless(frame, JXL_TRUE);
    else
        JxlEncoderSetFrameDistance(frame, LCodecJXLDistance(settings.iQuality));
    {
        // The library takes a packed copy of its own, so this one lives only until it is handed over.
        const size_t rowBytes = size_t(w) * channels;
        std::unique_ptr<uint8_t[]> pixels = LCodecAllocateArray<uint8_t>(rowBytes * size_t(h));
        if (!pixels)
            return LProcessResultFailed;
        LCodecProgress progress(process, 0.0, 0.1);
        for (int y = 0; y < h; ++y)
        {
            const uint8_t* s = source.Row(y);
            uint8_t* d = pixels.get() + rowBytes * size_t(y);
            for (int x = 0; x < w; ++x, s += 4, d += channels)
            {
                d[0] = s[2], d[1] = s[1], d[2] = s[0];
                if (alpha)
                    d[3] = s[3];
            }
            if (!progress.Row(y + 1, h))
                return LProcessResultCancelled;
        }
        const JxlPixelFormat format = {channels, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
        if (JxlEncoderAddImageFrame(frame, &format, pixels.get(), rowBytes * size_t(h)) != JXL_ENC_SUCCESS)
            return LProcessResultFailed;
    }
    JxlEncoderCloseInput(enc.get());
    std::vector<uint8_t> block(size_t(1) << 20);
    double step = 0.1;
    for (;;)
    {
        uint8_t* next = block.data();
        size_t avail = block.size();
        const JxlEncoderStatus status = JxlEncoderProcessOutput(enc.get(), &next, &avail);
        if (status == JXL_ENC_ERROR || !output.Write(block.data(), size_t(next - block.data())))
            return LProcessResultFailed;
        if (status == JXL_ENC_SUCCESS)
            break;
        // The size of the result isn't known ahead, so the bar creeps towards its end.
        step += (1.0 - step) * 0.2;
        process.SetProgress(step);
        if (process.IsToStop())
            return LProcessResultCancelled;
    }
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
