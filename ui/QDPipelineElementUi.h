#pragma once
// The user-interface object of one pipeline element in a project's viewer: its properties panel
// and, once the canvas hosts them, its canvas widget. Selecting it shows the panel.

#include "ui/panels/QDPropertiesPanel.h"

class QDCanvasViewer;
class QDCanvasWidget;
class QDImagePipelineViewer;

class QDPipelineElementUiBase
{
public:
    QDPipelineElementUiBase() = default;
    QDPipelineElementUiBase(const QDPipelineElementUiBase&) = delete;
    QDPipelineElementUiBase& operator=(const QDPipelineElementUiBase&) = delete;
    // The panel goes with it.
    virtual ~QDPipelineElementUiBase() { delete lpPanel; }

    virtual void Select()
    {
        if (lpPanel)
            lpPanel->show();
    }
    virtual void Deselect()
    {
        if (lpPanel)
            lpPanel->hide();
    }

    QDImagePipelineElement* lpElement = nullptr;
    QDPropertiesPanel* lpPanel = nullptr; // owned
    // FIXME: made by the canvas viewer and owned here once the canvas hosts element widgets;
    // until then every element has none, as a CanvasWidgetDummy would.
    QDCanvasWidget* lpWidget = nullptr;
    QDImagePipelineViewer* lpElementViewer = nullptr;
    QDCanvasViewer* lpCanvasViewer = nullptr;
};

template <class Element, class Panel>
class QDPipelineElementUi : public QDPipelineElementUiBase
{
public:
    QDPipelineElementUi(Element* element, QDImagePipelineViewer* elementViewer, QDCanvasViewer* canvasViewer)
    {
        lpElement = element;
        lpElementViewer = elementViewer;
        lpCanvasViewer = canvasViewer;
        lpPanel = QDMakePanel<Element, Panel>(element);
    }
    Panel* GetPanel() const { return static_cast<Panel*>(lpPanel); }
};
