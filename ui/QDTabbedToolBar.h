#pragma once
// The tabbed toolbar: one tab per group of commands, each a row of big buttons with an icon over
// a label. What the tabs hold comes from the controller (the catalogue's tables); the buttons
// share the window's actions, so enabling a command enables its button.

#include <QTabWidget>
#include <functional>
#include <vector>

#include "ui/LToolkit.h"

class QAction;
class QToolButton;

class QDTabbedToolBar : public QTabWidget
{
    Q_OBJECT
public:
    explicit QDTabbedToolBar(QWidget* parent = nullptr);

    // Replaces every tab; action gives the button's action for an item.
    void SetTabs(const std::vector<LToolbarTab>& tabs,
                 const std::function<QAction*(const LToolbarItem&)>& action);
    void ShowTab(int controlId);
    int GetTabControlId(int index) const;
    // The button of a command on a tab (-1: any tab), null when there is none.
    QToolButton* FindButton(int commandId, int tabIndex = -1) const;
    std::vector<QToolButton*> GetButtons(int tabIndex) const;

    static constexpr int kIconSize = 32;

private:
    std::vector<int> vTabIds;
};
