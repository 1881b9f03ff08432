#pragma once
// The factory templates: Typed binds the element class; Default makes every form of the element
// by default construction, which serves nearly every effect.

#include "document/QDEffectFactory.h"
#include "document/QDImagePipeline.h"
#include "document/QDProject.h"
#include "effects/QDEffectCatalogue.h"

template <class Element>
class QDEffectFactoryTyped : public QDEffectFactory
{
public:
    using ElementType = Element;
    using QDEffectFactory::QDEffectFactory;
};

template <class Element>
class QDEffectFactoryDefault : public QDEffectFactoryTyped<Element>
{
public:
    using QDEffectFactoryTyped<Element>::QDEffectFactoryTyped;

    // Constructed, handed the project's undo stack and the viewport's size, then appended.
    QDImagePipelineElement* CreateLayer(QDProject& project, LWindow* window, bool bAddUndo) override
    {
        (void)window;
        return project.CreatePipelineElement<Element>(bAddUndo);
    }
    QDImagePipelineElement* CreateLayer(QDImagePipeline& pipeline) override
    {
        Element* element = new Element;
        pipeline.AddElement(element);
        return element;
    }
    QDImagePipelineElement* CreateLayer() const override { return new Element; }
};

template <class Element>
QDEffectFactory* QDMakeEffectFactory(const QDEffectCatalogueRow& row)
{
    return new QDEffectFactoryDefault<Element>(row.szName, row.szDescription, row.sIconId,
                                               row.szTypeIdentifier);
}
