// Files that claim far more picture than they hold, saved under tests/data/crashers/, and pictures
// too large for memory: decoders refuse both before they ask for the memory.

#include "codec_support.h"

#include <chrono>
#include <dirent.h>
#include <malloc.h>

#if defined(__SANITIZE_ADDRESS__)
// The sanitizer's allocator keeps its own books; g++ ships no header for this.
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif

#include "codecs/LImage.h"
#include "codecs/LImageProcess.h"

using namespace codec_test;

namespace
{
size_t HeapInUse()
{
#if defined(__SANITIZE_ADDRESS__)
    return __sanitizer_get_current_allocated_bytes();
#else
    const struct mallinfo2 m = mallinfo2();
    return m.uordblks + m.hblkhd; // mapped blocks count whole, touched or not
#endif
}

// Memory input that notes the heap in use at every read: a decoder reads on after it allocates,
// so the peak shows what it asked for before the data could fill it.
class HeapWatchingBuffer : public LInputStreamBuffer
{
public:
    using LInputStreamBuffer::LInputStreamBuffer;
    size_t ReadRaw(void* data, size_t size)
    {
        nPeak = std::max(nPeak, HeapInUse());
        return LInputStreamBuffer::ReadRaw(data, size);
    }
    size_t nPeak = 0;
};

struct Outcome
{
    LProcessResult result;
    size_t nHeapGrowth;
    double dSeconds;
    std::vector<std::string> arErrors;
};

template <template <class> class Load>
Outcome DecodeWatched(const Bytes& file)
{
    LInputStream<HeapWatchingBuffer> stream(file.data(), file.size());
    LImageBuffer image;
    Load<HeapWatchingBuffer> load;
    load.lpStream = &stream;
    load.lpImage = &image;
    RecordingProcess process;
    const size_t before = HeapInUse();
    const auto start = std::chrono::steady_clock::now();
    const LProcessResult r = Process(process, load);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return {r, stream.nPeak > before ? stream.nPeak - before : 0, seconds, process.arErrors};
}

// The saved file without the byte that chooses the codec in the fuzz target.
Bytes Crasher(const std::string& target, const std::string& name)
{
    const Bytes b = ReadFile(std::string(QUENDREL_SOURCE_DIR "/tests/data/crashers/") + target + "/" + name);
    return target == "image" && !b.empty() ? Bytes(b.begin() + 1, b.end()) : b;
}
} // namespace

TEST(OversizedFiles, LibraryCodecsRefuseBeforeAllocating)
{
    // Each claims hundreds of megapixels in a few dozen bytes; the JPEG 2000 one is valid and
    // used to decode, for half a minute, into a picture of 16384 by 16384.
    struct Case
    {
        const char* szFile;
        Outcome (*fnDecode)(const Bytes&);
    } cases[] = {
        {"gif-frame-of-a-gigapixel.gif", DecodeWatched<LProcessGIFLoad>},
        {"j2k-empty-packets-16384-square.j2k", DecodeWatched<LProcessJPEG2000Load>},
        {"jpeg-progressive-header-of-900-megapixels.jpg", DecodeWatched<LProcessJPEGLoad>},
        {"png-header-of-900-megapixels.png", DecodeWatched<LProcessPNGLoad>},
        {"tiff-header-of-900-megapixels.tif", DecodeWatched<LProcessTIFFLoad>},
        {"webp-lossless-header-of-268-megapixels.webp", DecodeWatched<LProcessWEBPLoad>},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.szFile);
        const Bytes file = Crasher("image", c.szFile);
        ASSERT_FALSE(file.empty());
        const Outcome o = c.fnDecode(file);
        EXPECT_EQ(o.result, LProcessResultFailed);
        EXPECT_LT(o.nHeapGrowth, size_t(64) << 20);
        EXPECT_LT(o.dSeconds, 2.0);
        // Damage, not a picture too large: no word of its own, the registry says it.
        EXPECT_TRUE(o.arErrors.empty());
    }
}

TEST(OversizedFiles, SunRasterDepthsWithoutAPicture)
{
    // Depth 0 passed the size check with rows of no bytes and cleared gigabytes into a black
    // picture; a depth of 16 read its rows and gave black too. Both are failures.
    for (const char* name : {"depth-0-claims-800-megapixels.ras", "depth-16-unsupported.ras"})
    {
        SCOPED_TRACE(name);
        const Bytes file = Crasher("ras", name);
        ASSERT_FALSE(file.empty());
        LImageBuffer image;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Decode<LProcessRASLoad>(file, image), LProcessResultFailed);
        EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 1.0);
        EXPECT_FALSE(image.IsValid());
    }
}

TEST(OversizedFiles, PicturesBeyondTheMemoryCheckSaySo)
{
    // Half the available memory must hold 12 bytes a pixel.
    EXPECT_TRUE(LCodecMemoryAllows(1000, 1000, 24000000));
    EXPECT_FALSE(LCodecMemoryAllows(1000, 1000, 23999999));
    EXPECT_FALSE(LCodecMemoryAllows(0xFFFFFFFFull, 0xFFFFFFFFull, ~0ull)); // no overflow
    EXPECT_GT(LCodecAvailableMemory(), 0u);

    // A real file over a lowered limit: every codec refuses it with the check's own message,
    // which the registry leaves as it is.
    TempFolder dir;
    const Picture p = PhotoLike(61, 43);
    for (const char* ext : {".png", ".jpg", ".tif", ".bmp", ".webp", ".gif", ".tga", ".psd", ".jp2"})
    {
        SCOPED_TRACE(ext);
        const std::string path = dir.Path(std::string("big") + ext);
        ASSERT_TRUE(MagickEncode(dir, p, "", path));
        LCodecSetPixelLimit(61 * 43 - 1);
        LImageBuffer image;
        RecordingProcess process;
        const int depth = LImage::Load(process, image, path.c_str());
        LCodecSetPixelLimit(0);
        EXPECT_EQ(depth, 0);
        ASSERT_EQ(process.arErrors.size(), 1u);
        EXPECT_EQ(process.arErrors[0], kLCodecTooLargeMessage);
        EXPECT_GT(LImage::Load(image, path.c_str()), 0); // the limit restored
    }
}
