#pragma once
// Widgets made by type key: a project viewer asks here for the widget of an element that has a
// tool on the canvas, and falls back to a dummy for the others. The effects that have one
// register them through QDRegisterEffectWidgets.

class QDCanvasViewer;
class QDCanvasWidget;
class QDImagePipelineElement;

using QDCanvasWidgetMaker = QDCanvasWidget* (*)(QDCanvasViewer& canvas, QDImagePipelineElement* element);

// A later registration for the same key replaces the earlier one.
void QDRegisterCanvasWidgetMaker(const char* typeIdentifier, QDCanvasWidgetMaker maker);
QDCanvasWidgetMaker QDFindCanvasWidgetMaker(const char* typeIdentifier);

// Crop, Rotate, Vignette and Lens Distortion; calling it again changes nothing.
void QDRegisterEffectWidgets();
