// Undo stack: position, redo tail, saved state and the wrapper's notifications.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "document/LUndoRedo.h"

namespace
{
// Records every call in a shared log, so tests can check order across items.
class LogItem : public LUndoRedoItem
{
public:
    LogItem(std::vector<std::string>& log, std::string name) : rLog(log), strName(std::move(name)) {}
    ~LogItem() override { rLog.push_back("~" + strName); }
    void Undo() override { rLog.push_back("u" + strName); }
    void Redo() override { rLog.push_back("r" + strName); }
    void GetName(char* name) override { snprintf(name, LUNDO_NAME_SIZE, "%s", strName.c_str()); }

    std::vector<std::string>& rLog;
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
    std::vector<std::string> log;
};

void Fill(LUndoRedoStack& stack, std::vector<std::string>& log, int n)
{
    for (int i = 0; i < n; ++i)
        stack.AddItem<LogItem>(log, std::to_string(i));
}
} // namespace

TEST(UndoStack, UndoRedoWalkTheStackAndANewItemDropsTheRedoTail)
{
    std::vector<std::string> log;
    LUndoRedoStack stack;
    Fill(stack, log, 5);
    stack.Undo();
    stack.Undo();
    EXPECT_EQ(stack.iPosition, 2u);
    stack.Redo();
    EXPECT_EQ(stack.iPosition, 1u);
    EXPECT_EQ(log, (std::vector<std::string>{"u4", "u3", "r3"}));

    log.clear();
    stack.Undo(); // 3 undone again: items 4 and 3 form the redo tail
    stack.AddItem<LogItem>(log, "new");
    EXPECT_EQ(stack.GetNumItems(), 4u);
    EXPECT_EQ(stack.iPosition, 0u);
    EXPECT_EQ(log, (std::vector<std::string>{"u3", "~4", "~3"}));
    char name[LUNDO_NAME_SIZE];
    stack.GetUndoItem()->GetName(name);
    EXPECT_STREQ(name, "new");

    // Past either end nothing happens.
    stack.Redo();
    stack.UndoAll();
    stack.Undo();
    EXPECT_EQ(stack.iPosition, 4u);
}

TEST(UndoStack, GroupUndoesNewestFirstAndRedoesOldestFirst)
{
    std::vector<std::string> log;
    LUndoRedoStack stack;
    LUndoRedoGroup* group = stack.AddItem<LUndoRedoGroup>("Cut");
    group->AddItem<LogItem>(log, "a");
    group->AddItem<LogItem>(log, "b");
    group->AddItem<LogItem>(log, "c");
    stack.Undo();
    stack.Redo();
    EXPECT_EQ(log, (std::vector<std::string>{"uc", "ub", "ua", "ra", "rb", "rc"}));
    char name[LUNDO_NAME_SIZE];
    stack.GetItem(0)->GetName(name);
    EXPECT_STREQ(name, "Cut");
}

TEST(UndoStack, SavedStateFollowsTheSavedItem)
{
    std::vector<std::string> log;
    LUndoRedoStack stack;
    EXPECT_TRUE(stack.IsCurrentStateSaved()); // empty
    Fill(stack, log, 5);
    EXPECT_FALSE(stack.IsCurrentStateSaved());

    // Saved with two undone; redo leaves it, undoing twice comes back.
    stack.Undo();
    stack.Undo();
    stack.MarkCurrentStateAsSaved();
    EXPECT_TRUE(stack.IsCurrentStateSaved());
    stack.Redo();
    EXPECT_FALSE(stack.IsCurrentStateSaved());
    stack.Undo();
    stack.Undo();
    EXPECT_FALSE(stack.IsCurrentStateSaved());
    stack.Redo();
    EXPECT_TRUE(stack.IsCurrentStateSaved());

    // Everything undone and saved there: the bottom is the saved state.
    stack.UndoAll();
    stack.MarkCurrentStateAsSaved();
    EXPECT_TRUE(stack.bSavedAtBottom);
    EXPECT_TRUE(stack.IsCurrentStateSaved());
    stack.Redo();
    EXPECT_FALSE(stack.IsCurrentStateSaved());
    stack.Undo();
    EXPECT_TRUE(stack.IsCurrentStateSaved());
}

TEST(UndoStack, SavedItemLostInTheRedoTailLeavesNoSavedState)
{
    std::vector<std::string> log;
    LUndoRedoStack stack;
    Fill(stack, log, 3);
    stack.MarkCurrentStateAsSaved(); // on item 2
    stack.Undo();
    stack.Undo();
    stack.AddItem<LogItem>(log, "x"); // deletes 2 and 1
    for (unsigned i = 0; i <= stack.GetNumItems(); ++i)
    {
        EXPECT_FALSE(stack.IsCurrentStateSaved()) << "position " << stack.iPosition;
        stack.Undo();
    }
    stack.Redo();
    stack.MarkCurrentStateAsSaved();
    EXPECT_TRUE(stack.IsCurrentStateSaved());
}

TEST(UndoStack, WrapperNotifiesRemovedTailBeforeAddingAndOnlyRealMoves)
{
    std::vector<std::string> log;
    LUndoRedoStackNotifyWrapped wrapped;
    Listener listener;
    wrapped.AddNotifyee(&listener);
    wrapped.AddNotifyee(&listener); // listed once

    wrapped.Redo(); // empty: nothing
    wrapped.Undo();
    wrapped.MarkCurrentStateAsSaved();
    EXPECT_TRUE(listener.log.empty());

    wrapped.AddItem<LogItem>(log, "a");
    wrapped.AddItem<LogItem>(log, "b");
    wrapped.AddItem<LogItem>(log, "c");
    wrapped.Undo();
    wrapped.Undo();
    wrapped.Redo();
    wrapped.Redo();
    wrapped.Redo(); // at position 0: silent
    EXPECT_EQ(listener.log, (std::vector<std::string>{"added", "added", "added", "position", "position",
                                                      "position", "position"}));

    listener.log.clear();
    wrapped.Undo();
    wrapped.Undo();
    wrapped.AddItem<LogItem>(log, "d");
    EXPECT_EQ(listener.log,
              (std::vector<std::string>{"position", "position", "removed c", "removed b", "added"}));

    listener.log.clear();
    wrapped.MarkCurrentStateAsSaved();
    wrapped.MarkCurrentStateAsSaved(); // already saved: silent
    EXPECT_EQ(listener.log, (std::vector<std::string>{"saved"}));
    EXPECT_TRUE(wrapped.IsCurrentStateSaved());
}
