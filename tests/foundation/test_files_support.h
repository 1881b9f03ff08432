#pragma once
// A private temporary folder per test, removed with its contents afterwards.

#include <cstdio>
#include <fstream>
#include <iterator>
#include <cstdlib>
#include <ftw.h>
#include <string>
#include <unistd.h>

class TestTempFolder
{
public:
    explicit TestTempFolder(const char* base = nullptr)
    {
        std::string pattern = std::string(base ? base : "/tmp") + "/quendrel-test-XXXXXX";
        if (mkdtemp(pattern.data()))
            sPath = pattern;
    }
    ~TestTempFolder()
    {
        if (!sPath.empty())
            nftw(sPath.c_str(), Remove, 16, FTW_DEPTH | FTW_PHYS);
    }
    const std::string& Path() const { return sPath; }
    std::string File(const char* name) const { return sPath + "/" + name; }

private:
    static int Remove(const char* path, const struct stat*, int, struct FTW*)
    {
        ::remove(path);
        return 0;
    }
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
    ScopedEnv(const char* name, const std::string& value) : szName(name)
    {
        const char* old = getenv(name);
        bHad = old != nullptr;
        sOld = old ? old : "";
        setenv(name, value.c_str(), 1);
    }
    ~ScopedEnv() { bHad ? setenv(szName, sOld.c_str(), 1) : unsetenv(szName); }

private:
    const char* szName;
    bool bHad;
    std::string sOld;
};
