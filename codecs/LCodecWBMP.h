#pragma once
// WBMP reader and writer, as processes over the stream classes. Failure is result 2 with no message
// of its own; the registry words it. Defined for LInputStreamFile and LInputStreamBuffer on reading,
// LOutputStreamFile and LOutputStreamByteArray on writing.
//
// The reader reports a depth of 2 for these one-bit files: callers only show the number. The
// writer never thresholds plainly: it mixes an ordered pattern with noise from rand(), so its
// output varies between runs as the random sequence does.

#include <cstdint>

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

// Multi-byte integers: 7 bits a byte, high group first, bit 7 set on all but the last byte.
// Encodes up to 28 bits into out and returns the byte count, 0 for a larger value.
int LWBMPEncodeMultiByte(uint32_t value, uint8_t* out);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessWBMPLoad<Base>& data);

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessWBMPSave<Base>& data);
