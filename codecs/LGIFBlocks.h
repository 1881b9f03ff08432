#pragma once
// The blocks of a GIF89a file as this system writes and reads them. Each block appends its bytes
// to an array, so the encoder writes whole blocks to its stream, and parses them from bytes
// already read.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "codecs/LLZWCodec.h"
#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LPalette.h"

using LGIFBytes = std::vector<uint8_t>;

enum LGIFDisposalMethod : int
{
    LGIFDisposalNone = 0,
    LGIFDisposalDoNotDispose = 1,
    LGIFDisposalRestoreBackground = 2,
    LGIFDisposalRestorePrevious = 3,
};

// "GIF" and the version: 2 is "89a", 1 "87a".
struct LGIFHeader
{
    static constexpr int kSize = 6;
    int iVersion = 2;

    void Append(LGIFBytes& out) const;
    // "GIF" in any case, then "87a" or "89a"; false for anything else.
    bool Parse(const uint8_t* p);
};

struct LGIFColorTable
{
    // Bits needed for the highest index of count colours: 0 for none, else at least 1.
    static int GetBits(int count);

    LGIFColorTable() = default;
    // Red first in the file, from the palette's blue-first colours.
    explicit LGIFColorTable(const LPalette<LPFB8G8R8>& palette);

    int GetCount() const { return int(arRGB.size() / 3); }
    // Padded with zero bytes to the next power of two.
    void Append(LGIFBytes& out) const;

    LGIFBytes arRGB;
};

struct LGIFLogicalScreenDescriptor
{
    static constexpr int kSize = 7;

    LGIFLogicalScreenDescriptor() = default;
    // A colour count above 0 announces a global table of GetBits(count) bits.
    LGIFLogicalScreenDescriptor(int width, int height, int colourCount);

    bool HasGlobalTable() const { return (iPacked & 0x80) != 0; }
    int GetGlobalTableBits() const { return (iPacked & 7) + 1; }
    void Append(LGIFBytes& out) const;
    void Parse(const uint8_t* p);

    uint16_t iWidth = 0, iHeight = 0;
    uint8_t iPacked = 0, iBackground = 0, iAspect = 0;
};

// Starts with ",".
struct LGIFImageDescriptor
{
    static constexpr int kSize = 10;

    bool HasLocalTable() const { return (iPacked & 0x80) != 0; }
    bool IsInterlaced() const { return (iPacked & 0x40) != 0; }
    int GetLocalTableBits() const { return (iPacked & 7) + 1; }
    void SetLocalTable(int colourCount);
    void Append(LGIFBytes& out) const;
    // From the nine bytes behind the ",".
    void Parse(const uint8_t* p);

    uint16_t iLeft = 0, iTop = 0, iWidth = 0, iHeight = 0;
    uint8_t iPacked = 0;
};

// Up to 255 bytes behind a length byte; the empty one ends a run of them.
struct LGIFDataSubblock
{
    static constexpr size_t kMaxSize = 255;
    // The data in full blocks of 255 (the last shorter) and the terminator.
    static void AppendAll(LGIFBytes& out, const uint8_t* data, size_t size);
};

// "!", the label and the body.
class LGIFExtension
{
public:
    explicit LGIFExtension(uint8_t label) : iLabel(label) {}
    virtual ~LGIFExtension() = default;
    void Append(LGIFBytes& out) const;
    virtual void AppendBody(LGIFBytes& out) const = 0;

    uint8_t iLabel;
};

class LGIFExtensionGraphicControl : public LGIFExtension
{
public:
    static constexpr uint8_t kLabel = 249;

    LGIFExtensionGraphicControl() : LGIFExtension(kLabel) {}
    // The delay is kept in hundredths of a second, rounded down.
    LGIFExtensionGraphicControl(int delayMs, int transparentIndex, LGIFDisposalMethod disposal);
    void AppendBody(LGIFBytes& out) const override;
    // From the four bytes of the block.
    void Parse(const uint8_t* p);

    bool HasTransparency() const { return (iPacked & 1) != 0; }
    int GetDisposal() const { return (iPacked >> 2) & 7; }
    int GetDelayMs() const { return iDelay * 10; }

    uint8_t iPacked = 0;
    uint16_t iDelay = 0;
    uint8_t iTransparentIndex = 0;
};

class LGIFExtensionComment : public LGIFExtension
{
public:
    static constexpr uint8_t kLabel = 254;
    explicit LGIFExtensionComment(std::string text) : LGIFExtension(kLabel), szText(std::move(text)) {}
    void AppendBody(LGIFBytes& out) const override;

    std::string szText;
};

// Text drawn on a grid in the colours of the global table.
class LGIFExtensionPlainText : public LGIFExtension
{
public:
    static constexpr uint8_t kLabel = 1;
    LGIFExtensionPlainText() : LGIFExtension(kLabel) {}
    void AppendBody(LGIFBytes& out) const override;

    uint16_t iLeft = 0, iTop = 0, iWidth = 0, iHeight = 0;
    uint8_t iCellWidth = 8, iCellHeight = 8, iForeground = 1, iBackground = 0;
    std::string szText;
};

class LGIFExtensionApplication : public LGIFExtension
{
public:
    static constexpr uint8_t kLabel = 255;
    // identifier: 8 characters, code: 3; both padded with spaces or cut.
    LGIFExtensionApplication(const char* identifier, const char* code, LGIFBytes data = {});
    void AppendBody(LGIFBytes& out) const override;

    char szIdentifier[8];
    char szCode[3];
    LGIFBytes arData;
};

// The loop count of an animation: 0 plays for ever.
class LGIFExtensionApplicationNetscape : public LGIFExtensionApplication
{
public:
    explicit LGIFExtensionApplicationNetscape(int loopCount);
};

// One image: where it stands, its colour table, and its codes. The encoder gives it the indices;
// the decoder notes where its data lie in the file.
struct LGIFImageFrame
{
    // The larger of 2 and the bits of the table.
    static int GetMinCodeSize(int colourCount);

    // Codes the indices (width by height, rows one after the other) and writes the frame: the
    // descriptor, the local table if any, the code size and the codes in sub-blocks. 0 done,
    // 1 stopped, 2 failed.
    template <class Base>
    LProcessResult Write(LProcessInterface& process, LOutputStream<Base>& stream,
                         const uint8_t* indices) const;

    LGIFImageDescriptor descriptor;
    LGIFColorTable localTable;
    int iMinCodeSize = 2;

    // Reading
    int64_t iDataOffset = 0;  // the first sub-block's length byte
    uint64_t nDataLength = 0; // bytes of code data in all sub-blocks
    int iGraphicControl = -1; // the graphic control in force, an index in the decoder's list
};

template <class Base>
LProcessResult LGIFImageFrame::Write(LProcessInterface& process, LOutputStream<Base>& stream,
                                     const uint8_t* indices) const
{
    LGIFBytes codes;
    LProcessInterfaceSubProcess coding(process, 0.0, 0.8);
    const LProcessResult r = LLZWCodec::Encode(
        coding, indices, size_t(descriptor.iWidth) * descriptor.iHeight, iMinCodeSize, codes);
    if (r != LProcessResultSuccess)
        return r;
    LGIFBytes head;
    descriptor.Append(head);
    if (descriptor.HasLocalTable())
        localTable.Append(head);
    head.push_back(uint8_t(iMinCodeSize));
    if (!stream.Write(head.data(), head.size()))
        return LProcessResultFailed;
    uint8_t block[LGIFDataSubblock::kMaxSize + 1];
    const size_t blocks = (codes.size() + LGIFDataSubblock::kMaxSize - 1) / LGIFDataSubblock::kMaxSize;
    for (size_t i = 0; i < blocks; ++i)
    {
        const size_t at = i * LGIFDataSubblock::kMaxSize;
        const size_t n =
            codes.size() - at < LGIFDataSubblock::kMaxSize ? codes.size() - at : LGIFDataSubblock::kMaxSize;
        block[0] = uint8_t(n);
        memcpy(block + 1, codes.data() + at, n);
        if (!stream.Write(block, n + 1))
            return LProcessResultFailed;
        if ((i & 63) == 63)
            process.SetProgress(0.8 + 0.2 * double(i + 1) / double(blocks));
        if (process.IsToStop())
            return LProcessResultCancelled;
    }
    const uint8_t terminator = 0;
    return stream.Write(&terminator, 1) ? LProcessResultSuccess : LProcessResultFailed;
}
