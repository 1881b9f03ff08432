#pragma once
// The panel of an effect whose controls are plain: built from its property table, one control per
// row that names one. An element without wrapped properties gets an empty panel, which is also
// the blank panel of effects that have nothing to set.

#include <vector>

#include "ui/panels/QDPropertiesPanel.h"

class QDSlider;

class QDTablePropertiesPanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDTablePropertiesPanel(QDImagePipelineElement& element);
    void InitDialog() override;

    // The control of a table row, or null.
    QWidget* GetControl(size_t row) const { return row < vControls.size() ? vControls[row] : nullptr; }

protected:
    void UpdateControls() override;

private:
    void Commit(size_t row, double value, bool bRegisterUndo);
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
