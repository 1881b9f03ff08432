// The element list of the current project: choosing an element shows its panel; hiding, moving
// and deleting are undoable steps like any other edit.

#include <algorithm>
#include <cstdio>

#include "app/MainDialog.h"
#include "canvas/QDProjectViewer.h"

namespace
{
// Hiding or showing an element. The render after it starts from the last element still shown.
class QDElementVisibilityUndoRedo : public LUndoRedoItem
{
public:
    QDElementVisibilityUndoRedo(QDProject* project, QDImagePipelineElement* element, bool bVisible)
        : lpProject(project), lpElement(element), bVisibleAfter(bVisible)
    {
    }
    void Undo() override { Apply(!bVisibleAfter); }
    void Redo() override { Apply(bVisibleAfter); }
    void GetName(char* name) override
    {
        snprintf(name, LUNDO_NAME_SIZE, "%s %s", bVisibleAfter ? "Show" : "Hide", lpElement->GetName());
    }

private:
    void Apply(bool bVisible)
    {
        lpElement->bVisible = bVisible;
        lpProject->bRenderRequested = true;
    }
    QDProject* lpProject;
    QDImagePipelineElement* lpElement;
    bool bVisibleAfter;
};
} // namespace

void MainDialog::UpdateElementList()
{
    if (!lpHost)
        return;
    if (QDProjectViewer* viewer = GetCurrentViewer())
        lpHost->UpdateElementList(*viewer);
}

void MainDialog::EvElementSelected(QDImagePipelineElement* element)
{
    if (pCurrentProject && pCurrentProject->pipeline.GetElementIndex(element) >= 0)
        SelectElementUi(pCurrentProject, element);
}

void MainDialog::EvElementSetVisible(QDImagePipelineElement* element, bool bVisible)
{
    QDProject* project = pCurrentProject;
    if (!project || project->pipeline.GetElementIndex(element) < 0 || element->bVisible == bVisible)
        return;
    threadRender.StopThreadNow();
    element->bVisible = bVisible;
    project->bRenderRequested = true;
    project->undoStack.AddItem<QDElementVisibilityUndoRedo>(project, element, bVisible);
    UpdateElementList();
    EvRenderProject();
    SetWindowCaption();
}

void MainDialog::EvElementMove(QDImagePipelineElement* element, size_t index)
{
    QDProject* project = pCurrentProject;
    if (!project || !element || element->bBaseElement)
        return;
    std::vector<QDImagePipelineElement*> order = project->pipeline.GetOrder();
    auto at = std::find(order.begin(), order.end(), element);
    if (at == order.end())
        return;
    order.erase(at);
    // Nothing goes beneath the picture the project is made of.
    const size_t lowest = !order.empty() && order.front()->bBaseElement ? 1 : 0;
    index = std::clamp(index, lowest, order.size());
    QDImagePipelineElement* after = index == 0 ? nullptr : order[index - 1];
    if ((after == nullptr && project->pipeline.GetFirstElement() == element) ||
        (after && after->GetNextItem() == element))
        return;
    threadRender.StopThreadNow();
    project->pipeline.MoveElementAfter(element, after);
    project->bRenderRequested = true;
    UpdateElementList();
    EvRenderProject();
    SetWindowCaption();
}

void MainDialog::EvElementDelete(QDImagePipelineElement* element)
{
    if (!element || element->bBaseElement || !pCurrentProject ||
        pCurrentProject->pipeline.GetElementIndex(element) < 0)
        return;
    // The same road as a panel's own delete button.
    LWindow::SendInterWinMessage(this, 2, reinterpret_cast<intptr_t>(element), 0);
}
