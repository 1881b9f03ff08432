#pragma once
// The Tint panel's colour picker: a field of hue (across) by saturation (up) at the chosen
// lightness, and a bar of lightness beside it. Dragging in either reports with bRegisterUndo false
// and once more with true when the drag ends.

#include <QWidget>

class QDHLSSelector : public QWidget
{
    Q_OBJECT
public:
    explicit QDHLSSelector(QWidget* parent = nullptr);

    double GetHue() const { return dHue; }
    double GetLightness() const { return dLightness; }
    double GetSaturation() const { return dSaturation; }
    // Shows a colour without a notification; a drag in progress is left alone. Each 0 to 1.
    void SetHLS(double hue, double lightness, double saturation);
    bool IsDragging() const { return eDrag != DragNone; }
    // The field and the bar, in the widget's coordinates.
    QRect GetFieldRect() const;
    QRect GetLightnessRect() const;
    QSize sizeHint() const override { return QSize(220, 140); }

signals:
    void Changed(bool bRegisterUndo);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    enum Drag
    {
        DragNone,
        DragField,
        DragLightness,
    };
    void Track(QPointF at, bool bRegisterUndo);

    double dHue = 0.5, dLightness = 0.5, dSaturation = 0.5;
    Drag eDrag = DragNone;
};
