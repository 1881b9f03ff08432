#include "codecs/LGIFDecoder.h"

#include <algorithm>
#include <cstring>

#include "codecs/LCodecIO.h"

namespace
{
// A code of w bits stands for at most 2^w values, so a byte of codes gives at most 2^12 / 1.5
// of them; anything larger than the data can make is refused before it is allocated.
constexpr uint64_t kMaxValuesPerByte = 2731;
// A screen larger than its frames needs no more than this to be believed.
constexpr uint64_t kFreeScreenPixels = uint64_t(1) << 20;
} // namespace

template <class Base>
bool LGIFDecoder<Base>::ReadTable(int bits, LGIFColorTable& table)
{
    table.arRGB.resize(size_t(3) << bits);
    return lpStream->Read(table.arRGB.data(), table.arRGB.size());
}

template <class Base>
bool LGIFDecoder<Base>::SkipSubblocks(uint64_t& total)
{
    total = 0;
    for (;;)
    {
        uint8_t n;
        if (!lpStream->ReadUInt8(n))
            return false;
        if (n == 0)
            return true;
        const int64_t pos = lpStream->Tell64();
        if (pos + n > lpStream->GetSize64() || !lpStream->SeekOffset64(n))
            return false;
        total += n;
    }
}

template <class Base>
LProcessResult LGIFDecoder<Base>::Open(LProcessInterface& process)
{
    process.SetStatus("Decoding GIF image", 0);
    arFrames.clear();
    arGraphicControls.clear();
    globalTable = LGIFColorTable();
    if (!lpStream->IsOpen())
        return LProcessResultFailed;
    uint8_t head[LGIFHeader::kSize + LGIFLogicalScreenDescriptor::kSize];
    if (!lpStream->Read(head, sizeof head) || !header.Parse(head))
        return LProcessResultFailed;
    screen.Parse(head + LGIFHeader::kSize);
    if (screen.HasGlobalTable() && !ReadTable(screen.GetGlobalTableBits(), globalTable))
        return LProcessResultFailed;
    for (;;)
    {
        if (process.IsToStop())
            return LProcessResultCancelled;
        uint8_t introducer;
        if (!lpStream->ReadUInt8(introducer))
            return LProcessResultFailed;
        if (introducer == ';')
            return LProcessResultSuccess;
        if (introducer == ',')
        {
            LGIFImageFrame frame;
            uint8_t d[LGIFImageDescriptor::kSize - 1];
            uint8_t codeSize;
            if (!lpStream->Read(d, sizeof d))
                return LProcessResultFailed;
            frame.descriptor.Parse(d);
            if (frame.descriptor.HasLocalTable() &&
                !ReadTable(frame.descriptor.GetLocalTableBits(), frame.localTable))
                return LProcessResultFailed;
            if (!lpStream->ReadUInt8(codeSize))
                return LProcessResultFailed;
            frame.iMinCodeSize = codeSize;
            frame.iDataOffset = lpStream->Tell64();
            if (!SkipSubblocks(frame.nDataLength))
                return LProcessResultFailed;
            frame.iGraphicControl = int(arGraphicControls.size()) - 1;
            arFrames.push_back(std::move(frame));
            continue;
        }
        uint8_t label;
        if (introducer != '!' || !lpStream->ReadUInt8(label))
            return LProcessResultFailed;
        uint64_t skipped;
        if (label == LGIFExtensionGraphicControl::kLabel)
        {
            uint8_t size, body[4];
            if (!lpStream->ReadUInt8(size) || size < 4 || !lpStream->Read(body, 4) ||
                !lpStream->SeekOffset64(size - 4) || !SkipSubblocks(skipped))
                return LProcessResultFailed;
            LGIFExtensionGraphicControl control;
            control.Parse(body);
            arGraphicControls.push_back(control);
        }
        else if (label == LGIFExtensionPlainText::kLabel || label == LGIFExtensionComment::kLabel ||
                 label == LGIFExtensionApplication::kLabel)
        {
            if (!SkipSubblocks(skipped))
                return LProcessResultFailed;
        }
        else
            return LProcessResultFailed;
    }
}

template <class Base>
const LGIFExtensionGraphicControl* LGIFDecoder<Base>::GetGraphicControl(int frameIndex) const
{
    if (frameIndex < 0 || frameIndex >= GetFrameCount() || arFrames[size_t(frameIndex)].iGraphicControl < 0)
        return nullptr;
    return &arGraphicControls[size_t(arFrames[size_t(frameIndex)].iGraphicControl)];
}

template <class Base>
int LGIFDecoder<Base>::GetDisposal(int frameIndex) const
{
    const LGIFExtensionGraphicControl* control = GetGraphicControl(frameIndex);
    return control ? control->GetDisposal() : LGIFDisposalNone;
}

template <class Base>
LProcessResult LGIFDecoder<Base>::GetImageData(const LGIFImageFrame& frame,
                                               std::unique_ptr<uint8_t[]>& indices)
{
    if (frame.iMinCodeSize < 2 || frame.iMinCodeSize > 8)
        return LProcessResultFailed;
    const uint64_t count = uint64_t(frame.descriptor.iWidth) * frame.descriptor.iHeight;
    if (count > frame.nDataLength * kMaxValuesPerByte)
        return LProcessResultFailed;
    auto data = LCodecAllocateArray<uint8_t>(size_t(frame.nDataLength));
    indices = LCodecAllocateArray<uint8_t>(size_t(count));
    if (!data || !indices || !lpStream->Seek64(frame.iDataOffset))
        return LProcessResultFailed;
    // The blocks were walked when the file was opened; this reads the same ones again.
    for (uint64_t at = 0; at < frame.nDataLength;)
    {
        uint8_t n;
        if (!lpStream->ReadUInt8(n) || n == 0 || at + n > frame.nDataLength ||
            !lpStream->Read(data.get() + at, n))
            return LProcessResultFailed;
        at += n;
    }
    const size_t produced = LLZWCodec::Decode(data.get(), size_t(frame.nDataLength), frame.iMinCodeSize,
                                              indices.get(), size_t(count));
    return produced == count ? LProcessResultSuccess : LProcessResultFailed;
}

template <class Base>
LProcessResult LGIFDecoder<Base>::GetFrame(LProcessInterface& process, LImageBuffer& image, int& bits,
                                           int frameIndex)
{
    if (frameIndex < 0 || frameIndex >= GetFrameCount())
        return LProcessResultFailed;
    // Frames that are not disposed of stay under the ones behind them: the last run of them
    // before this frame is drawn first.
    int first = frameIndex;
    for (int i = 0, run = -1; i < frameIndex; ++i)
    {
        run = GetDisposal(i) == LGIFDisposalDoNotDispose ? (run < 0 ? i : run) : -1;
        if (i == frameIndex - 1 && run >= 0)
            first = run;
    }
    const bool clearing = first == 0 || GetDisposal(first - 1) == LGIFDisposalRestoreBackground;

    const uint64_t width = screen.iWidth, height = screen.iHeight;
    uint64_t data = 0;
    for (int k = first; k <= frameIndex; ++k)
        data += arFrames[size_t(k)].nDataLength;
    if (width * height > data * kMaxValuesPerByte + kFreeScreenPixels ||
        !LCodecAllocate(image, width, height, B8G8R8A8))
        return LProcessResultFailed;
    uint32_t fill = 0;
    if (clearing && screen.iBackground != 0 && screen.iBackground < globalTable.GetCount())
    {
        const uint8_t* c = globalTable.arRGB.data() + 3 * screen.iBackground;
        fill = uint32_t(c[2]) | uint32_t(c[1]) << 8 | uint32_t(c[0]) << 16 | 0xFF000000u;
    }
    for (uint64_t y = 0; y < height; ++y)
        std::fill_n(reinterpret_cast<uint32_t*>(image.GetRow(int(y))), width, fill);

    LCodecProgress progress(process, 0.0, 1.0, true);
    const int frames = frameIndex - first + 1;
    for (int k = first; k <= frameIndex; ++k)
    {
        const LGIFImageFrame& frame = arFrames[size_t(k)];
        const LGIFColorTable& table = frame.descriptor.HasLocalTable() ? frame.localTable : globalTable;
        if (table.GetCount() == 0)
            return LProcessResultFailed;
        bits = frame.descriptor.HasLocalTable() ? frame.descriptor.GetLocalTableBits()
                                                : screen.GetGlobalTableBits();
        std::unique_ptr<uint8_t[]> indices;
        const LProcessResult r = GetImageData(frame, indices);
        if (r != LProcessResultSuccess)
        {
            image.Destroy();
            return r;
        }
        uint32_t colours[256] = {};
        for (int i = 0; i < table.GetCount() && i < 256; ++i)
        {
            const uint8_t* c = table.arRGB.data() + 3 * i;
            colours[i] = uint32_t(c[2]) | uint32_t(c[1]) << 8 | uint32_t(c[0]) << 16 | 0xFF000000u;
        }
        const LGIFExtensionGraphicControl* control = GetGraphicControl(k);
        const int transparent = control && control->HasTransparency() ? control->iTransparentIndex : -1;
        const int left = frame.descriptor.iLeft, top = frame.descriptor.iTop;
        const int fw = frame.descriptor.iWidth, fh = frame.descriptor.iHeight;

        // Where each row of the frame is stored: interlaced rows come in four passes.
        std::vector<int> stored(static_cast<size_t>(fh));
        if (frame.descriptor.IsInterlaced())
        {
            static constexpr int start[4] = {0, 4, 2, 1}, step[4] = {8, 8, 4, 2};
            int s = 0;
            for (int pass = 0; pass < 4; ++pass)
                for (int row = start[pass]; row < fh; row += step[pass])
                    stored[size_t(row)] = s++;
        }
        else
            for (int row = 0; row < fh; ++row)
                stored[size_t(row)] = row;

        for (int y = 0; y < int(height); ++y)
        {
            uint32_t* out = reinterpret_cast<uint32_t*>(image.GetRow(y));
            const int fy = y - top;
            const uint8_t* in =
                fy >= 0 && fy < fh ? indices.get() + size_t(stored[size_t(fy)]) * fw : nullptr;
            for (int x = 0; x < int(width); ++x)
            {
                const int fx = x - left;
                if (!in || fx < 0 || fx >= fw)
                    out[x] = 0x00FFFFFFu;
                else if (in[fx] != transparent)
                    out[x] = colours[in[fx]];
                else if (k == first)
                    out[x] &= 0x00FFFFFFu;
            }
            if (!progress.Step((double(k - first) + double(y + 1) / double(height)) / frames))
            {
                image.Destroy();
                return LProcessResultCancelled;
            }
        }
    }
    return LProcessResultSuccess;
}

template class LGIFDecoder<LInputStreamBuffer>;
template class LGIFDecoder<LInputStreamFile>;
