#pragma once
// Shared by the document tests: a private cache and data folder, the application object for the
// main loop, test elements that change pixels in ways easy to compute by hand, and pixel helpers.

#include <QApplication>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "document/QDImagePipelineElement.h"
#include "foundation/LMainLoop.h"
#include "image/LImageBuffer.h"

// Folders of this test run; set before any test runs.
const std::string& TestCacheFolder();

inline void EnsureApplication()
{
    static int argc = 1;
    static char name[] = "test_document";
    static char* argv[] = {name, nullptr};
    if (!QCoreApplication::instance())
        new QApplication(argc, argv);
    LMainLoopBegin();
}

inline bool PumpUntil(const std::function<bool()>& done, int milliseconds = 10000)
{
    auto call = [](void* c) { return (*static_cast<const std::function<bool()>*>(c))(); };
    LMainLoopProcessEvents(milliseconds, call, const_cast<std::function<bool()>*>(&done));
    return done();
}

// Number of cache files in the test's cache folder.
int CountCacheFiles();

// A B8G8R8A8 picture whose every pixel differs: blue 3x, green 5y, red x+y, alpha 255.
void MakePattern(LImageBuffer& buffer, int width, int height);
inline uint32_t PixelAt(const LImageBuffer& b, int x, int y)
{
    return reinterpret_cast<const uint32_t*>(b.GetRow(y))[x];
}
inline uint32_t Bgra(unsigned b, unsigned g, unsigned r, unsigned a)
{
    return b | g << 8 | r << 16 | a << 24;
}

// Per-pixel test operations on the three colour channels (alpha untouched).
enum class TestOp
{
    AddRed, // red + amount, clamped at 255
    Invert, // 255 - value
    Halve,  // value / 2
};

uint32_t ApplyTestOp(TestOp op, int amount, uint32_t pixel);

// An element doing one TestOp and counting its renders per resolution.
class TestElement : public QDImagePipelineElement
{
public:
    TestElement(TestOp op, int amount = 0) : eOp(op), iAmount(amount) {}
    const char* GetName() const override { return "Test"; }
    const char* GetTypeIdentifier() const override { return "test"; }
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override
    {
        ++iLowRenders;
        return RenderHighResImage(process, buffer);
    }

    TestOp eOp;
    int iAmount;
    std::atomic<int> iRenders{0}; // both passes
    std::atomic<int> iLowRenders{0};
    // Hooks for tests of the render loop.
    std::function<void()> fnDuringRender;
    bool bFail = false;
};
