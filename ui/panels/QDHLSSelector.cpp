#include "ui/panels/QDHLSSelector.h"

#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <algorithm>

#include "image/LImgProColour.h"

namespace
{
constexpr int kBarWidth = 18;
constexpr int kGap = 8;

// The colour the tint will be, through the program's own conversion.
QColor FromHLS(double h, double l, double s)
{
    LColourRGB rgb;
    rgb = LColourHLS(h, s, l);
    return QColor(rgb.r, rgb.g, rgb.b);
}
} // namespace

QDHLSSelector::QDHLSSelector(QWidget* parent) : QWidget(parent)
{
    setMinimumSize(120, 80);
    setAccessibleName("Tint color");
}

QRect QDHLSSelector::GetFieldRect() const
{
    return QRect(1, 1, std::max(1, width() - kBarWidth - kGap - 2), std::max(1, height() - 2));
}

QRect QDHLSSelector::GetLightnessRect() const
{
    const QRect f = GetFieldRect();
    return QRect(f.right() + kGap, f.top(), kBarWidth, f.height());
}

void QDHLSSelector::SetHLS(double hue, double lightness, double saturation)
{
    if (IsDragging())
        return;
    dHue = std::clamp(hue, 0.0, 1.0);
    dLightness = std::clamp(lightness, 0.0, 1.0);
    dSaturation = std::clamp(saturation, 0.0, 1.0);
    update();
}

void QDHLSSelector::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    const QRect f = GetFieldRect(), bar = GetLightnessRect();
    QImage field(f.size(), QImage::Format_RGB32);
    for (int y = 0; y < field.height(); ++y)
        for (int x = 0; x < field.width(); ++x)
        {
            const double h = field.width() > 1 ? double(x) / (field.width() - 1) : 0;
            const double s = field.height() > 1 ? 1.0 - double(y) / (field.height() - 1) : 1;
            field.setPixelColor(x, y, FromHLS(h, dLightness, s));
        }
    p.drawImage(f.topLeft(), field);
    for (int y = 0; y < bar.height(); ++y)
    {
        const double l = bar.height() > 1 ? 1.0 - double(y) / (bar.height() - 1) : 0.5;
        p.setPen(FromHLS(dHue, l, dSaturation));
        p.drawLine(bar.left(), bar.top() + y, bar.right(), bar.top() + y);
    }
    p.setRenderHint(QPainter::Antialiasing);
    p.setBrush(Qt::NoBrush);
    const QPointF mark(f.left() + dHue * (f.width() - 1), f.top() + (1 - dSaturation) * (f.height() - 1));
    p.setPen(QPen(Qt::black, 2));
    p.drawEllipse(mark, 5, 5);
    p.setPen(QPen(Qt::white, 1));
    p.drawEllipse(mark, 5, 5);
    const double ly = bar.top() + (1 - dLightness) * (bar.height() - 1);
    p.setPen(QPen(Qt::black, 2));
    p.drawRect(QRectF(bar.left() - 2, ly - 3, bar.width() + 4, 6));
}

void QDHLSSelector::Track(QPointF at, bool bRegisterUndo)
{
    if (eDrag == DragField)
    {
        const QRect f = GetFieldRect();
        dHue = std::clamp((at.x() - f.left()) / std::max(1, f.width() - 1), 0.0, 1.0);
        dSaturation = std::clamp(1 - (at.y() - f.top()) / std::max(1, f.height() - 1), 0.0, 1.0);
    }
    else if (eDrag == DragLightness)
    {
        const QRect bar = GetLightnessRect();
        dLightness = std::clamp(1 - (at.y() - bar.top()) / std::max(1, bar.height() - 1), 0.0, 1.0);
    }
    update();
    emit Changed(bRegisterUndo);
}

void QDHLSSelector::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    const QPoint at = event->position().toPoint();
    if (GetFieldRect().contains(at))
        eDrag = DragField;
    else if (GetLightnessRect().adjusted(-3, 0, 3, 0).contains(at))
        eDrag = DragLightness;
    else
        return;
    Track(event->position(), false);
}

void QDHLSSelector::mouseMoveEvent(QMouseEvent* event)
{
    if (IsDragging())
        Track(event->position(), false);
}

void QDHLSSelector::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !IsDragging())
        return;
    Track(event->position(), true);
    eDrag = DragNone;
}
