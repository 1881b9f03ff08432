// The photo information's parsing on its own: the first byte says what the rest is (0 an EXIF
// block, 1 an XMP packet, 2 an ICC profile, 3 a whole TIFF file), which is then prepared for a
// save, written into a small TIFF, and described.

#include <string>
#include <vector>

#include "codecs/LImageMetadata.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    LImageMetadata metadata;
    const uint8_t* body = data + 1;
    const size_t n = size - 1;
    switch (data[0] % 4)
    {
    case 0:
        metadata.SetExif(body, n);
        break;
    case 1:
        metadata.SetXmp(body, n);
        break;
    case 2:
        metadata.SetIcc(body, n);
        break;
    default:
        LImageMetadataReadTiff(body, n, metadata);
        break;
    }
    LImageMetadata prepared;
    LImageMetadataPrepareForSave(metadata, 3, 2, prepared);
    std::string text;
    LImageMetadataDescribe(metadata, text);
    // The smallest TIFF there is: one white pixel, uncompressed.
    static const uint8_t kTiff[] = {'I', 'I', 42, 0, 8,  0, 0, 0, 7,  0, 0, 1,
                                    3,   0,   1,  0, 0,  0, 1, 0, 0,  0,       // width 1
                                    1,   1,   3,  0, 1,  0, 0, 0, 1,  0, 0, 0, // length 1
                                    2,   1,   3,  0, 1,  0, 0, 0, 8,  0, 0, 0, // 8 bits
                                    6,   1,   3,  0, 1,  0, 0, 0, 1,  0, 0, 0, // black is zero
                                    17,  1,   4,  0, 1,  0, 0, 0, 98, 0, 0, 0, // strip at 98
                                    22,  1,   3,  0, 1,  0, 0, 0, 1,  0, 0, 0, // one row a strip
                                    23,  1,   4,  0, 1,  0, 0, 0, 1,  0, 0, 0, // of one byte
                                    0,   0,   0,  0, 255};
    std::vector<uint8_t> tiff(kTiff, kTiff + sizeof(kTiff));
    LImageMetadataEmbedInTiff(tiff, prepared);
    LImageMetadata back;
    LImageMetadataReadTiff(tiff.data(), tiff.size(), back);
    return 0;
}
