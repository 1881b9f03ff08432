#include "image/LImageBuffer.h"

#include <cstring>
#include <new>

int LGetPixelFormatBits(pixelformat_t pf)
{
    switch (pf)
    {
    case B8G8R8A8:
    case R8G8B8A8:
        return 32;
    case B8G8R8:
        return 24;
    case B5G6R5:
    case B5G5R5A1:
    case B5G5R5X1:
    case YUYV422:
        return 16;
    case YUV420P:
    case YUVJ420P:
        return 12;
    case Indexed4:
        return 4;
    case I8:
        return 8;
    default:
        return 0;
    }
}

bool LIsPlanarPixelFormat(pixelformat_t pf)
{
    return pf == YUV420P || pf == YUVJ420P;
}

// ---------------------------------------------------------------------------------------------
// LImageFormat

LImageFormat::LImageFormat(pixelformat_t format, int width, int height, bool upsideDown)
    : pf(format), iWidth(width), iHeight(height), bUpsideDown(upsideDown ? 1u : 0u)
{
    SetDefaultAlignment();
}

void LImageFormat::SetDefaultAlignment()
{
    UpdatePlanarSize();
    if (LIsPlanarPixelFormat(pf))
        return;
    const int64_t width = iWidth > 0 ? iWidth : 0;
    const uint64_t bytes = ((uint64_t(LGetPixelFormatBits(pf)) * uint64_t(width) >> 3) + 3) & ~uint64_t(3);
    // A row that doesn't fit the field can't be addressed; 0 marks the format invalid.
    nWidthBytes = bytes > 0xFFFFFFFFu ? 0 : uint32_t(bytes);
}

void LImageFormat::SetPlanarSize(uint32_t yBytes, uint32_t uBytes, uint32_t vBytes)
{
    if (LIsPlanarPixelFormat(pf) && iWidth != 0 && iHeight != 0)
    {
        nWidthBytes = yBytes ? yBytes : uint32_t(iWidth);
        nWidthBytesPlanarU = uBytes ? uBytes : (uint32_t(iWidth) + 1) >> 1;
        nWidthBytesPlanarV = vBytes ? vBytes : nWidthBytesPlanarU;
        iWidthPlanarU = int32_t(nWidthBytesPlanarU);
        iWidthPlanarV = int32_t(nWidthBytesPlanarV);
        iHeightPlanarU = iHeightPlanarV = (iHeight + 1) >> 1;
    }
    else
    {
        nWidthBytesPlanarU = nWidthBytesPlanarV = 0;
        iWidthPlanarU = iWidthPlanarV = 0;
        iHeightPlanarU = iHeightPlanarV = 0;
    }
}

void LImageFormat::UpdatePlanarSize()
{
    // For packed formats this zeroes the plane fields.
    SetPlanarSize(0, 0, 0);
}

uint64_t LImageFormat::CalculateBufferSize64() const
{
    const uint64_t height = iHeight > 0 ? uint64_t(iHeight) : 0;
    uint64_t planeHeight = iHeightPlanarU > 0 ? uint64_t(iHeightPlanarU) : 0;
    if (iHeightPlanarU == 0 && height != 0)
        planeHeight = (height + 1) >> 1;
    return height * nWidthBytes + planeHeight * nWidthBytesPlanarU + planeHeight * nWidthBytesPlanarV;
}

uint32_t LImageFormat::CalculateBufferSize() const
{
    const uint64_t size = CalculateBufferSize64();
    return size > 0xFFFFFFFFu ? 0 : uint32_t(size);
}

bool LImageFormat::IsValid() const
{
    if (pf == PixelFormatInvalid || iWidth < 1 || iHeight < 1 || nWidthBytes == 0)
        return false;
    if (LIsPlanarPixelFormat(pf) && (nWidthBytesPlanarU == 0 || nWidthBytesPlanarV == 0))
        return false;
    return true;
}

// ---------------------------------------------------------------------------------------------
// Stores

LImageBufferStoreHeap::LImageBufferStoreHeap(uint64_t size)
{
    // The extra 16 bytes let the data start on a 16-byte boundary, which vector kernels rely on.
    if (size > SIZE_MAX - 16)
        return;
    lpRaw = new (std::nothrow) uint8_t[size_t(size) + 16];
    if (!lpRaw)
        return;
    nSize = size;
    lpData = lpRaw + ((16 - (reinterpret_cast<uintptr_t>(lpRaw) & 15)) & 15);
}

LImageBufferStoreHeap::~LImageBufferStoreHeap()
{
    delete[] lpRaw;
}

bool LImageBufferStoreHeap::IsCompatibleStore(int storeId, uint64_t size) const
{
    // Reuse only when little memory is wasted: between half of and the whole of this store.
    return storeId == 1 && lpData && size <= nSize && 2 * size >= nSize;
}

LImageBufferStoreReference::LImageBufferStoreReference(LImageBufferStore& target) : lpTarget(&target)
{
    lpData = target.lpData;
}

bool LImageBufferStoreReference::IsCompatibleStore(int storeId, uint64_t size) const
{
    return lpTarget->IsCompatibleStore(storeId, size);
}

int LImageBufferStoreReference::GetStoreID() const
{
    return lpTarget->GetStoreID();
}

// ---------------------------------------------------------------------------------------------
// LImageBuffer

LImageBuffer::LImageBuffer(const LImageFormat& format)
{
    AllocateNewBuffer(format);
}

LImageBuffer::~LImageBuffer()
{
    delete lpImageStore;
}

bool LImageBuffer::AllocateNewBuffer(const LImageFormat& format)
{
    if (imf.iBufferEncoding != 0)
        Destroy();
    imf = format;
    imf.iBufferEncoding = 0;
    const uint64_t size = imf.CalculateBufferSize64();
    if (size >= 0xFFFFFFFFu)
    {
        delete lpImageStore;
        lpImageStore = nullptr;
        return false;
    }
    if (lpImageStore && lpImageStore->IsCompatibleStore(1, size))
        return IsValid();
    delete lpImageStore;
    lpImageStore = new (std::nothrow) LImageBufferStoreHeap(size);
    if (!lpImageStore || !lpImageStore->lpData)
    {
        Destroy();
        return false;
    }
    return IsValid();
}

bool LImageBuffer::AllocateNewStore(const LImageFormat& format, LImageBufferStore* store)
{
    if (imf.iBufferEncoding != 0)
        Destroy();
    imf = format;
    if (lpImageStore != store)
        delete lpImageStore;
    lpImageStore = store;
    if (imf.CalculateBufferSize64() >= 0xFFFFFFFFu || !store || !store->lpData)
    {
        Destroy();
        return false;
    }
    return IsValid();
}

void LImageBuffer::Assign(LImageBuffer& other)
{
    if (lpImageStore != other.lpImageStore)
        delete lpImageStore;
    imf = other.imf;
    lpImageStore = other.lpImageStore;
    other.imf = LImageFormat();
    other.lpImageStore = nullptr;
}

void LImageBuffer::Destroy()
{
    delete lpImageStore;
    lpImageStore = nullptr;
    imf = LImageFormat();
}

bool LImageBuffer::IsValid() const
{
    return lpImageStore && lpImageStore->lpData && imf.IsValid();
}

uint8_t* LImageBuffer::GetData() const
{
    if (!lpImageStore || !lpImageStore->lpData)
        return nullptr;
    if (imf.iBufferEncoding == 1)
        return reinterpret_cast<uint8_t* const*>(lpImageStore->lpData)[0];
    return lpImageStore->lpData;
}

uint8_t* LImageBuffer::GetLastScanLine() const
{
    uint8_t* data = GetData();
    if (!data || imf.iHeight < 1)
        return nullptr;
    return data + size_t(imf.iHeight - 1) * imf.nWidthBytes;
}

uint8_t* LImageBuffer::GetFirstScanLineU() const
{
    uint8_t* data = GetData();
    if (!data)
        return nullptr;
    if (imf.iBufferEncoding == 1)
        return reinterpret_cast<uint8_t* const*>(lpImageStore->lpData)[1];
    return data + size_t(imf.iHeight > 0 ? imf.iHeight : 0) * imf.nWidthBytes;
}

uint8_t* LImageBuffer::GetFirstScanLineV() const
{
    uint8_t* u = GetFirstScanLineU();
    if (!u)
        return nullptr;
    if (imf.iBufferEncoding == 1)
        return reinterpret_cast<uint8_t* const*>(lpImageStore->lpData)[2];
    return u + size_t(imf.iHeight > 0 ? (imf.iHeight + 1) >> 1 : 0) * imf.nWidthBytesPlanarU;
}

bool LImageBuffer::Clear(LProcessInterface& process, LPixelColour colour)
{
    if (!IsValid() || LIsPlanarPixelFormat(imf.pf))
        return false;
    uint8_t* first = GetScanLine(0);
    const LImageIterator::WriteFunc write = LGetPixelWriteFunc(imf.pf);
    const int step = LGetPixelFormatBits(imf.pf) >> 3;
    for (int x = 0; step > 0 && x < imf.iWidth; ++x)
        write(first + size_t(x) * step, colour);
    for (int y = 1; y < imf.iHeight; ++y)
    {
        if (process.IsToStop())
            return true;
        LOptLargeMemCpy(GetScanLine(y), first, imf.nWidthBytes);
    }
    return false;
}

namespace
{
// Clearing needs only the stop poll; this keeps it free of the waiting machinery.
class LProcessInterfaceNeverStop : public LProcessInterface
{
public:
    bool IsToStop() override { return false; }
    int ProcessWait(int) override { return 2; }
    int ProcessWaitSignal(LSignalObject&, int) override { return 2; }
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, int) override { return 2; }
};
} // namespace

bool LImageBuffer::Clear(LPixelColour colour)
{
    LProcessInterfaceNeverStop process;
    return Clear(process, colour);
}

bool LImage::New(LImageBuffer& buffer, int width, int height, pixelformat_t pf)
{
    return buffer.AllocateNewBuffer(LImageFormat(pf, width, height));
}
