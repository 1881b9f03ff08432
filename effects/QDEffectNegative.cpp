#include "effects/QDEffectNegative.h"

#include "effects/QDEffectCatalogue.h"
#include "effects/QDMultiThreadedEffect.h"
#include "image/LImgProChannelMap.h"

namespace
{
constexpr int kCommandId = 6019;
}

const char* QDEffectNegative::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(kCommandId);
}

const char* QDEffectNegative::GetName() const
{
    return QDEffectElementName(kCommandId);
}

LProcessResult QDEffectNegative::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    const pixelformat_t pf = buffer.GetPixelFormat();
    if (!buffer.IsValid())
        return QDMultiThreadedEffect::FinishRender(process, buffer);
    LProcessResult r;
    if (pf == B8G8R8A8 || pf == B8G8R8)
    {
        // The complement is an exclusive or of the colour bytes, which runs at the speed of memory.
        const size_t words = pf == B8G8R8A8 ? size_t(buffer.GetWidth()) : 0;
        const size_t bytes = size_t(buffer.GetWidth()) * 3;
        r = LImgProForEachRow(process, buffer.GetHeight(),
                              [&](int y)
                              {
                                  uint8_t* row = buffer.GetScanLine(y);
                                  if (words)
                                  {
                                      uint32_t* q = reinterpret_cast<uint32_t*>(row);
                                      for (size_t x = 0; x < words; ++x)
                                          q[x] ^= 0x00FFFFFFu;
                                  }
                                  else
                                      for (size_t x = 0; x < bytes; ++x)
                                          row[x] ^= 0xFF;
                              });
    }
    else
    {
        LImgProChannelMap map;
        for (int v = 0; v < 256; ++v)
            map.arRed[v] = map.arGreen[v] = map.arBlue[v] = uint8_t(255 - v);
        map.Update();
        r = LImgProMapChannels(process, buffer, map);
    }
    if (r == LProcessResultCancelled)
        return r;
    return QDMultiThreadedEffect::FinishRender(process, buffer);
}
