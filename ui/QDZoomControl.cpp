#include "ui/QDZoomControl.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QSignalBlocker>
#include <QSlider>
#include <QToolButton>
#include <cstdlib>

QDZoomControl::QDZoomControl(QWidget* parent)
    : QWidget(parent), lpSlider(new QSlider(Qt::Horizontal, this)), lpLabel(new QLabel(this))
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(4);
    auto button = [this](const char* icon, const char* fallback, const char* tip)
    {
        auto* b = new QToolButton(this);
        b->setIcon(QIcon::fromTheme(icon));
        if (b->icon().isNull())
            b->setText(fallback);
        b->setToolTip(tip);
        b->setAccessibleName(tip);
        b->setAutoRaise(true);
        return b;
    };
    QToolButton* out = button("zoom-out", "-", "Zoom-Out (CTRL -)");
    QToolButton* in = button("zoom-in", "+", "Zoom-In (CTRL +)");
    QToolButton* fitButton = button("zoom-fit-best", "Fit", "Fit to Window (CTRL 0)");
    lpSlider->setRange(0, int(std::size(kStops)) - 1);
    lpSlider->setPageStep(1);
    lpSlider->setTickPosition(QSlider::TicksBelow);
    lpSlider->setFixedWidth(120);
    lpSlider->setToolTip("Zoom");
    lpSlider->setAccessibleName("Zoom");
    lpLabel->setMinimumWidth(lpLabel->fontMetrics().horizontalAdvance("5000%"));
    lpLabel->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    row->addWidget(out);
    row->addWidget(lpSlider);
    row->addWidget(in);
    row->addWidget(lpLabel);
    row->addWidget(fitButton);
    connect(out, &QToolButton::clicked, this, &QDZoomControl::zoomOut);
    connect(in, &QToolButton::clicked, this, &QDZoomControl::zoomIn);
    connect(fitButton, &QToolButton::clicked, this, &QDZoomControl::fit);
    connect(lpSlider, &QSlider::valueChanged, this, [this](int index) { emit zoomTo(kStops[index]); });
    SetZoomPercent(100);
}

void QDZoomControl::SetZoomPercent(int percent)
{
    int best = 0;
    for (int i = 1; i < int(std::size(kStops)); ++i)
        if (std::abs(kStops[i] - percent) < std::abs(kStops[best] - percent))
            best = i;
    const QSignalBlocker block(lpSlider);
    lpSlider->setValue(best);
    lpLabel->setText(QString("%1%").arg(percent));
}

int QDZoomControl::GetStopPercent() const
{
    return kStops[lpSlider->value()];
}

QString QDZoomControl::GetShownText() const
{
    return lpLabel->text();
}
