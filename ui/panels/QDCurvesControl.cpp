#include "ui/panels/QDCurvesControl.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>
#include <cstring>

namespace
{
constexpr double kMargin = 5;
constexpr double kGrab = 7;     // how near a press must be to take a point
constexpr double kOutside = 24; // how far out of the square a drag takes an inner point away
} // namespace

QDCurvesControl::QDCurvesControl(QWidget* parent) : QWidget(parent)
{
    setMinimumSize(160, 160);
    setAccessibleName("Curve");
}

QRectF QDCurvesControl::PlotRect() const
{
    const double side = std::max(1.0, std::min(width(), height()) - 2 * kMargin);
    return QRectF(kMargin, kMargin, side, side);
}

QPointF QDCurvesControl::ValueToPoint(double x, double y) const
{
    const QRectF r = PlotRect();
    return QPointF(r.left() + x / 255.0 * r.width(), r.bottom() - y / 255.0 * r.height());
}

QPointF QDCurvesControl::PointToValue(QPointF at) const
{
    const QRectF r = PlotRect();
    return QPointF((at.x() - r.left()) / r.width() * 255.0, (r.bottom() - at.y()) / r.height() * 255.0);
}

LCurveSettings QDCurvesControl::GetCurve() const
{
    LCurveSettings curve;
    curve.RemoveAllPoints();
    for (size_t i = 0; i < vPoints.size(); ++i)
        if (!(bDragOutside && int(i) == iDrag))
            curve.AddPoint(vPoints[i].first, vPoints[i].second);
    curve.UpdateCurveValues();
    return curve;
}

void QDCurvesControl::SetCurve(const LCurveSettings& curve)
{
    if (IsDragging())
        return;
    vPoints.clear();
    for (const LCurvePoint* p = curve.listPoints.GetFirst(); p; p = p->GetNextItem())
        vPoints.push_back({p->iX, p->iY});
    update();
}

void QDCurvesControl::SetHistogram(const uint64_t* counts)
{
    bHistogram = counts != nullptr;
    if (counts)
        memcpy(arCounts, counts, sizeof arCounts);
    update();
}

void QDCurvesControl::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    const QRectF r = PlotRect();
    p.fillRect(r, palette().color(QPalette::Base));
    if (bHistogram)
    {
        double top = 0;
        for (uint64_t c : arCounts)
            top = std::max(top, std::sqrt(double(c)));
        p.setPen(palette().color(QPalette::Midlight));
        for (int v = 0; v < 256 && top > 0; ++v)
        {
            const QPointF base = ValueToPoint(v, 0);
            p.drawLine(base, base - QPointF(0, std::sqrt(double(arCounts[v])) / top * r.height()));
        }
    }
    p.setPen(QPen(palette().color(QPalette::Mid), 1, Qt::DotLine));
    for (int q = 1; q < 4; ++q)
    {
        p.drawLine(ValueToPoint(q * 63.75, 0), ValueToPoint(q * 63.75, 255));
        p.drawLine(ValueToPoint(0, q * 63.75), ValueToPoint(255, q * 63.75));
    }
    p.drawLine(ValueToPoint(0, 0), ValueToPoint(255, 255));
    // The table itself, so what shows is what the effect does.
    const LCurveSettings curve = GetCurve();
    QPainterPath path;
    for (int v = 0; v < 256; ++v)
    {
        const QPointF at = ValueToPoint(v, curve.arValues[v]);
        if (v == 0)
            path.moveTo(at);
        else
            path.lineTo(at);
    }
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(palette().color(QPalette::Text), 1.5));
    p.setBrush(Qt::NoBrush);
    p.drawPath(path);
    for (size_t i = 0; i < vPoints.size(); ++i)
    {
        if (bDragOutside && int(i) == iDrag)
            continue;
        const QPointF at = ValueToPoint(vPoints[i].first, vPoints[i].second);
        p.setBrush(int(i) == iDrag ? palette().color(QPalette::Highlight) : palette().color(QPalette::Base));
        p.drawRect(QRectF(at - QPointF(3.5, 3.5), QSizeF(7, 7)));
    }
    p.setBrush(Qt::NoBrush);
    p.setPen(palette().color(QPalette::Mid));
    p.drawRect(r);
}

int QDCurvesControl::FindPoint(QPointF at) const
{
    int best = -1;
    double bestDistance = kGrab;
    for (size_t i = 0; i < vPoints.size(); ++i)
    {
        const QPointF d = ValueToPoint(vPoints[i].first, vPoints[i].second) - at;
        const double distance = std::hypot(d.x(), d.y());
        if (distance <= bestDistance)
        {
            bestDistance = distance;
            best = int(i);
        }
    }
    return best;
}

void QDCurvesControl::Track(QPointF at)
{
    const size_t i = size_t(iDrag);
    const bool inner = i > 0 && i + 1 < vPoints.size();
    const QRectF outside = PlotRect().adjusted(-kOutside, -kOutside, kOutside, kOutside);
    bDragOutside = inner && !outside.contains(at);
    const QPointF v = PointToValue(at);
    // Between the neighbours, so the points keep their order and no two share an input.
    const int lo = i > 0 ? vPoints[i - 1].first + 1 : 0;
    const int hi = i + 1 < vPoints.size() ? vPoints[i + 1].first - 1 : 255;
    vPoints[i].first = std::clamp(int(std::lround(v.x())), lo, std::max(lo, hi));
    vPoints[i].second = std::clamp(int(std::lround(v.y())), 0, 255);
    update();
}

void QDCurvesControl::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    ptPress = event->position();
    bMoved = false;
    bDragOutside = false;
    iDrag = FindPoint(ptPress);
    if (iDrag >= 0 || !PlotRect().contains(ptPress))
        return;
    // A new point where the square was pressed, unless a point holds that input already.
    const QPointF v = PointToValue(ptPress);
    const int x = std::clamp(int(std::lround(v.x())), 0, 255);
    const int y = std::clamp(int(std::lround(v.y())), 0, 255);
    auto at = std::lower_bound(vPoints.begin(), vPoints.end(), std::pair<int, int>(x, -1));
    if (at != vPoints.end() && at->first == x)
        return;
    if (at == vPoints.begin() || at == vPoints.end())
        return;
    // The insert may move the points, so the index is taken from its result alone.
    const auto added = vPoints.insert(at, {x, y});
    iDrag = int(added - vPoints.begin());
    bMoved = true;
    update();
    emit Changed(false);
}

void QDCurvesControl::mouseMoveEvent(QMouseEvent* event)
{
    if (!IsDragging() || (!bMoved && event->position() == ptPress))
        return;
    bMoved = true;
    Track(event->position());
    emit Changed(false);
}

void QDCurvesControl::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !IsDragging())
        return;
    if (bMoved)
        Track(event->position());
    if (bDragOutside)
        vPoints.erase(vPoints.begin() + iDrag);
    bDragOutside = false;
    iDrag = -1;
    update();
    emit Changed(true);
}

void QDCurvesControl::mouseDoubleClickEvent(QMouseEvent* event)
{
    const int i = FindPoint(event->position());
    if (i <= 0 || i + 1 >= int(vPoints.size()))
        return;
    vPoints.erase(vPoints.begin() + i);
    iDrag = -1;
    update();
    emit Changed(true);
}
