#pragma once
// Shared helpers of the kernel tests: deterministic images, a process interface that counts and
// can stop, buffer comparison and thread-count control.

#include <cstdint>
#include <cstring>
#include <vector>

#include "image/LImageBuffer.h"

class TestProcess : public LProcessInterface
{
public:
    TestProcess(int stopAfter = 1 << 30) : iStopAfter(stopAfter) {}
    bool IsToStop() override { return ++iStopCalls > iStopAfter; }
    int ProcessWait(int) override { return 2; }
    int ProcessWaitSignal(LSignalObject&, int) override { return 2; }
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
