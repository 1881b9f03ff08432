#pragma once
// GIF saving through the registry: one frame with a dithered median-cut palette of at most 256
// colours, a transparent entry when the image has pixels of alpha 0, and no loop.

#include "codecs/LGIFEncoder.h"
#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

template <class Base>
struct LProcessGIFSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
};

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessGIFSave<Base>& data)
{
    process.SetStatusF(0, "Encoding %s image", "GIF");
    if (!data.lpStream || !data.lpImage || !data.lpImage->IsValid() || !data.lpStream->IsOpen())
        return LProcessResultFailed;
    LGIFEncoder<Base> encoder(*data.lpStream, data.lpImage->GetWidth(), data.lpImage->GetHeight(), -1);
    const LProcessResult r = encoder.AddFrame(process, *data.lpImage, 0, 0, 100, false, 256);
    if (r != LProcessResultSuccess)
        return r;
    return encoder.Finalise() ? LProcessResultSuccess : LProcessResultFailed;
}
