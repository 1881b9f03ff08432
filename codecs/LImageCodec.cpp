#include "codecs/LImageCodec.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "foundation/LFile.h"

const LImageCodecInfo arImageCodecInfo[LImageCodecCount] = {
    {"BMP", "BMP", "Microsoft Bitmap", true, true, true, false, -1},
    {"DNG", "DNG", "Digital Negative", true, false, false, false, -1},
    {"GIF", "GIF", "Graphics Interchange Format", true, true, false, true, -1},
    {"JPEG", "JPEG", "Joint Photographic Experts Group", true, true, true, false, -1},
    {"JPEG2000", "JPEG 2000", "JPEG 2000", true, true, true, false, -1},
    {"PCX", "PCX", "Personal Computer Exchange", true, true, false, false, -1},
    {"PNG", "PNG", "Portable Network Graphics", true, true, false, false, -1},
    {"PNM", "PNM", "Portable Anymap", true, true, true, false, -1},
    {"PSD", "PSD", "Adobe Photoshop Document", true, true, false, false, -1},
    {"RAS", "RAS", "Sun Raster", true, true, false, false, -1},
    {"RAW", "RAW", "Raw Digital Photograph", true, false, false, false, -1},
    {"RawCanon", "Raw Canon", "Canon Digital Photograph", true, false, false, false, -1},
    {"RawEpson", "Raw Epson", "Epson Digital Photograph", true, false, false, false, -1},
    {"RawFuji", "Raw Fuji", "Fuji Digital Photograph", true, false, false, false, -1},
    {"RawKodak", "Raw Kodak", "Kodak Digital Photograph", true, false, false, false, -1},
    {"RawLeaf", "Raw Leaf", "Leaf Digital Photograph", true, false, false, false, -1},
    {"RawMinolta", "Raw Minolta", "Minolta Digital Photograph", true, false, false, false, -1},
    {"RawNikon", "Raw Nikon", "Nikon Digital Photograph", true, false, false, false, -1},
    {"RawOlympus", "Raw Olympus", "Olympus Digital Photograph", true, false, false, false, -1},
    {"RawPanasonic", "Raw Panasonic", "Panasonic Digital Photograph", true, false, false, false, -1},
    {"RawPentax", "Raw Pentax", "Pentax Digital Photograph", true, false, false, false, -1},
    {"RawSamsung", "Raw Samsung", "Samsung Digital Photograph", true, false, false, false, -1},
    {"RawSony", "Raw Sony", "Sony Digital Photograph", true, false, false, false, -1},
    {"TGA", "TGA", "Avid TARGA", true, true, false, false, -1},
    {"TIFF", "TIFF", "Tagged Image File Format", true, true, false, true, -1},
    {"WBMP", "WBMP", "Wireless Bitmap", true, true, false, false, -1},
    {"WEBP", "WEBP", "WebP", true, true, true, false, 3},
    {"AVIF", "AVIF", "AV1 Image File Format", true, true, true, false, -1},
    {"JPEGXL", "JPEG XL", "JPEG XL", true, true, true, false, -1},
    {"HEIC", "HEIC", "High Efficiency Image File Format", true, true, true, false, -1},
};

const LImageCodecFileExtInfo arImageCodecFileExtInfo[LImageCodecFileExtCount] = {
    {".bmp", 0},   {".dng", 1},   {".gif", 2},   {".jpg", 3},   {".jpeg", 3}, {".jp2", 4},   {".pcx", 5},
    {".png", 6},   {".pnm", 7},   {".pbm", 7},   {".pgm", 7},   {".ppm", 7},  {".psd", 8},   {".ras", 9},
    {".raw", 10},  {".cr2", 11},  {".crw", 11},  {".erf", 12},  {".raf", 13}, {".dcr", 14},  {".kdc", 14},
    {".mos", 15},  {".mrw", 16},  {".nef", 17},  {".nrw", 17},  {".orf", 18}, {".rw2", 19},  {".pef", 20},
    {".ptx", 20},  {".srw", 21},  {".arw", 22},  {".srf", 22},  {".sr2", 22}, {".tga", 23},  {".tif", 24},
    {".tiff", 24}, {".wbmp", 25}, {".webp", 26}, {".avif", 27}, {".jxl", 28}, {".heic", 29}, {".heif", 29},
};

bool LImageCodec::InitFromFilePath(const char* path)
{
    id = LImageCodecUnknown;
    char ext[LFILE_MAX_PATH];
    if (!path || !LFile::_GetFileExtensionFromPath(ext, path) || !ext[0])
        return false;
    for (char* p = ext; *p; ++p)
        *p = char(tolower(static_cast<unsigned char>(*p)));
    for (const LImageCodecFileExtInfo& e : arImageCodecFileExtInfo)
        if (strcmp(e.szExtension, ext) == 0)
        {
            id = e.id;
            return true;
        }
    return false;
}

const char* LImageCodec::GetCode() const
{
    return IsValid() ? arImageCodecInfo[id].szCode : "";
}

const char* LImageCodec::GetName() const
{
    return IsValid() ? arImageCodecInfo[id].szName : "";
}

const char* LImageCodec::GetDescription() const
{
    return IsValid() ? arImageCodecInfo[id].szDescription : "";
}

const char* LImageCodec::GetPreferredExtension() const
{
    if (IsValid())
        for (const LImageCodecFileExtInfo& e : arImageCodecFileExtInfo)
            if (e.id == id)
                return e.szExtension;
    return "";
}

bool LImageCodec::HasSettingsDialog() const
{
    return IsValid() && arImageCodecInfo[id].bSettingsDialog;
}

bool LImageCodecVetoer::IsEnabled(LImageCodec codec, LImageIOType type) const
{
    // The host-version condition on TGA and WEBP has no counterpart here: both are always there.
    if (!codec.IsValid())
        return false;
    if (type == LImageIORead)
        return arImageCodecInfo[codec.id].bRead;
    if (type == LImageIOWrite)
        return arImageCodecInfo[codec.id].bWrite;
    return false;
}

bool QDImageCodecVetoer::IsEnabled(LImageCodec codec, LImageIOType type) const
{
    if (!LImageCodecVetoer::IsEnabled(codec, type))
        return false;
    if (type != LImageIOWrite)
        return true;
    switch (codec.id)
    {
    case LImageCodecBMP:
    case LImageCodecGIF:
    case LImageCodecJPEG:
    case LImageCodecPNG:
    case LImageCodecTIFF:
    // The modern formats are saved from the application as well.
    case LImageCodecAVIF:
    case LImageCodecJXL:
    case LImageCodecHEIC:
        return true;
    default:
        return false;
    }
}

static const LImageCodecVetoer& VetoerOrBase(const LImageCodecVetoer* vetoer)
{
    static const LImageCodecVetoer base;
    return vetoer ? *vetoer : base;
}

static void AppendExtensions(std::string& out, LImageCodecID codec)
{
    for (const LImageCodecFileExtInfo& e : arImageCodecFileExtInfo)
        if (e.id == codec)
        {
            if (!out.empty())
                out += ';';
            out += '*';
            out += e.szExtension;
        }
}

bool LImageCodecFilterList::GetEnabledExtensions(std::string& out, LImageCodec codec, LImageIOType type,
                                                 const LImageCodecVetoer* vetoer)
{
    const LImageCodecVetoer& v = VetoerOrBase(vetoer);
    out.clear();
    if (codec.IsValid())
    {
        if (!v.IsEnabled(codec, type))
            return false;
        AppendExtensions(out, codec.id);
        return true;
    }
    for (LImageCodecID id = 0; id < LImageCodecCount; ++id)
        if (v.IsEnabled(LImageCodec(id), type))
            AppendExtensions(out, id);
    return true;
}

bool LImageCodecFilterList::Init(std::string& filterString, LImageIOType type,
                                 const LImageCodecVetoer* vetoer)
{
    arItems.clear();
    filterString.clear();
    if (type != LImageIORead && type != LImageIOWrite)
        return false;
    const LImageCodecVetoer& v = VetoerOrBase(vetoer);
    for (LImageCodecID id = 0; id < LImageCodecCount; ++id)
    {
        if (!v.IsEnabled(LImageCodec(id), type))
            continue;
        LImageCodecFilterItem item;
        item.codec = id;
        AppendExtensions(item.szExtensions, id);
        item.szLabel = std::string(arImageCodecInfo[id].szDescription) + " (" + item.szExtensions + ")";
        arItems.push_back(std::move(item));
    }
    if (arItems.empty())
        return false;
    std::stable_sort(arItems.begin(), arItems.end(),
                     [](const LImageCodecFilterItem& a, const LImageCodecFilterItem& b)
                     { return a.szLabel < b.szLabel; });
    if (type == LImageIORead)
    {
        LImageCodecFilterItem all;
        all.szLabel = "All images";
        GetEnabledExtensions(all.szExtensions, LImageCodec(), type, &v);
        arItems.insert(arItems.begin(), std::move(all));
    }
    for (const LImageCodecFilterItem& item : arItems)
        if (!item.szLabel.empty() && !item.szExtensions.empty())
        {
            filterString.append(item.szLabel).push_back('\0');
            filterString.append(item.szExtensions).push_back('\0');
        }
    return true;
}

LImageCodecID LImageCodecFilterList::GetCodec(int index) const
{
    if (index < 1 || index > int(arItems.size()))
        return LImageCodecUnknown;
    return arItems[size_t(index - 1)].codec;
}

int LImageCodecFilterList::GetIndex(LImageCodec codec) const
{
    for (size_t i = 0; i < arItems.size(); ++i)
        if (arItems[i].codec == codec.id)
            return int(i + 1);
    return 0;
}
