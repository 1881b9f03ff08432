#pragma once
// Undo and redo. A stack is a group whose head is the newest item; iPosition counts the items
// from the head that are undone, so the redo tail is the first iPosition items. The stack also
// remembers which state was last saved, which is how a project knows it has unsaved changes.

#include <cstddef>
#include <utility>
#include <vector>

#include "foundation/LList.h"
#include "foundation/LNotifier.h"

constexpr size_t LUNDO_NAME_SIZE = 260;

class LUndoRedoItem : public LListItem<LUndoRedoItem>
{
public:
    LUndoRedoItem() = default;
    LUndoRedoItem(const LUndoRedoItem&) = delete;
    LUndoRedoItem& operator=(const LUndoRedoItem&) = delete;
    virtual ~LUndoRedoItem() = default;

    virtual void Undo() = 0;
    virtual void Redo() = 0;
    // Writes the menu text into name (LUNDO_NAME_SIZE bytes).
    virtual void GetName(char* name) = 0;
    // Called before a new item is added; a stack drops its redo tail here.
    virtual void _AddItem() {}

    // The saved state is the one reached with this item on top.
    bool bSavedState = false;
};

class LUndoRedoGroup : public LUndoRedoItem
{
public:
    explicit LUndoRedoGroup(const char* name = "");

    template <class T, class... Args>
    T* AddItem(Args&&... args)
    {
        _AddItem();
        T* item = new T(std::forward<Args>(args)...);
        lFirst.AddHead(item);
        return item;
    }
    // Adds an item made elsewhere; the group takes ownership.
    void AddExistingItem(LUndoRedoItem* item)
    {
        _AddItem();
        lFirst.AddHead(item);
    }

    // Newest first.
    void Undo() override;
    // Oldest first.
    void Redo() override;
    void GetName(char* name) override;

    // Index 0 is the newest item.
    LUndoRedoItem* GetItem(size_t index) const { return lFirst.GetAt(index); }
    size_t GetNumItems() const { return lFirst.GetCount(); }
    long GetIndexForItem(const LUndoRedoItem* item) const { return lFirst.IndexOf(item); }
    bool IsEmpty() const { return lFirst.IsEmpty(); }

    char szName[LUNDO_NAME_SIZE];
    LList<LUndoRedoItem> lFirst;
};

class LUndoRedoStack : public LUndoRedoGroup
{
public:
    LUndoRedoStack() = default;

    void _AddItem() override;
    void Undo() override;
    void Redo() override;
    void UndoAll();

    bool CanUndo() const { return GetNumItems() > iPosition; }
    bool CanRedo() const { return iPosition > 0; }
    // The item the next Undo or Redo acts on, null when there is none.
    LUndoRedoItem* GetUndoItem() const { return CanUndo() ? GetItem(iPosition) : nullptr; }
    LUndoRedoItem* GetRedoItem() const { return CanRedo() ? GetItem(iPosition - 1) : nullptr; }

    void MarkCurrentStateAsSaved();
    bool IsCurrentStateSaved() const;

    unsigned iPosition = 0;
    bool bSavedAtBottom = false;
};

class LUndoRedoStackNotifyee
{
public:
    virtual ~LUndoRedoStackNotifyee() = default;
    virtual void EvUndoRedoStackItemAdded(LUndoRedoItem* item) { (void)item; }
    virtual void EvUndoRedoStackItemRemoved(LUndoRedoItem* item) { (void)item; }
    virtual void EvUndoRedoStackPositionChanged() {}
    virtual void EvUndoRedoStackClear() {}
    virtual void EvUndoRedoStackSaveFlagChanged() {}
};

// A stack seen through its listeners: every change is told to the notifyees.
class LUndoRedoStackNotifyWrapper
{
public:
    explicit LUndoRedoStackNotifyWrapper(LUndoRedoStack* stack) : lpStack(stack) {}
    LUndoRedoStackNotifyWrapper(const LUndoRedoStackNotifyWrapper&) = delete;
    LUndoRedoStackNotifyWrapper& operator=(const LUndoRedoStackNotifyWrapper&) = delete;
    virtual ~LUndoRedoStackNotifyWrapper() = default;

    // The change has been made already: recording an item never runs it.
    template <class T, class... Args>
    T* AddItem(Args&&... args)
    {
        NotifyRedoTailRemoved();
        T* item = lpStack->AddItem<T>(std::forward<Args>(args)...);
        NotifyAdded(item);
        return item;
    }
    void AddExistingItem(LUndoRedoItem* item);

    void Undo();
    void Redo();
    void UndoAll();
    bool CanUndo() const { return lpStack->CanUndo(); }
    bool CanRedo() const { return lpStack->CanRedo(); }

    LUndoRedoItem* GetItem(size_t index) const { return lpStack->GetItem(index); }
    size_t GetNumItems() const { return lpStack->GetNumItems(); }
    long GetIndexForItem(const LUndoRedoItem* item) const { return lpStack->GetIndexForItem(item); }
    unsigned GetPosition() const { return lpStack->iPosition; }

    void MarkCurrentStateAsSaved();
    bool IsCurrentStateSaved() const { return lpStack->IsCurrentStateSaved(); }

    void AddNotifyee(LUndoRedoStackNotifyee* notifyee);
    void RemoveNotifyee(LUndoRedoStackNotifyee* notifyee);

    LUndoRedoStack* lpStack;
    // A notifyee may leave, or remove another, while it is being told.
    LNotifierList<LUndoRedoStackNotifyee> lNotifyees;

private:
    void NotifyRedoTailRemoved();
    void NotifyAdded(LUndoRedoItem* item);
};

// The wrapper with its own stack: the form in which a project holds its undo history.
class LUndoRedoStackNotifyWrapped : public LUndoRedoStackNotifyWrapper
{
public:
    LUndoRedoStackNotifyWrapped() : LUndoRedoStackNotifyWrapper(&stack) {}

    LUndoRedoStack stack;
};
