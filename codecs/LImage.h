#pragma once
// The one door through which image files enter and leave: load and save by file name (the codec is
// chosen by extension), and decoding of images held in memory.

#include <cstddef>

#include "codecs/LImageCodec.h"
#include "codecs/LImageEncodeSettings.h"
#include "codecs/LImageMetadata.h"
#include "foundation/LProcessInterface.h"
#include "image/LImageBuffer.h"

constexpr int kLImageDefaultLockTimeoutMs = 3000;
// Paths are held whole; Linux allows far longer ones than the classic 260 bytes.
constexpr size_t kLImagePathSize = 4096;

namespace LImage
{
// A codec for data held in memory and for application resources.
enum Encoding : int
{
    JPEG = 0,
    BMP = 1,
    GIF = 2,
    PCX = 3,
    PNG = 4,
    PNM = 5,
    PSD = 6,
    RAS = 7,
    TGA = 8,
    TIFF = 9,
    WBMP = 10,
};

// Bit depth of the file, 0 on any failure (the message went to process).
int Load(LProcessInterface& process, LImageBuffer& image, const char* path,
         int timeoutMs = kLImageDefaultLockTimeoutMs, const LImageCodecVetoer* vetoer = nullptr);
int Load(LImageBuffer& image, const char* path, int timeoutMs = kLImageDefaultLockTimeoutMs);
// Also gives the photo information the file carries (empty for formats that carry none).
int Load(LProcessInterface& process, LImageBuffer& image, LImageMetadata& metadata, const char* path,
         int timeoutMs = kLImageDefaultLockTimeoutMs, const LImageCodecVetoer* vetoer = nullptr);
int Load(LImageBuffer& image, const void* data, size_t size, Encoding encoding);
// Encodings JPEG, BMP, GIF and PNG only, from "resources/<type>/<id>.<type>".
int LoadResource(LImageBuffer& image, int id, Encoding encoding);

// True on success. A failed save never touches an existing file at path.
bool Save(LProcessInterface& process, const LImageBuffer& image, const char* path,
          const LImageEncodeSettings& settings, int timeoutMs = kLImageDefaultLockTimeoutMs,
          const LImageCodecVetoer* vetoer = nullptr);
bool Save(const LImageBuffer& image, const char* path, const LImageEncodeSettings& settings, int timeoutMs);
bool Save(const LImageBuffer& image, const char* path);
// Writes metadata too where the format carries it, unless the user turned that off.
bool Save(LProcessInterface& process, const LImageBuffer& image, const LImageMetadata* metadata,
          const char* path, const LImageEncodeSettings& settings, int timeoutMs = kLImageDefaultLockTimeoutMs,
          const LImageCodecVetoer* vetoer = nullptr);
} // namespace LImage

// -1 above 10.
LImageCodecID LImageGetCodecFromEncoding(int encoding);

struct LProcessImageLoadFile
{
    char szFilePath[kLImagePathSize] = {};
    int iTimeoutMs = kLImageDefaultLockTimeoutMs;
    const LImageCodecVetoer* lpVetoer = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0;                    // result
    LImageMetadata* lpMetadata = nullptr; // result, when given

    // False when the path doesn't fit.
    bool SetFilePath(const char* path);
};

struct LProcessImageSaveFile
{
    const LImageBuffer* lpImage = nullptr;
    char szFilePath[kLImagePathSize] = {};
    LImageEncodeSettings settings;
    int iTimeoutMs = kLImageDefaultLockTimeoutMs;
    const LImageCodecVetoer* lpVetoer = nullptr;
    const LImageMetadata* lpMetadata = nullptr; // written unless the user turned that off

    bool SetFilePath(const char* path);
};

LProcessResult Process(LProcessInterface& process, LProcessImageLoadFile& data);
LProcessResult Process(LProcessInterface& process, LProcessImageSaveFile& data);
