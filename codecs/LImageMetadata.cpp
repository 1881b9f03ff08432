#include "codecs/LImageMetadata.h"

#include <cstring>

static bool Take(std::vector<uint8_t>& block, const uint8_t* data, size_t size)
{
    block.clear();
    if (!data || size == 0 || size > kLImageMetadataMaxBlock)
        return false;
    block.assign(data, data + size);
    return true;
}

bool LImageMetadata::SetExif(const uint8_t* data, size_t size)
{
    if (data && size >= 6 && memcmp(data, "Exif\0\0", 6) == 0)
    {
        data += 6;
        size -= 6;
    }
    // Anything but a TIFF header is no EXIF block a writer could carry.
    if (!data || size < 8 || !((data[0] == 'I' && data[1] == 'I') || (data[0] == 'M' && data[1] == 'M')))
    {
        arExif.clear();
        return false;
    }
    return Take(arExif, data, size);
}

bool LImageMetadata::SetXmp(const uint8_t* data, size_t size)
{
    return Take(arXmp, data, size);
}

bool LImageMetadata::SetIcc(const uint8_t* data, size_t size)
{
    return Take(arIcc, data, size);
}
