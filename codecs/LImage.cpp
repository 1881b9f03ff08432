#include "codecs/LImage.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "codecs/LImageProcess.h"
#include "foundation/LFile.h"
#include "foundation/LFileAtomicWriter.h"

LImageCodecID LImageGetCodecFromEncoding(int encoding)
{
    static const LImageCodecID map[] = {LImageCodecJPEG, LImageCodecBMP,  LImageCodecGIF, LImageCodecPCX,
                                        LImageCodecPNG,  LImageCodecPNM,  LImageCodecPSD, LImageCodecRAS,
                                        LImageCodecTGA,  LImageCodecTIFF, LImageCodecWBMP};
    return encoding >= 0 && encoding <= 10 ? map[encoding] : LImageCodecUnknown;
}

static bool CopyPath(char (&out)[kLImagePathSize], const char* path)
{
    if (!path || strlen(path) >= kLImagePathSize)
    {
        out[0] = 0;
        return false;
    }
    strcpy(out, path);
    return true;
}

bool LProcessImageLoadFile::SetFilePath(const char* path)
{
    return CopyPath(szFilePath, path);
}

bool LProcessImageSaveFile::SetFilePath(const char* path)
{
    return CopyPath(szFilePath, path);
}

// The name behind the last separator; at most 258 characters of it are shown.
static void FileNameForStatus(char (&out)[260], const char* path)
{
    const char* name = path;
    for (const char* p = path; *p; ++p)
        if (*p == '/' || *p == '\\')
            name = p + 1;
    snprintf(out, sizeof(out), "%.258s", name);
}

LProcessResult Process(LProcessInterface& process, LProcessImageLoadFile& d)
{
    d.iBitDepth = 0;
    if (!d.lpImage)
        return LProcessResultFailed;
    char name[260];
    FileNameForStatus(name, d.szFilePath);
    process.SetStatusF(0, "Loading %s", name);
    if (!LFile::TestFileExists(d.szFilePath))
    {
        process.SetError("The file could not be found.");
        return LProcessResultFailed;
    }
    LImageCodec codec;
    if (!codec.InitFromFilePath(d.szFilePath))
    {
        process.SetError("The file type is not recognized.");
        return LProcessResultFailed;
    }
    if (d.lpVetoer && !d.lpVetoer->IsEnabled(codec, LImageIORead))
    {
        process.SetError("The file format is not supported.");
        return LProcessResultFailed;
    }
    LInputStream<LInputStreamFile> stream;
    if (!stream.Open(d.szFilePath, LFileLockShared, d.iTimeoutMs))
    {
        process.SetError("The file could not be opened.");
        return LProcessResultFailed;
    }
    LProcessImageLoad<LInputStreamFile> load;
    load.lpStream = &stream;
    load.codec = codec;
    load.lpImage = d.lpImage;
    load.lpMetadata = d.lpMetadata;
    LProcessInterfaceSubProcess sub(process, 0.0, 1.0);
    const LProcessResult r = Process(sub, load);
    d.iBitDepth = r == LProcessResultSuccess ? load.iBitDepth : 0;
    return r;
}

LProcessResult Process(LProcessInterface& process, LProcessImageSaveFile& d)
{
    if (!d.lpImage)
        return LProcessResultFailed;
    char name[260];
    FileNameForStatus(name, d.szFilePath);
    process.SetStatusF(0, "Saving %s", name);
    LImageCodec codec;
    if (!codec.InitFromFilePath(d.szFilePath))
    {
        process.SetError("The file type is not recognized.");
        return LProcessResultFailed;
    }
    if (d.lpVetoer && !d.lpVetoer->IsEnabled(codec, LImageIOWrite))
    {
        process.SetError("The file format is not supported.");
        return LProcessResultFailed;
    }
    // Everything about the target is settled here, before a byte is written.
    LFileAtomicWriter writer;
    if (writer.Begin(d.szFilePath, LFileModeDocument, LFileLockExclusive, d.iTimeoutMs) !=
        LFileAtomicWriterSuccess)
    {
        process.SetError("The file could not be opened.");
        return LProcessResultFailed;
    }
    LProcessImageSave<LOutputStreamFile> save;
    save.lpImage = d.lpImage;
    save.codec = codec;
    save.settings = d.settings;
    save.lpStream = &writer.GetStream();
    if (d.lpMetadata && LImageMetadataGetKeep())
        save.lpMetadata = d.lpMetadata;
    LProcessInterfaceSubProcess sub(process, 0.0, 1.0);
    LProcessResult r = Process(sub, save);
    if (r == LProcessResultSuccess && writer.Commit() != LFileAtomicWriterSuccess)
    {
        process.SetError("File could not be written.");
        r = LProcessResultFailed;
    }
    return r; // an uncommitted temporary file goes with the writer
}

namespace LImage
{
int Load(LProcessInterface& process, LImageBuffer& image, const char* path, int timeoutMs,
         const LImageCodecVetoer* vetoer)
{
    LProcessImageLoadFile data;
    if (!data.SetFilePath(path))
    {
        process.SetError("The file could not be found.");
        return 0;
    }
    data.iTimeoutMs = timeoutMs;
    data.lpVetoer = vetoer;
    data.lpImage = &image;
    return Process(process, data) == LProcessResultSuccess ? data.iBitDepth : 0;
}

int Load(LProcessInterface& process, LImageBuffer& image, LImageMetadata& metadata, const char* path,
         int timeoutMs, const LImageCodecVetoer* vetoer)
{
    metadata.Clear();
    LProcessImageLoadFile data;
    if (!data.SetFilePath(path))
    {
        process.SetError("The file could not be found.");
        return 0;
    }
    data.iTimeoutMs = timeoutMs;
    data.lpVetoer = vetoer;
    data.lpImage = &image;
    data.lpMetadata = &metadata;
    return Process(process, data) == LProcessResultSuccess ? data.iBitDepth : 0;
}

int Load(LImageBuffer& image, const char* path, int timeoutMs)
{
    LProcessInterfaceVoid process;
    return Load(process, image, path, timeoutMs, nullptr);
}

int Load(LImageBuffer& image, const void* data, size_t size, Encoding encoding)
{
    const LImageCodecID codec = LImageGetCodecFromEncoding(encoding);
    if (codec == LImageCodecUnknown || !data)
        return 0;
    LProcessInterfaceVoid process;
    LInputStream<LInputStreamBuffer> stream;
    stream.SetBuffer(data, size);
    LProcessImageLoad<LInputStreamBuffer> load;
    load.lpStream = &stream;
    load.codec = LImageCodec(codec);
    load.lpImage = &image;
    return Process(process, load) == LProcessResultSuccess ? load.iBitDepth : 0;
}

int LoadResource(LImageBuffer& image, int id, Encoding encoding)
{
    const char* type;
    switch (encoding)
    {
    case JPEG:
        type = "jpg";
        break;
    case BMP:
        type = "bmp";
        break;
    case GIF:
        type = "gif";
        break;
    case PNG:
        type = "png";
        break;
    default:
        return 0;
    }
    char folder[LFILE_MAX_PATH];
    if (!LFile::GetResourcesFolder(folder))
        return 0;
    // The resources keep images by type under a "resources" folder of their own; a layout with
    // the type folders straight in the resources folder is accepted as well.
    char path[kLImagePathSize + 64];
    snprintf(path, sizeof(path), "%s/resources/%s/%d.%s", folder, type, id, type);
    FILE* f = fopen(path, "rb");
    if (!f)
    {
        snprintf(path, sizeof(path), "%s/%s/%d.%s", folder, type, id, type);
        f = fopen(path, "rb");
    }
    if (!f)
        return 0;
    std::vector<uint8_t> bytes;
    uint8_t block[65536];
    size_t n;
    while ((n = fread(block, 1, sizeof(block), f)) > 0)
        bytes.insert(bytes.end(), block, block + n);
    const bool ok = !ferror(f);
    fclose(f);
    return ok ? Load(image, bytes.data(), bytes.size(), encoding) : 0;
}

bool Save(LProcessInterface& process, const LImageBuffer& image, const char* path,
          const LImageEncodeSettings& settings, int timeoutMs, const LImageCodecVetoer* vetoer)
{
    LProcessImageSaveFile data;
    if (!data.SetFilePath(path))
    {
        process.SetError("The file could not be opened.");
        return false;
    }
    data.lpImage = &image;
    data.settings = settings;
    data.iTimeoutMs = timeoutMs;
    data.lpVetoer = vetoer;
    return Process(process, data) == LProcessResultSuccess;
}

bool Save(LProcessInterface& process, const LImageBuffer& image, const LImageMetadata* metadata,
          const char* path, const LImageEncodeSettings& settings, int timeoutMs,
          const LImageCodecVetoer* vetoer)
{
    LProcessImageSaveFile data;
    if (!data.SetFilePath(path))
    {
        process.SetError("The file could not be opened.");
        return false;
    }
    data.lpImage = &image;
    data.lpMetadata = metadata;
    data.settings = settings;
    data.iTimeoutMs = timeoutMs;
    data.lpVetoer = vetoer;
    return Process(process, data) == LProcessResultSuccess;
}

bool Save(const LImageBuffer& image, const char* path, const LImageEncodeSettings& settings, int timeoutMs)
{
    LProcessInterfaceVoid process;
    return Save(process, image, path, settings, timeoutMs, nullptr);
}

bool Save(const LImageBuffer& image, const char* path)
{
    return Save(image, path, LImageEncodeSettings(), kLImageDefaultLockTimeoutMs);
}
} // namespace LImage
