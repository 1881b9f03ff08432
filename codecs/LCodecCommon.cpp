#include "codecs/LCodecCommon.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace
{
std::atomic<uint64_t> gPixelLimit{kLCodecMaxPixels};

// The first number in a small text file, or 0 when there is none ("max" included).
uint64_t ReadNumber(const char* path)
{
    FILE* f = fopen(path, "r");
    if (!f)
        return 0;
    unsigned long long v = 0;
    if (fscanf(f, "%llu", &v) != 1)
        v = 0;
    fclose(f);
    return v;
}

bool WithinLimits(uint64_t width, uint64_t height)
{
    return width <= kLCodecMaxSide && height <= kLCodecMaxSide && width * height <= gPixelLimit.load() &&
           LImageFormat(B8G8R8A8, int(width), int(height), false).CalculateBufferSize64() < 0xFFFFFFFFull;
}
} // namespace

void LCodecSetPixelLimit(uint64_t pixels)
{
    gPixelLimit = pixels == 0 || pixels > kLCodecMaxPixels ? kLCodecMaxPixels : pixels;
}

uint64_t LCodecGetPixelLimit()
{
    return gPixelLimit.load();
}

bool LCodecMemoryAllows(uint64_t width, uint64_t height, uint64_t availableBytes)
{
    // In long double: the product of two 32-bit sides and 12 can pass 64 bits.
    return (long double)(availableBytes) / 2 >= (long double)(width) * (long double)(height)*12;
}

uint64_t LCodecAvailableMemory()
{
    uint64_t available = 0;
    if (FILE* f = fopen("/proc/meminfo", "r"))
    {
        char line[256];
        unsigned long long kb;
        while (fgets(line, sizeof(line), f))
            if (sscanf(line, "MemAvailable: %llu kB", &kb) == 1)
            {
                available = uint64_t(kb) * 1024;
                break;
            }
        fclose(f);
    }
    if (available == 0)
    {
        const long pages = sysconf(_SC_AVPHYS_PAGES), page = sysconf(_SC_PAGESIZE);
        available = pages > 0 && page > 0 ? uint64_t(pages) * uint64_t(page) : 0;
    }
    // A container's limit binds before the machine's memory does.
    const uint64_t limit = ReadNumber("/sys/fs/cgroup/memory.max");
    if (limit > 0)
    {
        const uint64_t used = ReadNumber("/sys/fs/cgroup/memory.current");
        available = std::min(available, limit > used ? limit - used : 0);
    }
    return available;
}

bool LCodecCheckPicture(LProcessInterface& process, uint64_t width, uint64_t height, int64_t bytesLeft,
                        double pixelsPerByte)
{
    if (width == 0 || height == 0)
        return false;
    if (pixelsPerByte > 0 &&
        double(width) * double(height) > double(std::max<int64_t>(bytesLeft, 0)) * pixelsPerByte)
        return false;
    if (!WithinLimits(width, height) || !LCodecMemoryAllows(width, height, LCodecAvailableMemory()))
    {
        process.SetError(kLCodecTooLargeMessage);
        return false;
    }
    return true;
}

bool LCodecAllocate(LImageBuffer& image, uint64_t width, uint64_t height, pixelformat_t pf)
{
    if (width == 0 || height == 0 || width > kLCodecMaxSide || height > kLCodecMaxSide ||
        width * height > gPixelLimit.load())
    {
        image.Destroy();
        return false;
    }
    LImageFormat f(pf, int(width), int(height), false);
    if (f.CalculateBufferSize64() >= 0xFFFFFFFFull)
    {
        image.Destroy();
        return false;
    }
    if (!image.AllocateNewBuffer(f) || !image.IsValid())
        return false;
    // A decoder writes every byte of a fresh buffer once; large pages make that first touch cost
    // a fraction of the page faults. Only whole pages inside the buffer are advised.
    const uint64_t bytes = f.CalculateBufferSize64();
    if (bytes >= (uint64_t(8) << 20))
    {
        const uintptr_t page = uintptr_t(sysconf(_SC_PAGESIZE));
        const uintptr_t start = (reinterpret_cast<uintptr_t>(image.GetData()) + page - 1) & ~(page - 1);
        const uintptr_t end = (reinterpret_cast<uintptr_t>(image.GetData()) + bytes) & ~(page - 1);
        if (end > start)
            madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
    }
    return true;
}

LCodecSourceRows::LCodecSourceRows(const LImageBuffer& image) : lpImage(&image)
{
    if (!image.IsValid())
        return;
    const pixelformat_t pf = image.GetPixelFormat();
    if (pf == B8G8R8A8)
        bValid = true;
    else if (pf == B8G8R8)
    {
        lpRow = static_cast<uint8_t*>(malloc(size_t(image.GetWidth()) * 4));
        bValid = lpRow != nullptr;
    }
    else if (!LIsPlanarPixelFormat(pf) && pf != Indexed4 && pf != I8)
    {
        if (converted.AllocateNewBuffer(LImageFormat(B8G8R8A8, image.GetWidth(), image.GetHeight(), false)))
        {
            LConvertPixelFormat(converted, image);
            lpImage = &converted;
            bValid = true;
        }
    }
}

LCodecSourceRows::~LCodecSourceRows()
{
    free(lpRow);
}

const uint8_t* LCodecSourceRows::Row(int y)
{
    const uint8_t* src = lpImage->GetRow(y);
    if (!lpRow)
        return src;
    const int w = lpImage->GetWidth();
    for (int x = 0; x < w; ++x)
    {
        lpRow[4 * x] = src[3 * x];
        lpRow[4 * x + 1] = src[3 * x + 1];
        lpRow[4 * x + 2] = src[3 * x + 2];
        lpRow[4 * x + 3] = 255;
    }
    return lpRow;
}

bool LCodecSourceRows::IsOpaque()
{
    if (iOpaque < 0)
    {
        iOpaque = 1;
        if (lpImage->GetPixelFormat() == B8G8R8A8)
            for (int y = 0; y < lpImage->GetHeight() && iOpaque; ++y)
            {
                const uint8_t* r = lpImage->GetRow(y);
                for (int x = 0; x < lpImage->GetWidth(); ++x)
                    if (r[4 * x + 3] != 255)
                    {
                        iOpaque = 0;
                        break;
                    }
            }
    }
    return iOpaque == 1;
}

bool LCodecApplyOrientation(LImageBuffer& image, int orientation)
{
    if (orientation < 2 || orientation > 8 || image.GetPixelFormat() != B8G8R8A8)
        return true;
    const int w = image.GetWidth(), h = image.GetHeight();
    const bool swap = orientation >= 5;
    LImageBuffer out;
    if (!out.AllocateNewBuffer(LImageFormat(B8G8R8A8, swap ? h : w, swap ? w : h, false)))
        return false;
    out.imf.HorizontalResolution = swap ? image.imf.VerticalResolution : image.imf.HorizontalResolution;
    out.imf.VerticalResolution = swap ? image.imf.HorizontalResolution : image.imf.VerticalResolution;
    // For each stored pixel (x, y), where it lands in the upright picture.
    for (int y = 0; y < h; ++y)
    {
        const uint32_t* src = reinterpret_cast<const uint32_t*>(image.GetRow(y));
        for (int x = 0; x < w; ++x)
        {
            int ox, oy;
            switch (orientation)
            {
            case 2:
                ox = w - 1 - x, oy = y;
                break;
            case 3:
                ox = w - 1 - x, oy = h - 1 - y;
                break;
            case 4:
                ox = x, oy = h - 1 - y;
                break;
            case 5:
                ox = y, oy = x;
                break;
            case 6:
                ox = h - 1 - y, oy = x;
                break;
            case 7:
                ox = h - 1 - y, oy = w - 1 - x;
                break;
            default:
                ox = y, oy = w - 1 - x;
                break; // 8
            }
            reinterpret_cast<uint32_t*>(out.GetRow(oy))[ox] = src[x];
        }
    }
    image.Assign(out);
    return true;
}

int LCodecExifOrientation(const uint8_t* data, size_t size)
{
    if (size < 14 || memcmp(data, "Exif\0\0", 6) != 0)
        return 1;
    const uint8_t* t = data + 6;
    const size_t n = size - 6;
    bool le;
    if (t[0] == 'I' && t[1] == 'I')
        le = true;
    else if (t[0] == 'M' && t[1] == 'M')
        le = false;
    else
        return 1;
    auto u16 = [&](size_t o) -> unsigned { return le ? t[o] | t[o + 1] << 8 : t[o] << 8 | t[o + 1]; };
    auto u32 = [&](size_t o) -> uint32_t
    {
        return le ? uint32_t(t[o]) | uint32_t(t[o + 1]) << 8 | uint32_t(t[o + 2]) << 16 |
                        uint32_t(t[o + 3]) << 24
                  : uint32_t(t[o]) << 24 | uint32_t(t[o + 1]) << 16 | uint32_t(t[o + 2]) << 8 |
                        uint32_t(t[o + 3]);
    };
    if (u16(2) != 42)
        return 1;
    const uint64_t ifd = u32(4);
    if (ifd + 2 > n)
        return 1;
    const unsigned count = u16(size_t(ifd));
    for (unsigned i = 0; i < count; ++i)
    {
        const uint64_t e = ifd + 2 + uint64_t(i) * 12;
        if (e + 12 > n)
            return 1;
        if (u16(size_t(e)) == 0x0112 && u16(size_t(e) + 2) == 3)
        {
            const unsigned v = u16(size_t(e) + 8);
            return v >= 1 && v <= 8 ? int(v) : 1;
        }
    }
    return 1;
}
