#pragma once
// The one image type: a format record and a store of pixel memory. Nearly all work is on
// B8G8R8A8 (bytes blue, green, red, alpha; rows padded to 4 bytes).

#include <cstddef>
#include <cstdint>

#include "foundation/LProcessInterface.h"

enum pixelformat_t : int32_t
{
    PixelFormatInvalid = -1,
    B8G8R8A8 = 0,
    B8G8R8 = 1,
    B5G6R5 = 2,
    B5G5R5A1 = 3,
    B5G5R5X1 = 4,
    R8G8B8A8 = 5,
    YUYV422 = 6,
    YUV420P = 7,
    YUVJ420P = 8,
    Indexed4 = 9,
    I8 = 10,
};
constexpr int PixelFormatCount = 11;

// Bits per pixel of a packed format; 12 for the planar ones (for information only).
int LGetPixelFormatBits(pixelformat_t pf);
bool LIsPlanarPixelFormat(pixelformat_t pf);

// Pixel value classes, one per packed format. Each has a Set from each other class.
struct LPFB8G8R8;
struct LPFB5G6R5;
struct LPFB5G5R5A1;
struct LPFB5G5R5X1;
struct LPFR8G8B8A8;

struct LPFB8G8R8A8
{
    uint8_t b, g, r, a;

    LPFB8G8R8A8() = default;
    constexpr LPFB8G8R8A8(uint8_t blue, uint8_t green, uint8_t red, uint8_t alpha)
        : b(blue), g(green), r(red), a(alpha)
    {
    }
    // From a 32-bit value whose low byte is blue (the memory order on little-endian machines).
    static LPFB8G8R8A8 FromUInt32(uint32_t v)
    {
        return LPFB8G8R8A8(uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24));
    }
    uint32_t ToUInt32() const { return uint32_t(b) | uint32_t(g) << 8 | uint32_t(r) << 16 | uint32_t(a) << 24; }
    bool operator==(const LPFB8G8R8A8& o) const { return ToUInt32() == o.ToUInt32(); }

    void Set(const LPFB8G8R8A8& v) { *this = v; }
    void Set(const LPFB8G8R8& v);
    void Set(const LPFB5G6R5& v);
    void Set(const LPFB5G5R5A1& v);
    void Set(const LPFB5G5R5X1& v);
    void Set(const LPFR8G8B8A8& v);
};
using LPixelColour = LPFB8G8R8A8;

struct LPFB8G8R8
{
    uint8_t b, g, r;
    void Set(const LPFB8G8R8A8& v);
    void Set(const LPFB8G8R8& v) { *this = v; }
    void Set(const LPFB5G6R5& v);
    void Set(const LPFB5G5R5A1& v);
    void Set(const LPFB5G5R5X1& v);
    void Set(const LPFR8G8B8A8& v);
};

struct LPFR8G8B8A8
{
    uint8_t r, g, b, a;
    void Set(const LPFB8G8R8A8& v);
    void Set(const LPFB8G8R8& v);
    void Set(const LPFB5G6R5& v);
    void Set(const LPFB5G5R5A1& v);
    void Set(const LPFB5G5R5X1& v);
    void Set(const LPFR8G8B8A8& v) { *this = v; }
};

// 16-bit formats hold one little-endian word.
struct LPFB5G6R5
{
    uint16_t w;
    void Set(const LPFB8G8R8A8& v);
    void Set(const LPFB8G8R8& v);
    void Set(const LPFB5G6R5& v) { *this = v; }
    void Set(const LPFB5G5R5A1& v);
    void Set(const LPFB5G5R5X1& v);
    void Set(const LPFR8G8B8A8& v);
};

struct LPFB5G5R5A1
{
    uint16_t w;
    void Set(const LPFB8G8R8A8& v);
    void Set(const LPFB8G8R8& v);
    void Set(const LPFB5G6R5& v);
    void Set(const LPFB5G5R5A1& v) { *this = v; }
    void Set(const LPFB5G5R5X1& v);
    void Set(const LPFR8G8B8A8& v);
};

struct LPFB5G5R5X1
{
    uint16_t w;
    void Set(const LPFB8G8R8A8& v);
    void Set(const LPFB8G8R8& v);
    void Set(const LPFB5G6R5& v);
    void Set(const LPFB5G5R5A1& v);
    void Set(const LPFB5G5R5X1& v) { *this = v; }
    void Set(const LPFR8G8B8A8& v);
};

// Widening of short channels on reading: equals round(v * 255 / 31) and round(v * 255 / 63).
uint8_t LExpand5(unsigned v);
uint8_t LExpand6(unsigned v);

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
    // As AllocateNewBuffer with a given store, which the buffer takes over.
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
    uint8_t* GetRow(int y) const
    {
        return GetScanLine(imf.bUpsideDown ? imf.iHeight - 1 - y : y);
    }
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
