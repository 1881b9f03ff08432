#pragma once
// The GIF writer is this system's own encoder over the colour quantiser; until it exists a save
// to GIF fails cleanly.

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
    (void)process, (void)data;
    return LProcessResultFailed; // FIXME: the encoder comes with the quantiser
}
