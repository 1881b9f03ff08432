#pragma once
// The small dialogs of the batch editor's effect step: choosing effects to add, editing one
// effect's properties in its own panel, and choosing the file the preview shows.

#include <QDialog>

#include <vector>

class QListWidget;
class QPushButton;
class QDEffectFactory;
class QDImagePipelineElement;
class QDPropertiesPanel;

// The offered effects by name; several may be chosen.
class QDSelectEffectDlg : public QDialog
{
    Q_OBJECT
public:
    QDSelectEffectDlg(const std::vector<QDEffectFactory*>& available, QWidget* parent = nullptr);
    // The chosen factories, in list order.
    std::vector<QDEffectFactory*> GetSelection() const;

    QListWidget* lpList;

private:
    const std::vector<QDEffectFactory*>& rAvailable;
};

// "%s Preferences": the element's own panel, with OK, Cancel and Help.
class QDEditBatchPropertiesDlg : public QDialog
{
    Q_OBJECT
public:
    static constexpr int kWidth = 355;
    QDEditBatchPropertiesDlg(QDImagePipelineElement& element, QDPropertiesPanel* panel,
                             QWidget* parent = nullptr);

    QDPropertiesPanel* lpPanel;
    QPushButton* lpHelp;
};

// "Preview batch changes on this image:" over the input files. OK without a selection keeps the
// dialog open.
class QDSelectPreviewDlg : public QDialog
{
    Q_OBJECT
public:
    QDSelectPreviewDlg(const std::vector<std::string>& files, QWidget* parent = nullptr);
    void accept() override;
    std::string GetPath() const;

    QListWidget* lpList;
};
