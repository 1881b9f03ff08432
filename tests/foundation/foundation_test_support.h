#pragma once
// Shared by the foundation tests: private temporary folders, file and environment helpers, and
// the application object and pumps for tests that need the main loop (the test main is the stock
// one, so the application is made on first use).

#include <QCoreApplication>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <ftw.h>
#include <functional>
#include <iterator>
#include <string>
#include <unistd.h>

#include "foundation/LMainLoop.h"

// Removed with its contents afterwards.
class TestTempFolder
{
public:
    explicit TestTempFolder(const char* base = "/tmp")
    {
        std::string pattern = std::string(base) + "/quendrel-test-XXXXXX";
        if (mkdtemp(pattern.data()))
            sPath = pattern;
    }
    ~TestTempFolder()
    {
        if (!sPath.empty())
            nftw(
                sPath.c_str(),
                [](const char* path, const struct stat*, int, struct FTW*) { return ::remove(path), 0; }, 16,
                FTW_DEPTH | FTW_PHYS);
    }
    const std::string& Path() const { return sPath; }
    std::string File(const char* name) const { return sPath + "/" + name; }

private:
    std::string sPath;
};

inline std::string TestReadFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline bool TestWriteFile(const std::string& path, const std::string& data)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(data.data(), std::streamsize(data.size()));
    out.close();
    return out.good();
}

// Sets an environment variable for one scope.
class ScopedEnv
{
public:
    ScopedEnv(const char* name, const std::string& value) : szName(name), lpOld(getenv(name))
    {
        if (lpOld)
            sOld = lpOld;
        setenv(name, value.c_str(), 1);
    }
    ~ScopedEnv() { lpOld ? setenv(szName, sOld.c_str(), 1) : unsetenv(szName); }

private:
    const char* szName;
    const char* lpOld;
    std::string sOld;
};

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
