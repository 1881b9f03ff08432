#include "codecs/LGIFBlocks.h"

#include <cctype>
#include <cstring>

static void AppendUInt16LE(LGIFBytes& out, unsigned v)
{
    out.push_back(uint8_t(v));
    out.push_back(uint8_t(v >> 8));
}

static uint16_t UInt16LE(const uint8_t* p)
{
    return uint16_t(p[0] | p[1] << 8);
}

void LGIFHeader::Append(LGIFBytes& out) const
{
    const char* text = iVersion == 1 ? "GIF87a" : "GIF89a";
    out.insert(out.end(), text, text + kSize);
}

bool LGIFHeader::Parse(const uint8_t* p)
{
    if (toupper(p[0]) != 'G' || toupper(p[1]) != 'I' || toupper(p[2]) != 'F')
        return false;
    if (memcmp(p + 3, "87a", 3) == 0)
        iVersion = 1;
    else if (memcmp(p + 3, "89a", 3) == 0)
        iVersion = 2;
    else
        return false;
    return true;
}

int LGIFColorTable::GetBits(int count)
{
    if (count <= 0)
        return 0;
    int bits = 1;
    while ((1 << bits) < count)
        ++bits;
    return bits;
}

LGIFColorTable::LGIFColorTable(const LPalette<LPFB8G8R8>& palette)
{
    arRGB.reserve(size_t(palette.GetCount()) * 3);
    for (const LPFB8G8R8& c : palette.arColours)
        arRGB.insert(arRGB.end(), {c.r, c.g, c.b});
}

void LGIFColorTable::Append(LGIFBytes& out) const
{
    const int bits = GetBits(GetCount());
    if (bits == 0)
        return;
    out.insert(out.end(), arRGB.begin(), arRGB.end());
    out.resize(out.size() + (size_t(3) << bits) - arRGB.size(), 0);
}

LGIFLogicalScreenDescriptor::LGIFLogicalScreenDescriptor(int width, int height, int colourCount)
    : iWidth(uint16_t(width)), iHeight(uint16_t(height))
{
    if (colourCount > 0)
    {
        const int n = LGIFColorTable::GetBits(colourCount) - 1;
        iPacked = uint8_t(0x80 | n << 4 | n);
    }
}

void LGIFLogicalScreenDescriptor::Append(LGIFBytes& out) const
{
    AppendUInt16LE(out, iWidth);
    AppendUInt16LE(out, iHeight);
    out.insert(out.end(), {iPacked, iBackground, iAspect});
}

void LGIFLogicalScreenDescriptor::Parse(const uint8_t* p)
{
    iWidth = UInt16LE(p);
    iHeight = UInt16LE(p + 2);
    iPacked = p[4], iBackground = p[5], iAspect = p[6];
}

void LGIFImageDescriptor::SetLocalTable(int colourCount)
{
    iPacked = uint8_t((iPacked & 0x40) | 0x80 | (LGIFColorTable::GetBits(colourCount) - 1));
}

void LGIFImageDescriptor::Append(LGIFBytes& out) const
{
    out.push_back(',');
    AppendUInt16LE(out, iLeft);
    AppendUInt16LE(out, iTop);
    AppendUInt16LE(out, iWidth);
    AppendUInt16LE(out, iHeight);
    out.push_back(iPacked);
}

void LGIFImageDescriptor::Parse(const uint8_t* p)
{
    iLeft = UInt16LE(p), iTop = UInt16LE(p + 2), iWidth = UInt16LE(p + 4), iHeight = UInt16LE(p + 6);
    iPacked = p[8];
}

void LGIFDataSubblock::AppendAll(LGIFBytes& out, const uint8_t* data, size_t size)
{
    while (size > 0)
    {
        const size_t n = size < kMaxSize ? size : kMaxSize;
        out.push_back(uint8_t(n));
        out.insert(out.end(), data, data + n);
        data += n, size -= n;
    }
    out.push_back(0);
}

void LGIFExtension::Append(LGIFBytes& out) const
{
    out.push_back('!');
    out.push_back(iLabel);
    AppendBody(out);
}

LGIFExtensionGraphicControl::LGIFExtensionGraphicControl(int delayMs, int transparentIndex,
                                                         LGIFDisposalMethod disposal)
    : LGIFExtension(kLabel)
{
    iPacked = uint8_t((int(disposal) & 7) << 2 | (transparentIndex >= 0 ? 1 : 0));
    iDelay = uint16_t(delayMs > 0 ? delayMs / 10 : 0);
    iTransparentIndex = uint8_t(transparentIndex >= 0 ? transparentIndex : 0);
}

void LGIFExtensionGraphicControl::AppendBody(LGIFBytes& out) const
{
    out.insert(out.end(), {4, iPacked});
    AppendUInt16LE(out, iDelay);
    out.insert(out.end(), {iTransparentIndex, 0});
}

void LGIFExtensionGraphicControl::Parse(const uint8_t* p)
{
    iPacked = p[0];
    iDelay = UInt16LE(p + 1);
    iTransparentIndex = p[3];
}

void LGIFExtensionComment::AppendBody(LGIFBytes& out) const
{
    LGIFDataSubblock::AppendAll(out, reinterpret_cast<const uint8_t*>(szText.data()), szText.size());
}

void LGIFExtensionPlainText::AppendBody(LGIFBytes& out) const
{
    out.push_back(12);
    AppendUInt16LE(out, iLeft);
    AppendUInt16LE(out, iTop);
    AppendUInt16LE(out, iWidth);
    AppendUInt16LE(out, iHeight);
    out.insert(out.end(), {iCellWidth, iCellHeight, iForeground, iBackground});
    LGIFDataSubblock::AppendAll(out, reinterpret_cast<const uint8_t*>(szText.data()), szText.size());
}

static void CopyPadded(char* to, size_t size, const char* from)
{
    const size_t n = from ? strnlen(from, size) : 0;
    memcpy(to, from, n);
    memset(to + n, ' ', size - n);
}

LGIFExtensionApplication::LGIFExtensionApplication(const char* identifier, const char* code, LGIFBytes data)
    : LGIFExtension(kLabel), arData(std::move(data))
{
    CopyPadded(szIdentifier, sizeof szIdentifier, identifier);
    CopyPadded(szCode, sizeof szCode, code);
}

void LGIFExtensionApplication::AppendBody(LGIFBytes& out) const
{
    out.push_back(11);
    out.insert(out.end(), szIdentifier, szIdentifier + 8);
    out.insert(out.end(), szCode, szCode + 3);
    LGIFDataSubblock::AppendAll(out, arData.data(), arData.size());
}

LGIFExtensionApplicationNetscape::LGIFExtensionApplicationNetscape(int loopCount)
    : LGIFExtensionApplication("NETSCAPE", "2.0", {1, uint8_t(loopCount), uint8_t(loopCount >> 8)})
{
}

int LGIFImageFrame::GetMinCodeSize(int colourCount)
{
    const int bits = LGIFColorTable::GetBits(colourCount);
    return bits > 2 ? bits : 2;
}
