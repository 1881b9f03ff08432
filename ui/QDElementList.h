#pragma once
// The element list: a project's pipeline, newest on top. Each row has an eye that hides or shows
// the element, its name and a delete button (not for the picture the project is made of). A
// click selects the row's element, a drag moves it to another place, Delete removes the selected
// one. The list only reports; the controller changes the pipeline and draws the list again.

#include <QScrollArea>
#include <QString>
#include <vector>

class QFrame;
class QLabel;
class QToolButton;
class QVBoxLayout;
class QDImagePipelineElement;

struct QDElementListItem
{
    QDImagePipelineElement* lpElement = nullptr;
    QString szName;
    bool bVisible = true;  // its own flag
    bool bRendered = true; // in front of the first hidden element, so it counts
    bool bBase = false;    // can neither move nor go
    bool bSelected = false;
};

class QDElementList : public QScrollArea
{
    Q_OBJECT
public:
    explicit QDElementList(QWidget* parent = nullptr);

    // In pipeline order; shown newest on top.
    void SetItems(const std::vector<QDElementListItem>& items);
    int GetRowCount() const { return int(vRows.size()); }
    // Row 0 is the top.
    QFrame* GetRow(int row) const;
    QToolButton* GetEyeButton(int row) const;
    QToolButton* GetDeleteButton(int row) const;
    QDImagePipelineElement* GetRowElement(int row) const;
    QString GetRowName(int row) const;

signals:
    void elementSelected(QDImagePipelineElement* element);
    void visibilityToggled(QDImagePipelineElement* element, bool bVisible);
    // index: the element's new place in the pipeline.
    void moveRequested(QDImagePipelineElement* element, int index);
    void deleteRequested(QDImagePipelineElement* element);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    bool event(QEvent* event) override;

private:
    struct Row
    {
        QFrame* lpFrame;
        QToolButton* lpEye;
        QLabel* lpName;
        QToolButton* lpDelete;
        QDElementListItem item;
    };
    int RowAt(const QPoint& inViewport) const;
    void ShowDropMarker(int row);

    QWidget* lpInner;
    QVBoxLayout* lpLayout;
    QFrame* lpDropMarker;
    std::vector<Row> vRows;
    int iPressedRow = -1;
    QPoint ptPressed;
    bool bDragging = false;
};
