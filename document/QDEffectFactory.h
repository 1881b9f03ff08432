#pragma once
// Makes pipeline elements and their user interface: one factory per catalogue row, chained in the
// program's list in registration order. The project and batch loaders find a factory by the type
// key under which an element stands in a file.
//
// The logic never sees a widget. A panel is reached through the maker the ui layer registered
// for the element's type key (QDRegisterPanelMaker), falling back to the maker registered for ""
// (a panel built from the property table); headless programs register none and get null.

#include <cstdint>

#include "foundation/LList.h"

class LWindow;
class QDCanvasViewer;
class QDImagePipeline;
class QDImagePipelineElement;
class QDImagePipelineViewer;
class QDPipelineElementUiBase;
class QDProject;
class QDProjectViewer;
class QDPropertiesPanel;

constexpr size_t QD_FACTORY_TEXT_SIZE = 260;

class QDEffectFactory : public LListItem<QDEffectFactory>
{
public:
    QDEffectFactory(const char* name, const char* description, short iconId, const char* typeIdentifier);
    QDEffectFactory(const QDEffectFactory&) = delete;
    QDEffectFactory& operator=(const QDEffectFactory&) = delete;
    virtual ~QDEffectFactory() = default;

    // Appends a new element to the project, with an undo item when bAddUndo. window, when given,
    // may be used for a question to the user.
    virtual QDImagePipelineElement* CreateLayer(QDProject& project, LWindow* window, bool bAddUndo) = 0;
    // Appends a new element to a pipeline outside a project (the batch run).
    virtual QDImagePipelineElement* CreateLayer(QDImagePipeline& pipeline) = 0;
    // A new element outside any pipeline.
    virtual QDImagePipelineElement* CreateLayer() const = 0;
    // The element's user-interface object in the project's viewer; null without a viewer or
    // before the ui layer has installed its hook.
    virtual QDPipelineElementUiBase* CreateLayerUi(QDProjectViewer* viewer, QDImagePipelineElement* element);
    virtual QDPipelineElementUiBase* CreateLayerUi(QDImagePipelineElement* element,
                                                   LList<LListablePtr<QDPipelineElementUiBase>>& uis,
                                                   QDImagePipelineViewer& elementViewer,
                                                   QDCanvasViewer& canvasViewer, LWindow* window);
    virtual QDPropertiesPanel* CreatePanel(QDImagePipelineElement* element);

    char szName[QD_FACTORY_TEXT_SIZE] = {};
    char szDescription[QD_FACTORY_TEXT_SIZE] = {};
    char szTypeIdentifier[QD_FACTORY_TEXT_SIZE] = {};
    // Set by whoever registers the factory, never by its constructor.
    int32_t iCommandId = 0;
    short sIconId = 0;
};

// Linear searches; null when nothing matches. Type keys compare exactly ("simple rotate" keeps its
// blank).
QDEffectFactory* MapTypeIdToEffectFactory(const LList<QDEffectFactory>& factories,
                                          const char* typeIdentifier);
QDEffectFactory* MapCommandIdToEffectFactory(const LList<QDEffectFactory>& factories, int commandId);

// The ui layer's side of the bridge.
using QDPanelMaker = QDPropertiesPanel* (*)(QDImagePipelineElement* element);
using QDLayerUiMaker = QDPipelineElementUiBase* (*)(QDProjectViewer& viewer, QDImagePipelineElement* element,
                                                    QDEffectFactory& factory);
// A later registration for the same key replaces the earlier one; "" is the fallback.
void QDRegisterPanelMaker(const char* typeIdentifier, QDPanelMaker maker);
QDPanelMaker QDFindPanelMaker(const char* typeIdentifier);
// Installed once the canvas can host element widgets.
void QDSetLayerUiMaker(QDLayerUiMaker maker);
