#pragma once
// The window part of a canvas: the painted control and its two scroll bars. The bars run from 0
// to 10000 and follow the viewer's scroll ratios; they are disabled while the view shows nearly
// all there is to scroll.

#include <QWidget>

#include "canvas/QDCanvasViewer.h"

class QScrollBar;
class LSceneGraphView;

class QDCanvasViewerWindow : public QWidget, public QDCanvasViewerNotifyee
{
    Q_OBJECT
public:
    explicit QDCanvasViewerWindow(QDCanvasViewer& viewer, QWidget* parent = nullptr);
    ~QDCanvasViewerWindow() override;

    QDCanvasViewer& GetViewer() const { return rViewer; }
    LSceneGraphView* GetView() const { return lpView; }
    QScrollBar* GetHorizontalBar() const { return lpHorizontal; }
    QScrollBar* GetVerticalBar() const { return lpVertical; }

    void EvCanvasViewerScrollPositionChanged(QDCanvasViewer& viewer) override;
    void EvCanvasViewerZoomChanged(QDCanvasViewer& viewer) override;

    static constexpr int kBarRange = 10000;

signals:
    void zoomChanged(float zoom);

private:
    void UpdateBars();
    void BarMoved(bool bHorizontal, int value);

    QDCanvasViewer& rViewer;
    LSceneGraphView* lpView;
    QScrollBar* lpHorizontal;
    QScrollBar* lpVertical;
    bool bUpdatingBars = false;
};
