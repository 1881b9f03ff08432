#include "ui/panels/QDSlider.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QStyle>
#include <QStyleOptionSlider>
#include <cmath>

QDTrackBar::QDTrackBar(int minimum, int maximum, QWidget* parent) : QSlider(Qt::Horizontal, parent)
{
    setRange(minimum, maximum);
    setPageStep(std::max(1, (maximum - minimum) / 10));
    connect(this, &QSlider::valueChanged, this, [this] { emit PositionChanged(!isSliderDown()); });
    connect(this, &QSlider::sliderReleased, this, [this] { emit PositionChanged(true); });
}

double QDTrackBar::GetPositionRatio() const
{
    const int span = maximum() - minimum();
    return span ? double(value()) / double(span) : 0.0;
}

void QDTrackBar::SetPositionRatio(double ratio)
{
    setValue(int(std::lround(ratio * double(maximum() - minimum()))));
}

QRect QDTrackBar::GetHandleRect() const
{
    QStyleOptionSlider option;
    initStyleOption(&option);
    return style()->subControlRect(QStyle::CC_Slider, &option, QStyle::SC_SliderHandle, this);
}

QDSlider::QDSlider(const char* less, const char* more, int minimum, int maximum, QWidget* parent)
    : QWidget(parent), lpTrackBar(new QDTrackBar(minimum, maximum, this)), lpLess(new QLabel(less, this)),
      lpMore(new QLabel(more, this))
{
    QHBoxLayout* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(lpLess);
    row->addWidget(lpTrackBar, 1);
    row->addWidget(lpMore);
    lpTrackBar->setAccessibleName(QString("%1 to %2").arg(less, more));
    connect(lpTrackBar, &QDTrackBar::PositionChanged, this, [this](bool undo) { emit Changed(this, undo); });
}

int QDSlider::GetPosition() const
{
    return lpTrackBar->value();
}

bool QDSlider::IsDragging() const
{
    return lpTrackBar->isSliderDown();
}

void QDSlider::Show(int position, double value)
{
    if (IsDragging())
        return;
    QSignalBlocker block(lpTrackBar);
    lpTrackBar->setValue(position);
    iShownPosition = lpTrackBar->value();
    dShownValue = value;
    bShown = true;
}

double QDSlider::GetValue(double mapped) const
{
    return bShown && GetPosition() == iShownPosition ? dShownValue : mapped;
}
