#include "canvas/QDEffectWidgets.h"

#include <map>
#include <string>

#include "canvas/QDCanvasViewer.h"
#include "canvas/QDEffectCircleWidget.h"
#include "canvas/QDEffectCropWidget.h"
#include "canvas/QDRotateWidget.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectFisheye.h"
#include "effects/QDEffectVignette.h"

namespace
{
std::map<std::string, QDCanvasWidgetMaker>& Makers()
{
    static std::map<std::string, QDCanvasWidgetMaker> makers;
    return makers;
}

template <class Widget, class Element>
QDCanvasWidget* Make(QDCanvasViewer& canvas, QDImagePipelineElement* element)
{
    Element* typed = dynamic_cast<Element*>(element);
    return typed ? canvas.CreateWidget<Widget>(typed) : nullptr;
}
} // namespace

void QDRegisterCanvasWidgetMaker(const char* typeIdentifier, QDCanvasWidgetMaker maker)
{
    if (typeIdentifier)
        Makers()[typeIdentifier] = maker;
}

QDCanvasWidgetMaker QDFindCanvasWidgetMaker(const char* typeIdentifier)
{
    if (!typeIdentifier)
        return nullptr;
    auto it = Makers().find(typeIdentifier);
    return it == Makers().end() ? nullptr : it->second;
}

void QDRegisterEffectWidgets()
{
    QDRegisterCanvasWidgetMaker(QDEffectTypeIdentifier(6037), &Make<QDEffectCropWidget, QDEffectCrop>);
    QDRegisterCanvasWidgetMaker(QDEffectTypeIdentifier(6042), &Make<QDRotateWidget, QDEffectRotate>);
    QDRegisterCanvasWidgetMaker(QDEffectTypeIdentifier(6033),
                                &Make<QDEffectVignetteWidget, QDEffectVignette>);
    QDRegisterCanvasWidgetMaker(QDEffectTypeIdentifier(6025), &Make<QDEffectFisheyeWidget, QDEffectFisheye>);
}
