#include "document/QDImagePipeline.h"

#include <cassert>
#include <cstdio>

size_t QDImagePipeline::GetNumVisibleElements() const
{
    size_t n = 0;
    for (QDImagePipelineElement* e = lFirst.GetFirst(); e && e->bVisible; e = e->GetNextItem())
        ++n;
    return n;
}

QDImagePipelineElement* QDImagePipeline::GetLastVisibleElement() const
{
    QDImagePipelineElement* last = nullptr;
    for (QDImagePipelineElement* e = lFirst.GetFirst(); e && e->bVisible; e = e->GetNextItem())
        last = e;
    return last;
}

unsigned QDImagePipeline::GetWidth() const
{
    QDImagePipelineElement* e = GetLastVisibleElement();
    return e ? e->GetWidth() : 0;
}

unsigned QDImagePipeline::GetHeight() const
{
    QDImagePipelineElement* e = GetLastVisibleElement();
    return e ? e->GetHeight() : 0;
}

// Checked before taking the lock: on the render's own thread the lock would never come.
void QDImagePipeline::CheckNoRender() const
{
    assert(!IsHeldByRender() && "the element list changed while a render held the pipeline");
}

void QDImagePipeline::AddElement(QDImagePipelineElement* element)
{
    CheckNoRender();
    LLockObjectGuard guard(lock);
    lFirst.AddTail(element);
}

void QDImagePipeline::InsertElement(QDImagePipelineElement* element, size_t index)
{
    CheckNoRender();
    LLockObjectGuard guard(lock);
    QDImagePipelineElement* at = lFirst.GetAt(index);
    if (!at)
    {
        lFirst.AddTail(element);
        return;
    }
    lFirst.InsertAfter(index == 0 ? nullptr : lFirst.GetAt(index - 1), element);
    at->SetDirty();
}

void QDImagePipeline::DeleteElement(QDImagePipelineElement* element)
{
    CheckNoRender();
    LLockObjectGuard guard(lock);
    QDImagePipelineElement* next = element->GetNextItem();
    if (lFirst.Detach(element) && next)
        next->SetDirty();
}

std::vector<QDImagePipelineElement*> QDImagePipeline::GetOrder() const
{
    std::vector<QDImagePipelineElement*> order;
    for (QDImagePipelineElement* e = lFirst.GetFirst(); e; e = e->GetNextItem())
        order.push_back(e);
    return order;
}

void QDImagePipeline::SetOrder(const std::vector<QDImagePipelineElement*>& order)
{
    CheckNoRender();
    LLockObjectGuard guard(lock);
    while (lFirst.DetachHead())
    {
    }
    for (QDImagePipelineElement* e : order)
        lFirst.AddTail(e);
}

void QDImagePipeline::MoveElementAfter(QDImagePipelineElement* element, QDImagePipelineElement* after)
{
    if (element == after)
        return;
    CheckNoRender();
    std::vector<QDImagePipelineElement*> before = GetOrder();
    element->SetDirty();
    if (after)
        after->SetDirty();
    if (QDImagePipelineElement* next = element->GetNextItem())
        next->SetDirty();

    {
        LLockObjectGuard guard(lock);
        bool inPlace = after ? after->GetNextItem() == element : lFirst.GetFirst() == element;
        if (!inPlace)
        {
            lFirst.Detach(element);
            if (!after)
                lFirst.AddHead(element);
            else if (lFirst.IndexOf(after) >= 0)
                lFirst.InsertAfter(after, element);
        }
    }
    if (lpUndoStack)
        lpUndoStack->AddItem<QDImagePipelineReorderedUndoRedo>(this, std::move(before), GetOrder());
}

bool QDImagePipeline::IsDirty()
{
    bool found = false;
    for (QDImagePipelineElement* e = lFirst.GetFirst(); e; e = e->GetNextItem())
    {
        if (found)
            e->SetDirty();
        else if (e->IsDirty())
            found = true;
    }
    return found;
}

bool QDImagePipeline::GetPointTransformed(int& x, int& y, const QDImagePipelineElement* element) const
{
    for (QDImagePipelineElement* e = element ? element->GetNextItem() : nullptr; e && e->bVisible;
         e = e->GetNextItem())
        if (!e->GetPointTransformed(x, y))
            return false;
    return true;
}

void QDImagePipelineReorderedUndoRedo::GetName(char* name)
{
    snprintf(name, LUNDO_NAME_SIZE, "Reorder Pipeline");
}
