#pragma once
// The one image type: a format record and a store of pixel memory. Nearly all work is on
// B8G8R8A8 (bytes blue, green, red, alpha; rows padded to 4 bytes).

#include <cstddef>
#include <cstdint>

#include "foundation/LProcessInterface.h"
#include "image/LPixelFormats.h"

// 14 fields of 32 bits; also the header of a cache file, so the layout is fixed.
struct LImageFormat
{
    pixelformat_t pf = PixelFormatInvalid;
    int32_t iWidth = 0;
    int32_t iHeight = 0;
    uint32_t HorizontalResolution = 0;
    uint32_t VerticalResolution = 0;
    uint32_t nWidthBytes = 0;
    uint32_t bUpsideDown = 0; // a bool in a 32-bit slot
    uint32_t nWidthBytesPlanarU = 0;
    uint32_t nWidthBytesPlanarV = 0;
    int32_t iWidthPlanarU = 0;
    int32_t iWidthPlanarV = 0;
    int32_t iHeightPlanarU = 0;
    int32_t iHeightPlanarV = 0;
    int32_t iBufferEncoding = 0; // 0 contiguous planes; 1 the store holds three plane pointers

    LImageFormat() = default;
    LImageFormat(pixelformat_t format, int width, int height, bool upsideDown = false);

    void SetDefaultAlignment();
    void SetPlanarSize(uint32_t yBytes, uint32_t uBytes, uint32_t vBytes);
    void UpdatePlanarSize();
    uint64_t CalculateBufferSize64() const;
    // 0 when the size needs more than 32 bits.
    uint32_t CalculateBufferSize() const;
    bool IsValid() const;
};
static_assert(sizeof(LImageFormat) == 56, "LImageFormat is the 56-byte cache file header");

class LImageBufferStore
{
public:
    virtual ~LImageBufferStore() = default;
    virtual bool IsCompatibleStore(int storeId, uint64_t size) const = 0;
    virtual int GetStoreID() const = 0;

    uint8_t* lpData = nullptr;
};

// Heap memory, 16-byte aligned; a failed allocation leaves lpData null.
class LImageBufferStoreHeap : public LImageBufferStore
{
public:
    explicit LImageBufferStoreHeap(uint64_t size);
    ~LImageBufferStoreHeap() override;
    bool IsCompatibleStore(int storeId, uint64_t size) const override;
    int GetStoreID() const override { return 1; }

    uint8_t* lpRaw = nullptr;
    uint64_t nSize = 0;
};

// Shares the data of a store it doesn't own.
class LImageBufferStoreReference : public LImageBufferStore
{
public:
    explicit LImageBufferStoreReference(LImageBufferStore& target);
    bool IsCompatibleStore(int storeId, uint64_t size) const override;
    int GetStoreID() const override;

    LImageBufferStore* lpTarget;
};

class LImageBuffer
{
public:
    LImageBuffer() = default;
    explicit LImageBuffer(const LImageFormat& format);
    LImageBuffer(const LImageBuffer&) = delete;
    LImageBuffer& operator=(const LImageBuffer&) = delete;
    ~LImageBuffer();

    // False leaves an invalid buffer: the one signal of exhausted memory.
    bool AllocateNewBuffer(const LImageFormat& format);
    // As AllocateNewBuffer with a given store, which the buffer takes over (also on failure). The
    // format's buffer encoding is kept, so a store of three plane pointers can be handed in.
    bool AllocateNewStore(const LImageFormat& format, LImageBufferStore* store);
    // Moves: takes format and store of other and leaves it empty.
    void Assign(LImageBuffer& other);
    void Destroy();
    bool IsValid() const;

    const LImageFormat& GetFormat() const { return imf; }
    int GetWidth() const { return imf.iWidth; }
    int GetHeight() const { return imf.iHeight; }
    pixelformat_t GetPixelFormat() const { return imf.pf; }
    uint32_t GetWidthBytes() const { return imf.nWidthBytes; }

    uint8_t* GetData() const;
    LImageBufferStore* GetStore() const { return lpImageStore; }
    // Start of scan line y in memory order (row 0 is the first in memory).
    uint8_t* GetScanLine(int y) const { return GetData() + size_t(y) * imf.nWidthBytes; }
    // Start of image row y counted from the top, whatever the orientation.
    uint8_t* GetRow(int y) const { return GetScanLine(imf.bUpsideDown ? imf.iHeight - 1 - y : y); }
    uint8_t* GetLastScanLine() const;
    uint8_t* GetFirstScanLineU() const;
    uint8_t* GetFirstScanLineV() const;

    // Fills with colour; returns true when stopped.
    bool Clear(LProcessInterface& process, LPixelColour colour);
    bool Clear(LPixelColour colour);

    LImageFormat imf;
    LImageBufferStore* lpImageStore = nullptr;
};

using LImageScanOrder = int; // 0: memory order

// Reads any format through one indirect call per pixel. Position moves in scan order.
class LImageConstIterator
{
public:
    using ReadFunc = LPixelColour (*)(const uint8_t* p);

    explicit LImageConstIterator(const LImageBuffer& buffer, LImageScanOrder order = 0);
    bool IsEnd() const { return iIndex >= nPixels; }
    LPixelColour Read() const { return fnRead(lpData + iByteOffset); }
    void Next()
    {
        ++iIndex;
        if (++iColumn >= iWidth)
        {
            iColumn = 0;
            iByteOffset += iRowStep - int64_t(iWidth - 1) * iPixelStep;
        }
        else
            iByteOffset += iPixelStep;
    }
    // x, y in memory order.
    void MoveTo(int x, int y);
    int GetColumn() const { return iColumn; }

    int64_t nPixels = 0;
    int iWidth = 0;
    int64_t iRowStep = 0;
    int iPixelStep = 0;
    int64_t iIndex = 0;
    int64_t iByteOffset = 0;
    int iColumn = 0;
    ReadFunc fnRead = nullptr;
    const uint8_t* lpData = nullptr;
};

class LImageIterator : public LImageConstIterator
{
public:
    using WriteFunc = void (*)(uint8_t* p, LPixelColour c);

    explicit LImageIterator(LImageBuffer& buffer, LImageScanOrder order = 0);
    void Write(LPixelColour c) const { fnWrite(lpWritableData + iByteOffset, c); }

    WriteFunc fnWrite = nullptr;
    uint8_t* lpWritableData = nullptr;
};

// The per-format pixel access the iterators use, for code that picks it once itself. Formats
// without a reader give opaque magenta; formats without a writer write nothing.
LImageConstIterator::ReadFunc LGetPixelReadFunc(pixelformat_t pf);
LImageIterator::WriteFunc LGetPixelWriteFunc(pixelformat_t pf);

// Copies pixels between buffers of the same format and size; nothing when they differ or share
// the store.
void LImageBufferCopy(LImageBuffer& destination, const LImageBuffer& source);

// Converts between pixel formats by the conversion table; the destination must be allocated with
// the wanted format and the source's size. Reports nothing; an unsupported pair leaves the
// destination unchanged.
void LConvertPixelFormat(LImageBuffer& destination, const LImageBuffer& source);

// Block copy that may use streaming stores for large sizes.
void LOptLargeMemCpy(void* destination, const void* source, size_t bytes);

namespace LImage
{
// Format and AllocateNewBuffer; false leaves an invalid buffer.
bool New(LImageBuffer& buffer, int width, int height, pixelformat_t pf = B8G8R8A8);
} // namespace LImage
