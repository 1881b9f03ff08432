#pragma once
// Owning pointer. Ownership moves by Assign or by Release into another owner; copying is refused
// so that an object can never be owned twice.

#include <cstddef>
#include <utility>

template <class T>
class LPtr
{
public:
    LPtr() = default;
    explicit LPtr(T* p) : lpObject(p) {}
    LPtr(const LPtr&) = delete;
    LPtr& operator=(const LPtr&) = delete;
    LPtr(LPtr&& other) noexcept : lpObject(other.Release()) {}
    LPtr& operator=(LPtr&& other) noexcept
    {
        if (this != &other)
            Reset(other.Release());
        return *this;
    }
    ~LPtr() { delete lpObject; }

    T* Get() const { return lpObject; }
    T* operator->() const { return lpObject; }
    T& operator*() const { return *lpObject; }
    explicit operator bool() const { return lpObject != nullptr; }
    bool IsNull() const { return lpObject == nullptr; }

    // Takes ownership of p, destroying what was held before.
    void Reset(T* p = nullptr)
    {
        T* old = lpObject;
        lpObject = p;
        delete old;
    }
    void Set(T* p) { Reset(p); }
    void Assign(LPtr& other) { Reset(other.Release()); }
    T* Release()
    {
        T* p = lpObject;
        lpObject = nullptr;
        return p;
    }
    void Swap(LPtr& other) { std::swap(lpObject, other.lpObject); }

private:
    T* lpObject = nullptr;
};
