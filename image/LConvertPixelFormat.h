#pragma once
// The pixel format conversion table and its named entries. Every entry takes an allocated
// destination of the source's size; a pair it doesn't handle leaves the destination unchanged.

#include "image/LImageBuffer.h"

using LPFConvertFunction = void (*)(LImageBuffer& destination, const LImageBuffer& source);

// Indexed by source format × 11 + destination format; null where no direct conversion exists
// (LConvertPixelFormat then goes through B8G8R8A8).
extern const LPFConvertFunction LPFConvertFunc[PixelFormatCount * PixelFormatCount];

// B8G8R8 to B8G8R8A8 with alpha 255, four pixels at a time.
void LConvertPixelFormatRGBtoRGBA(LImageBuffer& destination, const LImageBuffer& source);

// YUV to one of formats 0 to 4. The full-range form reads YUVJ420P; the video-range (CCIR) form
// reads YUV420P and YUYV422. YUYV422 holds video range like YUV420P, which it converts to and
// from without rescaling.
void LConvertYUVBase(LImageBuffer& destination, const LImageBuffer& source);
void LConvertYUVBaseCCIR(LImageBuffer& destination, const LImageBuffer& source);

// B8G8R8A8 to YUV: video range into YUV420P or YUYV422, full range into YUVJ420P. Chroma is
// taken from the mean colour of the pixels that share it.
void LConvertRGBToYUV420PBase(LImageBuffer& destination, const LImageBuffer& source);
void LConvertRGBToYUVJ420PBase(LImageBuffer& destination, const LImageBuffer& source);

// Rescaling between full and video range; chroma layout unchanged.
void LConvertYUVJ420PToYUV420P(LImageBuffer& destination, const LImageBuffer& source);
void LConvertYUV420PToYUVJ420P(LImageBuffer& destination, const LImageBuffer& source);

// Between the packed and the planar video-range layouts: vertical chroma pairs are averaged one
// way and repeated the other.
void LConvertYUYV422ToYUV420P(LImageBuffer& destination, const LImageBuffer& source);
void LConvertYUV420PToYUYV422(LImageBuffer& destination, const LImageBuffer& source);
