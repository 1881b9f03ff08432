#pragma once
// Encoding into memory and decoding from it by codec id: what a file of that format would hold,
// byte for byte, without touching the disk. The save dialog measures and shows these bytes and
// later writes the very same ones; the batch run encodes each picture before it replaces a file.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "codecs/LImageCodec.h"
#include "codecs/LImageEncodeSettings.h"
#include "codecs/LImageProcess.h"
#include "foundation/LProcessInterface.h"
#include "image/LImageBuffer.h"

// One codec's own save process into memory: LImageEncodeWith<LProcessJPEGSave>(process, image, out,
// [](auto& d) { d.iQuality = 90; }). No message of the registry's is added.
template <template <class> class Save, class Setup>
LProcessResult LImageEncodeWith(LProcessInterface& process, const LImageBuffer& image,
                                std::vector<uint8_t>& out, Setup setup)
{
    out.clear();
    LOutputStream<LOutputStreamByteArray> stream;
    Save<LOutputStreamByteArray> data;
    data.lpStream = &stream;
    data.lpImage = &image;
    setup(data);
    const LProcessResult r = Process(process, data);
    if (r == LProcessResultSuccess)
        out.swap(stream.GetArray());
    return r;
}

// One codec's own load process from memory; a success without a picture is a failure.
template <template <class> class Load>
LProcessResult LImageDecodeWith(LProcessInterface& process, const uint8_t* data, size_t size,
                                LImageBuffer& image)
{
    LInputStream<LInputStreamBuffer> stream;
    stream.SetBuffer(data, size);
    Load<LInputStreamBuffer> load;
    load.lpStream = &stream;
    load.lpImage = &image;
    const LProcessResult r = Process(process, load);
    if (r == LProcessResultSuccess && !image.IsValid())
        return LProcessResultFailed;
    return r;
}

// Through the registry's dispatch, with its message ("The image could not be saved") on failure.
// Codecs whose writer needs a file (PSD) go through a temporary file that is read back.
LProcessResult LImageEncodeToMemory(LProcessInterface& process, const LImageBuffer& image, LImageCodec codec,
                                    const LImageEncodeSettings& settings, std::vector<uint8_t>& out);
// Through the registry's dispatch, with its message ("The image could not be loaded.") on failure.
LProcessResult LImageDecodeFromMemory(LProcessInterface& process, const uint8_t* data, size_t size,
                                      LImageCodec codec, LImageBuffer& image);

// One GIF frame through the own encoder: loop count 0, a median-cut palette of 256 colours,
// dithered or not, shown for 100 ms. What the save dialog and the batch run write for GIF.
LProcessResult LGIFEncodeAnimatedFrame(LProcessInterface& process, const LImageBuffer& image, bool bDither,
                                       std::vector<uint8_t>& out);
// Frame 0 through the own decoder.
LProcessResult LGIFDecodeOwn(LProcessInterface& process, const uint8_t* data, size_t size,
                             LImageBuffer& image);

// A B8G8R8A8 copy of image over opaque white, for formats that would otherwise show what lies
// under transparent pixels. 0 done, 1 stopped, 2 out of memory (no message).
LProcessResult LImageFlattenOnWhite(LProcessInterface& process, const LImageBuffer& image, LImageBuffer& out);
