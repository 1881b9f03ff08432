#pragma once
// Shared helpers of the kernel tests: deterministic images, a process interface that counts and
// can stop, buffer comparison and thread-count control.

#include <cstdint>
#include <cstring>
#include <vector>

#include "foundation/LSignal.h"
#include "image/LImageBuffer.h"

class TestProcess : public LProcessInterface
{
public:
    TestProcess(int stopAfter = 1 << 30) : iStopAfter(stopAfter) {}
    bool IsToStop() override { return ++iStopCalls > iStopAfter; }
    int ProcessWait(int) override { return 2; }
    // Waits for real: the curves kernel waits on its workers through the interface.
    int ProcessWaitSignal(LSignalObject& s, int ms) override { return s.Wait(ms); }
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, int) override { return 2; }
    void SetProgress(double f) override { arProgress.push_back(f); }

    int iStopCalls = 0;
    int iStopAfter;
    std::vector<double> arProgress;
};

// Fills every byte of the pixels with a fixed pseudo-random sequence.
inline void FillNoise(LImageBuffer& b, uint32_t seed)
{
    uint32_t s = seed * 2654435761u + 1;
    const int bytes = b.GetWidth() * LGetPixelFormatBits(b.GetPixelFormat()) / 8;
    for (int y = 0; y < b.GetHeight(); ++y)
        for (int x = 0; x < bytes; ++x)
        {
            s = s * 1664525u + 1013904223u;
            b.GetScanLine(y)[x] = uint8_t(s >> 24);
        }
}

inline bool MakeImage(LImageBuffer& b, int w, int h, pixelformat_t pf, uint32_t seed, bool upsideDown = false)
{
    if (!b.AllocateNewBuffer(LImageFormat(pf, w, h, upsideDown)))
        return false;
    FillNoise(b, seed);
    return true;
}

// Pixel bytes equal, row padding ignored.
inline bool SamePixels(const LImageBuffer& a, const LImageBuffer& b)
{
    if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight() ||
        a.GetPixelFormat() != b.GetPixelFormat())
        return false;
    const int bytes = a.GetWidth() * LGetPixelFormatBits(a.GetPixelFormat()) / 8;
    for (int y = 0; y < a.GetHeight(); ++y)
        if (memcmp(a.GetRow(y), b.GetRow(y), bytes) != 0)
            return false;
    return true;
}

inline uint8_t* Px(const LImageBuffer& b, int x, int y)
{
    return b.GetRow(y) + x * (LGetPixelFormatBits(b.GetPixelFormat()) / 8);
}

// Bytes as ints, so that a run of them compares against a brace list with a readable failure.
inline std::vector<int> Bytes(const uint8_t* p, int n)
{
    return std::vector<int>(p, p + n);
}

// The formats the kernels run on.
constexpr pixelformat_t kKernelFormats[] = {B8G8R8A8, B8G8R8, B5G6R5, B5G5R5A1, B5G5R5X1};

// Replaces every pixel by fn(pixel), read and written through the iterator's pixel access, as the
// iterator kernels (levels, curves, gradient map) do on the 16-bit formats.
template <class Fn>
void MapByIterator(LImageBuffer& b, Fn fn)
{
    LImageIterator it(b);
    for (; !it.IsEnd(); it.Next())
        it.Write(fn(it.Read()));
}

// The same through the widening of the pixel classes, as the generic loop does.
template <class Fn>
void MapByWidening(LImageBuffer& b, Fn fn)
{
    const int bpp = LGetPixelFormatBits(b.GetPixelFormat()) / 8;
    for (int y = 0; y < b.GetHeight(); ++y)
        for (int x = 0; x < b.GetWidth(); ++x)
        {
            uint8_t* p = b.GetRow(y) + x * bpp;
            LPixelColour c;
            switch (b.GetPixelFormat())
            {
            case B8G8R8A8:
                c = *reinterpret_cast<LPFB8G8R8A8*>(p);
                *reinterpret_cast<LPFB8G8R8A8*>(p) = fn(c);
                break;
            case B8G8R8:
                c.Set(*reinterpret_cast<LPFB8G8R8*>(p));
                reinterpret_cast<LPFB8G8R8*>(p)->Set(fn(c));
                break;
            case B5G6R5:
                c.Set(*reinterpret_cast<LPFB5G6R5*>(p));
                reinterpret_cast<LPFB5G6R5*>(p)->Set(fn(c));
                break;
            case B5G5R5A1:
                c.Set(*reinterpret_cast<LPFB5G5R5A1*>(p));
                reinterpret_cast<LPFB5G5R5A1*>(p)->Set(fn(c));
                break;
            default:
                c.Set(*reinterpret_cast<LPFB5G5R5X1*>(p));
                reinterpret_cast<LPFB5G5R5X1*>(p)->Set(fn(c));
                break;
            }
        }
}

// Restricts the kernels to the given number of threads while alive, then restores the default.
struct ThreadCount
{
    explicit ThreadCount(int n);
    ~ThreadCount();
};

// Runs the kernel (which makes its own input and writes the result to the buffer given) on one
// thread and on three; bands must not show in the output.
template <class F>
bool ThreadedEqualsPlain(F run)
{
    LImageBuffer plain, threaded;
    {
        ThreadCount one(1);
        run(plain);
    }
    {
        ThreadCount three(3);
        run(threaded);
    }
    return plain.IsValid() && SamePixels(plain, threaded);
}
