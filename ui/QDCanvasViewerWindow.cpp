#include "ui/QDCanvasViewerWindow.h"

#include <QGridLayout>
#include <QScrollBar>
#include <algorithm>
#include <cmath>

#include "ui/LSceneGraphView.h"

QDCanvasViewerWindow::QDCanvasViewerWindow(QDCanvasViewer& viewer, QWidget* parent)
    : QWidget(parent), rViewer(viewer), lpView(new LSceneGraphView(viewer, this)),
      lpHorizontal(new QScrollBar(Qt::Horizontal, this)), lpVertical(new QScrollBar(Qt::Vertical, this))
{
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setSpacing(0);
    grid->addWidget(lpView, 0, 0);
    grid->addWidget(lpVertical, 0, 1);
    grid->addWidget(lpHorizontal, 1, 0);
    for (QScrollBar* bar : {lpHorizontal, lpVertical})
    {
        bar->setRange(0, kBarRange);
        const bool horizontal = bar == lpHorizontal;
        connect(bar, &QScrollBar::valueChanged, this, [this, horizontal](int v) { BarMoved(horizontal, v); });
        // What the user scrolled to stays reachable once the bar is let go.
        connect(bar, &QScrollBar::sliderReleased, this,
                [this] { rViewer.AllowScrollingToCurrentCameraBounds(); });
        connect(bar, &QScrollBar::actionTriggered, this,
                [this, bar](int action)
                {
                    if (action != QAbstractSlider::SliderMove && !bar->isSliderDown())
                        QMetaObject::invokeMethod(
                            this, [this] { rViewer.AllowScrollingToCurrentCameraBounds(); },
                            Qt::QueuedConnection);
                });
    }
    rViewer.AddNotifyee(this);
    UpdateBars();
}

QDCanvasViewerWindow::~QDCanvasViewerWindow()
{
    rViewer.RemoveNotifyee(this);
}

void QDCanvasViewerWindow::UpdateBars()
{
    bUpdatingBars = true;
    auto set = [](QScrollBar* bar, float view, float position)
    {
        if (view >= 0.98f || !std::isfinite(view) || !std::isfinite(position))
        {
            bar->setEnabled(false);
            bar->setRange(0, 0);
            bar->setPageStep(kBarRange);
            return;
        }
        bar->setEnabled(true);
        const int page = std::max(1, int(std::lround(view * kBarRange)));
        bar->setRange(0, kBarRange - page);
        bar->setPageStep(page);
        bar->setSingleStep(std::max(1, page / 10));
        bar->setValue(int(std::lround(std::clamp(position, 0.0f, 1.0f) * (kBarRange - page))));
    };
    set(lpHorizontal, rViewer.GetHorizontalScrollableBoundsViewRatio(), rViewer.GetHorizontalScrollRatio());
    set(lpVertical, rViewer.GetVerticalScrollableBoundsViewRatio(), rViewer.GetVerticalScrollRatio());
    bUpdatingBars = false;
}

void QDCanvasViewerWindow::BarMoved(bool bHorizontal, int value)
{
    if (bUpdatingBars)
        return;
    QScrollBar* bar = bHorizontal ? lpHorizontal : lpVertical;
    const int room = bar->maximum();
    const float ratio = room > 0 ? float(value) / float(room) : 0.5f;
    bUpdatingBars = true;
    if (bHorizontal)
        rViewer.SetHorizontalScrollRatio(ratio);
    else
        rViewer.SetVerticalScrollRatio(ratio);
    bUpdatingBars = false;
}

void QDCanvasViewerWindow::EvCanvasViewerScrollPositionChanged(QDCanvasViewer& viewer)
{
    (void)viewer;
    if (!bUpdatingBars)
        UpdateBars();
}

void QDCanvasViewerWindow::EvCanvasViewerZoomChanged(QDCanvasViewer& viewer)
{
    emit zoomChanged(viewer.GetZoom());
}
