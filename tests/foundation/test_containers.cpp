#include <gtest/gtest.h>

#include "foundation/LList.h"
#include "foundation/LPtr.h"

namespace
{
struct Item : LListItem<Item>
{
    explicit Item(int v, int* deaths = nullptr) : value(v), lpDeaths(deaths) {}
    ~Item()
    {
        if (lpDeaths)
            ++*lpDeaths;
    }
    int value;
    int* lpDeaths;
};

std::vector<int> Values(const LList<Item>& list)
{
    std::vector<int> out;
    for (Item* p = list.GetFirst(); p; p = LList<Item>::GetNext(p))
        out.push_back(p->value);
    return out;
}
} // namespace

TEST(LList, InsertDetachAndOwnership)
{
    int deaths = 0;
    {
        LList<Item> list;
        Item* b = new Item(2, &deaths);
        list.AddTail(b);
        list.AddHead(new Item(1, &deaths));
        list.AddTail(new Item(4, &deaths));
        list.InsertAfter(b, new Item(3, &deaths));
        EXPECT_EQ(Values(list), (std::vector<int>{1, 2, 3, 4}));
        EXPECT_EQ(list.GetCount(), 4u);
        EXPECT_EQ(list.IndexOf(b), 1);

        Item* last = list.GetLast();
        EXPECT_TRUE(list.Detach(last));
        EXPECT_FALSE(list.Detach(last));
        EXPECT_EQ(list.GetLast()->value, 3);
        list.AddTail(last);
        EXPECT_EQ(Values(list), (std::vector<int>{1, 2, 3, 4}));
        EXPECT_EQ(deaths, 0);
    }
    EXPECT_EQ(deaths, 4);
}

TEST(LList, SortIsStableAndKeepsTail)
{
    LList<Item> list;
    for (int v : {5, 3, 9, 3, 1, 7, 0, 8})
        list.AddTail(new Item(v));
    list.Sort([](const Item& a, const Item& b) { return a.value < b.value; });
    EXPECT_EQ(Values(list), (std::vector<int>{0, 1, 3, 3, 5, 7, 8, 9}));
    list.AddTail(new Item(10));
    EXPECT_EQ(list.GetLast()->value, 10);
    list.AddOrdered(new Item(4), [](const Item& a, const Item& b) { return a.value < b.value; });
    EXPECT_EQ(Values(list), (std::vector<int>{0, 1, 3, 3, 4, 5, 7, 8, 9, 10}));
}

TEST(LPtr, MovesOwnership)
{
    int deaths = 0;
    LPtr<Item> a(new Item(1, &deaths));
    LPtr<Item> b;
    b.Assign(a);
    EXPECT_TRUE(a.IsNull());
    EXPECT_EQ(b->value, 1);
    b.Reset(new Item(2, &deaths));
    EXPECT_EQ(deaths, 1);
    Item* raw = b.Release();
    EXPECT_EQ(deaths, 1);
    delete raw;
    EXPECT_EQ(deaths, 2);
}
