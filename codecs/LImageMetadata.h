#pragma once
// The photo information a file carries beside its pixels: the EXIF block, the XMP packet and the
// ICC profile, kept as raw bytes from load to save. A codec that reads a container hands the
// blocks it finds to SetExif/SetXmp/SetIcc; a codec that writes one asks PrepareForSave for the
// blocks to embed and writes them where its format keeps them.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Blocks larger than this are dropped on load: no real photo comes near, and a damaged length
// field must not make a huge allocation.
constexpr size_t kLImageMetadataMaxBlock = 16u << 20;

struct LImageMetadata
{
    std::vector<uint8_t> arExif; // a TIFF header onward, without the "Exif\0\0" prefix of JPEG
    std::vector<uint8_t> arXmp;  // the XML packet
    std::vector<uint8_t> arIcc;  // the ICC profile

    bool IsEmpty() const { return arExif.empty() && arXmp.empty() && arIcc.empty(); }
    void Clear()
    {
        arExif.clear();
        arXmp.clear();
        arIcc.clear();
    }
    // Each takes the block as the container holds it; the EXIF one accepts it with or without
    // the "Exif\0\0" prefix. False (and nothing kept) for an empty or oversized block.
    bool SetExif(const uint8_t* data, size_t size);
    bool SetXmp(const uint8_t* data, size_t size);
    bool SetIcc(const uint8_t* data, size_t size);

    bool operator==(const LImageMetadata& o) const = default;
};

// The blocks to write beside pixels of width by height that are already upright: the orientation
// becomes 1 and the pixel dimensions are the written ones, in EXIF and XMP alike. A block that
// cannot be parsed is left out rather than written with stale values; the ICC profile is copied.
void LImageMetadataPrepareForSave(const LImageMetadata& in, int width, int height, LImageMetadata& out);

// Container helpers for formats whose metadata sits where only a full parser finds it. The TIFF
// reader takes the whole file; the embedder rewrites a finished TIFF in place with the prepared
// blocks. False when nothing could be read or written (the TIFF is then left as it was).
bool LImageMetadataReadTiff(const uint8_t* data, size_t size, LImageMetadata& out);
bool LImageMetadataEmbedInTiff(std::vector<uint8_t>& tiff, const LImageMetadata& prepared);

// One "key = value" line per EXIF and XMP property, then the profile's description and size;
// false when a block could not be parsed (what could be read is still listed).
bool LImageMetadataDescribe(const LImageMetadata& metadata, std::string& out);

// Whether saves write the photo information kept with an image ("Keep photo information when
// saving", on by default).
extern const char* const kLImageMetadataKeepKey;
bool LImageMetadataGetKeep();
void LImageMetadataSetKeep(bool keep);
