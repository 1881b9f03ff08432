#pragma once
// The panel of an effect whose controls are plain: built from its property table, one control per
// row that names one. An element without wrapped properties gets an empty panel, which is also
// the blank panel of effects that have nothing to set.
//
// Panels that arrange rows in groups of their own derive from it: they make the controls of the
// rows they want with AddRow, where they want them, and the updates and commits come for free.

#include <vector>

#include "ui/panels/QDPropertiesPanel.h"

class QBoxLayout;
class QDSlider;

class QDTablePropertiesPanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDTablePropertiesPanel(QDImagePipelineElement& element);
    void InitDialog() override;

    // The control of a table row, or null.
    QWidget* GetControl(size_t row) const { return row < vControls.size() ? vControls[row] : nullptr; }
    QWidget* GetControl(const char* name) const;

protected:
    // Sizes the list of controls to the table; the first step of a derived InitDialog.
    void PrepareRows();
    // Makes the row's control (with its label where it has one) at the end of layout, by default
    // the container's; null for a row that names no control.
    QWidget* AddRow(size_t row, QBoxLayout* layout = nullptr, QWidget* parent = nullptr);
    QWidget* AddRow(const char* name, QBoxLayout* layout = nullptr, QWidget* parent = nullptr);
    void UpdateControls() override;
    void Commit(size_t row, double value, bool bRegisterUndo);

private:
    std::vector<QWidget*> vControls;
};

class QDBlankPropertiesPanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDBlankPropertiesPanel(QDImagePipelineElement& element) : QDPropertiesPanel(element) {}
};

// The fallback of every type key without a panel of its own.
QDPropertiesPanel* QDMakeTablePanel(QDImagePipelineElement* element);
