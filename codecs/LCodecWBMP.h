#pragma once
// WBMP reader and writer, as processes over the stream classes. Failure is result 2 with no message
// of its own; the registry words it.

#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

template <class Base>
struct LProcessWBMPLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0; // of the file, set on success
};

template <class Base>
struct LProcessWBMPSave
{
    LOutputStream<Base>* lpStream = nullptr;
    const LImageBuffer* lpImage = nullptr;
};

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessWBMPLoad<Base>& data)
{
    (void)process, (void)data;
    return LProcessResultFailed; // FIXME: not written yet
}

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessWBMPSave<Base>& data)
{
    (void)process, (void)data;
    return LProcessResultFailed; // FIXME: not written yet
}
