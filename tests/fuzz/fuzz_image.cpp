// The library codecs through the registry's load from memory, as LImage::Load runs them with the
// photo information asked for: the first byte chooses the codec, the rest is the file. What
// information is found goes through the parser the way a save and `info --metadata` use it.

#include <string>

#include "codecs/LImageProcess.h"
#include "fuzz/fuzz_support.h"

namespace
{
// One of each decoder; the camera families all share the DNG one.
const LImageCodecID kCodecs[] = {LImageCodecJPEG, LImageCodecJPEG2000, LImageCodecPNG, LImageCodecTIFF,
                                 LImageCodecGIF,  LImageCodecWEBP,     LImageCodecDNG};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    LCodecSetPixelLimit(kFuzzPixelLimit);
    LInputStream<LInputStreamBuffer> stream(data + 1, size - 1);
    LImageBuffer image;
    LProcessImageLoad<LInputStreamBuffer> load;
    load.lpStream = &stream;
    load.codec = LImageCodec(kCodecs[data[0] % (sizeof(kCodecs) / sizeof(kCodecs[0]))]);
    load.lpImage = &image;
    LImageMetadata metadata;
    load.lpMetadata = &metadata;
    LProcessInterfaceVoid process;
    if (Process(process, load) == LProcessResultSuccess)
    {
        FuzzTouch(image);
        LImageMetadata prepared;
        LImageMetadataPrepareForSave(metadata, image.GetWidth(), image.GetHeight(), prepared);
        std::string text;
        LImageMetadataDescribe(metadata, text);
    }
    else if (!metadata.IsEmpty())
        __builtin_trap(); // a failed load keeps nothing
    return 0;
}
