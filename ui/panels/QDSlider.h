#pragma once
// The panels' slider: a track bar between two captions. During a drag it reports each position
// with bRegisterUndo false and the drag's end with true, so one drag makes one undo item; a click,
// a key or the wheel reports with true at once.

#include <QSlider>
#include <QWidget>

class QLabel;

class QDTrackBar : public QSlider
{
    Q_OBJECT
public:
    QDTrackBar(int minimum, int maximum, QWidget* parent = nullptr);

    // Position over (maximum - minimum), the minimum not taken off: -100..100 gives -0.5..0.5.
    double GetPositionRatio() const;
    // The reverse, rounded.
    void SetPositionRatio(double ratio);
    // Where the handle is drawn, in the track bar's coordinates.
    QRect GetHandleRect() const;

signals:
    void PositionChanged(bool bRegisterUndo);
};

class QDSlider : public QWidget
{
    Q_OBJECT
public:
    QDSlider(const char* less, const char* more, int minimum, int maximum, QWidget* parent = nullptr);

    QDTrackBar* GetTrackBar() const { return lpTrackBar; }
    int GetPosition() const;
    bool IsDragging() const;
    // Shows a value at a position without a notification, and remembers the pair: coming back to
    // that position gives the value itself, not the position's rounded one, so a drag that ends
    // where it began changes nothing. A drag in progress is left alone.
    void Show(int position, double value);
    // The remembered value at its position, else mapped.
    double GetValue(double mapped) const;

signals:
    void Changed(QDSlider* slider, bool bRegisterUndo);

private:
    QDTrackBar* lpTrackBar;
    QLabel* lpLess;
    QLabel* lpMore;
    int iShownPosition = 0;
    double dShownValue = 0;
    bool bShown = false;
};
