#pragma once
// An application object for tests that need the main loop, made once on first use (the test
// main is the stock one), and a pump that runs the loop until a condition holds.

#include <QCoreApplication>

#include <chrono>
#include <functional>

#include "foundation/LMainLoop.h"

inline void EnsureMainLoop()
{
    static int argc = 1;
    static char name[] = "test_foundation";
    static char* argv[] = {name, nullptr};
    if (!QCoreApplication::instance())
        new QCoreApplication(argc, argv);
    LMainLoopBegin();
}

// Runs the loop until done() holds or the time is up; returns done().
inline bool PumpUntil(const std::function<bool()>& done, int milliseconds = 5000)
{
    auto call = [](void* c) { return (*static_cast<const std::function<bool()>*>(c))(); };
    LMainLoopProcessEvents(milliseconds, call, const_cast<std::function<bool()>*>(&done));
    return done();
}

inline void PumpFor(int milliseconds)
{
    LMainLoopProcessEvents(milliseconds);
}

inline long long MonotonicMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}
