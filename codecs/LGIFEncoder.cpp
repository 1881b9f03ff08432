#include "codecs/LGIFEncoder.h"

#include <algorithm>
#include <cstring>

#include "codecs/LCodecIO.h"
#include "image/LImgProQuantise.h"

template <class Base>
LGIFEncoder<Base>::LGIFEncoder(LOutputStream<Base>& stream, int width, int height, int loopCount)
    : lpStream(&stream), screen(width, height, 0), iLoopCount(loopCount), bOpen(stream.IsOpen()),
      iStart(stream.IsOpen() ? stream.Tell64() : 0)
{
    iRunningWidth = screen.iWidth;
    iRunningHeight = screen.iHeight;
}

template <class Base>
LGIFEncoder<Base>::~LGIFEncoder()
{
    Finalise();
}

template <class Base>
bool LGIFEncoder<Base>::WriteHead()
{
    const uint8_t background = screen.iBackground;
    screen = LGIFLogicalScreenDescriptor(screen.iWidth, screen.iHeight, globalPalette.GetCount());
    screen.iBackground = background;
    LGIFBytes head;
    LGIFHeader header;
    header.iVersion = iVersion;
    header.Append(head);
    screen.Append(head);
    if (globalPalette.GetCount() > 0)
        LGIFColorTable(globalPalette).Append(head);
    if (iLoopCount >= 0)
        LGIFExtensionApplicationNetscape(iLoopCount).Append(head);
    bHeadWritten = true;
    return lpStream->Write(head.data(), head.size());
}

template <class Base>
bool LGIFEncoder<Base>::AddExtension(const LGIFExtension& extension)
{
    if (!bOpen || (!bHeadWritten && !WriteHead()))
        return false;
    LGIFBytes bytes;
    extension.Append(bytes);
    return lpStream->Write(bytes.data(), bytes.size());
}

template <class Base>
LProcessResult LGIFEncoder<Base>::AddFrame(LProcessInterface& process, const LImageBuffer& image, int left,
                                           int top, int delayMs, bool useGlobalPalette, int maxColours)
{
    if (!bOpen || !image.IsValid())
        return LProcessResultFailed;
    if (useGlobalPalette ? globalPalette.GetCount() < 2 || globalPalette.GetCount() > 256
                         : maxColours < 2 || maxColours > 256)
        return LProcessResultFailed;
    const int width = image.GetWidth(), height = image.GetHeight();
    // The frame's place is 16 bits in the file; tested before the long work rather than after.
    if (left < 0 || top < 0 || int64_t(left) + width >= 65536 || int64_t(top) + height >= 65536)
        return LProcessResultFailed;
    if (!bHeadWritten && !WriteHead())
        return LProcessResultFailed;
    if (process.IsToStop())
        return LProcessResultFailed;

    // The quantiser takes the two true-colour formats; the others are widened first.
    const LImageBuffer* source = &image;
    LImageBuffer widened;
    const pixelformat_t pf = image.GetPixelFormat();
    if (pf != B8G8R8A8 && pf != B8G8R8)
    {
        if (LIsPlanarPixelFormat(pf) || pf == I8 || pf == Indexed4 ||
            !widened.AllocateNewBuffer(LImageFormat(B8G8R8A8, width, height, image.imf.bUpsideDown)))
            return LProcessResultFailed;
        LConvertPixelFormat(widened, image);
        source = &widened;
    }

    LPalette<LPFB8G8R8> palette;
    if (useGlobalPalette)
        palette = globalPalette;
    else
    {
        LProcessGeneratePaletteFromImage generate;
        generate.lpImage = source;
        generate.iColorCount = maxColours;
        generate.iMethod = iPaletteMethod;
        generate.bDither = false;
        LProcessInterfaceSubProcess sub(process, 0.0, 0.5);
        const LProcessResult r = Process(sub, generate);
        if (r != LProcessResultSuccess)
            return r;
        palette = std::move(generate.palette);
    }

    process.SetStatus("Converting to indexed color", 0);
    LProcessConvertImageToIndexed<LPFB8G8R8> convert;
    convert.lpSource = source;
    convert.lpPalette = &palette;
    convert.bDither = bDither;
    {
        LProcessInterfaceSubProcess sub(process, 0.5, 0.25);
        const LProcessResult r = Process(sub, convert);
        if (r != LProcessResultSuccess)
            return r;
    }
    widened.Destroy();

    LGIFBytes control;
    LGIFExtensionGraphicControl(delayMs, palette.iTransparentIndex, iDisposal).Append(control);
    if (!lpStream->Write(control.data(), control.size()))
        return LProcessResultFailed;

    LGIFImageFrame frame;
    frame.descriptor.iLeft = uint16_t(left), frame.descriptor.iTop = uint16_t(top);
    frame.descriptor.iWidth = uint16_t(width), frame.descriptor.iHeight = uint16_t(height);
    if (!useGlobalPalette)
    {
        frame.descriptor.SetLocalTable(palette.GetCount());
        frame.localTable = LGIFColorTable(palette);
    }
    frame.iMinCodeSize = LGIFImageFrame::GetMinCodeSize(palette.GetCount());

    const LImageBuffer& indexed = convert.imageIndexed;
    const uint8_t* indices = indexed.GetData();
    std::unique_ptr<uint8_t[]> packed;
    if (indexed.GetWidthBytes() != uint32_t(width) || indexed.imf.bUpsideDown)
    {
        packed = LCodecAllocateArray<uint8_t>(size_t(width) * size_t(height));
        if (!packed)
            return LProcessResultFailed;
        for (int y = 0; y < height; ++y)
            memcpy(packed.get() + size_t(y) * size_t(width), indexed.GetRow(y), size_t(width));
        indices = packed.get();
    }
    LProcessInterfaceSubProcess sub(process, 0.75, 0.25);
    const LProcessResult r = frame.Write(sub, *lpStream, indices);
    if (r != LProcessResultSuccess)
        return r;

    if (screen.iWidth == 0 || screen.iHeight == 0)
    {
        iRunningWidth = std::max(iRunningWidth, left + width);
        iRunningHeight = std::max(iRunningHeight, top + height);
    }
    ++iFrameCount;
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}

template <class Base>
bool LGIFEncoder<Base>::Finalise()
{
    if (!bOpen)
        return false;
    bOpen = false;
    if (!bHeadWritten && !WriteHead())
        return false;
    const uint8_t trailer = ';';
    if (!lpStream->Write(&trailer, 1))
        return false;
    if (screen.iWidth != 0 && screen.iHeight != 0)
        return true;
    // The screen was left to the frames: its size goes over the first one written.
    LGIFLogicalScreenDescriptor grown = screen;
    grown.iWidth = uint16_t(std::min(iRunningWidth, 65535));
    grown.iHeight = uint16_t(std::min(iRunningHeight, 65535));
    LGIFBytes head;
    LGIFHeader header;
    header.iVersion = iVersion;
    header.Append(head);
    grown.Append(head);
    const int64_t end = lpStream->Tell64();
    return lpStream->Seek64(iStart) && lpStream->Write(head.data(), head.size()) && lpStream->Seek64(end);
}

template class LGIFEncoder<LOutputStreamFile>;
template class LGIFEncoder<LOutputStreamByteArray>;
