#pragma once
// The Gradient Map panel's drawn control: the gradient as the effect maps it, with a marker under
// it for each colour stop. Pressing a marker selects it and dragging moves it along the bar;
// pressing the bar between markers adds a stop of the colour shown there. During a drag it reports
// with bRegisterUndo false, and once more with true when the drag ends.

#include <QWidget>

#include "effects/QDEffectGradient.h"

class QDGradientSliders : public QWidget
{
    Q_OBJECT
public:
    explicit QDGradientSliders(QWidget* parent = nullptr);

    // The markers with the effect's other properties untouched.
    const QDEffectGradientProperties& GetMarkers() const { return oMarkers; }
    // Shows the markers without a notification; a drag in progress is left alone.
    void SetMarkers(const QDEffectGradientProperties& markers);
    int GetSelected() const { return iSelected; }
    void SetSelected(int index);
    bool IsDragging() const { return bDragging; }
    QRectF GetBarRect() const;
    // The tip of a marker's triangle, on the bar's lower edge.
    QPointF GetMarkerPosition(int index) const;
    QSize sizeHint() const override { return QSize(256, 44); }

signals:
    void Changed(bool bRegisterUndo);
    void SelectionChanged(int index);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    float PositionAt(double x) const;
    int FindMarker(QPointF at) const;

    QDEffectGradientProperties oMarkers;
    int iSelected = 0;
    bool bDragging = false;
    bool bMoved = false;
    double dGrabOffset = 0;
    QPointF ptPress;
};
