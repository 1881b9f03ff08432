#pragma once
// The status bar's zoom control: a slider over the stops 5, 25, 50, 100, 200 and 500 per cent
// between a zoom-out and a zoom-in button, the present zoom, and a button that fits the page.

#include <QWidget>

class QLabel;
class QSlider;
class QToolButton;

class QDZoomControl : public QWidget
{
    Q_OBJECT
public:
    explicit QDZoomControl(QWidget* parent = nullptr);

    // Shows the zoom and moves the slider to the nearest stop, without signalling.
    void SetZoomPercent(int percent);
    int GetStopPercent() const;
    QString GetShownText() const;

    static constexpr int kStops[] = {5, 25, 50, 100, 200, 500};

signals:
    // The user picked a stop: the zoom in per cent.
    void zoomTo(int percent);
    void zoomIn();
    void zoomOut();
    void fit();

private:
    QSlider* lpSlider;
    QLabel* lpLabel;
};
