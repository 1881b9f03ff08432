#include "ui/panels/QDGradientSliders.h"

#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace
{
constexpr double kSide = 7; // half a marker's width, and the bar's inset
constexpr double kMarkerHeight = 12;
} // namespace

QDGradientSliders::QDGradientSliders(QWidget* parent) : QWidget(parent)
{
    setMinimumSize(160, 36);
    setAccessibleName("Gradient");
}

void QDGradientSliders::SetMarkers(const QDEffectGradientProperties& markers)
{
    if (bDragging)
        return;
    oMarkers = markers;
    iSelected = std::clamp(iSelected, 0, std::max(0, oMarkers.nMarkers - 1));
    update();
}

void QDGradientSliders::SetSelected(int index)
{
    if (index < 0 || index >= oMarkers.nMarkers || index == iSelected)
        return;
    iSelected = index;
    update();
    emit SelectionChanged(iSelected);
}

QRectF QDGradientSliders::GetBarRect() const
{
    return QRectF(kSide, 1, std::max(1.0, width() - 2 * kSide), std::max(1.0, height() - kMarkerHeight - 2));
}

QPointF QDGradientSliders::GetMarkerPosition(int index) const
{
    const QRectF bar = GetBarRect();
    const float position = index >= 0 && index < oMarkers.nMarkers ? oMarkers.arMarkers[index].fPosition : 0;
    return QPointF(bar.left() + position * bar.width(), bar.bottom());
}

float QDGradientSliders::PositionAt(double x) const
{
    const QRectF bar = GetBarRect();
    return float(std::clamp((x - bar.left()) / bar.width(), 0.0, 1.0));
}

int QDGradientSliders::FindMarker(QPointF at) const
{
    if (at.y() < GetBarRect().bottom() - 2)
        return -1;
    // The selected marker first: it is drawn on top.
    int best = -1;
    double bestDistance = kSide + 1;
    for (int i = 0; i < oMarkers.nMarkers; ++i)
    {
        const double d = std::fabs(GetMarkerPosition(i).x() - at.x());
        if (d < bestDistance || (d == bestDistance && i == iSelected))
        {
            bestDistance = d;
            best = i;
        }
    }
    return best;
}

void QDGradientSliders::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    const QRectF bar = GetBarRect();
    LList<LGradientMarker> list;
    oMarkers.ToList(list);
    const LImgProGradientMap map(list);
    // The effect's own table, stretched over the bar.
    QImage strip(256, 1, QImage::Format_RGB32);
    for (int i = 0; i < 256; ++i)
        strip.setPixel(i, 0, qRgb(map.arColors[i].r, map.arColors[i].g, map.arColors[i].b));
    p.drawImage(bar, strip);
    p.setPen(palette().color(QPalette::Mid));
    p.drawRect(bar);
    p.setRenderHint(QPainter::Antialiasing);
    auto draw = [&](int i)
    {
        const QPointF tip = GetMarkerPosition(i);
        QPainterPath triangle;
        triangle.moveTo(tip);
        triangle.lineTo(tip + QPointF(-kSide, kMarkerHeight));
        triangle.lineTo(tip + QPointF(kSide, kMarkerHeight));
        triangle.closeSubpath();
        const LPixelColour c = LPixelColour::FromUInt32(oMarkers.arMarkers[i].iColour);
        p.setBrush(QColor(c.r, c.g, c.b));
        p.setPen(QPen(i == iSelected ? palette().color(QPalette::Highlight)
                                     : palette().color(QPalette::WindowText),
                      i == iSelected ? 2 : 1));
        p.drawPath(triangle);
    };
    for (int i = 0; i < oMarkers.nMarkers; ++i)
        if (i != iSelected)
            draw(i);
    if (iSelected < oMarkers.nMarkers)
        draw(iSelected);
}

void QDGradientSliders::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    ptPress = event->position();
    bMoved = false;
    int i = FindMarker(ptPress);
    if (i < 0)
    {
        if (!GetBarRect().contains(ptPress))
            return;
        // A new stop of the colour the gradient has there, so the picture doesn't change yet.
        LList<LGradientMarker> list;
        oMarkers.ToList(list);
        const LImgProGradientMap map(list);
        const float position = PositionAt(ptPress.x());
        if (!oMarkers.AddMarker(map.arColors[std::min(255, int(position * 256))], position))
            return;
        i = oMarkers.nMarkers - 1;
        bMoved = true;
        emit Changed(false);
    }
    bDragging = true;
    dGrabOffset = GetMarkerPosition(i).x() - ptPress.x();
    if (i != iSelected)
    {
        iSelected = i;
        emit SelectionChanged(iSelected);
    }
    update();
}

void QDGradientSliders::mouseMoveEvent(QMouseEvent* event)
{
    if (!bDragging || (!bMoved && event->position().x() == ptPress.x()))
        return;
    bMoved = true;
    oMarkers.arMarkers[iSelected].fPosition = PositionAt(event->position().x() + dGrabOffset);
    update();
    emit Changed(false);
}

void QDGradientSliders::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !bDragging)
        return;
    if (bMoved)
        oMarkers.arMarkers[iSelected].fPosition = PositionAt(event->position().x() + dGrabOffset);
    bDragging = false;
    update();
    emit Changed(true);
}
