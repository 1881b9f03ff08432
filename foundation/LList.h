#pragma once
// Intrusive singly linked list: an item derives from LListItem<T> and carries its own link.
// The list owns its items and deletes them when it is destroyed or emptied.

#include <cstddef>

template <class T>
class LList;

template <class T>
class LListItem
{
public:
    T* GetNextItem() const { return lpListNext; }

private:
    friend class LList<T>;
    T* lpListNext = nullptr;
};

template <class T>
class LList
{
public:
    LList() = default;
    LList(const LList&) = delete;
    LList& operator=(const LList&) = delete;
    ~LList() { DeleteAll(); }

    bool IsEmpty() const { return lpHead == nullptr; }
    size_t GetCount() const { return nCount; }
    T* GetFirst() const { return lpHead; }
    T* GetLast() const { return lpTail; }
    static T* GetNext(const T* item) { return item ? item->lpListNext : nullptr; }

    T* GetAt(size_t index) const
    {
        T* p = lpHead;
        while (p && index--)
            p = p->lpListNext;
        return p;
    }
    // Index of item, or -1 when it isn't in the list.
    long IndexOf(const T* item) const
    {
        long i = 0;
        for (T* p = lpHead; p; p = p->lpListNext, ++i)
            if (p == item)
                return i;
        return -1;
    }

    void AddHead(T* item)
    {
        item->lpListNext = lpHead;
        lpHead = item;
        if (!lpTail)
            lpTail = item;
        ++nCount;
    }
    void AddTail(T* item)
    {
        item->lpListNext = nullptr;
        if (lpTail)
            lpTail->lpListNext = item;
        else
            lpHead = item;
        lpTail = item;
        ++nCount;
    }
    // Inserts item behind after; a null after puts it at the head.
    void InsertAfter(T* after, T* item)
    {
        if (!after)
        {
            AddHead(item);
            return;
        }
        item->lpListNext = after->lpListNext;
        after->lpListNext = item;
        if (lpTail == after)
            lpTail = item;
        ++nCount;
    }
    // Inserts so that the list stays ordered by less(a, b); equal items keep insertion order.
    template <class Less>
    void AddOrdered(T* item, Less less)
    {
        T* prev = nullptr;
        for (T* p = lpHead; p && !less(*item, *p); p = p->lpListNext)
            prev = p;
        InsertAfter(prev, item);
    }
    // Unlinks item without deleting it; returns false when it isn't in the list.
    bool Detach(T* item)
    {
        T* prev = nullptr;
        for (T* p = lpHead; p; prev = p, p = p->lpListNext)
        {
            if (p != item)
                continue;
            if (prev)
                prev->lpListNext = p->lpListNext;
            else
                lpHead = p->lpListNext;
            if (lpTail == p)
                lpTail = prev;
            p->lpListNext = nullptr;
            --nCount;
            return true;
        }
        return false;
    }
    T* DetachHead()
    {
        T* p = lpHead;
        if (p)
            Detach(p);
        return p;
    }
    void Delete(T* item)
    {
        if (Detach(item))
            delete item;
    }
    void DeleteAll()
    {
        while (T* p = lpHead)
        {
            lpHead = p->lpListNext;
            delete p;
        }
        lpTail = nullptr;
        nCount = 0;
    }
    // Moves every item of other to the end of this list.
    void TakeAll(LList& other)
    {
        while (T* p = other.DetachHead())
            AddTail(p);
    }
    // Stable merge sort by less(a, b).
    template <class Less>
    void Sort(Less less)
    {
        if (nCount < 2)
            return;
        lpHead = MergeSort(lpHead, nCount, less);
        lpTail = lpHead;
        while (lpTail->lpListNext)
            lpTail = lpTail->lpListNext;
    }

private:
    template <class Less>
    static T* MergeSort(T* head, size_t n, Less& less)
    {
        if (n < 2)
        {
            if (head)
                head->lpListNext = nullptr;
            return head;
        }
        size_t half = n / 2;
        T* mid = head;
        for (size_t i = 0; i < half; ++i)
            mid = mid->lpListNext;
        T* a = MergeSort(head, half, less);
        T* b = MergeSort(mid, n - half, less);
        T* out = nullptr;
        T** tail = &out;
        while (a && b)
        {
            T** pick = less(*b, *a) ? &b : &a;
            *tail = *pick;
            tail = &(*pick)->lpListNext;
            *pick = (*pick)->lpListNext;
        }
        *tail = a ? a : b;
        return out;
    }

    T* lpHead = nullptr;
    T* lpTail = nullptr;
    size_t nCount = 0;
};

// A list item that owns an object which is not itself listable.
template <class T>
class LListablePtr : public LListItem<LListablePtr<T>>
{
public:
    explicit LListablePtr(T* p) : lpObject(p) {}
    LListablePtr(const LListablePtr&) = delete;
    LListablePtr& operator=(const LListablePtr&) = delete;
    ~LListablePtr() { delete lpObject; }
    T* Get() const { return lpObject; }
    T* operator->() const { return lpObject; }

private:
    T* lpObject;
};
