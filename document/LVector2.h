#pragma once
// Plane geometry shared by the canvas and the tools: a 2-vector, a circle and an angle in
// radians that wraps to 0..2π.

#include <cmath>

template <class T>
struct LVector2T
{
    T x = 0, y = 0;

    LVector2T() = default;
    LVector2T(T ax, T ay) : x(ax), y(ay) {}

    LVector2T operator+(const LVector2T& o) const { return {x + o.x, y + o.y}; }
    LVector2T operator-(const LVector2T& o) const { return {x - o.x, y - o.y}; }
    LVector2T operator*(T s) const { return {x * s, y * s}; }
    bool operator==(const LVector2T& o) const { return x == o.x && y == o.y; }

    T GetLength() const { return T(std::sqrt(double(x) * x + double(y) * y)); }
    T DistanceTo(const LVector2T& o) const { return (*this - o).GetLength(); }
    // Angle from the x axis, counter-clockwise with y up.
    double GetAngle() const { return std::atan2(double(y), double(x)); }
    void Normalize()
    {
        T l = GetLength();
        if (l > 0)
            x /= l, y /= l;
    }
    void SetLength(T length)
    {
        Normalize();
        x *= length, y *= length;
    }
    // Turns by radians in the standard sense of the axes: clockwise on a y-down screen.
    void Rotate(double radians)
    {
        const double c = std::cos(radians), s = std::sin(radians);
        const double nx = x * c - y * s, ny = x * s + y * c;
        x = T(nx), y = T(ny);
    }
};

template <class T>
struct LCircle
{
    T x = 0, y = 0, radius = 0;
};

template <class T>
struct RadianT
{
    // Slightly below the true 2π; kept so that a full turn stored once reads back the same.
    static constexpr T kTwoPi = T(6.2831853036);

    T value = 0;

    RadianT() = default;
    explicit RadianT(T v) : value(v) {}
    // Wraps into 0..2π, both ends included.
    RadianT& Clamp()
    {
        while (value < 0)
            value += kTwoPi;
        while (value > kTwoPi)
            value -= kTwoPi;
        return *this;
    }
    static T Degrees(T radians) { return radians * T(57.2957795131); }
    static T FromDegrees(T degrees) { return degrees / T(57.2957795131); }
};
