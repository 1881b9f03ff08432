#pragma once
// Pixel value classes, one per packed format, each with a Set from each other class. They are
// small and inline so that the block converters compile to tight row loops.

#include <cstdint>

enum pixelformat_t : int32_t
{
    PixelFormatInvalid = -1,
    B8G8R8A8 = 0,
    B8G8R8 = 1,
    B5G6R5 = 2,
    B5G5R5A1 = 3,
    B5G5R5X1 = 4,
    R8G8B8A8 = 5,
    YUYV422 = 6,
    YUV420P = 7,
    YUVJ420P = 8,
    Indexed4 = 9,
    I8 = 10,
};
constexpr int PixelFormatCount = 11;

// Bits per pixel of a packed format; 12 for the planar ones (for information only); 0 for an
// invalid value.
int LGetPixelFormatBits(pixelformat_t pf);
bool LIsPlanarPixelFormat(pixelformat_t pf);

namespace LPixelFormatDetail
{
// Repeating the top bits alone is off by one for a few values; the corrections make the result
// the rounded ideal for every input.
constexpr uint8_t Expand5Value(unsigned v)
{
    unsigned e = (v << 3) | (v >> 2);
    if (e == 24 || e == 57)
        ++e;
    else if (e == 198 || e == 231)
        --e;
    return uint8_t(e);
}
constexpr uint8_t Expand6Value(unsigned v)
{
    unsigned e = (v << 2) | (v >> 4);
    if (e >= 44 && e <= 60)
        ++e;
    else if (e >= 195 && e <= 211)
        --e;
    return uint8_t(e);
}
struct ExpandTables
{
    uint8_t e5[32];
    uint8_t e6[64];
    constexpr ExpandTables() : e5(), e6()
    {
        for (unsigned v = 0; v < 32; ++v)
            e5[v] = Expand5Value(v);
        for (unsigned v = 0; v < 64; ++v)
            e6[v] = Expand6Value(v);
    }
};
inline constexpr ExpandTables kExpand{};
} // namespace LPixelFormatDetail

// Widening of short channels on reading: equals round(v * 255 / 31) and round(v * 255 / 63).
inline uint8_t LExpand5(unsigned v)
{
    return LPixelFormatDetail::kExpand.e5[v & 31];
}
inline uint8_t LExpand6(unsigned v)
{
    return LPixelFormatDetail::kExpand.e6[v & 63];
}

struct LPFB8G8R8;
struct LPFB5G6R5;
struct LPFB5G5R5A1;
struct LPFB5G5R5X1;
struct LPFR8G8B8A8;

struct LPFB8G8R8A8
{
    uint8_t b, g, r, a;

    LPFB8G8R8A8() = default;
    constexpr LPFB8G8R8A8(uint8_t blue, uint8_t green, uint8_t red, uint8_t alpha)
        : b(blue), g(green), r(red), a(alpha)
    {
    }
    // From a 32-bit value whose low byte is blue (the memory order on little-endian machines).
    static constexpr LPFB8G8R8A8 FromUInt32(uint32_t v)
    {
        return LPFB8G8R8A8(uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24));
    }
    constexpr uint32_t ToUInt32() const
    {
        return uint32_t(b) | uint32_t(g) << 8 | uint32_t(r) << 16 | uint32_t(a) << 24;
    }
    constexpr bool operator==(const LPFB8G8R8A8& o) const { return ToUInt32() == o.ToUInt32(); }

    void Set(const LPFB8G8R8A8& v) { *this = v; }
    void Set(const LPFB8G8R8& v);
    void Set(const LPFB5G6R5& v);
    void Set(const LPFB5G5R5A1& v);
    void Set(const LPFB5G5R5X1& v);
    void Set(const LPFR8G8B8A8& v);
};
using LPixelColour = LPFB8G8R8A8;

struct LPFB8G8R8
{
    uint8_t b, g, r;
    void Set(const LPFB8G8R8A8& v);
    void Set(const LPFB8G8R8& v) { *this = v; }
    void Set(const LPFB5G6R5& v);
    void Set(const LPFB5G5R5A1& v);
    void Set(const LPFB5G5R5X1& v);
    void Set(const LPFR8G8B8A8& v);
};

struct LPFR8G8B8A8
{
    uint8_t r, g, b, a;
    void Set(const LPFB8G8R8A8& v);
    void Set(const LPFB8G8R8& v);
    void Set(const LPFB5G6R5& v);
    void Set(const LPFB5G5R5A1& v);
    void Set(const LPFB5G5R5X1& v);
    void Set(const LPFR8G8B8A8& v) { *this = v; }
};

// 16-bit formats hold one little-endian word: blue in the low bits, then green, then red.
struct LPFB5G6R5
{
    uint16_t w;
    unsigned B5() const { return w & 31u; }
    unsigned G6() const { return (w >> 5) & 63u; }
    unsigned R5() const { return (w >> 11) & 31u; }
    void SetBits(unsigned b5, unsigned g6, unsigned r5) { w = uint16_t(b5 | g6 << 5 | r5 << 11); }

    void Set(const LPFB8G8R8A8& v) { SetBits(v.b >> 3, v.g >> 2, v.r >> 3); }
    void Set(const LPFB8G8R8& v) { SetBits(v.b >> 3, v.g >> 2, v.r >> 3); }
    void Set(const LPFB5G6R5& v) { *this = v; }
    void Set(const LPFB5G5R5A1& v);
    void Set(const LPFB5G5R5X1& v);
    void Set(const LPFR8G8B8A8& v) { SetBits(v.b >> 3, v.g >> 2, v.r >> 3); }
};

// Alpha is the top bit of the word; its top bit is what is kept of an 8-bit alpha.
struct LPFB5G5R5A1
{
    uint16_t w;
    unsigned B5() const { return w & 31u; }
    unsigned G5() const { return (w >> 5) & 31u; }
    unsigned R5() const { return (w >> 10) & 31u; }
    uint8_t Alpha() const { return (w & 0x8000u) ? 255 : 0; }
    void SetBits(unsigned b5, unsigned g5, unsigned r5, unsigned a1)
    {
        w = uint16_t(b5 | g5 << 5 | r5 << 10 | a1 << 15);
    }

    void Set(const LPFB8G8R8A8& v) { SetBits(v.b >> 3, v.g >> 3, v.r >> 3, v.a >> 7); }
    void Set(const LPFB8G8R8& v) { SetBits(v.b >> 3, v.g >> 3, v.r >> 3, 1); }
    void Set(const LPFB5G6R5& v) { SetBits(v.B5(), LExpand6(v.G6()) >> 3, v.R5(), 1); }
    void Set(const LPFB5G5R5A1& v) { *this = v; }
    void Set(const LPFB5G5R5X1& v);
    void Set(const LPFR8G8B8A8& v) { SetBits(v.b >> 3, v.g >> 3, v.r >> 3, v.a >> 7); }
};

// As B5G5R5A1 with the top bit unused: reads as opaque, written as 0.
struct LPFB5G5R5X1
{
    uint16_t w;
    unsigned B5() const { return w & 31u; }
    unsigned G5() const { return (w >> 5) & 31u; }
    unsigned R5() const { return (w >> 10) & 31u; }
    void SetBits(unsigned b5, unsigned g5, unsigned r5) { w = uint16_t(b5 | g5 << 5 | r5 << 10); }

    void Set(const LPFB8G8R8A8& v) { SetBits(v.b >> 3, v.g >> 3, v.r >> 3); }
    void Set(const LPFB8G8R8& v) { SetBits(v.b >> 3, v.g >> 3, v.r >> 3); }
    void Set(const LPFB5G6R5& v) { SetBits(v.B5(), LExpand6(v.G6()) >> 3, v.R5()); }
    void Set(const LPFB5G5R5A1& v) { w = uint16_t(v.w & 0x7FFFu); }
    void Set(const LPFB5G5R5X1& v) { *this = v; }
    void Set(const LPFR8G8B8A8& v) { SetBits(v.b >> 3, v.g >> 3, v.r >> 3); }
};

// Definitions that need the complete classes.

inline void LPFB8G8R8A8::Set(const LPFB8G8R8& v)
{
    *this = LPFB8G8R8A8(v.b, v.g, v.r, 255);
}
inline void LPFB8G8R8A8::Set(const LPFB5G6R5& v)
{
    *this = LPFB8G8R8A8(LExpand5(v.B5()), LExpand6(v.G6()), LExpand5(v.R5()), 255);
}
inline void LPFB8G8R8A8::Set(const LPFB5G5R5A1& v)
{
    *this = LPFB8G8R8A8(LExpand5(v.B5()), LExpand5(v.G5()), LExpand5(v.R5()), v.Alpha());
}
inline void LPFB8G8R8A8::Set(const LPFB5G5R5X1& v)
{
    *this = LPFB8G8R8A8(LExpand5(v.B5()), LExpand5(v.G5()), LExpand5(v.R5()), 255);
}
inline void LPFB8G8R8A8::Set(const LPFR8G8B8A8& v)
{
    *this = LPFB8G8R8A8(v.b, v.g, v.r, v.a);
}

inline void LPFB8G8R8::Set(const LPFB8G8R8A8& v)
{
    b = v.b;
    g = v.g;
    r = v.r;
}
inline void LPFB8G8R8::Set(const LPFB5G6R5& v)
{
    b = LExpand5(v.B5());
    g = LExpand6(v.G6());
    r = LExpand5(v.R5());
}
inline void LPFB8G8R8::Set(const LPFB5G5R5A1& v)
{
    b = LExpand5(v.B5());
    g = LExpand5(v.G5());
    r = LExpand5(v.R5());
}
inline void LPFB8G8R8::Set(const LPFB5G5R5X1& v)
{
    b = LExpand5(v.B5());
    g = LExpand5(v.G5());
    r = LExpand5(v.R5());
}
inline void LPFB8G8R8::Set(const LPFR8G8B8A8& v)
{
    b = v.b;
    g = v.g;
    r = v.r;
}

inline void LPFR8G8B8A8::Set(const LPFB8G8R8A8& v)
{
    r = v.r;
    g = v.g;
    b = v.b;
    a = v.a;
}
inline void LPFR8G8B8A8::Set(const LPFB8G8R8& v)
{
    r = v.r;
    g = v.g;
    b = v.b;
    a = 255;
}
inline void LPFR8G8B8A8::Set(const LPFB5G6R5& v)
{
    r = LExpand5(v.R5());
    g = LExpand6(v.G6());
    b = LExpand5(v.B5());
    a = 255;
}
inline void LPFR8G8B8A8::Set(const LPFB5G5R5A1& v)
{
    r = LExpand5(v.R5());
    g = LExpand5(v.G5());
    b = LExpand5(v.B5());
    a = v.Alpha();
}
inline void LPFR8G8B8A8::Set(const LPFB5G5R5X1& v)
{
    r = LExpand5(v.R5());
    g = LExpand5(v.G5());
    b = LExpand5(v.B5());
    a = 255;
}

inline void LPFB5G6R5::Set(const LPFB5G5R5A1& v)
{
    SetBits(v.B5(), LExpand5(v.G5()) >> 2, v.R5());
}
inline void LPFB5G6R5::Set(const LPFB5G5R5X1& v)
{
    SetBits(v.B5(), LExpand5(v.G5()) >> 2, v.R5());
}

inline void LPFB5G5R5A1::Set(const LPFB5G5R5X1& v)
{
    w = uint16_t(v.w | 0x8000u);
}

static_assert(sizeof(LPFB8G8R8A8) == 4 && sizeof(LPFB8G8R8) == 3 && sizeof(LPFR8G8B8A8) == 4 &&
                  sizeof(LPFB5G6R5) == 2 && sizeof(LPFB5G5R5A1) == 2 && sizeof(LPFB5G5R5X1) == 2,
              "pixel value classes overlay the pixels in memory");
