#pragma once
// The application object for tests that need the main loop, made on first use since the test
// main is the stock one, and pumps that run the loop.

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
inline bool PumpUntil(std::function<bool()> done, int milliseconds = 5000)
{
    LMainLoopProcessEvents(
        milliseconds, [](void* c) { return (*static_cast<std::function<bool()>*>(c))(); }, &done);
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
