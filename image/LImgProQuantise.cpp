#include "image/LImgProQuantise.h"

#include <algorithm>
#include <cstring>
#include <vector>

static bool IsQuantisableSource(const LImageBuffer* image)
{
    return image && image->IsValid() &&
           (image->GetPixelFormat() == B8G8R8A8 || image->GetPixelFormat() == B8G8R8);
}

// The pixels of alpha 0 are left out and averaged into the entry kept for them.
struct TransparentMean
{
    uint64_t arSum[3] = {0, 0, 0}; // red, green, blue
    uint64_t n = 0;

    void Add(const uint8_t* bgra)
    {
        arSum[0] += bgra[2], arSum[1] += bgra[1], arSum[2] += bgra[0];
        ++n;
    }
    void AppendTo(LPalette<LPFB8G8R8>& palette) const
    {
        if (n == 0)
            return;
        auto mean = [this](int c) { return uint8_t((arSum[c] + n / 2) / n); };
        palette.Add(LPFB8G8R8{mean(2), mean(1), mean(0)});
        palette.iTransparentIndex = palette.GetCount() - 1;
    }
};

static LProcessResult GenerateByOctree(LProcessInterface& process, LProcessGeneratePaletteFromImage& data)
{
    const LImageBuffer& image = *data.lpImage;
    const bool alpha = image.GetPixelFormat() == B8G8R8A8;
    const bool keepTransparent = alpha && !data.bDither && data.iColorCount >= 2;
    const int step = alpha ? 4 : 3, width = image.GetWidth(), height = image.GetHeight();
    LColourOctree tree(8);
    TransparentMean transparent;
    for (int y = 0; y < height; ++y)
    {
        // Runs of one colour go in at once: flat areas then cost one walk down the tree.
        const uint8_t* p = image.GetRow(y);
        const uint8_t* run = nullptr;
        uint64_t runLength = 0;
        for (int x = 0; x < width; ++x, p += step)
        {
            if (keepTransparent && p[3] == 0)
            {
                transparent.Add(p);
                continue;
            }
            if (run && run[0] == p[0] && run[1] == p[1] && run[2] == p[2])
            {
                ++runLength;
                continue;
            }
            if (run && !tree.Insert(run[2], run[1], run[0], runLength))
                return LProcessResultFailed;
            run = p, runLength = 1;
        }
        if (run && !tree.Insert(run[2], run[1], run[0], runLength))
            return LProcessResultFailed;
        if ((y & 15) == 15)
            process.SetProgress(0.9 * (y + 1) / height);
        if (process.IsToStop())
            return LProcessResultCancelled;
    }
    tree.GetPalette(data.palette, data.iColorCount - (keepTransparent ? 1 : 0));
    transparent.AppendTo(data.palette);
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}

LProcessResult Process(LProcessInterface& process, LProcessGeneratePaletteFromImage& data)
{
    data.palette.Clear();
    if (!IsQuantisableSource(data.lpImage))
    {
        process.SetError("Invalid source image");
        return LProcessResultFailed;
    }
    if (data.iColorCount < 1 || data.iColorCount > 65535)
        return LProcessResultFailed;
    if (data.iMethod != kLPaletteMethodMedianCut)
        return GenerateByOctree(process, data);
    LMedianCutColor cut(*data.lpImage, data.iColorCount, data.bDither, true);
    return cut.GetOptimizedPalette(process, data.palette);
}

template <class T>
LProcessResult LProcessConvertImageToIndexed<T>::Prepare(LProcessInterface& process)
{
    imageIndexed.Destroy();
    if (!IsQuantisableSource(lpSource))
    {
        process.SetError("Invalid source image");
        return LProcessResultFailed;
    }
    if (!lpPalette || lpPalette->GetCount() < 1 || lpPalette->GetCount() > 256)
        return LProcessResultFailed;
    if (!imageIndexed.AllocateNewBuffer(LImageFormat(I8, lpSource->GetWidth(), lpSource->GetHeight(), false)))
        return LProcessResultFailed;
    return LProcessResultSuccess;
}

template <class T>
LProcessResult LProcessConvertImageToIndexed<T>::ConvertWithoutDithering(LProcessInterface& process)
{
    LProcessResult r = Prepare(process);
    if (r != LProcessResultSuccess)
        return r;
    LColorMapCacheTable cache(*lpPalette);
    if (!cache.IsValid())
        return LProcessResultFailed;
    const bool alpha = lpSource->GetPixelFormat() == B8G8R8A8;
    const int step = alpha ? 4 : 3, width = lpSource->GetWidth(), height = lpSource->GetHeight();
    const int transparent = alpha ? lpPalette->iTransparentIndex : -1;
    for (int y = 0; y < height; ++y)
    {
        const uint8_t* p = lpSource->GetRow(y);
        uint8_t* out = imageIndexed.GetRow(y);
        for (int x = 0; x < width; ++x, p += step)
            out[x] = uint8_t(transparent >= 0 && p[3] == 0 ? transparent : cache.GetIndex(p[2], p[1], p[0]));
        if ((y & 15) == 15)
            process.SetProgress(double(y + 1) / height);
        if (process.IsToStop())
            return LProcessResultCancelled;
    }
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}

template <class T>
LProcessResult
LProcessConvertImageToIndexed<T>::ConvertWithFloydSteinbergDithering(LProcessInterface& process)
{
    LProcessResult r = Prepare(process);
    if (r != LProcessResultSuccess)
        return r;
    LColorMapCacheTable cache(*lpPalette);
    if (!cache.IsValid())
        return LProcessResultFailed;
    const bool alpha = lpSource->GetPixelFormat() == B8G8R8A8;
    const int step = alpha ? 4 : 3, width = lpSource->GetWidth(), height = lpSource->GetHeight();
    const int transparent = alpha ? lpPalette->iTransparentIndex : -1;
    int arR[256] = {}, arG[256] = {}, arB[256] = {};
    for (int i = 0; i < lpPalette->GetCount(); ++i)
        arR[i] = (*lpPalette)[i].r, arG[i] = (*lpPalette)[i].g, arB[i] = (*lpPalette)[i].b;

    // The error carried into this row and into the next, red, green and blue per pixel, with a
    // pixel of margin on either side so the edges need no tests.
    const size_t rowSize = (size_t(width) + 2) * 3;
    std::vector<int> carried(rowSize, 0), below(rowSize, 0);
    for (int y = 0; y < height; ++y)
    {
        const uint8_t* p = lpSource->GetRow(y);
        uint8_t* out = imageIndexed.GetRow(y);
        int* e = carried.data() + 3;
        int* n = below.data();
        for (int x = 0; x < width; ++x, p += step, e += 3, n += 3)
        {
            if (transparent >= 0 && p[3] == 0)
            {
                out[x] = uint8_t(transparent); // nothing to carry from a hole
                continue;
            }
            const int red = std::clamp(p[2] + e[0], 0, 255);
            const int green = std::clamp(p[1] + e[1], 0, 255);
            const int blue = std::clamp(p[0] + e[2], 0, 255);
            const int i = cache.GetIndex(unsigned(red), unsigned(green), unsigned(blue));
            out[x] = uint8_t(i);
            const int er = red - arR[i], eg = green - arG[i], eb = blue - arB[i];
            e[3] += (er * 7) >> 4, e[4] += (eg * 7) >> 4, e[5] += (eb * 7) >> 4;
            n[0] += (er * 3) >> 4, n[1] += (eg * 3) >> 4, n[2] += (eb * 3) >> 4;
            n[3] += (er * 5) >> 4, n[4] += (eg * 5) >> 4, n[5] += (eb * 5) >> 4;
            n[6] += er >> 4, n[7] += eg >> 4, n[8] += eb >> 4;
        }
        carried.swap(below);
        std::fill(below.begin(), below.end(), 0);
        if ((y & 15) == 15)
            process.SetProgress(double(y + 1) / height);
        if (process.IsToStop())
            return LProcessResultCancelled;
    }
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}

template class LProcessConvertImageToIndexed<LPFB8G8R8>;
