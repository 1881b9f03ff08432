#pragma once
// The scene graph in which a project is edited: one UV unit is one image pixel, the camera
// point is the control's centre and the zoom factor is 1 ÷ the resolution ratio. It keeps the
// scroll, zoom and fit rules, the rendered picture, and one widget per pipeline element.

#include <string>
#include <vector>

#include "canvas/LSceneGraph.h"
#include "canvas/QDCanvasWidget.h"
#include "document/QDViewport.h"
#include "foundation/LPtr.h"

class LImageBuffer;
class QDCanvasViewer;
class QDImagePipeline;
class QDViewportRenderer;

class QDCanvasViewerNotifyee
{
public:
    virtual ~QDCanvasViewerNotifyee() = default;
    virtual void EvCanvasViewerScrollPositionChanged(QDCanvasViewer& viewer) { (void)viewer; }
    virtual void EvCanvasViewerZoomChanged(QDCanvasViewer& viewer) { (void)viewer; }
    virtual void EvCanvasViewerWidgetSelected(QDCanvasViewer& viewer, QDCanvasWidget& widget)
    {
        (void)viewer, (void)widget;
    }
    virtual void EvCanvasViewerDeselectAll(QDCanvasViewer& viewer) { (void)viewer; }
    virtual void EvCanvasViewerRightClick(QDCanvasViewer& viewer, float u, float v)
    {
        (void)viewer, (void)u, (void)v;
    }
};

class QDCanvasViewer : public LSceneGraph, public QDCanvasWidgetNotifyee, public QDViewportNotifyee
{
public:
    QDCanvasViewer();
    ~QDCanvasViewer() override;

    // Adds the picture and the widgets' root, and follows the page.
    void Init(QDViewport* viewport, QDImagePipeline* pipeline);
    // Binding to the window stays the graph's.
    using LSceneGraph::Init;

    // ---- widgets
    // Adds a widget of type W for the element, registered and placed in pipeline order.
    template <class W, class E, class... Args>
    W* CreateWidget(E* element, Args&&... args)
    {
        W* widget = lpWidgetsRoot->AddNode<W>(0, 0, lpViewport, element, std::forward<Args>(args)...);
        RegisterWidget(widget);
        return widget;
    }
    void DestroyWidget(QDCanvasWidget* widget);
    QDCanvasWidget* MapPipelineElementToWidget(const QDImagePipelineElement* element) const;
    void SelectWidget(QDCanvasWidget* widget);
    // False, and nothing done, for an element without a widget.
    bool SelectWidgetForPipelineElement(const QDImagePipelineElement* element);
    void DeselectAllWidgets();
    void ApplyCanvasWidgetZOrder();
    QDCanvasWidget* GetSelectedWidget() const { return lpSelectedWidget; }
    const std::vector<QDCanvasWidget*>& GetWidgets() const { return vWidgets; }

    // ---- zoom and fit
    void SetZoomLimits(bool bLimited, float zoomMin, float zoomMax);
    void SetZoom(float zoom);
    void ZoomIn();
    void ZoomOut();
    // Sets the zoom and keeps the world point under (x, y) where it is, unless the page fits.
    void ZoomAbout(float zoom, float x, float y);
    void FitCameraToViewport();
    void FitCameraToWidgets();
    void FitCameraToBounds(const LBoxF& box);
    void CenterCameraOnViewport();
    void CenterCameraOnBounds(const LBoxF& box);

    // ---- scrolling
    void ConstrainCamera();
    void AllowScrollingToCurrentCameraBounds();
    LBoxF GetViewportBounds() const;
    LBoxF GetWidgetBounds() const;
    LBoxF GetScrollableBounds() const;
    bool DoesCameraIntersectWidget() const;
    bool CanScrollHorizontal() const;
    bool CanScrollVertical() const;
    float GetHorizontalScrollRatio() const;
    float GetVerticalScrollRatio() const;
    void SetHorizontalScrollRatio(float ratio);
    void SetVerticalScrollRatio(float ratio);
    float GetHorizontalScrollableBoundsViewRatio() const;
    float GetVerticalScrollableBoundsViewRatio() const;

    // ---- the rendered picture; an invalid image keeps the old one and shows the message
    void EvRenderLowRes(const LImageBuffer* image, const char* szError);
    void EvRenderFinished(LPtr<LImageBuffer>& image, const char* szError);
    QDViewportRenderer* GetViewportRenderer() const { return lpViewportRenderer; }
    QDCanvasViewerWidgetsRoot* GetWidgetsRoot() const { return lpWidgetsRoot; }
    const std::string& GetRenderError() const { return szRenderError; }

    void AddNotifyee(QDCanvasViewerNotifyee* notifyee);
    void RemoveNotifyee(QDCanvasViewerNotifyee* notifyee);

    // ---- overrides
    void Prepaint(LPaintContext& pc) override;
    void EvMouseWheel(float x, float y, int delta) override;
    void EvPinch(float x, float y, float factor) override;
    void EvLButtonDownUV(float u, float v) override;
    void EvRButtonUp(float x, float y) override;
    void EvDragStart() override;
    void EvDragFinish() override;
    void EvUserPan() override;
    void EvUserPanFinish() override;
    void EvCameraMove() override;
    void EvSize() override;
    void EvCanvasWidgetBoundsChanged(QDCanvasWidget& widget) override;
    void EvCanvasWidgetSelected(QDCanvasWidget& widget) override;
    void EvViewportBoundsChanged(QDViewport& viewport) override;
    void NodeGone(LSceneGraphNode* node) override;

    static constexpr float kMarginFraction = 0.07f;

    QDImagePipeline* lpPipeline = nullptr;
    QDViewport* lpViewport = nullptr;
    QDViewportRenderer* lpViewportRenderer = nullptr;
    std::string szRenderError;
    QDCanvasViewerWidgetsRoot* lpWidgetsRoot = nullptr;
    bool bZoomLimited = false;
    float fZoomMin = 0, fZoomMax = 1;
    float fZoomStep = 1.2f;
    bool bScrollBoundsIncludeLast = false;
    LBoxF bxLastCameraBounds{0, 0, 0, 0};
    bool bFitWhenDragFinishes = false;
    bool bFittedOnce = false;
    LSceneGraphNode* lpLastDragged = nullptr;
    std::vector<QDCanvasWidget*> vWidgets;
    QDCanvasWidget* lpSelectedWidget = nullptr;
    std::vector<QDCanvasViewerNotifyee*> vNotifyees;

private:
    void RegisterWidget(QDCanvasWidget* widget);
    void NotifyScrollChanged();
    void NotifyZoomChanged();
    float LimitZoom(float zoom) const;
};
