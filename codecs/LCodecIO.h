#pragma once
// Helpers shared by the small codecs: buffered byte access over the stream templates, so that
// decoders and encoders touch the stream once per block rather than once per byte; progress in
// steps of a hundredth with cancellation there; and source rows of any pixel format as 32-bit
// values, so writers work on rows instead of calling a reader per pixel.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "codecs/LCodecCommon.h"
#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

// Reads ahead into a block of its own. The wrapped stream's position runs ahead of what was
// consumed, so a codec uses either this reader or the stream, not both, once it is made.
template <class Base>
class LCodecByteReader
{
public:
    static constexpr size_t kBlock = 65536;

    explicit LCodecByteReader(LInputStream<Base>& stream) : lpStream(&stream)
    {
        const int64_t size = stream.GetSize64(), pos = stream.Tell64();
        iRemainingInStream = size > pos ? size - pos : 0;
    }

    bool GetByte(uint8_t& v)
    {
        if (nPos == nFill && !Refill())
            return false;
        v = arBlock[nPos++];
        return true;
    }
    // -1 at the end of the data.
    int PeekByte()
    {
        if (nPos == nFill && !Refill())
            return -1;
        return arBlock[nPos];
    }
    bool Read(void* data, size_t size)
    {
        uint8_t* out = static_cast<uint8_t*>(data);
        while (size > 0)
        {
            if (nPos == nFill && !Refill())
                return false;
            const size_t n = nFill - nPos < size ? nFill - nPos : size;
            memcpy(out, arBlock + nPos, n);
            nPos += n;
            out += n;
            size -= n;
        }
        return true;
    }
    // As many bytes as there are, up to size.
    size_t ReadUpTo(void* data, size_t size)
    {
        uint8_t* out = static_cast<uint8_t*>(data);
        size_t done = 0;
        while (done < size && (nPos < nFill || Refill()))
        {
            const size_t n = std::min(nFill - nPos, size - done);
            memcpy(out + done, arBlock + nPos, n);
            nPos += n;
            done += n;
        }
        return done;
    }
    bool Skip(uint64_t size)
    {
        const size_t inBlock = nFill - nPos;
        if (size <= inBlock)
        {
            nPos += size_t(size);
            return true;
        }
        size -= inBlock;
        nPos = nFill;
        if (int64_t(size) > iRemainingInStream || !lpStream->SeekOffset64(int64_t(size)))
            return false;
        iRemainingInStream -= int64_t(size);
        return true;
    }
    // Bytes left: buffered plus what the stream still holds.
    int64_t Remaining() const { return int64_t(nFill - nPos) + iRemainingInStream; }

private:
    bool Refill()
    {
        nPos = 0;
        nFill = lpStream->ReadRaw(arBlock, kBlock);
        iRemainingInStream -= int64_t(nFill);
        if (iRemainingInStream < 0)
            iRemainingInStream = 0;
        return nFill > 0;
    }

    LInputStream<Base>* lpStream;
    int64_t iRemainingInStream = 0;
    size_t nPos = 0;
    size_t nFill = 0;
    uint8_t arBlock[kBlock];
};

// Collects output in a block; any failed write sticks, so callers test once at the end.
template <class Base>
class LCodecByteWriter
{
public:
    static constexpr size_t kBlock = 65536;

    explicit LCodecByteWriter(LOutputStream<Base>& stream) : lpStream(&stream) {}

    void Put(uint8_t v)
    {
        if (nFill == kBlock)
            Flush();
        arBlock[nFill++] = v;
    }
    void Write(const void* data, size_t size)
    {
        const uint8_t* in = static_cast<const uint8_t*>(data);
        if (size >= kBlock)
        {
            Flush();
            if (!bFailed && !lpStream->Write(in, size))
                bFailed = true;
            return;
        }
        if (nFill + size > kBlock)
            Flush();
        memcpy(arBlock + nFill, in, size);
        nFill += size;
    }
    void PutUInt16LE(uint32_t v)
    {
        Put(uint8_t(v));
        Put(uint8_t(v >> 8));
    }
    void PutUInt16BE(uint32_t v)
    {
        Put(uint8_t(v >> 8));
        Put(uint8_t(v));
    }
    void PutUInt32BE(uint32_t v)
    {
        PutUInt16BE(v >> 16);
        PutUInt16BE(v & 0xFFFF);
    }
    void Flush()
    {
        if (nFill > 0 && !bFailed && !lpStream->Write(arBlock, nFill))
            bFailed = true;
        nFill = 0;
    }
    // Flushes; true when every byte reached the stream.
    bool Finish()
    {
        Flush();
        return !bFailed;
    }
    bool HasFailed() const { return bFailed; }

private:
    LOutputStream<Base>* lpStream;
    bool bFailed = false;
    size_t nFill = 0;
    uint8_t arBlock[kBlock];
};

// Heap array without exceptions: a failed allocation leaves it null.
template <class T>
std::unique_ptr<T[]> LCodecAllocateArray(size_t count)
{
    return std::unique_ptr<T[]>(new (std::nothrow) T[count]);
}

// Image row y counted from the top, as 32-bit values (blue in the low byte). The two common
// formats are copied directly; the others go through the buffer's iterator.
void LCodecReadRowBGRA(const LImageBuffer& image, int y, uint32_t* out);

// A decoder's target, allocated top row first, under the shared size limits; false when the
// size is refused or the memory isn't there.
bool LCodecAllocateTarget(LImageBuffer& image, int width, int height, bool alpha);
