#pragma once
// Joins a project to its canvas: the page and the rendered pictures, and one canvas widget per
// pipeline element. The render thread's notifications reach it on the main thread through
// whoever owns the projects (the controller), which resolves each to a project first.

#include <cstddef>
#include <functional>

#include "canvas/QDCanvasViewer.h"

class QDProject;

class QDProjectViewer
{
public:
    explicit QDProjectViewer(QDProject& project);
    QDProjectViewer(const QDProjectViewer&) = delete;
    QDProjectViewer& operator=(const QDProjectViewer&) = delete;
    ~QDProjectViewer();

    QDProject& GetProject() const { return rProject; }
    QDCanvasViewer& GetCanvasViewer() { return canvas; }
    // The canvas's zoom limits; the controller gives 0.05 and 5.0.
    void SetupProjectViewer(bool bZoomLimited, float zoomMin, float zoomMax);

    // ---- element widgets
    // The widget for an element that has none yet: by fnCreateWidget, else by the maker registered
    // for its type key (QDEffectWidgets.h), else a dummy.
    QDCanvasWidget* CreatePipelineElementUi(QDImagePipelineElement* element);
    // Every element of the pipeline gets a widget; widgets of elements that left the pipeline
    // (kept by undo) are hidden until they come back.
    void SyncPipelineElementUis();
    void SelectPipelineElementUiForElement(QDImagePipelineElement* element);
    void DeselectAllPipelineElementUis();
    void DestroyPipelineElementUiForPipelineElement(QDImagePipelineElement* element);
    QDCanvasWidget* MapPipelineElementToUi(const QDImagePipelineElement* element) const;

    // ---- render notifications, on the main thread: 5002 to 5005
    void EvRenderNotification(int code);

    // ---- the window's share of the work
    void Show() { bShown = true; }
    void Hide() { bShown = false; }
    bool IsShown() const { return bShown; }
    // The canvas's size in device pixels.
    void GetWindowSize(int& width, int& height) const;
    // The low-resolution scale for an image of iw × ih shown in a canvas of ww × wh: the image at
    // three quarters of the size it would have when fitted, never above 1.
    static float ComputeLowResScale(int ww, int wh, int iw, int ih);

    // Makes the widget of an element that has an on-canvas tool; null falls back to a dummy.
    std::function<QDCanvasWidget*(QDCanvasViewer&, QDImagePipelineElement*)> fnCreateWidget;

private:
    QDProject& rProject;
    QDCanvasViewer canvas;
    bool bShown = false;
};
