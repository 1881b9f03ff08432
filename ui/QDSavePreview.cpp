#include "ui/QDSavePreview.h"

#include <QMouseEvent>
#include <QPainter>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "image/LImageBuffer.h"
#include "image/LImgProScale.h"

QImage QDImageFromBuffer(const LImageBuffer& buffer)
{
    if (!buffer.IsValid())
        return QImage();
    const int w = buffer.GetWidth(), h = buffer.GetHeight();
    if (buffer.GetPixelFormat() == B8G8R8A8 && !buffer.GetFormat().bUpsideDown)
        return QImage(buffer.GetData(), w, h, qsizetype(buffer.GetWidthBytes()), QImage::Format_ARGB32);
    LImageBuffer converted;
    const LImageBuffer* rows = &buffer;
    if (buffer.GetPixelFormat() != B8G8R8A8)
    {
        if (!converted.AllocateNewBuffer(LImageFormat(B8G8R8A8, w, h)))
            return QImage();
        LConvertPixelFormat(converted, buffer);
        rows = &converted;
    }
    QImage out(w, h, QImage::Format_ARGB32);
    if (out.isNull())
        return out;
    for (int y = 0; y < h; ++y)
        memcpy(out.scanLine(y), rows->GetRow(y), size_t(w) * 4);
    return out;
}

QImage QDFitImage(const LImageBuffer& buffer, const QSize& size)
{
    if (!buffer.IsValid() || size.isEmpty())
        return QImage();
    if (size.width() == buffer.GetWidth() && size.height() == buffer.GetHeight())
        return QDImageFromBuffer(buffer).convertToFormat(QImage::Format_ARGB32_Premultiplied);
    LImageBuffer source, fitted;
    const LImageBuffer* from = &buffer;
    if (buffer.GetPixelFormat() != B8G8R8A8)
    {
        if (!source.AllocateNewBuffer(LImageFormat(B8G8R8A8, buffer.GetWidth(), buffer.GetHeight())))
            return QImage();
        LConvertPixelFormat(source, buffer);
        from = &source;
    }
    if (!fitted.AllocateNewBuffer(LImageFormat(B8G8R8A8, size.width(), size.height())))
        return QImage();
    LProcessInterfaceVoid process;
    if (LImgProScaleLinear(process, fitted, *from) != LProcessResultSuccess)
        return QImage();
    return QDImageFromBuffer(fitted).convertToFormat(QImage::Format_ARGB32_Premultiplied);
}

QDSavePreview::QDSavePreview(QDSavePreviewView& view, QWidget* parent) : QWidget(parent), rView(view)
{
    setMouseTracking(true);
    setMinimumSize(200, 150);
    setAttribute(Qt::WA_OpaquePaintEvent);
    oLoupeTimer.setSingleShot(true);
    connect(&oLoupeTimer, &QTimer::timeout, this,
            [this]
            {
                rView.bLoupe = false;
                rView.Changed();
            });
    connect(&rView, &QDSavePreviewView::changed, this, qOverload<>(&QWidget::update));
}

void QDSavePreview::UpdateImage(std::shared_ptr<const LImageBuffer> full, QImage fitted)
{
    lpFull = std::move(full);
    imgFull = lpFull ? QDImageFromBuffer(*lpFull) : QImage();
    imgFitted = std::move(fitted);
    update();
}

void QDSavePreview::SetCaption(const QString& caption)
{
    szCaption = caption;
    update();
}

double QDSavePreview::GetFitScale() const
{
    if (!lpFull || !lpFull->IsValid())
        return 1.0;
    const double iw = lpFull->GetWidth(), ih = lpFull->GetHeight();
    if (iw <= width() && ih <= height())
        return 1.0;
    return std::min(width() / iw, height() / ih);
}

double QDSavePreview::GetScale() const
{
    return rView.dZoom > 0 ? rView.dZoom : GetFitScale();
}

QSize QDSavePreview::GetFitSize() const
{
    if (!lpFull || !lpFull->IsValid())
        return QSize();
    const double s = GetFitScale() * devicePixelRatioF();
    return QSize(std::max(1, int(std::lround(lpFull->GetWidth() * s))),
                 std::max(1, int(std::lround(lpFull->GetHeight() * s))));
}

QPointF QDSavePreview::ImageToWidget(const QPointF& p) const
{
    const double s = GetScale();
    if (rView.dZoom > 0 || !lpFull)
        return QPointF(width() / 2.0, height() / 2.0) + (p - rView.ptCentre) * s;
    const QPointF offset((width() - lpFull->GetWidth() * s) / 2.0,
                         (height() - lpFull->GetHeight() * s) / 2.0);
    return offset + p * s;
}

QPointF QDSavePreview::WidgetToImage(const QPointF& p) const
{
    const double s = GetScale();
    if (rView.dZoom > 0 || !lpFull)
        return rView.ptCentre + (p - QPointF(width() / 2.0, height() / 2.0)) / s;
    const QPointF offset((width() - lpFull->GetWidth() * s) / 2.0,
                         (height() - lpFull->GetHeight() * s) / 2.0);
    return (p - offset) / s;
}

void QDSavePreview::ClampCentre()
{
    if (!lpFull)
        return;
    const double s = GetScale();
    auto clamp = [](double c, double half, double extent)
    { return extent <= 2 * half ? extent / 2 : std::clamp(c, half, extent - half); };
    rView.ptCentre = QPointF(clamp(rView.ptCentre.x(), width() / 2.0 / s, lpFull->GetWidth()),
                             clamp(rView.ptCentre.y(), height() / 2.0 / s, lpFull->GetHeight()));
}

const QImage& QDSavePreview::Fitted()
{
    const QSize want = GetFitSize();
    if (imgFitted.size() != want && lpFull)
        imgFitted = QDFitImage(*lpFull, want);
    return imgFitted;
}

QImage QDSavePreview::GetLoupeImage() const
{
    QImage box(kLoupeSize, kLoupeSize, QImage::Format_ARGB32_Premultiplied);
    box.fill(QColor(128, 128, 128));
    if (imgFull.isNull())
        return box;
    const int iw = imgFull.width(), ih = imgFull.height(), half = kLoupeSize / 2;
    auto centre = [&](double v, int extent)
    { return extent <= kLoupeSize ? extent / 2 : std::clamp(int(std::floor(v)), half, extent - half); };
    const int cx = centre(rView.ptLoupe.x(), iw), cy = centre(rView.ptLoupe.y(), ih);
    const QRect source = QRect(cx - half, cy - half, kLoupeSize, kLoupeSize).intersected(imgFull.rect());
    QPainter p(&box);
    p.drawImage(source.topLeft() - QPoint(cx - half, cy - half), imgFull, source);
    return box;
}

void QDSavePreview::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.fillRect(rect(), QColor(128, 128, 128));
    if (lpFull && !imgFull.isNull())
    {
        if (rView.dZoom <= 0)
        {
            const QImage& fitted = Fitted();
            const double s = GetScale();
            const QRectF target(ImageToWidget(QPointF(0, 0)),
                                QSizeF(lpFull->GetWidth() * s, lpFull->GetHeight() * s));
            p.setRenderHint(QPainter::SmoothPixmapTransform);
            p.drawImage(target, fitted);
        }
        else
        {
            // Only the part in view is converted and drawn.
            const QRectF visible =
                QRectF(WidgetToImage(QPointF(0, 0)), WidgetToImage(QPointF(width(), height())));
            const QRect source = visible.toAlignedRect().adjusted(-1, -1, 1, 1).intersected(imgFull.rect());
            if (!source.isEmpty())
            {
                const QImage piece =
                    imgFull.copy(source).convertToFormat(QImage::Format_ARGB32_Premultiplied);
                p.setRenderHint(QPainter::SmoothPixmapTransform, GetScale() < 1.0);
                p.drawImage(QRectF(ImageToWidget(source.topLeft()),
                                   ImageToWidget(QPointF(source.right() + 1, source.bottom() + 1))),
                            piece);
            }
        }
    }
    if (!szCaption.isEmpty())
    {
        QFont font = p.font();
        font.setPointSize(15);
        p.setFont(font);
        const QRect area(10, 10, width() - 20, height() - 20);
        p.setPen(QColor(0, 0, 0, 160));
        p.drawText(area.translated(1, 1), Qt::AlignLeft | Qt::AlignTop, szCaption);
        p.setPen(Qt::white);
        p.drawText(area, Qt::AlignLeft | Qt::AlignTop, szCaption);
    }
    if (rView.bLoupe && lpFull)
    {
        const QPointF at = ImageToWidget(rView.ptLoupe);
        const QRectF box(at.x() - kLoupeSize / 2.0, at.y() - kLoupeSize / 2.0, kLoupeSize, kLoupeSize);
        p.drawImage(box, GetLoupeImage());
        p.setPen(QPen(Qt::white, 1));
        p.drawRect(box);
    }
}

void QDSavePreview::wheelEvent(QWheelEvent* event)
{
    if (!lpFull)
        return;
    const QPointF at = event->position();
    const QPointF image = WidgetToImage(at);
    const double fit = GetFitScale();
    const double factor = std::pow(1.25, event->angleDelta().y() / 120.0);
    const double scale = std::clamp(GetScale() * factor, fit, kMaxZoom);
    if (scale <= fit * 1.0001)
        rView.dZoom = 0;
    else
    {
        rView.dZoom = scale;
        // The point under the mouse stays there.
        rView.ptCentre = image - (at - QPointF(width() / 2.0, height() / 2.0)) / scale;
        ClampCentre();
    }
    rView.Changed();
    event->accept();
}

void QDSavePreview::mousePressEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && rView.dZoom > 0)
    {
        bPanning = true;
        ptPanStart = event->position();
        setCursor(Qt::ClosedHandCursor);
    }
}

void QDSavePreview::mouseMoveEvent(QMouseEvent* event)
{
    if (!lpFull)
        return;
    if (bPanning)
    {
        rView.ptCentre -= (event->position() - ptPanStart) / GetScale();
        ptPanStart = event->position();
        ClampCentre();
        rView.Changed();
        return;
    }
    const QPointF image = WidgetToImage(event->position());
    rView.bLoupe =
        image.x() >= 0 && image.y() >= 0 && image.x() < lpFull->GetWidth() && image.y() < lpFull->GetHeight();
    rView.ptLoupe = image;
    if (rView.bLoupe)
        oLoupeTimer.start(kLoupeMs);
    rView.Changed();
}

void QDSavePreview::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && bPanning)
    {
        bPanning = false;
        unsetCursor();
    }
}

void QDSavePreview::mouseDoubleClickEvent(QMouseEvent*)
{
    rView.dZoom = 0;
    rView.Changed();
}

void QDSavePreview::leaveEvent(QEvent*)
{
    oLoupeTimer.stop();
    rView.bLoupe = false;
    rView.Changed();
}
