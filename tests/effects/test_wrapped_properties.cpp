// The undo rules of wrapped properties, on a real effect in a real project: a drag makes one
// item or none, groups always get theirs, undo and redo restore and notify, and every change
// reaches SetDirty so no stale picture survives.

#include "document/LQDCacheStore.h"
#include "document/QDProject.h"
#include "effects/QDEffectBlur.h"
#include "effects/QDEffectCatalogue.h"
#include "effects_test_support.h"

namespace
{
class Counter : public LNotifyee<QDWrappedPropertiesElement>
{
public:
    void EvNotify(QDWrappedPropertiesElement&) override { ++iCalls; }
    int iCalls = 0;
};

QDEffectBlurProperties Radius(double r)
{
    return {r, QDEffectBlur::Standard};
}

// Valid cache entries, as after a render.
void MakeClean(QDImagePipelineElement& e)
{
    LImageBuffer b;
    MakeTestPicture(b, 2, 2);
    e.iHighResCacheId = LQDCacheNewImage(b);
    e.iLowResCacheId = LQDCacheNewImage(b);
    ASSERT_FALSE(e.IsDirty());
}

class WrappedPropertiesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        blur = project.CreatePipelineElement<QDEffectBlur>(false);
        blur->AddNotifyee(&counter);
    }
    size_t Items() const { return project.undoStack.GetNumItems(); }

    QDProject project{8, 8};
    QDEffectBlur* blur = nullptr;
    Counter counter;
};
} // namespace

TEST_F(WrappedPropertiesTest, ADragMakesOneItemFromWhereItBegan)
{
    blur->SetProperties(Radius(25), false);
    blur->SetProperties(Radius(30), false);
    EXPECT_EQ(Items(), 0u);
    EXPECT_EQ(blur->GetProperties().dRadius, 30);
    EXPECT_EQ(blur->GetRegisteredProperties().dRadius, 20);
    blur->SetProperties(Radius(30), true); // the drag's end
    ASSERT_EQ(Items(), 1u);
    auto* item = dynamic_cast<QDEffectBlur::UndoRedo*>(project.undoStack.GetItem(0));
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->oBefore.dRadius, 20);
    EXPECT_EQ(item->oAfter.dRadius, 30);
    char name[LUNDO_NAME_SIZE];
    item->GetName(name);
    EXPECT_STREQ(name, "Blur");

    // Undo and redo restore both values and tell the panel (twice: the second run only notifies).
    counter.iCalls = 0;
    project.undoStack.Undo();
    EXPECT_EQ(blur->GetProperties().dRadius, 20);
    EXPECT_EQ(blur->GetRegisteredProperties().dRadius, 20);
    EXPECT_EQ(counter.iCalls, 2);
    project.undoStack.Redo();
    EXPECT_EQ(blur->GetProperties().dRadius, 30);
    EXPECT_EQ(blur->GetRegisteredProperties().dRadius, 30);
}

TEST_F(WrappedPropertiesTest, ADragBackToItsStartMakesNoItem)
{
    blur->SetProperties(Radius(25), false);
    blur->SetProperties(Radius(20), false);
    blur->SetProperties(Radius(20), true);
    EXPECT_EQ(Items(), 0u);
    // The same value again, registered or not, changes nothing and tells no one.
    counter.iCalls = 0;
    blur->SetProperties(Radius(20), true);
    blur->SetProperties(Radius(20), false);
    EXPECT_EQ(counter.iCalls, 0);
    EXPECT_EQ(Items(), 0u);
}

TEST_F(WrappedPropertiesTest, GroupsAndDispatchRegisterWhatTheyAreGiven)
{
    LUndoRedoGroup group("Regional Effects");
    blur->SetProperties(Radius(20), true, &group);
    EXPECT_EQ(group.GetNumItems(), 1u) << "a group gets an item even for an unchanged value";
    EXPECT_EQ(Items(), 0u);

    blur->SetProperties(Radius(12), false);
    blur->DispatchUndoRedoItemForUnregisteredChanges();
    blur->DispatchUndoRedoItemForUnregisteredChanges();
    EXPECT_EQ(Items(), 1u);
    EXPECT_EQ(blur->GetRegisteredProperties().dRadius, 12);

    // Loading sets both values with no item.
    blur->InitProperties(Radius(3));
    EXPECT_EQ(Items(), 1u);
    EXPECT_EQ(blur->GetRegisteredProperties().dRadius, 3);

    // By table row, with the row's clamp.
    blur->SetPropertyValue(0, 5000, true);
    EXPECT_EQ(blur->GetProperties().dRadius, 1000);
    EXPECT_EQ(Items(), 2u);
    blur->ResetProperties(true);
    EXPECT_TRUE(blur->IsAtDefaults());
    EXPECT_EQ(Items(), 3u);

    // An element outside a project has no stack and still takes the value.
    QDEffectBlur loose;
    loose.SetProperties(Radius(9), true);
    EXPECT_EQ(loose.GetRegisteredProperties().dRadius, 9);
}

TEST_F(WrappedPropertiesTest, EveryChangeMarksTheElementDirty)
{
    MakeClean(*blur);
    blur->SetProperties(Radius(21), false);
    EXPECT_TRUE(blur->IsDirty()) << "a live drag renders too";
    blur->SetProperties(Radius(21), true);
    MakeClean(*blur);
    project.undoStack.Undo();
    EXPECT_TRUE(blur->IsDirty());
    MakeClean(*blur);
    blur->InitProperties(Radius(4));
    EXPECT_TRUE(blur->IsDirty());
    // What a render reads is what was set.
    EXPECT_EQ(blur->GetPropertiesSnapshot().dRadius, 4);
}
