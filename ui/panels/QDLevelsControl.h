#pragma once
// The Levels panel's two drawn controls. QDLevelsControl shows the histogram of the picture that
// reaches the effect, with the input range marked on it; QDLevelsSliders below it carries the
// three markers the user drags: black point, midtone and white point. The midtone marker stands
// where the mapping gives half brightness, so it moves with the other two.

#include <QWidget>
#include <cstdint>

#include "image/LImgProColorLevels.h"

class QDLevelsControl : public QWidget
{
    Q_OBJECT
public:
    explicit QDLevelsControl(QWidget* parent = nullptr);

    // 256 counts, or null for none yet.
    void SetHistogram(const uint64_t* counts);
    bool HasHistogram() const { return bHistogram; }
    void SetLevels(const LColorLevelSettings& levels);
    QSize sizeHint() const override { return QSize(256, 110); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    uint64_t arCounts[256] = {};
    bool bHistogram = false;
    LColorLevelSettings oLevels;
};

class QDLevelsSliders : public QWidget
{
    Q_OBJECT
public:
    enum Marker
    {
        None = -1,
        Low = 0,
        Mid = 1,
        High = 2,
    };

    explicit QDLevelsSliders(QWidget* parent = nullptr);

    const LColorLevelSettings& GetLevels() const { return oLevels; }
    // Shows levels without a notification; a drag in progress is left alone.
    void SetLevels(const LColorLevelSettings& levels);
    bool IsDragging() const { return eDrag != None; }
    // The marker's tip, in the widget's coordinates.
    QPointF GetMarkerPosition(Marker marker) const;
    QSize sizeHint() const override { return QSize(256, 18); }

    // Where the midtone marker stands between low and high (0 to 1), and the midtone for a place.
    static double MidtoneToShare(float midtone);
    static float ShareToMidtone(double share);

signals:
    void Changed(bool bRegisterUndo);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    double ValueToX(double v) const;
    double XToValue(double x) const;
    void Track(double x, bool bRegisterUndo);

    LColorLevelSettings oLevels;
    Marker eDrag = None;
    double dGrabOffset = 0;
    double dPressX = 0;
    bool bMoved = false;
};
