#pragma once
// The Hue panel's wheel: an outer ring of the hues as they are and an inner ring of the hues they
// become, with a handle at the rotation. Dragging anywhere on the wheel points the handle at the
// mouse; the arrow keys turn it by a degree. It reports during a drag with bRegisterUndo false and
// once more with true when the drag ends.

#include <QWidget>

class QDHueRotator : public QWidget
{
    Q_OBJECT
public:
    explicit QDHueRotator(QWidget* parent = nullptr);

    // In turns, -0.5 to 0.5, clockwise from the top.
    double GetRotation() const { return dRotation; }
    // Shows a rotation without a notification; a drag in progress is left alone.
    void SetRotation(double turns);
    bool IsDragging() const { return bDragging; }
    // Where the handle is drawn.
    QPointF GetHandlePosition() const;
    QSize sizeHint() const override { return QSize(180, 180); }

signals:
    void Changed(double turns, bool bRegisterUndo);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    double TurnsAt(QPointF at) const;
    void Move(double turns, bool bRegisterUndo);

    double dRotation = 0;
    bool bDragging = false;
};
