#include "document/LUndoRedo.h"

#include <cstdio>
#include <cstring>

LUndoRedoGroup::LUndoRedoGroup(const char* name)
{
    snprintf(szName, sizeof(szName), "%s", name ? name : "");
}

void LUndoRedoGroup::Undo()
{
    for (LUndoRedoItem* item = lFirst.GetFirst(); item; item = item->GetNextItem())
        item->Undo();
}

void LUndoRedoGroup::Redo()
{
    // The list runs newest first; redo must replay in the order the changes were made. Walked
    // by index from the end: groups are short, and a redo must not fail for want of memory.
    for (size_t i = lFirst.GetCount(); i-- > 0;)
        lFirst.GetAt(i)->Redo();
}

void LUndoRedoGroup::GetName(char* name)
{
    snprintf(name, LUNDO_NAME_SIZE, "%s", szName);
}

void LUndoRedoStack::_AddItem()
{
    for (; iPosition > 0; --iPosition)
        lFirst.Delete(lFirst.GetFirst());
}

void LUndoRedoStack::Undo()
{
    if (GetNumItems() <= iPosition)
        return;
    GetItem(iPosition)->Undo();
    ++iPosition;
}

void LUndoRedoStack::Redo()
{
    if (iPosition == 0)
        return;
    --iPosition;
    GetItem(iPosition)->Redo();
}

void LUndoRedoStack::UndoAll()
{
    while (CanUndo())
        Undo();
}

void LUndoRedoStack::MarkCurrentStateAsSaved()
{
    unsigned counter = 0;
    for (LUndoRedoItem* item = lFirst.GetFirst(); item; item = item->GetNextItem(), ++counter)
    {
        if (counter == iPosition)
        {
            item->bSavedState = true;
            bSavedAtBottom = false;
            return;
        }
        item->bSavedState = false;
    }
    bSavedAtBottom = true;
}

bool LUndoRedoStack::IsCurrentStateSaved() const
{
    if (lFirst.IsEmpty())
        return true;
    if (LUndoRedoItem* item = GetItem(iPosition))
        return item->bSavedState;
    return bSavedAtBottom;
}

void LUndoRedoStackNotifyWrapper::NotifyRedoTailRemoved()
{
    for (unsigned i = 0; i < lpStack->iPosition; ++i)
    {
        LUndoRedoItem* item = lpStack->GetItem(i);
        lNotifyees.ForEachNotifyee([&](LUndoRedoStackNotifyee* n) { n->EvUndoRedoStackItemRemoved(item); });
    }
}

void LUndoRedoStackNotifyWrapper::NotifyAdded(LUndoRedoItem* item)
{
    lNotifyees.ForEachNotifyee([&](LUndoRedoStackNotifyee* n) { n->EvUndoRedoStackItemAdded(item); });
}

void LUndoRedoStackNotifyWrapper::AddExistingItem(LUndoRedoItem* item)
{
    NotifyRedoTailRemoved();
    lpStack->AddExistingItem(item);
    NotifyAdded(item);
}

void LUndoRedoStackNotifyWrapper::Undo()
{
    if (!lpStack->CanUndo())
        return;
    lpStack->Undo();
    lNotifyees.ForEachNotifyee([](LUndoRedoStackNotifyee* n) { n->EvUndoRedoStackPositionChanged(); });
}

void LUndoRedoStackNotifyWrapper::Redo()
{
    if (!lpStack->CanRedo())
        return;
    lpStack->Redo();
    lNotifyees.ForEachNotifyee([](LUndoRedoStackNotifyee* n) { n->EvUndoRedoStackPositionChanged(); });
}

void LUndoRedoStackNotifyWrapper::UndoAll()
{
    if (!lpStack->CanUndo())
        return;
    lpStack->UndoAll();
    lNotifyees.ForEachNotifyee([](LUndoRedoStackNotifyee* n) { n->EvUndoRedoStackPositionChanged(); });
}

void LUndoRedoStackNotifyWrapper::MarkCurrentStateAsSaved()
{
    if (lpStack->IsEmpty() || lpStack->IsCurrentStateSaved())
        return;
    lpStack->MarkCurrentStateAsSaved();
    lNotifyees.ForEachNotifyee([](LUndoRedoStackNotifyee* n) { n->EvUndoRedoStackSaveFlagChanged(); });
}

void LUndoRedoStackNotifyWrapper::AddNotifyee(LUndoRedoStackNotifyee* notifyee)
{
    lNotifyees.AddNotifyee(notifyee);
}

void LUndoRedoStackNotifyWrapper::RemoveNotifyee(LUndoRedoStackNotifyee* notifyee)
{
    lNotifyees.RemoveNotifyee(notifyee);
}
