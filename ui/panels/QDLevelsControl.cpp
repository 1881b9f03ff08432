#include "ui/panels/QDLevelsControl.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <cstring>

namespace
{
constexpr int kMargin = 6; // room for half a marker at either end

double ValueToXIn(const QWidget& w, double v)
{
    return kMargin + v / 255.0 * (w.width() - 2 * kMargin - 1);
}
} // namespace

QDLevelsControl::QDLevelsControl(QWidget* parent) : QWidget(parent)
{
    setMinimumSize(160, 80);
    setAccessibleName("Histogram");
}

void QDLevelsControl::SetHistogram(const uint64_t* counts)
{
    bHistogram = counts != nullptr;
    if (counts)
        memcpy(arCounts, counts, sizeof arCounts);
    update();
}

void QDLevelsControl::SetLevels(const LColorLevelSettings& levels)
{
    oLevels = levels;
    update();
}

void QDLevelsControl::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.fillRect(rect(), palette().color(QPalette::Base));
    const double bottom = height() - 1;
    if (bHistogram)
    {
        // Square roots keep a few tall bins from flattening the rest.
        double top = 0;
        for (uint64_t c : arCounts)
            top = std::max(top, std::sqrt(double(c)));
        p.setPen(palette().color(QPalette::Text));
        for (int v = 0; v < 256 && top > 0; ++v)
        {
            const double x = ValueToXIn(*this, v);
            const double h = std::sqrt(double(arCounts[v])) / top * (height() - 4);
            p.drawLine(QPointF(x, bottom), QPointF(x, bottom - h));
        }
    }
    // The clipped ends are shaded; the mapping is drawn over the histogram.
    const QColor shade(128, 128, 128, 70);
    p.fillRect(QRectF(0, 0, ValueToXIn(*this, oLevels.byInputLow), height()), shade);
    const double hx = ValueToXIn(*this, oLevels.byInputHigh);
    p.fillRect(QRectF(hx, 0, width() - hx, height()), shade);
    uint8_t table[256];
    LImgProColorLevels::MapValues(table, oLevels);
    QPainterPath curve;
    for (int v = 0; v < 256; ++v)
    {
        const QPointF at(ValueToXIn(*this, v), bottom - table[v] / 255.0 * (height() - 2));
        if (v == 0)
            curve.moveTo(at);
        else
            curve.lineTo(at);
    }
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(palette().color(QPalette::Highlight), 1.5));
    p.drawPath(curve);
}

QDLevelsSliders::QDLevelsSliders(QWidget* parent) : QWidget(parent)
{
    setMinimumSize(160, 18);
    setAccessibleName("Input levels");
}

double QDLevelsSliders::MidtoneToShare(float midtone)
{
    // The share f where f^g is one half, g being the levels' gamma.
    const double g = std::pow(double(2.2f), (double(midtone) - 0.5) * 6);
    return std::pow(0.5, 1.0 / g);
}

float QDLevelsSliders::ShareToMidtone(double share)
{
    share = std::clamp(share, 1e-3, 1 - 1e-3);
    const double g = std::log(0.5) / std::log(share);
    return float(std::clamp(0.5 + std::log(g) / (6 * std::log(double(2.2f))), 0.0, 1.0));
}

void QDLevelsSliders::SetLevels(const LColorLevelSettings& levels)
{
    if (IsDragging())
        return;
    oLevels = levels;
    update();
}

double QDLevelsSliders::ValueToX(double v) const
{
    return ValueToXIn(*this, v);
}

double QDLevelsSliders::XToValue(double x) const
{
    return (x - kMargin) / std::max(1, width() - 2 * kMargin - 1) * 255.0;
}

QPointF QDLevelsSliders::GetMarkerPosition(Marker marker) const
{
    double v = oLevels.byInputLow;
    if (marker == High)
        v = oLevels.byInputHigh;
    else if (marker == Mid)
        v = oLevels.byInputLow +
            (oLevels.byInputHigh - oLevels.byInputLow) * MidtoneToShare(oLevels.fMidtone);
    return QPointF(ValueToX(v), 1);
}

void QDLevelsSliders::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QColor fills[3] = {Qt::black, QColor(128, 128, 128), Qt::white};
    for (int m = Low; m <= High; ++m)
    {
        const QPointF tip = GetMarkerPosition(Marker(m));
        QPainterPath triangle;
        triangle.moveTo(tip);
        triangle.lineTo(tip + QPointF(-kMargin, height() - 2));
        triangle.lineTo(tip + QPointF(kMargin, height() - 2));
        triangle.closeSubpath();
        p.setPen(QPen(palette().color(QPalette::WindowText), 1));
        p.setBrush(fills[m]);
        p.drawPath(triangle);
    }
}

void QDLevelsSliders::Track(double x, bool bRegisterUndo)
{
    const int v = int(std::lround(std::clamp(XToValue(x), 0.0, 255.0)));
    // The black point stays below the white point, so the mapping never turns into a step.
    if (eDrag == Low)
        oLevels.byInputLow = uint8_t(std::min(v, oLevels.byInputHigh - 2));
    else if (eDrag == High)
        oLevels.byInputHigh = uint8_t(std::max(v, oLevels.byInputLow + 2));
    else if (eDrag == Mid)
    {
        const double span = oLevels.byInputHigh - oLevels.byInputLow;
        oLevels.fMidtone = ShareToMidtone((XToValue(x) - oLevels.byInputLow) / std::max(1.0, span));
    }
    update();
    emit Changed(bRegisterUndo);
}

void QDLevelsSliders::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    // The nearest marker within reach; of markers on one spot, the one on the side pressed.
    const double x = event->position().x();
    double best = kMargin + 2;
    eDrag = None;
    for (int m = Low; m <= High; ++m)
    {
        const double at = GetMarkerPosition(Marker(m)).x();
        const double d = std::fabs(at - x);
        if (d < best || (d == best && x >= at))
        {
            best = d;
            eDrag = Marker(m);
        }
    }
    // The marker keeps its distance to the mouse, so a click without a move changes nothing.
    if (eDrag != None)
        dGrabOffset = GetMarkerPosition(eDrag).x() - x;
    dPressX = x;
    bMoved = false;
}

void QDLevelsSliders::mouseMoveEvent(QMouseEvent* event)
{
    if (!IsDragging() || (!bMoved && event->position().x() == dPressX))
        return;
    bMoved = true;
    Track(event->position().x() + dGrabOffset, false);
}

void QDLevelsSliders::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !IsDragging())
        return;
    if (bMoved || event->position().x() != dPressX)
        Track(event->position().x() + dGrabOffset, true);
    else
        emit Changed(true);
    eDrag = None;
}
