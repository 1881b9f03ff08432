#pragma once
// The frame of every properties panel: controls stacked in one inner container, an optional tray
// at the bottom with "Reset", and the link to the element. Each concrete panel follows one
// pattern:
//   1. InitDialog makes the controls and sets them from the element (UpdateControls, guarded so
//      that the setting doesn't echo back);
//   2. a control's notification converts its state to the property and calls the element's
//      setter, with bRegisterUndo false during a slider drag and true at its end;
//   3. the element's notifier calls UpdateControls again, which is how undo and redo show;
//   4. "Reset" restores the defaults with one undo item;
//   5. the destructor leaves the notifier.

#include <QWidget>
#include <vector>

#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "foundation/LNotifier.h"

class LWindow;
class QPushButton;
class QVBoxLayout;
class QDPropertiesPanel;

// A window that lives inside another one; the hooks the panels' frame builds on.
class QDEmbeddedWindow : public QWidget
{
    Q_OBJECT
public:
    explicit QDEmbeddedWindow(QWidget* parent = nullptr) : QWidget(parent) {}
    virtual void InitDialog() {}
    virtual void EvEmbeddedWindowDimensionsChanged() {}
};

class QDPropertiesPanelNotifyee
{
public:
    virtual ~QDPropertiesPanelNotifyee() = default;
    virtual void EvPropertiesPanelResized(QDPropertiesPanel& panel) = 0;
};

class QDPropertiesPanel : public QDEmbeddedWindow, public LNotifyee<QDWrappedPropertiesElement>
{
    Q_OBJECT
public:
    explicit QDPropertiesPanel(QDImagePipelineElement& element, QWidget* parent = nullptr);
    ~QDPropertiesPanel() override;

    // Makes the container; a panel adds its controls, then calls UpdateControls.
    void InitDialog() override;
    virtual void LayoutControls();
    virtual void Enable(bool bEnable) { setEnabled(bEnable); }
    void EvEmbeddedWindowDimensionsChanged() override { NotifyResized(); }
    // The inner container's height.
    virtual int GetHeight() const;
    virtual void LayoutTray();
    virtual void NotifyResized();
    virtual void EvTrayLayout() {}

    // The tray with "Reset", made on first need.
    QPushButton* CreateTrayResetButton();
    QPushButton* GetResetButton() const { return lpReset; }
    QDImagePipelineElement& GetElement() const { return rElement; }

    void AddNotifyee(QDPropertiesPanelNotifyee* notifyee);
    void RemoveNotifyee(QDPropertiesPanelNotifyee* notifyee);

    // Where a panel sends message 1 after a change, so the view renders again.
    static void SetRefreshWindow(LWindow* window);

protected:
    // Sets every control from the element; runs with the guard set.
    virtual void UpdateControls() {}
    virtual void EvReset();
    void EvNotify(QDWrappedPropertiesElement& element) override;
    // Message 1 with 0, 0 to the main window.
    void PropertiesChanged();
    bool IsUpdating() const { return bUpdating; }
    void Update();

    QWidget* GetContainer() const { return lpContainer; }
    QVBoxLayout* GetContainerLayout() const { return lpContainerLayout; }
    void resizeEvent(QResizeEvent* event) override;

    QDImagePipelineElement& rElement;
    // Null for an element without wrapped properties.
    QDWrappedPropertiesElement* lpWrapped;

private:
    QWidget* lpContainer = nullptr;
    QVBoxLayout* lpContainerLayout = nullptr;
    QWidget* lpTray = nullptr;
    QPushButton* lpReset = nullptr;
    bool bUpdating = false;
    std::vector<QDPropertiesPanelNotifyee*> vNotifyees;
};

// Makes a panel of type Panel for an element of type Element; null for another element.
template <class Element, class Panel>
QDPropertiesPanel* QDMakePanel(QDImagePipelineElement* element)
{
    Element* typed = dynamic_cast<Element*>(element);
    if (!typed)
        return nullptr;
    Panel* panel = new Panel(*typed);
    panel->InitDialog();
    return panel;
}
