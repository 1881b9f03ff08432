#include "canvas/QDProjectViewer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "canvas/QDEffectWidgets.h"
#include "canvas/QDViewportRenderer.h"
#include "document/LQDCacheStore.h"
#include "document/QDImagePipelineElementProcessingThread.h"
#include "document/QDProject.h"
#include "image/LImageBuffer.h"

QDProjectViewer::QDProjectViewer(QDProject& project) : rProject(project)
{
    canvas.Init(&rProject.viewport, &rProject.pipeline);
}

QDProjectViewer::~QDProjectViewer() = default;

void QDProjectViewer::SetupProjectViewer(bool bZoomLimited, float zoomMin, float zoomMax)
{
    canvas.SetZoomLimits(bZoomLimited, zoomMin, zoomMax);
}

QDCanvasWidget* QDProjectViewer::CreatePipelineElementUi(QDImagePipelineElement* element)
{
    if (!element)
        return nullptr;
    if (QDCanvasWidget* existing = canvas.MapPipelineElementToWidget(element))
        return existing;
    if (fnCreateWidget)
        if (QDCanvasWidget* w = fnCreateWidget(canvas, element))
            return w;
    if (QDCanvasWidgetMaker maker = QDFindCanvasWidgetMaker(element->GetTypeIdentifier()))
        if (QDCanvasWidget* w = maker(canvas, element))
            return w;
    return canvas.CreateWidget<CanvasWidgetDummy>(element);
}

void QDProjectViewer::SyncPipelineElementUis()
{
    for (QDImagePipelineElement* e = rProject.pipeline.GetFirstElement(); e; e = e->GetNextItem())
        CreatePipelineElementUi(e);
    for (QDCanvasWidget* w : canvas.GetWidgets())
    {
        const bool inPipeline = rProject.pipeline.GetElementIndex(w->lpElement) >= 0;
        if (!inPipeline && canvas.GetSelectedWidget() == w)
            canvas.DeselectAllWidgets();
        w->SetHidden(!inPipeline);
    }
    canvas.ApplyCanvasWidgetZOrder();
}

void QDProjectViewer::SelectPipelineElementUiForElement(QDImagePipelineElement* element)
{
    canvas.SelectWidgetForPipelineElement(element);
}

void QDProjectViewer::DeselectAllPipelineElementUis()
{
    canvas.DeselectAllWidgets();
}

void QDProjectViewer::DestroyPipelineElementUiForPipelineElement(QDImagePipelineElement* element)
{
    if (QDCanvasWidget* w = canvas.MapPipelineElementToWidget(element))
        canvas.DestroyWidget(w);
}

QDCanvasWidget* QDProjectViewer::MapPipelineElementToUi(const QDImagePipelineElement* element) const
{
    return canvas.MapPipelineElementToWidget(element);
}

void QDProjectViewer::EvRenderNotification(int code)
{
    switch (code)
    {
    case QDRenderNotifyLowRes:
    {
        LImageBuffer image;
        if (!LQDCacheLoadImage(image, rProject.iLowResCacheId))
            return;
        unsigned w = 0, h = 0;
        rProject.GetDimensions(w, h);
        canvas.GetViewportRenderer()->SetProjectDimensions(int(w), int(h));
        canvas.EvRenderLowRes(&image, nullptr);
        break;
    }
    case QDRenderNotifyHighRes:
    {
        LPtr<LImageBuffer> image(new LImageBuffer);
        if (LQDCacheLoadImage(*image, rProject.iHighResCacheId))
            canvas.EvRenderFinished(image, nullptr);
        else
        {
            image.Reset();
            canvas.EvRenderFinished(image, "Failed to retrieve rendered image");
        }
        break;
    }
    case QDRenderNotifyCancelled:
    {
        LPtr<LImageBuffer> none;
        canvas.EvRenderFinished(none, nullptr);
        break;
    }
    case QDRenderNotifyFailed:
    {
        LPtr<LImageBuffer> none;
        canvas.EvRenderFinished(none, "Image render failed.");
        break;
    }
    default:
        break;
    }
}

void QDProjectViewer::GetWindowSize(int& width, int& height) const
{
    width = canvas.GetWidth();
    height = canvas.GetHeight();
}

float QDProjectViewer::ComputeLowResScale(int ww, int wh, int iw, int ih)
{
    if (ww <= 0 || wh <= 0 || iw <= 0 || ih <= 0)
        return 1.0f;
    double avail, dim;
    if (double(iw) / ih > double(ww) / wh)
    {
        avail = ww - std::round(2 * 0.07 * ww);
        dim = iw;
    }
    else
    {
        avail = wh - std::round(2 * 0.07 * wh);
        dim = ih;
    }
    return float(std::min(1.0, avail / dim * 0.75));
}
