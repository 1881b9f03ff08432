// Undo stack: position, redo tail, saved state and the wrapper's notifications.

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "document/LUndoRedo.h"

namespace
{
using Log = std::vector<std::string>;

// Records every call in a shared log, so tests can check order across items.
class LogItem : public LUndoRedoItem
{
public:
    LogItem(Log& log, std::string name) : rLog(log), strName(std::move(name)) {}
    ~LogItem() override { rLog.push_back("~" + strName); }
    void Undo() override { rLog.push_back("u" + strName); }
    void Redo() override { rLog.push_back("r" + strName); }
    void GetName(char* name) override { snprintf(name, LUNDO_NAME_SIZE, "%s", strName.c_str()); }

    Log& rLog;
    std::string strName;
};

class Listener : public LUndoRedoStackNotifyee
{
public:
    void EvUndoRedoStackItemAdded(LUndoRedoItem*) override { log.push_back("added"); }
    void EvUndoRedoStackItemRemoved(LUndoRedoItem* item) override
    {
        char name[LUNDO_NAME_SIZE];
        item->GetName(name);
        log.push_back(std::string("removed ") + name);
    }
    void EvUndoRedoStackPositionChanged() override { log.push_back("position"); }
    void EvUndoRedoStackSaveFlagChanged() override { log.push_back("saved"); }
    Log log;
};

void Fill(LUndoRedoStack& stack, Log& log, int n)
{
    for (int i = 0; i < n; ++i)
        stack.AddItem<LogItem>(log, std::to_string(i));
}
} // namespace

TEST(UndoStack, UndoRedoWalkTheStackAndANewItemDropsTheRedoTail)
{
    Log log;
    LUndoRedoStack stack;
    Fill(stack, log, 5);
    stack.Undo();
    stack.Undo();
    stack.Redo();
    EXPECT_EQ(stack.iPosition, 1u);
    stack.Undo(); // items 4 and 3 form the redo tail
    stack.AddItem<LogItem>(log, "new");
    EXPECT_EQ(stack.GetNumItems(), 4u);
    EXPECT_EQ(stack.iPosition, 0u);
    EXPECT_EQ(log, (Log{"u4", "u3", "r3", "u3", "~4", "~3"}));
    char name[LUNDO_NAME_SIZE];
    stack.GetUndoItem()->GetName(name);
    EXPECT_STREQ(name, "new");

    // Past either end nothing happens.
    stack.Redo();
    stack.UndoAll();
    stack.Undo();
    EXPECT_EQ(stack.iPosition, 4u);

    // A group undoes newest first and redoes oldest first.
    Log groupLog;
    LUndoRedoStack other;
    LUndoRedoGroup* group = other.AddItem<LUndoRedoGroup>("Cut");
    for (const char* n : {"a", "b", "c"})
        group->AddItem<LogItem>(groupLog, n);
    other.Undo();
    other.Redo();
    EXPECT_EQ(groupLog, (Log{"uc", "ub", "ua", "ra", "rb", "rc"}));
}

TEST(UndoStack, SavedStateFollowsTheSavedItem)
{
    Log log;
    LUndoRedoStack stack;
    EXPECT_TRUE(stack.IsCurrentStateSaved()); // empty
    Fill(stack, log, 5);
    EXPECT_FALSE(stack.IsCurrentStateSaved());

    // Saved with two undone, then with everything undone (the bottom is the saved state).
    // Then redo, undo, undo, redo, each followed by whether the state reads as saved.
    const std::pair<bool, std::vector<bool>> rounds[] = {{false, {false, true, false, true}},
                                                         {true, {false, true, true, false}}};
    for (const auto& [all, expected] : rounds)
    {
        all ? stack.UndoAll() : stack.Undo();
        stack.Undo();
        stack.MarkCurrentStateAsSaved();
        EXPECT_TRUE(stack.IsCurrentStateSaved());
        for (int i = 0; i < 4; ++i)
        {
            i == 0 || i == 3 ? stack.Redo() : stack.Undo();
            EXPECT_EQ(stack.IsCurrentStateSaved(), expected[size_t(i)]) << "step " << i;
        }
    }
    EXPECT_TRUE(stack.bSavedAtBottom);

    // The saved item lost in a dropped redo tail leaves no saved state anywhere.
    LUndoRedoStack other;
    Fill(other, log, 3);
    other.MarkCurrentStateAsSaved(); // on item 2
    other.Undo();
    other.Undo();
    other.AddItem<LogItem>(log, "x"); // drops 2 and 1
    for (unsigned i = 0; i <= other.GetNumItems(); ++i, other.Undo())
        EXPECT_FALSE(other.IsCurrentStateSaved()) << "position " << other.iPosition;
}

TEST(UndoStack, WrapperNotifiesRemovedTailBeforeAddingAndOnlyRealMoves)
{
    Log log;
    LUndoRedoStackNotifyWrapped wrapped;
    Listener listener;
    wrapped.AddNotifyee(&listener);
    wrapped.AddNotifyee(&listener); // listed once
    wrapped.Redo();                 // empty: nothing
    wrapped.Undo();
    wrapped.MarkCurrentStateAsSaved();
    EXPECT_TRUE(listener.log.empty());

    for (const char* n : {"a", "b", "c"})
        wrapped.AddItem<LogItem>(log, n);
    wrapped.Undo();
    wrapped.Undo();
    wrapped.Redo();
    wrapped.Redo();
    wrapped.Redo(); // at position 0: silent
    wrapped.Undo();
    wrapped.Undo();
    wrapped.AddItem<LogItem>(log, "d");
    wrapped.MarkCurrentStateAsSaved();
    wrapped.MarkCurrentStateAsSaved(); // already saved: silent
    EXPECT_EQ(listener.log, (Log{"added", "added", "added", "position", "position", "position", "position",
                                 "position", "position", "removed c", "removed b", "added", "saved"}));
    EXPECT_TRUE(wrapped.IsCurrentStateSaved());
}

// Panels come and go in answer to the stack's news: one may close itself, or another, inside its
// call. Those removed are not called again (under ASan a call to a destroyed one would show), and
// one added meanwhile waits for the next round.
TEST(UndoStack, NotifyeesMayDestroyThemselvesOrOthersDuringARound)
{
    struct Panel : LUndoRedoStackNotifyee
    {
        Panel(LUndoRedoStackNotifyWrapper& w, Log& l, std::string n)
            : rWrapper(w), rLog(l), strName(std::move(n))
        {
            rWrapper.AddNotifyee(this);
        }
        ~Panel() override { rWrapper.RemoveNotifyee(this); }
        void EvUndoRedoStackPositionChanged() override
        {
            rLog.push_back(strName);
            if (lpClose)
                delete std::exchange(lpClose, nullptr);
            if (bCloseSelf)
                delete this; // the last thing it does
            else if (bOpenAnother)
            {
                bOpenAnother = false;
                new Panel(rWrapper, rLog, strName + "+");
            }
        }
        LUndoRedoStackNotifyWrapper& rWrapper;
        Log& rLog;
        std::string strName;
        Panel* lpClose = nullptr;
        bool bCloseSelf = false, bOpenAnother = false;
    };

    Log log, items;
    LUndoRedoStackNotifyWrapped wrapped;
    wrapped.AddItem<LogItem>(items, "x");
    auto* a = new Panel(wrapped, log, "a");
    auto* b = new Panel(wrapped, log, "b");
    auto* c = new Panel(wrapped, log, "c");
    auto* d = new Panel(wrapped, log, "d");
    a->lpClose = c;         // a closes a later one
    b->bCloseSelf = true;   // b closes itself
    d->bOpenAnother = true; // d opens "d+", told from the next round on
    wrapped.Undo();
    wrapped.Redo();
    EXPECT_EQ(log, (Log{"a", "b", "d", "a", "d", "d+"}));
    EXPECT_EQ(wrapped.lNotifyees.GetNotifyeeCount(), 3u);
    delete a;
    delete d;
    wrapped.lNotifyees.ForEachNotifyee([](LUndoRedoStackNotifyee* n) { delete n; });
    EXPECT_EQ(wrapped.lNotifyees.GetNotifyeeCount(), 0u);
}
