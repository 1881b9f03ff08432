#pragma once
// The pieces the container formats' library glue shares: the whole input in memory (their libraries parse
// boxes at random offsets) and the turn of rotation and mirror properties into an EXIF orientation.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "codecs/LCodecCommon.h"
#include "codecs/LImageMetadata.h"

// Stores an EXIF payload from TIFF header on, whether it came with the JPEG-style "Exif\0\0"
// prefix or the 4-byte header offset of the ISO box formats; anything without a TIFF header is
// dropped, so that a damaged block never reaches a writer.
void LCodecSetExif(std::vector<uint8_t>& out, const uint8_t* data, size_t size);

// The whole input, from memory when the stream already lies there, else read in blocks with
// progress over [0, range] and cancellation between blocks.
class LCodecWholeInput
{
public:
    LProcessResult Read(LProcessInterface& process, LCodecReader& input, double range);
    const uint8_t* GetData() const { return lpData; }
    size_t GetSize() const { return nSize; }

private:
    std::vector<uint8_t> arCopy;
    const uint8_t* lpData = nullptr;
    size_t nSize = 0;
};

// The EXIF orientation (1 to 8) that turns stored pixels upright, from an anticlockwise rotation
// in quarter turns followed by an optional mirror (0 none, 1 top and bottom exchanged, 2 left and
// right exchanged).
int LCodecOrientationFromRotateMirror(int quarterTurns, int mirror);

// Workers a library may run for one decode or encode.
int LCodecLibraryThreads();
