#include "codecs/LImageMetadata.h"

#include <algorithm>
#include <cstring>
#include <mutex>

#include <exiv2/exiv2.hpp>

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

namespace
{
// The XMP toolkit under the library is not safe for concurrent use without a lock of its own,
// and saves run on several threads; the work here is small, so one lock serves every entry.
std::mutex gLibraryLock;

// The library reports through exceptions and a log on standard error; neither leaves this file.
void QuietLibrary()
{
    static std::once_flag once;
    std::call_once(once,
                   []
                   {
                       Exiv2::LogMsg::setLevel(Exiv2::LogMsg::mute);
                       Exiv2::XmpParser::initialize();
                   });
}

// Rows, strips and tiles described by a TIFF's own directory mean nothing beside other pixels.
const char* const kStaleExifKeys[] = {
    "Exif.Image.StripOffsets",
    "Exif.Image.StripByteCounts",
    "Exif.Image.RowsPerStrip",
    "Exif.Image.TileOffsets",
    "Exif.Image.TileByteCounts",
    "Exif.Image.TileWidth",
    "Exif.Image.TileLength",
    "Exif.Image.BitsPerSample",
    "Exif.Image.SamplesPerPixel",
    "Exif.Image.PlanarConfiguration",
    "Exif.Image.PhotometricInterpretation",
    "Exif.Image.Compression",
    "Exif.Image.ExtraSamples",
    "Exif.Image.SampleFormat",
    "Exif.Image.Predictor",
    "Exif.Image.NewSubfileType",
    "Exif.Image.SubIFDs",
};

bool PrepareExif(const std::vector<uint8_t>& in, int width, int height, std::vector<uint8_t>& out)
{
    Exiv2::ExifData exif;
    const Exiv2::ByteOrder order = Exiv2::ExifParser::decode(exif, in.data(), in.size());
    if (exif.empty())
        return false;
    for (const char* key : kStaleExifKeys)
    {
        auto it = exif.findKey(Exiv2::ExifKey(key));
        if (it != exif.end())
            exif.erase(it);
    }
    exif["Exif.Image.Orientation"] = uint16_t(1);
    exif["Exif.Photo.PixelXDimension"] = uint32_t(width);
    exif["Exif.Photo.PixelYDimension"] = uint32_t(height);
    for (const char* key : {"Exif.Image.ImageWidth", "Exif.Image.ImageLength"})
        if (exif.findKey(Exiv2::ExifKey(key)) != exif.end())
            exif[key] = uint32_t(key[11] == 'W' ? width : height);
    Exiv2::Blob blob;
    Exiv2::ExifParser::encode(blob, order == Exiv2::invalidByteOrder ? Exiv2::littleEndian : order, exif);
    // A JPEG marker holds 64 KB; the thumbnail is what can go.
    if (blob.size() > 65000)
    {
        Exiv2::ExifThumb(exif).erase();
        blob.clear();
        Exiv2::ExifParser::encode(blob, order == Exiv2::invalidByteOrder ? Exiv2::littleEndian : order, exif);
    }
    out.assign(blob.begin(), blob.end());
    return !out.empty();
}

bool PrepareXmp(const std::vector<uint8_t>& in, int width, int height, std::vector<uint8_t>& out)
{
    Exiv2::XmpData xmp;
    if (Exiv2::XmpParser::decode(xmp, std::string(in.begin(), in.end())) != 0)
        return false;
    // Only what is stale is rewritten; a packet without those properties goes out as it came.
    bool changed = false;
    auto set = [&](const char* key, const std::string& value)
    {
        auto it = xmp.findKey(Exiv2::XmpKey(key));
        if (it != xmp.end() && it->toString() != value)
        {
            it->setValue(value);
            changed = true;
        }
    };
    set("Xmp.tiff.Orientation", "1");
    set("Xmp.exif.PixelXDimension", std::to_string(width));
    set("Xmp.exif.PixelYDimension", std::to_string(height));
    set("Xmp.tiff.ImageWidth", std::to_string(width));
    set("Xmp.tiff.ImageLength", std::to_string(height));
    if (!changed)
    {
        out = in;
        return true;
    }
    std::string packet;
    if (Exiv2::XmpParser::encode(packet, xmp, Exiv2::XmpParser::useCompactFormat) != 0)
        return false;
    out.assign(packet.begin(), packet.end());
    return !out.empty();
}

uint32_t BE32(const uint8_t* p)
{
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}

// The profile's description, from a 'desc' (version 2) or 'mluc' (version 4) tag.
std::string IccDescription(const std::vector<uint8_t>& icc)
{
    const size_t n = icc.size();
    if (n < 132)
        return {};
    const uint32_t count = BE32(&icc[128]);
    for (uint32_t i = 0; i < count && 132 + 12 * size_t(i) + 12 <= n; ++i)
    {
        const uint8_t* e = &icc[132 + 12 * size_t(i)];
        const size_t offset = BE32(e + 4), size = BE32(e + 8);
        if (memcmp(e, "desc", 4) != 0 || offset > n || size > n - offset || size < 12)
            continue;
        const uint8_t* t = &icc[offset];
        if (memcmp(t, "desc", 4) == 0)
        {
            const size_t len = std::min<size_t>(BE32(t + 8), size - 12);
            std::string s(reinterpret_cast<const char*>(t + 12), len);
            return s.substr(0, s.find('\0'));
        }
        if (memcmp(t, "mluc", 4) == 0 && size >= 28 && BE32(t + 8) > 0)
        {
            const size_t len = BE32(t + 20), at = BE32(t + 24);
            if (at > size || len > size - at)
                return {};
            std::string s; // the first record's UTF-16, kept where it is plain ASCII
            for (size_t k = 0; k + 1 < len; k += 2)
                if (t[at + k] == 0 && t[at + k + 1] >= 0x20 && t[at + k + 1] < 0x7F)
                    s += char(t[at + k + 1]);
            return s;
        }
    }
    return {};
}

void AddLine(std::string& out, const std::string& key, std::string value)
{
    if (value.size() > 200)
        value = value.substr(0, 200) + "...";
    for (char& c : value)
        if (c == '\n' || c == '\r')
            c = ' ';
    out += key + " = " + value + "\n";
}
} // namespace

bool LImageMetadataReadTiff(const uint8_t* data, size_t size, LImageMetadata& out)
{
    std::lock_guard<std::mutex> lock(gLibraryLock);
    out.Clear();
    try
    {
        QuietLibrary();
        auto image = Exiv2::ImageFactory::open(data, long(size));
        if (!image.get() || image->imageType() != Exiv2::ImageType::tiff)
            return false;
        image->readMetadata();
        if (image->iccProfileDefined())
            out.SetIcc(image->iccProfile()->pData_, size_t(image->iccProfile()->size_));
        const std::string& xmp = image->xmpPacket();
        out.SetXmp(reinterpret_cast<const uint8_t*>(xmp.data()), xmp.size());
        // The directory of the picture is the EXIF block, less what describes its own layout.
        Exiv2::ExifData exif = image->exifData();
        for (auto it = exif.begin(); it != exif.end();)
        {
            const std::string group = it->groupName();
            if (group != "Image" && group != "Photo" && group != "GPSInfo" && group != "Iop")
                it = exif.erase(it);
            else
                ++it;
        }
        for (const char* key : {"Exif.Image.InterColorProfile", "Exif.Image.XMLPacket"})
        {
            auto it = exif.findKey(Exiv2::ExifKey(key));
            if (it != exif.end())
                exif.erase(it);
        }
        for (const char* key : kStaleExifKeys)
        {
            auto it = exif.findKey(Exiv2::ExifKey(key));
            if (it != exif.end())
                exif.erase(it);
        }
        for (const char* key : {"Exif.Image.ImageWidth", "Exif.Image.ImageLength", "Exif.Image.XResolution",
                                "Exif.Image.YResolution", "Exif.Image.ResolutionUnit"})
        {
            auto it = exif.findKey(Exiv2::ExifKey(key));
            if (it != exif.end())
                exif.erase(it);
        }
        // Nothing but layout left is no photo information.
        if (exif.count() > 0 && !(exif.count() == 1 && exif.begin()->key() == "Exif.Image.Orientation"))
        {
            Exiv2::Blob blob;
            Exiv2::ExifParser::encode(blob, image->byteOrder(), exif);
            out.SetExif(blob.data(), blob.size());
        }
        return true;
    }
    catch (...)
    {
        out.Clear();
        return false;
    }
}

bool LImageMetadataEmbedInTiff(std::vector<uint8_t>& tiff, const LImageMetadata& prepared)
{
    std::lock_guard<std::mutex> lock(gLibraryLock);
    if (prepared.IsEmpty())
        return true;
    try
    {
        QuietLibrary();
        auto image = Exiv2::ImageFactory::open(tiff.data(), long(tiff.size()));
        if (!image.get())
            return false;
        image->readMetadata();
        if (!prepared.arExif.empty())
        {
            Exiv2::ExifData exif;
            Exiv2::ExifParser::decode(exif, prepared.arExif.data(), prepared.arExif.size());
            for (const Exiv2::Exifdatum& d : exif)
            {
                const std::string group = d.groupName();
                // The layout tags stay the writer's own.
                if ((group == "Image" || group == "Photo" || group == "GPSInfo" || group == "Iop") &&
                    image->exifData().findKey(Exiv2::ExifKey(d.key())) == image->exifData().end())
                    image->exifData().add(d);
            }
        }
        if (!prepared.arXmp.empty())
            image->setXmpPacket(std::string(prepared.arXmp.begin(), prepared.arXmp.end()));
        if (!prepared.arIcc.empty())
        {
            Exiv2::DataBuf icc(prepared.arIcc.data(), long(prepared.arIcc.size()));
            image->setIccProfile(icc, false);
        }
        image->writeMetadata();
        Exiv2::BasicIo& io = image->io();
        if (io.open() != 0)
            return false;
        const long size = io.size();
        std::vector<uint8_t> out(size_t(size > 0 ? size : 0));
        io.seek(0, Exiv2::BasicIo::beg);
        const bool ok = size > 0 && io.read(out.data(), size) == size;
        io.close();
        if (!ok)
            return false;
        tiff.swap(out);
        return true;
    }
    catch (...)
    {
        return false;
    }
}

void LImageMetadataPrepareForSave(const LImageMetadata& in, int width, int height, LImageMetadata& out)
{
    std::lock_guard<std::mutex> lock(gLibraryLock);
    out.Clear();
    out.arIcc = in.arIcc;
    try
    {
        QuietLibrary();
        if (!in.arExif.empty() && !PrepareExif(in.arExif, width, height, out.arExif))
            out.arExif.clear();
    }
    catch (...)
    {
        out.arExif.clear();
    }
    try
    {
        QuietLibrary();
        if (!in.arXmp.empty() && !PrepareXmp(in.arXmp, width, height, out.arXmp))
            out.arXmp.clear();
    }
    catch (...)
    {
        out.arXmp.clear();
    }
}

bool LImageMetadataDescribe(const LImageMetadata& m, std::string& out)
{
    std::lock_guard<std::mutex> lock(gLibraryLock);
    out.clear();
    bool ok = true;
    try
    {
        QuietLibrary();
        if (!m.arExif.empty())
        {
            Exiv2::ExifData exif;
            Exiv2::ExifParser::decode(exif, m.arExif.data(), m.arExif.size());
            ok = ok && !exif.empty();
            for (const Exiv2::Exifdatum& d : exif)
                // Leaves out the maker's own blob, the directory pointers and the thumbnail.
                if (d.tag() != 0x927c && d.tag() != 0x8769 && d.tag() != 0x8825 && d.tag() != 0xa005 &&
                    d.groupName() != "Thumbnail")
                    AddLine(out, d.key(), d.print(&exif));
        }
    }
    catch (...)
    {
        ok = false;
    }
    try
    {
        if (!m.arXmp.empty())
        {
            Exiv2::XmpData xmp;
            ok = Exiv2::XmpParser::decode(xmp, std::string(m.arXmp.begin(), m.arXmp.end())) == 0 && ok;
            for (const Exiv2::Xmpdatum& d : xmp)
                AddLine(out, d.key(), d.toString());
        }
    }
    catch (...)
    {
        ok = false;
    }
    if (!m.arIcc.empty())
    {
        const std::string name = IccDescription(m.arIcc);
        AddLine(out, "ICC.Profile",
                (name.empty() ? std::string("(unnamed)") : name) + ", " + std::to_string(m.arIcc.size()) +
                    " bytes");
    }
    return ok;
}
