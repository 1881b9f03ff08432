#include "ui/panels/QDHueRotator.h"

#include <QConicalGradient>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <cmath>

namespace
{
// Hue h (turns) at the angle clockwise from the top, as a conical gradient of Qt sees it.
QConicalGradient HueRing(QPointF centre, double offset)
{
    // Qt's conical gradient runs counter-clockwise from three o'clock.
    QConicalGradient g(centre, 90);
    for (int i = 0; i <= 12; ++i)
    {
        const double t = i / 12.0;
        double h = std::fmod(-t + offset + 2.0, 1.0);
        g.setColorAt(t, QColor::fromHsvF(float(h), 1.0f, 1.0f));
    }
    return g;
}

double Wrap(double turns)
{
    return turns - std::floor(turns + 0.5);
}
} // namespace

QDHueRotator::QDHueRotator(QWidget* parent) : QWidget(parent)
{
    setMinimumSize(120, 120);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName("Hue rotation");
}

void QDHueRotator::SetRotation(double turns)
{
    if (bDragging)
        return;
    dRotation = Wrap(turns);
    update();
}

QPointF QDHueRotator::GetHandlePosition() const
{
    const QPointF c = QRectF(rect()).center();
    const double r = std::min(width(), height()) * 0.5 - 10;
    const double a = dRotation * 2 * M_PI;
    return c + QPointF(std::sin(a) * r, -std::cos(a) * r);
}

double QDHueRotator::TurnsAt(QPointF at) const
{
    const QPointF d = at - QRectF(rect()).center();
    if (d.x() == 0 && d.y() == 0)
        return dRotation;
    return std::atan2(d.x(), -d.y()) / (2 * M_PI);
}

void QDHueRotator::Move(double turns, bool bRegisterUndo)
{
    dRotation = Wrap(turns);
    update();
    emit Changed(dRotation, bRegisterUndo);
}

void QDHueRotator::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QPointF c = QRectF(rect()).center();
    const double outer = std::min(width(), height()) * 0.5 - 4;
    const double ring = outer * 0.22;
    auto drawRing = [&](double radius, double offset)
    {
        QPainterPath path;
        path.addEllipse(c, radius, radius);
        path.addEllipse(c, radius - ring, radius - ring);
        p.fillPath(path, HueRing(c, offset));
    };
    // Outside the hues of the picture, inside what each becomes at the same angle.
    drawRing(outer, 0);
    drawRing(outer - ring - 3, dRotation);
    const QPointF h = GetHandlePosition();
    p.setPen(QPen(palette().color(QPalette::WindowText), 2));
    p.drawLine(c, h);
    p.setBrush(Qt::white);
    p.drawEllipse(h, 6, 6);
    if (hasFocus())
    {
        p.setBrush(Qt::NoBrush);
        p.setPen(QPen(palette().color(QPalette::Highlight), 1, Qt::DotLine));
        p.drawRect(rect().adjusted(0, 0, -1, -1));
    }
}

void QDHueRotator::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    bDragging = true;
    Move(TurnsAt(event->position()), false);
}

void QDHueRotator::mouseMoveEvent(QMouseEvent* event)
{
    if (bDragging)
        Move(TurnsAt(event->position()), false);
}

void QDHueRotator::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !bDragging)
        return;
    bDragging = false;
    Move(TurnsAt(event->position()), true);
}

void QDHueRotator::keyPressEvent(QKeyEvent* event)
{
    const double step = 1.0 / 360;
    if (event->key() == Qt::Key_Right || event->key() == Qt::Key_Up)
        Move(dRotation + step, true);
    else if (event->key() == Qt::Key_Left || event->key() == Qt::Key_Down)
        Move(dRotation - step, true);
    else
        QWidget::keyPressEvent(event);
}
