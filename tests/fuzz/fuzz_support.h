#pragma once
// What the decoder fuzz targets share: the picture size is capped, so that runs spend their time
// on parsing rather than on filling large buffers, and the input is decoded from memory by the
// codec's own load process with a process that never stops.

#include <cstddef>
#include <cstdint>

#include "codecs/LCodecCommon.h"

// Every seed fits; a fuzzed header claiming more is refused before anything is allocated.
constexpr uint64_t kFuzzPixelLimit = uint64_t(1) << 20;

// Reads every byte of a decoded picture, so that a picture reported whole but short of its
// buffer shows as a read out of bounds.
inline void FuzzTouch(const LImageBuffer& image)
{
    if (!image.IsValid())
        __builtin_trap(); // success without a picture
    const size_t row = size_t(image.GetWidth()) * (image.GetPixelFormat() == B8G8R8A8 ? 4 : 3);
    unsigned sum = 0;
    for (int y = 0; y < image.GetHeight(); ++y)
    {
        const uint8_t* p = image.GetRow(y);
        for (size_t i = 0; i < row; ++i)
            sum += p[i];
    }
    volatile unsigned sink = sum;
    (void)sink;
}

template <template <class> class Load>
int FuzzDecode(const uint8_t* data, size_t size)
{
    LCodecSetPixelLimit(kFuzzPixelLimit);
    LInputStream<LInputStreamBuffer> stream(data, size);
    LImageBuffer image;
    Load<LInputStreamBuffer> load;
    load.lpStream = &stream;
    load.lpImage = &image;
    LProcessInterfaceVoid process;
    if (Process(process, load) == LProcessResultSuccess)
        FuzzTouch(image);
    return 0;
}
