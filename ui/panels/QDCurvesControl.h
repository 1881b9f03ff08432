#pragma once
// The Curves panel's drawn control: a square of input (across) by output (up) with the histogram
// of the channel behind the curve. Pressing on the curve's square adds a point there, or takes the
// point under the mouse; dragging moves it between its neighbours; dragging an inner point out of
// the square, or double-clicking it, removes it. The ends stay. During a drag it reports with
// bRegisterUndo false, and once more with true when the drag ends: one drag, one undo item.

#include <QWidget>
#include <cstdint>
#include <utility>
#include <vector>

#include "image/LImgProCurves.h"

class QDCurvesControl : public QWidget
{
    Q_OBJECT
public:
    explicit QDCurvesControl(QWidget* parent = nullptr);

    // The points as they stand, with the table drawn.
    LCurveSettings GetCurve() const;
    // Shows a curve without a notification; a drag in progress is left alone.
    void SetCurve(const LCurveSettings& curve);
    // 256 counts, or null for none yet.
    void SetHistogram(const uint64_t* counts);
    bool HasHistogram() const { return bHistogram; }
    bool IsDragging() const { return iDrag >= 0; }
    int GetPointCount() const { return int(vPoints.size()); }

    // Between curve values and the widget's coordinates.
    QPointF ValueToPoint(double x, double y) const;
    QPointF PointToValue(QPointF at) const;
    QSize sizeHint() const override { return QSize(264, 264); }

signals:
    void Changed(bool bRegisterUndo);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    QRectF PlotRect() const;
    int FindPoint(QPointF at) const;
    void Track(QPointF at);

    std::vector<std::pair<int, int>> vPoints{{0, 0}, {255, 255}};
    uint64_t arCounts[256] = {};
    bool bHistogram = false;
    int iDrag = -1;
    // The dragged inner point while it is out of the square: gone unless it comes back.
    bool bDragOutside = false;
    QPointF ptPress;
    bool bMoved = false;
};
