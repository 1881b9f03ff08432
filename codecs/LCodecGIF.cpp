#include "codecs/LCodecGIF.h"

#include <cstring>
#include <vector>

#include <gif_lib.h>

namespace
{
int ReadFunc(GifFileType* gif, GifByteType* data, int size)
{
    return int(static_cast<LCodecReader*>(gif->UserData)->Read(data, size_t(size)));
}

struct GifCloser
{
    GifFileType* g;
    ~GifCloser()
    {
        int error;
        if (g)
            DGifCloseFile(g, &error);
    }
};
} // namespace

LProcessResult LCodecGIFDecode(LProcessInterface& process, LCodecReader& input, LImageBuffer& image,
                               int& bitDepth)
{
    process.SetStatus("Decoding GIF image", 0);
    bitDepth = 0;
    int error = 0;
    GifCloser gif{DGifOpen(&input, ReadFunc, &error)};
    if (!gif.g)
        return LProcessResultFailed;
    GifFileType* g = gif.g;

    // Walk to the first image, keeping the transparent index of the control block before it.
    int transparent = -1;
    for (;;)
    {
        GifRecordType type;
        if (DGifGetRecordType(g, &type) == GIF_ERROR)
            return LProcessResultFailed;
        if (type == TERMINATE_RECORD_TYPE)
            return LProcessResultFailed; // no picture at all
        if (type == IMAGE_DESC_RECORD_TYPE)
            break;
        if (type == EXTENSION_RECORD_TYPE)
        {
            int code;
            GifByteType* ext;
            if (DGifGetExtension(g, &code, &ext) == GIF_ERROR)
                return LProcessResultFailed;
            if (code == GRAPHICS_EXT_FUNC_CODE && ext && ext[0] >= 4)
                transparent = (ext[1] & 1) ? ext[4] : -1;
            while (ext)
                if (DGifGetExtensionNext(g, &ext) == GIF_ERROR)
                    return LProcessResultFailed;
        }
    }
    if (DGifGetImageDesc(g) == GIF_ERROR)
        return LProcessResultFailed;
    const GifImageDesc& desc = g->Image;
    const ColorMapObject* map = desc.ColorMap ? desc.ColorMap : g->SColorMap;
    if (!map || desc.Width <= 0 || desc.Height <= 0 || desc.Left < 0 || desc.Top < 0)
        return LProcessResultFailed;
    // The frame's pixels must be in the file: an LZW code stands for a few thousand pixels at most.
    const int64_t size = input.GetSize();
    const int64_t left = size < 0 ? INT64_MAX : size - input.Tell();
    if (!LCodecCheckPicture(process, uint64_t(desc.Width), uint64_t(desc.Height), left, 4096))
        return LProcessResultFailed;
    // The logical screen frames the picture; a screen too small for the frame is grown to it. A
    // few bytes can claim a vast empty screen around a small frame; then the frame alone is the
    // picture rather than gigabytes of nothing.
    int64_t sw = std::max<int64_t>(g->SWidth, int64_t(desc.Left) + desc.Width);
    int64_t sh = std::max<int64_t>(g->SHeight, int64_t(desc.Top) + desc.Height);
    int x0 = desc.Left, y0 = desc.Top;
    if (sw * sh > std::max<int64_t>(int64_t(1) << 22, 16 * int64_t(desc.Width) * desc.Height))
        sw = desc.Width, sh = desc.Height, x0 = y0 = 0;
    if (!LCodecCheckPicture(process, uint64_t(sw), uint64_t(sh), 0, 0) ||
        !LCodecAllocate(image, uint64_t(sw), uint64_t(sh)))
        return LProcessResultFailed;
    memset(image.GetData(), 0, size_t(image.GetFormat().CalculateBufferSize64()));

    LPixelColour palette[256];
    for (int i = 0; i < 256; ++i)
    {
        // Indices past the colour table show black, as viewers do.
        palette[i] = LPixelColour(0, 0, 0, 255);
        if (i < map->ColorCount)
            palette[i] = LPixelColour(map->Colors[i].Blue, map->Colors[i].Green, map->Colors[i].Red, 255);
    }
    if (transparent >= 0)
        palette[transparent] = LPixelColour(0, 0, 0, 0);

    std::vector<GifPixelType> line(size_t(desc.Width));
    static const int start[4] = {0, 4, 2, 1}, step[4] = {8, 8, 4, 2};
    const int passes = desc.Interlace ? 4 : 1;
    LCodecProgress progress(process);
    int done = 0;
    for (int pass = 0; pass < passes; ++pass)
        for (int y = desc.Interlace ? start[pass] : 0; y < desc.Height; y += desc.Interlace ? step[pass] : 1)
        {
            if (DGifGetLine(g, line.data(), desc.Width) == GIF_ERROR)
            {
                image.Destroy();
                return LProcessResultFailed;
            }
            uint32_t* row = reinterpret_cast<uint32_t*>(image.GetRow(y0 + y)) + x0;
            for (int x = 0; x < desc.Width; ++x)
                row[x] = palette[line[size_t(x)]].ToUInt32();
            if (!progress.Row(++done, desc.Height))
            {
                image.Destroy();
                return LProcessResultCancelled;
            }
        }
    bitDepth = map->BitsPerPixel;
    return LProcessResultSuccess;
}
