#pragma once
// An axis-aligned box: left, top, right, bottom.

template <class T>
struct LBoundingBox2T
{
    T left = 0, top = 0, right = 0, bottom = 0;

    LBoundingBox2T() = default;
    LBoundingBox2T(T l, T t, T r, T b) : left(l), top(t), right(r), bottom(b) {}

    T GetWidth() const { return right - left; }
    T GetHeight() const { return bottom - top; }
    bool IsValid() const { return left <= right && top <= bottom; }
    bool IsEmpty() const { return !(left < right && top < bottom); }
    // Union.
    LBoundingBox2T& operator+=(const LBoundingBox2T& o)
    {
        if (o.left < left)
            left = o.left;
        if (o.top < top)
            top = o.top;
        if (o.right > right)
            right = o.right;
        if (o.bottom > bottom)
            bottom = o.bottom;
        return *this;
    }
    bool operator==(const LBoundingBox2T& o) const
    {
        return left == o.left && top == o.top && right == o.right && bottom == o.bottom;
    }
    bool operator!=(const LBoundingBox2T& o) const { return !(*this == o); }
};
