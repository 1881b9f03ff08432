// The buffer painter over QPainter: the buffer's own memory is the picture painted on, so a
// flush leaves the strokes in the buffer with no copy.

#include <QImage>
#include <QPainter>

#include "canvas/LImageBufferPainter.h"
#include "image/LImageBuffer.h"
#include "ui/LPaintContextQt.h"

namespace
{
struct Surface
{
    QImage image;
    QPainter painter;
};
} // namespace

LImageBufferPainter::LImageBufferPainter(LImageBuffer& buffer) : rBuffer(buffer)
{
    Reload();
}

LImageBufferPainter::~LImageBufferPainter()
{
    Flush();
}

void LImageBufferPainter::Flush()
{
    delete lpContext;
    lpContext = nullptr;
    if (auto* s = static_cast<Surface*>(lpSurface))
    {
        s->painter.end();
        delete s;
    }
    lpSurface = nullptr;
}

void LImageBufferPainter::Reload()
{
    Flush();
    if (!rBuffer.IsValid() || rBuffer.GetPixelFormat() != B8G8R8A8)
        return;
    auto* s = new Surface;
    // Straight alpha, as the buffer keeps it; rows in memory order.
    s->image = QImage(rBuffer.GetData(), rBuffer.GetWidth(), rBuffer.GetHeight(),
                      qsizetype(rBuffer.GetWidthBytes()), QImage::Format_ARGB32);
    if (!s->painter.begin(&s->image))
    {
        delete s;
        return;
    }
    if (rBuffer.imf.bUpsideDown)
    {
        // Drawn mirrored into bottom-up memory, the picture reads the right way up.
        s->painter.translate(0, rBuffer.GetHeight());
        s->painter.scale(1, -1);
    }
    lpSurface = s;
    lpContext = new LPaintContextQt(s->painter, QRect(0, 0, rBuffer.GetWidth(), rBuffer.GetHeight()));
}
