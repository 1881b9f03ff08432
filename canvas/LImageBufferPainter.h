#pragma once
// A paint surface that draws straight into a B8G8R8A8 LImageBuffer, for tools that paint strokes
// and for tests. Flush before reading or writing the buffer's pixels directly, and Reload after,
// so that the surface and the buffer never disagree.

#include "canvas/LPaintContext.h"

class LImageBufferPainter
{
public:
    // The buffer must outlive the painter. An invalid or other-format buffer gives no context.
    explicit LImageBufferPainter(LImageBuffer& buffer);
    LImageBufferPainter(const LImageBufferPainter&) = delete;
    LImageBufferPainter& operator=(const LImageBufferPainter&) = delete;
    ~LImageBufferPainter();

    // Null when the buffer can't be painted on, or between Flush and Reload.
    LPaintContext* GetContext() const { return lpContext; }
    void Flush();
    void Reload();

private:
    LImageBuffer& rBuffer;
    LPaintContext* lpContext = nullptr;
    void* lpSurface = nullptr; // the platform's picture over the buffer's memory
};
