#include "codecs/LCodecMetadataBlocks.h"

#include <algorithm>
#include <cstring>

#include "foundation/LThread.h"

namespace
{
bool IsTIFFHeader(const uint8_t* p, size_t size)
{
    return size >= 8 && ((p[0] == 'I' && p[1] == 'I' && p[2] == 42 && p[3] == 0) ||
                         (p[0] == 'M' && p[1] == 'M' && p[2] == 0 && p[3] == 42));
}
} // namespace

void LCodecSetExif(std::vector<uint8_t>& out, const uint8_t* data, size_t size)
{
    out.clear();
    if (!data)
        return;
    if (size >= 6 && memcmp(data, "Exif\0\0", 6) == 0)
        data += 6, size -= 6;
    else if (!IsTIFFHeader(data, size) && size >= 4)
    {
        const uint64_t offset =
            uint64_t(data[0]) << 24 | uint64_t(data[1]) << 16 | uint64_t(data[2]) << 8 | data[3];
        if (offset > size - 4)
            return;
        data += 4 + offset, size -= size_t(4 + offset);
        if (size >= 6 && memcmp(data, "Exif\0\0", 6) == 0)
            data += 6, size -= 6;
    }
    if (IsTIFFHeader(data, size))
        out.assign(data, data + size);
}

LProcessResult LCodecWholeInput::Read(LProcessInterface& process, LCodecReader& input, double range)
{
    const int64_t size = input.GetSize(), pos = input.Tell();
    if (const uint8_t* memory = input.GetMemory(); memory && size >= pos && pos >= 0)
    {
        lpData = memory + pos;
        nSize = size_t(size - pos);
        return LProcessResultSuccess;
    }
    if (size > pos && pos >= 0)
        arCopy.reserve(size_t(size - pos));
    LCodecProgress progress(process, 0.0, range);
    constexpr size_t kBlock = size_t(1) << 20;
    for (;;)
    {
        const size_t old = arCopy.size();
        arCopy.resize(old + kBlock);
        const size_t n = input.Read(arCopy.data() + old, kBlock);
        arCopy.resize(old + n);
        if (n == 0)
            break;
        if (!progress.Row(int64_t(arCopy.size()), std::max<int64_t>(size - pos, int64_t(arCopy.size()))))
            return LProcessResultCancelled;
    }
    lpData = arCopy.data();
    nSize = arCopy.size();
    return LProcessResultSuccess;
}

int LCodecOrientationFromRotateMirror(int quarterTurns, int mirror)
{
    // Rows: quarter turns anticlockwise; columns: no mirror, top-bottom, left-right.
    static const int table[4][3] = {{1, 4, 2}, {8, 5, 7}, {3, 2, 4}, {6, 7, 5}};
    return table[quarterTurns & 3][mirror >= 0 && mirror <= 2 ? mirror : 0];
}

int LCodecLibraryThreads()
{
    return std::clamp(LGetNumberOfProcessors(), 1, 64);
}
