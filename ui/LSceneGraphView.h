#pragma once
// The one control a scene graph is shown in: it turns Qt's events into the graph's, in device
// pixels so that a picture at 100% is one image pixel per screen pixel on any display scale,
// and paints the graph through a paint context over its painter.

#include <QWidget>

#include "canvas/LSceneGraph.h"

class LSceneGraphView : public QWidget, public LSceneGraphHost
{
    Q_OBJECT
public:
    explicit LSceneGraphView(LSceneGraph& graph, QWidget* parent = nullptr);
    ~LSceneGraphView() override;

    LSceneGraph& GetGraph() const { return rGraph; }
    // Device pixels per logical pixel.
    qreal GetDeviceScale() const;
    // Logical position of a device pixel, and back.
    QPointF ToLogical(float x, float y) const;
    int GetPaintCount() const { return iPaintCount; }

    void HostInvalidate(const LBoundingBox2T<int>* box) override;
    void HostSetCapture(bool bCapture) override;
    void HostSetCursor(int cursor) override;
    void HostSetFocus() override;
    void HostSetToolTip(const char* text) override;

    static uint32_t MapModifiers(Qt::KeyboardModifiers modifiers);
    static int MapKey(int qtKey);

protected:
    bool event(QEvent* e) override;
    void paintEvent(QPaintEvent* e) override;
    void resizeEvent(QResizeEvent* e) override;
    void mousePressEvent(QMouseEvent* e) override;
    void mouseReleaseEvent(QMouseEvent* e) override;
    void mouseDoubleClickEvent(QMouseEvent* e) override;
    void mouseMoveEvent(QMouseEvent* e) override;
    void wheelEvent(QWheelEvent* e) override;
    void keyPressEvent(QKeyEvent* e) override;
    void keyReleaseEvent(QKeyEvent* e) override;
    void leaveEvent(QEvent* e) override;

private:
    void SendSize();

    LSceneGraph& rGraph;
    int iPaintCount = 0;
    int iWheelRemainder = 0;
    bool bGrabbed = false;
};
