#include "canvas/LGuiImage.h"

#include <atomic>
#include <cstring>
#include <vector>

#include "image/LImgProBands.h"

namespace
{
// A top-down B8G8R8A8 copy of any buffer; false when memory runs out.
bool CopyTopDown(LImageBuffer& out, const LImageBuffer& in)
{
    if (!LImage::New(out, in.GetWidth(), in.GetHeight(), B8G8R8A8))
        return false;
    if (in.GetPixelFormat() == B8G8R8A8)
    {
        const size_t bytes = size_t(in.GetWidth()) * 4;
        for (int y = 0; y < in.GetHeight(); ++y)
            memcpy(out.GetRow(y), in.GetRow(y), bytes);
        return true;
    }
    out.imf.bUpsideDown = in.imf.bUpsideDown;
    LConvertPixelFormat(out, in);
    if (!out.imf.bUpsideDown)
        return true;
    // Flip the rows in place so that row 0 is at the top.
    const size_t stride = out.GetWidthBytes();
    std::vector<uint8_t> tmp(stride);
    for (int a = 0, b = out.GetHeight() - 1; a < b; ++a, --b)
    {
        memcpy(tmp.data(), out.GetScanLine(a), stride);
        memcpy(out.GetScanLine(a), out.GetScanLine(b), stride);
        memcpy(out.GetScanLine(b), tmp.data(), stride);
    }
    out.imf.bUpsideDown = 0;
    return true;
}
} // namespace

bool LGuiImage::SetFromImageBuffer(const LImageBuffer& source)
{
    Clear();
    if (!source.IsValid())
        return false;
    if (!CopyTopDown(buffer, source))
    {
        buffer.Destroy();
        return false;
    }
    Premultiply();
    return true;
}

bool LGuiImage::TakeImageBuffer(LImageBuffer& source)
{
    if (!source.IsValid() || source.GetPixelFormat() != B8G8R8A8 || source.imf.bUpsideDown)
    {
        bool ok = SetFromImageBuffer(source);
        source.Destroy();
        return ok;
    }
    buffer.Assign(source);
    Premultiply();
    return true;
}

void LGuiImage::TakeImageBufferKnownOpaque(LImageBuffer& source)
{
    if (!source.IsValid() || source.GetPixelFormat() != B8G8R8A8 || source.imf.bUpsideDown)
    {
        TakeImageBuffer(source);
        return;
    }
    buffer.Assign(source);
    bOpaque = true;
}

void LGuiImage::ReleaseInto(LImageBuffer& out)
{
    out.Assign(buffer);
    bOpaque = true;
}

void LGuiImage::Clear()
{
    buffer.Destroy();
    bOpaque = true;
}

void LGuiImage::Premultiply()
{
    const int w = buffer.GetWidth();
    std::atomic<bool> transparent{false};
    LProcessInterfaceVoid process;
    LImgProBandRunner runner(buffer.GetHeight(), 64);
    runner.Run(process,
               [&](const LImgProBand& band, LImgProBandRunner&)
               {
                   bool seen = false;
                   for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                   {
                       uint8_t* p = buffer.GetScanLine(y);
                       for (int x = 0; x < w; ++x, p += 4)
                       {
                           const unsigned a = p[3];
                           if (a == 255)
                               continue;
                           seen = true;
                           p[0] = uint8_t((p[0] * a + 127) / 255);
                           p[1] = uint8_t((p[1] * a + 127) / 255);
                           p[2] = uint8_t((p[2] * a + 127) / 255);
                       }
                   }
                   if (seen)
                       transparent = true;
                   return true;
               });
    bOpaque = !transparent;
}

bool LGuiImage::IsBufferOpaque(const LImageBuffer& source)
{
    if (source.GetPixelFormat() != B8G8R8A8)
        return false;
    for (int y = 0; y < source.GetHeight(); ++y)
    {
        const uint8_t* p = source.GetScanLine(y);
        for (int x = 0; x < source.GetWidth(); ++x)
            if (p[4 * x + 3] != 255)
                return false;
    }
    return true;
}
